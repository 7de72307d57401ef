// Constructs and layouts of code written outside the project, and the readings of whole files and of
// windows cut out of them.
#include <gtest/gtest.h>

#include <optional>

#include "analysis_helpers.hpp"

namespace {

using ca::testing::analyse;
using ca::testing::describeErrors;
using ca::testing::errors;
using ca::testing::printTree;
using Errors = std::vector<std::string>;

std::shared_ptr<ca::Analysis> analyseWhole(const std::string& text) {
    return ca::analyzeWholeFile(fl::i18n::to_ustring(text));
}

// Each text parses in both readings; where a tree is given, its statements read as that tree.
TEST(RealCode, ConstructsOfRealCodeAndAnyIndentationParse) {
    const struct {
        const char* text;
        const char* tree = nullptr;  // of the first statement of the script
    } cases[] = {
        {"r = area@Shape(s) * 2;\n",
         "Assignment:1(Identifier BinaryOp:1(Index:1(FunctionHandle:1(Identifier Identifier) Identifier) "
         "Number))"},
        {"obj = obj@pkg.Shape(w, w);\n",
         "Assignment:1(Identifier Index:1(FunctionHandle:1(Identifier DottedName) Identifier Identifier))"},
        {"y = (delete@handle(obj));\n"},
        {"x = 1;\nobj@Base;\n"},
        {"plot(x, x, LineWidth=2);\n",
         "ExpressionStatement:1(Index:1(Identifier Identifier Identifier Assignment:1(Identifier Number)))"},
        {"plot(x, y, ...\n    LineWidth=2, ...\n    Color=\"r\");\n"},
        {"s = struct(Name=f(1), Size=[1 2]);\n"},
        {"classdef Seq\n    methods\n        function n = end(obj, k, m), n = 3; end\n    end\nend\n"},
        {"function f(a, opts)\n    arguments\n        a double\n        opts.?graphics.Axes\n    end\n"
         "    disp(a);\nend\n"},
        {"x = 1;\n!echo done\n  !ls -l % not a comment\ny = 2;\n"},
        {"if x, y = 1; end\n"},
        {"classdef Q\n methods (Static)\n r = a(x, ~)\n [p, q] = b(~, ...\n z)\n c\n end\nend\n"},
        // Blanks between the tokens of one header expression.
        {"if a (1) % a comment\nelseif ~isempty(x) | a' * b'\nend\nwhile x == 1; x = 0; end\n"},
        {"for k = 1:3, disp(k); end\nswitch s, case {'a', 'b'}, x = 1; end\n"},
        {"for (k = 1:3)\n disp(k)\nend\n"},
        {"parfor (k = 1:3, 4)\n y(k) = k;\nend\n"},
        {"switch s\n case {'a', 'b'}\n x = 1;\n otherwise\n x = 2;\nend\n"},
        {"try\n x = 1;\ncatch err\n disp(err.message)\nend\n"},
        {"spmd\n x = 1;\nend\n"},
        {"global a b\npersistent c\n"},
        {"[a, ~, c] = deal(1, 2, 3);\n"},
        {"x = [a -b];\ny = {f (1), 'x'};\nz = a';\nw = 2^-1;\n"},
        {"h = @pkg.sub.fn;\ng = @(a, ~) a + 1;\nm = ?Shape;\n"},
        {"x(:, end) = s.(name);\n"},
        {"hold on\nformat long g\nwarning off all\nimport pkg.sub\n.*\n"},
        {"a = 0x1F + 0b101 + 1e-3 + 2i;\n"},
        {"function out = f(varargin)\n arguments (Repeating)\n varargin double\n end\n out = 1;\nend\n"},
        // Texts whose structure balances parse whatever their indentation.
        {"x = 1;\n  if x\n    y = 2;\nend\n"},
        {"if a\n    b = 1;\n    end\n"},
        {"function f(z)\nfor i = z\n    if i\nelse\n    end\nend\n"},
        {"try\n    x = 1;\n    catch\n    x = 2;\n    end\n"},
        {"\tif a\n\t\tb = 1;\n        end\n"},
        {"function a()\nx = 1;\n    function b()\n    y = 2;\n"},
        {"function s = name(c)\n    switch c\ncase 'r'\ns = 'red';\nend\n"},
        {"function t = f(n)\n  x = 1;\n  if x\n  y = 2;\nend\nend\n"},
    };
    for (const auto& c : cases) {
        for (const auto& analysis : {analyse(std::string(c.text)), analyseWhole(c.text)}) {
            EXPECT_TRUE(errors(*analysis).empty()) << c.text << describeErrors(*analysis);
        }
        if (c.tree == nullptr) continue;
        const auto analysis = analyseWhole(c.text);
        const auto first = analysis->getRootNode().getChild(0).getChild(0);
        std::string out;
        ca::testing::printTree(*analysis, first, out);
        EXPECT_EQ(out, c.tree) << c.text;
    }
}

// Errors between the edges of a window, and the errors only a whole file can show.
TEST(RealCode, ErrorsStillShow) {
    const struct {
        const char* text;
        Errors fragment;
        std::optional<Errors> whole = std::nullopt;  // when it differs from the fragment's
    } cases[] = {
        {"hold on\ny = 1 +* 2;\n", {"2:UnexpectedToken"}},
        {"clc\nclear all\nclose all\ny = (1 +;\nz = 1;\n", {"4:UnexpectedToken"}},
        {"x = 1;\ny = [1, 2\nz = 3;\n", {"3:UnbalancedBracket"}},
        {"x = 1;\nc = {1, 2\nif x\n    z = 3;\nend\n", {"3:UnbalancedBracket"}},
        {"x = 1;\nplot(x, LineWidth=2, 3);\n", {"2:PositionalAfterNameValue"}},
        // A second expression or a statement after a header's expression needs `,` or `;`.
        {"c = 1;\nif c x = 1;\nend\n", {"2:UnexpectedToken"}},
        {"x = 1;\nfor k = 1:3 disp(k);\nend\nwhile x y = 2;\nend\n",
         {"2:UnexpectedToken", "4:UnexpectedToken"}},
        {"x = 1;\nif x\nelseif x y\nend\nswitch x\n    case 1 y = 2;\nend\n",
         {"3:UnexpectedToken", "6:UnexpectedToken"}},
        // Inside `methods` a block word is a name: the line is a signature, whose parameters are names.
        {"classdef Q\n methods\n function a(obj)\n end\n methods (Access = private)\n function b(obj)\n "
         "end\n "
         "end\nend\n",
         {"5:UnexpectedToken"}},
        // `~` stands for a parameter only in a signature.
        {"x = 1;\ny = f(~, x);\n", {"2:UnexpectedToken"}},
        {"classdef Q\n methods\n r = a(obj, 1)\n [p, q] = b(obj, ...\n x)\n end\nend\n",
         {"3:UnexpectedToken"}},
        // What only a whole file reports: its first statement, and what is still open at its end.
        {"y = 1 +* 2;\nx = 1;\n", {}, Errors{"1:UnexpectedToken"}},
        {"function f()\n    x = 1;\n    if x\n        y = 2;\n    end\n", {}},
        {"function f()\n    x = 1;\nend\nfunction g()\n    if x\n        y = 2;\n    end\n",
         {},
         Errors{"4:MissingEnd"}},
        {"x = 1;\nif x\n    y = 2;\n", {}, Errors{"2:MissingEnd"}},
        {"x = 1;\ny = [1, 2\n", {}, Errors{"2:UnbalancedBracket"}},
        {"    y = 2;\nend\n", {}, Errors{"2:EndWithoutBlock"}},
        {"x = 1;\n    break\n", {}, Errors{"2:BreakOutsideLoop"}},
        {"function a()\nx = 1;\n    function b()\n    y = 2;\n    end\n",
         {},
         Errors{"3:NestedFunctionNotClosed", "5:MixedFunctionForms"}},
    };
    for (const auto& c : cases) {
        const auto fragment = analyse(std::string(c.text));
        EXPECT_EQ(errors(*fragment), c.fragment) << c.text << describeErrors(*fragment);
        const auto whole = analyseWhole(c.text);
        EXPECT_EQ(errors(*whole), c.whole.value_or(c.fragment)) << "whole file:\n"
                                                                << c.text << describeErrors(*whole);
    }
}

}  // namespace
