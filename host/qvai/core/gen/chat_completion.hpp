#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "fl/ustring.hpp"
#include "qvai/core/gen/prompt_selector.hpp"
#include "qvai/core/gen/tool_call.hpp"

namespace qvai::core::gen {

struct ChatMessage {
    std::string role;
    fl::ustring content;
    std::optional<std::vector<ToolCall>> toolCalls;
    std::optional<std::string> toolCallId;
};

// A chat-completion request. Every member starts absent; what is left absent is decided by the client
// (from the selected prompt template, or its own settings).
struct ChatCompletion {
    std::vector<ChatMessage> messages;
    std::vector<fl::ustring> stop;
    std::vector<Tool> tools;
    std::optional<std::variant<std::string, ToolChoice>> toolChoice;
    std::optional<std::string> model;
    std::optional<std::string> responseFormat;
    std::optional<fl::ustring> user;
    std::optional<double> temperature;
    std::optional<double> topP;
    std::optional<std::int32_t> maxTokens;
    std::optional<std::int32_t> n;
    std::optional<PromptSelector> promptSelector;
};

}  // namespace qvai::core::gen
