#pragma once

#include <string_view>

namespace Quorvanta {

// An Ostrel function name: an ASCII letter, then ASCII letters, digits and underscores. Names are
// case-sensitive, so nothing here folds case.
bool isFunctionName(std::u16string_view name);
bool isFunctionName(std::string_view name);

}  // namespace Quorvanta
