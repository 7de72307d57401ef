#include "json_rpc.hpp"

namespace ostrel_lsp::rpc {
namespace {

// The deepest nesting of brackets outside strings, counted without recursion.
int nestingOf(std::string_view text) {
    int depth = 0, deepest = 0;
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            if (c == '\\') {
                ++i;
            } else if (c == '"') {
                inString = false;
            }
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            deepest = std::max(deepest, ++depth);
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return deepest;
}

}  // namespace

std::optional<nlohmann::json> parseMessage(std::string_view body, std::string& error) {
    if (nestingOf(body) > kMaxNesting) {
        error = "the message is nested deeper than " + std::to_string(kMaxNesting) + " levels";
        return std::nullopt;
    }
    auto parsed = nlohmann::json::parse(body.begin(), body.end(), nullptr, false);
    if (parsed.is_discarded()) {
        error = "the message is not valid JSON";
        return std::nullopt;
    }
    return parsed;
}

std::optional<Incoming> classify(const nlohmann::json& message, std::string& error) {
    if (!message.is_object()) {
        error = "a message must be a JSON object";
        return std::nullopt;
    }
    const auto method = message.find("method");
    if (method == message.end() || !method->is_string()) {
        error = "a message without a method name";
        return std::nullopt;
    }
    Incoming in;
    in.method = method->get<std::string>();
    if (const auto id = message.find("id"); id != message.end()) {
        if (!id->is_number_integer() && !id->is_string()) {
            error = "a request id must be an integer or a string";
            return std::nullopt;
        }
        in.id = *id;
        in.isRequest = true;
    }
    if (const auto params = message.find("params"); params != message.end()) in.params = *params;
    return in;
}

nlohmann::json result(const nlohmann::json& id, nlohmann::json value) {
    return {{"jsonrpc", "2.0"}, {"id", id}, {"result", std::move(value)}};
}

nlohmann::json error(const nlohmann::json& id, int code, const std::string& message) {
    return {{"jsonrpc", "2.0"}, {"id", id}, {"error", {{"code", code}, {"message", message}}}};
}

nlohmann::json notification(const std::string& method, nlohmann::json params) {
    return {{"jsonrpc", "2.0"}, {"method", method}, {"params", std::move(params)}};
}

}  // namespace ostrel_lsp::rpc
