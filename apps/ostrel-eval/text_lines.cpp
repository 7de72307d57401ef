#include "text_lines.hpp"

namespace ostrel_eval {

std::vector<LineSpan> splitLines(const fl::ustring& text) {
    std::vector<LineSpan> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t feed = text.find(u'\n', start);
        if (feed == fl::ustring::npos) {
            lines.push_back({start, text.size(), text.size()});
            break;
        }
        const std::size_t contentEnd = feed > start && text[feed - 1] == u'\r' ? feed - 1 : feed;
        lines.push_back({start, contentEnd, feed + 1});
        start = feed + 1;
    }
    return lines;
}

bool isBlank(char16_t c) {
    return c == u' ' || c == u'\t';
}

std::size_t leadingBlanks(const fl::ustring& text, std::size_t start, std::size_t end) {
    std::size_t i = start;
    while (i < end && isBlank(text[i]))
        ++i;
    return i - start;
}

bool isBlankLine(const fl::ustring& text, const LineSpan& line) {
    for (std::size_t i = line.start; i < line.contentEnd; ++i) {
        const char16_t c = text[i];
        if (!isBlank(c) && c != u'\r' && c != u'\f' && c != u'\v') return false;
    }
    return true;
}

fl::ustring withoutIndentation(const fl::ustring& text) {
    fl::ustring out;
    out.reserve(text.size());
    bool atLineStart = true;
    for (const char16_t c : text) {
        if (atLineStart && isBlank(c)) continue;
        atLineStart = c == u'\n';
        out.push_back(c);
    }
    return out;
}

fl::ustring normalizedCode(const fl::ustring& text) {
    std::vector<fl::ustring> lines;
    for (const LineSpan& line : splitLines(text)) {
        std::size_t first = line.start;
        std::size_t last = line.contentEnd;
        while (first < last && (isBlank(text[first]) || text[first] == u'\r'))
            ++first;
        while (last > first && (isBlank(text[last - 1]) || text[last - 1] == u'\r'))
            --last;
        lines.push_back(text.substr(first, last - first));
    }
    std::size_t begin = 0;
    std::size_t end = lines.size();
    while (begin < end && lines[begin].empty())
        ++begin;
    while (end > begin && lines[end - 1].empty())
        --end;
    fl::ustring out;
    for (std::size_t i = begin; i < end; ++i) {
        if (i > begin) out.push_back(u'\n');
        out += lines[i];
    }
    return out;
}

}  // namespace ostrel_eval
