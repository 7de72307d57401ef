// Where the completion's lines land in the file's indentation: files of several styles, replies at the
// file's columns, from column 1 or off by some blanks, at the cursors an editor has; through the real
// library, analyser and formatter.
#include <gtest/gtest.h>

#include "fit/completion_edit.hpp"
#include "fit_support.hpp"

namespace {

using fit_testing::applied;
using fit_testing::completeWithReply;
using fit_testing::unmark;

struct Row {
    const char* name;
    std::string file;   // with the cursor marked "<|>"
    std::string code;   // in the reply's fence
    std::string after;  // the file after the edit
    fit::IndentSettings settings = {};
};

std::string repeated(const std::string& line, int times) {
    std::string out;
    for (int i = 0; i < times; ++i)
        out += line;
    return out;
}

const Row kRows[] = {
    {"auto-indented blank line, flat reply", "function r = f(a)\n    r = a;\n    <|>\nend\n",
     "if a > 0\nr = 1;\nend", "function r = f(a)\n    r = a;\n    if a > 0\n        r = 1;\n    end\nend\n"},
    {"column 1 of a blank line, flat reply", "function r = f(a)\n    r = a;\n<|>\nend\n",
     "if a > 0\n    r = 1;\nend",
     "function r = f(a)\n    r = a;\n    if a > 0\n        r = 1;\n    end\nend\n"},
    {"above an end the editor inserted", "for k = 1:5\n    <|>\nend\n", "if k > 2\n    disp(k);\nend",
     "for k = 1:5\n    if k > 2\n        disp(k);\n    end\nend\n"},
    {"over-indented reply at the bottom of a file", "x = 1;\n<|>",
     "if x > 0\n            y = 2;\n            end", "x = 1;\nif x > 0\n    y = 2;\nend"},
    {"tab-indented file, reply in spaces", "function f(x)\n\tx = 1;\n\tif x\n\t\ty = 2;\n\tend\n\t<|>",
     "while x > 0\n    x = x - 1;\nend",
     "function f(x)\n\tx = 1;\n\tif x\n\t\ty = 2;\n\tend\n\twhile x > 0\n\t\tx = x - 1;\n\tend"},
    {"space-indented file, reply in tabs at its columns", "if a\n    b = 1;\nend\n<|>",
     "while a\n\ta = a - 1;\nend", "if a\n    b = 1;\nend\nwhile a\n    a = a - 1;\nend"},
    // A reply moved to the margin or written four spaces a level keeps its relative levels from the file's
    // column for its first statement.
    {"respaced reply, a matrix's row before its next statements", "function r = f(a)\n  m = [1 2<|>\nend\n",
     "\n         3 4];\n    r = m * a;\n    if r\n        r = 1;\n    end",
     "function r = f(a)\n  m = [1 2\n       3 4];\n  r = m * a;\n  if r\n    r = 1;\n  end\nend\n"},
    {"reply moved left above a block the file no longer closes",
     "classdef P\n    properties (Access = private)\n        a = 1\n<|>\n\n    properties\n        m = 1\n   "
     " "
     "end\nend\n",
     "    b = 2\n    c = 3",
     "classdef P\n    properties (Access = private)\n        a = 1\n        b = 2\n        c = 3\n\n    "
     "properties\n        m = 1\n    end\nend\n"},
    {"reply moved left to the formatter's columns in a nested function indented deeper than them",
     "function m()\nx = 1;\n\n    function k(e)\n        switch e\n            case 1\n                if "
     "e\n                    "
     "y = 1;\n                end\n            case 2\n                if e\n                    <|>\n       "
     "     a = 1;\n "
     "           if a\n                return\n            end\n        end\n        x = 3;\n    end\nend\n",
     "                g();\n            end",
     "function m()\nx = 1;\n\n    function k(e)\n        switch e\n            case 1\n                if "
     "e\n                    "
     "y = 1;\n                end\n            case 2\n                if e\n                    g();\n      "
     "          "
     "end\n            a = 1;\n            if a\n                return\n            end\n        end\n      "
     "  x = 3;\n "
     "   end\nend\n"},
    {"reply at the margin from the editor's blanks, its continuation line",
     "function r = f(a)\n    <|>\nend\n", "r = g(a, ...\n  2);",
     "function r = f(a)\n    r = g(a, ...\n      2);\nend\n"},
    {"reply at the margin from the editor's blanks, its continuation line at the editor's column by the "
     "file's "
     "step",
     "function r = f(a)\n    x = max(a, ...\n        1);\n    <|>\nend\n", "r = g(a, ...\n    2);",
     "function r = f(a)\n    x = max(a, ...\n        1);\n    r = g(a, ...\n        2);\nend\n"},
    {"the same a level in where the file shows no continuation lines, and the statement's lines after it",
     "function r = f(a)\n    <|>\nend\n", "r = g(a, ...\n    {1, ...\n     2});",
     "function r = f(a)\n    r = g(a, ...\n        {1, ...\n         2});\nend\n"},
    {"tab-indented file with block comment text in spaces, reply in spaces at its columns",
     "function f(x)\n%{\n    notes\n%}\n\tx = 1;<|>\nend\n", "\n    if x\n        y = 2;\n    end",
     "function f(x)\n%{\n    notes\n%}\n\tx = 1;\n\tif x\n\t\ty = 2;\n\tend\nend\n"},
    {"tab-indented file with a line in spaces keeps them", "function f(x)\n\tx = 1;<|>\n    z = 3;\nend\n",
     "\n    y = 2;", "function f(x)\n\tx = 1;\n    y = 2;\n    z = 3;\nend\n"},
    {"tab-indented file with lines in spaces, reply moved in keeps its lines' own blanks",
     "while true\n\ta = 1;\n    b = 2;\n\tif a\n\t\tc = 3;<|>\n\tend\nend\n",
     "\nif c\n    d = 4;\n\te = 5;\nend",
     "while true\n\ta = 1;\n    b = 2;\n\tif a\n\t\tc = 3;\n\t\tif c\n            d = 4;\n\t\t\te = "
     "5;\n\t\tend\n\tend\nend\n"},
    {"2-space file, reply in 4 after a line end", "if a\n  b = 1;<|>\nend\n", "\nif b\n    c = 2;\nend",
     "if a\n  b = 1;\n  if b\n    c = 2;\n  end\nend\n"},
    // A flat comment takes the level of the code below it, also under a function line.
    {"flat comment under a function line", "function r = f(a)\n<|>\nend\n", "% double a\nr = 2*a;",
     "function r = f(a)\n    % double a\n    r = 2*a;\nend\n"},
    {"a flat comment after a line from the editor's blanks", "for t = 1:3\n    <|>\n    t\nend\n",
     "r = t;\n% r is t", "for t = 1:3\n    r = t;\n    % r is t\n    t\nend\n"},
    {"a flat help comment with its function line", "<|>\n    r = 2*a;\nend\n",
     "function r = f(a)\n% double a", "function r = f(a)\n    % double a\n    r = 2*a;\nend\n"},
    // The formatter must see the block the cursor is in, also more than 60 lines above, and the blocks
    // still open below it.
    {"a class's methods block far below its first line, a call's arguments apart from the properties'",
     "classdef C\n    properties\n        P = max(1, ...\n                2)\n    end\n    methods\n        "
     "function "
     "a(obj)\n" +
         repeated("            x = 1;\n", 70) +
         "        end\n    end\n    methods (Static)\n        <|>\n    end\nend\n",
     "function r = b()\nr = min(1, ...\n2);\nend",
     "classdef C\n    properties\n        P = max(1, ...\n                2)\n    end\n    methods\n        "
     "function "
     "a(obj)\n" +
         repeated("            x = 1;\n", 70) +
         "        end\n    end\n    methods (Static)\n        function r = b()\n            r = min(1, ...\n "
         "               2);\n        end\n    end\nend\n"},
    {"a class's methods blocks out of the formatter's reach below the class's first line",
     "classdef C\n    methods\n        function a(obj)\n" + repeated("            x = 1;\n", 400) +
         "        end\n    end\n    methods (Access = private)\n    end\n    methods (Static<|>\n    "
         "end\nend\n",
     ")\nfunction r = b()\nr = 1;\nend",
     "classdef C\n    methods\n        function a(obj)\n" + repeated("            x = 1;\n", 400) +
         "        end\n    end\n    methods (Access = private)\n    end\n    methods (Static)\n        "
         "function r = "
         "b()\n            r = 1;\n        end\n    end\nend\n"},
    {"an arguments block at the window's first line",
     "function f(x)\narguments\n<|>\nend\ny = x;\nend\n",
     "x (1,1) double",
     "function f(x)\narguments\n    x (1,1) double\nend\ny = x;\nend\n",
     {.functionIndent = 0}},
    {"a flat reply without the end a class's next block below needs",
     "classdef C\n    properties (Constant)\n        <|>\n    events\n        E\n    end\nend\n",
     "B = 2\nC = 3",
     "classdef C\n    properties (Constant)\n        B = 2\n        C = 3\n    events\n        E\n    "
     "end\nend\n"},
    {"a flat reply that stops short of the blocks the lines below are in",
     "v = 0;\nif v\n    v = 1;\nend\n<|>\n        v = 2;\n    end\n", "if ~v\nreturn",
     "v = 0;\nif v\n    v = 1;\nend\nif ~v\n    return\n        v = 2;\n    end\n"},
    {"a flat reply cut short of its end, the line below at its block's column",
     "function f(x)\n    for<|>\n    y = 2;\nend\n", " k = 1:3\nif x\nx = k;\nend",
     "function f(x)\n    for k = 1:3\n        if x\n            x = k;\n        end\n    y = 2;\nend\n"},
    {"a flat reply whose end deduplication took for the one below",
     "function r = f(n)\nif n\n    r = 0;\nend\n<|>\nend\nr = 2;\nend\n",
     "for k = 1:n\nif k\nr = k;\nend",
     "function r = f(n)\nif n\n    r = 0;\nend\nfor k = 1:n\n    if k\n        r = k;\n    end\nend\nr = "
     "2;\nend\n",
     {.functionIndent = 0}},
    {"a nested function after another",
     "function outer()\n    x = 1;\n    function a()\n        y = 2;\n    end\n<|>\nend\n",
     "function b()\nz = 3;\nend",
     "function outer()\n    x = 1;\n    function a()\n        y = 2;\n    end\n    function b()\n        z = "
     "3;\n    end\nend\n"},
    {"a nested function at the margin where only nested bodies are indented",
     "function outer()\nx = 1;\nfor k = 1:3\n    x = k;\n    <|>\n    d = 1;\nend\nend\n",
     "y = 2;\nend\n\nfunction a()\nw = 1;",
     "function outer()\nx = 1;\nfor k = 1:3\n    x = k;\n    y = 2;\nend\n\nfunction a()\n    w = 1;\n    d "
     "= "
     "1;\nend\nend\n",
     {.functionIndent = 1}},
    {"the end of a nested function in a nested function where only nested bodies are indented",
     "function c = outer(s)\ncount = s;\n\n    function reset(v)\n        count = v;\n\n        function "
     "note()\n            disp(count);\n        end\n<|>\nend\n\nfunction d = g()\nd = 1;\nend\n",
     "end",
     "function c = outer(s)\ncount = s;\n\n    function reset(v)\n        count = v;\n\n        function "
     "note()\n            disp(count);\n        end\n    end\nend\n\nfunction d = g()\nd = 1;\nend\n"},
    {"a flat function nested in a nested function goes in its body",
     "function f()\n    function g()\n    end\n    <|>\n        end\n    end\nend\n\nfunction k()\nend\n",
     "function h()\nx = 3;\nfunction m()\nx = 4;",
     "function f()\n    function g()\n    end\n    function h()\n        x = 3;\n        function m()\n      "
     "      x = "
     "4;\n        end\n    end\nend\n\nfunction k()\nend\n",
     {.functionIndent = 1}},
    {"a flat nested function where the file's other nested functions stand",
     "function f()\nx = 1;\n<|>\n    function g()\n        x = 2;\n    end\nend\n",
     "function h()\nx = 3;\nend",
     "function f()\nx = 1;\n    function h()\n        x = 3;\n    end\n    function g()\n        x = 2;\n    "
     "end\nend\n",
     {.functionIndent = 1}},
    {"a help text's first line where the rest of it stands below",
     "function r = f(a)<|>\n%   more\n    r = a;\nend\n", "\n%F  Does it.",
     "function r = f(a)\n%F  Does it.\n%   more\n    r = a;\nend\n"},
    {"a flat nested function line at the formatter's column, its body below where the file's others stand",
     "function f()\nx = 1;<|>\n        y = 2;\n    end\n\n    function g()\n        x = 2;\n    end\nend\n",
     "\nfunction h()",
     "function f()\nx = 1;\n    function h()\n        y = 2;\n    end\n\n    function g()\n        x = 2;\n  "
     "  "
     "end\nend\n",
     {.functionIndent = 1}},
    {"a flat comment above a nested function the file indents past the formatter's column",
     "function f()\nx = 1;\n    function g()\n        x = 2;\n    end<|>\n\n    function h()\n        x = "
     "3;\n    "
     "end\nend\n",
     "\n\n% helpers",
     "function f()\nx = 1;\n    function g()\n        x = 2;\n    end\n\n    % helpers\n\n    function h()\n "
     "       x "
     "= 3;\n    end\nend\n",
     {.functionIndent = 1}},
    {"a flat comment above a nested function of the edit stands with it",
     "function f()\nx = 1;\nredraw();<|>\n\n    function g()\n        x = 2;\n    end\nend\n",
     "\n\n% helpers\n\nfunction h()\nx = 3;\nend",
     "function f()\nx = 1;\nredraw();\n\n    % helpers\n\n    function h()\n        x = 3;\n    end\n\n    "
     "function g()\n        x = 2;\n    end\nend\n",
     {.functionIndent = 1}},
    {"a block comment's lines tell nothing of the indentation",
     "function f(x)\n%{\n  Notes:\n    - a\n    - b\n%}\n<|>\nw = 5;\n",
     "if x\nw = 2;\nend",
     "function f(x)\n%{\n  Notes:\n    - a\n    - b\n%}\nif x\n    w = 2;\nend\nw = 5;\n",
     {.functionIndent = 0}},
    {"a flat reply's block comment lines under the line above, a nested comment's text as its outer's",
     "%{\n  History:\n    - a<|>\n%}\nx = 1;\n", "\n- b\n%{\nc = 1;\n%}\n- d",
     "%{\n  History:\n    - a\n    - b\n    %{\n      c = 1;\n    %}\n    - d\n%}\nx = 1;\n"},
    {"a flat reply's block comment lines where the comment goes on below them",
     "%{\nHistory:<|>\n    - b\n%}\nx = 1;\n", "\n- a\n%{\nc = 1;\n%}",
     "%{\nHistory:\n    - a\n    %{\n    c = 1;\n    %}\n    - b\n%}\nx = 1;\n"},
    {"a flat block comment's heading under its opener and its items where the comment's go on, in blanks",
     "%{\n<|>\n    - last key wins\n%}\nx = 1;\n",
     "Known limitations:\n- no quotes",
     "%{\nKnown limitations:\n    - no quotes\n    - last key wins\n%}\nx = 1;\n",
     {.insertSpaces = false}},
    {"a flat block comment's items a step in from their heading, the text after them at its column",
     "%{\nNotes:<|>\n%}\nx = 1;\n", "\n- a\n- b\nMore text.",
     "%{\nNotes:\n    - a\n    - b\nMore text.\n%}\nx = 1;\n"},
    {"a flat block comment's next items under the item above, not where the text below goes on",
     "%{\n  Log:\n    1  t<|>\n  The end.\n%}\n", "\n2  ax\n3  gx",
     "%{\n  Log:\n    1  t\n    2  ax\n    3  gx\n  The end.\n%}\n"},
    {"code commented out in a flat block comment indented as code, where the comment goes on below",
     "%{\nif k > 4<|>\nend\n%}\nx = 1;\n", "\nswitch k\ncase 5\ny = 1;\notherwise\ny = 2;\nend\nz = 3;",
     "%{\nif k > 4\n    switch k\n        case 5\n            y = 1;\n        otherwise\n            y = "
     "2;\n    "
     "end\n    z = 3;\nend\n%}\nx = 1;\n"},
    {"but not prose that starts with a block's word", "%{\nNotes:<|>\n%}\n", "\nif in doubt, ask.\nThe end.",
     "%{\nNotes:\nif in doubt, ask.\nThe end.\n%}\n"},
    // Where the file does not follow the formatter, a reply that moves with the lines around stays.
    {"sloppy file, reply at the file's own columns",
     "for k = 1:3\n   a = k;\n   if a > 1\n     b = a;\n   end\n   <|>\nend\n",
     "if b > 2\n     c = b;\n   end",
     "for k = 1:3\n   a = k;\n   if a > 1\n     b = a;\n   end\n   if b > 2\n     c = b;\n   end\nend\n"},
    {"sloppy file, flat reply after an end off its block's column, its clause where the file's stand",
     "for k = 1:2\n    if k\n        x = 1;\n        else\n        x = 2;\n        end\n<|>\nend\n",
     "try\ny = 1;\ncatch\ny = 2;\nend",
     "for k = 1:2\n    if k\n        x = 1;\n        else\n        x = 2;\n        end\n    try\n        y = "
     "1;\n"
     "        catch\n        y = 2;\n    end\nend\n"},
    {"sloppy file, flat reply whose body level only the lines below show",
     "for k = 1:2\n  x = 1;\n  while x\n    b = 1;\n<|>\n       c = 2;\n    end\n  end\nend\n",
     "if b\nd = 3;",
     "for k = 1:2\n  x = 1;\n  while x\n    b = 1;\n    if b\n       d = 3;\n       c = 2;\n    end\n  "
     "end\nend\n"},
    {"flat reply's end under its function where nested functions stand past the formatter's column",
     "function outer()\nx = 1;\n    function a()\n        y = 2;\n    end\n<|>",
     "function b()\nz = 3;\nend\nend",
     "function outer()\nx = 1;\n    function a()\n        y = 2;\n    end\n    function b()\n        z = "
     "3;\n    end\nend",
     {.functionIndent = 1}},
    {"sloppy file whose lines at the margin stand inside a switch",
     "function r = f(a)\nif a\n    r = 1;\nend\nswitch a\ncase 1\nfor i = 1:2\n      r = "
     "i;\nend\n<|>\nend\nend\n",
     "case 2\nr = 2;",
     "function r = f(a)\nif a\n    r = 1;\nend\nswitch a\ncase 1\nfor i = 1:2\n      r = i;\nend\ncase 2\nr "
     "= 2;\nend\nend\n"},
    {"code set aside at the margin where the file's is, a help text's lines nearer",
     "function f(a)\n    %F help\n    %   more\n    b = a;\n    c = b;\n<|>\n    g = c;\n    h = g;\n%   h = "
     "2*g;\n    k = h;\nend\n",
     "d = c;\n%   d = 3*c;\ne = d;",
     "function f(a)\n    %F help\n    %   more\n    b = a;\n    c = b;\n    d = c;\n%   d = 3*c;\n    e = "
     "d;\n    g = c;\n    h = g;\n%   h = 2*g;\n    k = h;\nend\n"},
    {"a body level that only a case at its switch's column shows",
     "while true\n    <|>\n    switch u\n    case 1\n        x = 1;\n    end\nend\n",
     "r = 2;\nif r\nbreak\nend",
     "while true\n    r = 2;\n    if r\n        break\n    end\n    switch u\n    case 1\n        x = 1;\n   "
     " "
     "end\nend\n"},
    {"sloppy file, reply that wanders as the file does", "for a = 1:3\n  t = a;\n    v = t;\n  x = 0;\n<|>",
     "  while x < 3\n     x = x + 1;\n   y = x;\n  end\nend",
     "for a = 1:3\n  t = a;\n    v = t;\n  x = 0;\n  while x < 3\n     x = x + 1;\n   y = x;\n  end\nend"},
    {"sloppy file, flat reply after an odd line at the column its block's other lines keep",
     "for a = 1:3\n  t = a;\n  while t < 9\n     t = t + 1;\n     u = t;\n     v = u;\n   w = v;<|>\n  "
     "end\nend\n",
     "\nx = w;\ny = x;",
     "for a = 1:3\n  t = a;\n  while t < 9\n     t = t + 1;\n     u = t;\n     v = u;\n   w = v;\n     x = "
     "w;\n     "
     "y = x;\n  end\nend\n"},
    {"sloppy file below the edit, reply with its end under the body",
     "for k = 1:3\n    a = k;\n    <|>\n    if a\n        c = 1;\n        end\nend\n",
     "if a > 1\n        d = a;\n        end",
     "for k = 1:3\n    a = k;\n    if a > 1\n        d = a;\n        end\n"
     "    if a\n        c = 1;\n        end\nend\n"},
    {"flat reply in a file that closes its blocks at their bodies' column",
     "if a\n    b = 1;\n    end\nif b\n    c = 2;\n    end\nwhile c\n    c = c - 1;\n    end\n<|>",
     "for k = 1:2\nd = k;\nend\ne = d;",
     "if a\n    b = 1;\n    end\nif b\n    c = 2;\n    end\nwhile c\n    c = c - 1;\n    end\nfor k = 1:2\n  "
     "  "
     "d = k;\n    end\ne = d;"},
    {"a clause from the editor's blanks at the column of the file's clauses",
     "for k = 1:2\n    try\n        x = 1;\n        catch\n        x = 2;\n        end\n"
     "    if x\n        y = 1;\n        <|>",
     "else\n        y = 2;\n        end\nend",
     "for k = 1:2\n    try\n        x = 1;\n        catch\n        x = 2;\n        end\n"
     "    if x\n        y = 1;\n        else\n        y = 2;\n        end\nend"},
    {"a continuation line the model left at its statement's column in a reply that fits",
     "function f(w)\n    v = w;\n<|>\nend\n", "    v = w * 2 ...\n    + 1;\n    u = v;",
     "function f(w)\n    v = w;\n    v = w * 2 ...\n    + 1;\n    u = v;\nend\n"},
    {"a matrix closed under its statement", "x = 1;\n<|>", "C = [\n    1 2\n    3 4\n];\ny = 2;",
     "x = 1;\nC = [\n    1 2\n    3 4\n];\ny = 2;"},
    {"a call's arguments lined up with the bracket, a matrix's rows by the file's offset, a row after ... as "
     "the calls",
     "xx = max(1, ...\n         2);\nM = [1 2\n  3 4];\n<|>",
     "y = min(3, ...\n4);\nN = [5 6\n7 8];\nv = [1, ...\n2];",
     "xx = max(1, ...\n         2);\nM = [1 2\n  3 4];\ny = min(3, ...\n        4);\nN = [5 6\n  7 8];\nv = "
     "[1, "
     "...\n     2];"},
    {"where the file shows only calls: new rows under the first element (also after ; ...), a row after ... "
     "as the calls, rows "
     "above the file's rows of the same matrix at their column",
     "x = max(1, ...\n    2);\n<|>\n    5 6];\n",
     "N = [5 6\n7 8];\nv = [1, ...\n2];\nw = [1; ...\n2];\ntotal = 1 + ...\n2;\nwhile x || ...\n(x > 2 || "
     "...\nx < 0)\nend\nM "
     "= [1 2\n3 4",
     "x = max(1, ...\n    2);\nN = [5 6\n     7 8];\nv = [1, ...\n    2];\nw = [1; ...\n     2];\ntotal = 1 "
     "+ ...\n    2;\nwhile x "
     "|| "
     "...\n        (x > 2 || ...\n        x < 0)\nend\nM = [1 2\n    3 4\n    5 6];\n"},
    {"a table lined up by the numbers' ends lines up with its bracket",
     "M = [ 1 2\n      3 4\n      5 6\n     10 5];\n<|>", "NN = [7 8\n9 1];\ny = max(1, ...\n2);",
     "M = [ 1 2\n      3 4\n      5 6\n     10 5];\nNN = [7 8\n      9 1];\ny = max(1, ...\n    2);"},
    {"a line the model left at its statement's column where the file lines such lines up",
     "for k = 1:2\n    x = max(1, ...\n            2);\n    s = k;\n    y = min(k, ...\n    <|>\nz = 1;\n",
     "    s = k;\n    y = min(k, ...\n    3);\nend\n\nw = 2;",
     "for k = 1:2\n    x = max(1, ...\n            2);\n    s = k;\n    y = min(k, ...\n            "
     "3);\nend\nz = "
     "1;\n"},
    {"a call's line from column 1 of an empty line a level in, in a script, as the formatter steps the rest",
     "x = 1;\nfprintf('%d %d\\n', ...\n<|>\ny = 2;\n", "x, y);",
     "x = 1;\nfprintf('%d %d\\n', ...\n    x, y);\ny = 2;\n"},
    {"a row under the file's row above it", "M = [ 1 2\n      3 4<|>\n     10 5];\n", "\n5 6",
     "M = [ 1 2\n      3 4\n      5 6\n     10 5];\n"},
    // Continuation lines tell nothing of the indent step.
    {"a matrix's rows under its first element, a sign before it, a bracket that ends its line by an offset",
     "M = [ 1 2\n     -3 4];\nN = {\n  'a'\n  'b'};\n<|>", "if N\nR = [ 5 6\n-7 8\n9 1];\nC = {\n1\n2};\nend",
     "M = [ 1 2\n     -3 4];\nN = {\n  'a'\n  'b'};\nif N\n    R = [ 5 6\n         -7 8\n          9 1];\n   "
     " C = {\n      1\n      2};\nend"},
    {"continuation lines under the assigned value, a header's (a case's too) by its own offset",
     "x = 1 + ...\n    2;\nif x > 0 || ...\n        x < 5\n    x = 0;\nend\n<|>",
     "while x < 9 || ...\nx > 20\ny = 3 + ...\n4;\nswitch y\ncase ...\n1\nend\nend",
     "x = 1 + ...\n    2;\nif x > 0 || ...\n        x < 5\n    x = 0;\nend\nwhile x < 9 || ...\n        x > "
     "20\n    y = 3 + ...\n        4;\n    switch y\n        case ...\n                1\n    end\nend"},
    {"a call's arguments padded into columns line up with its bracket where the file steps arguments in",
     "x = max(1, ...\n    2);\n<|>", "s = struct('a',    1, ...\n'bb',   2);\nt = min(1,  ...\n3);",
     "x = max(1, ...\n    2);\ns = struct('a',    1, ...\n           'bb',   2);\nt = min(1,  ...\n    3);"},
    {"continuation lines under the value's last term where the file's are, under the value where it has none",
     "yy = yy - P * b ...\n          / 6;\n<|>", "z = z + Q * a ...\n/ 2;\nw = 3 * ...\n2;",
     "yy = yy - P * b ...\n          / 6;\nz = z + Q * a ...\n        / 2;\nw = 3 * ...\n    2;"},
    {"a header's continuation two levels in, a value's under the value unless an operator starts it, a "
     "matrix's rows under its first element, where the file shows none",
     "x = 1;\n<|>",
     "if x > 0 || ...\nx < 5\ntotal = x + ...\n1;\ntotal = total ...\n- 1;\nok = x & ...\n~x;\nT = "
     "[\"a\" \"b\"\n\"cc\" \"d\"];\nend",
     "x = 1;\nif x > 0 || ...\n        x < 5\n    total = x + ...\n            1;\n    total = total ...\n   "
     "     - 1;\n    ok = x & ...\n        ~x;\n    T = [\"a\" \"b\"\n         \"cc\" \"d\"];\nend"},
    {"a tab-indented file's matrix rows and values' lines a level in, where the file shows none",
     "x = 1;\n<|>",
     "if x\nT = [1 2\n3 4];\nnote = \"a\" + ...\n\"b\";\nend",
     "x = 1;\nif x\n\tT = [1 2\n\t\t3 4];\n\tnote = \"a\" + ...\n\t\t\"b\";\nend",
     {.insertSpaces = false}},
    {"flat rows lined up by their elements' ends as the file's, or by their own padding past a sign",
     "m = [ 8  9 10\n      6  7  8\n<|>\n", "10 10  9\n5  6  7];\nx = [-1, -2, ...\n3,  4];",
     "m = [ 8  9 10\n      6  7  8\n     10 10  9\n      5  6  7];\nx = [-1, -2, ...\n      3,  4];\n"},
    {"a row's sign before its first element where the table's numbers line up their digits past their signs",
     "a = [0    0\n     1/4 -7\n<|>\n", "-8    2];", "a = [0    0\n     1/4 -7\n    -8    2];\n"},
    {"the code's habit for the lines after the edit closes a block of declarations",
     "function f(a)\n    x = cos(a) - ...\n        sin(a);\nend\nfunction g(b)\n    arguments\n        b "
     "(1,1) "
     "double\n<|>",
     "end\ny = asin(b + ...\ncos(b));\nend",
     "function f(a)\n    x = cos(a) - ...\n        sin(a);\nend\nfunction g(b)\n    arguments\n        b "
     "(1,1) "
     "double\n    end\n    y = asin(b + ...\n             cos(b));\nend"},
    {"a cell opened on a later line of its statement lines up, whatever the file's calls do",
     "x = f(1, ...\n   2);\n<|>",
     "t = table('Size', [2 3], ...\n'Types', {'string', 'double', ...\n'double'});",
     "x = f(1, ...\n   2);\nt = table('Size', [2 3], ...\n   'Types', {'string', 'double', ...\n             "
     "'double'});"},
    {"arguments lined up where the file's only lined up two levels in",
     "warning('a:b', ...\n        'msg %d', n);\n<|>", "error('c:d', ...\n'other');",
     "warning('a:b', ...\n        'msg %d', n);\nerror('c:d', ...\n      'other');"},
    {"a statement votes once for its habit, a header's lines not for the value's",
     "s = struct('a', 1, ...\n           'b', 2, ...\n           'c', 3, ...\n           'd', 4);\nx = "
     "max(1, ...\n    2);\nt = min(1, ...\n"
     "    2);\nfor k = 1 : ...\n        3\nend\nuu = 1 + ...\n    2;\n<|>",
     "z = max(3, ...\n4);\ntotal = 1 + ...\n2;",
     "s = struct('a', 1, ...\n           'b', 2, ...\n           'c', 3, ...\n           'd', 4);\nx = "
     "max(1, ...\n    2);\nt = min(1, ...\n"
     "    2);\nfor k = 1 : ...\n        3\nend\nuu = 1 + ...\n    2;\nz = max(3, ...\n    4);\ntotal = 1 + "
     "...\n    2;"},
    {"the file's lines that go on with the edit's last statement tell nothing of the file's habits",
     "x = 1;\n<|>\n     s  c  0; ...\n     0  0  1];\n", "M = [1 0\n0 1];\nR = [c -s  0; ...",
     "x = 1;\nM = [1 0\n     0 1];\nR = [c -s  0; ...\n     s  c  0; ...\n     0  0  1];\n"},
    {"a call's arguments placed as the file places the calls of the same name, whatever its other calls do",
     "s = struct('a', 1, ...\n           'b', 2);\nx = max(1, ...\n    2);\ny = min(1, ...\n    3);\n<|>",
     "t = struct('c', 3, ...\n'd', 4);\nz = max(3, ...\n4);",
     "s = struct('a', 1, ...\n           'b', 2);\nx = max(1, ...\n    2);\ny = min(1, ...\n    3);\nt = "
     "struct('c', 3, ...\n           'd', 4);\nz = max(3, ...\n    4);"},
    {"but not as a call of that name padded into a table",
     "s = struct('a',   1, ...\n           'bb',  2);\nx = max(1, ...\n    2);\ny = min(1, ...\n    3);\n<|>",
     "t = struct('c', 3, ...\n'd', 4);",
     "s = struct('a',   1, ...\n           'bb',  2);\nx = max(1, ...\n    2);\ny = min(1, ...\n    3);\nt = "
     "struct('c', 3, ...\n    'd', 4);"},
    {"arguments lined up with their bracket where the file lines continuation lines up with the value",
     "total = 1 + ...\n        2;\n<|>", "y = max(1, ...\n2);",
     "total = 1 + ...\n        2;\ny = max(1, ...\n        2);"},
    {"continuation lines at their statement's column where the file's are",
     "function f(t)\n    plot(t, ...\n    w = 2)\n    if t\n        t = 1;\n    end\n<|>\nend\n",
     "legend({'a', ...\n'b'})",
     "function f(t)\n    plot(t, ...\n    w = 2)\n    if t\n        t = 1;\n    end\n    legend({'a', ...\n  "
     "  'b'})\nend\n"},
    {"and where the file's below are, at a statement begun above the edit",
     "for k = 1:2\n   v = k ...\n<|>\nend\nx = max(1, ...\n2);\n",
     "+ 1;\ny = 2;",
     "for k = 1:2\n   v = k ...\n   + 1;\n   y = 2;\nend\nx = max(1, ...\n2);\n",
     {.indentSize = 3}},
    // A model that counts four columns a level writes the lines of a statement begun above the edit from
    // its own column for that statement.
    {"a four-column model's line under the bracket of a statement begun above, moved as its level",
     "function f()\n  s = struct('a', 1, ...\n<|>\nend\n",
     "               'b', 2);",
     "function f()\n  s = struct('a', 1, ...\n             'b', 2);\nend\n",
     {.indentSize = 2}},
    {"and its line stepped in by the file's step",
     "function f()\n  fprintf('%d', ...\n    1);\n  fprintf('%d %d', 1, ...\n<|>\nend\n",
     "      2);",
     "function f()\n  fprintf('%d', ...\n    1);\n  fprintf('%d %d', 1, ...\n    2);\nend\n",
     {.indentSize = 2}},
    {"and so where the statement's first line is written from the editor's blanks",
     "for s = 1:3\n  x = max(1, ...\n    2);\n  <|>\ny = 3;\n",
     "plot(s, ...\n      'b');\nend\nhold off",
     "for s = 1:3\n  x = max(1, ...\n    2);\n  plot(s, ...\n    'b');\nend\nhold off\ny = 3;\n",
     {.indentSize = 2}},
    {"a chat model's block from its margin: a line under the first line's bracket moves with that line",
     "function f()\n  x = 1;\n<|>\nend\n",
     "s = struct('a', 1, ...\n           'b', 2);",
     "function f()\n  x = 1;\n  s = struct('a', 1, ...\n             'b', 2);\nend\n",
     {.indentSize = 2}},
    {"and so after the editor's blanks",
     "function f()\n  x = 1;\n  <|>\nend\n",
     "y = max(a, ...\n        b);",
     "function f()\n  x = 1;\n  y = max(a, ...\n          b);\nend\n",
     {.indentSize = 2}},
    {"a continuation line where the statement's line before it stands",
     "x = max(1, ...\n        2, ...\n        3);\ny = min(3, ...\n    4, ...\n<|>", "5);",
     "x = max(1, ...\n        2, ...\n        3);\ny = min(3, ...\n    4, ...\n    5);"},
    {"a script's first statement continued, by a level where the file's line is both a level in and lined up",
     "<|>\nabc(1, ...\n    2);\n", "x = min(3, ...\n4);", "x = min(3, ...\n    4);\nabc(1, ...\n    2);\n"},
    {"a statement begun above a reply moved to the margin goes on in the reply's columns",
     "function f(a)\n    w = min(a, ...\n        2);\n    x = max(a, ...<|>\nend\n", "\n        1);\nz = 3;",
     "function f(a)\n    w = min(a, ...\n        2);\n    x = max(a, ...\n            1);\n    z = "
     "3;\nend\n"},
    {"a reply of continuation lines only, moved to the column of the statement they go on with, as the "
     "file's",
     "x = max(1, ...\n        2);\ny = min(3, ...<|>\n", "\n 4, ...\n5);",
     "x = max(1, ...\n        2);\ny = min(3, ...\n        4, ...\n        5);\n"},
    {"the same in a reply written four columns a level, whose steps are levels where the file steps in",
     "function f(a)\n  if a\n    w = min(a, ...\n      2);\n    x = max(a, ...<|>\nend\n",
     "\n                1);\n        y = min(a, ...\n            3);\n    end",
     "function f(a)\n  if a\n    w = min(a, ...\n      2);\n    x = max(a, ...\n            1);\n    y = "
     "min(a, "
     "...\n      3);\n  end\nend\n"},
    {"a doubled quote does not end the text", "x = max(1, ...\n        2);\n<|>",
     "v = ['a''b %', 'c'];\ny = 1;", "x = max(1, ...\n        2);\nv = ['a''b %', 'c'];\ny = 1;"},
    // A reply without its leading blank still continues the line as code.
    {"after a keyword", "for<|>\n    x = k;\nend\n", "k = 1:3", "for k = 1:3\n    x = k;\nend\n"},
    {"after a comma where the lines above write a blank", "A = zeros(2, 3);\n[r,<|>\n", "c] = size(A);",
     "A = zeros(2, 3);\n[r, c] = size(A);\n"},
    {"after a comma after an expression that ends in a number", "m = max(A > 0.5,<|>\n", "2);",
     "m = max(A > 0.5, 2);\n"},
    {"after a row's semicolon where the file writes none inside a line", "x = 1;\nM = [x;<|>\n", "2];",
     "x = 1;\nM = [x; 2];\n"},
    {"after a number in a matrix", "M = [1 0<|>\n", "2];", "M = [1 0 2];\n"},
    {"after an operator written with a blank before it", "x = 2;\ny = x *<|>\n", "(x + 1);",
     "x = 2;\ny = x * (x + 1);\n"},
    {"a negation stays joined", "x = 2;\ny = -<|>\n", "(x + 1);", "x = 2;\ny = -(x + 1);\n"},
    {"a property's size", "classdef C\n    properties\n        Gain<|>\n    end\nend\n", "(1,1) double = 1",
     "classdef C\n    properties\n        Gain (1,1) double = 1\n    end\nend\n"},
    {"a size written tight",
     "function f(x, y)\n    arguments\n        x (:,<|>\n    end\n    z = max(x, y);\nend\n", "1) double",
     "function f(x, y)\n    arguments\n        x (:,1) double\n    end\n    z = max(x, y);\nend\n"},
    {"a cell indexed again", "c = {{1, 2}};\nname = c{1}<|>\n", "{2};", "c = {{1, 2}};\nname = c{1}{2};\n"},
    {"a declared type after its name, as the block writes them",
     "classdef C\n    properties\n        IsRed logical\n        Order<|>\n    end\nend\n", "uint8",
     "classdef C\n    properties\n        IsRed logical\n        Order uint8\n    end\nend\n"},
    {"or as a declaration with its size above writes them",
     "function f(x0, o)\n    arguments\n        x0 (:,1) double\n        o<|>\n    end\nend\n",
     "struct = struct()",
     "function f(x0, o)\n    arguments\n        x0 (:,1) double\n        o struct = struct()\n    "
     "end\nend\n"},
    {"a declared type and default after its name, as the completion's next line writes them",
     "classdef C\n    properties\n        N (1,1) double = 1\n        Order<|>\n    end\nend\n",
     "uint8 = 2\nTag string = \"a\"",
     "classdef C\n    properties\n        N (1,1) double = 1\n        Order uint8 = 2\n        Tag string = "
     "\"a\"\n    end\nend\n"},
    {"an argument list lined up under the rows'",
     "classdef M < int8\n    enumeration\n        Off   (0)\n        Gray<|>\n    end\nend\n", "(2)",
     "classdef M < int8\n    enumeration\n        Off   (0)\n        Gray  (2)\n    end\nend\n"},
    {"numbers lined up by their ends, past a sign in the row above", "k = [ a   0\n      0  -b\n      0<|>\n",
     "m];", "k = [ a   0\n      0  -b\n      0   m];\n"},
    {"a row's elements padded as the row pads them", "C = [4217  4192<|>\n", "4181];",
     "C = [4217  4192  4181];\n"},
    {"a row's first element padded as the rest of the row the reply writes", "C = [4217<|>\n",
     "4192  4181  4178];", "C = [4217  4192  4181  4178];\n"},
    {"a table's padded column after as many cells as the row above",
     "r = {\n    [5 5 3],       16\n    [10 3 4],<|>\n    };\n", "24",
     "r = {\n    [5 5 3],       16\n    [10 3 4],      24\n    };\n"},
    {"a row begun in the editor's blanks lined up by its end",
     "T = [ 1.0  2.5;...\n      8.0  3.5;...\n      <|>\n", "10.0  4.5];",
     "T = [ 1.0  2.5;...\n      8.0  3.5;...\n     10.0  4.5];\n"},
    {"two names the file writes apart after a bracket, though it writes them joined elsewhere",
     "rc = 1;\na = [r c];\nb = [r<|>\n", "c];", "rc = 1;\na = [r c];\nb = [r c];\n"},
    {"a sign after an operand subtracts", "n = 3;\ni = 0:n<|>\n", "-1;", "n = 3;\ni = 0:n-1;\n"},
    {"after a transpose", "p = [1 2];\nq = p;\nM = [p'<|>\n", "q'];", "p = [1 2];\nq = p;\nM = [p' q'];\n"},
    {"between a field name and a name", "s.q = 3;\nr = 2;\nM = [s.q<|>\n", "r];",
     "s.q = 3;\nr = 2;\nM = [s.q r];\n"},
    {"a comparison goes on with the typed code", "if x(1) ~= 1 || x(2)<|>\n    y = 1;\nend\n", "~= 2",
     "if x(1) ~= 1 || x(2) ~= 2\n    y = 1;\nend\n"},
    {"a transpose stays joined", "v = (1:3)<|>\n", "';", "v = (1:3)';\n"},
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.name;
}

class ReindentRows : public ::testing::TestWithParam<Row> {};

TEST_P(ReindentRows, FileAfterTheEdit) {
    const Row& row = GetParam();
    const auto [file, cursor] = unmark(row.file);
    const fit::StageTexts stages = completeWithReply(file, cursor, "```ostrel\n" + row.code + "\n```\n");
    const fit::Fitted fitted = fit::fitCompletion(file, cursor, stages, row.settings);
    ASSERT_TRUE(fitted.edit.has_value()) << fitted.emptyStage << ": " << fitted.reason;
    EXPECT_EQ(applied(file, fitted), row.after);
}

INSTANTIATE_TEST_SUITE_P(Rows, ReindentRows, ::testing::ValuesIn(kRows), [](const auto& info) {
    std::string name;
    for (char c : std::string(info.param.name))
        name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name;
});

}  // namespace
