#pragma once

#include <cstddef>

#include "fit/completion_edit.hpp"
#include "fl/ustring.hpp"

namespace fit {

// Re-indents every line that `edit` starts so that the completion sits at the file's levels whatever
// column the model wrote it at: the legacy formatter places the lines over a window of the file, in the
// file's own style. The model's indentation stays where it already fits: where it is the formatter's,
// or, in a file that does not follow the formatter near the edit, where it moves with it level by level.
// A first line that replaces the cursor's blank line was written from the cursor's column.
void reindentEdit(const fl::ustring& file, std::size_t cursor, Edit& edit, const IndentSettings& settings);

}  // namespace fit
