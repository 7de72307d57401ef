#include "fit/reindent.hpp"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <limits>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "ca/formatting/legacy/legacy_formatter.hpp"
#include "ca/lexer/token.hpp"
#include "fit/reindent_continuation.hpp"
#include "fit/reindent_style.hpp"
#include "fit/text_lines.hpp"

namespace fit {
namespace {

// How far the formatter looks above the edit, at least,
constexpr std::size_t kFormatLinesAbove = 60;
// ... and further up to a line at the margin (the first line of a long class: a `methods` line is a
// block only inside one).
constexpr std::size_t kMostFormatLinesAbove = 400;
constexpr std::size_t kFormatLinesBelow = 60;
// Code lines above the edit whose indentation tells whether the file follows the formatter there.
constexpr std::size_t kNearbyCodeLines = 8;

bool startsWithWord(std::u16string_view code, std::u16string_view word) {
    return code.starts_with(word) && (code.size() == word.size() || !text::isWordChar(code[word.size()]));
}

bool startsWithAnyWord(std::u16string_view code, std::initializer_list<std::u16string_view> words) {
    return std::any_of(words.begin(), words.end(), [&](auto word) { return startsWithWord(code, word); });
}

// A line that closes a block or a clause of one: it stands at its construct's level, not the body's.
bool isCloser(std::u16string_view code) {
    return startsWithAnyWord(code, {u"end", u"else", u"elseif", u"case", u"catch", u"otherwise"});
}

bool isComment(std::u16string_view line) {
    return text::trimLeft(line).starts_with(u"%");
}

bool isCode(std::u16string_view line) {
    return !text::isBlankText(line) && !isComment(line);
}

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

FormatWindow formatWindow(const fl::ustring& file, std::size_t editLineStart, const IndentSettings& style,
                          bool wholeUnit) {
    if (const std::optional<std::size_t> unit = wholeUnit ? unitStart(file, editLineStart) : std::nullopt)
        return {*unit, u"%\n"};
    const unsigned tabSize = style.tabSize;
    // The nearest code line that stands left of every code line between it and the edit, the leftmost
    // such line within reach: the formatter then sees the opening line of every block the lines below
    // it close, and no closing line takes the levels below the window's first.
    std::size_t start = editLineStart, best = editLineStart;
    int bestColumns = std::numeric_limits<int>::max(), leftmostBelow = std::numeric_limits<int>::max();
    for (std::size_t linesAbove = 0; start > 0 && linesAbove < kMostFormatLinesAbove &&
                                     (linesAbove < kFormatLinesAbove || bestColumns > 0);
         ++linesAbove) {
        start = text::lineStart(file, start - 1);
        const std::u16string_view line =
            std::u16string_view(file).substr(start, text::lineEnd(file, start) - start);
        if (!isCode(line)) continue;
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
    return {best, best == editLineStart ? std::u16string_view(u"%\n0\n") : std::u16string_view(u"%\n")};
}

struct Line {
    std::size_t start;  // offset in its text
    std::u16string_view text;
};

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

// A line's columns as the file or the model indented it and as the formatter would.
struct Placed {
    int own;
    int formatted;
    bool closer = false;  // an `end`, or a clause of a block (`else`, `case`, `catch`, ...)
    bool end = false;     // an `end`
};

Placed placed(int own, int formatted, std::u16string_view line) {
    const std::u16string_view code = text::trimLeft(line);
    return {own, formatted, isCloser(code), startsWithWord(code, u"end")};
}

int sign(int value) {
    return (value > 0) - (value < 0);
}

// In a file that does not follow the formatter near the cursor, the model's indentation fits when it
// moves as the formatter's does: deeper, back or level where the formatter goes deeper, back or stays,
// and at the column it had for an earlier line of the same block level. The first line is the code line
// above the edit. A level that only the code lines above show (nearest first) is looser, as sloppy files
// close blocks a little off their opening column: a line of it fits right of the level around it, or
// where that is not in sight, anywhere; but a line of the formatter's outermost level does not fit left
// of the file's column for it. So the `end` of a nested function that the file indents past the
// formatter's column does not fit at the margin. A closing line stands anywhere from the column of the
// level around its block to a step past its block's body (an `end` under the body, a `case` under its
// `switch`); the lines after it move from its block's column.
bool movesLikeTheFormatter(const std::vector<Placed>& above, const std::vector<Placed>& lines, int step) {
    struct Level {
        int own;
        bool seenInLines;  // its column was set by one of `lines`, not only by the lines above
    };
    std::map<int, Level> levels;  // formatter column -> the open level's
    for (auto line = above.rbegin(); line != above.rend(); ++line) {
        levels.erase(levels.upper_bound(line->formatted), levels.end());
        if (!line->closer || !levels.contains(line->formatted)) levels[line->formatted] = {line->own, false};
    }
    std::optional<Placed> previous;  // a closing line counts at its block's column
    for (const Placed& line : lines) {
        if (line.closer) {
            const auto body = levels.upper_bound(line.formatted);
            const auto block = levels.find(line.formatted);
            const auto around = levels.lower_bound(line.formatted);
            // Where the level around is not in sight, a step left of the block's column stands for it.
            const std::optional<int> from =
                around != levels.begin() ? std::optional(std::prev(around)->second.own)
                : block != levels.end()  ? std::optional(block->second.own - (line.formatted > 0 ? step : 0))
                                         : std::nullopt;
            if ((from && line.own < *from) || (body != levels.end() && line.own > body->second.own + step))
                return false;
            levels.erase(body, levels.end());
            // An `end` whose block is not in sight tells nothing of the column of its level.
            if (block == levels.end() && line.end) {
                previous.reset();
                continue;
            }
            previous = Placed{levels.try_emplace(line.formatted, Level{line.own, true}).first->second.own,
                              line.formatted};
            continue;
        }
        if (previous && sign(line.own - previous->own) != sign(line.formatted - previous->formatted))
            return false;
        levels.erase(levels.upper_bound(line.formatted), levels.end());
        if (const auto known = levels.find(line.formatted); known != levels.end()) {
            const bool fits = known->second.seenInLines ? known->second.own == line.own
                              : known == levels.begin() ? known->first > 0 || line.own >= known->second.own
                                                        : line.own > std::prev(known)->second.own;
            if (!fits) return false;
        }
        levels[line.formatted] = {line.own, true};
        previous = line;
    }
    return true;
}

// The window the formatter reads: the lines above the edit, the edit, and the rest of its last line.
struct Window {
    fl::ustring text;
    std::size_t editFrom = 0, editTo = 0;  // the edit's text in it
    std::vector<Line> lines;
    std::vector<std::size_t> started;  // the lines the edit starts whose leading blanks are all its own
    bool fromTop = false;              // the window starts at the file's first line
    std::size_t fileStart = 0;         // the offset in the file of its first line after the lead
    std::vector<bool> inBlockComment;  // of each line: a `%{` ... `%}` block's, its own lines included

    std::vector<bool> continues;  // of each line: it goes on with the statement of the code line above

    // A line of code, not of a comment: a block comment's lines may look like code at any column.
    bool isCodeLine(std::size_t i) const { return isCode(lines[i].text) && !inBlockComment[i]; }
    // A line that starts a statement: its column is a block level's, not a continuation's.
    bool startsStatement(std::size_t i) const { return isCodeLine(i) && !continues[i]; }
};

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

// The formatter keeps a comment line where it may belong (a help comment at the margin under a
// `function` line); a model's column that does not fit means nothing, so a comment of the edit goes on
// the comment lines just above it at their column, or else stands where the formatter would put a
// statement in its place.
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
    for (std::size_t i = 1; i < window.lines.size(); ++i) {
        const std::u16string_view line = window.lines[i].text;
        if (!isComment(line)) {
            commentAbove.reset();
        } else if (window.lines[i].start < window.editFrom) {
            commentAbove = columnsOf(text::indentationOf(line), style.tabSize);
        } else {
            columns[i] =
                commentAbove ? *commentAbove : columnsOf(text::indentationOf(placed[i].text), style.tabSize);
        }
    }
    return columns;
}

// A line that opens a block its own line does not close (`if a, b; end` does).
bool opensBlock(std::u16string_view code) {
    if (!startsWithAnyWord(
            code, {u"if", u"for", u"parfor", u"while", u"switch", u"try", u"function", u"spmd", u"classdef",
                   u"methods", u"properties", u"events", u"enumeration", u"arguments"}))
        return false;
    std::u16string_view last = text::trimRight(code.substr(0, code.find(u'%')));
    while (!last.empty() && (last.back() == u';' || last.back() == u','))
        last = text::trimRight(last.substr(0, last.size() - 1));
    return !(last.ends_with(u"end") && (last.size() == 3 || !text::isWordChar(last[last.size() - 4])));
}

// The columns the file gives the formatter's levels, the nearest line's for each: in a file that does not
// follow the formatter, a re-indented line follows its neighbours. First the lines of the blocks the edit is
// in and of their levels above the edit, not those inside blocks closed on the way (sloppy files indent
// each block its own way, and where the formatter puts a nested function at the level of its function's
// body, the `end`s tell them apart); then the other lines above back to a function line or the `end` of one
// at the margin; then the lines below likewise. Clauses (`else`, `case`, `catch`, ...) count only for levels
// no statement shows, `end`s not at all (sloppy files put an `end` anywhere near its block). Clauses stand
// where the file's clauses of their level do: some files write them at the body's column, some a `case` at
// its `switch`'s.
struct FileLevels {
    std::map<int, int> statements;  // formatter column -> the file's
    std::map<int, int> openAtEnd;   // for the blocks still open at the edit's end: the lines below first
    std::map<int, int> clauses;
};

FileLevels fileColumnsOfLevels(const Window& window, const std::vector<Line>& formattedLines,
                               unsigned tabSize) {
    FileLevels levels;
    const auto formattedColumns = [&](std::size_t i) {
        return columnsOf(text::indentationOf(formattedLines[i].text), tabSize);
    };
    const auto record = [&](std::map<int, int>& columns, std::size_t i) {
        columns.emplace(formattedColumns(i), columnsOf(text::indentationOf(window.lines[i].text), tabSize));
    };
    const auto code = [&](std::size_t i) { return text::trimLeft(window.lines[i].text); };
    const auto isEnd = [&](std::size_t i) { return startsWithWord(code(i), u"end"); };
    // The lines of the blocks around, walking away from the edit: `open` counts the blocks at the nearest
    // level that the walk has entered and not yet left. The other statements near the edit, nearest first,
    // as far as a function line.
    const auto walk = [&](std::size_t i, bool up, std::map<int, int>& chain,
                          std::vector<std::size_t>& nearby) {
        int nearest = std::numeric_limits<int>::max();
        std::size_t open = 0, seen = 0;
        bool pastFunction = false;
        for (; up ? i > 0 : i < window.lines.size(); up ? --i : ++i) {
            const bool inEdit =
                window.lines[i].start >= window.editFrom && window.lines[i].start < window.editTo;
            if (!window.startsStatement(i) || inEdit ||
                (!up && code(i) != text::trimLeft(formattedLines[i].text)))
                continue;
            const bool function = startsWithWord(code(i), u"function");
            // Nor past the `end` of a function at the margin above: its lines are another unit's.
            pastFunction = pastFunction || (!up && function) ||
                           (up && isEnd(i) && text::indentationOf(window.lines[i].text).empty());
            if (seen++ < kNearbyCodeLines && !pastFunction) nearby.push_back(i);
            pastFunction = pastFunction || function;
            const int formatted = formattedColumns(i);
            if (formatted > nearest) continue;
            if (formatted < nearest) {
                nearest = formatted;
                open = 0;
            }
            if (isCloser(code(i))) {
                if (!isEnd(i) && open == 0) record(levels.clauses, i);
                if (isEnd(i) && up) ++open;
                if (isEnd(i) && !up && open > 0) --open;
                continue;
            }
            const bool opens = opensBlock(code(i));
            if (up && open > 0 && opens) --open;
            if (open == 0) record(chain, i);
            if (!up && opens) ++open;
            if (up && nearest == 0 && open == 0 && seen >= kNearbyCodeLines) return;
        }
    };
    std::map<int, int> chainBelow;
    std::vector<std::size_t> nearbyAbove, nearbyBelow;
    walk(window.started.front() - 1, true, levels.statements, nearbyAbove);
    walk(window.started.back() + 1, false, chainBelow, nearbyBelow);
    levels.openAtEnd = levels.statements;
    levels.openAtEnd.insert(chainBelow.begin(), chainBelow.end());
    // The blocks closed above come before the lines below for the blocks the edit closes: an edit that
    // closes its block and opens another goes on as the blocks above do.
    for (std::map<int, int>* columns : {&levels.openAtEnd, &levels.statements}) {
        for (std::size_t i : nearbyAbove)
            if (!isCloser(code(i))) record(*columns, i);
        columns->insert(chainBelow.begin(), chainBelow.end());
        for (std::size_t i : nearbyBelow)
            if (!isCloser(code(i))) record(*columns, i);
        for (const std::vector<std::size_t>* nearby : {&nearbyAbove, &nearbyBelow})
            for (std::size_t i : *nearby)
                if (isCloser(code(i)) && !isEnd(i)) record(*columns, i);
    }
    for (const std::vector<std::size_t>* nearby : {&nearbyAbove, &nearbyBelow})
        for (std::size_t i : *nearby)
            if (isCloser(code(i)) && !isEnd(i)) record(levels.clauses, i);
    return levels;
}

// A formatter column in the file's columns: a level the file shows, or as far from the deepest shallower
// level it shows as the formatter puts it (from the shallowest it shows, where it shows none shallower).
int inFileColumns(const std::map<int, int>& fileColumns, int formatted) {
    if (fileColumns.empty()) return formatted;
    auto level = fileColumns.upper_bound(formatted);
    if (level != fileColumns.begin()) --level;
    return std::max(0, level->second + formatted - level->first);
}

// The file's line above the edit that opens the block which the `nth` `end` at `formatted` closes, counting
// the `end`s of the edit that close blocks opened above it: blocks opened and closed on the way do not count.
std::optional<std::size_t> openerAbove(const Window& window, const std::vector<Line>& formattedLines,
                                       int formatted, std::size_t nth, unsigned tabSize) {
    std::size_t open = 0;
    for (std::size_t i = window.started.front(); i-- > 1;) {
        if (!window.startsStatement(i) || window.lines[i].start >= window.editFrom ||
            columnsOf(text::indentationOf(formattedLines[i].text), tabSize) != formatted)
            continue;
        const std::u16string_view code = text::trimLeft(window.lines[i].text);
        if (startsWithWord(code, u"end"))
            ++open;
        else if (opensBlock(code) && open > 0)
            --open;
        else if (opensBlock(code) && nth-- == 0)
            return i;
    }
    return std::nullopt;
}

// A line of the edit in the file's columns: at the column of its level in the lines around; an `end` under
// the line that opens its block (where the formatter puts a nested function at its function's body, the
// levels alone do not tell them apart), and the lines after it at the level of that line; a clause where
// the file's clauses of its level stand; a continuation line as far from its statement's first line as
// the formatter puts it.
std::vector<int> editInFileColumns(const Window& window, const std::vector<Line>& formattedLines,
                                   const std::vector<int>& formatted, unsigned tabSize) {
    FileLevels levels = fileColumnsOfLevels(window, formattedLines, tabSize);
    const auto own = [&](std::size_t i) {
        return columnsOf(text::indentationOf(window.lines[i].text), tabSize);
    };
    // The shift of the statement a continuation line goes on with and its column, from the file's line above
    // the edit.
    int shift = 0, statementColumn = 0;
    for (std::size_t i = window.started.front(); i-- > 1;)
        if (window.startsStatement(i)) {
            statementColumn = own(i);
            shift = statementColumn - columnsOf(text::indentationOf(formattedLines[i].text), tabSize);
            break;
        }
    // Where the file's nearest continuation line above stands at its statement's column or left of it (a
    // habit the formatter never has), the edit's continuation lines stand so too.
    const int nearestOffset = [&] {
        for (std::size_t i = window.started.front(); i-- > 1;) {
            if (!window.isCodeLine(i) || !window.continues[i]) continue;
            std::size_t first = i;
            while (first > 1 && (!window.isCodeLine(first) || window.continues[first]))
                --first;
            return own(i) - own(first);
        }
        return 1;
    }();
    const bool flush = nearestOffset <= 0;
    // Of each line, the shallowest level of the edit's statements after it: a line at most as deep is in a
    // block still open at the edit's end, whose lines below go on with it.
    std::vector<int> shallowestAfter(window.started.size(), std::numeric_limits<int>::max());
    for (std::size_t k = window.started.size(); k-- > 1;)
        shallowestAfter[k - 1] = window.startsStatement(window.started[k])
                                     ? std::min(shallowestAfter[k], formatted[k])
                                     : shallowestAfter[k];
    std::vector<std::pair<int, int>> opened;  // the edit's open blocks: formatter column, the file's
    std::map<int, std::size_t> closedAbove;   // formatter column -> `end`s that closed blocks opened above
    std::vector<int> columns;
    for (std::size_t k = 0; k < window.started.size(); ++k) {
        const std::size_t i = window.started[k];
        const std::u16string_view code = text::trimLeft(window.lines[i].text);
        if (text::isBlankText(window.lines[i].text) || window.inBlockComment[i]) {
            columns.push_back(formatted[k]);
            continue;
        }
        if (window.isCodeLine(i) && window.continues[i]) {
            columns.push_back(std::max(0, flush ? statementColumn + nearestOffset : formatted[k] + shift));
            continue;
        }
        const auto clause = levels.clauses.find(formatted[k]);
        columns.push_back(
            window.isCodeLine(i) && isCloser(code) && !startsWithWord(code, u"end") &&
                    clause != levels.clauses.end()
                ? clause->second
                : inFileColumns(formatted[k] <= shallowestAfter[k] ? levels.openAtEnd : levels.statements,
                                formatted[k]));
        if (!window.isCodeLine(i)) continue;
        shift = columns.back() - formatted[k];
        statementColumn = columns.back();
        if (startsWithWord(code, u"end")) {
            while (!opened.empty() && opened.back().first > formatted[k])
                opened.pop_back();
            std::optional<int> opener;
            if (!opened.empty() && opened.back().first == formatted[k]) {
                opener = opened.back().second;
                opened.pop_back();
            } else if (const auto line = openerAbove(window, formattedLines, formatted[k],
                                                     closedAbove[formatted[k]]++, tabSize)) {
                opener = columnsOf(text::indentationOf(window.lines[*line].text), tabSize);
            }
            if (opener && *opener != columns.back()) {
                // The level after the block is its opening line's; the deeper ones go from it.
                columns.back() = *opener;
                for (std::map<int, int>* levelColumns : {&levels.statements, &levels.openAtEnd}) {
                    levelColumns->erase(levelColumns->lower_bound(formatted[k]), levelColumns->end());
                    levelColumns->emplace(formatted[k], *opener);
                }
            }
        } else if (opensBlock(code)) {
            opened.emplace_back(formatted[k], columns.back());
        }
    }
    return columns;
}

// The lines below the edit that start a statement and whose text the formatter left as it is, nearest
// first.
std::vector<Placed> codeBelow(const Window& window, const std::vector<Line>& formattedLines,
                              unsigned tabSize) {
    std::vector<Placed> below;
    for (std::size_t i = window.started.back() + 1;
         i < window.lines.size() && below.size() < kNearbyCodeLines; ++i) {
        const std::u16string_view line = window.lines[i].text;
        if (window.startsStatement(i) && text::trimLeft(line) == text::trimLeft(formattedLines[i].text))
            below.push_back(placed(columnsOf(text::indentationOf(line), tabSize),
                                   columnsOf(text::indentationOf(formattedLines[i].text), tabSize), line));
    }
    return below;
}

// A first line written from the blanks the editor typed has no column of the model's (an editor indents a
// closing line as the body): it takes the column of a line of the same level and kind further down the
// edit or, nearest first, among the code lines above in its function. Nothing where neither shows one.
std::optional<int> typedLineColumn(const Window& window, const std::vector<Line>& formattedLines,
                                   const std::vector<int>& own, unsigned tabSize) {
    const std::size_t first = window.started.front();
    if (!window.startsStatement(first)) return std::nullopt;
    const auto formattedColumns = [&](std::size_t i) {
        return columnsOf(text::indentationOf(formattedLines[i].text), tabSize);
    };
    const auto kind = [&](std::size_t i) {
        const std::u16string_view code = text::trimLeft(window.lines[i].text);
        return startsWithWord(code, u"end")        ? 2
               : isCloser(code)                    ? 1
               : startsWithWord(code, u"function") ? 3
                                                   : 0;
    };
    const auto alike = [&](std::size_t i) {
        return window.startsStatement(i) && formattedColumns(i) == formattedColumns(first) &&
               kind(i) == kind(first);
    };
    for (std::size_t k = 1; k < window.started.size(); ++k)
        if (own[k] > 0 && alike(window.started[k]))
            return own[k];  // a line at the margin may be written flat
    for (std::size_t i = first, seen = 0; i-- > 1 && seen < kNearbyCodeLines;) {
        if (!window.startsStatement(i) || window.lines[i].start >= window.editFrom) continue;
        ++seen;
        if (alike(i)) return columnsOf(text::indentationOf(window.lines[i].text), tabSize);
        if (kind(i) == 3) break;  // not past the function line the edit is in
    }
    return std::nullopt;
}

// Whether the model's indentation stays: everywhere the formatter's, or, where the file near the edit
// does not follow the formatter, moving with it. `own` holds the started lines' columns.
bool modelFits(const Window& window, const std::vector<Line>& formattedLines, const std::vector<int>& own,
               const std::function<const std::vector<int>&()>& inFileColumnsOfEdit,
               const std::vector<std::optional<int>>& comments, bool firstFromTyped, bool typedLineKnown,
               const IndentSettings& style) {
    const unsigned tabSize = style.tabSize;
    const auto formattedColumns = [&](std::size_t i) {
        return columnsOf(text::indentationOf(formattedLines[i].text), tabSize);
    };
    // An edit whose lines all stand at the margin tells nothing by its comments' column (a reply without
    // indentation): a comment goes where a comment or a statement stands there, as a help comment under
    // a `function` line goes into its body.
    const bool allAtMargin = std::all_of(own.begin(), own.end(), [](int columns) { return columns == 0; });
    for (std::size_t k = 0; k < window.started.size() && allAtMargin; ++k)
        if (const std::size_t i = window.started[k]; comments[i] && *comments[i] > 0) return false;
    std::vector<Placed> above;  // the nearest code lines above the edit, nearest first
    for (std::size_t i = window.started.front(); i-- > 1 && above.size() < kNearbyCodeLines;)
        if (window.startsStatement(i) && window.lines[i].start < window.editFrom)
            above.push_back(placed(columnsOf(text::indentationOf(window.lines[i].text), tabSize),
                                   formattedColumns(i), window.lines[i].text));
    const auto followed = [](const Placed& p) { return p.own == p.formatted; };
    std::vector<Placed> code;
    if (!above.empty()) code.push_back(above.front());
    for (std::size_t k = 0; k < window.started.size(); ++k)
        if (const std::size_t i = window.started[k]; window.startsStatement(i))
            code.push_back(placed(own[k], formattedColumns(i), window.lines[i].text));
    // Continuation lines count for no level; but a reply written flat (a first line from the editor's
    // blanks aside) tells nothing by their column either.
    bool writtenFlat = true, continuationIn = false;
    for (std::size_t k = firstFromTyped ? 1 : 0; k < window.started.size(); ++k)
        if (const std::size_t i = window.started[k]; window.isCodeLine(i)) {
            writtenFlat = writtenFlat && own[k] == 0;
            continuationIn = continuationIn || window.continues[i];
        }
    if (writtenFlat && continuationIn) return false;
    if (code.size() == std::min<std::size_t>(above.size(), 1)) {
        // Only comments: they fit at the column they would take, or where the formatter keeps them.
        for (std::size_t k = 0; k < window.started.size(); ++k)
            if (const std::size_t i = window.started[k];
                isComment(window.lines[i].text) && own[k] != comments[i].value_or(formattedColumns(i)))
                return false;
        return true;
    }
    if (std::all_of(code.begin(), code.end(), followed)) return true;
    // The looser fit needs a model's column to go by: not a reply written flat, nor a closing line written
    // from the blanks the editor typed (they are the body's) where no line like it shows its column.
    const auto fromModel = code.begin() + (above.empty() ? 0 : 1);
    const bool typedFirst = firstFromTyped && window.startsStatement(window.started.front());
    if ((typedFirst && fromModel->closer && !typedLineKnown) ||
        (fromModel + typedFirst != code.end() &&
         std::all_of(fromModel + typedFirst, code.end(), [](const Placed& p) { return p.own == 0; })))
        return false;
    const std::vector<Placed> below = codeBelow(window, formattedLines, tabSize);
    if (std::all_of(above.begin(), above.end(), followed) &&
        std::all_of(below.begin(), below.end(), followed))
        return false;
    // Each line at a column that the lines around give its level, or moving with the formatter.
    std::map<int, std::vector<int>> columnsAround;  // formatter column -> the file's
    for (const std::vector<Placed>* lines : {&std::as_const(above), &below})
        for (const Placed& line : *lines)
            columnsAround[line.formatted].push_back(line.own);
    // A level they do not show stands as far from the deepest shallower one they show as the formatter's.
    const auto atColumnAround = [&](const Placed& line) {
        auto level = columnsAround.upper_bound(line.formatted);
        if (level == columnsAround.begin()) return false;
        --level;
        const int shift = line.formatted - level->first;
        return std::any_of(level->second.begin(), level->second.end(),
                           [&](int columns) { return columns + shift == line.own; });
    };
    if (std::all_of(fromModel, code.end(), atColumnAround) ||
        movesLikeTheFormatter(above, code, static_cast<int>(style.indentSize)))
        return true;
    // Sloppy files wander a little from their own columns: a reply that wanders as little, each statement
    // within a step of where the file's lines of its level stand and one of them there, was written at the
    // file's columns (a reply written from another column is off on every line).
    bool atFileColumn = false;
    const std::vector<int>& inFile = inFileColumnsOfEdit();
    for (std::size_t k = firstFromTyped ? 1 : 0; k < window.started.size(); ++k) {
        if (!window.startsStatement(window.started[k])) continue;
        if (std::abs(own[k] - inFile[k]) > static_cast<int>(style.indentSize)) return false;
        atFileColumn = atFileColumn || own[k] == inFile[k];
    }
    return atFileColumn;
}

// A continuation line of the edit that the model did not indent past its statement's first line goes
// where the file puts such lines: just after its open bracket, or at the file's offset from the statement.
void placeContinuations(const Window& window, const std::vector<int>& own,
                        const std::function<ContinuationHabit()>& readHabit,
                        const std::function<bool()>& readClosesLeft, bool firstFromTyped, bool modelKept,
                        const IndentSettings& style, std::vector<fl::ustring>& indentation) {
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
    } sibling;
    std::size_t k = 0;        // the next started line
    int previousColumns = 0;  // of the line above, as the model or the file has it
    bool previousStarted = false;
    for (std::size_t i = 1; i < window.lines.size(); ++i) {
        const bool started = k < window.started.size() && window.started[k] == i;
        const std::u16string_view line = window.lines[i].text;
        if (!text::isBlankText(line)) {
            const int fileColumns = columnsOf(text::indentationOf(line), style.tabSize);
            const int columns = started ? own[k] : fileColumns;
            // A line the model did not indent past its statement's first line, unless the model's columns
            // stay.
            const bool movable =
                started && columns <= statementOwn && (!modelKept || (k == 0 && firstFromTyped));
            if (!scan.goesOn()) {
                scan = StatementScan{};
                statementOwn = columns;
                statementPlaced = started ? columnsOf(indentation[k], style.tabSize) : fileColumns;
                header = isHeaderStatement(line);
                sibling.known = false;
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
                indentation[k] = indentationFor(
                    sibling.column - (sibling.column == bracket ? signHang(line, scan) : 0), style);
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
                    placed = scan.valueColumn && habit->alignsWithValue.value_or(!startsWithOperator(line))
                                 ? scan.valueColumn
                                 : offset(habit->plainOffset);
                else if (scan.openBrackets.back().endsLine)
                    placed = offset(habit->endingBracketOffset);
                else if (const auto& inside = habit->inside(scan.openBrackets.back().opening);
                         inside.alignsWithBracket)
                    placed = scan.openBrackets.back().column - signHang(line, scan);
                else
                    placed = offset(inside.offset);
                if (placed) indentation[k] = indentationFor(*placed, style);
            }
            if (scan.goesOn()) {
                // A row's sign that stands left of the elements does not move the next row.
                const int bracket = scan.openBrackets.empty() ? -1 : scan.openBrackets.back().column;
                const int placed = started ? columnsOf(indentation[k], style.tabSize) : fileColumns;
                sibling = Sibling{true, scan.openBrackets.size(), bracket,
                                  placed + signHang(line, scan) == bracket ? bracket : placed};
            }
            previousColumns = columns;
            previousStarted = started && (k > 0 || !firstFromTyped);  // typed blanks are not the model's
            scanLine(started ? indentation[k] + fl::ustring(text::trimLeft(line)) : fl::ustring(line),
                     style.tabSize, scan);
        }
        if (started) ++k;
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

// Whether the code lines near the edit, above and below, stand where the formatter puts them.
bool followsTheFormatterNear(const Window& window, const std::vector<Line>& formattedLines,
                             unsigned tabSize) {
    const auto columns = [&](const std::vector<Line>& lines, std::size_t i) {
        return columnsOf(text::indentationOf(lines[i].text), tabSize);
    };
    for (std::size_t i = window.started.front(), seen = 0; i-- > 1 && seen < kNearbyCodeLines;)
        if (window.startsStatement(i) && window.lines[i].start < window.editFrom) {
            ++seen;
            if (columns(window.lines, i) != columns(formattedLines, i)) return false;
        }
    const std::vector<Placed> below = codeBelow(window, formattedLines, tabSize);
    return std::all_of(below.begin(), below.end(), [](const Placed& p) { return p.own == p.formatted; });
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

void reindentInWindow(const Window& window, const std::vector<Line>& afterLines, const fl::ustring& file,
                      bool firstFromTyped, bool typedNone, const IndentSettings& style, Edit& edit) {
    std::vector<fl::ustring> indentation;  // of each started line
    std::vector<int> own;
    for (std::size_t i : window.started) {
        indentation.emplace_back(text::indentationOf(window.lines[i].text));
        own.push_back(columnsOf(indentation.back(), style.tabSize));
    }
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
            inFileColumnsOfEdit = editInFileColumns(window, afterLines, formattedColumns, style.tabSize);
        return *inFileColumnsOfEdit;
    };
    const bool modelKept =
        modelFits(window, afterLines, own, inFile, comments, firstFromTyped, typedLineKnown, style);
    if (!modelKept) {
        const std::vector<int>& inFileColumns = inFile();
        for (std::size_t k = 0; k < window.started.size(); ++k) {
            const std::u16string_view formattedIndentation =
                text::indentationOf(afterLines[window.started[k]].text);
            indentation[k] = inFileColumns[k] == columnsOf(formattedIndentation, style.tabSize)
                                 ? fl::ustring(formattedIndentation)
                                 : indentationFor(inFileColumns[k], style);
        }
    }
    // Where the model's columns fit, only a continuation line from the editor's blanks moves.
    placeContinuations(
        window, own, [&] { return continuationHabit(file, edit.start, edit.end, style.tabSize); },
        [&] { return closesBracketsLeftOfRows(file, edit.start, edit.end, style.tabSize); }, firstFromTyped,
        modelKept, style, indentation);

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
