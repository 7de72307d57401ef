#include "qvai/openai_backend.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>

namespace qvai {

namespace {

std::string chatCompletionsUrl(std::string base) {
    // A query (some gateways want "?api-version=...") stays at the end.
    const std::size_t query = base.find('?');
    const std::string rest = query == std::string::npos ? "" : base.substr(query);
    base.resize(std::min(query, base.size()));
    while (!base.empty() && base.back() == '/')
        base.pop_back();
    if (base.ends_with("/chat/completions")) return base + rest;
    if (base.ends_with("/v1")) return base + "/chat/completions" + rest;
    return base + "/v1/chat/completions" + rest;
}

}  // namespace

OpenAiBackend::OpenAiBackend(const ClientOptions& options)
    : endpoint_(jsonEndpoint(options, chatCompletionsUrl(endpointBase(options)))) {}

std::string openAiRequestBody(const BackendRequest& request) {
    nlohmann::json messages = nlohmann::json::array();
    for (const auto& turn : request.messages)
        messages.push_back({{"role", turn.role}, {"content", turn.content}});
    nlohmann::json body{{"messages", std::move(messages)},
                        {"max_tokens", request.maxTokens},
                        {"temperature", request.temperature},
                        {"stream", false}};
    if (!request.model.empty()) body["model"] = request.model;
    return requestText(body);
}

std::string openAiReplyText(const std::string& body, const std::string& key) {
    if (const auto events = streamedEvents(body, key)) {
        std::string text;
        for (const auto& event : *events) {
            const auto choices = event.is_object() ? event.find("choices") : event.end();
            if (choices == event.end() || !choices->is_array() || choices->empty()) continue;
            const auto& choice = (*choices)[0];
            for (const char* member : {"delta", "message"})
                if (choice.is_object() && choice.contains(member) && choice[member].is_object() &&
                    choice[member].contains("content") && choice[member]["content"].is_string())
                    text += choice[member]["content"].get<std::string>();
        }
        return text;
    }
    const auto reply = parseReply(body);
    if (!reply.is_object() || !reply.contains("choices") || !reply["choices"].is_array() ||
        reply["choices"].empty()) {
        // Some servers and proxies send their error with status 200.
        const std::string message = reply.is_object() ? serverMessage(body, key) : std::string();
        throw std::runtime_error("reply has no choices" + (message.empty() ? "" : ": " + message));
    }
    const auto& choice = reply["choices"][0];
    if (!choice.is_object() || !choice.contains("message") || !choice["message"].is_object())
        throw std::runtime_error("reply's first choice has no message");
    const auto& content = choice["message"].value("content", nlohmann::json());
    std::optional<std::string> text;
    if (content.is_string()) text = content.get<std::string>();
    // Some servers send the content as parts; the reasoning parts are not the answer.
    if (content.is_array() && !content.empty()) {
        text.emplace();
        for (const auto& part : content) {
            if (!part.is_object() || part.value("type", "") != "text" || !part.contains("text") ||
                !part["text"].is_string())
                continue;
            *text += part["text"].get<std::string>();
        }
    }
    // A reasoning model can spend every token on its thoughts, which such servers keep apart.
    if ((!text || text->empty()) && choice.value("finish_reason", nlohmann::json()) == "length")
        throw std::runtime_error(
            "the model reached its token limit before it wrote an answer (a reasoning model may need a "
            "larger MaxTokens)");
    if (!text) throw std::runtime_error("reply's message has no text content");
    return *text;
}

std::string OpenAiBackend::complete(const BackendRequest& request, const std::atomic<bool>& cancelled) {
    return openAiReplyText(postToEndpoint(endpoint_, openAiRequestBody(request), cancelled),
                           endpointKey(endpoint_));
}

}  // namespace qvai
