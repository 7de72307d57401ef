#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qvai {

// The members of a completion template's input, as UTF-8.
struct TemplateInput {
    std::string code;  // "ostrel_code": the text before the cursor
    std::string suffix;
    std::string userFunctions;
    std::string userVariables;
    std::string ostrelFunctions;
};

// Reads the one-line JSON object that a completion request carries. Lenient where its producer is:
// \v is accepted as an escape, and a quotation mark inside a name list is taken as text unless it
// ends the member. Returns nullopt when the text is not such an object or lacks "ostrel_code".
std::optional<TemplateInput> parseTemplateInput(std::string_view json);

}  // namespace qvai
