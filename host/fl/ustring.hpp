#pragma once

#include <string>

namespace fl {

// Text throughout the platform is UTF-16; positions and lengths count code units.
using ustring = std::u16string;

}  // namespace fl
