#include <gtest/gtest.h>

#include <regex>

#include "fl/i18n.hpp"
#include "formatter_test_support.hpp"

namespace {

using namespace formatter_test;
using ca::formatting::legacy::BlankLines;
using ca::formatting::legacy::FunctionIndentation;
using ca::formatting::legacy::Settings;

// The first line of every text below is "%" so that the rules apply from the second line on (the first line
// is never changed and anchors the rest by its own indentation).
std::string fmt(const std::string& text, Settings settings = settingsFor(FunctionIndentation::All)) {
    return fl::i18n::to_string(format(fl::i18n::to_ustring(text), settings));
}

// Takes the indentation off every line of `formatted` but the first and checks that formatting puts it back.
void expectReindents(const std::string& formatted,
                     Settings settings = settingsFor(FunctionIndentation::All)) {
    const std::string flat = std::regex_replace(formatted, std::regex("\n[ \t]+"), "\n");
    EXPECT_EQ(fmt(flat, settings), formatted) << "from:\n" << flat;
}

TEST(FormatterRules, EveryBodyKindIsOneLevelIn) {
    expectReindents("%\nif a\n    x\nelseif b\n    x\nelse\n    x\nend\n");
    expectReindents(
        "%\nfor k = 1:3\n    while c\n        parfor (j = 1:2, 4)\n            spmd\n                x\n"
        "            end\n        end\n    end\nend\n");
    expectReindents("%\ntry\n    x\ncatch err\n    y\nend\n");
    expectReindents(
        "%\nclassdef C < handle\n    properties (Access = private)\n        A = 1\n    end\n    events\n"
        "        E\n    end\n    enumeration\n        R (1)\n    end\n    methods\n        function f(o)\n"
        "            x\n        end\n    end\nend\n");
    expectReindents("%\nfunction f(x)\n    arguments\n        x (1,1) double\n    end\n    y = x;\nend\n");
    // Used as variables the contextual words open nothing.
    expectReindents("%\nfunction f()\n    y = 1;\n    arguments = 2;\n    methods = 3;\nend\n");
    // Headers with statements on the same line, and `end` inside an index.
    expectReindents("%\nif x, y = 1; end\nz = a(end);\nfor k = 1:2, if k, w(end+1) = k; end, end\nq\n");
    // In a switch, cases (and comments among them) are one level in and their bodies two.
    expectReindents(
        "%\nswitch v\n    % first\n    case 1\n        x\n    case {2, 3}\n        y\n    otherwise\n"
        "        z\nend\nw\n");
}

TEST(FormatterRules, TheThreeFunctionStyles) {
    expectReindents("%\nfunction a\nx\nfunction b\ny\nend\nend\nfunction c\nz\nend\n",
                    settingsFor(FunctionIndentation::Classic));
    expectReindents("%\nfunction a\nx\nfunction b\n    y\nend\nend\nfunction c\nz\nend\n",
                    settingsFor(FunctionIndentation::Mixed));
    // The same with the outer function on the text's first line, whose place is unknown: every block is
    // closed in the text, so the inner function is nested and its body indented.
    EXPECT_EQ(fmt("function a\nx\nfunction b\ny\nend\nend\n", settingsFor(FunctionIndentation::Mixed)),
              "function a\nx\nfunction b\n    y\nend\nend\n");
    expectReindents(
        "%\nfunction a\n    x\n    function b\n        y\n    end\nend\nfunction c\n    z\nend\n");
    // Functions without `end`: each `function` line ends the one before.
    expectReindents("%\nfunction a\n    if x\n        y\n    end\nfunction b\n    z\n");
    expectReindents("%\nfunction a\nif x\n    y\nend\nfunction b\nz\n",
                    settingsFor(FunctionIndentation::Classic));
    // Methods' functions are indented whatever the style.
    expectReindents(
        "%\nclassdef C\n    methods\n        function f(o)\n            x\n        end\n    end\nend\n",
        settingsFor(FunctionIndentation::Classic));
}

TEST(FormatterRules, ContinuationAndCommentLinesFollowTheCodeAroundThem) {
    expectReindents(
        "%\nif a\n    x = f(1, ...\n        2, ...\n        3);\n    y = [1 2\n        3 4\n        "
        "];\nend\n");
    // `...` inside a text literal or comment continues nothing; a whole-line comment ends a `...` statement.
    expectReindents("%\nx = 'a...';\ny = 1; % more...\nz = 2 + ...\n% note\nw\n");
    EXPECT_EQ(fmt("%\nif a\n% inside\n      %% section\nx\n% before end\nend\n% after\n"),
              "%\nif a\n    % inside\n    %% section\n    x\n    % before end\nend\n% after\n");
    // Block comments stay as they are; an unclosed one runs to the end of the text.
    const std::string block = "%\nif a\n  %{\n if b\n      %{\n   nested\n      %}\n x\n %}\ny\nend\n";
    EXPECT_EQ(fmt(block), "%\nif a\n  %{\n if b\n      %{\n   nested\n      %}\n x\n %}\n    y\nend\n");
    EXPECT_EQ(fmt("%\nif a\n%{\n  x\n"), "%\nif a\n%{\n  x\n");
}

TEST(FormatterRules, BlankLinesTabsAndSizes) {
    const std::string blanks = "%\nif a\n  \nx\n\nend\n";
    EXPECT_EQ(fmt(blanks, settingsFor(FunctionIndentation::All, BlankLines::Indent)),
              "%\nif a\n    \n    x\n    \nend\n");
    EXPECT_EQ(fmt(blanks, settingsFor(FunctionIndentation::All, BlankLines::Ignore)),
              "%\nif a\n  \n    x\n\nend\n");
    EXPECT_EQ(fmt(blanks, settingsFor(FunctionIndentation::All, BlankLines::RemoveWhitespace)),
              "%\nif a\n\n    x\n\nend\n");

    Settings tabs = settingsFor(FunctionIndentation::All);
    tabs.insertSpaces = false;
    tabs.tabSize = 8;
    expectReindents("%\nif a\n    if b\n\tif c\n\t    x\n\tend\n    end\nend\n", tabs);
    // Existing tabs count to the next tab stop when they anchor the text.
    EXPECT_EQ(fmt("%\n\tx\n  y\n", tabs), "%\n\tx\n\ty\n");
    Settings two = settingsFor(FunctionIndentation::All);
    two.indentSize = 2;
    expectReindents("%\nif a\n  for k = 1\n    x\n  end\nend\n", two);
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
