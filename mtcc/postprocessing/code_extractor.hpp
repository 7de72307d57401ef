#pragma once

#include "fl/ustring.hpp"

namespace mtcc::postprocessing {

// The trimmed code of the reply's first ```ostrel fenced block, or the empty text when there is none.
// Never throws: every failure is logged and gives the empty text.
fl::ustring extractCode(const fl::ustring& reply);

}  // namespace mtcc::postprocessing
