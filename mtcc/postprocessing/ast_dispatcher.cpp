#include "mtcc/postprocessing/ast_dispatcher.hpp"

#include <array>
#include <sstream>
#include <stdexcept>

namespace mtcc::postprocessing {
namespace {

enum class KindGroup : std::uint8_t { Unknown, Leaf, Construct, Container, InputArgument, Script };

constexpr std::array<KindGroup, 67> makeKindGroups() {
    std::array<KindGroup, 67> groups{};  // Unknown, kind 0 included
    for (int kind : {2, 7, 10, 16, 19, 20, 21, 26, 27, 33, 37, 39, 48, 58}) groups[kind] = KindGroup::Leaf;
    for (int kind : {4, 15, 28, 31, 35, 45, 56, 34, 38, 44, 52, 60, 62, 63, 66}) groups[kind] = KindGroup::Construct;
    for (int kind : {1,  3,  5,  6,  8,  9,  11, 12, 13, 14, 17, 18, 22, 23, 24, 25, 29, 30,
                     32, 36, 40, 42, 43, 46, 47, 49, 50, 51, 53, 54, 57, 59, 61, 64, 65}) {
        groups[kind] = KindGroup::Container;
    }
    groups[41] = KindGroup::InputArgument;
    groups[55] = KindGroup::Script;
    return groups;
}

constexpr std::array<KindGroup, 67> kKindGroups = makeKindGroups();

KindGroup groupOf(lf::astapi::NodeKind kind) {
    const auto value = static_cast<std::size_t>(kind);
    return value < kKindGroups.size() ? kKindGroups[value] : KindGroup::Unknown;
}

[[noreturn]] void throwUnknownKind(lf::astapi::NodeKind kind) {
    // A value outside the kind enumeration has no name to print.
    if (static_cast<std::size_t>(kind) >= kKindGroups.size()) {
        throw std::logic_error("Unhandled node kind encountered in AstDispatcher");
    }
    std::ostringstream message;
    message << "Unhandled node kind \"" << kind << "\" encountered in AstDispatcher.";
    throw std::logic_error(message.str());
}

}  // namespace

void CommentLines::add(std::uint64_t first, std::uint64_t last) {
    if (last < first) return;
    if (covered_.size() <= last) covered_.resize(last + 1, false);
    for (std::uint64_t line = first; line <= last; ++line) covered_[line] = true;
}

AstDispatcher::AstDispatcher(std::shared_ptr<ca::Analysis> analysis, CommentLines commentLines)
    : analysis_(std::move(analysis)), commentLines_(std::move(commentLines)) {}

void AstDispatcher::pushLevel() { blockStack_.emplace_back(); }

void AstDispatcher::addBlock(CodeBlock block) {
    if (blockStack_.empty()) pushLevel();
    blockStack_.back().push_back(std::move(block));
}

const std::vector<CodeBlock>& AstDispatcher::innermostLevel() const {
    static const std::vector<CodeBlock> kNone;
    return blockStack_.empty() ? kNone : blockStack_.back();
}

std::uint64_t AstDispatcher::closingLine(const Node& node) const {
    return analysis_->getLineOfPosition(node.getClosingPosition());
}

void AstDispatcher::dispatch(Node node) {
    // Single-child cases continue with that child here rather than recursing.
    for (;;) {
        switch (groupOf(node.getKind())) {
            case KindGroup::Leaf:
                return;
            case KindGroup::Construct:
                openBlock(node);
                for (const Node& child : node.getChildren()) dispatch(child);
                closeNodeBlock(node);
                return;
            case KindGroup::Container: {
                if (node.getChildCount() == 1) {
                    node = node.getChild(0);
                    continue;
                }
                for (const Node& child : node.getChildren()) dispatch(child);
                return;
            }
            case KindGroup::InputArgument:
                if (auto identifier = node.getIdentifier()) {
                    node = *identifier;
                } else if (auto ignored = node.getIgnored()) {
                    node = *ignored;
                } else {
                    throw std::logic_error("InputArgument has neither an Identifier nor an Ignored");
                }
                continue;
            case KindGroup::Script:
                dispatchScript(node);
                return;
            case KindGroup::Unknown:
                throwUnknownKind(node.getKind());
        }
    }
}

void AstDispatcher::dispatchScript(const Node& node) {
    // Like the file itself: the statements start on the script's own first line, and the level stays
    // open so that what follows lands in it.
    pushLevel();
    addBlock(CodeBlock{node.getLine(), 0, {}});
    for (const Node& child : node.getChildren()) dispatch(child);
    closeBlock(closingLine(node));
}

void AstDispatcher::openBlock(const Node& node) {
    const std::uint64_t header = node.getLine();
    closeBlock(header - 1);
    pushLevel();
    addBlock(CodeBlock{header + 1, 0, {}});
}

void AstDispatcher::closeNodeBlock(const Node& node) {
    const std::uint64_t closing = closingLine(node);
    closeBlock(closing - 1);

    std::vector<CodeBlock> children;
    if (blockStack_.back().size() >= 2) children = blockStack_.back();  // a lone body block is not kept
    blockStack_.pop_back();
    if (blockStack_.empty()) pushLevel();

    auto& level = blockStack_.back();
    if (!level.empty()) {
        const CodeBlock& before = level.back();
        bool onlyComments = before.endLine >= before.startLine;
        for (std::uint64_t line = before.endLine; onlyComments && line >= before.startLine && line > 0; --line) {
            onlyComments = commentLines_.contains(line);
        }
        if (onlyComments) {
            // The construct takes over the comment paragraph in front of it, lines and all.
            CodeBlock construct{before.startLine, before.endLine, std::move(children)};
            level.pop_back();
            level.push_back(std::move(construct));
            return;
        }
    }
    level.push_back(CodeBlock{node.getLine(), closing, std::move(children)});
}

void AstDispatcher::closeBlock(std::uint64_t line) {
    if (blockStack_.empty() || blockStack_.back().empty()) return;
    auto& level = blockStack_.back();
    CodeBlock block = std::move(level.back());
    level.pop_back();

    if (!block.children.empty()) {
        // The lines after a construct, up to the next construct or the end of its body, join it.
        block.endLine = line;
        level.push_back(std::move(block));
        return;
    }
    if (line < block.startLine) return;

    // Split into paragraphs at separator lines; a separator that would start a chunk stays in it.
    std::uint64_t chunkStart = block.startLine;
    for (std::uint64_t n = block.startLine; n <= line; ++n) {
        if (!analysis_->lineHas(static_cast<std::uint32_t>(n), ca::Analysis::kNonBlank) && n != chunkStart) {
            level.push_back(CodeBlock{chunkStart, n - 1, {}});
            chunkStart = n + 1;
        }
    }
    if (chunkStart <= line) level.push_back(CodeBlock{chunkStart, line, {}});
}

}  // namespace mtcc::postprocessing
