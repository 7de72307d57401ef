#include "quorvanta/shipped_functions.hpp"

namespace Quorvanta {
namespace data {
extern const std::string_view kBuiltinFunctions;
extern const std::string_view kLibraryFunctions;
}  // namespace data

std::string_view builtInFunctionList() {
    return data::kBuiltinFunctions;
}
std::string_view libraryFunctionList() {
    return data::kLibraryFunctions;
}

const NameSet& builtInFunctions() {
    static const NameSet names = parseNameList(data::kBuiltinFunctions);
    return names;
}

const NameSet& libraryFunctions() {
    static const NameSet names = parseNameList(data::kLibraryFunctions);
    return names;
}

}  // namespace Quorvanta
