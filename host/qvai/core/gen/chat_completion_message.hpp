#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fl/ustring.hpp"
#include "qvai/core/gen/tool_call.hpp"

namespace qvai::core::gen {

// One entry of a reply.
struct ChatCompletionChoice {
    fl::ustring content;
    std::optional<std::vector<ToolCall>> toolCalls;
    std::optional<std::string> finishReason;
};

// The reply to a ChatCompletion. A failed request is answered with an empty list of choices.
struct ChatCompletionMessage {
    std::string id;
    std::string model;
    std::int64_t created = 0;
    std::vector<ChatCompletionChoice> choices;
};

}  // namespace qvai::core::gen
