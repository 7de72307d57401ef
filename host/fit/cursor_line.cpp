#include "fit/cursor_line.hpp"

#include <algorithm>

#include "fit/text_lines.hpp"

namespace fit {

CursorLine cursorLineOf(const fl::ustring& file, std::size_t cursor) {
    CursorLine line;
    line.start = text::lineStart(file, cursor);
    line.end = std::max(cursor, text::lineEnd(file, cursor));
    line.before = std::u16string_view(file).substr(line.start, cursor - line.start);
    line.after = std::u16string_view(file).substr(cursor, line.end - cursor);
    return line;
}

std::vector<std::u16string_view> linesAbove(const fl::ustring& file, std::size_t lineStartOffset,
                                            std::size_t count) {
    std::vector<std::u16string_view> above;
    std::size_t end = lineStartOffset;
    while (above.size() < count && end > 0) {
        const std::size_t start = text::lineStart(file, end - 1);
        above.push_back(text::trim(std::u16string_view(file).substr(start, end - 1 - start)));
        end = start;
    }
    std::reverse(above.begin(), above.end());
    return above;
}

std::size_t nearestCodeLineAbove(const fl::ustring& file, std::size_t lineStartOffset, std::size_t most) {
    std::size_t end = lineStartOffset;
    for (std::size_t distance = 1; distance <= most && end > 0; ++distance) {
        const std::size_t start = text::lineStart(file, end - 1);
        if (!text::isBlankText(std::u16string_view(file).substr(start, end - 1 - start))) return distance;
        end = start;
    }
    return 0;
}

std::size_t columnsOf(std::u16string_view line) {
    std::size_t columns = 0;
    for (char16_t c : text::indentationOf(line))
        columns += c == u'\t' ? 4 : 1;
    return columns;
}

std::size_t columnsAbove(const fl::ustring& file, std::size_t lineStartOffset, std::size_t count) {
    std::size_t start = lineStartOffset;
    for (std::size_t i = 0; i < count && start > 0; ++i)
        start = text::lineStart(file, start - 1);
    return columnsOf(std::u16string_view(file).substr(start, text::lineEnd(file, start) - start));
}

bool startsWithLastOf(const std::vector<fl::ustring>& lines, const std::vector<std::u16string_view>& above,
                      std::size_t k) {
    if (k > lines.size() || k > above.size()) return false;
    for (std::size_t i = 0; i < k; ++i)
        if (text::trim(lines[i]) != above[above.size() - k + i]) return false;
    return true;
}

}  // namespace fit
