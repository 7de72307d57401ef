// Readings of texts that a completion produces when the model repeats or misplaces a closing line: the
// analyser must neither hide the surplus line nor reject a whole text for its indentation alone.
#include <gtest/gtest.h>

#include "analysis_helpers.hpp"

using ca::testing::analyse;
using ca::testing::describeErrors;
using ca::testing::errors;
using Errors = std::vector<std::string>;

TEST(EdgeReadings, ClosingLinesClausesAndCutBodiesReadAsTheirConstructs) {
    const struct {
        const char* text;
        Errors expected = {};  // none
    } cases[] = {
        // After a condition opened in the text, a second `end` has nothing to close: not at the end of the
        // text (a reply that repeats the `end` below the cursor), nor with code after it; before a function
        // line it closes a function whose body sits at the margin.
        {"x = rand();\nif x > 0.5\n    disp(1);\nend\nend\n", {"5:EndWithoutBlock"}},
        {"x = rand();\nif x > 0.5\n    disp(1);\nend\nend\ny = 2;\n", {"5:EndWithoutBlock"}},
        {"x = rand();\nif x > 0.5\n    disp(1);\nend\nend\nfunction g()\n"},
        {"x = 1;\nfor k = 1:3\n    x = x + k;\nend\n\nend\ndisp(x);\n", {"6:EndWithoutBlock"}},
        // A sloppy `end` right of its header closes it when the next `end` stands further left.
        {"while g\n    if t\n      disp(1)\n      end\nend\nif p =="},
        // A function of the text with an unindented body shows the classic style: the `end` closes the
        // function whose header was cut away.
        {"x = rand();\nif x\n    disp(1);\nend\nend\n\nfunction g()\ny = 1;\nend\n"},
        // After a function's own `end` it may close the function around it (nested, mixed style).
        {"function r = clamp(x)\n    r = x;\nend\nend\n"},
        // A closing line cut away before the text still closes what was cut away.
        {"    y = 2;\nend\nend\n"},
        // Clauses of a closed text belong to the open construct wherever they stand.
        {"function s = name(c)\n    switch c\ncase 'r'\ns = 'red';\notherwise\ns = 'x';\n    end\nend\n"},
        // An `end` alone left of an open call closes a block; an index `end` continued onto the next line,
        // as a cut cursor line leaves it, does not.
        {"function m = f(v)\n    fprintf('%g', ...\nend\n", {"3:UnbalancedBracket"}},
        {"x = a(2:\nend);\n"},
        {"y = b(1, ...\n    end)\n"},
        {"    z = c(\nend - 1);\n"},
        // The loop took the function's `end`; the functions of the text are closed, so it is missing.
        {"function r = f(v)\n    r = 0;\nfor k = 1:3\n        r = r + k;\nend\n\nfunction g()\n    "
         "disp(1);\nend\n",
         {"1:MissingEnd"}},
        // So did a condition with an unindented body, where every other body is indented and a sibling
        // function follows; with the function's own `end` after it, it is only sloppy.
        {"function a()\nif p\n    q = 1;\nend\nfor k = 1:2\n    q = k;\nend\nwhile q\n    q = "
         "0;\nend\nend\n\n"
         "function b(x)\nif x\nz = x;\nend\n\nfunction c()\ny = 1;\n",
         {"14:MissingEnd"}},
        {"function b(x)\nif p\n    q = 1;\nend\nfor k = 1:2\n    q = k;\nend\nwhile q\n    q = 0;\nend\nif "
         "x\nz = "
         "x;\nend\nend\n\nfunction c()\ny = 1;\n"},
        // A window that ends inside such a body, its code deeper than the header, is only cut.
        {"function r = f(v)\n    r = 0;\n    function g()\n        x = 1;\n    end\n"},
        // Windows of functions whose bodies sit at the margin: `end`s that close what was cut away, a
        // second `end` after a loop where names only a function has show the layout, block words of a
        // function whose line was cut away.
        {"x = 1;\ny = 2;\nend\n\nfunction g()\nz = 3;\nend\n"},
        {"x = 1;\nif x\n    y = 2;\nend\nend\n\nfunction g()\nz = 3;\n"},
        {"function f()\nx = 1;\nend\n\nfunction g()\nz = 3;\n"},
        {"x = 1;\nend\n"},
        {"    x = 1;\nend\nfunction g()\ny = 2;\n"},
        {"n = nargin;\nfor k = 1:n\n    disp(k);\nend\nend\n"},
        {"n out = f(x)\narguments\n  x double\nend\narguments (Repeating)\n  extra\nend\ny = x;\nend\n"},
        // The `methods` block around this one was closed by an `end` cut away before the text.
        {"        x = 1;\n        end\n    end\n    methods (Access = private)\n        function b(obj)\n    "
         "    "
         "end\n    end\nend\n"},
        // Nested functions indented under a body at the margin; a class at the margin, its `classdef` cut
        // away; a window cut inside `cases`; one cut between the `%` and `{` of a block comment's opener.
        {"d(x)\ny = 1;\n    function g()\n        y = 2;\n    end\nend\n\nfunction h()\nz = 3;\nend\n"},
        {"with laps\nmethods\nfunction obj = S()\nobj.A = [];\nend\nend\nmethods(Static)\nfunction t = "
         "g()\nt = 1;\nend\n"
         "end\n"},
        {"function g(c)\nc = 1;\nend\n\nfunction f(c)\ncase"},
        {"function f(x)\n%\n{\n    %{\n    old = 1;\n    %}\n%}\nn = 1;\nfor k = 1:n\n    y = "
         "k;\nend\nend\n"},
        // Blanks typed on the cursor's line and a line end put at the cursor: the code that follows stands
        // where the blanks end, not at the margin outside the blocks cut at the text's end. A blank line
        // with no blanks leaves code at the margin outside them.
        {"classdef A\n    methods\n        function f(obj)\n            \nx = 1;\n            y = 2;\n"},
        {"x = 0;\nfor k = 1:3\n    \ny = k;\n"},
        {"x = 0;\nfor k = 1:3\n    y = 1;\n\nz = k;\n", {"2:MissingEnd"}},
        // Declarations of a properties block whose header was cut away; rows of a bracket whose opening
        // line was (behind a first line cut in a row's comment); an `end` on a cut first line may be the
        // tail of an indented one.
        {"e = private)\n    Order double = []\n    Skipped logical = false(0, 1)\n  end\n"},
        {"        [6 6]\n        zeros(1, 19)\n        [zeros(1, 18) 10]\n        };\n    for k = 1:3\n    "
         "end\n"},
        {" m = 5\n         9.5e-001    % m = 7\n         5.3e+000];  % m = 13\nd = [3 5];\n"},
        {"end\nend\nend\n\nfunction g(b)\nn = 1;\nend\n"},
        // A `methods` block that opens with a function at its own column holds it, however sloppy.
        {"classdef S < handle\nmethods\nfunction obj=S()\nobj.A = [];\nend\n  function start(obj)\n"},
        // A leading command without words is a complete statement: the text's head was not cut.
        {"clc\nk = 1;\n if k < 0\ndisp(1)\n else\n     disp(2)\nend\n"},
        // A text that indents the body of every block it closes shows a block left open at its end.
        {"if a\n    x = 1;\nend\nfor k = 1:3\n    x = k;\nend\nwhile x\n    x = 0;\nend\nif b\nfor k = 1:3\n "
         "   y = k;\n",
         {"10:MissingEnd"}},
        // Beginners' sloppy blocks in a window left open at its end: an `else` left of the only `if`; a body
        // at its header's column before the last clause; an `end` between a loop's header and the outer
        // loop's, whose body goes on to its own `end`.
        {"x = 1;\nw = 0;\n  if x < 2\n    y = 1;\n else\n    y = 2;\n    end\nif x\n"},
        {"x = 1;\n  if x < 2\n  y = 1;\n      elseif x < 3"},
        {"x = 1;\nfor r = 1:5\n    for c = 1:5\n    y = r*c;\n  end\n    z = r;\nend\nif r\n"},
        // Windows that end right after a line that continues.
        {"x = 1;\ny =\n"},
        {"x = 1;\ny = a +\n"},
        {"x = 1;\nok = a &&\n"},
        {"x = 1;\nif\n"},
    };
    for (const auto& c : cases) {
        const auto analysis = analyse(std::string(c.text));
        EXPECT_EQ(errors(*analysis), c.expected) << c.text << describeErrors(*analysis);
    }
}
