#pragma once

#include <vector>

#include "fit/completion_edit.hpp"
#include "fl/ustring.hpp"
#include "text_lines.hpp"

namespace ostrel_eval {

// The blanks an editor puts on a new line typed in place of line `lineIndex`: the indentation of the
// code line above it, one level deeper when that line opens a block or a clause (else, case, catch...)
// and does not close it itself. Function bodies get their level by the function indentation style.
fl::ustring editorIndent(const fl::ustring& text, const std::vector<LineSpan>& lines, std::size_t lineIndex,
                         const fit::IndentSettings& settings);

}  // namespace ostrel_eval
