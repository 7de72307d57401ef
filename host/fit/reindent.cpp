#include "fit/reindent.hpp"

#include <algorithm>
#include <functional>
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
    const std::u16string_view typed = std::u16string_view(file).substr(lineStart, cursor - lineStart);
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
    for (std::size_t i = 1; i < window.lines.size(); ++i) {
        const std::u16string_view line = window.lines[i].text;
        if (!isComment(line)) {
            commentAbove.reset();
        } else if (window.lines[i].start < window.editFrom) {
            commentAbove = columnsOf(text::indentationOf(line), style.tabSize);
        } else {
            columns[i] =
                commentAbove ? *commentAbove : columnsOf(text::indentationOf(placed[i].text), style.tabSize);
            if (commentBelow && !commentAbove && i >= runFrom && window.lines[i].start < window.editTo)
                columns[i] = *commentBelow;
            else if (const std::optional<std::size_t> function = functionBelow(window, i, style);
                     function && !commentAbove)
                columns[i] = columnsOf(text::indentationOf(window.lines[*function].text), style.tabSize);
        }
    }
    return columns;
}

// Whether the file's nearest continuation line above the edit stands at its statement's column or left of
// it.
bool nearestAboveFlush(const Window& window, unsigned tabSize) {
    const auto columns = [&](std::size_t i) {
        return columnsOf(text::indentationOf(window.lines[i].text), tabSize);
    };
    for (std::size_t i = window.started.front(); i-- > 1;) {
        if (!window.isCodeLine(i) || !window.continues[i]) continue;
        std::size_t first = i;
        while (first > 1 && (!window.isCodeLine(first) || window.continues[first]))
            --first;
        return columns(i) <= columns(first);
    }
    return false;
}

// A continuation line of the edit that the model did not indent past its statement's first line goes
// where the file puts such lines: just after its open bracket, or at the file's offset from the statement.
void placeContinuations(const Window& window, const std::vector<int>& own,
                        const std::function<ContinuationHabit()>& readHabit,
                        const std::function<bool()>& readClosesLeft, bool firstFromTyped, bool modelKept,
                        bool framed, const IndentSettings& style, std::vector<fl::ustring>& indentation) {
    std::optional<ContinuationHabit> habit;  // read only for an edit that has such a line
    std::optional<bool> closesLeft;
    StatementScan scan;
    int statementOwn = 0, statementPlaced = 0;  // the columns of the statement's first line
    bool header = false;
    // The statement's last continuation line: the brackets open before it (how many, the innermost's
    // column) and its column. A line inside the same brackets stands where it does.
    struct Sibling {
        bool known = false;
        std::size_t depth = 0;
        int bracket = -1;
        int column = 0;
        bool fromFile = false;     // the column is the file's, above the edit
        std::u16string_view code;  // from its first element, standing at `placed`
        int placed = 0;
    } sibling;
    std::u16string_view statementCode;  // the statement's first line, from its first character
    // A matrix's or a cell's rows may line their elements up by their ends; a call's arguments do not.
    const auto linedUp = [&](std::u16string_view row, int column, std::u16string_view reference,
                             int referenceColumn) {
        const bool rows = !scan.openBrackets.empty() && scan.openBrackets.back().opening != u'(';
        return rows ? rowColumnLinedUp(row, column, reference, referenceColumn) : column;
    };
    // The statement's first line from `column` on, where a bracket on it opens there: the first row.
    const auto firstElements = [&](int column) -> std::u16string_view {
        const int offset = column - statementPlaced;
        if (offset <= 0 || offset > static_cast<int>(statementCode.size()) ||
            std::u16string_view(u"[{ ").find(statementCode[offset - 1]) == std::u16string_view::npos)
            return {};
        return statementCode.substr(static_cast<std::size_t>(offset));
    };
    // The statement's lines placed inside brackets here: which, the brackets open before each, and how
    // far a row's sign lets it stand left of the first element.
    struct Moved {
        std::size_t k, depth;
        int bracket, hang;
    };
    std::vector<Moved> moved;
    // The model's statement lines and where they stand now; a reply without indentation has no columns
    // of its own to move.
    ReplyColumns reply{{}, static_cast<int>(style.indentSize)};
    bool indented = false,
         statementOwnColumn = false,  // the statement's first line stands where the model put it
        statementTyped = false,       // or it is the reply's first line, written from the editor's blanks
        fromMargin = false;           // and a line of it was counted from the reply's margin
    for (std::size_t k = firstFromTyped ? 1 : 0;
         k < window.started.size() && (!modelKept || framed || firstFromTyped); ++k) {
        indented = indented || (own[k] > 0 && window.isCodeLine(window.started[k]));
        if (window.startsStatement(window.started[k]))
            reply.statements.push_back({own[k], columnsOf(indentation[k], style.tabSize)});
    }
    bool belowRead = false;
    std::size_t k = 0;        // the next started line
    int previousColumns = 0;  // of the line above, as the model or the file has it
    bool previousStarted = false;
    for (std::size_t i = 1; i < window.lines.size(); ++i) {
        const bool started = k < window.started.size() && window.started[k] == i;
        const std::u16string_view line = window.lines[i].text;
        if (!text::isBlankText(line) && !window.inBlockComment[i]) {
            const int fileColumns = columnsOf(text::indentationOf(line), style.tabSize);
            if (!started && !belowRead && window.lines[i].start >= window.editTo) {
                belowRead = true;
                // The file's lines below, inside the same brackets as the edit's last lines, show where
                // those go (the rest of a matrix the completion began).
                const int bracket = scan.openBrackets.empty() ? -1 : scan.openBrackets.back().column;
                const bool aligned = fileColumns + signHang(line, scan) == bracket;
                const bool closes = std::u16string_view(u")]}").find(text::trimLeft(line).front()) !=
                                    std::u16string_view::npos;
                for (const Moved& m : moved)
                    if (scan.goesOn() && !closes && m.depth == scan.openBrackets.size() &&
                        m.bracket == bracket)
                        indentation[m.k] = indentationFor(
                            m.hang
                                ? (aligned ? bracket - m.hang : fileColumns)
                                : linedUp(text::trimLeft(window.lines[window.started[m.k]].text),
                                          aligned ? bracket : fileColumns, text::trimLeft(line), fileColumns),
                            style);
            }
            const int columns = started ? own[k] : fileColumns;
            // A line the model did not indent past its statement's first line, or begun in the editor's
            // blanks (they are not the model's), unless the model's columns stay; any line of a reply
            // without statements of its own whose columns do not stay (they are from a margin of its own).
            // Where the model's columns stay, a line at its statement's column moves too where the file
            // shows its habit for such lines and never writes them so (its nearest one above included).
            const bool flushAgainstFile = modelKept && started && columns <= statementOwn && scan.goesOn() &&
                                          (habit ? habit->anyShown : (habit = readHabit())->anyShown) &&
                                          !nearestAboveFlush(window, style.tabSize);
            const bool movable = started &&
                                 (columns <= statementOwn || (k == 0 && firstFromTyped) ||
                                  (!modelKept && reply.statements.empty())) &&
                                 (!modelKept || (k == 0 && firstFromTyped) || flushAgainstFile);
            if (!scan.goesOn()) {
                scan = StatementScan{};
                statementOwn = columns;
                statementPlaced = started ? columnsOf(indentation[k], style.tabSize) : fileColumns;
                header = isHeaderStatement(line);
                statementCode = text::trimLeft(line);
                statementOwnColumn = started && (k > 0 || !firstFromTyped);
                statementTyped = started && k == 0 && firstFromTyped;
                fromMargin = false;
                sibling.known = false;
                moved.clear();
            } else if (const std::optional<int> fromReply =
                           started && indented && (k > 0 || !firstFromTyped)
                               ? continuationFromReply(
                                     reply, own[k],
                                     statementOwnColumn ? std::optional(statementOwn) : std::nullopt,
                                     statementPlaced, {statementTyped, fromMargin},
                                     [&](int offset) {
                                         if (!habit) habit = readHabit();
                                         return stepsInBy(*habit, scan, header, offset);
                                     })
                               : std::nullopt) {
                // A statement begun above the edit, or on a first line written from the editor's blanks,
                // goes on in the reply's own columns.
                indentation[k] = indentationFor(*fromReply, style);
                fromMargin = statementTyped && *fromReply == statementPlaced + own[k];
            } else if (const std::u16string_view code = text::trimLeft(line);
                       movable && scan.openBrackets.size() == 1 && scan.openBrackets.front().endsLine &&
                       !code.empty() &&
                       std::u16string_view(u")]}").find(code.front()) != std::u16string_view::npos &&
                       ((previousStarted && columns < previousColumns) ||
                        (closesLeft ? *closesLeft : *(closesLeft = readClosesLeft())))) {
                // The line that closes a bracket ending the statement's first line stands under it (`];`)
                // where the model put it left of its row above, or the file puts such lines so.
                indentation[k] = indentationFor(statementPlaced, style);
            } else if (const int bracket = scan.openBrackets.empty() ? -1 : scan.openBrackets.back().column;
                       movable && sibling.known && sibling.depth == scan.openBrackets.size() &&
                       sibling.bracket == bracket) {
                // Only a row lined up with the first element lets its sign stand left of it.
                const int hang = sibling.column == bracket ? signHang(line, scan) : 0;
                indentation[k] = indentationFor(
                    hang ? sibling.column - hang
                         : linedUp(text::trimLeft(line), sibling.column, sibling.code, sibling.placed),
                    style);
                if (!sibling.fromFile)
                    moved.push_back({k, scan.openBrackets.size(), bracket, signHang(line, scan)});
            } else if (movable) {
                if (!habit) habit = readHabit();
                const auto offset = [&](std::optional<int> columns) {
                    return columns ? std::optional(statementPlaced + *columns) : std::nullopt;
                };
                std::optional<int> placed;
                if (scan.openBrackets.empty() && header)
                    // A header's continuation stands apart from the body: two levels where the file
                    // shows none.
                    placed =
                        offset(habit->headerOffset  ? habit->headerOffset
                               : habit->plainOffset ? habit->plainOffset
                                                    : std::optional(2 * static_cast<int>(style.indentSize)));
                else if (scan.openBrackets.empty())
                    placed = scan.valueColumn && habit->underValue(line) ? habit->valueColumn(scan)
                                                                         : offset(habit->plainOffset);
                else if (scan.openBrackets.back().endsLine)
                    placed = offset(habit->endingBracketOffset);
                else if (const auto& inside = habit->inside(scan); inside.alignsWithBracket)
                    placed = signHang(line, scan)
                                 ? scan.openBrackets.back().column - signHang(line, scan)
                                 : linedUp(text::trimLeft(line), scan.openBrackets.back().column,
                                           firstElements(scan.openBrackets.back().column),
                                           scan.openBrackets.back().column);
                else
                    placed = offset(inside.offset);
                // Where neither the file's habit nor the formatter steps a call's line in (a script's, left
                // at the margin), it lines up inside its bracket, unless the file's nearest continuation line
                // above stands at its statement's column.
                if (!placed && !scan.openBrackets.empty() && !scan.openBrackets.back().endsLine &&
                    scan.openBrackets.back().opening == u'(' &&
                    columnsOf(indentation[k], style.tabSize) <= statementPlaced &&
                    !nearestAboveFlush(window, style.tabSize))
                    placed = scan.openBrackets.back().column;
                // A bracket opened on a later line of the statement keeps its lines off the left of it.
                if (const auto& opened =
                        scan.openBrackets.empty() ? std::nullopt : scan.openBrackets.back().lineColumn;
                    opened)
                    placed = std::max(placed.value_or(columnsOf(indentation[k], style.tabSize)), *opened);
                if (placed) indentation[k] = indentationFor(*placed, style);
                if (!scan.openBrackets.empty())
                    moved.push_back(
                        {k, scan.openBrackets.size(), scan.openBrackets.back().column, signHang(line, scan)});
            }
            if (scan.goesOn()) {
                // A row's sign that stands left of the elements does not move the next row.
                const int bracket = scan.openBrackets.empty() ? -1 : scan.openBrackets.back().column;
                const int placed = started ? columnsOf(indentation[k], style.tabSize) : fileColumns;
                const bool same =
                    sibling.known && sibling.depth == scan.openBrackets.size() && sibling.bracket == bracket;
                sibling = Sibling{true,
                                  scan.openBrackets.size(),
                                  bracket,
                                  placed + signHang(line, scan) == bracket ? bracket : placed,
                                  !started || (same && sibling.fromFile),
                                  text::trimLeft(line),
                                  placed};
            }
            previousColumns = columns;
            previousStarted = started && (k > 0 || !firstFromTyped);  // typed blanks are not the model's
            scanLine(started ? indentation[k] + fl::ustring(text::trimLeft(line)) : fl::ustring(line),
                     style.tabSize, scan);
        }
        if (started) ++k;
    }
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
    placeBlockCommentLines(lines, movable, columns);
    for (std::size_t k = 0; k < window.started.size(); ++k)
        if (const std::size_t i = window.started[k]; columns[i] != before[i])
            indentation[k] = indentationFor(columns[i], style);
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

void reindentEdit(const fl::ustring& file, std::size_t cursor, Edit& edit, const IndentSettings& settings) {
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
    // A model that indents with spaces where the file indents with tabs (and starts no line with a space
    // near the edit) wrote the file's columns in its own characters: they become the file's. A block
    // comment's text keeps its blanks.
    if (!style.insertSpaces && !startsLinesWithSpaces(file, edit.start, edit.end))
        for (std::size_t k = 0; k < indentation.size(); ++k)
            if (indentation[k].starts_with(u' ') && !window.inBlockComment[window.started[k]])
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
    }
    placeFlatBlockComments(window, own, firstFromTyped, style, indentation);
    // Where the model's columns fit, only a continuation line from the editor's blanks moves.
    placeContinuations(
        window, inFileFrame ? modelOwn : own,
        [&] { return continuationHabit(file, edit.start, edit.end, style.tabSize, style.indentSize); },
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
