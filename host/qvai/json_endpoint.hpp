#pragma once

#include <atomic>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "qvai/client_options.hpp"
#include "qvai/http_post.hpp"
#include "qvai/server_message.hpp"

namespace qvai {

// A model server that takes a JSON body by POST: what the HTTP backends share, apart from the body each
// sends and the reply each reads.
struct JsonEndpoint {
    std::string url;
    std::string apiKeyVariable;  // empty: no key
    HttpLimits limits;
};

// The options' Endpoint, or the loopback server's when none is set.
std::string endpointBase(const ClientOptions& options);
JsonEndpoint jsonEndpoint(const ClientOptions& options, std::string url);

// The API key the endpoint's variable holds now; empty when none.
std::string endpointKey(const JsonEndpoint& endpoint);

// POSTs `body` and returns the body of a 2xx reply. Throws std::runtime_error for any other status (with
// the server's message) or a failed transfer; the message names the URL, never the key.
std::string postToEndpoint(const JsonEndpoint& endpoint, const std::string& body,
                           const std::atomic<bool>& cancelled);

// A request body as text; text that is not UTF-8 is replaced rather than thrown on.
std::string requestText(const nlohmann::json& body);
// The events of a body streamed as server-sent events ("data: {...}" lines, up to "data: [DONE]"), which
// some servers send even when asked not to stream; nullopt for any other body. Throws std::runtime_error
// for an event that is not JSON or that carries the server's error (`key` masked in the message).
std::optional<std::vector<nlohmann::json>> streamedEvents(const std::string& body, const std::string& key);
// Throws std::runtime_error when the reply body is not JSON.
nlohmann::json parseReply(const std::string& body);

}  // namespace qvai
