// Cutting the truth out of a file and sampling cursors: the file must come back exactly, whatever its
// line ends, tabs or characters outside the basic plane, and each kind of cursor must stand where it says.
#include <gtest/gtest.h>

#include <map>
#include <tuple>

#include "case_sampling.hpp"
#include "editor_indent.hpp"
#include "eval_case.hpp"
#include "text_lines.hpp"

namespace ostrel_eval {
namespace {

const std::vector<fl::ustring> kFiles = {
    u"x = 1;\r\nif x > 0\r\n    y = 2;\r\nend\r\n",
    u"function r = f(a)\n\tr = a + 1; % \U0001F600 done\n\tr = r * 2;\nend",  // tabs, a pair, no last LF
    u"s = \"\U0001F600\U0001F601\";\n\n  t = s;   \n",
    u"a = 1;\n",
};

TEST(CutOut, CountsLineAndColumnInCodeUnitsAndRefusesRangesOutsideTheFile) {
    const fl::ustring file = u"a\r\n\U0001F600b = 1;\n";
    const EvalCase c = cutOut(file, 6, 3);  // after the pair and "b"
    EXPECT_EQ(c.line, 2u);
    EXPECT_EQ(c.column, 4u);
    EXPECT_EQ(c.truth, u" = ");
    EXPECT_EQ(cutOut(file, 0, 0).column, 1u);
    EXPECT_EQ(reassemble(c), file);
    EXPECT_THROW(cutOut(u"abc", 2, 2), std::out_of_range);
    EXPECT_THROW(cutOut(u"abc", 4, 0), std::out_of_range);
}

bool isLowSurrogate(char16_t c) {
    return c >= 0xDC00 && c <= 0xDFFF;
}

TEST(Sampling, EveryKindStandsWhereItSaysAndRestoresTheFile) {
    for (const CursorKind kind : kAllKinds) {
        SamplingRequest request;
        request.kinds = {kind};
        request.cases = 60;
        const std::vector<EvalCase> cases = sampleCases(kFiles, request);
        ASSERT_FALSE(cases.empty()) << kindName(kind);
        for (const EvalCase& c : cases) {
            const fl::ustring& file = kFiles[c.file];
            SCOPED_TRACE(std::string(kindName(kind)) + " at " + std::to_string(c.cursor));
            ASSERT_TRUE(c.cut.empty());
            const EvalCase full = withCut(c, file);
            ASSERT_EQ(reassemble(full), file);
            ASSERT_FALSE(normalizedCode(c.truth).empty());
            ASSERT_GE(c.lines, 1u);
            ASSERT_LE(c.lines, kMaxTruthLines);
            // The truth ends where a line's content ends: its line end stays in the cut file.
            const std::size_t end = truthStart(c) + c.truth.size();
            ASSERT_TRUE(end == file.size() || file[end] == u'\n' || file[end] == u'\r');
            ASSERT_FALSE(truthStart(c) < file.size() && isLowSurrogate(file[truthStart(c)]));
            const fl::ustring before = full.cut.substr(c.cursor - (c.column - 1), c.column - 1);
            switch (kind) {
                case CursorKind::LineStart:
                    EXPECT_TRUE(before.empty());
                    break;
                case CursorKind::BlankLine:
                    EXPECT_EQ(before, c.typedIndent);
                    EXPECT_FALSE(c.ownIndent.empty());
                    EXPECT_EQ(leadingBlanks(before, 0, before.size()), before.size());
                    EXPECT_FALSE(isBlank(c.truth.front()));
                    break;
                case CursorKind::MidLine:
                    EXPECT_LT(leadingBlanks(before, 0, before.size()), before.size());
                    EXPECT_NE(c.truth.front(), u'\n');
                    EXPECT_NE(c.truth.front(), u'\r');
                    break;
                case CursorKind::LineEnd:
                    EXPECT_TRUE(c.truth.starts_with(u"\n") || c.truth.starts_with(u"\r\n"));
                    EXPECT_GE(c.lines, 2u);
                    break;
            }
        }
    }
}

TEST(EditorIndent, FollowsTheLineAboveAndOpensALevelAfterAHeader) {
    const fl::ustring file =
        u"function f()\n  if a\n    b = 1; % note\n  % comment\n\n  else\n\tend\n  if c, d = 1; end\n"
        u"  while x(end) > 0\nx\n";
    const std::vector<LineSpan> lines = splitLines(file);
    fit::IndentSettings twoSpaces;
    twoSpaces.indentSize = 2;
    fit::IndentSettings classicTabs;
    classicTabs.insertSpaces = false;
    classicTabs.functionIndent = 0;
    struct Row {
        std::size_t line;  // 0-based: the line typed anew
        const fit::IndentSettings* settings;
        fl::ustring indent;
    };
    const Row rows[] = {
        {0, &twoSpaces, u""},        // nothing above
        {1, &twoSpaces, u"  "},      // after a function line, bodies indented
        {1, &classicTabs, u""},      // after a function line, classic bodies
        {2, &twoSpaces, u"    "},    // after an if
        {2, &classicTabs, u"  \t"},  // after an if, a level of tabs
        {5, &twoSpaces, u"    "},    // comments and blank lines above are passed over
        {6, &twoSpaces, u"    "},    // after else
        {7, &twoSpaces, u"\t"},      // after an end, its own blanks
        {8, &twoSpaces, u"  "},      // after a block closed on its own line
        {9, &twoSpaces, u"    "},    // `end` inside brackets closes nothing
    };
    for (const Row& row : rows)
        EXPECT_EQ(editorIndent(file, lines, row.line, *row.settings), row.indent) << "line " << row.line;
}

std::vector<std::tuple<std::size_t, std::size_t, fl::ustring>> picks(const std::vector<EvalCase>& cases) {
    std::vector<std::tuple<std::size_t, std::size_t, fl::ustring>> picked;
    for (const EvalCase& c : cases)
        picked.emplace_back(c.file, c.cursor, c.truth);
    return picked;
}

TEST(Sampling, IsReproducibleBySeedAndSharesTheKinds) {
    fl::ustring many;
    for (int i = 0; i < 30; ++i)
        many += u"if a\n    b = c + d;\nend\n";
    SamplingRequest request;
    request.cases = 40;
    request.seed = 7;
    const auto first = sampleCases({many}, request);
    EXPECT_EQ(picks(first), picks(sampleCases({many}, request)));
    std::map<CursorKind, int> perKind;
    for (const EvalCase& c : first)
        ++perKind[c.kind];
    for (const auto& [kind, count] : perKind)
        EXPECT_EQ(count, 10) << kindName(kind);
    request.seed = 8;
    EXPECT_NE(picks(first), picks(sampleCases({many}, request)));
}

TEST(Sampling, EndsWhenTheFilesHoldTooFewCursors) {
    SamplingRequest request;
    request.cases = 1000;
    const auto cases = sampleCases({u"a = 1;\n"}, request);  // no indented line, one line only
    EXPECT_LE(cases.size(), 4u);                             // one line start, three token ends
    EXPECT_TRUE(sampleCases({}, request).empty());
    EXPECT_TRUE(sampleCases({u"", u"\n\n  \n"}, request).empty());
}

}  // namespace
}  // namespace ostrel_eval
