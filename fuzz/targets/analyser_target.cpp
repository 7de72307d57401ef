// The analyser (fragment and whole-file reading, the syntax tree, messages) and pruning, which walks the
// tree with the block dispatcher. Input: a mode byte, two cut bytes, then the text.
#include <algorithm>
#include <vector>

#include "ca/analysis.hpp"
#include "ca/code_input.hpp"
#include "ca/invalid_analysis_exception.hpp"
#include "ca/messages/single_file_messages.hpp"
#include "ca/single_file_analyzer.hpp"
#include "ca/utils/line_splitter.hpp"
#include "fuzz_input.hpp"
#include "fuzz_targets.hpp"
#include "mtcc/postprocessing/code_pruner.hpp"

namespace ostrel_fuzz {
namespace {

void expect(bool holds, const char* what) {
    if (!holds) throw PropertyViolation(what);
}

// Every node reachable from the root, walked with an explicit stack: the tree can be as deep as the text
// is long (a chain of binary operators).
void walkTree(const ca::Analysis& analysis) {
    const auto root = analysis.getRootNode();
    expect(root.getKind() == lf::astapi::NodeKind::File, "the root is a File node");
    std::vector<lf::astapi::Node<ca::astapi::CA>> pending{root};
    while (!pending.empty()) {
        const auto node = pending.back();
        pending.pop_back();
        const auto kind = static_cast<int>(node.getKind());
        expect(kind >= 1 && kind <= 66, "every node kind is a known one");
        expect(node.getLine() >= 1 && node.getLine() <= analysis.getLineCount() + 1, "node lines are lines");
        analysis.getLineOfPosition(node.getClosingPosition());
        for (const auto& child : node.getChildren())
            pending.push_back(child);
    }
}

void checkAnalysis(const ca::Analysis& analysis) {
    walkTree(analysis);
    for (const auto& comment : analysis.getComments()) {
        expect(comment.getLine() <= analysis.getLineOfPosition(comment.getClosingPosition()),
               "a comment ends on or after its first line");
    }
    for (std::uint32_t line = 0; line <= analysis.getLineCount() + 1; ++line)
        analysis.lineHas(line, ca::Analysis::kNonBlank);
}

void checkMessages(const fl::ustring& text, bool wholeFile) {
    ca::messages::MessageOptions options;
    options.wholeFile = wholeFile;
    const auto messages = ca::messages::SingleFileMessages(nullptr).getMessages(
        ca::CodeInput::createFromSourceCode(text), options);
    for (const auto& message : messages) {
        expect(message.getPosition().offset <= text.size(), "a message lies inside the text");
        expect(!message.getText().empty(), "a message explains itself");
    }
}

// The first piece is made of whole generated lines, in their order and unchanged.
void checkPruning(const fl::ustring& prefix, const fl::ustring& generated, const fl::ustring& suffix) {
    const auto pieces = mtcc::postprocessing::pruneGeneratedCode(prefix, generated, suffix, 100);
    if (pieces.empty() || pieces.front().empty())
        return;  // no block touched the completion, or nothing parsed
    const auto generatedLines = ca::utils::lineSplitter(generated);
    std::vector<fl::ustring> pieceLines;
    for (std::size_t start = 0;;) {
        const auto lf = pieces.front().find(u'\n', start);
        pieceLines.push_back(pieces.front().substr(start, lf - start));
        if (lf == fl::ustring::npos) break;
        start = lf + 1;
    }
    bool found = false;
    for (std::size_t at = 0; !found && at + pieceLines.size() <= generatedLines.size(); ++at) {
        found = std::equal(pieceLines.begin(), pieceLines.end(), generatedLines.begin() + at);
    }
    expect(found, "the first pruned piece is a run of whole generated lines");
}

}  // namespace

void runAnalyser(std::string_view bytes) {
    FuzzInput input(bytes);
    const std::uint8_t mode = input.byte();
    const std::size_t cutA = input.byte();
    const std::size_t cutB = input.byte();
    const fl::ustring text = toUtf16(input.rest(), (mode & 2) != 0);
    const bool wholeFile = (mode & 1) != 0;
    try {
        const auto analysis =
            wholeFile ? ca::analyzeWholeFile(text) : ca::createSingleFileAnalyzer()->analyze(text);
        checkAnalysis(*analysis);
        checkMessages(text, wholeFile);
        // Pruning analyses the text once per dropped line; long texts would only slow the search down.
        if ((mode & 4) != 0 && text.size() <= 4000) {
            // Cut the text into prefix, completion and suffix at two points scaled to its length.
            const std::size_t a = text.size() * cutA / 256;
            const std::size_t b = a + (text.size() - a) * cutB / 256;
            checkPruning(text.substr(0, a), text.substr(a, b - a), text.substr(b));
        }
    } catch (const ca::InvalidAnalysisException&) {
        // Beyond the analyser's limits (length or nesting): a documented rejection.
    }
}

}  // namespace ostrel_fuzz
