// Readings of texts that a completion produces when the model repeats or misplaces a closing line: the
// analyser must neither hide the surplus line nor reject a whole text for its indentation alone.
#include <gtest/gtest.h>

#include "analysis_helpers.hpp"

using ca::testing::analyse;
using ca::testing::describeErrors;
using ca::testing::errors;
using Errors = std::vector<std::string>;

TEST(EdgeReadings, ClosingLinesAfterACompleteConstructAtTheMargin) {
    const struct {
        const char* text;
        Errors expected;
    } cases[] = {
        // After a condition opened in the text, a second `end` has nothing to close: not at the end of the
        // text (a reply that repeats the `end` below the cursor), nor with code after it; before a function
        // line it closes a function whose body sits at the margin.
        {"x = rand();\nif x > 0.5\n    disp(1);\nend\nend\n", {"5:EndWithoutBlock"}},
        {"x = rand();\nif x > 0.5\n    disp(1);\nend\nend\ny = 2;\n", {"5:EndWithoutBlock"}},
        {"x = rand();\nif x > 0.5\n    disp(1);\nend\nend\nfunction g()\n", {}},
        {"x = 1;\nfor k = 1:3\n    x = x + k;\nend\n\nend\ndisp(x);\n", {"6:EndWithoutBlock"}},
        // A function of the text with an unindented body shows the classic style: the `end` closes the
        // function whose header was cut away.
        {"x = rand();\nif x\n    disp(1);\nend\nend\n\nfunction g()\ny = 1;\nend\n", {}},
        // After a function's own `end` it may close the function around it (nested, mixed style).
        {"function r = clamp(x)\n    r = x;\nend\nend\n", {}},
        // A closing line cut away before the text still closes what was cut away.
        {"    y = 2;\nend\nend\n", {}},
    };
    for (const auto& c : cases) {
        const auto analysis = analyse(std::string(c.text));
        EXPECT_EQ(errors(*analysis), c.expected) << c.text << describeErrors(*analysis);
    }
}

TEST(EdgeReadings, ClausesOfAClosedTextBelongToTheOpenConstructWhereverTheyStand) {
    const auto flat = analyse(std::string(
        "function s = name(c)\n    switch c\ncase 'r'\ns = 'red';\notherwise\ns = 'x';\n    end\nend\n"));
    EXPECT_TRUE(errors(*flat).empty()) << describeErrors(*flat);
}

TEST(EdgeReadings, AnEndAloneLeftOfAnOpenCallClosesABlock) {
    const auto unclosed = analyse(std::string("function m = f(v)\n    fprintf('%g', ...\nend\n"));
    EXPECT_EQ(errors(*unclosed), Errors{"3:UnbalancedBracket"}) << describeErrors(*unclosed);
    // An index `end` continued onto the next line, as a cut cursor line leaves it, is no block end.
    for (const char* text : {"x = a(2:\nend);\n", "y = b(1, ...\n    end)\n", "    z = c(\nend - 1);\n"}) {
        const auto analysis = analyse(std::string(text));
        EXPECT_TRUE(errors(*analysis).empty()) << text << describeErrors(*analysis);
    }
}

TEST(EdgeReadings, AnIndentedFunctionBodyWithCodeAtItsHeaderLostItsEnd) {
    // The loop took the function's `end`; the functions of the text are closed, so it is missing.
    const auto analysis =
        analyse(std::string("function r = f(v)\n    r = 0;\nfor k = 1:3\n        r = r + k;\nend\n\n"
                            "function g()\n    disp(1);\nend\n"));
    EXPECT_EQ(errors(*analysis), Errors{"1:MissingEnd"}) << describeErrors(*analysis);
    // A window that ends inside such a body, its code deeper than the header, is only cut.
    EXPECT_TRUE(errors(*analyse(std::string(
                           "function r = f(v)\n    r = 0;\n    function g()\n        x = 1;\n    end\n")))
                    .empty());
}

TEST(EdgeReadings, RuleViolationsAreErrorsOfATextThatParses) {
    const auto duplicate =
        analyse(std::string("function r = f(x)\n    r = x;\nend\n\nfunction r = f(x)\n    r = 2;\nend\n"));
    EXPECT_EQ(errors(*duplicate), Errors{"5:DuplicateFunction"});
    EXPECT_FALSE(duplicate->hasParseErrors());
    const auto stray = analyse(std::string("x = 1;\nbreak\n"));
    EXPECT_EQ(errors(*stray), Errors{"2:BreakOutsideLoop"});
    EXPECT_FALSE(stray->hasParseErrors());
    EXPECT_TRUE(analyse(std::string("y = 2;\nx = (1;\nz = 3;\n"))->hasParseErrors());
}
