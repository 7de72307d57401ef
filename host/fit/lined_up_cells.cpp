#include "fit/lined_up_cells.hpp"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "fit/text_lines.hpp"

namespace fit {
namespace {

// Rows above or below the cursor's read for a padded column.
constexpr std::size_t kMostRows = 3;

bool startsCell(std::u16string_view line, std::size_t i) {
    return i < line.size() && !text::isBlank(line[i]) && (i == 0 || text::isBlank(line[i - 1]));
}

// What ends a row rather than its cell: numbers line up without it (`10  20;` over ` 5  15];`).
bool endsRow(char16_t c) {
    return c == u';' || c == u']' || c == u'}';
}

bool endsCell(std::u16string_view line, std::size_t end) {
    return end > 0 && end <= line.size() && !text::isBlank(line[end - 1]) && !endsRow(line[end - 1]) &&
           (end == line.size() || text::isBlank(line[end]) || endsRow(line[end]));
}

// A line as its cells read: the tabs of its indentation written as blanks to the next multiple of
// four (columns compare across lines indented either way), the blanks inside texts as part of their
// cell, and nothing from a comment on (`commented` tells whether there was one).
fl::ustring cellsOfLine(std::u16string_view line, bool* commented = nullptr) {
    const std::u16string_view indentation = text::indentationOf(line);
    fl::ustring cells;
    for (char16_t c : indentation)
        cells.append(c == u'\t' ? 4 - cells.size() % 4 : 1, u' ');
    char16_t quote = 0;
    for (std::size_t i = indentation.size(); i < line.size(); ++i) {
        char16_t c = line[i];
        if (quote != 0) {
            quote = c == quote ? 0 : quote;
            c = text::isBlank(c) ? u'_' : c;
        } else if (c == u'%') {
            if (commented) *commented = true;
            break;
        } else if (c == u'"' || (c == u'\'' && !(i > 0 && (text::isWordChar(line[i - 1]) ||
                                                           std::u16string_view(u")]}'.").find(line[i - 1]) !=
                                                               std::u16string_view::npos)))) {
            quote = c;
        }
        cells.push_back(c);
    }
    return fl::ustring(text::trimRight(cells));
}

// The cells with what a bracket opened and closed on the line holds joined into one (`[1 0; 0 2],`): the
// rows of a table of matrices. A bracket left open (`[  0    10`) still has its elements as cells, and so
// has one opened at a column in `keptOpen` (a row's `{'JFK',   'FRA'}` under a typed `{[10 05],  [13 10],`
// that is not closed yet). Returns the cells and the columns of the brackets left open.
std::pair<fl::ustring, std::vector<std::size_t>> withBracketsAsCells(fl::ustring cells,
                                                                     std::span<const std::size_t> keptOpen = {}) {
    std::vector<std::size_t> open;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        if (cells[i] == u'(' || cells[i] == u'[' || cells[i] == u'{') {
            open.push_back(i);
        } else if ((cells[i] == u')' || cells[i] == u']' || cells[i] == u'}') && !open.empty()) {
            if (std::find(keptOpen.begin(), keptOpen.end(), open.back()) == keptOpen.end())
                for (std::size_t j = open.back(); j < i; ++j)
                    cells[j] = text::isBlank(cells[j]) ? u'_' : cells[j];
            open.pop_back();
        }
    }
    return {std::move(cells), std::move(open)};
}

// The rows next to the cursor's line, nearest first, in one direction: up to the first empty one.
std::vector<fl::ustring> rowsBeside(const fl::ustring& file, std::size_t lineStart, bool above) {
    std::vector<fl::ustring> rows;
    std::size_t at = lineStart;
    while (rows.size() < kMostRows) {
        if (above) {
            if (at == 0) break;
            at = text::lineStart(file, at - 1);
        } else {
            at = text::nextLineStart(file, at);
            if (at >= file.size()) break;
        }
        const std::u16string_view row = std::u16string_view(file).substr(at, text::lineEnd(file, at) - at);
        if (text::isBlankText(text::trimLeft(row).starts_with(u"%") ? u"" : row)) break;
        rows.push_back(cellsOfLine(row));
    }
    return rows;
}

// The completion's lines after its first, up to an empty one, as rows at `column`: a reply that lost its
// indentation wrote them at the level of the row it completes. A row that starts with a sign has it one
// column left where `hangsSigns` (under `[ c`). Nothing when one has blanks of its own before it (its
// column is the model's, not the file's).
std::vector<fl::ustring> rowsOfCompletion(std::size_t column, bool hangsSigns,
                                          std::span<const fl::ustring> below) {
    std::vector<fl::ustring> rows;
    for (const fl::ustring& line : below.first(std::min(below.size(), kMostRows))) {
        if (text::isBlankText(line) || text::trimLeft(line).starts_with(u"%")) break;
        if (!text::indentationOf(line).empty()) return {};
        const bool hangs = hangsSigns && column > 0 && (line.front() == u'-' || line.front() == u'+');
        rows.push_back(cellsOfLine(fl::ustring(column - (hangs ? 1 : 0), u' ') + line));
    }
    return rows;
}

// How deep in brackets `line` goes: the lowest depth it reaches (below 0 where it closes a bracket opened
// before it) and the depth it ends at.
struct BracketDepth {
    int lowest = 0;
    int last = 0;
};
BracketDepth bracketDepth(std::u16string_view line) {
    BracketDepth depth;
    for (char16_t c : line) {
        depth.last += c == u'(' || c == u'[' || c == u'{' ? 1 : c == u')' || c == u']' || c == u'}' ? -1 : 0;
        depth.lowest = std::min(depth.lowest, depth.last);
    }
    return depth;
}

// The start of the cell that ends at `end` (or goes on past it).
std::size_t cellStartBefore(std::u16string_view line, std::size_t end) {
    std::size_t start = end > 0 ? end - 1 : 0;
    while (start > 0 && !startsCell(line, start))
        --start;
    return start;
}

// Two columns of a table: the typed cell's and the next one's, told by their starts (text, names) or
// by their ends (numbers lined up on the right).
struct Columns {
    bool byStart = true;
    std::size_t typed = 0;
    std::size_t next = 0;
    bool mayGlue =
        false;  // glued, the typed cell and the completion's would end where a cell of the row does
};

bool hasColumn(std::u16string_view row, bool byStart, std::size_t column) {
    return byStart ? startsCell(row, column) : endsCell(row, column);
}

// Whether a row pads the cell at `start`: two blanks or more after a cell before it.
bool padded(std::u16string_view row, std::size_t start) {
    return start >= 2 && text::isBlank(row[start - 1]) && text::isBlank(row[start - 2]) &&
           text::indentationOf(row).size() < start - 2;
}

// Whether the cell at `start` of `row` closes a bracket.
bool closesBracket(std::u16string_view row, std::size_t start) {
    for (std::size_t i = start; i < row.size() && !text::isBlank(row[i]); ++i)
        if (row[i] == u')' || row[i] == u']' || row[i] == u'}') return true;
    return false;
}

// The columns of the first row whose cell lines up with the typed one, with the next cell after it.
std::optional<Columns> columnsOf(const std::vector<fl::ustring>& rows, std::u16string_view typed,
                                 std::u16string_view first, std::size_t firstCell) {
    const std::size_t end = typed.size(), start = cellStartBefore(typed, end);
    const bool wordGoesOn = (text::isWordChar(typed.back()) || typed.back() == u'.') &&
                            (text::isWordChar(first.front()) || first.front() == u'.');
    const std::size_t indentation = text::indentationOf(typed).size();
    // Every typed cell must line up with one of the row's, by the same side.
    const auto linesUp = [&](std::u16string_view row, bool byStart) {
        for (std::size_t i = indentation; i < end; ++i)
            if (byStart ? startsCell(typed, i) && !startsCell(row, i)
                        : endsCell(typed, i + 1) && !endsCell(row, i + 1))
                return false;
        return true;
    };
    // Numbers line up on the right: a row whose next cell has a sign lines up with the typed number by
    // both sides.
    const bool number = std::u16string_view(u"0123456789.-+").find(typed[start]) != std::u16string_view::npos;
    for (const fl::ustring& row : rows) {
        const bool byEnd = linesUp(row, false);
        const bool byStart = linesUp(row, true) && !(number && byEnd);
        if (!byStart && !byEnd) continue;
        // A typed cell in a bracket the typed line leaves open, where the row's cell there closes one
        // and the typed one does not (`[1 0|` over `[1 1],`): the completion's first cell goes on inside
        // that bracket.
        if (bracketDepth(typed).last > 0 && !closesBracket(typed, start) &&
            closesBracket(row, byStart ? start : cellStartBefore(row, end)))
            return std::nullopt;
        // By their ends, the typed cell's column is where its value ends, before a row's `;` after it.
        std::size_t valueEnd = end;
        while (!byStart && valueEnd > start + 1 && endsRow(typed[valueEnd - 1]))
            --valueEnd;
        Columns columns{byStart, byStart ? start : valueEnd, 0, wordGoesOn && endsCell(row, end + firstCell)};
        // The typed cell must fit in its column: the completion's first cell goes in the next one.
        std::size_t next = columns.typed + 1;
        while (next <= row.size() && !hasColumn(row, byStart, next))
            ++next;
        if (next > row.size() || (byStart ? next <= end : next < end + 1 + firstCell)) return std::nullopt;
        columns.next = next;
        return columns;
    }
    return std::nullopt;
}

// Where the typed cells do not line up with the nearest row's (`[10 3 4 zeros(1, 16)],` under
// `[5 5 3 zeros(1, 17)],`), the row's next cell after as many cells as the typed line has, where the row
// pads it: the column of a table whose first cells vary in width. The typed cells must be whole.
std::optional<std::size_t> blanksByCellCount(const std::vector<fl::ustring>& rows, std::u16string_view typed,
                                             std::u16string_view first) {
    const std::u16string_view indentation = text::indentationOf(typed);
    const auto opened = std::count_if(typed.begin(), typed.end(),
                                      [](char16_t c) { return c == u'(' || c == u'[' || c == u'{'; });
    const auto closed = std::count_if(typed.begin(), typed.end(),
                                      [](char16_t c) { return c == u')' || c == u']' || c == u'}'; });
    // A sign or an operator at the end goes on with the completion's first cell (`2  -` + `1`).
    if (rows.empty() || opened != closed ||
        std::u16string_view(u"+-*/\\^=<>&|~:@").find(typed.back()) != std::u16string_view::npos ||
        text::indentationOf(rows.front()) != indentation ||
        (text::isWordChar(typed.back()) && text::isWordChar(first.front())))
        return std::nullopt;
    const std::u16string_view row = rows.front();
    std::size_t cells = 0;
    for (std::size_t i = 0; i < typed.size(); ++i)
        cells += startsCell(typed, i) ? 1 : 0;
    for (std::size_t i = 0; i < row.size(); ++i) {
        if (!startsCell(row, i) || cells-- > 0) continue;
        if (!padded(row, i) || i < typed.size() + 2) return std::nullopt;
        return i - typed.size();
    }
    return std::nullopt;
}

// The blanks from the rows on one side, or nothing.
std::optional<std::size_t> blanksFrom(const std::vector<fl::ustring>& rows, std::u16string_view typed,
                                      std::u16string_view first, bool separated) {
    std::size_t firstCell = std::min(first.size(), first.find_first_of(u" \t"));
    while (firstCell > 1 && endsRow(first[firstCell - 1]))
        --firstCell;
    const std::optional<Columns> columns = columnsOf(rows, typed, first, firstCell);
    if (!columns) return blanksByCellCount(rows, typed, first);
    const std::size_t blanks =
        columns->byStart ? columns->next - typed.size() : columns->next - firstCell - typed.size();
    // One blank counts too where a row pads the column (the typed cell is its widest). Glued, the typed
    // cell and the completion's might fill the column as one (a word or a number going on).
    if (blanks == 0 || (!separated && columns->mayGlue)) return std::nullopt;
    // The column must be padded in one of the rows that line up both columns, or the typed line pads its
    // own cells into the row's columns (the table's first row, the widest, pads nothing). Not a name
    // padded to its `=`: that says nothing of the value's cells.
    bool typedPads = false;
    for (std::size_t i = 0; i < typed.size() && !typedPads; ++i)
        typedPads = startsCell(typed, i) && padded(typed, i) && typed[i] != u'=';
    for (const fl::ustring& row : rows) {
        // An argument list lines up only under the rows' own (`Mono       (1)`).
        if (!hasColumn(row, columns->byStart, columns->typed) ||
            !hasColumn(row, columns->byStart, columns->next) ||
            (first.front() == u'(' && (!columns->byStart || row[columns->next] != u'(')))
            continue;
        if (typedPads || padded(row, columns->byStart ? columns->next : cellStartBefore(row, columns->next)))
            return blanks;
    }
    return std::nullopt;
}

}  // namespace

fl::ustring blanksToLinedUpCell(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                                std::u16string_view first, bool separated,
                                std::span<const fl::ustring> below) {
    // What attaches to the cell before it (`,`, `]`, `.x`) is never padded, nor what follows a field's
    // dot or an opening bracket; `(k)` only under the rows' own.
    if (typed.empty() || text::isBlank(typed.back()) ||
        std::u16string_view(u".([{").find(typed.back()) != std::u16string_view::npos ||
        text::isBlankText(typed) || first.empty() || text::isBlank(first.front()) ||
        std::u16string_view(u",;.:)]}").find(first.front()) != std::u16string_view::npos)
        return {};
    // A product, quotient or power is one cell (`2*(y*z)`, `25/216`): no blanks on either side of its
    // operator. Nor after a typed `+` or `-`: the completion's first cell goes on with it (`   -` +
    // `10.00` is the row's first number, not a sign and then the next column).
    static constexpr std::u16string_view kBinding = u"*/\\^";
    if (std::u16string_view(u"+-").find(typed.back()) != std::u16string_view::npos) return {};
    if (kBinding.find(typed.back()) != std::u16string_view::npos ||
        kBinding.find(first.front()) != std::u16string_view::npos)
        return {};
    const std::size_t lineStart = text::lineStart(file, cursor);
    bool commented = false;
    const fl::ustring expanded = cellsOfLine(typed, &commented);
    if (commented || expanded.empty()) return {};
    // Only the rows above: below the cursor may stand what followed lines the completion is to write.
    const std::vector<fl::ustring> above = rowsBeside(file, lineStart, true);
    auto blanks = blanksFrom(above, expanded, first, separated);
    // The completion's rows are the typed one's only where that one starts them: a line of code at its
    // indentation just above would be of the same rows, and it did not line up.
    const bool startsRows =
        above.empty() || text::indentationOf(above.front()).size() != text::indentationOf(expanded).size();
    // A matrix or a cell the typed line opens has the completion's next lines as its rows, under its first
    // element (`R = [ c  0|` + `s` / `0  1  0`); the typed cells before that element tell nothing. Not after
    // the completion's first line closes a bracket the typed line is in (`'allium',|` + `'umbel'}, ...` in
    // a cell opened on the line above): its next lines stand outside it; nor where it leaves one open
    // (`R|` + `= [1  0  0`): they stand inside that one, under its first element.
    const auto [typedCells, leftOpen] = withBracketsAsCells(expanded);
    const std::size_t opened = leftOpen.empty() ? 0 : leftOpen.back() + 1;
    const std::size_t element = std::min(expanded.size(), expanded.find_first_not_of(u' ', opened));
    if (const BracketDepth depth = bracketDepth(cellsOfLine(first));
        !blanks && depth.lowest >= 0 && depth.last == 0) {
        // A row that goes on after `...` may line up any way (by its numbers' ends): only new rows count.
        const std::size_t marker = first.find(u"...");
        if (!leftOpen.empty() && expanded[leftOpen.back()] != u'(' && element < expanded.size() &&
            (marker == std::u16string_view::npos || text::trimRight(first.substr(0, marker)).ends_with(u";")))
            blanks = blanksFrom(rowsOfCompletion(element, element > opened, below),
                                fl::ustring(element, u' ') + expanded.substr(element), first, separated);
        else if (startsRows)
            blanks = blanksFrom(rowsOfCompletion(text::indentationOf(expanded).size(), false, below), expanded,
                                first, separated);
    }
    // Last, the cells of a table of matrices or calls, each a bracket's whole.
    if (!blanks) {
        std::vector<fl::ustring> grouped;
        for (const fl::ustring& row : above)
            grouped.push_back(withBracketsAsCells(row, leftOpen).first);
        blanks = blanksFrom(grouped, typedCells, first, separated);
    }
    return blanks ? fl::ustring(*blanks, u' ') : fl::ustring();
}

}  // namespace fit
