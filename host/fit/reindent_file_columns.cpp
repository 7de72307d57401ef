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

}  // namespace

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

}  // namespace fit::reindenting
