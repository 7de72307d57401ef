#pragma once

#include <cstddef>
#include <string>

#include "command_line.hpp"
#include "fl/ustring.hpp"

namespace ostrel_complete {

// The cursor as an offset into `code`. Lines are counted by line feeds; a column may stand one past the
// line's last code unit (the end of the line). Throws std::out_of_range with a one-line message when
// the cursor lies outside the file.
std::size_t cursorOffset(const fl::ustring& code, const CursorSpec& cursor, const std::string& fileName);

}  // namespace ostrel_complete
