#include "qvai/server_message.hpp"

#include <nlohmann/json.hpp>

namespace qvai {
namespace {

// The usual places of a server's explanation in a JSON body.
std::string jsonErrorText(const nlohmann::json& body) {
    if (!body.is_object()) return {};
    for (const char* member : {"error", "detail", "message"}) {
        const auto found = body.find(member);
        if (found == body.end()) continue;
        if (found->is_string()) return found->get<std::string>();
        if (found->is_object() && found->contains("message") && (*found)["message"].is_string())
            return (*found)["message"].get<std::string>();
    }
    return {};
}

}  // namespace

std::string serverMessage(const std::string& body, const std::string& key) {
    const auto json = nlohmann::json::parse(body, nullptr, false);
    // A body that is not JSON is taken as text (a proxy's "Bad Gateway"), an HTML page without its tags.
    std::string text = json.is_discarded() ? body : jsonErrorText(json);
    if (const auto start = text.find_first_not_of(" \t\r\n");
        start != std::string::npos && text[start] == '<') {
        std::string words;
        bool inTag = false;
        for (const char c : text) {
            if (c == '<' || c == '>') {
                inTag = c == '<';
                if (!words.empty() && words.back() != ' ') words += ' ';
            } else if (!inTag && !(c == ' ' && !words.empty() && words.back() == ' ')) {
                words += c;
            }
        }
        text = std::move(words);
    }
    // Servers quote a wrong key back; it must not reach a log.
    if (key.size() >= 4)
        for (auto at = text.find(key); at != std::string::npos; at = text.find(key, at))
            text.replace(at, key.size(), "***");
    for (char& c : text)
        if (static_cast<unsigned char>(c) < 0x20) c = ' ';
    constexpr std::size_t kMostBytes = 200;
    if (text.size() > kMostBytes) {
        std::size_t cut = kMostBytes;
        while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80)
            --cut;  // not inside a UTF-8 sequence
        text = text.substr(0, cut) + "...";
    }
    const auto first = text.find_first_not_of(' ');
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

}  // namespace qvai
