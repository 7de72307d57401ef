// The edit that reaches the file, for the places an editor's cursor usually is, through the real
// library, analyser and formatter with replies as models write them.
#include "fit/completion_edit.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "fit_support.hpp"
#include "fl/i18n.hpp"
#include "support/log_capture.hpp"

namespace {

using fit_testing::applied;
using fit_testing::completeWithReply;
using fit_testing::unmark;

std::string fenced(const std::string& code) {
    return "Here it is:\n```ostrel\n" + code + "\n```\n";
}

struct Row {
    const char* name;
    std::string file;      // with the cursor marked "<|>"
    std::string reply;     // the model's whole reply
    std::string expected;  // the file after the edit ("" when nothing is offered)
    std::string emptyStage = "";
};

const Row kRows[] = {
    {"end of a complete line starts a new line", "x = 1;\nx = 5<|>\nz = 3;\n", fenced("y = 2;"),
     "x = 1;\nx = 5\ny = 2;\nz = 3;\n"},
    {"an infill reply that starts with a line break", "x = 1;\nx = 5<|>\nz = 3;\n",
     "```ostrel\n\ny = 2;\n```", "x = 1;\nx = 5\ny = 2;\nz = 3;\n"},
    {"after an end", "for k = 1:3\n    s = k;\nend<|>\n", fenced("period = 2;"),
     "for k = 1:3\n    s = k;\nend\nperiod = 2;\n"},
    {"after a statement's semicolon", "a = 1;<|>\n", fenced("b = a + 1;"), "a = 1;\nb = a + 1;\n"},
    {"a line written out again replaces the rest of its statement, not a comment",
     "x = zeros<|>(2) % size\ny = 1;\n", fenced("x = zeros(n, 1);"), "x = zeros(n, 1); % size\ny = 1;\n"},
    {"nor the statements after it", "x = zeros<|>(2); y = 3;\n", fenced("x = zeros(n, 1);"),
     "x = zeros(n, 1); y = 3;\n"},
    {"at the end of a file still being written, the lines pruning cut go in", "x = 1;\nif x\n    <|>\n",
     fenced("y = 2;\nz = 3;"), "x = 1;\nif x\n    y = 2;\n    z = 3;\n"},
    {"and a block is not cut to its first line there",
     "function t = f(v)\n    t = 0;\n    for i = 1:3\n        <|>\n",
     fenced("if v(i) < 0\n    t = t + v(i);\nend"),
     "function t = f(v)\n    t = 0;\n    for i = 1:3\n        if v(i) < 0\n            t = t + v(i);\n       "
     " end\n"},
    {"a closing line put back keeps the blank line before it once", "function f()\n<|>\nend\n",
     fenced("for i = 1:2\n    x = i;\n\nend"),
     "function f()\n    for i = 1:2\n        x = i;\n\n    end\nend\n"},
    {"a closing word typed at the body's column goes to its block's",
     "function f(a)\n    if a\n        x = 1;\n        e<|>\nend\n", fenced("end"),
     "function f(a)\n    if a\n        x = 1;\n    end\nend\n"},
    {"and so does a clause word", "function f(a)\n    if a\n        x = 1;\n        els<|>\nend\n",
     fenced("else\n    y = 2;\nend"),
     "function f(a)\n    if a\n        x = 1;\n    else\n        y = 2;\n    end\nend\n"},
    {"a reply at the line's own indentation after a statement is the next line",
     "function f()\n    y = 1;<|>\nend\n", fenced("    y = 2;"),
     "function f()\n    y = 1;\n    y = 2;\nend\n"},
    {"but goes on the line where the lines around write statements side by side",
     "function f()\n    a = 1;    b = 2;\n    y = 1;<|>\nend\n", fenced("    y = 2;"),
     "function f()\n    a = 1;    b = 2;\n    y = 1;    y = 2;\nend\n"},
    {"inside a function above its end", "function f()\n    x = 1;\n    <|>\nend\n",
     fenced("for k = 1:3\n    x = x + k;\nend"),
     "function f()\n    x = 1;\n    for k = 1:3\n        x = x + k;\n    end\nend\n"},
    {"an if at the end of a file is closed", "x = 1;\nif <|>", fenced("x > 0\n    y = 1;"),
     "x = 1;\nif x > 0\n    y = 1;\nend"},
    {"inside a word", "n = 3;\nz = zer<|>os(n, 1)\n", fenced("zeros(n, 1);"), "n = 3;\nz = zeros(n, 1);\n"},
    {"a reply that starts with a blank restarts no word", "m = [false true<|>\n", fenced(" true false];"),
     "m = [false true true false];\n"},
    {"nor a typed row's number, the reply's blank less than the row's indentation",
     "F = [1 0 0\n    0 1 0\n    0<|>\n", fenced(" 0 1];"), "F = [1 0 0\n    0 1 0\n    0 0 1];\n"},
    {"nor one that writes the typed word whole as the next element", "m = [false true true<|>\n",
     fenced("true false];"), "m = [false true true true false];\n"},
    {"nor a one-letter name the reply writes as a word of its own",
     "k = [ c*c  c*s\n      c*s  s*s\n      c*c<|>\n", fenced("c*s];"),
     "k = [ c*c  c*s\n      c*s  s*s\n      c*c  c*s];\n"},
    {"outside a matrix a word written whole restarts the typed one",
     "function r = f(total)\n    r = total<|>\nend\n", fenced("total + 1;"),
     "function r = f(total)\n    r = total + 1;\nend\n"},
    {"a product in a padded table is one cell",
     "R = [1-2*y   2*x     2*z\n     2*x     1-2*z   2*y\n     2*z     2<|>\n", fenced("*y     1-2*x];"),
     "R = [1-2*y   2*x     2*z\n     2*x     1-2*z   2*y\n     2*z     2*y     1-2*x];\n"},
    {"so is a quotient", "b5 = [16/135  0  6656/12825  2/55];\nb4 = [25/<|>\n",
     fenced("216  0  1408/2565   0   ];"),
     "b5 = [16/135  0  6656/12825  2/55];\nb4 = [25/216  0  1408/2565   0   ];\n"},
    {"a number's digits are no word to restart", "w = [1.5 4.5<|>\n", fenced("5.5 6.5];"),
     "w = [1.5 4.5 5.5 6.5];\n"},
    {"a superclass's method call goes on after the method's name",
     "classdef C < S\n    methods\n        function s = describe(obj)\n            s = describe<|>\n        "
     "end\n    end\nend\n",
     fenced("@S(obj);"),
     "classdef C < S\n    methods\n        function s = describe(obj)\n            s = describe@S(obj);\n    "
     "    end\n    end\nend\n"},
    {"the model restarts the line", "function r = f(total)\n    r = total<|>\nend\n",
     fenced("    r = total + 1;"), "function r = f(total)\n    r = total + 1;\nend\n"},
    {"a blank after the cursor stays", "switch k\n    case 1\n        x = 1;\n    case<|>\nend\n",
     fenced(" 2"), "switch k\n    case 1\n        x = 1;\n    case 2\nend\n"},
    {"a CRLF file keeps CRLF", "x = 1;\r\nfor k = 1:3\r\n    <|>\r\nend\r\n", fenced("y = k;\nz = y;"),
     "x = 1;\r\nfor k = 1:3\r\n    y = k;\r\n    z = y;\r\nend\r\n"},
    {"a one-line if's end goes on its line", "x = 0;\nif x > 1, x = 1;<|>\ny = x;\n", fenced("end\nz = y;"),
     "x = 0;\nif x > 1, x = 1; end\nz = y;\ny = x;\n"},
    {"and so does an empty one's", "while false, end\nif true;<|>\nx = 1;\n", fenced("end"),
     "while false, end\nif true; end\nx = 1;\n"},
    {"the rest of the line is replaced, not repeated", "x = foo(<|>)\n", fenced("1, 2)"), "x = foo(1, 2)\n"},
    {"a typed comma is spaced as the rest of its list, not as the lines around",
     "plot(x, y, 'r', 'LineWidth', 2);\nm = containers.Map({'I','V',<|>\n", fenced("'X','L'}, {1, 5});"),
     "plot(x, y, 'r', 'LineWidth', 2);\nm = containers.Map({'I','V','X','L'}, {1, 5});\n"},
    {"a reply cut at the token limit", "x = 1;\n<|>", "```ostrel\nfor k = 1:3\n    x = x + k;\nend\ny = x +",
     "x = 1;\nfor k = 1:3\n    x = x + k;\nend"},
    {"a fence without a tag", "x = 1;\n<|>", "```\ny = x + 1;\n```", "x = 1;\ny = x + 1;"},
    {"a reply with no code inside an over-indented line offers nothing of what follows",
     "if a\n    b = 1;\n    <|>    c = 2;\nend\n", "Sorry, no code.", "", "extraction"},
    {"a fence of another language stays empty", "x = 1;\n<|>", "```python\ny = x + 1\n```", "", "extraction"},
    {"a file of blanks asks the model nothing", "   \n<|>", fenced("x = 1;"), "", "input"},
    {"a call goes on inside open brackets", "c = onCleanup(@() fclose<|>\nx = 1;\n", fenced("(fid));"),
     "c = onCleanup(@() fclose(fid));\nx = 1;\n"},
    // Flat replies at the end of a line: what cannot start a statement continues it.
    {"code is not glued to a comment line", "x = 1;\n% scale it<|>\n", fenced("y = 2*x;\nz = y;"),
     "x = 1;\n% scale it\ny = 2*x;\nz = y;\n"},
    {"a binary sign goes on", "x = 1;\ny = x<|>\n", fenced("- 2;"), "x = 1;\ny = x - 2;\n"},
    {"an anonymous function's body", "f = @(t)<|>\n", fenced("[t; 2*t];"), "f = @(t) [t; 2*t];\n"},
    {"a declaration's type after its size",
     "classdef C\n    properties\n        Owner (1,1)<|>\n    end\nend\n", fenced("string = \"\""),
     "classdef C\n    properties\n        Owner (1,1) string = \"\"\n    end\nend\n"},
    {"two words the file writes apart", "dt = 1;\nF = [dt 0];\nG = [1 dt<|>\n", fenced("1];"),
     "dt = 1;\nF = [dt 0];\nG = [1 dt 1];\n"},
    {"a blank goes before an operator that has one after it", "y = isnumeric(a)<|>\n",
     fenced("|| ndims(a) > 2;"), "y = isnumeric(a) || ndims(a) > 2;\n"},
    {"a blank goes after an operator written with one before it", "total =<|>\n", fenced("0;"),
     "total = 0;\n"},
    {"no blank after an operator written without one", "total=<|>\n", fenced("0;"), "total=0;\n"},
    {"a blank after a keyword", "classdef<|>\n  properties\n  end\nend\n", fenced("C < handle"),
     "classdef C < handle\n  properties\n  end\nend\n"},
    {"a closing word is not glued to a typed name",
     "classdef C\n  properties\n    b = false<|>\n    c\n  end\nend\n",
     "```ostrel\n\nend\n\nproperties (Access = private)\n```",
     "classdef C\n  properties\n    b = false\n  end\n\n  properties (Access = private)\n    c\n  "
     "end\nend\n"},
    {"a name after catch is its identifier", "try\n    x = 1;\ncatch<|>\nend\n", fenced("ME\n    disp(ME);"),
     "try\n    x = 1;\ncatch ME\n    disp(ME);\nend\n"},
    {"a blank before an opening bracket after an operator", "y =<|>\n", fenced("(a + b)/2;"),
     "y = (a + b)/2;\n"},
    {"no blank after a unary sign", "y = -<|>\n", fenced("(a + b);"), "y = -(a + b);\n"},
    {"no blank after a comma that follows a number", "x = zeros(1,<|>\n", fenced("3);"), "x = zeros(1,3);\n"},
    {"a blank after a number's comma where the completion's later lines space their commas",
     "d = zeros(1,<|>\n", fenced("26);\ng = {'a', 'b'};"), "d = zeros(1, 26);\ng = {'a', 'b'};\n"},
    {"an enumeration member's arguments are no size, and sizes tell nothing of lists",
     "classdef C\n    properties\n        S (1,1) double\n        L (1,3) logical\n    end\n    enumeration\n"
     "        Red (30, [1 0 0])\n        Amber (2,<|>\n    end\nend\n",
     fenced("[1 1 0])"),
     "classdef C\n    properties\n        S (1,1) double\n        L (1,3) logical\n    end\n    enumeration\n"
     "        Red (30, [1 0 0])\n        Amber (2, [1 1 0])\n    end\nend\n"},
    {"a separator with a blank before it as the typed line writes its own", "if ( r > 0 ) ; r = -r<|>\n",
     fenced("; end"), "if ( r > 0 ) ; r = -r ; end\n"},
    {"a call's comma spaced as the calls around, not the cells",
     "s = {'M','CM','D'};\nf(a, b);\nerror('x',<|>\n", fenced("'y');"),
     "s = {'M','CM','D'};\nf(a, b);\nerror('x', 'y');\n"},
    {"a blank after a comma where the line has them", "f(a, b,<|>\n", fenced("c);"), "f(a, b, c);\n"},
    {"a call's comma as the calls around write theirs, not the functions' parameters",
     "function a(h, e, d)\nset(h,'Value',1);\nend\n\nfunction b(h, e, d)\nidx = get(h,<|>\nend\n",
     fenced("'Value');"),
     "function a(h, e, d)\nset(h,'Value',1);\nend\n\nfunction b(h, e, d)\nidx = get(h,'Value');\nend\n"},
    {"a function's parameters tell a call's comma where no call around has one",
     "function v = pick(c, k)\ns = {'M','CM','D'};\nerror('x',<|>\nend\n", fenced("'y');"),
     "function v = pick(c, k)\ns = {'M','CM','D'};\nerror('x', 'y');\nend\n"},
    {"a table's cell padded into the column of the rows above",
     "c = {'cup',  2.5,    'imperial'\n     'tsp',  4.9,<|>\n", fenced("'imperial'};"),
     "c = {'cup',  2.5,    'imperial'\n     'tsp',  4.9,    'imperial'};\n"},
    {"a first cell padded into the column of the completion's rows below it", "c = {\n    'ab',<|>\n",
     fenced("1\n'cdef',  2};"), "c = {\n    'ab',    1\n    'cdef',  2};\n"},
    {"a first row's cell padded into the columns of the rows the completion writes in its matrix",
     "R = [ c  0<|>\n", fenced("s\n0  1  0\n-s  0  c];"), "R = [ c  0  s\n      0  1  0\n     -s  0  c];\n"},
    {"and one blank where the typed row pads its own", "k = [ a*a  a*b<|>\n",
     fenced("-a*a -a*b\na*b  b*b -a*b -b*b];"), "k = [ a*a  a*b -a*a -a*b\n      a*b  b*b -a*b -b*b];\n"},
    {"no padding from the completion's rows after it closes the bracket the typed line is in",
     "c = struct( ...\n    'a',   {'x', ...\n           'y',<|>\n", fenced("'z'}, ...\n'bb',  {1});"),
     "c = struct( ...\n    'a',   {'x', ...\n           'y', 'z'}, ...\n    'bb',  {1});\n"},
    {"no padding from the completion's rows inside the bracket its first line leaves open",
     "switch a\n    case 1\n        R<|>\nend\n", fenced("= [1  0  0\n0  c -s\n0  s  c];"),
     "switch a\n    case 1\n        R = [1  0  0\n             0  c -s\n             0  s  c];\nend\n"},
    {"no padding from the completion's rows below a line of code at the typed line's indentation",
     "cutoff = 1;\nkeep<|>\n", fenced("= 2;\nraw.zone = 3;\nraw.vwc  = 4;"),
     "cutoff = 1;\nkeep = 2;\nraw.zone = 3;\nraw.vwc  = 4;\n"},
    {"a table of matrices pads a cell into the column of the rows above",
     "c = {\n    [1 0; 0 2],  [1 0]\n    [0 0],<|>\n", fenced("[0 0]};"),
     "c = {\n    [1 0; 0 2],  [1 0]\n    [0 0],       [0 0]};\n"},
    {"a typed cell left open lines up with the rows' cells that close on their lines",
     "s = struct( ...\n    'to',   {'JFK',    'FRANK', 'AMS'}, ...\n    'dep',  {[10 05],  [17 30],<|>\n",
     fenced("[09 00]});"),
     "s = struct( ...\n    'to',   {'JFK',    'FRANK', 'AMS'}, ...\n    'dep',  {[10 05],  [17 30], [09 "
     "00]});\n"},
    {"a typed cell that closes its own bracket lines up with the rows' closing ones",
     "x.a = {[1 5], [0 3],  [2 2]};\nx.b = {[4 4], [9 9],<|>\n", fenced("[1 1]};"),
     "x.a = {[1 5], [0 3],  [2 2]};\nx.b = {[4 4], [9 9],  [1 1]};\n"},
    {"names padded to their `=`s pad no value", "cfg.areaM2   = [4.2 4.2 3.6];\ncfg.flowLpm  = [8<|>\n",
     fenced("8 6];"), "cfg.areaM2   = [4.2 4.2 3.6];\ncfg.flowLpm  = [8 8 6];\n"},
    {"a number typed in a name-value vector is an element where the file's vectors for the name say so",
     "r(ax, 'Position', [0 0 1 1]);\nr(ax, 'Position', [0.4 0 0.2<|>\n", fenced("1]);"),
     "r(ax, 'Position', [0 0 1 1]);\nr(ax, 'Position', [0.4 0 0.2 1]);\n"},
    {"a typed row's sign goes on with its number, not into the next column",
     "cal = [\n   -20.02    97120\n   -<|>\n    -5.03    42320];\n", fenced("10.00    55330"),
     "cal = [\n   -20.02    97120\n   -10.00    55330\n    -5.03    42320];\n"},
    {"no padding inside a matrix of the table the typed line leaves open",
     "c = {\n    [1 1],     [1 0]\n    [3],       [1 2]\n    [1 0<|>\n", fenced("0],   [1 1]};"),
     "c = {\n    [1 1],     [1 0]\n    [3],       [1 2]\n    [1 0 0],   [1 1]};\n"},
    {"a help text's last paragraph stays at the help's column after a blank line",
     "function z = f(x)\n%F  Help.\n%<|>\n\n    z = x;\nend\n",
     "```ostrel\n%   Example\n%       z = f(1);\n\n%   Copyright 2024 Group.\n```\n",
     "function z = f(x)\n%F  Help.\n%   Example\n%       z = f(1);\n\n%   Copyright 2024 Group.\n\n    z = "
     "x;\nend\n"},
    {"an index's end inside the bracket a one-line block's statement leaves open",
     "line = 1;\nif line ~= 1, lines(<|>\n", fenced("end+1) = line; end"),
     "line = 1;\nif line ~= 1, lines(end+1) = line; end\n"},
    {"an argument line from the editor's blanks goes where the model put the next one",
     "function f = g()\n    f = struct('a', 1, ...\n    <|>\nend\n",
     fenced("'b', 2, ...\n               'c', 3);"),
     "function f = g()\n    f = struct('a', 1, ...\n               'b', 2, ...\n               'c', "
     "3);\nend\n"},
    {"a text after a typed text is a new element, not a quote inside it",
     "codons = {'CTT' 'L'; 'CTG'<|>\n    'ATT' 'I'};\n", fenced("'L'"),
     "codons = {'CTT' 'L'; 'CTG' 'L'\n    'ATT' 'I'};\n"},
    {"a table's cell padded after a row's semicolon",
     "data = {\n    'Mn', 54.938;    'Fe', 55.845;    'Co', 58.933\n    'Cu', 63.546;<|>\n    };\n",
     fenced("'Zn', 65.38;     'Ga', 69.723"),
     "data = {\n    'Mn', 54.938;    'Fe', 55.845;    'Co', 58.933\n    'Cu', 63.546;    'Zn', 65.38;     "
     "'Ga', "
     "69.723\n    };\n"},
    {"a text after an element of texts joined is the next element", "q = ['\"' name<|>\n", fenced("'\"'];"),
     "q = ['\"' name '\"'];\n"},
    {"and so in a row of texts shorter than the one above", "w = [\"the\" \"a\" \"an\" ...\n     \"on\"<|>\n",
     fenced("\"as\" \"by\"];"), "w = [\"the\" \"a\" \"an\" ...\n     \"on\" \"as\" \"by\"];\n"},
    {"but a quote that reads as a transpose glued stays glued", "E = [A<|>\n", fenced("' A'];"),
     "E = [A' A'];\n"},
    {"a binary minus in a matrix whose elements the completion separates with commas", "R = [1 -<|>\n",
     fenced("2*(y^2 + z^2),   2*(x*y - w*z)];"), "R = [1 - 2*(y^2 + z^2),   2*(x*y - w*z)];\n"},
    {"a comma as its list's neighbours on the line write theirs", "r = Q(0, p(1,k), p(2,<|>\n",
     fenced("k), p(3,k));"), "r = Q(0, p(1,k), p(2,k), p(3,k));\n"},
    {"a comment's column is no table's", "tEnd = 2*L/c;     % period\nenergy =<|>\n", fenced("cell(3);"),
     "tEnd = 2*L/c;     % period\nenergy = cell(3);\n"},
    {"a signed number after a number is the next element", "p = [2 0<|>\n", fenced("-1];"),
     "p = [2 0 -1];\n"},
    {"a continuation marker a blank apart, whatever a help text's `f(...)` shows",
     "% F(...) draws.\nx = [1 2<|>\n", fenced("...\n3];"), "% F(...) draws.\nx = [1 2 ...\n    3];\n"},
    {"a continuation marker stays tight where the file writes it so", "T = [1 2;...\n     3 4;<|>\n",
     fenced("...\n     5 6];"), "T = [1 2;...\n     3 4;...\n     5 6];\n"},
    {"an assignment's value stays tight after its `=` as the lines around write theirs",
     "HF =interp1(a,b,P);\nSF =interp1(a,c,P);\nT  =<|>\n", fenced("interp1(a,d,P);"),
     "HF =interp1(a,b,P);\nSF =interp1(a,c,P);\nT  =interp1(a,d,P);\n"},
    {"a sign that starts a continued line is binary", "n = numel(a) ...\n    +<|>\n", fenced("numel(b);"),
     "n = numel(a) ...\n    + numel(b);\n"},
    {"a command's bare words the file writes", "more off\nplot(x);\nhold<|>\n", fenced("off"),
     "more off\nplot(x);\nhold off\n"},
    {"a command's bare word as the file writes the command", "hold on\nplot(x);\nhold<|>\n",
     fenced("off\naxis equal"), "hold on\nplot(x);\nhold off\naxis equal\n"},
    {"a command's bare word as the completion writes the command below", "plot(x);\nyyaxis<|>\n",
     fenced("left\nplot(y);\nyyaxis right"), "plot(x);\nyyaxis left\nplot(y);\nyyaxis right\n"},
    {"a library function's bare word as a command", "plot(x);\naxis<|>\n", fenced("tight"),
     "plot(x);\naxis tight\n"},
    {"a command after a statement on its line", "clc; clear<|>\n", fenced("all"), "clc; clear all\n"},
    {"a command's option and path", "plot(x);\nprint<|>\n", fenced("-dpng out/f.png"),
     "plot(x);\nprint -dpng out/f.png\n"},
    {"a command's words up to the statement after it", "plot(x);\nclose<|>\n", fenced("all; clc"),
     "plot(x);\nclose all; clc\n"},
    {"a library function's text as a command", "plot(x);\ntitle<|>\n", fenced("'Run 3'"),
     "plot(x);\ntitle 'Run 3'\n"},
    {"a library function's name that goes on as another's", "x = 1;\ndisp<|>\n", fenced("lay"),
     "x = 1;\ndisplay\n"},
    {"an enumeration's member apart from its arguments as the member above writes it",
     "classdef Day\n    enumeration\n        Monday (1)\n        Tuesday<|>\n    end\nend\n", fenced("(2)"),
     "classdef Day\n    enumeration\n        Monday (1)\n        Tuesday (2)\n    end\nend\n"},
    {"and under the arguments of the line above where the members pad them into a column",
     "classdef P\n    enumeration\n        Mercury (3.3e23, 2.4e6)\n        Venus<|>\n        Mars    "
     "(6.4e23)\n"
     "    end\nend\n",
     fenced("(4.9e24, 6.1e6)"),
     "classdef P\n    enumeration\n        Mercury (3.3e23, 2.4e6)\n        Venus   (4.9e24, 6.1e6)\n        "
     "Mars "
     "   (6.4e23)\n    end\nend\n"},
    {"or the completion's next member does",
     "classdef P\n    enumeration\n        Mercury (3.3e23)\n        Venus<|>\n",
     fenced("(4.9e24)\nMars    (6.4e23)\nend\nend"),
     "classdef P\n    enumeration\n        Mercury (3.3e23)\n        Venus   (4.9e24)\n        Mars    "
     "(6.4e23)\n"
     "    end\nend\n"},
    {"a declaration's size one blank from its name, whatever the column of the one above",
     "classdef A\n    properties\n        HashCount (1,1) double\n        Count<|>\n    end\nend\n",
     fenced("(1,1) double = 0"),
     "classdef A\n    properties\n        HashCount (1,1) double\n        Count (1,1) double = 0\n    "
     "end\nend\n"},
    {"a decimal number's row goes on with the next element where a blank makes it as long as the rows",
     "C = [0 0 0; 0.6 0.3 0; 1 0.6<|>\n", fenced("0; 0 0 1];"), "C = [0 0 0; 0.6 0.3 0; 1 0.6 0; 0 0 1];\n"},
    {"a typed word the model corrects as it writes the line out again is replaced",
     "x = 1:3;\ny = sm<|>\ndisp(y)\n", fenced("y = sum(x);"), "x = 1:3;\ny = sum(x);\ndisp(y)\n"},
    {"but not a name the file writes", "sm = 2;\ny = sm<|>\n", fenced("y = sum(x);"),
     "sm = 2;\ny = sm\ny = sum(x);\n"},
    {"a line of statements side by side goes on with the next", "q.W = w; q.X = x;<|>\n", fenced("q.Y = y;"),
     "q.W = w; q.X = x; q.Y = y;\n"},
    {"a statement goes on with the rest of a row of statements the line above writes",
     "s(1).a = 'x';  s(1).b = 1; s(1).c = 2;\ns(2).a = 'yy';<|>\n", fenced("s(2).b = 3; s(2).c = 4;"),
     "s(1).a = 'x';  s(1).b = 1; s(1).c = 2;\ns(2).a = 'yy'; s(2).b = 3; s(2).c = 4;\n"},
    {"and so does a statement the completion's first line goes on with in a row of like statements",
     "for r = 1:3\n    d = moves(r, 1);<|>\nend\n", fenced("a = moves(r, 2); b = moves(r, 3);"),
     "for r = 1:3\n    d = moves(r, 1); a = moves(r, 2); b = moves(r, 3);\nend\n"},
    {"but not one unlike the row's first", "d = moves(r, 1);<|>\n",
     fenced("a = other(r, 2); b = other(r, 3);"), "d = moves(r, 1);\na = other(r, 2); b = other(r, 3);\n"},
    {"and so do the session commands", "close all;<|>\nx = 1;\n", fenced("clear all; clc"),
     "close all; clear all; clc\nx = 1;\n"},
    {"and so does a pair of statements the file writes side by side",
     "hold off; grid on\nplot(x);\nhold off;<|>\n", fenced("grid on"),
     "hold off; grid on\nplot(x);\nhold off; grid on\n"},
    {"but a block's header starts a line below them", "a = 1; b = 2;<|>\n", fenced("if a\nc = 3;\nend"),
     "a = 1; b = 2;\nif a\n    c = 3;\nend\n"},
    {"a comma after a number as the lines around write it", "Q(1, :) = P(1, :);\nR(2,<|>\n",
     fenced(":) = 0;"), "Q(1, :) = P(1, :);\nR(2, :) = 0;\n"},
    {"as many blanks after a comma as the line has", "w = [ 0.1,  0.2,<|>\n", fenced("0.3];"),
     "w = [ 0.1,  0.2,  0.3];\n"},
    {"a comma spaced as the rest of its list in the reply", "f(a,b);\ng(x,<|>\n", fenced("y, 'p,q', z);"),
     "f(a,b);\ng(x, y, 'p,q', z);\n"},
    {"a comma spaced as its list, not as the line's other commas", "c = {'a',   {1,<|>\n", fenced("2, 3}};"),
     "c = {'a',   {1, 2, 3}};\n"},
    {"a comma after a blank, the commas of a closed bracket before it aside", "for j=[1,2,3] ,<|>\n",
     fenced("g(j)=1 ; end"), "for j=[1,2,3] , g(j)=1 ; end\n"},
    {"a row's sign after a semicolon", "y0 = [0;<|>\n", fenced("-r * y];"), "y0 = [0; -r * y];\n"},
    {"commas in comments and texts do not count", "% a, b, c, d\ns = 'x, y, z';\nf(a,b);\ng(a,<|>\n",
     fenced("b);"), "% a, b, c, d\ns = 'x, y, z';\nf(a,b);\ng(a,b);\n"},
    {"a reply that first repeats the end and the blank line above the cursor",
     "function f(a)\n    if a\n        b = 1;\n    end\n\n    <|>\nend\n",
     "```ostrel\n    end\n\n    c = 2;\n```",
     "function f(a)\n    if a\n        b = 1;\n    end\n\n    c = 2;\nend\n"},
    {"the blank line a reply ends with is kept", "a = 1;\n<|>\nb = 2;\n", "```ostrel\nc = 3;\n\n```",
     "a = 1;\nc = 3;\n\nb = 2;\n"},
    {"but not after the block pruning cut the reply at, which ends like the reply",
     "for d = 1:3\n  if d > 1\n    chosen = d;\n<|>\n%% Local functions\nfunction c = f(t)\n  c = t;\nend\n",
     "```ostrel\n    break\n  end\nend\nif isnan(chosen)\n  disp(1);\nend\n\n```",
     "for d = 1:3\n  if d > 1\n    chosen = d;\n    break\n  end\nend\n%% Local functions\nfunction c = "
     "f(t)\n  c = "
     "t;\nend\n"},
    {"the blank line before the code below that the reply wrote out again", "a = 1;\n<|>\nb = 2;\n",
     fenced("c = 3;\n\nb = 2;"), "a = 1;\nc = 3;\n\nb = 2;\n"},
    {"a function left without its end gets one",
     "function a()\n    x = 1;\n<|>\nfunction b()\n    y = 2;\nend\n", fenced("x = 2;\nend"),
     "function a()\n    x = 1;\n    x = 2;\nend\nfunction b()\n    y = 2;\nend\n"},
    {"an end that would close the other functions' form is not offered",
     "function a()\n    x = 1;\n<|>\nfunction b()\n    y = 2;\n", fenced("x = 2;\nend"), "", "final check"},
    // Closing lines the reply repeats from above the cursor are kept when the file needs them.
    {"an end below an end that deduplication dropped",
     "for k = 1:3\n    if k > 1\n        x = k;\n    end\n<|>\ny = 2;\n", fenced("end"),
     "for k = 1:3\n    if k > 1\n        x = k;\n    end\nend\ny = 2;\n"},
    {"an end deduplication took for the one below, after lines that only write out those above",
     "function f(x)\r\nif x\r\n   z = 1;\r\n   y = 2;<|>\r\nend\r\n\r\nfunction g()\r\nend\r\n",
     fenced("   z = 1;\n   y = 2;\nend"),
     "function f(x)\r\nif x\r\n   z = 1;\r\n   y = 2;\r\nend\r\nend\r\n\r\nfunction g()\r\nend\r\n"},
    {"the same at a blank line below them",
     "function f(x)\r\nfor k = 1:2\r\n    z = 1;\r\n    y = 2;\r\n<|>\r\nend\r\n\r\nfunction g()\r\nend\r\n",
     fenced("    z = 1;\n    y = 2;\nend"),
     "function f(x)\r\nfor k = 1:2\r\n    z = 1;\r\n    y = 2;\r\nend\r\nend\r\n\r\nfunction g()\r\nend\r\n"},
    {"an end on a new line after an end",
     "%% Loop\nwhile go\n    if a\n        b = 1;\n    end<|>\nend\nc();\n",
     "```ostrel\n\nend\n\n%% Next\nfor k = 1:2\n    d = k;\n```",
     "%% Loop\nwhile go\n    if a\n        b = 1;\n    end\nend\n\n%% Next\nfor k = 1:2\n    d = "
     "k;\nend\nc();\n"},
    {"an end and a statement at a blank line below an end",
     "function f(c)\n    for s = 1:2\n        if c\n            x = 1;\n        end\n        <|>\nend\n"
     "function g()\nend\n",
     fenced("end\ny = x;"),
     "function f(c)\n    for s = 1:2\n        if c\n            x = 1;\n        end\n    end\n    y = x;\n"
     "end\nfunction g()\nend\n"},
    // Closing lines of a flat reply that read like those above, or like those below, may be its own.
    {"flat ends of a loop's body and of the loop",
     "function f(a)\n while a\n  if a\n   try\n   catch\n   end\n   <|>\nend\n", fenced("end\nk = 1;\nend"),
     "function f(a)\n while a\n  if a\n   try\n   catch\n   end\n  end\n  k = 1;\n end\nend\n"},
    {"a flat end below an end, then the next method",
     "classdef S\n methods\n  function a(o)\n   while o\n    if o\n    end\n    <|>\n  end\n end\nend\n",
     fenced("end\nx = 1;\nend\n\nfunction b(o)\ny = 2;"),
     "classdef S\n methods\n  function a(o)\n   while o\n    if o\n    end\n   end\n   x = 1;\n  end\n\n  "
     "function "
     "b(o)\n   y = 2;\n  end\n end\nend\n"},
    {"a flat end that deduplication took for the one above",
     "classdef T\n methods\n  function a(o)\n   if o\n   end\n<|>\n  function b(o)\n  end\n end\nend\n",
     fenced("end\n\nfunction c(o)\nend\nend\n\nmethods (Access = private)"),
     "classdef T\n methods\n  function a(o)\n   if o\n   end\n  end\n\n  function c(o)\n  end\n end\n\n "
     "methods "
     "(Access = private)\n  function b(o)\n  end\n end\nend\n"},
    {"flat ends that deduplication took for those above, then a function",
     "function a(s)\n  while s\n    if s\n    end\n<|>\n    y = t;\n  end\nend\n",
     fenced("end\nend\n\nfunction b(u)\nfor t = u"),
     "function a(s)\n  while s\n    if s\n    end\n  end\nend\n\nfunction b(u)\n  for t = u\n    y = t;\n  "
     "end\nend\n"},
    {"a method's end and the next method of a dropped reply",
     "classdef C\n methods\n  function a(o)\n   if o\n   end\n   <|>\n  end\n end\nend\n",
     fenced("end\n\nfunction b(o)\nif o\ny = 2;\nend"),
     "classdef C\n methods\n  function a(o)\n   if o\n   end\n  end\n\n  function b(o)\n   if o\n    y = "
     "2;\n   "
     "end\n  end\n end\nend\n"},
    {"the ends removed after the reply do not follow its first block",
     "classdef C\n methods\n  function a(o)\n   arguments\n    x (1,1)<|>\nend\n",
     fenced("double\nend\nend\n\nfunction b(o)\nend\nend\nend"),
     "classdef C\n methods\n  function a(o)\n   arguments\n    x (1,1) double\n   end\n  end\n\n  function "
     "b(o)\n  end\n end\nend\n"},
    {"a function without end whose body ends with a loop",
     "function a()\nfor k = 1:2\n    x = k;\n<|>\n\nfunction b()\ny = 1;\n", fenced("end"),
     "function a()\nfor k = 1:2\n    x = k;\nend\n\nfunction b()\ny = 1;\n"},
    {"the last end of a file of nested functions",
     "function main()\nx = 1;\nfunction a()\n    x = 2;\nend\nfunction b()\n    x = 3;\nend\nfunction c()\n  "
     "  if x ==<|>",
     fenced("0\n        x = 4;\n    end\nend\nend"),
     "function main()\nx = 1;\nfunction a()\n    x = 2;\nend\nfunction b()\n    x = 3;\nend\nfunction c()\n  "
     "  if x == "
     "0\n        x = 4;\n    end\nend\nend"},
    {"an end put back rather than the code below written out again",
     "while go\n    if a\n        b = 1;\n    end<|>\nend\nc = 2;\n",
     "```ostrel\n\nend\n\nfor k = 1:2\n    d = k;\nend\nc = 2;\n```",
     "while go\n    if a\n        b = 1;\n    end\nend\n\nfor k = 1:2\n    d = k;\nend\nc = 2;\n"},
    {"a reply cut inside the lines above that it writes out again",
     "for c = 1:2\n    n = c;\n    if n == 0\n        <|>\n    elseif n > 1\n        m = 2;\n    end\nend\n",
     "```ostrel\n    n = c;\n    if n == 0\n        m = 1;\n```",
     "for c = 1:2\n    n = c;\n    if n == 0\n        m = 1;\n    elseif n > 1\n        m = 2;\n    "
     "end\nend\n"},
    {"no blank after a sign that starts a matrix element", "m = [0 -<|>\n", fenced("1; 1 0];"),
     "m = [0 -1; 1 0];\n"},
    {"nor in a matrix opened on a line above", "m = [1 2\n     3 -<|>\n", fenced("4];"),
     "m = [1 2\n     3 -4];\n"},
    {"a signed number goes on a first row shorter than the one below", "m = [\n    1 -2<|>\n    4 5 6];\n",
     fenced("-3;"), "m = [\n    1 -2 -3;\n    4 5 6];\n"},
    {"a number the completion's first one starts with is the row's element before it, as the rows' length "
     "says",
     "c = [0 0 0; 1 0.5 0; ...\n     0<|>\n", fenced("0.6 0; 1 1 1];"),
     "c = [0 0 0; 1 0.5 0; ...\n     0 0.6 0; 1 1 1];\n"},
    {"and so is one that is the typed number again", "p = [0 1 0\n     0 0 1\n     1<|>\n", fenced("1 1];"),
     "p = [0 1 0\n     0 0 1\n     1 1 1];\n"},
    {"an assignment lined up with those above", "x.a    = 1;\nx.long = 2;\nx.b<|>\n", fenced("= 3;"),
     "x.a    = 1;\nx.long = 2;\nx.b    = 3;\n"},
    {"a blank after a sign before a name in a matrix", "d = [p2 -<|>\n", fenced("p1; p3 - p1];"),
     "d = [p2 - p1; p3 - p1];\n"},
    {"comment lines below a bare comment sign", "function f()\n    %<|>\n    x = 1;\nend\n",
     "```ostrel\n\n    %   more text\n```", "function f()\n    %\n    %   more text\n    x = 1;\nend\n"},
    {"a line above written out again is not glued to typed code", "x = 1;\nif x<|>\nend\n",
     fenced("x = 1;\nif x > 0\n    y = 2;"), "x = 1;\nif x > 0\n    y = 2;\nend\n"},
    {"an error the reply adds is not offered", "x = 1;\n<|>\ny = 2;\n", fenced("z = (x + ;"), "",
     "validation"},
    {"code is not glued to a comment after code", "x = 1; % scale it<|>\n", fenced("y = 2*x;\nz = y;"),
     "x = 1; % scale it\ny = 2*x;\nz = y;\n"},
    {"nor after lines deduplication removed, whose blanks are theirs",
     "function p = f(r)\n\tp = 0;\n\tfor k = 1:2\n\t\tif r\n\t\t\tp = k; % note<|>\n\tq = 1;\nend\n",
     fenced("\t\tif r\n\t\t\tp = k; % note\n\t\tend\n\tend\nend\n\nfunction q = g()"),
     "function p = f(r)\n\tp = 0;\n\tfor k = 1:2\n\t\tif r\n\t\t\tp = k; % "
     "note\n\t\tend\n\tend\nend\n\nfunction "
     "q = g()\n\tq = 1;\nend\n"},
    {"a single line after lines deduplication removed is no comment's rest",
     "function p = f(w)\n    p = 0;\n    for k = 1:2\n        d = k;\n        if d ~= 0\n            p = d; "
     "% "
     "note<|>\n        end\n    end\nend\n",
     fenced(
         "        if d ~= 0\n            p = d; % note\n            if p == 4\n                break\n       "
         "     end\n        end\n        if d ~= 1\n            q = d;"),
     "function p = f(w)\n    p = 0;\n    for k = 1:2\n        d = k;\n        if d ~= 0\n            p = d; "
     "% "
     "note\n            if p == 4\n                break\n            end\n        end\n        if d ~= 1\n  "
     "   "
     "       q = d;\n        end\n    end\nend\n"},
    {"a reply below an empty line restarts no word", "p = [R tau<|>\n", "```ostrel\n\ntauN 0];\n```",
     "p = [R tau\n     tauN 0];\n"},
    {"an end at another column than the end above is no repeat",
     "function f(v)\n    for k = 1:2\n        if v\n            x = 1;\n        end\n<|>\n    y = 2;\nend\n",
     fenced("    end\n    z = 3;"),
     "function f(v)\n    for k = 1:2\n        if v\n            x = 1;\n        end\n    end\n    z = 3;\n   "
     " y = "
     "2;\nend\n"},
    {"an end at the margin below an indented end, the reply's blanks only in lines the library cut off",
     "x = 0;\nfor k = 1:3\n    if k > 1\n        x = k;\n    end\n<|>\n    if x\n        y = 1;\n    "
     "end\nend\n",
     fenced("end\nz = 2;\n\nfor j = 1:2\n    y = j;"),
     "x = 0;\nfor k = 1:3\n    if k > 1\n        x = k;\n    end\nend\nz = 2;\n\nfor j = 1:2\n    y = j;\n   "
     " if "
     "x\n        y = 1;\n    end\nend\n"},
    {"a loop typed at the end of a script takes the reply's own end and lines, not one the fitter adds",
     "n = [10 100];\nfor<|>",
     fenced("k = 1:numel(n)\n    p = rand(n(k), 2);\n    e(k) = mean(p(:));\nend\ndisp(e);"),
     "n = [10 100];\nfor k = 1:numel(n)\n    p = rand(n(k), 2);\n    e(k) = mean(p(:));\nend\ndisp(e);"},
    {"a block comment's end below a nested one's closes the comment the cursor is in",
     "%{\nnotes\n%{\ninner\n%}\n<|>\nx = 1;\n", fenced("%}\n\ny = 2;"),
     "%{\nnotes\n%{\ninner\n%}\n%}\n\ny = 2;\nx = 1;\n"},
    {"a bare comment sign below a comment line that follows one",
     "% Title\n%\n% Details.<|>\n% Last\nx = 1;\n", "```ostrel\n\n%\n```",
     "% Title\n%\n% Details.\n%\n% Last\nx = 1;\n"},
    {"a bare comment sign between comment lines is no repeat", "% first\n<|>\n% last\nx = 1;\n", fenced("%"),
     "% first\n%\n% last\nx = 1;\n"},
    {"a row's next element that ends the typed row is no repeat", "A = [1, 0, 0<|>\n     2, 0, 0];\n",
     fenced(", 0\n     3, 0, 0, 0"), "A = [1, 0, 0, 0\n     3, 0, 0, 0\n     2, 0, 0];\n"},
    {"an end at the margin of an empty line below an indented end is no repeat",
     "function f(a)\nif a\n    for k = 1:2\n        x = 1;\n        x = 1;\n        x = 1;\n        x = 1;\n "
     "       x = 1;\n        x = 1;\n        x = 1;\n    end\n<|>\n    end\nend\nend\n",
     fenced("end\n\nif ~a\n    for k = 1:3"),
     "function f(a)\nif a\n    for k = 1:2\n        x = 1;\n        x = 1;\n        x = 1;\n        x = 1;\n "
     "       x = 1;\n        x = 1;\n        x = 1;\n    end\nend\n\nif ~a\n    for k = 1:3\n    "
     "end\nend\nend\n"},
    {"an end before code further left is no repeat",
     "function f(v)\n    for k = 1:2\n        if v\n            x = 1;\n        end\n        <|>\n    y = "
     "2;\nend\n",
     fenced("end\n    z = 3;"),
     "function f(v)\n    for k = 1:2\n        if v\n            x = 1;\n        end\n    end\n    z = 3;\n   "
     " y = "
     "2;\nend\n"},
    {"an end after the lines written out again at a line end",
     "function f(d)\n  try\n    x = d(1);\n  catch\n    x = 0;\n  end\n  d(1) = x;<|>\n\nfunction g(d)\n  y "
     "= "
     "d;\nend\n",
     fenced("  end\n  d(1) = x;\nend"),
     "function f(d)\n  try\n    x = d(1);\n  catch\n    x = 0;\n  end\n  d(1) = x;\nend\n\nfunction g(d)\n  "
     "y = "
     "d;\nend\n"},
    {"comment lines after a bare comment sign written out again", "% F  Parse.\n%\tf() turns\n%<|>\nx = 1;\n",
     fenced("%\tf() turns\n%\n%\t\t[serial]"), "% F  Parse.\n%\tf() turns\n%\n%\t\t[serial]\nx = 1;\n"},
    {"an end deduplication took for the one below goes back when it mends the file",
     "function k = f(x)\n    if x > 1\n        k = 1;\n    <|>\nend\n\nfunction g()\nend\n",
     fenced("elseif x > 0\nk = 2;\nelse\nk = 3;\nend"),
     "function k = f(x)\n    if x > 1\n        k = 1;\n    elseif x > 0\n        k = 2;\n    else\n"
     "        k = 3;\n    end\nend\n\nfunction g()\nend\n"},
    {"a class block after the one it follows",
     "classdef W\n    methods\n        function f(d)\n            if d\n            end\n            "
     "<|>\nend\n",
     fenced("end\n    end\n    methods (Static)\n    end"),
     "classdef W\n    methods\n        function f(d)\n            if d\n            end\n        end\n    "
     "end\n    methods (Static)\n    end\nend\n"},
    {"an end kept for the ends below",
     "function f(n)\n    for i = 1:n\n        for j = 1:n\n            if j\n            end\n            "
     "<|>\n\n    y = 0;\nend\n",
     fenced("end\n    end"),
     "function f(n)\n    for i = 1:n\n        for j = 1:n\n            if j\n            end\n        end\n  "
     "  end\n\n    y = 0;\nend\n"},
    {"an end after the cursor's line written out",
     "function f(n)\nfor k = 1:n\n  P(k) = k;\nend<|>\nx = 1;\nend\n",
     fenced("  P(k) = k;\nend\nend\n\nfunction g()\nK = 1;"),
     "function f(n)\nfor k = 1:n\n  P(k) = k;\nend\nend\n\nfunction g()\nK = 1;\nx = 1;\nend\n"},
    {"a function nests no deeper",
     "function main()\nx = 1;\nfunction a()\n    for k = 1:x\n        y = k;\n    end\n<|>\nend\n",
     fenced("end\n\nfunction b()\n    y = 2;\nend\nend"),
     "function main()\nx = 1;\nfunction a()\n    for k = 1:x\n        y = k;\n    end\nend\n\nfunction b()\n "
     "   y = 2;\nend\nend\n"},
    {"a small class is read whole",
     "classdef S < handle\nproperties\nend\nproperties(Dependent)\nend\nmethods\nfunction "
     "obj=S()\nend\nfunction start(obj)\nend\nfunction lap(obj)\n    if ~obj.Running\n    "
     "end\nend\n<|>\nend\nend\nfunction reset(obj)\nend\nend\nmethods(Static)\nfunction "
     "t=time(fn,n)\nend\nend\nend\n",
     fenced("function t=stop(obj)\n    t=obj.Elapsed;\n    obj.Running=false;\nend\nfunction "
            "t=get.Elapsed(obj)\n    if isempty(obj.StartedAt)\n        t=0;"),
     "classdef S < handle\nproperties\nend\nproperties(Dependent)\nend\nmethods\nfunction "
     "obj=S()\nend\nfunction start(obj)\nend\nfunction lap(obj)\n    if ~obj.Running\n    end\nend\nfunction "
     "t=stop(obj)\n    t=obj.Elapsed;\n    obj.Running=false;\nend\nfunction t=get.Elapsed(obj)\n    if "
     "isempty(obj.StartedAt)\n        t=0;\nend\nend\nfunction "
     "reset(obj)\nend\nend\nmethods(Static)\nfunction t=time(fn,n)\nend\nend\nend\n"},
    {"one of two ends written out again is the file's",
     "function f(n)\nx = 1;\n<|>\nend\nend\n\nfunction g()\nend\n",
     fenced("for k = 1:n\n    while k\n        k = k - 1;\n    end\nend\nend"),
     "function f(n)\nx = 1;\nfor k = 1:n\n    while k\n        k = k - 1;\n    end\nend\nend\n\nfunction "
     "g()\nend\n"},
    // Functions without `end` whose last one ends with a block: with the block's opening line cut away
    // the file reads as one function closed by the block's `end`, which the completion gives back.
    {"a block's opening line in the last of functions without end",
     "function out = f(n)\nout = zeros(n, 1);\nfor k = 1:n\n    out(k) = k^2;\n    <|>\n        out(k) = "
     "50;\n"
     "    end\nend",
     fenced("if out(k) > 50"),
     "function out = f(n)\nout = zeros(n, 1);\nfor k = 1:n\n    out(k) = k^2;\n    if out(k) > 50\n        "
     "out(k) "
     "= 50;\n    end\nend"},
    {"a function without end and its block's body, the block's end last",
     "function t = f(v)\nt = 0;\nfor k = 1:numel(v)\n    t = t + v(k);\nend\n\n<|>\nend\n\n\n",
     fenced("function g(v)\nswitch numel(v)\n    case 0\n        disp('none');\n    otherwise\n        "
            "disp('some');"),
     "function t = f(v)\nt = 0;\nfor k = 1:numel(v)\n    t = t + v(k);\nend\n\nfunction g(v)\nswitch "
     "numel(v)\n    "
     "case 0\n        disp('none');\n    otherwise\n        disp('some');\nend\n\n\n"},
    {"indented functions without end, a comment after the last block's end",
     "function p(d)\n    n = numel(d);\n    for k = 1:n\n        d(k) = d(k) + 1;\n    end\n\n<|>\n    "
     "end\n% done\n",
     fenced("function q(d)\n    try\n        assert(all(d > 0));\n    catch err\n        disp(d);"),
     "function p(d)\n    n = numel(d);\n    for k = 1:n\n        d(k) = d(k) + 1;\n    end\n\nfunction "
     "q(d)\n    "
     "try\n        assert(all(d > 0));\n    catch err\n        disp(d);\n    end\n% done\n"},
    // A function closed by `end` keeps it from a block the completion leaves open where that block would
    // not read as one: its closing line away from its column, or no body right of it.
    {"a block left open does not take an indented function's end", "function f()\n    x = 1;\n    <|>\nend\n",
     fenced("if x > 0\n    y = 1;"), "", "final check"},
    {"a block left open does not take a function's end over a body at its column",
     "function f()\nx = 1;\n<|>\nfor k = 1:3\n    y = k;\nend\nend\n", fenced("if x > 0"), "", "final check"},
    {"a block left open does not take a function's end over code that goes back left of its body",
     "function f(p)\np = p(:).';<|>\nC = diag(p);\nif numel(p) > 1\n    C = C';\nend\nend\n",
     fenced("\nwhile p(1) == 0\n    p(1) = [];"), "", "final check"},
    {"the ends that repeat those below go last", "function f()\n    x = 1;\n    <|>\nend\n",
     fenced("x = 2;\nend\nend"), "function f()\n    x = 1;\n    x = 2;\nend\n"},
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.name;
}

class CompletionEditRows : public ::testing::TestWithParam<Row> {};

TEST_P(CompletionEditRows, FileAfterTheEdit) {
    const Row& row = GetParam();
    const auto [file, cursor] = unmark(row.file);
    const fit::StageTexts stages = completeWithReply(file, cursor, row.reply);
    const fit::Fitted fitted = fit::fitCompletion(file, cursor, stages, fit::IndentSettings{});
    SCOPED_TRACE("completion: " + fl::i18n::to_string(stages.completion) + "\nreason: " + fitted.reason);
    if (row.expected.empty()) {
        EXPECT_FALSE(fitted.edit.has_value()) << applied(file, fitted);
        EXPECT_EQ(fitted.emptyStage, row.emptyStage);
        EXPECT_FALSE(fitted.reason.empty());
        return;
    }
    ASSERT_TRUE(fitted.edit.has_value()) << fitted.emptyStage;
    EXPECT_EQ(applied(file, fitted), row.expected);
    // An editor shows the text at the cursor: the edit starts there unless it re-indents the line.
    EXPECT_LE(fitted.edit->start, cursor);
}

INSTANTIATE_TEST_SUITE_P(Rows, CompletionEditRows, ::testing::ValuesIn(kRows), [](const auto& info) {
    std::string name;
    for (char c : std::string(info.param.name))
        name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name;
});

// An empty completion says in the log, at the stage level, which stage emptied it and why.
TEST(CompletionEditLog, SaysWhyThereIsNoEdit) {
    const auto [file, cursor] = unmark("x = 1;\n<|>");
    const fit::StageTexts stages = completeWithReply(file, cursor, "```python\ny = 2\n```");
    testing_support::LogCapture capture(8);
    const fit::Fitted fitted = fit::fitCompletion(file, cursor, stages, fit::IndentSettings{});
    EXPECT_FALSE(fitted.edit);
    const auto records = capture.texts("fit::CompletionEdit");
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0], "no completion: the extraction stage left nothing: " + fitted.reason);
    EXPECT_NE(fitted.reason.find("\"python\""), std::string::npos);
}

}  // namespace

// After the lines above that a reply writes out again, blanks just as the cursor line's are the editor's
// written out again with them. In a long file whose columns wander a little, the model's `end` at the
// body's column would otherwise stand as written.
TEST(CompletionEditFile, BlanksWrittenOutAgainWithTheLinesAboveAreTheEditors) {
    std::ifstream in(std::string(OSTREL_SOURCE_DIR) + "/tests/data/fresh/weather_dashboard.ost",
                     std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    const fl::ustring original = fl::i18n::to_ustring(text.str());
    const fl::ustring closing = u"        drawnow limitrate\n    end\nend\n";
    const std::size_t at = original.find(closing);
    ASSERT_NE(at, fl::ustring::npos);
    const std::size_t cursorLine = at + closing.find(u"    end");
    const fl::ustring file =
        original.substr(0, cursorLine) + u"        \n" + original.substr(at + closing.size());
    const std::size_t cursor = cursorLine + 8;
    const fit::StageTexts stages = completeWithReply(
        file, cursor,
        "```ostrel\n        set(status, 'String', msg);\n        drawnow limitrate\n        end\nend\n```");
    const fit::Fitted fitted = fit::fitCompletion(file, cursor, stages, {});
    ASSERT_TRUE(fitted.edit.has_value()) << fitted.emptyStage << ": " << fitted.reason;
    EXPECT_EQ(applied(file, fitted), fl::i18n::to_string(original));
}
