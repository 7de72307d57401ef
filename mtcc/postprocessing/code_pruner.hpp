#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "ca/analysis.hpp"
#include "fl/ustring.hpp"
#include "mtcc/postprocessing/code_block.hpp"

namespace mtcc::postprocessing {

// Drops trailing generated lines until prefix + completion + suffix parses, then cuts the completion
// along the file's block structure; blocks of maxBlockLines lines or more are broken into their nested
// blocks. Returns the pieces in document order; [""] when nothing parses.
std::vector<fl::ustring> pruneGeneratedCode(const fl::ustring& prefix, const fl::ustring& generatedCode,
                                            const fl::ustring& suffix, std::uint64_t maxBlockLines);

// The top-level blocks of an analysed text, with their nested blocks: the tree pruning cuts along.
std::vector<CodeBlock> topLevelBlocks(const std::shared_ptr<ca::Analysis>& analysis);

// "\n" + line n for every n from first to last (1-based, inclusive); empty when first > last.
fl::ustring joinLineRange(const std::vector<fl::ustring>& lines, std::uint64_t first, std::uint64_t last);

}  // namespace mtcc::postprocessing
