#pragma once

#include <filesystem>
#include <string_view>

#include "quorvanta/name_set.hpp"

namespace Quorvanta {

// A user function NAME lives in a file NAME.ost; the extension is matched exactly (".OST" is not one).
inline constexpr std::string_view kFunctionFileExtension = ".ost";

// The function names that the files directly inside `folder` define. A folder that is missing or cannot
// be read defines none: a stale search-path entry must not break look-ups.
NameSet listFunctionFiles(const std::filesystem::path& folder);

}  // namespace Quorvanta
