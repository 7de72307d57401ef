#include <gtest/gtest.h>

#include "mtcc/postprocessing/code_validator.hpp"

using mtcc::postprocessing::countLines;
using mtcc::postprocessing::validateGeneratedCode;

TEST(LineCount, CountsLineFeedsAndAnUnfinishedLastLine) {
    EXPECT_EQ(countLines(u""), 1u);
    EXPECT_EQ(countLines(u"a"), 1u);
    EXPECT_EQ(countLines(u"a\n"), 1u);
    EXPECT_EQ(countLines(u"a\nb"), 2u);
    EXPECT_EQ(countLines(u"\n\n"), 2u);
}

TEST(Validation, CleanCompletionIsKeptAsItIs) {
    EXPECT_EQ(validateGeneratedCode(u"y = x + 1;\nz = y * 2;", u"x = 1;\n", u"\ndisp(z);\n"),
              u"y = x + 1;\nz = y * 2;");
    EXPECT_EQ(validateGeneratedCode(u"", u"x = (", u""), u"");
}

TEST(Validation, CutsBeforeTheFirstErrorOnTheCompletionsLines) {
    // Error on the completion's fourth line (file line 5): the three lines above it stay.
    EXPECT_EQ(validateGeneratedCode(u"a = 1;\nb = 2;\nc = 3;\nd = 1 +* 4;\ne = 5;", u"x = 1;\n", u""),
              u"a = 1;\nb = 2;\nc = 3;\n");
    // Without a line end after the prefix the cursor line is the prefix's, and one line fewer is kept.
    EXPECT_EQ(validateGeneratedCode(u"1;\nb = 2;\nc = 3;\nd = 1 +* 4;\ne = 5;", u"x = ", u""), u"1;\nb = 2;\n");
}

TEST(Validation, ErrorOnTheFirstCompletionLine) {
    // The cut leaves nothing; the file without the completion is clean, so the empty cut stands.
    EXPECT_EQ(validateGeneratedCode(u"y = 1 +* 2;\nz = 2;", u"x = 1;\n", u""), u"");
    // On the cursor's own line (no line end after the prefix) the error is not the completion's.
    EXPECT_EQ(validateGeneratedCode(u"1 +* 2;\nz = 2;", u"x = ", u""), u"1 +* 2;\nz = 2;");
}

TEST(Validation, ErrorsOnlyInThePrefixOrSuffixLeaveTheCompletion) {
    EXPECT_EQ(validateGeneratedCode(u"y = 2;\n", u"x = 1 +* 2;\n", u""), u"y = 2;\n");
    EXPECT_EQ(validateGeneratedCode(u"y = 2;\n", u"x = 1;\n", u"z = +*;\n"), u"y = 2;\n");
}

TEST(Validation, DropsTheCompletionWhenTheCutFileStillFails) {
    // The kept line leaves the 'if' of the prefix without its 'end' before code that stands left of it.
    EXPECT_EQ(validateGeneratedCode(u"b = 1;\nc = +*;\n", u"x = 0;\nif a\n", u""), u"");
    // The unclosed loop is the first error on the completion's lines: nothing of it is kept.
    EXPECT_EQ(validateGeneratedCode(u"while true\nb = 1;\nc = +*;", u"x = 1;\n", u"y = 2;\n"), u"");
}
