#include "mtcc/postprocessing/ast_dispatcher.hpp"

#include <array>
#include <sstream>
#include <stdexcept>

namespace mtcc::postprocessing {
namespace {

enum class KindGroup : std::uint8_t { Unknown, Leaf, Construct, Container, InputArgument, Script };

constexpr std::array<KindGroup, 67> makeKindGroups() {
    std::array<KindGroup, 67> groups{};  // Unknown, kind 0 included
    for (int kind : {2, 7, 10, 16, 19, 20, 21, 26, 27, 33, 37, 39, 48, 58})
        groups[kind] = KindGroup::Leaf;
    for (int kind : {4, 15, 28, 31, 35, 45, 56, 34, 38, 44, 52, 60, 62, 63, 66})
        groups[kind] = KindGroup::Construct;
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
    for (std::uint64_t line = first; line <= last; ++line)
        covered_[line] = true;
}

AstDispatcher::AstDispatcher(std::shared_ptr<ca::Analysis> analysis, CommentLines commentLines)
    : analysis_(std::move(analysis)), commentLines_(std::move(commentLines)) {}

void AstDispatcher::pushLevel() {
    blockStack_.emplace_back();
}

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
    // The tree can be as deep as the text is long (a chain of 20,000 binary operators), so the walk keeps
    // its own stack instead of recursing. Work items come off the stack in the order a depth-first
    // recursion would reach them: a node, its children in order, then the step that closes the node.
    enum class Step : std::uint8_t { Visit, CloseConstruct, CloseScript };
    struct WorkItem {
        Node node;
        Step step;
    };
    std::vector<WorkItem> work{{std::move(node), Step::Visit}};
    const auto visitChildrenNext = [&work](const Node& parent) {
        const std::size_t count = parent.getChildCount();
        for (std::size_t i = count; i > 0; --i)
            work.push_back({parent.getChild(i - 1), Step::Visit});
    };

    while (!work.empty()) {
        WorkItem item = std::move(work.back());
        work.pop_back();
        const Node& current = item.node;
        if (item.step == Step::CloseConstruct) {
            closeNodeBlock(current);
            continue;
        }
        if (item.step == Step::CloseScript) {
            closeBlock(closingLine(current));
            continue;
        }
        switch (groupOf(current.getKind())) {
            case KindGroup::Leaf:
                break;
            case KindGroup::Construct:
                openBlock(current);
                work.push_back({current, Step::CloseConstruct});
                visitChildrenNext(current);
                break;
            case KindGroup::Container:
                visitChildrenNext(current);
                break;
            case KindGroup::InputArgument:
                if (auto identifier = current.getIdentifier()) {
                    work.push_back({*identifier, Step::Visit});
                } else if (auto ignored = current.getIgnored()) {
                    work.push_back({*ignored, Step::Visit});
                } else {
                    throw std::logic_error("InputArgument has neither an Identifier nor an Ignored");
                }
                break;
            case KindGroup::Script:
                // Like the file itself: the statements start on the script's own first line, and the
                // level stays open so that what follows lands in it.
                pushLevel();
                addBlock(CodeBlock{current.getLine(), 0, {}});
                work.push_back({current, Step::CloseScript});
                visitChildrenNext(current);
                break;
            case KindGroup::Unknown:
                throwUnknownKind(current.getKind());
        }
    }
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
        for (std::uint64_t line = before.endLine; onlyComments && line >= before.startLine && line > 0;
             --line) {
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
