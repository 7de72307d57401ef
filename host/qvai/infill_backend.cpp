#include "qvai/infill_backend.hpp"

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "qvai/http_post.hpp"

namespace qvai {

InfillBackend::InfillBackend(const ClientOptions& options)
    : url_(joinUrl(options.Endpoint.empty() ? std::string("http://127.0.0.1:8080") : options.Endpoint,
                   "/infill")),
      apiKeyVariable_(options.ApiKeyVariable),
      timeoutMs_(options.TimeoutMs),
      maxReplyBytes_(options.MaxReplyBytes) {}

std::string infillRequestBody(const TemplateInput& input, int maxTokens, double temperature) {
    const nlohmann::json body{{"input_prefix", input.code},
                              {"input_suffix", input.suffix},
                              {"n_predict", maxTokens},
                              {"temperature", temperature},
                              {"stream", false}};
    return body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string infillReplyText(const std::string& body) {
    const auto reply = nlohmann::json::parse(body, nullptr, false);
    if (reply.is_discarded()) throw std::runtime_error("reply is not JSON");
    if (!reply.is_object() || !reply.contains("content") || !reply["content"].is_string())
        throw std::runtime_error("reply has no text content");
    return reply["content"].get<std::string>();
}

std::string InfillBackend::complete(const BackendRequest& request, const std::atomic<bool>& cancelled) {
    if (!request.input) throw std::runtime_error("the infill backend needs a completion template's input");
    std::vector<std::string> headers;
    if (!apiKeyVariable_.empty()) {
        const char* key = std::getenv(apiKeyVariable_.c_str());
        if (key == nullptr || *key == '\0')
            throw std::runtime_error("environment variable " + apiKeyVariable_ +
                                     " holding the API key is not set");
        headers.push_back(std::string("Authorization: Bearer ") + key);
    }
    const auto reply =
        postJson(url_, infillRequestBody(*request.input, request.maxTokens, request.temperature), headers,
                 {timeoutMs_, maxReplyBytes_}, cancelled);
    if (reply.status < 200 || reply.status >= 300)
        throw std::runtime_error("HTTP status " + std::to_string(reply.status) + " from " + url_);
    return ostrelFence(infillReplyText(reply.body));
}

}  // namespace qvai
