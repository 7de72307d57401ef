#include <gtest/gtest.h>

#include <string>

#include "mtcc/postprocessing/code_pruner.hpp"

using mtcc::postprocessing::joinLineRange;
using mtcc::postprocessing::pruneGeneratedCode;

namespace {

using Pieces = std::vector<fl::ustring>;

Pieces prune(const fl::ustring& prefix, const fl::ustring& generated, const fl::ustring& suffix) {
    return pruneGeneratedCode(prefix, generated, suffix, 100);
}

fl::ustring repeatLine(const fl::ustring& line, int count) {
    fl::ustring text;
    for (int i = 0; i < count; ++i) text += line + u"\n";
    return text;
}

}  // namespace

TEST(LineRanges, JoinWithALeadingLineFeedEach) {
    const std::vector<fl::ustring> lines{u"a", u"b", u"c"};
    EXPECT_EQ(joinLineRange(lines, 2, 3), u"\nb\nc");
    EXPECT_EQ(joinLineRange(lines, 2, 2), u"\nb");
    EXPECT_EQ(joinLineRange(lines, 3, 2), u"");
    EXPECT_EQ(joinLineRange(lines, 0, 2), u"");
}

TEST(Pruning, NothingToPrune) {
    EXPECT_EQ(prune(u"x = 1;\n", u"", u""), Pieces{u""});
    // Not even the first line parses.
    EXPECT_EQ(prune(u"x = 1;\n", u"y = +*;", u""), Pieces{u""});
}

TEST(Pruning, TrailingLinesGoUntilTheFileParses) {
    const Pieces pieces = prune(u"x = 1;\n", u"y = 2;\nz = 3;\nw = 1 +* 2", u"");
    ASSERT_EQ(pieces.size(), 1u);
    EXPECT_EQ(pieces[0], u"y = 2;\nz = 3;");
}

TEST(Pruning, ShortCompletionInsideABlockComesBackWhole) {
    const Pieces pieces = prune(u"x = 0;\nfunction f()\n    x = 1;\n", u"    y = 2;\n    z = 3;", u"\nend\n");
    EXPECT_EQ(pieces, Pieces{u"    y = 2;\n    z = 3;"});
}

TEST(Pruning, ParagraphsBecomeSeparatePieces) {
    const Pieces pieces = prune(u"x = 1;\n", u"y = 2;\n\nz = 3;", u"");
    EXPECT_EQ(pieces, (Pieces{u"y = 2;", u"\nz = 3;"}));
}

TEST(Pruning, LinesAfterAConstructJoinItsBlock) {
    // The loop started in the prefix; what follows its end up to the end of the script is absorbed
    // into the loop's block, so the completion comes back whole rather than cut after 'end'.
    EXPECT_EQ(prune(u"x = 0;\nfor k = 1:3\n    a = k;\n", u"    b = k;\nend\n\nc = 1;", u""),
              Pieces{u"    b = k;\nend\n\nc = 1;"});
    // Without a construct the blank line splits the completion.
    EXPECT_EQ(prune(u"a = 1;\n", u"b = k;\nd = 2;\n\nc = 1;", u"").front(), u"b = k;\nd = 2;");
}

TEST(Pruning, CommentBeforeAConstructTravelsWithIt) {
    const Pieces pieces = prune(u"x = 1;\n", u"% loop over items\nfor k = 1:3\n    disp(k);\nend", u"");
    EXPECT_EQ(pieces, Pieces{u"% loop over items\nfor k = 1:3\n    disp(k);\nend"});
}

TEST(Pruning, BlocksInTheSuffixContributeNothing) {
    const Pieces pieces = prune(u"x = 1;\n", u"y = 2;", u"\n\nfunction g()\n    z = 1;\nend\n");
    EXPECT_EQ(pieces.front(), u"y = 2;");
}

TEST(Pruning, LongRegionIsBrokenIntoTheBlocksOfItsBody) {
    // 121 generated lines inside one function: its two paragraphs become separate pieces.
    const fl::ustring body = repeatLine(u"    a = 1;", 60) + u"\n" + repeatLine(u"    b = 2;", 60);
    const Pieces pieces = prune(u"x = 0;\nfunction f()\n", body, u"end\n");
    ASSERT_EQ(pieces.size(), 2u);
    EXPECT_EQ(pieces[0], repeatLine(u"    a = 1;", 60).substr(0, 60 * 11 - 1));
    EXPECT_EQ(pieces[1], u"\n" + repeatLine(u"    b = 2;", 60).substr(0, 60 * 11 - 1));

    // The same shape under 100 lines stays one piece.
    const fl::ustring shortBody = repeatLine(u"    a = 1;", 40) + u"\n" + repeatLine(u"    b = 2;", 40);
    EXPECT_EQ(prune(u"x = 0;\nfunction f()\n", shortBody, u"end\n").size(), 1u);
}

TEST(Pruning, LongBlockInsideTheRegionNeedsTwoNestedBlocksToBreak) {
    // A loop of 110 lines inside the completion whose body has two paragraphs is replaced by them.
    const fl::ustring loop = u"for k = 1:3\n" + repeatLine(u"    a = k;", 54) + u"\n" + repeatLine(u"    b = k;", 54) + u"end";
    const Pieces pieces = prune(u"x = 1;\n", u"y = 2;\n" + loop, u"");
    const fl::ustring aLines = repeatLine(u"    a = k;", 54);
    const fl::ustring bLines = repeatLine(u"    b = k;", 54);
    EXPECT_EQ(pieces, (Pieces{u"y = 2;", u"\n" + aLines.substr(0, aLines.size() - 1),
                              u"\n" + bLines.substr(0, bLines.size() - 1)}));
}
