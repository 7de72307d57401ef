#include "mtcc/postprocessing/code_pruner.hpp"

#include <gtest/gtest.h>

#include <string>

using mtcc::postprocessing::pruneGeneratedCode;

namespace {

using Pieces = std::vector<fl::ustring>;

Pieces prune(const fl::ustring& prefix, const fl::ustring& generated, const fl::ustring& suffix) {
    return pruneGeneratedCode(prefix, generated, suffix, 100);
}

// `count` copies of `line`, each ending in a line feed.
fl::ustring repeatLine(const fl::ustring& line, int count) {
    fl::ustring text;
    for (int i = 0; i < count; ++i)
        text += line + u"\n";
    return text;
}

// The same lines without the last line feed, as a piece ends.
fl::ustring piece(const fl::ustring& line, int count) {
    return repeatLine(line, count).substr(0, (line.size() + 1) * count - 1);
}

}  // namespace

TEST(Pruning, PiecesFollowParagraphsConstructsAndTheFirstParsingCut) {
    struct Case {
        const char* name;
        const char16_t *prefix, *generated, *suffix;
        Pieces pieces;
    };
    const Case cases[] = {
        {"nothing generated", u"x = 1;\n", u"", u"", {u""}},
        {"paragraphs become separate pieces",
         u"x = 1;\n",
         u"y = 2;\n\nz = 3;",
         u"",
         {u"y = 2;", u"\nz = 3;"}},
        // The loop started in the prefix: what follows its end is absorbed into the loop's block.
        {"lines after a construct join its block",
         u"x = 0;\nfor k = 1:3\n    a = k;\n",
         u"    b = k;\nend\n\nc = 1;",
         u"",
         {u"    b = k;\nend\n\nc = 1;"}},
        {"blocks in the suffix contribute nothing",
         u"x = 1;\n",
         u"y = 2;",
         u"\n\nfunction g()\n    z = 1;\nend\n",
         {u"y = 2;"}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(prune(c.prefix, c.generated, c.suffix), c.pieces) << c.name;
}

TEST(Pruning, LongBlockInsideTheRegionNeedsTwoNestedBlocksToBreak) {
    // A loop of 110 lines inside the completion whose body has two paragraphs is replaced by them.
    const fl::ustring loop =
        u"for k = 1:3\n" + repeatLine(u"    a = k;", 54) + u"\n" + repeatLine(u"    b = k;", 54) + u"end";
    EXPECT_EQ(prune(u"x = 1;\n", u"y = 2;\n" + loop, u""),
              (Pieces{u"y = 2;", u"\n" + piece(u"    a = k;", 54), u"\n" + piece(u"    b = k;", 54)}));
}
