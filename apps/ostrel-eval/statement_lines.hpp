#pragma once

#include <cstddef>
#include <vector>

#include "fl/ustring.hpp"

namespace ostrel_eval {

// For each line of `text` (as splitLines counts them), the line its statement starts on: an earlier one for
// a line that continues a statement (after `...`, or inside an open bracket, comment lines within such a
// statement included), its own for any other line. Read from the analyser's tokens, so a `...` or a bracket
// in a text literal or a comment continues nothing.
std::vector<std::size_t> statementFirstLines(const fl::ustring& text);

}  // namespace ostrel_eval
