#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "ca/analysis.hpp"
#include "mtcc/postprocessing/code_block.hpp"

namespace mtcc::postprocessing {

// Lines covered by comments, for telling a comment paragraph that introduces a construct.
class CommentLines {
  public:
    void add(std::uint64_t first, std::uint64_t last);
    bool contains(std::uint64_t line) const { return line < covered_.size() && covered_[line]; }

  private:
    std::vector<bool> covered_;
};

// Walks the syntax tree of an analysed file and builds the block tree: one block per compound construct,
// with the blocks of its body as children, and paragraph blocks for the runs of plain lines between
// separator lines. Throws std::logic_error on a node it does not know. The walk uses no recursion, so a
// tree of any depth is safe.
class AstDispatcher {
  public:
    using Node = lf::astapi::Node<ca::astapi::CA>;

    AstDispatcher(std::shared_ptr<ca::Analysis> analysis, CommentLines commentLines);

    void pushLevel();
    void addBlock(CodeBlock block);
    const std::vector<CodeBlock>& innermostLevel() const;

    void dispatch(Node node);
    void openBlock(const Node& node);
    void closeNodeBlock(const Node& node);
    void closeBlock(std::uint64_t line);

  private:
    std::uint64_t closingLine(const Node& node) const;

    std::shared_ptr<ca::Analysis> analysis_;
    std::vector<std::vector<CodeBlock>> blockStack_;
    CommentLines commentLines_;
};

}  // namespace mtcc::postprocessing
