#pragma once

#include <vector>

#include "fit/reindent_window.hpp"

// The formatter's levels in the file's own columns, for a file that does not follow the formatter.
namespace fit::reindenting {

// A line of the edit in the file's columns: at the column of its level in the lines around; an `end` under
// the line that opens its block (where the formatter puts a nested function at its function's body, the
// levels alone do not tell them apart), and the lines after it at the level of that line; a clause where
// the file's clauses of its level stand; a continuation line as far from its statement's first line as
// the formatter puts it.
std::vector<int> editInFileColumns(const Window& window, const std::vector<Line>& formattedLines,
                                   const std::vector<int>& formatted, unsigned tabSize, unsigned indentSize);

}  // namespace fit::reindenting
