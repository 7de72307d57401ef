#pragma once

#include <string_view>

#include "quorvanta/name_set.hpp"

namespace Quorvanta {

// The function lists shipped with the Ostrel library, as embedded text (one name per line).
std::string_view builtInFunctionList();
std::string_view libraryFunctionList();

// The same lists as sets, built once on first use.
const NameSet& builtInFunctions();
const NameSet& libraryFunctions();

}  // namespace Quorvanta
