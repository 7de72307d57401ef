#pragma once

#include "fl/ustring.hpp"

namespace mtcc::Config {

// The model-side prompt template that every request selects.
extern const fl::ustring promptID;
extern const fl::ustring promptVersion;

}  // namespace mtcc::Config
