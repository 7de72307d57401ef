#include "text_positions.hpp"

#include <algorithm>

namespace ostrel_lsp {
namespace {

// The offset where line `line`'s content ends (before its line break).
std::size_t contentEnd(const fl::ustring& text, const std::vector<std::size_t>& starts, std::size_t line) {
    std::size_t end = line + 1 < starts.size() ? starts[line + 1] : text.size();
    if (end > starts[line] && line + 1 < starts.size()) {
        --end;  // the '\n' or lone '\r'
        if (text[end] == u'\n' && end > starts[line] && text[end - 1] == u'\r') --end;
    }
    return end;
}

}  // namespace

std::vector<std::size_t> lineStartsOf(const fl::ustring& text) {
    std::vector<std::size_t> starts{0};
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t c = text[i];
        if (c == u'\n') {
            starts.push_back(i + 1);
        } else if (c == u'\r') {
            if (i + 1 < text.size() && text[i + 1] == u'\n') ++i;
            starts.push_back(i + 1);
        }
    }
    return starts;
}

std::size_t offsetOf(const fl::ustring& text, const std::vector<std::size_t>& lineStarts, Position position) {
    if (position.line < 0) return 0;
    const auto line = static_cast<std::size_t>(position.line);
    if (line >= lineStarts.size()) return text.size();
    const std::size_t end = contentEnd(text, lineStarts, line);
    const std::size_t character = position.character < 0 ? 0 : static_cast<std::size_t>(position.character);
    return std::min(lineStarts[line] + std::min(character, end - lineStarts[line]), end);
}

Position positionOf(const fl::ustring& text, const std::vector<std::size_t>& lineStarts, std::size_t offset) {
    offset = std::min(offset, text.size());
    const auto after = std::upper_bound(lineStarts.begin(), lineStarts.end(), offset);
    const auto line = static_cast<std::size_t>(after - lineStarts.begin()) - 1;
    return {static_cast<std::int64_t>(line), static_cast<std::int64_t>(offset - lineStarts[line])};
}

Position positionOf(const fl::ustring& text, std::size_t offset) {
    offset = std::min(offset, text.size());
    Position p;
    std::size_t lineStart = 0;
    for (std::size_t i = 0; i < offset; ++i) {
        const char16_t c = text[i];
        if (c == u'\n' || (c == u'\r' && !(i + 1 < text.size() && text[i + 1] == u'\n'))) {
            ++p.line;
            lineStart = i + 1;
        }
    }
    p.character = static_cast<std::int64_t>(offset - lineStart);
    return p;
}

}  // namespace ostrel_lsp
