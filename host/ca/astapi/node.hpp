#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <vector>

#include "ca/astapi/node_kind.hpp"

namespace ca::astapi {

// Tag of the Ostrel syntax tree in the generic node templates.
struct CA {};

// Offset of the last code unit of a comment or node.
class ClosingPosition {
  public:
    std::size_t getClosingPosition() const { return closingPosition_; }
    static std::size_t getClosingPosition(const ClosingPosition& of) { return of.closingPosition_; }

  protected:
    explicit ClosingPosition(std::size_t closingPosition) : closingPosition_(closingPosition) {}

  private:
    std::size_t closingPosition_;
};

enum class CommentKind : std::uint8_t { Line, Block, Continuation };

class Comment : public ClosingPosition {
  public:
    Comment(CommentKind kind, std::uint32_t line, std::size_t start, std::size_t closingPosition)
        : ClosingPosition(closingPosition), kind_(kind), line_(line), start_(start) {}

    std::uint32_t getLine() const { return line_; }
    std::size_t getStartPosition() const { return start_; }
    CommentKind getKind() const { return kind_; }

  private:
    CommentKind kind_;
    std::uint32_t line_;
    std::size_t start_;
};

// One node of the flat tree. Children of a node are a contiguous run of `SyntaxTree::children`.
struct NodeRecord {
    std::uint32_t line;
    std::uint32_t start;
    std::uint32_t closing;
    std::uint32_t firstChild;
    std::uint32_t childCount;
    lf::astapi::NodeKind kind;
};

// All nodes of one analysis in one arena, so that a tree costs a few allocations, not one per node.
struct SyntaxTree {
    std::vector<NodeRecord> nodes;
    std::vector<std::uint32_t> children;
    std::uint32_t root = 0;
};

}  // namespace ca::astapi

namespace lf::astapi {

template <class NodeType>
class NodeCustomization;

template <class Tag>
class Node;

template <>
class NodeCustomization<Node<ca::astapi::CA>> : public ca::astapi::ClosingPosition {
  public:
    // First line of the node, 1-based.
    std::uint32_t getLine() const { return line_; }
    static std::uint32_t getLine(const NodeCustomization& node) { return node.line_; }

  protected:
    NodeCustomization(std::uint32_t line, std::size_t closingPosition)
        : ca::astapi::ClosingPosition(closingPosition), line_(line) {}

  private:
    std::uint32_t line_;
};

// A light handle on a node of an analysis' tree; valid while the analysis lives.
template <>
class Node<ca::astapi::CA> : public NodeCustomization<Node<ca::astapi::CA>> {
  public:
    Node(const ca::astapi::SyntaxTree& tree, std::uint32_t index)
        : NodeCustomization(tree.nodes[index].line, tree.nodes[index].closing), tree_(&tree), index_(index) {}

    NodeKind getKind() const { return record().kind; }
    std::size_t getStartPosition() const { return record().start; }
    std::size_t getChildCount() const { return record().childCount; }
    Node getChild(std::size_t i) const { return Node(*tree_, tree_->children[record().firstChild + i]); }

    // The first child of a kind, if present: optional children are simply absent.
    std::optional<Node> findChild(NodeKind kind) const {
        for (std::size_t i = 0; i < getChildCount(); ++i) {
            Node child = getChild(i);
            if (child.getKind() == kind) return child;
        }
        return std::nullopt;
    }
    // An input argument's name or `~`.
    std::optional<Node> getIdentifier() const { return findChild(NodeKind::Identifier); }
    std::optional<Node> getIgnored() const { return findChild(NodeKind::Ignored); }

    class ChildIterator {
      public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = Node;
        using difference_type = std::ptrdiff_t;
        using pointer = void;
        using reference = Node;

        ChildIterator() = default;
        ChildIterator(const ca::astapi::SyntaxTree* tree, const std::uint32_t* at) : tree_(tree), at_(at) {}
        Node operator*() const { return Node(*tree_, *at_); }
        ChildIterator& operator++() {
            ++at_;
            return *this;
        }
        ChildIterator operator++(int) {
            ChildIterator before = *this;
            ++at_;
            return before;
        }
        bool operator==(const ChildIterator& other) const { return at_ == other.at_; }

      private:
        const ca::astapi::SyntaxTree* tree_ = nullptr;
        const std::uint32_t* at_ = nullptr;
    };

    struct Children {
        ChildIterator first;
        ChildIterator last;
        ChildIterator begin() const { return first; }
        ChildIterator end() const { return last; }
    };

    // The child nodes in source order.
    Children getChildren() const {
        const std::uint32_t* base = tree_->children.data() + record().firstChild;
        return Children{ChildIterator(tree_, base), ChildIterator(tree_, base + record().childCount)};
    }

    bool operator==(const Node& other) const { return tree_ == other.tree_ && index_ == other.index_; }

  private:
    const ca::astapi::NodeRecord& record() const { return tree_->nodes[index_]; }

    const ca::astapi::SyntaxTree* tree_;
    std::uint32_t index_;
};

}  // namespace lf::astapi
