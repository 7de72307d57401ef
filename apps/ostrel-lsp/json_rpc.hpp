#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace ostrel_lsp::rpc {

// JSON-RPC and protocol error codes.
enum ErrorCode : int {
    kParseError = -32700,
    kInvalidRequest = -32600,
    kMethodNotFound = -32601,
    kInvalidParams = -32602,
    kInternalError = -32603,
    kServerNotInitialized = -32002,
    kRequestFailed = -32803,
    kContentModified = -32801,
    kRequestCancelled = -32800,
};

// The deepest nesting of arrays and objects a message may have; deeper ones are refused before they
// are parsed, so that no part of the server recurses as deep as a client likes.
constexpr int kMaxNesting = 64;

// Parses one message body; nothing when it is not JSON or nested deeper than kMaxNesting.
std::optional<nlohmann::json> parseMessage(std::string_view body, std::string& error);

// A message is a request (method and id), a notification (method, no id) or a response (no method).
struct Incoming {
    std::string method;
    nlohmann::json id;  // null for notifications
    nlohmann::json params;
    bool isRequest = false;
};

// Nothing (and `error` set) when the message is not a JSON-RPC 2.0 request or notification.
std::optional<Incoming> classify(const nlohmann::json& message, std::string& error);

nlohmann::json result(const nlohmann::json& id, nlohmann::json value);
nlohmann::json error(const nlohmann::json& id, int code, const std::string& message);
nlohmann::json notification(const std::string& method, nlohmann::json params);

}  // namespace ostrel_lsp::rpc
