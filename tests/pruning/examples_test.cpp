// Every example file, cut at each line start: the file's own next lines, taken as the completion, are
// valid code in place, so validation keeps them and pruning returns their first whole lines.
#include <gtest/gtest.h>

#include "../ca/analysis_helpers.hpp"
#include "ca/utils/line_splitter.hpp"
#include "fl/i18n.hpp"
#include "mtcc/postprocessing/code_pruner.hpp"
#include "mtcc/postprocessing/code_validator.hpp"

namespace {

fl::ustring joinLines(const std::vector<fl::ustring>& lines, std::size_t from, std::size_t to) {
    fl::ustring text;
    for (std::size_t i = from; i < to; ++i)
        text += lines[i] + u"\n";
    return text;
}

// A blank line, or one that opens or closes a construct or is a comment.
bool isBoundary(fl::ustring line) {
    line = fl::i18n::trim(line, u" \t");
    if (line.empty()) return true;
    for (const char16_t* word :
         {u"end",       u"function", u"if ",   u"for ",       u"for(",    u"while ", u"switch ",
          u"try",       u"parfor",   u"spmd",  u"properties", u"methods", u"events", u"enumeration",
          u"arguments", u"else",     u"case ", u"otherwise",  u"catch",   u"%"}) {
        if (line.starts_with(word)) return true;
    }
    return false;
}

}  // namespace

TEST(ExamplesAsCompletions, ValidationKeepsAndPruningCutsAtWholeLines) {
    constexpr std::size_t kCompletionLines = 6;
    std::size_t checked = 0;
    std::size_t unexpectedCuts = 0;
    for (const auto& example : ca::testing::loadExamples()) {
        const std::vector<fl::ustring> lines = ca::utils::lineSplitter(example.text);
        for (std::size_t at = 1; at + 1 < lines.size(); at += 2) {
            const std::size_t end = std::min(lines.size(), at + kCompletionLines);
            const fl::ustring prefix = joinLines(lines, 0, at);
            fl::ustring completion = joinLines(lines, at, end);
            completion.pop_back();  // the completion ends where the suffix's line end begins
            const fl::ustring suffix = u"\n" + joinLines(lines, end, lines.size());

            EXPECT_EQ(mtcc::postprocessing::validateGeneratedCode(completion, prefix, suffix), completion)
                << example.name << " line " << at + 1;
            const auto pieces = mtcc::postprocessing::pruneGeneratedCode(prefix, completion, suffix, 100);
            ASSERT_FALSE(pieces.empty());
            // The first piece is the completion's first lines, whole.
            const fl::ustring& first = pieces.front();
            EXPECT_TRUE(completion.starts_with(first) &&
                        (first.size() == completion.size() || completion[first.size()] == u'\n'))
                << example.name << " line " << at + 1 << ": " << fl::i18n::to_string(first);
            // A cut falls where a paragraph or a block ends: before a blank line or a line that opens or
            // closes a construct, never in the middle of a run of plain statements.
            if (!first.empty() && first.size() < completion.size()) {
                const std::size_t lastStart = first.rfind(u'\n') + 1;  // npos + 1 is 0: one line
                const std::size_t nextStart = first.size() + 1;
                const bool boundary =
                    isBoundary(first.substr(lastStart)) ||
                    isBoundary(completion.substr(nextStart, completion.find(u'\n', nextStart) - nextStart));
                if (!boundary) ++unexpectedCuts;
            }
            ++checked;
        }
    }
    EXPECT_GT(checked, 500u);
    EXPECT_EQ(unexpectedCuts, 0u);
}
