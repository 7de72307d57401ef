#pragma once

#include <string_view>

#include "fl/ustring.hpp"

namespace mtcc::postprocessing {

// Removes the generated lines that repeat the end of the prefix or, failing that, the start of the
// suffix. Lines are split at LF only; the prefix and suffix are compared with their CR and LF trimmed
// at the cursor side.
fl::ustring deduplicateGeneratedCode(std::u16string_view generated, std::u16string_view prefix,
                                     std::u16string_view suffix);

}  // namespace mtcc::postprocessing
