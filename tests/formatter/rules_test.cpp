#include <gtest/gtest.h>

#include <regex>

#include "fl/i18n.hpp"
#include "formatter_test_support.hpp"

namespace {

using namespace formatter_test;
using ca::formatting::legacy::BlankLines;
using ca::formatting::legacy::FunctionIndentation;
using ca::formatting::legacy::Settings;

constexpr auto kClassic = FunctionIndentation::Classic;
constexpr auto kMixed = FunctionIndentation::Mixed;
constexpr auto kAll = FunctionIndentation::All;

const std::string kUnchanged = "(unchanged)";

struct Rule {
    const char* what;
    std::string input;
    // Empty: `input` is formatted already, and formatting it with the indentation of every line but the
    // first taken off must give it back; kUnchanged: formatting leaves `input` as it is.
    std::string expected;
    FunctionIndentation style = kAll;
    int indent = 4;
    bool tabs = false;  // tab size 8, tabs
    BlankLines blanks = BlankLines::Indent;
};

// The first line of most texts below is "%": the first line is never changed and anchors the rest by its
// own indentation. Bodies of the control and class blocks, `switch`, `arguments` blocks and headers with
// statements are not here: FormatterOnCorpus keeps every one of them as written, and the golden cases
// re-indent replies inside each; nor are blank lines indented or emptied (golden cases 091 to 096), line
// ranges (golden cases 098 and 099) or indentation written with tabs (the tab-indented style programs, golden
// cases 079 and 084).
// clang-format off
const Rule kRules[] = {
    {"contextual words as variables", "%\nfunction f()\n    y = 1;\n    arguments = 2;\n    methods = 3;\nend\n", ""},
    {"classic functions", "%\nfunction a\nx\nfunction b\ny\nend\nend\nfunction c\nz\nend\n", "", kClassic},
    {"mixed functions", "%\nfunction a\nx\nfunction b\n    y\nend\nend\nfunction c\nz\nend\n", "", kMixed},
    {"all functions", "%\nfunction a\n    x\n    function b\n        y\n    end\nend\nfunction c\n    z\nend\n", ""},
    {"functions without end", "%\nfunction a\n    if x\n        y\n    end\nfunction b\n    z\n", ""},
    {"classic functions without end", "%\nfunction a\nif x\n    y\nend\nfunction b\nz\n", "", kClassic},
    {"methods always indented", "%\nclassdef C\n    methods\n        function f(o)\n            x\n        end\n    end\nend\n",
     "", kClassic},
    {"nested function under one on the first line", "function a\nx\nfunction b\ny\nend\nend\n",
     "function a\nx\nfunction b\n    y\nend\nend\n", kMixed},
    {"continuations one level in", "%\nif a\n    x = f(1, ...\n        2, ...\n        3);\n    y = [1 2\n        3 4\n"
     "        ];\nend\n", ""},
    {"aligned continuations keep their offset", "%\nif a\ny = [1 2 ...\n     3 4];\nz = f(a, ...\n  b);\nend\n",
     "%\nif a\n    y = [1 2 ...\n         3 4];\n    z = f(a, ...\n      b);\nend\n"},
    {"... ends a command too", "%\ndisp hello ...\n    world\nx\n", ""},
    {"... in literals and comments", "%\nx = 'a...';\ny = 1; % more...\nz = 2 + ...\n% note\nw\n", ""},
    {"comments at the level around them stay, others go to the body's",
     "%\nif a\n% at the header\n  % astray\n      %% astray\n    x\n% before end\nend\n% after\n",
     "%\nif a\n% at the header\n    % astray\n    %% astray\n    x\n% before end\nend\n% after\n"},
    {"help comment at the margin", "%\nfunction f\n% help\n%   more\nx = 1;\nend\n",
     "%\nfunction f\n% help\n%   more\n    x = 1;\nend\n"},
    {"help comment under a function on the first line", "function f\n% help\n    x = 1;\n    y = 2;\nend\n", kUnchanged},
    {"help comment under classdef", "%\nclassdef C\n% help\n    properties\n        A\n    end\nend\n", kUnchanged},
    {"block comments stay", "%\nif a\n  %{\n if b\n      %{\n   nested\n      %}\n x\n %}\ny\nend\n",
     "%\nif a\n  %{\n if b\n      %{\n   nested\n      %}\n x\n %}\n    y\nend\n"},
    {"unclosed block comment", "%\nif a\n%{\n  x\n", kUnchanged},
    {"blank lines ignored", "%\nif a\n  \nx\n\nend\n", "%\nif a\n  \n    x\n\nend\n", kAll, 4, false, BlankLines::Ignore},
    {"tabs count to the next stop", "%\n\tx\n  y\n", "%\n\tx\n\ty\n", kAll, 4, true},
    {"indent size 2", "%\nif a\n  for k = 1\n    x\n  end\nend\n", "", kAll, 2},
    {"first line anchors", "        if a\n        x\n  y\n    end\n      z\nend\nw\n",
     "        if a\n        x\n        y\n    end\n    z\nend\nw\n"},
    {"closing lines close what was cut away", "%\n        x\n    end\n        y\nend\nw\n",
     "%\n        x\n    end\n    y\nend\nw\n"},
    {"orphan else", "%\n        x\n    else\n        y\n    end\n", kUnchanged},
    {"levels never below zero", "%\nx\nend\nend\n  y\n", "%\nx\nend\nend\ny\n"},
    {"orphan closing bracket", "%\n        3 4];\n    x = 1;\n", kUnchanged},
    {"orphan block comment end", "%\n if this were code\n%}\n    x\n", kUnchanged},
    {"first line cut in a text holding ...", "the quick fox's \" + ...\n         'back';\n   disp(x)\n   y\n", kUnchanged},
    {"first line cut in a matrix", " \"b\"\n  \"c\"];\nx = 1;\n", kUnchanged},
    {"rows of a bracket the first line opens", "x = f(a, ...\n   b, ...\n   c);\ny = a + ...\n        b;\n",
     "x = f(a, ...\n   b, ...\n   c);\ny = a + ...\n\tb;\n", kAll, 4, true},
    {"window inside a matrix", "c  0  s\n     0  1  0\n    -s  0  c\n", kUnchanged},
    {"window inside a cell", "% drop\n    @(x) x - 1, ...\n    @(x) x + 1, ...\n", kUnchanged},
    {"window inside rows", "s\n     3; ...\n     4\n", kUnchanged},
    {"comment after the last code line at a header's column", "%\nfunction a\n    g(h);\n% --- b\n", ""},
    {"comment after the last code line left of the base", "x));\n    g(h);\n% --- b\n", kUnchanged},
    {"a second function on a broken line opens nothing", "%\n    end\n    function a    function b(t)\n      x = 1;\n    end\n\n    function c(t)\n      y = 2;\n    end\n", "%\n    end\n    function a    function b(t)\n      x = 1;\n    end\n    \n    function c(t)\n      y = 2;\n    end\n", kClassic, 2},
    {"no declarations before a line with a block word, which opens nothing there", "\n end\n  e env = [seg(0, 1, a)\n         seg(s, 0, r)];\n  y = if x, y = 1; else, z; endx .* env;\nend\n", "\n end\n  e env = [seg(0, 1, a)\n  seg(s, 0, r)];\n  y = if x, y = 1; else, z; endx .* env;\nend\n", kClassic, 8},
    // Formatting what was formatted changes nothing: a line's reading does not hang on the column it is given.
    {"a name line after an end that closes a cut-away block is no declaration", ";\n()\n end\n n c=(,)\nend", kUnchanged, kMixed},
    {"a name line after a block is no declaration of a cut-away one", ";\n()\n if (())\n end\n n c=(,)\nend", kUnchanged, kMixed},
    {"a block word after a header's ... goes on with the header", ";\nfunction ...\n   global \n0", kUnchanged, kMixed, 3},
};
// clang-format on

TEST(FormatterRules, Table) {
    for (const Rule& rule : kRules) {
        Settings settings = settingsFor(rule.style, rule.blanks);
        settings.indentSize = static_cast<std::uint32_t>(rule.indent);
        settings.insertSpaces = !rule.tabs;
        if (rule.tabs) settings.tabSize = 8;
        const std::string input =
            rule.expected.empty() ? std::regex_replace(rule.input, std::regex("\n[ \t]+"), "\n") : rule.input;
        const std::string expected =
            rule.expected.empty() || rule.expected == kUnchanged ? rule.input : rule.expected;
        EXPECT_EQ(fl::i18n::to_string(format(fl::i18n::to_ustring(input), settings)), expected)
            << rule.what << ", from:\n"
            << input;
    }
}

}  // namespace
