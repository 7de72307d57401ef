#pragma once

#include <filesystem>
#include <string_view>
#include <vector>

namespace Quorvanta {

// Where a function name comes from, as far as the registry knows.
enum class FunctionOrigin {
    Unknown,   // not a function the registry knows
    BuiltIn,   // built into the Ostrel runtime
    Library,   // a library function written in Ostrel, shipped with the runtime
    User,      // a file NAME.ost on the user's search path
};

// The process-wide registry of the Ostrel library's functions and the user's function files. Look-ups
// are cached and safe to call from any thread.
class functionRegistry {
public:
    static FunctionOrigin lookup(std::u16string_view name);
    static bool isBuiltIn(std::u16string_view name) { return lookup(name) == FunctionOrigin::BuiltIn; }
    static bool isLibrary(std::u16string_view name) { return lookup(name) == FunctionOrigin::Library; }

    // Folders searched, in order, for user function files; replaces the previous path and its caches.
    static void setSearchPath(std::vector<std::filesystem::path> folders);

    // Drops the cached look-ups; with `all`, also the cached listings of the search path, so that new
    // or removed files are seen.
    static void clearCaches(bool all);
};

}  // namespace Quorvanta
