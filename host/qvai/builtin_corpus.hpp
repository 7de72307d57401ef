#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace qvai {

// Where the built-in corpus lives: share/ostrel/corpus beside the lib/ folder of the host library,
// in an installation and in the build tree alike.
std::filesystem::path builtinCorpusRoot();

// The folders of the built-in corpus: the project's examples and the library's Ostrel sources.
// Throws std::invalid_argument naming the place looked at when neither is there (a broken
// installation must not quietly complete nothing).
std::vector<std::string> builtinCorpusFolders();

}  // namespace qvai
