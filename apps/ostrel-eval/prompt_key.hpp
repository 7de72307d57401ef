#pragma once

#include <cstddef>
#include <string>
#include <utility>

#include "fl/ustring.hpp"

namespace ostrel_eval {

// What a completion request tells about its cursor: the code before and after it as far as the library
// sends it (UTF-8, the last and first 4000 code units).
using PromptKey = std::pair<std::string, std::string>;

PromptKey promptKey(const fl::ustring& code, std::size_t cursor);

}  // namespace ostrel_eval
