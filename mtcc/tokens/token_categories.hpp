#pragma once

#include <unordered_set>

#include "fl/ustring.hpp"

namespace mtcc::Tokens {

// The distinct names of the code before the cursor, by what they are.
struct TokenCategories {
    std::unordered_set<fl::ustring> userVariables;
    std::unordered_set<fl::ustring> userFunctions;
    std::unordered_set<fl::ustring> OSTRELFunctions;  // functions of the Ostrel library
};

}  // namespace mtcc::Tokens
