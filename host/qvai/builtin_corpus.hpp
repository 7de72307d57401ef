#pragma once

#include <string>
#include <vector>

namespace qvai {

// The folders of the built-in corpus that exist on this machine: the project's examples and the
// library's Ostrel sources.
std::vector<std::string> builtinCorpusFolders();

}  // namespace qvai
