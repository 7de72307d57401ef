#include "qvai/json_endpoint.hpp"

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <vector>

namespace qvai {

namespace {

// Read per request, so that a key set after start-up is used; it goes into the header only. No key set:
// the request goes without one, and a server that needs it answers 401, which is reported.
std::vector<std::string> keyHeaders(const std::string& apiKeyVariable) {
    if (apiKeyVariable.empty()) return {};
    const char* key = std::getenv(apiKeyVariable.c_str());
    if (key == nullptr || *key == '\0') return {};
    return {std::string("Authorization: Bearer ") + key};
}

}  // namespace

std::string endpointBase(const ClientOptions& options) {
    return options.Endpoint.empty() ? std::string("http://127.0.0.1:8080") : options.Endpoint;
}

JsonEndpoint jsonEndpoint(const ClientOptions& options, std::string url) {
    return {std::move(url), options.ApiKeyVariable, {options.TimeoutMs, options.MaxReplyBytes}};
}

std::string postToEndpoint(const JsonEndpoint& endpoint, const std::string& body,
                           const std::atomic<bool>& cancelled) {
    auto reply =
        postJson(endpoint.url, body, keyHeaders(endpoint.apiKeyVariable), endpoint.limits, cancelled);
    if (reply.status < 200 || reply.status >= 300)
        throw std::runtime_error("HTTP status " + std::to_string(reply.status) + " from " + endpoint.url);
    return std::move(reply.body);
}

std::string requestText(const nlohmann::json& body) {
    return body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

nlohmann::json parseReply(const std::string& body) {
    auto reply = nlohmann::json::parse(body, nullptr, false);
    if (reply.is_discarded()) throw std::runtime_error("reply is not JSON");
    return reply;
}

}  // namespace qvai
