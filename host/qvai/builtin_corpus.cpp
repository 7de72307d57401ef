#include "qvai/builtin_corpus.hpp"

#include <dlfcn.h>

#include <filesystem>
#include <stdexcept>

namespace qvai {

namespace {

// The host library's own file: the corpus is found from it, so that a moved installation (or the build
// tree, which mirrors the installed layout) still finds its data. Empty when the system cannot say.
std::filesystem::path hostLibraryFile() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<const void*>(&builtinCorpusFolders), &info) == 0 || info.dli_fname == nullptr)
        return {};
    std::error_code error;
    const auto file = std::filesystem::canonical(info.dli_fname, error);
    return error ? std::filesystem::path() : file;
}

}  // namespace

std::filesystem::path builtinCorpusRoot() {
    const auto library = hostLibraryFile();
    if (library.empty()) return {};
    return library.parent_path().parent_path() / "share" / "ostrel" / "corpus";
}

std::vector<std::string> builtinCorpusFolders() {
    const auto root = builtinCorpusRoot();
    std::vector<std::string> folders;
    for (const auto& folder : {root / "examples", root / "library"}) {
        std::error_code error;
        if (std::filesystem::is_directory(folder, error)) folders.push_back(folder.string());
    }
    if (folders.empty())
        throw std::invalid_argument(
            "the built-in corpus is missing (looked for " +
            (root.empty() ? std::string("the host library's folder") : root.string()) + ")");
    return folders;
}

}  // namespace qvai
