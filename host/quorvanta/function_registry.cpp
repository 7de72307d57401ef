#include "quorvanta/function_registry.hpp"

#include <utility>

#include "quorvanta/name_syntax.hpp"
#include "quorvanta/shipped_functions.hpp"
#include "quorvanta/user_function_cache.hpp"

namespace Quorvanta {
namespace {

// The registry is process-wide by design: every analysis in the process sees the same search path.
UserFunctionCache& userFunctions() {
    static UserFunctionCache cache;
    return cache;
}

}  // namespace

FunctionOrigin functionRegistry::lookup(std::u16string_view name) {
    if (!isFunctionName(name)) return FunctionOrigin::Unknown;
    // Shipped functions win over user files of the same name: which library function a name means
    // must not depend on what happens to lie in the user's folders.
    if (builtInFunctions().contains(name)) return FunctionOrigin::BuiltIn;
    if (libraryFunctions().contains(name)) return FunctionOrigin::Library;
    return userFunctions().lookup(name);
}

void functionRegistry::setSearchPath(std::vector<std::filesystem::path> folders) {
    userFunctions().setFolders(std::move(folders));
}

void functionRegistry::clearCaches(bool all) {
    userFunctions().clear(all);
}

}  // namespace Quorvanta
