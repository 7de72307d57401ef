#include "settings/core/default_settings.hpp"

namespace settings::core {

const std::map<std::string, LeafValues>& defaultSettingValues() {
    static const std::map<std::string, LeafValues> defaults{
        {"ostrel.editor.tab", {{"TabSize", 4}, {"IndentSize", 4}, {"InsertSpaces", true}}},
        {"ostrel.editor.language.ostrel", {{"FunctionIndentingFormat", fl::ustring(u"AllFunctionIndent")}}},
        {"ostrel.editor.indent", {{"PadEmptyLines", false}}},
        {"ostrel.ai",
         {{"Backend", fl::ustring(u"local")},
          {"Endpoint", fl::ustring()},  // empty: the backend's own default address
          {"Model", fl::ustring()},
          {"ApiKeyVariable", fl::ustring(u"OSTREL_AI_API_KEY")},
          {"TimeoutMs", 30000},
          {"MaxTokens", 512},
          {"Temperature", fl::ustring(u"0.2")}}},  // decimal text: leaves hold int, bool or text only
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
