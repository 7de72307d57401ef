#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <shared_mutex>
#include <string>
#include <vector>

#include "qvai/client_options.hpp"
#include "settings/core/settings.hpp"

namespace ostrel_lsp {

// What a client's settings object asked for besides the settings tree.
struct ClientSettingsOutcome {
    std::vector<std::string> problems;  // for the user; the previous client values stay when non-empty
    std::optional<int> debounceMs;
    std::optional<int> diagnosticsDelayMs;
};

// The settings the server works with: the user's settings file (the store's tree) overlaid by what the
// client sends (initializationOptions, workspace/didChangeConfiguration), in a tree of its own that the
// runtime context reads and that publishes change events like the store's. A merge writes the tree node
// by node; whoever reads several values that must go together holds readingLock() meanwhile, and a
// merge waits for it (and it for a merge, change events included). The tree's own reading lock gives
// one set too, without waiting for the change events. A merge reads the user's tree as one set.
class SettingsLayers {
  public:
    explicit SettingsLayers(std::shared_ptr<const settings::core::Settings> userRoot);

    std::shared_ptr<const settings::core::Settings> root() const { return effective_; }

    // Takes the client's settings: an object keyed by node full names, as in the settings file, plus
    // "ostrel.lsp" {"DebounceMs", "DiagnosticsDelayMs"}. The key's variable is never taken from a client.
    ClientSettingsOutcome applyClient(const nlohmann::json& settings);
    // Merges again after the user's settings file changed.
    void refresh();

    // Shared with other readers, exclusive of merges. Do not apply settings while holding it.
    std::shared_lock<std::shared_mutex> readingLock() const { return std::shared_lock(mutex_); }

  private:
    void merge();  // under mutex_, exclusively

    std::shared_ptr<const settings::core::Settings> userRoot_;
    std::shared_ptr<settings::core::Settings> effective_;
    mutable std::shared_mutex mutex_;
    std::map<std::string, settings::core::LeafValues> clientOverrides_;
};

// The client options of a settings tree (the store's or the layers'), read as one set of values under
// the tree's reading lock: a backend never goes with another file's endpoint or key variable.
qvai::ClientOptions consistentClientOptions(const settings::core::Settings& root);

// The model options to use: `effective` (from the merged settings) with the API key variable of
// `trusted` (the user's own file and command line) only while the backend and endpoint are the trusted
// ones; a project's settings may point the client elsewhere, but never with the user's key.
qvai::ClientOptions withTrustedKey(qvai::ClientOptions effective, const qvai::ClientOptions& trusted);

}  // namespace ostrel_lsp
