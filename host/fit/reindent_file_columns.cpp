#include "fit/reindent_file_columns.hpp"

#include <algorithm>
#include <limits>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "fit/reindent_style.hpp"
#include "fit/text_lines.hpp"

namespace fit::reindenting {
namespace {

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

// An edit that leaves open a block which the file closes below (deduplication took the edit's `end` for
// the one below it) makes the formatter push the lines below in: that `end` (or a class's next block)
// first, they stand left of its columns where the lines above stand at them. Those lines were written for
// blocks closed before them and say nothing of the columns of the edit's levels.
// Whether the statement on line `first` below the edit stands outside the block the formatter puts it in,
// which a line above the edit opens (the edit's lines all stand inside it): at or left of that line's column
// in the file, where only a function's or a class's body may stand (the edit lacks the `end` the file has, as
// `if busy` / `return` above `x = 1;` at the `if`'s column).
bool outsideTheBlockAbove(const Window& window, const std::vector<Line>& formattedLines, std::size_t first,
                          unsigned tabSize) {
    const auto formatted = [&](std::size_t i) {
        return columnsOf(text::indentationOf(formattedLines[i].text), tabSize);
    };
    const auto own = [&](std::size_t i) {
        return columnsOf(text::indentationOf(window.lines[i].text), tabSize);
    };
    if (isCloser(text::trimLeft(window.lines[first].text)) ||
        std::any_of(window.started.begin(), window.started.end(),
                    [&](std::size_t i) { return window.isCodeLine(i) && formatted(i) < formatted(first); }))
        return false;
    for (std::size_t i = window.started.front(); i-- > 1;)
        if (window.startsStatement(i) && formatted(i) < formatted(first))
            return opensBlock(text::trimLeft(window.lines[i].text)) &&
                   !startsWithAnyWord(text::trimLeft(window.lines[i].text),
                                      {u"function", u"classdef", u"methods", u"properties", u"events",
                                       u"enumeration", u"arguments"}) &&
                   own(i) >= own(first);
    return false;
}

bool pushedInBelow(const Window& window, const std::vector<Line>& formattedLines,
                   const std::vector<std::size_t>& above, const std::vector<std::size_t>& below,
                   unsigned tabSize, unsigned indentSize) {
    // How many of the formatter's levels the line stands left of its column (right of it, below zero).
    const auto shift = [&](std::size_t i) {
        return (columnsOf(text::indentationOf(formattedLines[i].text), tabSize) -
                columnsOf(text::indentationOf(window.lines[i].text), tabSize)) /
               static_cast<int>(std::max(1u, indentSize));
    };
    const auto code = [&](std::size_t i) { return text::trimLeft(window.lines[i].text); };
    // A class's block (where the lines above show the class's blocks in from its first line: a file may
    // write them at the class's column).
    const auto classBlock = [&](std::size_t i) {
        return startsWithAnyWord(code(i), {u"methods", u"properties", u"events", u"enumeration"});
    };
    const auto atFormatter = [&](std::size_t i) {
        return columnsOf(text::indentationOf(formattedLines[i].text), tabSize) ==
               columnsOf(text::indentationOf(window.lines[i].text), tabSize);
    };
    if (above.empty() || below.empty() || !std::all_of(above.begin(), above.end(), atFormatter)) return false;
    // Lines below that all stand a level or more right of the formatter's columns are deeper in blocks the
    // edit stops short of.
    if (std::all_of(below.begin(), below.end(), [&](std::size_t i) { return shift(i) < 0; })) return true;
    const bool classBlockBelow =
        classBlock(below.front()) && std::any_of(above.begin(), above.end(), [&](std::size_t i) {
            return classBlock(i) && !text::indentationOf(window.lines[i].text).empty();
        });
    return shift(below.front()) > 0 &&
           (startsWithWord(code(below.front()), u"end") || classBlockBelow ||
            outsideTheBlockAbove(window, formattedLines, below.front(), tabSize)) &&
           std::all_of(below.begin(), below.end(), [&](std::size_t i) {
               return columnsOf(text::indentationOf(formattedLines[i].text), tabSize) >=
                      columnsOf(text::indentationOf(window.lines[i].text), tabSize);
           });
}

// Of each formatter column, the file's columns of the statements in the blocks around the edit.
using Siblings = std::map<int, std::vector<int>>;

// The column most of a block's lines at one level stand at, where they leave no doubt: three or more of
// them, and three times as many as stand elsewhere.
std::optional<int> clearMajority(const std::vector<int>& columns) {
    std::map<int, std::size_t> counts;
    for (int column : columns)
        ++counts[column];
    const auto most = std::max_element(counts.begin(), counts.end(),
                                       [](const auto& a, const auto& b) { return a.second < b.second; });
    if (most == counts.end() || most->second < 3 || most->second < 3 * (columns.size() - most->second))
        return std::nullopt;
    return most->first;
}

FileLevels fileColumnsOfLevels(const Window& window, const std::vector<Line>& formattedLines,
                               unsigned tabSize, unsigned indentSize) {
    FileLevels levels;
    const auto formattedColumns = [&](std::size_t i) {
        return columnsOf(text::indentationOf(formattedLines[i].text), tabSize);
    };
    const auto record = [&](std::map<int, int>& columns, std::size_t i) {
        columns.emplace(formattedColumns(i), columnsOf(text::indentationOf(window.lines[i].text), tabSize));
    };
    const auto code = [&](std::size_t i) { return text::trimLeft(window.lines[i].text); };
    const auto isEnd = [&](std::size_t i) { return startsWithWord(code(i), u"end"); };
    // A `case` left of the file's first line of its body stands where the file writes its clauses, which
    // tells nothing of the column of the statements the formatter gives its level.
    const auto caseLeftOfItsBody = [&](std::size_t i) {
        if (!startsWithAnyWord(code(i), {u"case", u"otherwise"})) return false;
        std::size_t next = i + 1;
        while (next < window.lines.size() && !window.startsStatement(next))
            ++next;
        return next < window.lines.size() &&
               (window.lines[next].start < window.editFrom || window.lines[next].start >= window.editTo) &&
               columnsOf(text::indentationOf(window.lines[next].text), tabSize) >
                   columnsOf(text::indentationOf(window.lines[i].text), tabSize);
    };
    // Whether the `end` on line `at` closes a function (where the file does not indent function bodies,
    // the `end` of a block at the margin does not): its opener is the nearest line above at its formatter
    // column that opens a block not closed on the way. Out of sight, it may.
    const auto closesAFunction = [&](std::size_t at) {
        std::size_t depth = 0;
        for (std::size_t i = at; i-- > 1;) {
            if (!window.startsStatement(i) || formattedColumns(i) != formattedColumns(at)) continue;
            if (isEnd(i))
                ++depth;
            else if (opensBlock(code(i)) && depth-- == 0)
                return startsWithWord(code(i), u"function");
        }
        return true;
    };
    // The lines of the blocks around, walking away from the edit: `open` counts the blocks at the nearest
    // level that the walk has entered and not yet left. The other statements near the edit, nearest first,
    // as far as a function line.
    const auto walk = [&](std::size_t i, bool up, std::map<int, int>& chain, Siblings& siblings,
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
            pastFunction =
                pastFunction || (!up && function) ||
                (up && isEnd(i) && text::indentationOf(window.lines[i].text).empty() && closesAFunction(i));
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
            if (open == 0 && !pastFunction)
                siblings[formatted].push_back(columnsOf(text::indentationOf(window.lines[i].text), tabSize));
            if (!up && opens) ++open;
            if (up && nearest == 0 && open == 0 && seen >= kNearbyCodeLines) return;
        }
    };
    std::map<int, int> chainBelow;
    Siblings siblings, siblingsBelow;
    std::vector<std::size_t> nearbyAbove, nearbyBelow;
    walk(window.started.front() - 1, true, levels.statements, siblings, nearbyAbove);
    walk(window.started.back() + 1, false, chainBelow, siblingsBelow, nearbyBelow);
    if (pushedInBelow(window, formattedLines, nearbyAbove, nearbyBelow, tabSize, indentSize)) {
        chainBelow.clear();
        siblingsBelow.clear();
        nearbyBelow.clear();
    }
    // A block's odd line above the edit does not move the edit's lines off the column its other lines keep
    // (the edit's lines go on from the lines above: a block the edit opens keeps the columns its own lines
    // below show).
    for (auto& [formatted, columns] : siblings) {
        if (const auto below = siblingsBelow.find(formatted); below != siblingsBelow.end())
            columns.insert(columns.end(), below->second.begin(), below->second.end());
        if (const std::optional<int> kept = clearMajority(columns)) {
            levels.statements.insert_or_assign(formatted, *kept);
            chainBelow.insert_or_assign(formatted, *kept);
        }
    }
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
                if (isCloser(code(i)) && !isEnd(i) && !caseLeftOfItsBody(i)) record(*columns, i);
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

// The file's column of the body of the function that line `opener` (above the edit) opens: that of its
// first statement deeper than it in the formatter's columns.
std::optional<int> bodyColumnBelow(const Window& window, const std::vector<Line>& formattedLines,
                                   std::size_t opener, unsigned tabSize) {
    const auto formatted = [&](std::size_t i) {
        return columnsOf(text::indentationOf(formattedLines[i].text), tabSize);
    };
    for (std::size_t i = opener + 1; i < window.lines.size() && window.lines[i].start < window.editFrom; ++i)
        if (window.startsStatement(i))
            return formatted(i) > formatted(opener)
                       ? std::optional(columnsOf(text::indentationOf(window.lines[i].text), tabSize))
                       : std::nullopt;
    return std::nullopt;
}

// A comment of code set aside: its `%` followed by blanks, as an editor's comment toggle leaves it.
bool isSetAsideCode(std::u16string_view line) {
    const std::u16string_view comment = text::trimLeft(line);
    return comment.size() > 3 && comment[0] == u'%' && text::isBlankText(comment.substr(1, 2)) &&
           !text::isBlankText(comment.substr(3));
}

// Whether the file keeps its code set aside at the margin: the nearest such comment outside the edit stands
// there while the code after it stands right of it (an editor that comments code out at column 1).
bool setAsideAtMargin(const Window& window, unsigned tabSize) {
    const auto column = [&](std::size_t i) {
        return columnsOf(text::indentationOf(window.lines[i].text), tabSize);
    };
    const auto atMargin = [&](std::size_t i) {
        if (column(i) > 0) return false;
        for (std::size_t next = i + 1; next < window.lines.size(); ++next)
            if (window.isCodeLine(next)) return column(next) > 0;
        return false;
    };
    const auto outside = [&](std::size_t i) {
        return window.lines[i].start < window.editFrom || window.lines[i].start >= window.editTo;
    };
    // A help text's lines under its first one are not code set aside.
    const auto underComment = [&](std::size_t i) { return i > 1 && isComment(window.lines[i - 1].text); };
    const std::size_t first = window.started.front(), last = window.started.back();
    for (std::size_t distance = 1; distance < window.lines.size(); ++distance)
        for (const std::size_t i : {first - std::min(first, distance), last + distance})
            if (i > 0 && i < window.lines.size() && i != first && outside(i) && !window.inBlockComment[i] &&
                isSetAsideCode(window.lines[i].text) && !underComment(i))
                return atMargin(i);
    return false;
}

// Whether the file closes its blocks at their bodies' column rather than under their opening lines: three or
// more of the blocks in the window outside the edit end so and none elsewhere.
bool endsAtBodies(const Window& window, unsigned tabSize) {
    struct Block {
        int opener = 0;
        std::optional<int> body;
    };
    std::vector<Block> open;
    std::size_t atBody = 0, elsewhere = 0;
    for (std::size_t i = 1; i < window.lines.size(); ++i) {
        if (window.lines[i].start >= window.editFrom && window.lines[i].start < window.editTo) {
            open.clear();  // a block around the edit has lines the edit replaces
            continue;
        }
        if (!window.startsStatement(i)) continue;
        const std::u16string_view code = text::trimLeft(window.lines[i].text);
        const int column = columnsOf(text::indentationOf(window.lines[i].text), tabSize);
        if (startsWithWord(code, u"end")) {
            if (open.empty()) continue;
            const Block block = open.back();
            open.pop_back();
            if (block.body && *block.body > block.opener && column == *block.body)
                ++atBody;
            else
                ++elsewhere;
        } else if (!open.empty() && !open.back().body && !isCloser(code)) {
            open.back().body = column;
        }
        if (opensBlock(code)) open.push_back({column, std::nullopt});
    }
    return atBody >= 3 && elsewhere == 0;
}

}  // namespace

std::vector<int> editInFileColumns(const Window& window, const std::vector<Line>& formattedLines,
                                   const std::vector<int>& formatted, unsigned tabSize, unsigned indentSize) {
    FileLevels levels = fileColumnsOfLevels(window, formattedLines, tabSize, indentSize);
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
    // The edit's open blocks: formatter column, the file's; of a function, its body's column once seen.
    struct OpenBlock {
        int formatted = 0;
        int column = 0;
        bool function = false;
        std::optional<int> body;
    };
    std::vector<OpenBlock> opened;
    std::map<int, std::size_t> closedAbove;  // formatter column -> `end`s that closed blocks opened above
    // A function line the formatter puts at the column of the function it is nested in (only nested
    // functions' bodies indented): where that one is nested too, the file puts it in that one's body, and
    // its own lines go from there; where that one stands at the margin, where the file's other functions
    // of its level stand. None outside a function (a file whose functions have no `end` nests none).
    const auto nestedColumn = [&](int at) -> std::optional<int> {
        std::optional<std::size_t> parentLine;
        int parentColumn = 0;
        std::optional<int> body;
        if (!opened.empty() && opened.back().formatted == at) {
            if (!opened.back().function) return std::nullopt;
            parentColumn = opened.back().column;
            body = opened.back().body;
        } else {
            if (std::any_of(opened.begin(), opened.end(),
                            [&](const OpenBlock& b) { return b.formatted < at; }))
                return std::nullopt;
            parentLine = openerAbove(window, formattedLines, at, closedAbove[at], tabSize);
            if (!parentLine || !startsWithWord(text::trimLeft(window.lines[*parentLine].text), u"function"))
                return std::nullopt;
            parentColumn = own(*parentLine);
            if (parentColumn > 0) body = bodyColumnBelow(window, formattedLines, *parentLine, tabSize);
        }
        if (parentColumn > 0) return body;
        // The other functions in the same one: below the parent's line, and down to the first line at the
        // parent's column that closes it or starts another.
        std::optional<int> nearest;
        std::size_t nearestDistance = std::numeric_limits<std::size_t>::max();
        const auto take = [&](std::size_t i, std::size_t distance) {
            if (startsWithWord(text::trimLeft(window.lines[i].text), u"function") &&
                columnsOf(text::indentationOf(formattedLines[i].text), tabSize) == at &&
                distance < nearestDistance) {
                nearestDistance = distance;
                nearest = own(i);
            }
        };
        if (parentLine)
            for (std::size_t i = *parentLine + 1; i < window.started.front(); ++i)
                if (window.startsStatement(i)) take(i, window.started.front() - i);
        for (std::size_t i = window.started.back() + 1; i < window.lines.size(); ++i) {
            if (!window.startsStatement(i)) continue;
            const std::u16string_view code = text::trimLeft(window.lines[i].text);
            if (own(i) <= parentColumn && startsWithAnyWord(code, {u"end", u"function"})) break;
            take(i, i - window.started.back());
        }
        return nearest;
    };
    std::optional<bool> setAsideLeft;    // read at the edit's first comment of code set aside
    std::optional<bool> closesAtBodies;  // read at the edit's first `end`
    std::vector<int> columns;
    for (std::size_t k = 0; k < window.started.size(); ++k) {
        const std::size_t i = window.started[k];
        const std::u16string_view code = text::trimLeft(window.lines[i].text);
        if (text::isBlankText(window.lines[i].text) || window.inBlockComment[i]) {
            columns.push_back(formatted[k]);
            continue;
        }
        // Not a line of a help text or of another comment block, which goes on with the comment above.
        if (isSetAsideCode(window.lines[i].text) && formatted[k] > 0 &&
            !isComment(window.lines[i - 1].text) &&
            *(setAsideLeft = setAsideLeft.value_or(setAsideAtMargin(window, tabSize)))) {
            columns.push_back(0);
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
        if (!opened.empty() && !opened.back().body && formatted[k] > opened.back().formatted)
            opened.back().body = columns.back();
        if (startsWithWord(code, u"end")) {
            while (!opened.empty() && opened.back().formatted > formatted[k])
                opened.pop_back();
            std::optional<int> opener, body;
            if (!opened.empty() && opened.back().formatted == formatted[k]) {
                opener = opened.back().column;
                body = opened.back().body;
                opened.pop_back();
            } else if (const auto line = openerAbove(window, formattedLines, formatted[k],
                                                     closedAbove[formatted[k]]++, tabSize)) {
                opener = columnsOf(text::indentationOf(window.lines[*line].text), tabSize);
                body = bodyColumnBelow(window, formattedLines, *line, tabSize);
            }
            if (opener && *opener != columns.back()) {
                // The level after the block is its opening line's; the deeper ones go from it.
                columns.back() = *opener;
                for (std::map<int, int>* levelColumns : {&levels.statements, &levels.openAtEnd}) {
                    levelColumns->erase(levelColumns->lower_bound(formatted[k]), levelColumns->end());
                    levelColumns->emplace(formatted[k], *opener);
                }
            }
            // The lines after the block still go on at its opening line's column.
            if (opener && body && *body > *opener &&
                *(closesAtBodies = closesAtBodies.value_or(endsAtBodies(window, tabSize))))
                columns.back() = *body;
        } else if (opensBlock(code)) {
            const bool function = startsWithWord(code, u"function");
            if (const std::optional<int> nested = function ? nestedColumn(formatted[k]) : std::nullopt;
                nested && *nested != columns.back()) {
                columns.back() = statementColumn = *nested;
                shift = *nested - formatted[k];
                for (std::map<int, int>* levelColumns : {&levels.statements, &levels.openAtEnd}) {
                    levelColumns->erase(levelColumns->lower_bound(formatted[k]), levelColumns->end());
                    levelColumns->emplace(formatted[k], *nested);
                }
            }
            opened.push_back({formatted[k], columns.back(), function, std::nullopt});
        }
    }
    return columns;
}

}  // namespace fit::reindenting
