#include "qvai/infill_backend.hpp"

#include <nlohmann/json.hpp>
#include <stdexcept>

namespace qvai {

InfillBackend::InfillBackend(const ClientOptions& options)
    : endpoint_(jsonEndpoint(options, joinUrl(endpointBase(options), "/infill"))) {}

std::string infillRequestBody(const TemplateInput& input, int maxTokens, double temperature) {
    return requestText({{"input_prefix", input.code},
                        {"input_suffix", input.suffix},
                        {"n_predict", maxTokens},
                        {"temperature", temperature},
                        {"stream", false}});
}

std::string infillReplyText(const std::string& body, const std::string& key) {
    if (const auto events = streamedEvents(body, key)) {
        std::string text;
        for (const auto& event : *events)
            if (event.is_object() && event.contains("content") && event["content"].is_string())
                text += event["content"].get<std::string>();
        return text;
    }
    const auto reply = parseReply(body);
    if (!reply.is_object() || !reply.contains("content") || !reply["content"].is_string()) {
        const std::string message = reply.is_object() ? serverMessage(body, key) : std::string();
        throw std::runtime_error("reply has no text content" + (message.empty() ? "" : ": " + message));
    }
    return reply["content"].get<std::string>();
}

std::string InfillBackend::complete(const BackendRequest& request, const std::atomic<bool>& cancelled) {
    if (!request.input) throw std::runtime_error("the infill backend needs a completion template's input");
    const auto body = infillRequestBody(*request.input, request.maxTokens, request.temperature);
    std::string code = infillReplyText(postToEndpoint(endpoint_, body, cancelled), endpointKey(endpoint_));
    // An instruction-tuned model behind the endpoint may fence its code itself; a second fence around
    // it would leave the library an empty block.
    const std::size_t first = code.find_first_not_of(" \t\r\n");
    if ((first != std::string::npos && code.compare(first, 3, "```") == 0) ||
        code.find("\n```") != std::string::npos)
        return code;
    return ostrelFence(code);
}

}  // namespace qvai
