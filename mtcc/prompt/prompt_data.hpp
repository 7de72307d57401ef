#pragma once

#include <unordered_set>

#include "fl/ustring.hpp"
#include "mtcc/tokens/token_categories.hpp"

namespace mtcc::VariableContext {

// What the model-side prompt template is given: which template, and its inputs.
struct PromptData {
    fl::ustring promptId;
    fl::ustring promptVersion;
    fl::ustring partialCode;  // the code before the cursor, limited
    fl::ustring suffix;       // the code after the cursor, limited
    fl::ustring userFunctions;
    fl::ustring userVariables;
    fl::ustring OSTRELFunctions;
};

}  // namespace mtcc::VariableContext

namespace mtcc::Prompt {

// Note the order: the categories list variables first, the prompt data functions first.
VariableContext::PromptData makePromptData(const fl::ustring& promptId, const fl::ustring& promptVersion,
                                           const fl::ustring& prefix, const fl::ustring& suffix,
                                           const Tokens::TokenCategories& categories);

// The names in the set's own iteration order, separated by ", ".
fl::ustring joinNames(const std::unordered_set<fl::ustring>& names);

// Escapes LF, tab, quote, backslash, CR, backspace, form feed and vertical tab; nothing else.
fl::ustring escapeForJson(const fl::ustring& text);

// The template's input: a one-line JSON object with the code around the cursor and the name lists.
fl::ustring buildUserContent(const VariableContext::PromptData& data);

}  // namespace mtcc::Prompt
