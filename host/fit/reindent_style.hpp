#pragma once

#include <cstddef>
#include <string_view>

#include "fit/completion_edit.hpp"
#include "fl/ustring.hpp"

namespace fit {

// The indentation the file itself uses near the cursor, where it shows one (tabs or spaces, the step
// of one level, whether function bodies are indented); the editor's settings fill in the rest.
IndentSettings fileIndentation(const fl::ustring& file, std::size_t cursor, const IndentSettings& settings);

// Whether the file puts a line that starts by closing a bracket left of the line above it (`];` under
// its statement rather than under the rows), more often than at its column, in the 400 lines above `from`
// and the 400 below `to`.
bool closesBracketsLeftOfRows(const fl::ustring& file, std::size_t from, std::size_t to, unsigned tabSize);

// Whether a line that is not blank starts with `blank` in the 400 lines above `from` or the 400 below
// `to`, block comments' text aside (a file indented with tabs may still line up or indent some lines with
// spaces, and one indented with spaces start a line with a tab).
bool startsLinesWith(char16_t blank, const fl::ustring& file, std::size_t from, std::size_t to);

// The columns that a line's leading blanks take, tabs stopping every `tabSize` columns.
int columnsOf(std::u16string_view indentation, unsigned tabSize);

// Leading blanks that take `columns` columns, in the style's tabs or spaces.
fl::ustring indentationFor(int columns, const IndentSettings& style);

}  // namespace fit
