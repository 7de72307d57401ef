#pragma once

#include <vector>

#include "fl/ustring.hpp"

namespace ca::utils {

// The lines of `text` without their terminators. A line ends at LF; a CR directly before the LF goes
// with it, and so do the CRs (blanks) just before that one, and the CRs that end the text. A text that
// ends with a line end has no empty last line, and the empty text has no line.
std::vector<fl::ustring> lineSplitter(const fl::ustring& text);

}  // namespace ca::utils
