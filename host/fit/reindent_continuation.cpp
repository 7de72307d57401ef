#include "fit/reindent_continuation.hpp"

#include <algorithm>
#include <map>
#include <utility>

#include "fit/reindent_style.hpp"
#include "fit/text_lines.hpp"

namespace fit {
namespace {

// How far above and below the edit the file's continuation lines are read.
constexpr std::size_t kStyleLines = 400;

bool isOpening(char16_t c) {
    return c == u'(' || c == u'[' || c == u'{';
}

bool isClosing(char16_t c) {
    return c == u')' || c == u']' || c == u'}';
}

// A quote after a value (a name, a closing bracket, a transpose, a field's dot) is a transpose.
bool quoteIsTranspose(char16_t previous) {
    return text::isWordChar(previous) || isClosing(previous) || previous == u'\'' || previous == u'.';
}

}  // namespace

void scanLine(std::u16string_view line, unsigned tabSize, StatementScan& scan) {
    const int tab = static_cast<int>(std::max(1u, tabSize));
    scan.continues = false;
    int column = 0;  // the column after the code unit read
    char16_t quote = 0, previous = 0;
    for (std::size_t i = 0; i < line.size(); previous = line[i], ++i) {
        const char16_t c = line[i];
        column = c == u'\t' ? (column / tab + 1) * tab : column + 1;
        if (quote) {
            // A doubled quote stands for one inside the text.
            if (c == quote && i + 1 < line.size() && line[i + 1] == quote)
                ++i, ++column;
            else if (c == quote)
                quote = 0;
            continue;
        }
        if (c == u'%') return;
        if (line.substr(i).starts_with(u"...")) {
            scan.continues = true;
            return;
        }
        if (c == u'"' || (c == u'\'' && !quoteIsTranspose(previous)))
            quote = c;
        else if (isOpening(c))
            scan.openBrackets.push_back({c, column});
        else if (isClosing(c) && !scan.openBrackets.empty())
            scan.openBrackets.pop_back();
    }
}

namespace {

struct ContinuationCounts {
    std::size_t aligned = 0;
    std::map<int, std::size_t> bracketOffsets, plainOffsets;  // offset from the statement -> lines
};

// Counts the continuation lines in the lines from `from` up to `to`.
void countContinuations(const fl::ustring& file, std::size_t from, std::size_t to, unsigned tabSize,
                        ContinuationCounts& counts) {
    StatementScan scan;
    int statementColumns = 0;
    for (std::size_t at = from; at < to && at < file.size(); at = text::nextLineStart(file, at)) {
        const std::u16string_view line = std::u16string_view(file).substr(at, text::lineEnd(file, at) - at);
        if (text::isBlankText(line)) continue;
        const int columns = columnsOf(text::indentationOf(line), tabSize);
        if (!scan.goesOn()) {
            scan = StatementScan{};
            statementColumns = columns;
        } else if (!scan.openBrackets.empty() && columns == scan.openBrackets.back().column) {
            ++counts.aligned;
        } else if (columns > statementColumns) {
            ++(scan.openBrackets.empty() ? counts.plainOffsets
                                         : counts.bracketOffsets)[columns - statementColumns];
        }
        scanLine(line, tabSize, scan);
    }
}

// The most common offset and how many lines have it.
std::pair<std::optional<int>, std::size_t> mostCommon(const std::map<int, std::size_t>& offsets) {
    std::pair<std::optional<int>, std::size_t> best{std::nullopt, 0};
    for (const auto& [offset, lines] : offsets)
        if (lines > best.second) best = {offset, lines};
    return best;
}

}  // namespace

ContinuationHabit continuationHabit(const fl::ustring& file, std::size_t from, std::size_t to,
                                    unsigned tabSize) {
    std::size_t start = text::lineStart(file, std::min(from, file.size()));
    for (std::size_t lines = 0; start > 0 && lines < kStyleLines; ++lines)
        start = text::lineStart(file, start - 1);
    const std::size_t below = text::nextLineStart(file, std::min(to, file.size()));
    std::size_t end = below;
    for (std::size_t lines = 0; end < file.size() && lines < kStyleLines; ++lines)
        end = text::nextLineStart(file, end);
    ContinuationCounts counts;
    countContinuations(file, start, from, tabSize, counts);
    countContinuations(file, below, end, tabSize, counts);
    ContinuationHabit habit;
    const auto [bracketOffset, offsetLines] = mostCommon(counts.bracketOffsets);
    habit.alignsWithBracket = counts.aligned > offsetLines;
    if (!habit.alignsWithBracket) habit.bracketOffset = bracketOffset;
    habit.plainOffset = mostCommon(counts.plainOffsets).first;
    return habit;
}

}  // namespace fit
