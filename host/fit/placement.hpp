#pragma once

#include <cstddef>
#include <vector>

#include "fit/completion_edit.hpp"
#include "fit/reply_shape.hpp"
#include "fl/ustring.hpp"

namespace fit {

// The ways the completion's lines can be put into the file at the cursor, the likeliest first; the
// final check decides between them. None when the completion only repeats the lines above the cursor.
// Texts use LF line ends; lines that start a new line keep the indentation they came with (the edit is
// re-indented afterwards).
std::vector<Edit> candidateEdits(const fl::ustring& file, std::size_t cursor, std::vector<fl::ustring> lines,
                                 const ReplyShape& shape);

// The same change with the text it shares with the file at its start (up to the cursor) and at its
// end (back to the cursor) left out, so that an edit starts at the cursor whenever it can.
Edit minimalEdit(const fl::ustring& file, std::size_t cursor, Edit edit);

}  // namespace fit
