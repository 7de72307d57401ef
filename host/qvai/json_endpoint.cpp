#include "qvai/json_endpoint.hpp"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "qvai/server_message.hpp"

namespace qvai {

namespace {

// Read per request, so that a key set after start-up is used; it goes into the header only. No key set:
// the request goes without one, and a server that needs it answers 401, which is reported.
std::string apiKey(const std::string& apiKeyVariable) {
    if (apiKeyVariable.empty()) return {};
    const char* value = std::getenv(apiKeyVariable.c_str());
    if (value == nullptr) return {};
    // A key read from a file often ends in a line break; one inside it would start another header.
    std::string key(value);
    const std::size_t first = key.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) return {};
    key = key.substr(first, key.find_last_not_of(" \t\r\n") + 1 - first);
    if (std::any_of(key.begin(), key.end(),
                    [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }))
        throw std::runtime_error(
            "the API key in the key variable holds a line break or another control "
            "character; no request was sent");
    return key;
}

std::vector<std::string> keyHeaders(const std::string& key) {
    if (key.empty()) return {};
    return {"Authorization: Bearer " + key};
}

bool looksLikeVariableName(const std::string& name) {
    return !name.empty() && !std::isdigit(static_cast<unsigned char>(name[0])) &&
           std::all_of(name.begin(), name.end(),
                       [](char c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_'; });
}

}  // namespace

std::string endpointKey(const JsonEndpoint& endpoint) {
    return apiKey(endpoint.apiKeyVariable);
}

std::string endpointBase(const ClientOptions& options) {
    return options.Endpoint.empty() ? std::string("http://127.0.0.1:8080") : options.Endpoint;
}

JsonEndpoint jsonEndpoint(const ClientOptions& options, std::string url) {
    return {std::move(url), options.ApiKeyVariable, {options.TimeoutMs, options.MaxReplyBytes}};
}

std::string postToEndpoint(const JsonEndpoint& endpoint, const std::string& body,
                           const std::atomic<bool>& cancelled) {
    const std::string key = endpointKey(endpoint);
    auto reply = postJson(endpoint.url, body, keyHeaders(key), endpoint.limits, cancelled);
    if (reply.status < 200 || reply.status >= 300) {
        std::string message = serverMessage(reply.body, key);
        // Often a missing or extra slash, or http for https: the address to give instead.
        if (!reply.redirect.empty())
            message += (message.empty() ? "" : "; ") + std::string("the server points to ") + reply.redirect;
        // The usual cause of a refusal: the variable was not exported to this program.
        if ((reply.status == 401 || reply.status == 403) && key.empty())
            message += (message.empty() ? "" : "; ") + std::string("no API key was sent (") +
                       (endpoint.apiKeyVariable.empty() ? "no key variable is set"
                        // A key put where its variable's name belongs is not repeated.
                        : looksLikeVariableName(endpoint.apiKeyVariable)
                            ? "$" + endpoint.apiKeyVariable + " is not set"
                            : "the key variable is not set") +
                       ")";
        throw std::runtime_error("HTTP status " + std::to_string(reply.status) + " from " + endpoint.url +
                                 (message.empty() ? "" : ": " + message));
    }
    return std::move(reply.body);
}

std::string requestText(const nlohmann::json& body) {
    return body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::optional<std::vector<nlohmann::json>> streamedEvents(const std::string& body, const std::string& key) {
    const std::size_t start = body.find_first_not_of(" \t\r\n");
    if (start == std::string::npos || body.compare(start, 5, "data:") != 0) return std::nullopt;
    std::vector<nlohmann::json> events;
    std::size_t at = start;
    while (at < body.size()) {
        std::size_t end = body.find('\n', at);
        if (end == std::string::npos) end = body.size();
        std::string_view line(body.data() + at, end - at);
        at = end + 1;
        if (line.ends_with('\r')) line.remove_suffix(1);
        // Other fields (event:, id:, comments) carry no text.
        if (!line.starts_with("data:")) continue;
        line.remove_prefix(5);
        while (line.starts_with(' '))
            line.remove_prefix(1);
        if (line == "[DONE]") break;
        auto event = nlohmann::json::parse(line, nullptr, false);
        if (event.is_discarded()) throw std::runtime_error("streamed reply holds an event that is not JSON");
        if (event.is_object() && event.contains("error"))
            throw std::runtime_error("the server broke off the streamed reply: " +
                                     serverMessage(std::string(line), key));
        events.push_back(std::move(event));
    }
    return events;
}

nlohmann::json parseReply(const std::string& body) {
    auto reply = nlohmann::json::parse(body, nullptr, false);
    if (reply.is_discarded()) throw std::runtime_error("reply is not JSON");
    return reply;
}

}  // namespace qvai
