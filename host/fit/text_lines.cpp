#include "fit/text_lines.hpp"

#include <algorithm>
#include <array>

namespace fit::text {

bool isBlank(char16_t c) {
    return c == u' ' || c == u'\t' || c == u'\f' || c == u'\v' || c == u'\r';
}

bool isBlankText(std::u16string_view text) {
    for (char16_t c : text)
        if (!isBlank(c) && c != u'\n') return false;
    return true;
}

std::u16string_view trimLeft(std::u16string_view text) {
    std::size_t i = 0;
    while (i < text.size() && (isBlank(text[i]) || text[i] == u'\n'))
        ++i;
    return text.substr(i);
}

std::u16string_view trimRight(std::u16string_view text) {
    std::size_t n = text.size();
    while (n > 0 && (isBlank(text[n - 1]) || text[n - 1] == u'\n'))
        --n;
    return text.substr(0, n);
}

std::u16string_view trim(std::u16string_view text) {
    return trimRight(trimLeft(text));
}

std::u16string_view indentationOf(std::u16string_view line) {
    std::size_t i = 0;
    while (i < line.size() && (line[i] == u' ' || line[i] == u'\t'))
        ++i;
    return line.substr(0, i);
}

std::size_t lineStart(const fl::ustring& text, std::size_t pos) {
    if (pos > text.size()) pos = text.size();
    const std::size_t at = pos == 0 ? fl::ustring::npos : text.rfind(u'\n', pos - 1);
    return at == fl::ustring::npos ? 0 : at + 1;
}

std::size_t lineEnd(const fl::ustring& text, std::size_t pos) {
    const std::size_t at = text.find(u'\n', pos);
    if (at == fl::ustring::npos) return text.size();
    return at > pos && text[at - 1] == u'\r' ? at - 1 : at;
}

std::size_t nextLineStart(const fl::ustring& text, std::size_t pos) {
    const std::size_t at = text.find(u'\n', pos);
    return at == fl::ustring::npos ? text.size() : at + 1;
}

std::u16string_view linesAround(const fl::ustring& text, std::size_t pos, std::size_t each) {
    std::size_t from = lineStart(text, pos), to = pos;
    for (std::size_t lines = 0; from > 0 && lines < each; ++lines)
        from = lineStart(text, from - 1);
    for (std::size_t lines = 0; to < text.size() && lines <= each; ++lines)
        to = nextLineStart(text, to);
    return std::u16string_view(text).substr(from, to - from);
}

std::size_t countLineFeeds(std::u16string_view text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), u'\n'));
}

std::size_t lineNumberAt(const fl::ustring& text, std::size_t pos) {
    return 1 + countLineFeeds(std::u16string_view(text).substr(0, std::min(pos, text.size())));
}

bool usesCrLf(const fl::ustring& file, std::size_t cursor) {
    std::size_t at = file.find(u'\n', std::min(cursor, file.size()));
    if (at == fl::ustring::npos) at = file.find(u'\n');
    return at != fl::ustring::npos && at > 0 && file[at - 1] == u'\r';
}

std::vector<fl::ustring> splitLines(std::u16string_view text) {
    std::vector<fl::ustring> lines;
    std::size_t from = 0;
    while (from < text.size()) {
        std::size_t at = text.find(u'\n', from);
        if (at == std::u16string_view::npos) at = text.size();
        fl::ustring line;
        for (char16_t c : text.substr(from, at - from))
            if (c != u'\r') line.push_back(c);
        lines.push_back(std::move(line));
        from = at + 1;
    }
    return lines;
}

std::vector<fl::ustring> splitLinesWithoutBlankEnds(std::u16string_view text) {
    std::vector<fl::ustring> lines = splitLines(text);
    while (!lines.empty() && isBlankText(lines.back()))
        lines.pop_back();
    const auto firstCode =
        std::find_if(lines.begin(), lines.end(), [](const fl::ustring& line) { return !isBlankText(line); });
    lines.erase(lines.begin(), firstCode);
    return lines;
}

fl::ustring joinLines(const std::vector<fl::ustring>& lines, std::u16string_view lineEnd) {
    fl::ustring out;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (i > 0) out += lineEnd;
        out += lines[i];
    }
    return out;
}

fl::ustring withLineEnds(std::u16string_view text, std::u16string_view lineEnd) {
    fl::ustring out;
    out.reserve(text.size());
    for (char16_t c : text) {
        if (c == u'\r') continue;
        if (c == u'\n')
            out += lineEnd;
        else
            out.push_back(c);
    }
    return out;
}

bool isWordChar(char16_t c) {
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') || c == u'_';
}

bool hasWholeWord(std::u16string_view text, std::u16string_view word, std::size_t skipFrom,
                  std::size_t skipTo) {
    if (word.empty()) return false;
    for (std::size_t at = text.find(word); at != std::u16string_view::npos; at = text.find(word, at + 1)) {
        const std::size_t end = at + word.size();
        if ((at == 0 || !isWordChar(text[at - 1])) && (end == text.size() || !isWordChar(text[end])) &&
            (at < skipFrom || at >= skipTo))
            return true;
    }
    return false;
}

std::u16string_view trailingReservedWord(std::u16string_view text) {
    static constexpr std::array<std::u16string_view, 20> kReserved = {
        u"break",      u"case",   u"catch",    u"classdef", u"continue", u"else",      u"elseif",
        u"end",        u"for",    u"function", u"global",   u"if",       u"otherwise", u"parfor",
        u"persistent", u"return", u"spmd",     u"switch",   u"try",      u"while"};
    std::size_t start = text.size();
    while (start > 0 && isWordChar(text[start - 1]))
        --start;
    const std::u16string_view word = text.substr(start);
    if (start > 0 && text[start - 1] == u'.') return {};  // a field name, not a word of the language
    for (std::u16string_view reserved : kReserved)
        if (word == reserved) return word;
    return {};
}

bool isClosingLine(std::u16string_view line) {
    for (std::u16string_view word : {u"end", u"else", u"elseif", u"case", u"otherwise", u"catch"})
        if (line.starts_with(word) && (line.size() == word.size() || !isWordChar(line[word.size()])))
            return true;
    return false;
}

}  // namespace fit::text
