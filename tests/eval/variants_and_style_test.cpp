// The planned replies' shapes, the style read from a file, and the similarity measure.
#include <gtest/gtest.h>

#include <algorithm>

#include "model_metrics.hpp"
#include "reply_variants.hpp"
#include "style_detection.hpp"

namespace ostrel_eval {
namespace {

const fl::ustring kFile = u"a = 1;\nb = 2;\nif a\n    c = a + b;\n\n    d = c;\n    e = d;\nend\n";
// Two spaces a level, and a matrix's row lined up with its first element.
const fl::ustring kNested = u"if a\n  if b\n    c = [1, ...\n         2];\n  end\nend\n";

TEST(ReplyCode, RepeatsAndFlattensAroundEachKindOfCursor) {
    struct Row {
        const char* what;
        std::size_t cursor, length;
        ReplyVariant variant;
        fl::ustring code;
        fl::ustring file = kFile;
        unsigned unit = 4;
    };
    const Row rows[] = {
        {"line start: two whole lines before", 19, 14, ReplyVariant::RepeatPrefix,
         u"b = 2;\nif a\n    c = a + b;"},
        {"blank line: two whole lines and the indentation", 23, 10, ReplyVariant::RepeatPrefix,
         u"b = 2;\nif a\n    c = a + b;"},
        {"mid-line: the line before and the cursor line's start", 28, 5, ReplyVariant::RepeatPrefix,
         u"if a\n    c = a + b;"},
        {"first line: what there is", 1, 5, ReplyVariant::RepeatPrefix, u"a = 1;"},
        {"two non-blank lines after, the blank one skipped", 19, 14, ReplyVariant::RepeatSuffix,
         u"    c = a + b;\n    d = c;\n    e = d;"},
        {"near the end: what there is", 46, 10, ReplyVariant::RepeatSuffix, u"    e = d;\nend"},
        {"flat: no line keeps its blanks", 19, 37, ReplyVariant::Flat, u"c = a + b;\n\nd = c;\ne = d;"},
        {"exact: the truth", 19, 14, ReplyVariant::Exact, u"    c = a + b;"},
        {"shifted: the least-indented line at column 0, the rest relative to it", 5, 41,
         ReplyVariant::Shifted, u"if b\n  c = [1, ...\n       2];\nend", kNested},
        {"respaced: four spaces a level, the row its offset from the statement", 5, 41,
         ReplyVariant::Respaced, u"    if b\n        c = [1, ...\n             2];\n    end", kNested, 2},
        {"respaced after a line end: the first line is the rest of the cursor's", 11, 16,
         ReplyVariant::Respaced, u"\n        c = [1, ...", kNested, 2},
        {"respaced: a doubled quote and a bracket in a text literal leave no statement open", 43, 20,
         ReplyVariant::Respaced, u"c = [1, ...\n     2];",
         u"if a\n  error('it''s 50% (or more', a);\nend\nc = [1, ...\n     2];\n", 2},
        {"respaced: `...` in a comment continues nothing", 16, 8, ReplyVariant::Respaced, u"    b = 1;",
         u"if a  % then...\n  b = 1;\nend\n", 2},
        {"respaced with tabs: a comment line inside the statement keeps its offset too", 5, 36,
         ReplyVariant::Respaced, u"    c = [1, ...\n                 % two\n                 2];",
         u"if a\n\tc = [1, ...\n\t\t     % two\n\t\t     2];\nend\n", 8},
    };
    for (const Row& row : rows) {
        fit::IndentSettings style;
        style.indentSize = style.tabSize = row.unit;
        EXPECT_EQ(replyCode(cutOut(row.file, row.cursor, row.length), row.variant, style), row.code)
            << row.what;
    }
}

TEST(PlannedReply, FencesAsEachVariantSays) {
    const EvalCase c = cutOut(kFile, 19, 14);
    for (const ReplyVariant variant : kAllVariants) {
        const std::string reply = plannedReply(c, variant);
        const bool tagged = reply.find("```ostrel\n") != std::string::npos;
        const auto fences = std::count(reply.begin(), reply.end(), '`') / 3;
        SCOPED_TRACE(std::string(variantName(variant)));
        EXPECT_EQ(tagged, variant != ReplyVariant::Untagged);
        EXPECT_EQ(fences, variant == ReplyVariant::Truncated ? 1 : 2);
        EXPECT_EQ(reply.starts_with("```"), variant != ReplyVariant::Prose);
        EXPECT_EQ(variantFromName(variantName(variant)), variant);
    }
    EXPECT_THROW(variantFromName("exactly"), std::invalid_argument);
}

TEST(DetectStyle, ReadsUnitTabsAndFunctionBodies) {
    struct Row {
        const char* what;
        unsigned indentSize;
        bool insertSpaces;
        int functionIndent;
        std::vector<std::string> unread;  // settings the text leaves unread
        fl::ustring text;
    };
    // clang-format off
    const Row rows[] = {
        {"two spaces, bodies indented", 2, true, 2, {}, u"function f()\n  if a\n    b = 1;\n  end\nend\n"},
        {"tabs, bodies at the margin", 4, false, 0, {}, u"function f()\nif a\n\tb = 1;\nend\nend\n"},
        {"only nested bodies indented", 3, true, 1, {},
         u"function f()\nx = 1;\n   function g()\n      y = 2;\n   end\nif x\n   z = 3;\nend\nend\n"},
        {"a script: no function to read", 8, true, 2, {"function indentation"},
         u"for k = 1:3\n        s = [1, ...\n  2];\nend\n"},
        {"a doubled quote and a bracket in a text literal leave no statement open", 2, true, 2,
         {"function indentation"}, u"x = 'it''s (50%)';\nif a\n  b = 1;\nend\n"},
        {"nothing indented", 4, true, 2, {"indent unit", "function indentation"},
         u"a = 1;\n% a comment\n      % an indented comment\nb = 2;\n"},
    };
    // clang-format on
    for (const Row& row : rows) {
        const DetectedStyle style = detectStyle(row.text);
        EXPECT_EQ(style.settings.indentSize, row.indentSize) << row.what;
        EXPECT_EQ(style.settings.insertSpaces, row.insertSpaces) << row.what;
        EXPECT_EQ(style.settings.functionIndent, row.functionIndent) << row.what;
        EXPECT_EQ(style.unread, row.unread) << row.what;
    }
}

TEST(EditSimilarity, CountsEditsAgainstTheLongerText) {
    EXPECT_DOUBLE_EQ(editSimilarity(u"", u""), 1.0);
    EXPECT_DOUBLE_EQ(editSimilarity(u"abc", u""), 0.0);
    EXPECT_DOUBLE_EQ(editSimilarity(u"kitten", u"sitting"), 1.0 - 3.0 / 7.0);
    EXPECT_DOUBLE_EQ(editSimilarity(u"x = 1;", u"x = 1;"), 1.0);
    EXPECT_DOUBLE_EQ(editSimilarity(fl::ustring(5000, u'a'), fl::ustring(4000, u'a')), 1.0);  // bounded
}

}  // namespace
}  // namespace ostrel_eval
