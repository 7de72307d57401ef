#include "qvai/builtin_corpus.hpp"

#include <filesystem>

namespace qvai {

std::vector<std::string> builtinCorpusFolders() {
    const std::filesystem::path source(OSTREL_QVAI_SOURCE_DIR);
    std::vector<std::string> folders;
    for (const auto& folder : {source / "examples", source / "host" / "quorvanta" / "library"}) {
        std::error_code error;
        if (std::filesystem::is_directory(folder, error)) folders.push_back(folder.string());
    }
    return folders;
}

}  // namespace qvai
