#pragma once

#include <cstddef>

#include "fl/ustring.hpp"

namespace mtcc::AutoCompletion {

// Longest prefix and suffix, in code units, that any stage after limiting sees.
inline constexpr std::size_t kContextLimit = 4000;

// True if the text holds a code unit other than tab, LF, VT, FF, CR or space.
bool hasNonWhitespace(const fl::ustring& text);

// The code before the cursor. With toLineEnd, the cut moves on to the end of the cursor's logical line,
// following "..." continuations.
fl::ustring splitCodeToCursor(const fl::ustring& code, std::size_t cursor, bool toLineEnd);

// The code from the cursor to the end (empty when the cursor is at or past the end).
fl::ustring suffixFromCursor(const fl::ustring& code, std::size_t cursor);

// At most the last / first n code units; the cut is by count and may split a surrogate pair.
fl::ustring keepLast(const fl::ustring& text, std::size_t n);
fl::ustring keepFirst(const fl::ustring& text, std::size_t n);

}  // namespace mtcc::AutoCompletion
