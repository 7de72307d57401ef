#include "mtcc/autocompletion/context_limits.hpp"

#include <algorithm>

namespace mtcc::AutoCompletion {
namespace {

bool isWhitespace(char16_t c) {
    return c == u' ' || (c >= u'\t' && c <= u'\r');
}

}  // namespace

bool hasNonWhitespace(const fl::ustring& text) {
    return std::any_of(text.begin(), text.end(), [](char16_t c) { return !isWhitespace(c); });
}

fl::ustring splitCodeToCursor(const fl::ustring& code, std::size_t cursor, bool toLineEnd) {
    if (!toLineEnd) return code.substr(0, std::min(cursor, code.size()));

    std::size_t p = cursor;
    for (;;) {
        const std::size_t lineEnd = std::min(code.find_first_of(u"\n\r", p), code.size());
        const std::size_t marker = code.find(u"...", p);
        // A CR LF pair counts as two line ends: the LF stops the next round at once.
        if (lineEnd < code.size() && marker != fl::ustring::npos && marker < lineEnd) {
            p = lineEnd + 1;
            continue;
        }
        return code.substr(0, lineEnd);
    }
}

fl::ustring suffixFromCursor(const fl::ustring& code, std::size_t cursor) {
    return cursor < code.size() ? code.substr(cursor) : fl::ustring();
}

fl::ustring keepLast(const fl::ustring& text, std::size_t n) {
    if (text.empty() || n == 0) return {};
    return n < text.size() ? text.substr(text.size() - n) : text;
}

fl::ustring keepFirst(const fl::ustring& text, std::size_t n) {
    if (text.empty() || n == 0) return {};
    return text.substr(0, std::min(n, text.size()));
}

}  // namespace mtcc::AutoCompletion
