#pragma once

#include <cstdint>
#include <vector>

namespace mtcc::postprocessing {

// A run of lines of the analysed file that pruning may cut along: a compound construct (its children
// are the blocks of its body) or a paragraph of plain lines. Lines are 1-based and inclusive; an
// endLine of 0 marks a block still open.
struct CodeBlock {
    std::uint64_t startLine = 0;
    std::uint64_t endLine = 0;
    std::vector<CodeBlock> children;
};

}  // namespace mtcc::postprocessing
