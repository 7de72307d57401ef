#include "file_uri.hpp"

#include <cctype>

namespace ostrel_lsp {
namespace {

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

std::optional<std::string> pathOfFileUri(const std::string& uri) {
    constexpr std::string_view scheme = "file://";
    if (uri.size() < scheme.size() || uri.compare(0, scheme.size(), scheme) != 0) return std::nullopt;
    std::string_view rest = std::string_view(uri).substr(scheme.size());
    if (rest.starts_with("localhost/")) rest.remove_prefix(9);
    if (!rest.starts_with("/")) return std::nullopt;
    std::string path;
    for (std::size_t i = 0; i < rest.size(); ++i) {
        if (rest[i] != '%') {
            path += rest[i];
            continue;
        }
        if (i + 2 >= rest.size() || hexValue(rest[i + 1]) < 0 || hexValue(rest[i + 2]) < 0)
            return std::nullopt;
        path += static_cast<char>(hexValue(rest[i + 1]) * 16 + hexValue(rest[i + 2]));
        i += 2;
    }
    if (path.find('\0') != std::string::npos) return std::nullopt;
    return path;
}

}  // namespace ostrel_lsp
