#pragma once

#include <cstddef>

#include "fit/completion_edit.hpp"
#include "fl/ustring.hpp"

namespace fit {

// The indentation the file itself uses near the cursor, where it shows one (tabs or spaces, the step
// of one level, whether function bodies are indented); the editor's settings fill in the rest.
IndentSettings fileIndentation(const fl::ustring& file, std::size_t cursor, const IndentSettings& settings);

// Re-indents every line that `edit` starts, with the legacy formatter over a window of the file around
// it, so that the completion sits at the file's levels whatever column the model wrote it at. Leaves
// the edit as it is when the formatter would touch anything outside it.
void reindentEdit(const fl::ustring& file, Edit& edit, const IndentSettings& settings);

}  // namespace fit
