#include "mtcc/postprocessing/code_pruner.hpp"

#include "ca/analysis.hpp"
#include "ca/invalid_analysis_exception.hpp"
#include "ca/single_file_analyzer.hpp"
#include "ca/utils/line_splitter.hpp"
#include "mtcc/postprocessing/ast_dispatcher.hpp"

namespace mtcc::postprocessing {
namespace {

std::vector<fl::ustring> nothingUsable() {
    return {fl::ustring()};
}

fl::ustring combinedText(const fl::ustring& prefixText, const std::vector<fl::ustring>& lines,
                         std::size_t count, const fl::ustring& suffix) {
    fl::ustring text = prefixText;
    for (std::size_t i = 0; i < count; ++i)
        text.append(lines[i]).push_back(u'\n');
    return text.append(suffix);
}

CommentLines commentLinesOf(const ca::Analysis& analysis) {
    CommentLines lines;
    for (const auto& comment : analysis.getComments()) {
        lines.add(comment.getLine(), analysis.getLineOfPosition(comment.getClosingPosition()));
    }
    return lines;
}

// Depth-first over the blocks that touch the generated lines g0..g1, emitting the part of each that lies
// in them. The region span is taken in 32 bits and a block's span in 64 bits, as the limits were tuned.
std::vector<fl::ustring> selectPieces(std::vector<CodeBlock> topLevel, const std::vector<fl::ustring>& lines,
                                      std::uint32_t g0, std::uint32_t g1, std::uint64_t maxBlockLines) {
    std::vector<fl::ustring> pieces;
    std::vector<CodeBlock> stack(std::make_move_iterator(topLevel.rbegin()),
                                 std::make_move_iterator(topLevel.rend()));
    const auto pushChildren = [&stack](CodeBlock& block) {
        for (auto it = block.children.rbegin(); it != block.children.rend(); ++it)
            stack.push_back(std::move(*it));
    };
    const auto emit = [&](std::uint64_t first, std::uint64_t last) {
        pieces.push_back(joinLineRange(lines, first, last));
    };

    while (!stack.empty()) {
        CodeBlock block = std::move(stack.back());
        stack.pop_back();
        const std::uint64_t s = block.startLine;
        const std::uint64_t e = block.endLine;
        const auto inside = [&] {
            if (e - s >= maxBlockLines && block.children.size() >= 2) {
                pushChildren(block);
            } else {
                emit(s, e);
            }
        };
        if (e < g0 || g1 < s) continue;
        if (s <= g0 && e < g1) {
            if (s == g0) {
                inside();
            } else {
                emit(g0, e);
            }
        } else if (s <= g0) {
            if (!block.children.empty() && static_cast<std::uint32_t>(g1 - g0) >= maxBlockLines) {
                pushChildren(block);
            } else {
                emit(g0, g1);
            }
        } else if (e <= g1) {
            inside();
        } else {
            emit(s, g1);
        }
    }
    return pieces;
}

}  // namespace

std::vector<CodeBlock> topLevelBlocks(const std::shared_ptr<ca::Analysis>& analysis) {
    AstDispatcher dispatcher(analysis, commentLinesOf(*analysis));
    const auto root = analysis->getRootNode();
    dispatcher.pushLevel();
    dispatcher.addBlock(CodeBlock{root.getLine(), 0, {}});
    for (const auto& child : root.getChildren())
        dispatcher.dispatch(child);
    dispatcher.closeBlock(analysis->getLineOfPosition(root.getClosingPosition()));
    return dispatcher.innermostLevel();
}

fl::ustring joinLineRange(const std::vector<fl::ustring>& lines, std::uint64_t first, std::uint64_t last) {
    fl::ustring joined;
    if (first == 0 || first - 1 >= last) return joined;
    for (std::uint64_t n = first; n <= last && n <= lines.size(); ++n) {
        joined.push_back(u'\n');
        joined.append(lines[n - 1]);
    }
    return joined;
}

std::vector<fl::ustring> pruneGeneratedCode(const fl::ustring& prefix, const fl::ustring& generatedCode,
                                            const fl::ustring& suffix, std::uint64_t maxBlockLines) {
    const fl::ustring prefixText = prefix + u"\n";
    const auto analyzer = ca::createSingleFileAnalyzer();
    const std::vector<fl::ustring> generatedLines = ca::utils::lineSplitter(generatedCode);
    if (generatedLines.empty()) return nothingUsable();

    // Drop trailing lines until the file parses; k dropped lines cost k + 1 analyses.
    std::size_t kept = generatedLines.size();
    fl::ustring combined;
    std::shared_ptr<ca::Analysis> analysis;
    try {
        for (;;) {
            combined = combinedText(prefixText, generatedLines, kept, suffix);
            analysis = analyzer->analyze(combined);
            if (!analysis->hasParseErrors() || --kept == 0) break;
        }
    } catch (const ca::InvalidAnalysisException&) {
        return nothingUsable();
    }
    if (analysis->hasParseErrors()) return nothingUsable();

    std::vector<CodeBlock> topLevel = topLevelBlocks(analysis);

    const std::vector<fl::ustring> allLines = ca::utils::lineSplitter(combined);
    const auto g0 = static_cast<std::uint32_t>(ca::utils::lineSplitter(prefixText).size() + 1);
    const auto g1 = static_cast<std::uint32_t>(allLines.size() - ca::utils::lineSplitter(suffix).size());

    std::vector<fl::ustring> pieces = selectPieces(std::move(topLevel), allLines, g0, g1, maxBlockLines);
    if (!pieces.empty() && !pieces.front().empty()) pieces.front().erase(0, 1);
    return pieces;
}

}  // namespace mtcc::postprocessing
