#include "qvai/openai_backend.hpp"

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "qvai/http_post.hpp"

namespace qvai {

namespace {

std::string defaultEndpoint(const std::string& endpoint) {
    return endpoint.empty() ? std::string("http://127.0.0.1:8080") : endpoint;
}

std::string chatCompletionsUrl(const std::string& endpoint) {
    std::string base = defaultEndpoint(endpoint);
    while (!base.empty() && base.back() == '/')
        base.pop_back();
    if (base.ends_with("/chat/completions")) return base;
    if (base.ends_with("/v1")) return base + "/chat/completions";
    return base + "/v1/chat/completions";
}

}  // namespace

OpenAiBackend::OpenAiBackend(const ClientOptions& options)
    : url_(chatCompletionsUrl(options.Endpoint)),
      apiKeyVariable_(options.ApiKeyVariable),
      timeoutMs_(options.TimeoutMs),
      maxReplyBytes_(options.MaxReplyBytes) {}

std::string openAiRequestBody(const BackendRequest& request) {
    nlohmann::json messages = nlohmann::json::array();
    for (const auto& turn : request.messages)
        messages.push_back({{"role", turn.role}, {"content", turn.content}});
    nlohmann::json body{{"messages", std::move(messages)},
                        {"max_tokens", request.maxTokens},
                        {"temperature", request.temperature},
                        {"stream", false}};
    if (!request.model.empty()) body["model"] = request.model;
    return body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string openAiReplyText(const std::string& body) {
    const auto reply = nlohmann::json::parse(body, nullptr, false);
    if (reply.is_discarded()) throw std::runtime_error("reply is not JSON");
    if (!reply.is_object() || !reply.contains("choices") || !reply["choices"].is_array() ||
        reply["choices"].empty())
        throw std::runtime_error("reply has no choices");
    const auto& choice = reply["choices"][0];
    if (!choice.is_object() || !choice.contains("message") || !choice["message"].is_object())
        throw std::runtime_error("reply's first choice has no message");
    const auto& content = choice["message"].value("content", nlohmann::json());
    if (!content.is_string()) throw std::runtime_error("reply's message has no text content");
    return content.get<std::string>();
}

std::string OpenAiBackend::complete(const BackendRequest& request, const std::atomic<bool>& cancelled) {
    std::vector<std::string> headers;
    if (!apiKeyVariable_.empty()) {
        // Read per request, so that a key set after start-up is used; it goes into the header only.
        const char* key = std::getenv(apiKeyVariable_.c_str());
        if (key == nullptr || *key == '\0')
            throw std::runtime_error("environment variable " + apiKeyVariable_ +
                                     " holding the API key is not set");
        headers.push_back(std::string("Authorization: Bearer ") + key);
    }
    const auto reply =
        postJson(url_, openAiRequestBody(request), headers, {timeoutMs_, maxReplyBytes_}, cancelled);
    if (reply.status < 200 || reply.status >= 300)
        throw std::runtime_error("HTTP status " + std::to_string(reply.status) + " from " + url_);
    return openAiReplyText(reply.body);
}

}  // namespace qvai
