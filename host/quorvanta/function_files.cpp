#include "quorvanta/function_files.hpp"

#include <string>
#include <system_error>

#include "quorvanta/name_syntax.hpp"

namespace Quorvanta {
namespace {

// The function name a file name stands for, or an empty view when it names no function.
std::string_view functionNameOf(std::string_view fileName) {
    if (fileName.size() <= kFunctionFileExtension.size() || !fileName.ends_with(kFunctionFileExtension)) {
        return {};
    }
    const auto stem = fileName.substr(0, fileName.size() - kFunctionFileExtension.size());
    return isFunctionName(stem) ? stem : std::string_view{};
}

}  // namespace

NameSet listFunctionFiles(const std::filesystem::path& folder) {
    NameSet names;
    std::error_code error;
    std::filesystem::directory_iterator entry(folder, error);
    for (const std::filesystem::directory_iterator end; !error && entry != end; entry.increment(error)) {
        const std::string fileName = entry->path().filename().string();
        const auto name = functionNameOf(fileName);
        if (name.empty()) continue;
        // A file that vanished or a dangling link is simply not a function.
        std::error_code typeError;
        if (!entry->is_regular_file(typeError)) continue;
        names.insert(std::u16string(name.begin(), name.end()));
    }
    return names;
}

}  // namespace Quorvanta
