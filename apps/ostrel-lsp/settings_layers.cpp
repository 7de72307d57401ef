#include "settings_layers.hpp"

#include <nlohmann/json.hpp>

#include "qvai/client_options_from_settings.hpp"
#include "settings/core/default_settings.hpp"
#include "settings/core/settings_file.hpp"

namespace ostrel_lsp {
namespace {

constexpr const char* kServerNode = "ostrel.lsp";

// Reads a delay in milliseconds from the "ostrel.lsp" node.
std::optional<int> delayOf(const nlohmann::json& node, const char* leaf, std::vector<std::string>& problems) {
    const auto it = node.find(leaf);
    if (it == node.end()) return std::nullopt;
    if (!it->is_number_integer() || it->get<std::int64_t>() < 0 || it->get<std::int64_t>() > 60000) {
        problems.push_back(std::string(kServerNode) + "." + leaf + " must be an integer from 0 to 60000");
        return std::nullopt;
    }
    return it->get<int>();
}

}  // namespace

SettingsLayers::SettingsLayers(std::shared_ptr<const settings::core::Settings> userRoot)
    : userRoot_(std::move(userRoot)), effective_(settings::core::makeDefaultSettings()) {
    const std::unique_lock lock(mutex_);
    merge();
}

ClientSettingsOutcome SettingsLayers::applyClient(const nlohmann::json& settingsObject) {
    ClientSettingsOutcome outcome;
    // Some clients encode an empty table as an empty array.
    if (settingsObject.is_null() || (settingsObject.is_array() && settingsObject.empty())) return outcome;
    if (!settingsObject.is_object()) {
        outcome.problems.push_back("the client's settings must be an object keyed by settings node names");
        return outcome;
    }
    nlohmann::json tree = settingsObject;
    if (const auto server = tree.find(kServerNode); server != tree.end()) {
        if (server->is_object()) {
            outcome.debounceMs = delayOf(*server, "DebounceMs", outcome.problems);
            outcome.diagnosticsDelayMs = delayOf(*server, "DiagnosticsDelayMs", outcome.problems);
        } else {
            outcome.problems.push_back(std::string(kServerNode) + " must be an object");
        }
        tree.erase(kServerNode);
    }
    if (const auto ai = tree.find("ostrel.ai");
        ai != tree.end() && ai->is_object() && ai->contains("ApiKeyVariable")) {
        ai->erase("ApiKeyVariable");
        outcome.problems.push_back(
            "ostrel.ai.ApiKeyVariable is taken only from the user's settings file or the command line; the "
            "client's value is ignored");
    }
    const settings::core::SettingsFileContents contents = settings::core::parseSettingsFile(
        tree.dump(), "client settings", settings::core::defaultSettingValues());
    if (!contents.error.empty()) {
        outcome.problems.push_back(contents.error);
        return outcome;
    }
    const std::unique_lock lock(mutex_);
    clientOverrides_ = contents.overrides;
    merge();
    return outcome;
}

void SettingsLayers::refresh() {
    const std::unique_lock lock(mutex_);
    merge();
}

void SettingsLayers::merge() {
    using Layer = std::map<std::string, settings::core::LeafValues>;
    // The user's file is read as one set, even while the store reloads it.
    const Layer user = userRoot_ ? settings::core::subtreeValues(*userRoot_) : Layer();
    std::vector<
        std::pair<std::shared_ptr<settings::core::Settings>, settings::core::SettingsValueChangeEvent>>
        events;
    {
        const auto updating = effective_->updatingLock();
        for (const auto& [fullName, defaults] : settings::core::defaultSettingValues()) {
            settings::core::LeafValues values = defaults;
            for (const Layer* layer : {&user, static_cast<const Layer*>(&clientOverrides_)}) {
                if (const auto it = layer->find(fullName); it != layer->end())
                    for (const auto& [leaf, value] : it->second)
                        values[leaf] = value;
            }
            const auto node = std::const_pointer_cast<settings::core::Settings>(
                effective_->getSettingsByFullName(fullName));
            if (!node) continue;
            auto changed = node->assign(values);
            if (!changed.empty()) events.push_back({node, {fullName, std::move(changed)}});
        }
    }
    for (const auto& [node, event] : events)
        node->publish(event);
}

qvai::ClientOptions consistentClientOptions(const settings::core::Settings& root) {
    const auto reading = root.readingLock();
    return qvai::clientOptionsFromSettings(root);
}

qvai::ClientOptions withTrustedKey(qvai::ClientOptions effective, const qvai::ClientOptions& trusted) {
    const bool sameServer = effective.Backend == trusted.Backend && effective.Endpoint == trusted.Endpoint;
    effective.ApiKeyVariable = sameServer ? trusted.ApiKeyVariable : std::string();
    return effective;
}

}  // namespace ostrel_lsp
