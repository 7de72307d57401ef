#include <gtest/gtest.h>

#include "formatter_test_support.hpp"

namespace {

using namespace formatter_test;
using ca::formatting::legacy::BlankLines;
using ca::formatting::legacy::FunctionIndentation;
using ca::formatting::legacy::Settings;

// The first line of every text below is "%" so that the rules apply from the second line on (the first line
// is never changed and anchors the rest by its own indentation).
std::string fmt(const std::string& text, Settings settings = settingsFor(FunctionIndentation::All)) {
    return format(text, settings);
}

TEST(FormatterRules, EveryBodyKindIsOneLevelIn) {
    EXPECT_EQ(fmt("%\nif a\nx\nelseif b\nx\nelse\nx\nend\n"),
              "%\nif a\n    x\nelseif b\n    x\nelse\n    x\nend\n");
    EXPECT_EQ(
        fmt("%\nfor k = 1:3\nwhile c\nparfor (j = 1:2, 4)\nspmd\nx\nend\nend\nend\nend\n"),
        "%\nfor k = 1:3\n    while c\n        parfor (j = 1:2, 4)\n            spmd\n                x\n"
        "            end\n        end\n    end\nend\n");
    EXPECT_EQ(fmt("%\ntry\nx\ncatch err\ny\nend\n"), "%\ntry\n    x\ncatch err\n    y\nend\n");
    EXPECT_EQ(fmt("%\nclassdef C < handle\nproperties (Access = private)\nA = 1\nend\nevents\nE\nend\n"
                  "enumeration\nR (1)\nend\nmethods\nfunction f(o)\nx\nend\nend\nend\n"),
              "%\nclassdef C < handle\n    properties (Access = private)\n        A = 1\n    end\n    "
              "events\n        E\n"
              "    end\n    enumeration\n        R (1)\n    end\n    methods\n        function f(o)\n        "
              "    x\n"
              "        end\n    end\nend\n");
    EXPECT_EQ(fmt("%\nfunction f(x)\narguments\nx (1,1) double\nend\ny = x;\nend\n"),
              "%\nfunction f(x)\n    arguments\n        x (1,1) double\n    end\n    y = x;\nend\n");
    // Used as variables the contextual words open nothing.
    EXPECT_EQ(fmt("%\nfunction f()\ny = 1;\narguments = 2;\nmethods = 3;\nend\n"),
              "%\nfunction f()\n    y = 1;\n    arguments = 2;\n    methods = 3;\nend\n");
    // Headers with statements on the same line, and `end` inside an index.
    EXPECT_EQ(fmt("%\nif x, y = 1; end\nz = a(end);\nfor k = 1:2, if k, w(end+1) = k; end, end\nq\n"),
              "%\nif x, y = 1; end\nz = a(end);\nfor k = 1:2, if k, w(end+1) = k; end, end\nq\n");
}

TEST(FormatterRules, SwitchCasesAreOneLevelInAndTheirBodiesTwo) {
    EXPECT_EQ(fmt("%\nswitch v\n% first\ncase 1\nx\ncase {2, 3}\ny\notherwise\nz\nend\nw\n"),
              "%\nswitch v\n    % first\n    case 1\n        x\n    case {2, 3}\n        y\n    otherwise\n  "
              "      z\nend\nw\n");
}

TEST(FormatterRules, TheThreeFunctionStyles) {
    const std::string nested = "%\nfunction a\nx\nfunction b\ny\nend\nend\nfunction c\nz\nend\n";
    EXPECT_EQ(fmt(nested, settingsFor(FunctionIndentation::Classic)),
              "%\nfunction a\nx\nfunction b\ny\nend\nend\nfunction c\nz\nend\n");
    EXPECT_EQ(fmt(nested, settingsFor(FunctionIndentation::Mixed)),
              "%\nfunction a\nx\nfunction b\n    y\nend\nend\nfunction c\nz\nend\n");
    EXPECT_EQ(fmt(nested, settingsFor(FunctionIndentation::All)),
              "%\nfunction a\n    x\n    function b\n        y\n    end\nend\nfunction c\n    z\nend\n");
    // Functions without `end`: each `function` line ends the one before.
    const std::string open = "%\nfunction a\nif x\ny\nend\nfunction b\nz\n";
    EXPECT_EQ(fmt(open, settingsFor(FunctionIndentation::All)),
              "%\nfunction a\n    if x\n        y\n    end\nfunction b\n    z\n");
    EXPECT_EQ(fmt(open, settingsFor(FunctionIndentation::Classic)),
              "%\nfunction a\nif x\n    y\nend\nfunction b\nz\n");
    // Methods' functions are indented whatever the style.
    EXPECT_EQ(
        fmt("%\nclassdef C\nmethods\nfunction f(o)\nx\nend\nend\nend\n",
            settingsFor(FunctionIndentation::Classic)),
        "%\nclassdef C\n    methods\n        function f(o)\n            x\n        end\n    end\nend\n");
}

TEST(FormatterRules, ContinuationLinesAreOneLevelMoreThanTheirStatement) {
    EXPECT_EQ(fmt("%\nif a\nx = f(1, ...\n2, ...\n3);\ny = [1 2\n3 4\n];\nend\n"),
              "%\nif a\n    x = f(1, ...\n        2, ...\n        3);\n    y = [1 2\n        3 4\n        "
              "];\nend\n");
    // `...` inside a text literal or comment continues nothing; a whole-line comment ends a `...` statement.
    EXPECT_EQ(fmt("%\nx = 'a...';\ny = 1; % more...\nz = 2 + ...\n% note\nw\n"),
              "%\nx = 'a...';\ny = 1; % more...\nz = 2 + ...\n% note\nw\n");
}

TEST(FormatterRules, CommentLinesFollowTheCodeAroundThemAndBlockCommentsStayAsTheyAre) {
    EXPECT_EQ(fmt("%\nif a\n% inside\n      %% section\nx\n% before end\nend\n% after\n"),
              "%\nif a\n    % inside\n    %% section\n    x\n    % before end\nend\n% after\n");
    const std::string block = "%\nif a\n  %{\n if b\n      %{\n   nested\n      %}\n x\n %}\ny\nend\n";
    EXPECT_EQ(fmt(block), "%\nif a\n  %{\n if b\n      %{\n   nested\n      %}\n x\n %}\n    y\nend\n");
    // An unclosed block comment runs to the end of the text.
    EXPECT_EQ(fmt("%\nif a\n%{\n  x\n"), "%\nif a\n%{\n  x\n");
}

TEST(FormatterRules, TheThreeBlankLineModes) {
    const std::string text = "%\nif a\n  \nx\n\nend\n";
    EXPECT_EQ(fmt(text, settingsFor(FunctionIndentation::All, BlankLines::Indent)),
              "%\nif a\n    \n    x\n    \nend\n");
    EXPECT_EQ(fmt(text, settingsFor(FunctionIndentation::All, BlankLines::Ignore)),
              "%\nif a\n  \n    x\n\nend\n");
    EXPECT_EQ(fmt(text, settingsFor(FunctionIndentation::All, BlankLines::RemoveWhitespace)),
              "%\nif a\n\n    x\n\nend\n");
}

TEST(FormatterRules, TabsOrSpacesAndSizes) {
    Settings tabs = settingsFor(FunctionIndentation::All);
    tabs.insertSpaces = false;
    tabs.tabSize = 8;
    tabs.indentSize = 4;
    EXPECT_EQ(fmt("%\nif a\nif b\nif c\nx\nend\nend\nend\n", tabs),
              "%\nif a\n    if b\n\tif c\n\t    x\n\tend\n    end\nend\n");
    // Existing tabs count to the next tab stop when they anchor the text.
    EXPECT_EQ(fmt("%\n\tx\n  y\n", tabs), "%\n\tx\n\ty\n");
    Settings two = settingsFor(FunctionIndentation::All);
    two.indentSize = 2;
    EXPECT_EQ(fmt("%\nif a\nfor k = 1\nx\nend\nend\n", two), "%\nif a\n  for k = 1\n    x\n  end\nend\n");
}

TEST(FormatterRules, OnlyLinesInTheRangeChange) {
    const std::string text = "%\nif a\nx\ny\nz\nend\n";
    Settings range = settingsFor(FunctionIndentation::All);
    range.startLine = 3;
    range.endLine = 4;
    EXPECT_EQ(fmt(text, range), "%\nif a\n    x\n    y\nz\nend\n");
    range.startLine = 0;  // the first line
    range.endLine = 3;
    EXPECT_EQ(fmt(text, range), "%\nif a\n    x\ny\nz\nend\n");
    range.startLine = 5;
    range.endLine = 4;
    EXPECT_EQ(fmt(text, range), text);
}

TEST(FormatterRules, TheFirstLineAnchorsTheRestAndErrorsNeverPushLevelsBelowZero) {
    // The first line is kept as it is; the line after it keeps its own indentation.
    // Where the first line's construct ends is told by its `end`'s own indentation.
    EXPECT_EQ(fmt("        if a\n        x\n  y\n    end\n      z\nend\nw\n"),
              "        if a\n        x\n        y\n    end\n    z\nend\nw\n");
    // Closing lines without an opener close what was cut away, as their indentation shows.
    EXPECT_EQ(fmt("%\n        x\n    end\n        y\nend\nw\n"), "%\n        x\n    end\n    y\nend\nw\n");
    EXPECT_EQ(fmt("%\n        x\n    else\n        y\n    end\n"),
              "%\n        x\n    else\n        y\n    end\n");
    EXPECT_EQ(fmt("%\nx\nend\nend\n  y\n"), "%\nx\nend\nend\ny\n");
    // A closing bracket without an opener: the lines before it continued a statement cut away.
    EXPECT_EQ(fmt("%\n        3 4];\n    x = 1;\n"), "%\n        3 4];\n    x = 1;\n");
    // A lone `%}` ends a block comment cut away: what precedes it is comment text, not code.
    EXPECT_EQ(fmt("%\n if this were code\n%}\n    x\n"), "%\n if this were code\n%}\n    x\n");
}

}  // namespace
