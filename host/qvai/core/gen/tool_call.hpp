#pragma once

#include <string>

namespace qvai::core::gen {

// A function call requested by the model; `arguments` is the JSON text the model wrote.
struct ToolCall {
    std::string id;
    std::string type;
    std::string functionName;
    std::string arguments;
};

// A function the model may call; `parameters` is its JSON schema as text.
struct Tool {
    std::string type;
    std::string name;
    std::string description;
    std::string parameters;
};

// Forces the model to call one named function.
struct ToolChoice {
    std::string type;
    std::string functionName;
};

}  // namespace qvai::core::gen
