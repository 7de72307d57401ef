#include "settings/core/default_settings.hpp"

#include <charconv>

#include "fl/i18n.hpp"
#include "qvai/client_options.hpp"

namespace settings::core {

namespace {

// The "ostrel.ai" leaves default to the client's own defaults, so that the two never disagree.
LeafValues aiDefaults() {
    const qvai::ClientOptions client;
    char temperature[32];
    const auto written = std::to_chars(temperature, temperature + sizeof temperature, client.Temperature);
    return {{"Backend", fl::i18n::to_ustring(client.Backend)},
            {"Endpoint", fl::i18n::to_ustring(client.Endpoint)},  // empty: the backend's own default
            {"Model", fl::i18n::to_ustring(client.Model)},
            {"ApiKeyVariable", fl::i18n::to_ustring(client.ApiKeyVariable)},
            {"TimeoutMs", client.TimeoutMs},
            {"MaxTokens", client.MaxTokens},
            // decimal text: leaves hold int, bool or text only
            {"Temperature", fl::i18n::to_ustring(std::string(temperature, written.ptr))}};
}

}  // namespace

const std::map<std::string, LeafValues>& defaultSettingValues() {
    static const std::map<std::string, LeafValues> defaults{
        {"ostrel.editor.tab", {{"TabSize", 4}, {"IndentSize", 4}, {"InsertSpaces", true}}},
        {"ostrel.editor.language.ostrel", {{"FunctionIndentingFormat", fl::ustring(u"AllFunctionIndent")}}},
        {"ostrel.editor.indent", {{"PadEmptyLines", false}}},
        {"ostrel.ai", aiDefaults()},
    };
    return defaults;
}

std::shared_ptr<Settings> makeDefaultSettings() {
    auto root = std::make_shared<Settings>("");
    for (const auto& [fullName, leaves] : defaultSettingValues()) {
        std::shared_ptr<Settings> node = root;
        std::size_t start = 0;
        while (true) {
            const std::size_t dot = fullName.find('.', start);
            node = node->addChild(
                fullName.substr(start, dot == std::string::npos ? std::string::npos : dot - start));
            if (dot == std::string::npos) break;
            start = dot + 1;
        }
        for (const auto& [leaf, value] : leaves)
            node->defineLeaf(leaf, value);
    }
    return root;
}

}  // namespace settings::core
