#include "mtcc/postprocessing/code_validator.hpp"

#include <gtest/gtest.h>

using mtcc::postprocessing::countLines;
using mtcc::postprocessing::validateGeneratedCode;

// The completion is cut before the first error on its own lines, or dropped when the cut file still fails.
TEST(Validation, KeepsTheCompletionUpToItsFirstErrorOrDropsIt) {
    // How a line end or an unfinished last line counts shows in every row below; an empty text (the cursor
    // at the start of the file) is one line too.
    EXPECT_EQ(countLines(u""), 1u);
    struct Case {
        const char* name;
        const char16_t *generated, *prefix, *suffix, *kept;
    };
    const Case cases[] = {
        {"empty", u"", u"x = (", u"", u""},
        {"error on the cursor's own line is not the completion's", u"1 +* 2;\nz = 2;", u"x = ", u"",
         u"1 +* 2;\nz = 2;"},
        {"error only in the prefix", u"y = 2;\n", u"x = 1 +* 2;\n", u"", u"y = 2;\n"},
        {"error only in the suffix", u"y = 2;\n", u"x = 1;\n", u"z = +*;\n", u"y = 2;\n"},
        // The kept line leaves the prefix's 'if' without 'end' before code standing left of it.
        {"cut file still fails", u"b = 1;\nc = +*;\n", u"x = 0;\nif a\n", u"", u""},
        {"unclosed loop is the first error", u"while true\nb = 1;\nc = +*;", u"x = 1;\n", u"y = 2;\n", u""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(validateGeneratedCode(c.generated, c.prefix, c.suffix), c.kept) << c.name;
}
