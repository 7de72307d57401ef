#include "fit/reindent_style.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include "fit/reindent_continuation.hpp"
#include "fit/text_lines.hpp"

namespace fit {
namespace {

// How far the style detection looks above the cursor.
constexpr std::size_t kStyleLinesAbove = 400;

struct LineView {
    std::u16string_view text;
    std::size_t start;
};

// Up to `count` lines ending with the one that holds `pos`, in file order.
std::vector<LineView> linesUpTo(const fl::ustring& file, std::size_t pos, std::size_t count) {
    std::vector<LineView> lines;
    std::size_t start = text::lineStart(file, pos);
    for (;;) {
        const std::size_t end = text::lineEnd(file, start);
        lines.push_back({std::u16string_view(file).substr(start, end - start), start});
        if (lines.size() >= count || start == 0) break;
        start = text::lineStart(file, start - 1);
    }
    return {lines.rbegin(), lines.rend()};
}

bool startsWithWord(std::u16string_view code, std::u16string_view word) {
    return code.starts_with(word) && (code.size() == word.size() || !text::isWordChar(code[word.size()]));
}

bool isCodeLine(std::u16string_view line) {
    const std::u16string_view code = text::trimLeft(line);
    return !code.empty() && code.front() != u'%';
}

// Whether the line holds a `[`, a `{` or a `.`, without which it cannot take a statement on to the next
// line. Read whole, with no early exit, so that the compiler may compare many code units at once.
bool mayGoOn(std::u16string_view line) {
    bool found = false;
    for (char16_t c : line)
        found |= (c == u'[') | (c == u'{') | (c == u'.');
    return found;
}

}  // namespace

int columnsOf(std::u16string_view indentation, unsigned tabSize) {
    const int tab = static_cast<int>(std::max(1u, tabSize));
    int columns = 0;
    for (char16_t c : indentation)
        columns = c == u'\t' ? (columns / tab + 1) * tab : columns + 1;
    return columns;
}

fl::ustring indentationFor(int columns, const IndentSettings& style) {
    if (columns <= 0) return {};
    const int tab = static_cast<int>(std::max(1u, style.tabSize));
    if (style.insertSpaces) return fl::ustring(static_cast<std::size_t>(columns), u' ');
    return fl::ustring(static_cast<std::size_t>(columns / tab), u'\t') +
           fl::ustring(static_cast<std::size_t>(columns % tab), u' ');
}

bool startsLinesWith(char16_t blank, const fl::ustring& file, std::size_t from, std::size_t to) {
    std::size_t start = text::lineStart(file, std::min(from, file.size()));
    for (std::size_t above = 0; start > 0 && above < kStyleLinesAbove; ++above)
        start = text::lineStart(file, start - 1);
    bool inBlockComment = false;  // a block comment's text is prose, not indented code
    for (std::size_t below = 0; start < file.size() && below < kStyleLinesAbove;) {
        const std::size_t end = text::lineEnd(file, start);
        const std::u16string_view line = std::u16string_view(file).substr(start, end - start);
        const std::u16string_view code = text::trim(line);
        inBlockComment = inBlockComment ? code != u"%}" : code == u"%{";
        if (!inBlockComment && line.starts_with(blank) && !text::isBlankText(line)) return true;
        if (start > to) ++below;
        start = text::nextLineStart(file, end);
    }
    return false;
}

bool closesBracketsLeftOfRows(const fl::ustring& file, std::size_t from, std::size_t to, unsigned tabSize) {
    std::size_t start = text::lineStart(file, std::min(from, file.size()));
    for (std::size_t above = 0; start > 0 && above < kStyleLinesAbove; ++above)
        start = text::lineStart(file, start - 1);
    int left = 0, level = 0;
    std::optional<int> previous;  // the column of the code line above
    for (std::size_t below = 0; start < file.size() && below < kStyleLinesAbove;) {
        const std::size_t end = text::lineEnd(file, start);
        const std::u16string_view line = std::u16string_view(file).substr(start, end - start);
        if (isCodeLine(line)) {
            const int columns = columnsOf(text::indentationOf(line), tabSize);
            const char16_t first = text::trimLeft(line).front();
            if (previous && (first == u']' || first == u'}' || first == u')'))
                ++(columns < *previous ? left : level);
            previous = columns;
        }
        if (start > to) ++below;
        start = text::nextLineStart(file, end);
    }
    return left > level;
}

IndentSettings fileIndentation(const fl::ustring& file, std::size_t cursor, const IndentSettings& settings) {
    IndentSettings style = settings;
    const std::vector<LineView> lines = linesUpTo(file, cursor, kStyleLinesAbove);
    std::size_t tabbed = 0, spaced = 0;
    std::array<std::size_t, 9> steps{};
    std::size_t indentedBodies = 0, flatBodies = 0;
    const LineView* previous = nullptr;
    const LineView* functionLine = nullptr;
    std::size_t blockComments = 0;  // open `%{` blocks, whose lines may stand at any column
    StatementScan statement;        // continuation lines stand where they line up, not a level in
    for (const LineView& line : lines) {
        const std::u16string_view trimmed = text::trim(line.text);
        if (trimmed == u"%{") ++blockComments;
        if (trimmed == u"%}" && blockComments > 0) --blockComments;
        if (blockComments > 0 || !isCodeLine(line.text)) continue;
        const bool continuation = statement.goesOn();
        if (!continuation) statement = StatementScan{};
        // Only `...` or an open matrix or cell takes a statement on to the next line.
        if (continuation || mayGoOn(line.text)) scanLine(line.text, settings.tabSize, statement);
        if (continuation) continue;
        const std::u16string_view indentation = text::indentationOf(line.text);
        if (!indentation.empty()) (indentation.front() == u'\t' ? tabbed : spaced) += 1;
        if (previous && indentation.find(u'\t') == std::u16string_view::npos) {
            const int step = columnsOf(indentation, settings.tabSize) -
                             columnsOf(text::indentationOf(previous->text), settings.tabSize);
            if (step > 0 && step < static_cast<int>(steps.size())) ++steps[static_cast<std::size_t>(step)];
        }
        if (functionLine) {
            const int step = columnsOf(indentation, settings.tabSize) -
                             columnsOf(text::indentationOf(functionLine->text), settings.tabSize);
            ++(step > 0 ? indentedBodies : flatBodies);
            functionLine = nullptr;
        }
        if (startsWithWord(text::trimLeft(line.text), u"function")) functionLine = &line;
        previous = &line;
    }
    if (tabbed != spaced) style.insertSpaces = spaced > tabbed;
    std::size_t best = 0;
    for (std::size_t step = 1; step < steps.size(); ++step)
        if (steps[step] > steps[best]) best = step;
    if (tabbed > spaced)
        style.indentSize = style.tabSize;
    else if (spaced > tabbed && best > 0)
        style.indentSize = static_cast<unsigned>(best);
    // Bodies at their function's column fit classic and mixed alike (mixed indents only nested
    // functions' bodies); both kinds of body in one file are mixed.
    if (indentedBodies > 0 && flatBodies > 0)
        style.functionIndent = 1;
    else if (indentedBodies > 0 && style.functionIndent == 0)
        style.functionIndent = 2;
    else if (flatBodies > 0 && style.functionIndent == 2)
        style.functionIndent = 0;
    return style;
}

}  // namespace fit
