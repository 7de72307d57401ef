#include "mtcc/autocompletion/context_limits.hpp"

#include <gtest/gtest.h>

using namespace mtcc::AutoCompletion;

TEST(Whitespace, OnlyTheSixAsciiBlanksCount) {
    EXPECT_FALSE(hasNonWhitespace(u""));
    EXPECT_FALSE(hasNonWhitespace(u" \t\r\n\v\f"));
    EXPECT_TRUE(hasNonWhitespace(u"\u00A0"));
    EXPECT_TRUE(hasNonWhitespace(u"   x"));
    EXPECT_TRUE(hasNonWhitespace(fl::ustring(1, char16_t(0))));
}

// The window at kContextLimit on either side is checked through the pipeline by
// OpenAiPipeline.OnlyTheWindowAroundTheCursorIsSent.
TEST(Limiting, KeepsTheTextNearestTheCursor) {
    EXPECT_EQ(keepLast(u"abc", 0), u"");
    EXPECT_EQ(keepFirst(u"", 5), u"");
    // The cut is by count and may separate a surrogate pair.
    EXPECT_EQ(keepLast(fl::ustring{0xD83D, 0xDE00, u'a'}, 2), (fl::ustring{0xDE00, u'a'}));
}

TEST(Splitting, AtEitherEndAndToTheLineEndFollowingContinuations) {
    const fl::ustring code = u"a = 1;\nb";
    EXPECT_EQ(splitCodeToCursor(code, 0, false), u"");
    EXPECT_EQ(suffixFromCursor(code, 0), code);
    EXPECT_EQ(splitCodeToCursor(code, code.size(), false), code);
    EXPECT_EQ(suffixFromCursor(code, code.size()), u"");
    EXPECT_EQ(suffixFromCursor(code, code.size() + 3), u"");
    // To the line's end, continuations followed.
    EXPECT_EQ(splitCodeToCursor(u"a = 1 + ...\nb\nc", 2, true), u"a = 1 + ...\nb");
    EXPECT_EQ(splitCodeToCursor(u"a = 1 + ...\nb\nc", 2, false), u"a ");
    EXPECT_EQ(splitCodeToCursor(u"x = 1;\ny = 2", 9, true), u"x = 1;\ny = 2");
    // CR LF after a continued line: the LF stops the extension and the CR stays in.
    EXPECT_EQ(splitCodeToCursor(u"a ...\r\nb\r\nc", 0, true), u"a ...\r");
}
