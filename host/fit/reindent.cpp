#include "fit/reindent.hpp"

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "ca/formatting/legacy/legacy_formatter.hpp"
#include "ca/lexer/token.hpp"
#include "fit/reindent_block_comment.hpp"
#include "fit/reindent_continuation.hpp"
#include "fit/reindent_file_columns.hpp"
#include "fit/reindent_model_fit.hpp"
#include "fit/reindent_place_continuations.hpp"
#include "fit/reindent_style.hpp"
#include "fit/reindent_window.hpp"
#include "fit/text_lines.hpp"

namespace fit {
namespace {

using namespace reindenting;

// How far the formatter looks above the edit, at least,
constexpr std::size_t kFormatLinesAbove = 60;
// ... and further up to a line at the margin (the first line of a long class: a `methods` line is a
// block only inside one).
constexpr std::size_t kMostFormatLinesAbove = 400;
constexpr std::size_t kFormatLinesBelow = 60;

// Where the formatter's window starts, and the lines put in front of it. The formatter keeps a
// window's first line as it is and reads the level of the first code line after it from that line's
// own indentation: so the window is a comment line of its own, then the file from a line above the edit
// (at the margin when one is near), whose indentation anchors the levels of the lines below.
struct FormatWindow {
    std::size_t start = 0;
    std::u16string_view lead;
};

// The line that starts the function or class the edit is in, at the margin, or the top of the file, within
// reach: in a file that does not follow the formatter a line at the margin may stand inside any block.
std::optional<std::size_t> unitStart(const fl::ustring& file, std::size_t editLineStart) {
    std::size_t start = editLineStart;
    for (std::size_t linesAbove = 0; start > 0 && linesAbove < kMostFormatLinesAbove; ++linesAbove) {
        start = text::lineStart(file, start - 1);
        const std::u16string_view line =
            std::u16string_view(file).substr(start, text::lineEnd(file, start) - start);
        if (startsWithAnyWord(line, {u"function", u"classdef"})) return start;
    }
    return start == 0 && editLineStart > 0 ? std::optional<std::size_t>(0) : std::nullopt;
}

// A line that opens a block of one of `words` (`methods (Static)`, not `methods = 2;`).
bool opensMemberBlock(std::u16string_view line, std::initializer_list<std::u16string_view> words) {
    const std::u16string_view code = text::trimLeft(line);
    if (!startsWithAnyWord(code, words)) return false;
    const std::size_t after = code.find_first_of(u" \t(%");
    const std::u16string_view rest =
        after == std::u16string_view::npos ? u"" : text::trimLeft(code.substr(after));
    return rest.empty() || rest.front() == u'(' || rest.front() == u'%';
}

FormatWindow formatWindow(const fl::ustring& file, std::size_t editLineStart, const IndentSettings& style,
                          bool wholeUnit) {
    if (const std::optional<std::size_t> unit = wholeUnit ? unitStart(file, editLineStart) : std::nullopt)
        return {*unit, u"%\n"};
    const unsigned tabSize = style.tabSize;
    // The nearest code line that stands left of every code line between it and the edit, the leftmost
    // such line within reach: the formatter then sees the opening line of every block the lines below
    // it close, and no closing line takes the levels below the window's first.
    std::size_t reach = editLineStart;  // as far up as the window may start
    for (std::size_t lines = 0; reach > 0 && lines <= kMostFormatLinesAbove; ++lines)
        reach = text::lineStart(file, reach - 1);
    const BlockCommentSpans comments = blockCommentSpans(file, reach, editLineStart);
    std::size_t start = editLineStart, best = editLineStart;
    int bestColumns = std::numeric_limits<int>::max(), leftmostBelow = std::numeric_limits<int>::max();
    for (std::size_t linesAbove = 0; start > 0 && linesAbove < kMostFormatLinesAbove &&
                                     (linesAbove < kFormatLinesAbove || bestColumns > 0);
         ++linesAbove) {
        start = text::lineStart(file, start - 1);
        const std::u16string_view line =
            std::u16string_view(file).substr(start, text::lineEnd(file, start) - start);
        if (!isCode(line) || insideBlockComment(comments, start)) continue;
        const int columns = columnsOf(text::indentationOf(line), tabSize);
        const bool continued = start > 0 && text::trimRight(std::u16string_view(file).substr(
                                                                text::lineStart(file, start - 1),
                                                                start - 1 - text::lineStart(file, start - 1)))
                                                .ends_with(u"...");
        if (!isCloser(text::trimLeft(line)) && !continued && columns < bestColumns &&
            columns <= leftmostBelow) {
            best = start;
            bestColumns = columns;
            if (columns == 0) break;
        }
        leftmostBelow = std::min(leftmostBelow, columns);
    }
    if (best == editLineStart) best = start;
    // Where only nested functions' bodies are indented and nested functions stand at the margin, the
    // formatter tells them apart only from the line that opens the function around them: the window
    // starts at the top of the file when that is within reach.
    if (style.functionIndent == 1 && best > 0) {
        std::size_t top = best;
        for (std::size_t linesAbove = 0; top > 0 && linesAbove < kMostFormatLinesAbove; ++linesAbove)
            top = text::lineStart(file, top - 1);
        if (top == 0) best = 0;
    }
    // On the file's first line, a statement at the margin stands in for the lines above.
    if (best == editLineStart) return {best, u"%\n0\n"};
    // A class's `methods` (or `properties`, ...) line is a block only inside a class, an `arguments` line
    // only inside a function: a line of that kind stands in for the first line out of the window.
    const std::u16string_view line = std::u16string_view(file).substr(best, text::lineEnd(file, best) - best);
    if (opensMemberBlock(line, {u"arguments"})) return {best, u"%\nfunction f\n"};
    if (!line.empty() && text::isBlank(line.front()) &&
        opensMemberBlock(line, {u"methods", u"properties", u"events", u"enumeration"}))
        return {best, u"%\nclassdef C\n"};
    return {best, u"%\n"};
}

std::vector<Line> linesOf(std::u16string_view text) {
    std::vector<Line> lines;
    for (std::size_t start = 0;;) {
        const std::size_t end = text.find(u'\n', start);
        lines.push_back({start, text.substr(start, end == std::u16string_view::npos ? end : end - start)});
        if (end == std::u16string_view::npos) return lines;
        start = end + 1;
    }
}

fl::ustring formatted(const fl::ustring& window, std::uint32_t lastLine, const IndentSettings& style) {
    ca::formatting::legacy::Settings formatting;
    formatting.startLine = 2;  // the first line is the lead the formatter keeps anyway
    formatting.endLine = lastLine;
    formatting.insertSpaces = style.insertSpaces;
    formatting.tabSize = std::max(1u, style.tabSize);
    formatting.indentSize = std::max(1u, style.indentSize);
    formatting.functionIndentation =
        static_cast<ca::formatting::legacy::FunctionIndentation>(std::clamp(style.functionIndent, 0, 2));
    formatting.blankLines =
        static_cast<ca::formatting::legacy::BlankLines>(std::clamp(style.blankLines, 0, 2));
    const ca::formatting::legacy::LegacyFormatter formatter(formatting);
    return formatter.getFormattedText(formatter.indentCode(ca::lexer::lex(window)));
}

std::vector<bool> blockCommentLines(const std::vector<Line>& lines) {
    std::vector<bool> inside(lines.size(), false);
    std::size_t depth = 0;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const std::u16string_view code = text::trim(lines[i].text);
        if (code == u"%{") ++depth;
        inside[i] = depth > 0;
        if (code == u"%}" && depth > 0) --depth;
    }
    return inside;
}

Window windowAround(const fl::ustring& file, const Edit& edit, const IndentSettings& style, bool wholeUnit) {
    const FormatWindow start = formatWindow(file, text::lineStart(file, edit.start), style, wholeUnit);
    Window window;
    window.fromTop = start.start == 0;
    window.fileStart = start.start;
    window.text.assign(start.lead);
    window.text.append(std::u16string_view(file).substr(start.start, edit.start - start.start));
    window.editFrom = window.text.size();
    window.editTo = window.editFrom + edit.text.size();
    window.text.append(edit.text);
    // A line end after the window: the formatter leaves a last line without one as it is. The lines
    // below down to one at the margin show the formatter which blocks are still open at the edit.
    std::size_t end = text::lineEnd(file, edit.end);
    for (std::size_t linesBelow = 0; end < file.size() && linesBelow < kFormatLinesBelow; ++linesBelow) {
        const std::size_t next = text::nextLineStart(file, end);
        end = text::lineEnd(file, next);
        const std::u16string_view line = std::u16string_view(file).substr(next, end - next);
        // With only nested bodies indented, a nested function at the margin is told by the `end` of the
        // function around it: the window goes on to the next function line.
        if (isCode(line) && !text::isBlank(line.front()) &&
            ((style.functionIndent != 1 && !wholeUnit) ||
             startsWithAnyWord(line, {u"function", u"classdef"})))
            break;
    }
    window.text.append(std::u16string_view(file).substr(edit.end, end - edit.end)).append(u"\n");
    window.lines = linesOf(window.text);
    window.inBlockComment = blockCommentLines(window.lines);
    window.continues.assign(window.lines.size(), false);
    StatementScan scan;
    for (std::size_t i = 1; i < window.lines.size(); ++i) {
        if (!window.isCodeLine(i)) continue;
        window.continues[i] = scan.goesOn();
        if (!scan.goesOn()) scan = StatementScan{};
        scanLine(window.lines[i].text, style.tabSize, scan);
    }
    for (std::size_t i = 1; i < window.lines.size(); ++i) {
        const Line& line = window.lines[i];
        if (line.start < window.editFrom || line.start >= window.editTo) continue;
        const std::size_t blanks = text::indentationOf(line.text).size();
        const bool blankInEdit =
            text::isBlankText(line.text) && line.start + line.text.size() <= window.editTo;
        if (line.start + blanks < window.editTo || blankInEdit) window.started.push_back(i);
    }
    return window;
}

// The blanks typed before the cursor when the edit's first line replaces the cursor's blank line (none on
// an empty line): a model that gives that line no blanks of its own wrote it from the cursor, not from the
// margin.
std::optional<std::u16string_view> typedBlanks(const fl::ustring& file, std::size_t cursor,
                                               const Edit& edit) {
    const std::size_t lineStart = text::lineStart(file, std::min(cursor, file.size()));
    if (edit.start != lineStart || cursor < lineStart) return std::nullopt;
    std::u16string_view typed = std::u16string_view(file).substr(lineStart, cursor - lineStart);
    // A closing word typed after the blanks, which the edit writes out again.
    if (const std::u16string_view word = text::trimLeft(typed);
        !word.empty() && std::u16string_view(edit.text).starts_with(word) && text::isClosingLine(edit.text))
        typed.remove_suffix(word.size());
    const std::u16string_view line =
        std::u16string_view(file).substr(lineStart, text::lineEnd(file, lineStart) - lineStart);
    if (!text::isBlankText(typed) || (typed.empty() && !text::isBlankText(line))) return std::nullopt;
    return typed;
}

// The file's `function` line below the edit that a comment line introduces (the next code line, blank and
// comment lines between), where only nested bodies are indented: the file may indent nested functions past
// the formatter's column, and the comment goes with it.
std::optional<std::size_t> functionBelow(const Window& window, std::size_t i, const IndentSettings& style) {
    if (style.functionIndent != 1 || !isComment(window.lines[i].text) || window.inBlockComment[i])
        return std::nullopt;
    std::size_t next = i + 1;
    while (next < window.lines.size() && !window.isCodeLine(next))
        ++next;
    if (next >= window.lines.size() || window.lines[next].start < window.editTo ||
        !startsWithWord(text::trimLeft(window.lines[next].text), u"function"))
        return std::nullopt;
    return next;
}

// The formatter keeps a comment line where it may belong (a help comment at the margin under a
// `function` line); a model's column that does not fit means nothing, so a comment of the edit goes on
// the comment lines just above it at their column, or else those just below that a run of comment lines
// at the edit's end goes on with, or else at the file's `function` line it introduces, or where the
// formatter would put a statement in its place.
std::vector<std::optional<int>> commentColumns(const Window& window, const IndentSettings& style) {
    std::vector<std::optional<int>> columns(window.lines.size());
    fl::ustring statements;  // the window with the edit's comment lines made statements
    std::size_t copied = 0;
    bool anyComment = false;
    for (std::size_t i : window.started) {
        const Line& line = window.lines[i];
        // A block comment's own lines stay: made statements, they would end or start one.
        const std::u16string_view comment = text::trim(line.text);
        if (!isComment(line.text) || comment == u"%{" || comment == u"%}") continue;
        anyComment = true;
        const std::size_t code = line.start + text::indentationOf(line.text).size();
        statements.append(window.text, copied, code - copied).append(u"0");
        copied = line.start + text::trimRight(line.text).size();
    }
    if (!anyComment) return columns;
    statements.append(window.text, copied);
    const fl::ustring placedText =
        formatted(statements, static_cast<std::uint32_t>(window.started.back() + 1), style);
    const std::vector<Line> placed = linesOf(placedText);
    if (placed.size() != window.lines.size()) return columns;
    std::optional<int> commentAbove;  // the column of the file's comment line just above
    // The column of the file's comment line just below the edit, for the edit's run of comment lines that
    // it goes on with (the rest of a help text), from `runFrom` on.
    std::optional<int> commentBelow;
    std::size_t runFrom = window.started.back() + 1;
    if (runFrom < window.lines.size() && isComment(window.lines[runFrom].text) &&
        !window.inBlockComment[runFrom]) {
        commentBelow = columnsOf(text::indentationOf(window.lines[runFrom].text), style.tabSize);
        while (runFrom > 1 && isComment(window.lines[runFrom - 1].text) &&
               !window.inBlockComment[runFrom - 1])
            --runFrom;
    }
    // The column of the comment line above a run of blank lines: a help text's last paragraph (a
    // copyright line) goes on at its column where the model put it there.
    int commentAcrossBlanks = -1;  // none
    for (std::size_t i = 1; i < window.lines.size(); ++i) {
        const std::u16string_view line = window.lines[i].text;
        const int own = columnsOf(text::indentationOf(line), style.tabSize);
        if (!isComment(line)) {
            if (commentAbove) commentAcrossBlanks = *commentAbove;
            if (!text::isBlankText(line)) commentAcrossBlanks = -1;
            commentAbove.reset();
        } else if (window.lines[i].start < window.editFrom) {
            commentAbove = own;
        } else {
            if (commentAbove)
                columns[i] = commentAbove;
            else if (commentAcrossBlanks == own)
                columns[i] = own;
            else
                columns[i] = columnsOf(text::indentationOf(placed[i].text), style.tabSize);
            if (commentBelow && !commentAbove && i >= runFrom && window.lines[i].start < window.editTo)
                columns[i] = *commentBelow;
            else if (const std::optional<std::size_t> function = functionBelow(window, i, style);
                     function && !commentAbove)
                columns[i] = columnsOf(text::indentationOf(window.lines[*function].text), style.tabSize);
        }
    }
    return columns;
}

// A reply written without indentation (a first line from the editor's blanks aside) says nothing by the
// columns of its block comments' lines, which the formatter leaves as they are: they go as the file
// writes its block comments.
void placeFlatBlockComments(const Window& window, const std::vector<int>& own, bool firstFromTyped,
                            const IndentSettings& style, std::vector<fl::ustring>& indentation) {
    std::vector<bool> movable(window.lines.size(), false);
    for (std::size_t k = 0; k < window.started.size(); ++k) {
        if (own[k] != 0 && (k > 0 || !firstFromTyped)) return;
        movable[window.started[k]] = window.inBlockComment[window.started[k]];
    }
    if (std::none_of(movable.begin(), movable.end(), std::identity())) return;
    std::vector<std::u16string_view> lines;
    std::vector<int> columns;
    for (std::size_t i = 0, k = 0; i < window.lines.size(); ++i) {
        const bool started = k < window.started.size() && window.started[k] == i;
        lines.push_back(window.lines[i].text);
        columns.push_back(columnsOf(
            started ? std::u16string_view(indentation[k++]) : text::indentationOf(window.lines[i].text),
            style.tabSize));
    }
    const std::vector<int> before = columns;
    placeBlockCommentLines(lines, movable, static_cast<int>(style.indentSize), columns);
    std::vector<fl::ustring> written(window.lines.size());
    for (std::size_t i = 0, k = 0; i < window.lines.size(); ++i) {
        const bool started = k < window.started.size() && window.started[k] == i;
        written[i] = started ? indentation[k++] : fl::ustring(text::indentationOf(window.lines[i].text));
    }
    for (std::size_t k = 0; k < window.started.size(); ++k) {
        const std::size_t i = window.started[k];
        if (columns[i] == before[i]) continue;
        indentation[k] = written[i] = indentationFor(columns[i], style);
        // A comment's text is no code: in a file indented with tabs, it stands under the line above as that
        // line's indentation and blanks (an item under its heading).
        for (std::size_t j = i; j-- > 0 && !style.insertSpaces;)
            if (!text::isBlankText(window.lines[j].text) && columns[j] <= columns[i]) {
                indentation[k] = written[i] = written[j] + fl::ustring(columns[i] - columns[j], u' ');
                break;
            }
    }
}

// With only nested functions' bodies indented, the formatter tells them apart by the function they are
// in; a window that starts at a function line below the top of the file does not show it, so that
// function's own body, where the file shows it, says whether bodies are indented there.
void followTheWindowsFunction(const Window& window, IndentSettings& style) {
    if (style.functionIndent != 1 || window.fromTop) return;
    std::size_t first = 1;
    while (first < window.lines.size() && !isCode(window.lines[first].text))
        ++first;
    if (first >= window.lines.size() ||
        !startsWithWord(text::trimLeft(window.lines[first].text), u"function"))
        return;
    // Only when the edit is in that function: no other function line up to the edit's first line.
    for (std::size_t i = first + 1; i < window.lines.size() && i <= window.started.front(); ++i)
        if (startsWithWord(text::trimLeft(window.lines[i].text), u"function")) return;
    for (std::size_t i = first + 1; i < window.lines.size() && window.lines[i].start < window.editFrom; ++i) {
        if (!isCode(window.lines[i].text)) continue;
        const auto columns = [&](std::size_t k) {
            return columnsOf(text::indentationOf(window.lines[k].text), style.tabSize);
        };
        style.functionIndent = columns(i) > columns(first) ? 2 : 0;
        return;
    }
}

// The edit's lines placed by the formatter over `window`, its lines below the edit included (they show
// whether the file follows the formatter there); nothing where the formatter changed more than blanks.
std::optional<fl::ustring> formattedWindow(const Window& window, const IndentSettings& style) {
    fl::ustring after = formatted(window.text, static_cast<std::uint32_t>(window.lines.size()), style);
    const std::vector<Line> afterLines = linesOf(after);
    if (afterLines.size() != window.lines.size()) return std::nullopt;
    for (std::size_t i = 0; i <= window.started.back(); ++i)
        if (text::trimLeft(window.lines[i].text) != text::trimLeft(afterLines[i].text)) return std::nullopt;
    return after;
}

void reindentInWindow(const Window& window, const std::vector<Line>& afterLines, const fl::ustring& file,
                      bool firstFromTyped, bool typedNone, const IndentSettings& style, Edit& edit);

}  // namespace

// A closing or clause word typed on a line of its own at the editor's column (`        els|`): the edit
// that completes it takes the line from its start, the word written out again, so that the word's line
// stands where the formatter puts it, as a word written on the blank line would (the editor indents a
// new line as the body above).
void takeTypedClauseWord(const fl::ustring& file, std::size_t cursor, Edit& edit) {
    if (edit.start != cursor || cursor > file.size()) return;
    const std::size_t lineStart = text::lineStart(file, cursor);
    const std::u16string_view typed = std::u16string_view(file).substr(lineStart, cursor - lineStart);
    const std::u16string_view word = text::trimLeft(typed);
    if (word.empty() || !std::all_of(word.begin(), word.end(), text::isWordChar)) return;
    const std::u16string_view first = std::u16string_view(edit.text).substr(0, edit.text.find(u'\n'));
    if (first.empty() || !text::isWordChar(first.front())) return;
    const fl::ustring line = fl::ustring(word) + fl::ustring(first);
    if (!text::isClosingLine(line)) return;
    edit.start = lineStart;
    edit.text.insert(0, word);
}

void reindentEdit(const fl::ustring& file, std::size_t cursor, Edit& edit, const IndentSettings& settings) {
    takeTypedClauseWord(file, cursor, edit);
    const IndentSettings fileStyle = fileIndentation(file, edit.start, settings);
    bool firstFromTyped = false;
    bool typedNone = false;  // the cursor's line is empty: the first line's margin is not the model's choice
    if (const std::optional<std::u16string_view> typed = typedBlanks(file, cursor, edit)) {
        const std::u16string_view first = std::u16string_view(edit.text).substr(0, edit.text.find(u'\n'));
        firstFromTyped = text::indentationOf(first).empty() && !first.empty();
        typedNone = typed->empty();
        if (firstFromTyped) edit.text.insert(0, *typed);
    }
    IndentSettings style = fileStyle;
    const Window window = windowAround(file, edit, style, false);
    if (window.started.empty()) return;
    followTheWindowsFunction(window, style);
    const std::optional<fl::ustring> after = formattedWindow(window, style);
    if (!after) return;
    const std::vector<Line> afterLines = linesOf(*after);
    // In a file that does not follow the formatter, a line at the margin may stand inside any block: the
    // formatter then reads the whole function or class the edit is in, where it is within reach.
    if (!followsTheFormatterNear(window, afterLines, style.tabSize)) {
        const std::optional<std::size_t> unitAt = unitStart(file, text::lineStart(file, edit.start));
        IndentSettings unitStyle = fileStyle;
        const Window unit =
            unitAt && *unitAt != window.fileStart ? windowAround(file, edit, unitStyle, true) : Window{};
        if (!unit.started.empty()) {
            followTheWindowsFunction(unit, unitStyle);
            if (const std::optional<fl::ustring> unitAfter = formattedWindow(unit, unitStyle)) {
                reindentInWindow(unit, linesOf(*unitAfter), file, firstFromTyped, typedNone, unitStyle, edit);
                return;
            }
        }
    }
    reindentInWindow(window, afterLines, file, firstFromTyped, typedNone, style, edit);
}

namespace {

// The style a moved line of the reply keeps: where the reply starts some lines with tabs and others with
// spaces (as the file it was written for does), each line keeps its own kind of blanks.
IndentSettings inModelsKind(const std::vector<fl::ustring>& indentation, std::size_t line,
                            const IndentSettings& style) {
    const auto startsWith = [&](char16_t blank) {
        return std::any_of(indentation.begin(), indentation.end(),
                           [&](const fl::ustring& blanks) { return blanks.starts_with(blank); });
    };
    if (indentation[line].empty() || !startsWith(u'\t') || !startsWith(u' ')) return style;
    IndentSettings own = style;
    own.insertSpaces = indentation[line].front() == u' ';
    return own;
}

void reindentInWindow(const Window& window, const std::vector<Line>& afterLines, const fl::ustring& file,
                      bool firstFromTyped, bool typedNone, const IndentSettings& style, Edit& edit) {
    std::vector<fl::ustring> indentation;  // of each started line
    std::vector<int> own;
    for (std::size_t i : window.started) {
        indentation.emplace_back(text::indentationOf(window.lines[i].text));
        own.push_back(columnsOf(indentation.back(), style.tabSize));
    }
    // A model that indents with spaces where the file indents with tabs, or with tabs where it indents with
    // spaces (and the file starts no line with that blank near the edit), wrote the file's columns in its
    // own characters: they become the file's. A block comment's text keeps its blanks.
    // The file is read only for a reply that has such a line.
    const char16_t foreign = style.insertSpaces ? u'\t' : u' ';
    std::vector<std::size_t> foreignLines;
    for (std::size_t k = 0; k < indentation.size(); ++k)
        if (indentation[k].starts_with(foreign) && !window.inBlockComment[window.started[k]])
            foreignLines.push_back(k);
    if (!foreignLines.empty() && !startsLinesWith(foreign, file, edit.start, edit.end))
        for (std::size_t k : foreignLines)
            indentation[k] = indentationFor(own[k], style);
    bool typedLineKnown = false;  // the typed first line's column was read from the lines around
    if (firstFromTyped && window.continues[window.started.front()]) {
        // A continuation line from the editor's blanks stands where the formatter puts it, or the file's
        // habit.
        indentation.front() = text::indentationOf(afterLines[window.started.front()].text);
    } else if (firstFromTyped) {
        if (const std::optional<int> columns = typedLineColumn(window, afterLines, own, style.tabSize)) {
            own.front() = *columns;
            indentation.front() = indentationFor(*columns, style);
            typedLineKnown = true;
        } else if (typedNone) {
            firstFromTyped = false;  // a line at the margin of an empty line stands as the model wrote it
        }
    }
    const std::vector<std::optional<int>> comments = commentColumns(window, style);
    std::vector<int> formattedColumns;
    for (std::size_t k = 0; k < window.started.size(); ++k) {
        const std::size_t i = window.started[k];
        formattedColumns.push_back(columnsOf(text::indentationOf(afterLines[i].text), style.tabSize));
        if (comments[i] && formattedColumns.back() == own[k]) formattedColumns.back() = *comments[i];
    }
    std::optional<std::vector<int>> inFileColumnsOfEdit;  // read only where the model's columns are in doubt
    const auto inFile = [&]() -> const std::vector<int>& {
        if (!inFileColumnsOfEdit)
            inFileColumnsOfEdit =
                editInFileColumns(window, afterLines, formattedColumns, style.tabSize, style.indentSize);
        return *inFileColumnsOfEdit;
    };
    bool modelKept =
        modelFits(window, afterLines, own, inFile, comments, firstFromTyped, typedLineKnown, style);
    // Continuation lines read the reply's steps in its own columns, also once it is put in the file's frame.
    const std::vector<int> modelOwn = own;
    bool inFileFrame = false;
    // A reply moved to the margin or respaced keeps its relative levels: where they fit from the file's
    // column for its first statement, they stay.
    if (!modelKept || firstFromTyped)
        for (std::vector<int>& framed : replyInFileFrame(
                 window, afterLines, own, {inFile(), formattedColumns}, firstFromTyped, modelKept, style))
            if (modelFits(window, afterLines, framed, inFile, comments, firstFromTyped, typedLineKnown,
                          style)) {
                for (std::size_t j = 0; j < own.size(); ++j)
                    if (framed[j] != own[j])
                        indentation[j] = indentationFor(framed[j], inModelsKind(indentation, j, style));
                own = std::move(framed);
                modelKept = inFileFrame = true;
                break;
            }
    if (!modelKept) {
        const std::vector<int>& inFileColumns = inFile();
        for (std::size_t k = 0; k < window.started.size(); ++k) {
            const std::u16string_view formattedIndentation =
                text::indentationOf(afterLines[window.started[k]].text);
            indentation[k] = inFileColumns[k] == columnsOf(formattedIndentation, style.tabSize)
                                 ? fl::ustring(formattedIndentation)
                                 : indentationFor(inFileColumns[k], style);
            // A comment that introduces the file's function line below stands with it, whatever level the
            // formatter reads there.
            if (const auto function = functionBelow(window, window.started[k], style);
                function && comments[window.started[k]] ==
                                columnsOf(text::indentationOf(window.lines[*function].text), style.tabSize))
                indentation[k] = text::indentationOf(window.lines[*function].text);
        }
        // So does one that introduces a `function` line of the edit, where only nested bodies are indented.
        for (std::size_t k = 0; style.functionIndent == 1 && k < window.started.size(); ++k) {
            const std::size_t i = window.started[k];
            if (!isComment(window.lines[i].text) || window.inBlockComment[i]) continue;
            std::size_t next = k + 1;
            while (next < window.started.size() && !window.isCodeLine(window.started[next]))
                ++next;
            if (next < window.started.size() &&
                startsWithWord(text::trimLeft(window.lines[window.started[next]].text), u"function"))
                indentation[k] = indentation[next];
        }
    }
    placeFlatBlockComments(window, own, firstFromTyped, style, indentation);
    // Where the model's columns fit, only a continuation line from the editor's blanks moves.
    placeContinuations(
        window, inFileFrame ? modelOwn : own,
        [&] {
            return continuationHabits(file, edit.start, edit.end, edit.text, style.tabSize, style.indentSize);
        },
        [&] { return closesBracketsLeftOfRows(file, edit.start, edit.end, style.tabSize); }, firstFromTyped,
        modelKept, inFileFrame, style, indentation);

    fl::ustring text;
    std::size_t next = window.editFrom;  // what of the edit is copied so far, as an offset in the window
    for (std::size_t k = 0; k < window.started.size(); ++k) {
        const Line& line = window.lines[window.started[k]];
        text.append(window.text, next, line.start - next).append(indentation[k]);
        next = std::min(line.start + text::indentationOf(line.text).size(), window.editTo);
    }
    text.append(window.text, next, window.editTo - next);
    edit.text = std::move(text);
}

}  // namespace

}  // namespace fit
