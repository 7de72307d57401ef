#include "fit/reindent_model_fit.hpp"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <map>
#include <numeric>
#include <optional>
#include <utility>
#include <vector>

#include "fit/reindent_continuation.hpp"
#include "fit/reindent_style.hpp"
#include "fit/text_lines.hpp"

namespace fit::reindenting {
namespace {

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

}  // namespace

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

bool modelFits(const Window& window, const std::vector<Line>& formattedLines, const std::vector<int>& own,
               const std::function<const std::vector<int>&()>& inFileColumnsOfEdit,
               const std::vector<std::optional<int>>& comments, bool firstFromTyped, bool typedLineKnown,
               const IndentSettings& style) {
    const unsigned tabSize = style.tabSize;
    const auto formattedColumns = [&](std::size_t i) {
        return columnsOf(text::indentationOf(formattedLines[i].text), tabSize);
    };
    // An edit whose lines all stand at the margin (a first line from the editor's blanks aside) tells
    // nothing by its comments' column (a reply without indentation): a comment goes where a comment or a
    // statement stands there, as a help comment under a `function` line goes into its body.
    const std::size_t firstOfModel = firstFromTyped ? 1 : 0;
    const bool allAtMargin =
        own.size() > firstOfModel &&
        std::all_of(own.begin() + firstOfModel, own.end(), [](int columns) { return columns == 0; });
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
    // So does a reply of only continuation lines, some at or left of the column of the statement above that
    // they go on with: it was written from a margin of its own.
    if (code.size() == 1 && !above.empty())
        for (std::size_t k = firstFromTyped ? 1 : 0; k < window.started.size(); ++k)
            if (const std::size_t i = window.started[k];
                window.isCodeLine(i) && window.continues[i] && own[k] <= above.front().own)
                return false;
    if (code.size() == std::min<std::size_t>(above.size(), 1)) {
        // Only comments: they fit at the column they would take, or where the formatter keeps them.
        for (std::size_t k = 0; k < window.started.size(); ++k)
            if (const std::size_t i = window.started[k];
                isComment(window.lines[i].text) && own[k] != comments[i].value_or(formattedColumns(i)))
                return false;
        return true;
    }
    // With only nested bodies indented, a `function` line at the formatter's column (its parent's) where
    // the file stands its other nested functions elsewhere (past their parent's column).
    for (std::size_t k = 0; k < window.started.size() && style.functionIndent == 1; ++k)
        if (const std::size_t i = window.started[k];
            window.startsStatement(i) && own[k] == formattedColumns(i) &&
            startsWithWord(text::trimLeft(window.lines[i].text), u"function") &&
            inFileColumnsOfEdit()[k] != own[k])
            return false;
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
    // Each line at a column that the lines around give its level, or moving with the formatter. Where the
    // lines above stand at the formatter's columns and the formatter moves the next line below deeper, the
    // block the edit is in reads as still open there (its `end` is what the completion is yet to write):
    // the columns below then say nothing of the levels'.
    const bool belowReadsOpen = !above.empty() && std::all_of(above.begin(), above.end(), followed) &&
                                !below.empty() && below.front().formatted > below.front().own;
    std::map<int, std::vector<int>> columnsAround, columnsAbove;  // formatter column -> the file's
    for (const std::vector<Placed>* lines : {&std::as_const(above), &below})
        for (const Placed& line : *lines)
            if (lines == &above || !belowReadsOpen) columnsAround[line.formatted].push_back(line.own);
    for (const Placed& line : above)
        columnsAbove[line.formatted].push_back(line.own);
    // A level they do not show stands as far from the deepest shallower one they show as the formatter's.
    // A line at the formatter's column where the lines above show the file's other column for its level
    // is not at the file's: the formatter reads the lines below through what the edit leaves open, and
    // may put them at that column too.
    const auto atColumnAround = [&](const Placed& line) {
        if (const auto shown = columnsAbove.find(line.formatted);
            shown != columnsAbove.end() && line.own == line.formatted &&
            std::find(shown->second.begin(), shown->second.end(), line.own) == shown->second.end())
            return false;
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

std::vector<std::vector<int>> replyInFileFrame(
    const Window& window, const std::vector<Line>& formattedLines, const std::vector<int>& own,
    const std::initializer_list<std::reference_wrapper<const std::vector<int>>> anchors, bool firstFromTyped,
    bool modelKept, const IndentSettings& style) {
    const unsigned tabSize = style.tabSize;
    const auto formattedColumns = [&](std::size_t i) {
        return columnsOf(text::indentationOf(formattedLines[i].text), tabSize);
    };
    // The model's statements (not a first line written from the blanks the editor typed) and its step
    // between the lines that stand at a level, its comment lines too.
    std::vector<std::size_t> statements;
    int step = 0;
    std::optional<int> previous;
    for (std::size_t k = firstFromTyped ? 1 : 0; k < window.started.size(); ++k) {
        const std::size_t i = window.started[k];
        const bool comment = isComment(window.lines[i].text) && !window.inBlockComment[i];
        if (!window.startsStatement(i) && !comment) continue;
        if (previous) step = std::gcd(step, std::abs(own[k] - *previous));
        previous = own[k];
        if (!comment) statements.push_back(k);
    }
    // A reply written flat (a first line from the editor's blanks aside) keeps no levels.
    if (std::all_of(own.begin() + (firstFromTyped ? 1 : 0), own.end(), [](int c) { return c == 0; }))
        return {};
    const int unit = static_cast<int>(std::max(1u, style.indentSize));
    // A step of its own that is not the file's says the reply is respaced; else only a reply moved to the
    // margin, its first statement off the file's column for it, is out of the file's frame.
    const bool respaced = step > 1 && step != unit;
    if (!respaced) step = unit;
    // The line the reply's levels are counted from, its column in the reply and where it may go.
    std::size_t baseLine = 0;
    int baseOwn = 0;
    std::vector<int> anchorColumns;
    if (!statements.empty() && !modelKept) {
        baseLine = window.started[statements.front()];
        baseOwn = own[statements.front()];
        for (const std::vector<int>& columns : anchors)
            if (respaced || columns[statements.front()] != baseOwn)
                anchorColumns.push_back(columns[statements.front()]);
    } else if (statements.empty() && firstFromTyped && window.startsStatement(window.started.front())) {
        // Only a first line from the editor's blanks: where its continuation lines stand left of it, or
        // its first one lines up with the line's bracket or value as the line would stand at the reply's
        // margin (`x = f(a, ...` / `      b)`) and not a level or two in from where it stands (the
        // file's columns too, where the two meet), the reply wrote it there.
        StatementScan atMargin;
        scanLine(text::trimLeft(window.lines[window.started.front()].text), tabSize, atMargin);
        const auto linedUpAtMargin = [&](int columns) {
            return atMargin.openBrackets.empty() ? atMargin.valueColumn == columns
                                                 : !atMargin.openBrackets.back().endsLine &&
                                                       atMargin.openBrackets.back().column == columns;
        };
        for (std::size_t k = 1; k < window.started.size() && anchorColumns.empty(); ++k)
            if (window.isCodeLine(window.started[k]) && window.continues[window.started[k]] &&
                (own[k] < own[0] || (k == 1 && own[0] > 0 && linedUpAtMargin(own[k]) &&
                                     own[k] - own[0] != unit && own[k] - own[0] != 2 * unit)))
                anchorColumns.push_back(own[0]);
        baseLine = window.started.front();
    }
    // Where the reply would have a line of the formatter's column `formatted`.
    const auto ownFor = [&](int formatted) {
        return baseOwn + (formatted - formattedColumns(baseLine)) * step / unit;
    };
    std::vector<std::vector<int>> candidates;
    for (const int anchor : anchorColumns) {
        const auto inFrame = [&](int columns) -> std::optional<int> {
            const int levels = (columns - baseOwn) * unit;
            if (levels % step != 0 || anchor + levels / step < 0) return std::nullopt;
            return anchor + levels / step;
        };
        std::vector<int> framed = own;
        bool fits = true;
        int statementOwn = 0, statementPlaced = 0;  // the last statement's first line, reply's and file's
        for (std::size_t i = 1, k = 0; i < window.lines.size() && k < window.started.size() && fits; ++i) {
            const bool started = window.started[k] == i;
            const bool fromModel = started && (k > 0 || !firstFromTyped);
            if (window.isCodeLine(i) && window.continues[i]) {
                if (fromModel) framed[k] = std::max(0, statementPlaced + own[k] - statementOwn);
            } else if (window.isCodeLine(i)) {
                // Above the edit or written from the editor's blanks, a statement stands in the reply as
                // many of its steps from the base as the formatter's levels.
                statementOwn = fromModel ? own[k] : ownFor(formattedColumns(i));
                if (fromModel) {
                    const std::optional<int> columns = inFrame(own[k]);
                    fits = columns.has_value();
                    framed[k] = columns.value_or(0);
                }
                statementPlaced =
                    started ? framed[k] : columnsOf(text::indentationOf(window.lines[i].text), tabSize);
            } else if (fromModel && !text::isBlankText(window.lines[i].text)) {
                const std::optional<int> columns = inFrame(own[k]);
                fits = columns.has_value();
                framed[k] = columns.value_or(0);
            } else if (fromModel) {
                framed[k] = formattedColumns(i);  // a blank line as the file's style pads it
            }
            if (started) ++k;
        }
        if (fits && framed != own &&
            std::find(candidates.begin(), candidates.end(), framed) == candidates.end())
            candidates.push_back(std::move(framed));
    }
    return candidates;
}

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

}  // namespace fit::reindenting
