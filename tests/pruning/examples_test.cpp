// Every example file, cut at each line start: the file's own next lines, taken as the completion, are
// valid code in place, so validation keeps them and pruning returns their first whole lines.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "ca/utils/line_splitter.hpp"
#include "fl/i18n.hpp"
#include "mtcc/postprocessing/code_pruner.hpp"
#include "mtcc/postprocessing/code_validator.hpp"

namespace {

std::vector<std::filesystem::path> exampleFiles() {
    std::vector<std::filesystem::path> files;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::filesystem::path(OSTREL_SOURCE_DIR) / "examples")) {
        if (entry.path().extension() == ".ost") files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

fl::ustring readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return fl::i18n::to_ustring(bytes.str());
}

fl::ustring joinLines(const std::vector<fl::ustring>& lines, std::size_t from, std::size_t to) {
    fl::ustring text;
    for (std::size_t i = from; i < to; ++i)
        text += lines[i] + u"\n";
    return text;
}

}  // namespace

TEST(ExamplesAsCompletions, ValidationKeepsAndPruningCutsAtWholeLines) {
    constexpr std::size_t kCompletionLines = 6;
    std::size_t checked = 0;
    std::size_t unexpectedCuts = 0;
    for (const auto& path : exampleFiles()) {
        const std::vector<fl::ustring> lines = ca::utils::lineSplitter(readFile(path));
        for (std::size_t at = 1; at + 1 < lines.size(); at += 2) {
            const std::size_t end = std::min(lines.size(), at + kCompletionLines);
            const fl::ustring prefix = joinLines(lines, 0, at);
            fl::ustring completion = joinLines(lines, at, end);
            completion.pop_back();  // the completion ends where the suffix's line end begins
            const fl::ustring suffix = u"\n" + joinLines(lines, end, lines.size());

            EXPECT_EQ(mtcc::postprocessing::validateGeneratedCode(completion, prefix, suffix), completion)
                << path.filename() << " line " << at + 1;
            const auto pieces = mtcc::postprocessing::pruneGeneratedCode(prefix, completion, suffix, 100);
            ASSERT_FALSE(pieces.empty());
            // The first piece is the completion's first lines, whole.
            const fl::ustring& first = pieces.front();
            EXPECT_TRUE(completion.starts_with(first) &&
                        (first.size() == completion.size() || completion[first.size()] == u'\n'))
                << path.filename() << " line " << at + 1 << ": " << fl::i18n::to_string(first);
            // A cut falls where a paragraph or a block ends: before a blank line or a line that opens or
            // closes a construct, never in the middle of a run of plain statements.
            if (!first.empty() && first.size() < completion.size()) {
                const fl::ustring next = completion.substr(
                    first.size() + 1, completion.find(u'\n', first.size() + 1) - first.size() - 1);
                const fl::ustring last =
                    first.substr(first.rfind(u'\n') == fl::ustring::npos ? 0 : first.rfind(u'\n') + 1);
                const auto trimmed = [](fl::ustring t) { return fl::i18n::trim(t, u" \t"); };
                const auto opensOrCloses = [](const fl::ustring& line) {
                    for (const char16_t* word :
                         {u"end",        u"function", u"if ",       u"for ",        u"for(",
                          u"while ",     u"switch ",  u"try",       u"parfor",      u"spmd",
                          u"properties", u"methods",  u"events",    u"enumeration", u"arguments",
                          u"else",       u"case ",    u"otherwise", u"catch",       u"%"}) {
                        if (line.starts_with(word)) return true;
                    }
                    return false;
                };
                const bool boundary = trimmed(next).empty() || trimmed(last).empty() ||
                                      opensOrCloses(trimmed(next)) || opensOrCloses(trimmed(last));
                if (!boundary) ++unexpectedCuts;
            }
            ++checked;
        }
    }
    EXPECT_GT(checked, 500u);
    EXPECT_EQ(unexpectedCuts, 0u);
}
