#include "mtcc/prompt/prompt_data.hpp"

#include <unordered_map>

#include "fl/i18n.hpp"

namespace mtcc::Prompt {

VariableContext::PromptData makePromptData(const fl::ustring& promptId, const fl::ustring& promptVersion,
                                           const fl::ustring& prefix, const fl::ustring& suffix,
                                           const Tokens::TokenCategories& categories) {
    return VariableContext::PromptData{promptId,
                                       promptVersion,
                                       prefix,
                                       suffix,
                                       joinNames(categories.userFunctions),
                                       joinNames(categories.userVariables),
                                       joinNames(categories.OSTRELFunctions)};
}

fl::ustring joinNames(const std::unordered_set<fl::ustring>& names) {
    fl::ustring joined;
    bool first = true;
    for (const auto& name : names) {
        // No separator while nothing has been written: leading empty names leave no trace.
        if (!first && !joined.empty()) joined.append(u", ");
        joined.append(name);
        first = false;
    }
    return joined;
}

fl::ustring escapeForJson(const fl::ustring& text) {
    // The vertical tab gets "\v" although JSON has no such escape; the template's reader expects it.
    const std::unordered_map<char16_t, fl::ustring> escapes{
        {u'\n', u"\\n"}, {u'\t', u"\\t"}, {u'"', u"\\\""}, {u'\\', u"\\\\"},
        {u'\r', u"\\r"}, {u'\b', u"\\b"}, {u'\f', u"\\f"}, {u'\v', u"\\v"},
    };
    fl::ustring escaped;
    escaped.reserve(text.size() + text.size() / 8);
    for (const char16_t c : text) {
        if (const auto it = escapes.find(c); it != escapes.end()) {
            escaped.append(it->second);
        } else {
            escaped.push_back(c);
        }
    }
    return escaped;
}

fl::ustring buildUserContent(const VariableContext::PromptData& data) {
    using fl::i18n::to_ustring;
    // The name lists are identifiers and go in unescaped.
    return to_ustring(R"({"ostrel_code":")") + escapeForJson(data.partialCode) + to_ustring(R"(", "suffix":")") +
           escapeForJson(data.suffix) + to_ustring(R"(", "user_functions":")") + data.userFunctions +
           to_ustring(R"(", "user_variables":")") + data.userVariables +
           to_ustring(R"(", "ostrel_functions":")") + data.OSTRELFunctions + to_ustring(R"("})");
}

}  // namespace mtcc::Prompt
