#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "completion_scheduler.hpp"
#include "fl/ustring.hpp"
#include "qvai/client_options.hpp"

namespace ostrel_lsp {

// Model choices made on the command line; they win over every settings layer.
struct ModelOverrides {
    std::optional<std::string> backend, endpoint, model, apiKeyVariable, replyFile;
    std::optional<int> timeoutMs;
    std::vector<std::string> corpusFolders;

    qvai::ClientOptions over(qvai::ClientOptions options) const;
};

struct ServerOptions {
    std::optional<std::string> settingsFile;  // default: the user's settings file
    ModelOverrides model;
    std::size_t maxMessageBytes = 32 * 1024 * 1024;
    int debounceMs = 75;           // before an automatic inline completion asks the model
    int diagnosticsDelayMs = 150;  // after the last change before a document is checked
    std::size_t workers = 2;       // completions at once
    std::optional<std::string> logFile;
    // What answers a completion: the library and the host's edit unless a measurement wraps it.
    std::function<CompletionOutcome(const fl::ustring& text, std::size_t cursor)> complete;
};

}  // namespace ostrel_lsp
