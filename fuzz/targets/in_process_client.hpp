#pragma once

#include "fl/ustring.hpp"

namespace ostrel_fuzz {

// Makes every model request of this process answer at once, on the caller's thread, with `reply`. The
// library keeps the first client it finds for the life of the process, so every target shares this one.
void answerWith(fl::ustring reply);

}  // namespace ostrel_fuzz
