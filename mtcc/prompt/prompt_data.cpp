#include "mtcc/prompt/prompt_data.hpp"

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
    fl::ustring escaped;
    escaped.reserve(text.size() + text.size() / 8);
    for (const char16_t c : text) {
        char16_t letter = 0;
        switch (c) {
            case u'\n':
                letter = u'n';
                break;
            case u'\t':
                letter = u't';
                break;
            case u'"':
                letter = u'"';
                break;
            case u'\\':
                letter = u'\\';
                break;
            case u'\r':
                letter = u'r';
                break;
            case u'\b':
                letter = u'b';
                break;
            case u'\f':
                letter = u'f';
                break;
            // JSON has no "\v", but the template's reader expects it.
            case u'\v':
                letter = u'v';
                break;
            default:
                break;
        }
        if (letter != 0) {
            escaped.push_back(u'\\');
            escaped.push_back(letter);
        } else {
            escaped.push_back(c);
        }
    }
    return escaped;
}

fl::ustring buildUserContent(const VariableContext::PromptData& data) {
    using fl::i18n::to_ustring;
    // The name lists are identifiers and go in unescaped.
    return to_ustring(R"({"ostrel_code":")") + escapeForJson(data.partialCode) +
           to_ustring(R"(", "suffix":")") + escapeForJson(data.suffix) +
           to_ustring(R"(", "user_functions":")") + data.userFunctions +
           to_ustring(R"(", "user_variables":")") + data.userVariables +
           to_ustring(R"(", "ostrel_functions":")") + data.OSTRELFunctions + to_ustring(R"("})");
}

}  // namespace mtcc::Prompt
