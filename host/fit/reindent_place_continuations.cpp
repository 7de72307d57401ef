#include "fit/reindent_place_continuations.hpp"

#include <algorithm>
#include <optional>

#include "fit/reindent_style.hpp"
#include "fit/text_lines.hpp"

namespace fit {

using namespace reindenting;

namespace {

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

}  // namespace

// A continuation line of the edit that the model did not indent past its statement's first line goes
// where the file puts such lines: just after its open bracket, or at the file's offset from the statement.
void placeContinuations(const Window& window, const std::vector<int>& own,
                        const std::function<ContinuationHabits()>& readHabits,
                        const std::function<bool()>& readClosesLeft, bool firstFromTyped, bool modelKept,
                        bool framed, const IndentSettings& style, std::vector<fl::ustring>& indentation) {
    std::optional<ContinuationHabits> habits;  // read only for an edit that has such a line
    // Whether the edit's lines so far leave a block of declarations open; nothing where they neither open
    // nor close one (the edit's start tells).
    std::optional<bool> inDeclarations;
    const auto habit = [&]() -> const ContinuationHabit& {
        if (!habits) habits = readHabits();
        return inDeclarations.value_or(habits->editInDeclarations) ? habits->declarations : habits->code;
    };
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
                                          habit().anyShown && !nearestAboveFlush(window, style.tabSize);
            const bool movable = started &&
                                 (columns <= statementOwn || (k == 0 && firstFromTyped) ||
                                  (!modelKept && reply.statements.empty())) &&
                                 (!modelKept || (k == 0 && firstFromTyped) || flushAgainstFile);
            bool fromModel = started && !movable;  // the line stands in the model's columns
            // Where the file puts the line: lined up with the bracket or the value, or stepped in as the
            // file steps such lines.
            const auto fitsFileAt = [&](int column) {
                const bool linedUp = scan.openBrackets.empty() ? scan.valueColumn == column
                                                               : !scan.openBrackets.back().endsLine &&
                                                                     column + signHang(line, scan) ==
                                                                         scan.openBrackets.back().column;
                return linedUp ||
                       (column > statementPlaced &&
                        stepsInBy(habit(), scan, header, !style.insertSpaces, column - statementPlaced));
            };
            if (!scan.goesOn()) {
                if (started && opensDeclarations(line))
                    inDeclarations = true;
                else if (started && startsWithWord(text::trimLeft(line), u"end"))
                    inDeclarations = false;
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
                                         return stepsInBy(habit(), scan, header, !style.insertSpaces, offset);
                                     },
                                     fitsFileAt)
                               : std::nullopt) {
                // A statement begun above the edit, or on a first line written from the editor's blanks,
                // goes on in the reply's own columns.
                indentation[k] = indentationFor(*fromReply, style);
                fromMargin = statementTyped && *fromReply == statementPlaced + own[k];
                fromModel = true;
            } else if (const std::optional<int> move =
                           fourColumnsALevelMove(statementPlaced, style.indentSize);
                       modelKept && started && !statementOwnColumn && scan.goesOn() && move &&
                       !fitsFileAt(columns) && fitsFileAt(columns + *move)) {
                // The model's columns stay, but it counted the statement begun above the edit (or from the
                // editor's blanks) four columns a level: its line stands where the file puts it only moved
                // as that level.
                indentation[k] = indentationFor(columns + *move, style);
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
                const auto offset = [&](std::optional<int> columns) {
                    return columns ? std::optional(statementPlaced + *columns) : std::nullopt;
                };
                std::optional<int> placed;
                if (habit().atStatementColumn)
                    placed = statementPlaced;
                else if (scan.openBrackets.empty() && header)
                    // A header's continuation stands apart from the body: two levels where the file
                    // shows none.
                    placed =
                        offset(habit().headerOffset  ? habit().headerOffset
                               : habit().plainOffset ? habit().plainOffset
                                                     : std::optional(2 * static_cast<int>(style.indentSize)));
                else if (scan.openBrackets.empty())
                    placed = scan.valueColumn && habit().underValue(line, !style.insertSpaces)
                                 ? habit().valueColumn(scan)
                                 : offset(habit().plainOffset);
                else if (scan.openBrackets.back().endsLine)
                    placed = offset(habit().endingBracketOffset);
                else if (const auto& inside = habit().inside(scan, !style.insertSpaces);
                         inside.alignsWithBracket)
                    placed = signHang(line, scan)
                                 ? scan.openBrackets.back().column - signHang(line, scan)
                                 : linedUp(text::trimLeft(line), scan.openBrackets.back().column,
                                           firstElements(scan.openBrackets.back().column),
                                           scan.openBrackets.back().column);
                else
                    placed = offset(inside.offset);
                // Where neither the file's habit nor the formatter steps a call's line in (a script's, begun
                // at the margin of an empty line), it steps in a level, as the formatter steps the others,
                // unless the file's nearest continuation line above stands at its statement's column.
                if (!placed && !scan.openBrackets.empty() && !scan.openBrackets.back().endsLine &&
                    scan.openBrackets.back().opening == u'(' &&
                    columnsOf(indentation[k], style.tabSize) <= statementPlaced &&
                    !nearestAboveFlush(window, style.tabSize))
                    placed = statementPlaced + static_cast<int>(style.indentSize);
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
            if (fromModel && scan.goesOn() && k > 0) {
                // The call's argument line written from the editor's blanks before this one, inside the
                // same brackets, goes where the model put this one: the model's column is its only word
                // on it. (A matrix's rows may pad their elements: their columns differ from row to row.)
                const bool inCall = !scan.openBrackets.empty() && scan.openBrackets.back().opening == u'(';
                const int bracket = inCall ? scan.openBrackets.back().column : -1;
                const auto typedSibling = std::find_if(moved.begin(), moved.end(), [&](const Moved& m) {
                    return inCall && m.k == 0 && firstFromTyped && m.hang == 0 &&
                           m.depth == scan.openBrackets.size() && m.bracket == bracket;
                });
                if (typedSibling != moved.end()) {
                    indentation[0] = indentation[k];
                    moved.erase(typedSibling);
                }
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

}  // namespace fit
