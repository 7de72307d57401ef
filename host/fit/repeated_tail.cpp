#include "fit/repeated_tail.hpp"

#include <algorithm>
#include <optional>

#include "fit/cursor_line.hpp"
#include "fit/text_lines.hpp"

namespace fit {
namespace {

struct RepeatedTail {
    std::size_t firstLine = 0;  // index of the completion's first line that repeats
    std::size_t codeLines = 0;  // how many of its code lines repeat
    bool onlyCloses = false;    // the repeated lines only close blocks
};

// The non-blank lines after the cursor's line, trimmed, as many as a completion of `lineCount` lines
// could repeat.
std::vector<std::u16string_view> codeLinesBelow(const fl::ustring& file, std::size_t cursor,
                                                std::size_t lineCount) {
    std::vector<std::u16string_view> below;
    for (std::size_t at = text::nextLineStart(file, text::lineEnd(file, cursor));
         at < file.size() && below.size() + 1 < lineCount && below.size() < kMostRestatedLines;
         at = text::nextLineStart(file, at)) {
        const std::u16string_view line =
            text::trim(std::u16string_view(file).substr(at, text::lineEnd(file, at) - at));
        if (!line.empty()) below.push_back(line);
    }
    return below;
}

// The most last code lines of the completion, `most` at most (one at least is left), that equal the code
// lines below the cursor's line.
std::optional<RepeatedTail> repeatedTailOf(const fl::ustring& file, std::size_t cursor,
                                           const std::vector<fl::ustring>& lines,
                                           std::size_t most = kMostRestatedLines) {
    const std::vector<std::u16string_view> below = codeLinesBelow(file, cursor, lines.size());
    std::vector<std::size_t> codeLines;  // indexes of the completion's non-blank lines
    for (std::size_t i = 0; i < lines.size(); ++i)
        if (!text::isBlankText(lines[i])) codeLines.push_back(i);
    for (std::size_t k =
             std::min({most, below.size(), codeLines.size() - std::min<std::size_t>(codeLines.size(), 1)});
         k > 0; --k) {
        bool repeats = true;
        for (std::size_t i = 0; i < k && repeats; ++i)
            repeats = text::trim(lines[codeLines[codeLines.size() - k + i]]) == below[i];
        if (!repeats) continue;
        const bool onlyCloses = std::all_of(below.begin(), below.begin() + static_cast<std::ptrdiff_t>(k),
                                            [](std::u16string_view l) { return text::isClosingLine(l); });
        return RepeatedTail{codeLines[codeLines.size() - k], k, onlyCloses};
    }
    return std::nullopt;
}

std::vector<fl::ustring> cutBefore(std::vector<fl::ustring> lines, std::size_t firstLine) {
    lines.resize(firstLine);
    while (!lines.empty() && text::isBlankText(lines.back()))
        lines.pop_back();
    return lines;
}

}  // namespace

std::vector<fl::ustring> withoutRepeatedTail(const fl::ustring& file, std::size_t cursor,
                                             std::vector<fl::ustring> lines) {
    const std::optional<RepeatedTail> tail = repeatedTailOf(file, cursor, lines);
    // Lines that only close blocks are as likely the completion's own `end`s.
    if (!tail || tail->onlyCloses) return lines;
    return cutBefore(std::move(lines), tail->firstLine);
}

std::vector<std::vector<fl::ustring>> withoutRepeatedTailsOrClosers(const fl::ustring& file,
                                                                    std::size_t cursor,
                                                                    const std::vector<fl::ustring>& lines) {
    std::vector<std::vector<fl::ustring>> shorter;
    for (auto tail = repeatedTailOf(file, cursor, lines); tail;
         tail = repeatedTailOf(file, cursor, lines, tail->codeLines - 1))
        shorter.push_back(cutBefore(lines, tail->firstLine));
    return shorter;
}

bool repeatsRestOfLine(const std::vector<fl::ustring>& lines, std::u16string_view after) {
    const std::u16string_view rest = text::trim(after);
    if (rest.empty()) return false;
    const std::u16string_view last = text::trimRight(lines.back());
    const std::size_t at = last.rfind(rest);
    if (at == std::u16string_view::npos) return false;
    for (char16_t c : last.substr(at + rest.size()))
        if (c != u';' && c != u',' && !text::isBlank(c)) return false;
    return true;
}

}  // namespace fit
