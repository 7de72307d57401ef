#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "analysis_helpers.hpp"

namespace {

using ca::testing::analyse;
using ca::testing::printTree;
using lf::astapi::NodeKind;

// Scripts, classes and function files, with clauses as children of their constructs.
TEST(Tree, ShapesOfScriptsClassesAndFunctions) {
    const std::pair<const char*, const char*> cases[] = {
        {"x = 1; % c\n%% s\ny = x' + [1, 2; 3 4];\n",
         "File:1-3(Script:1-3(Assignment:1(Identifier Number) Assignment:3(Identifier BinaryOp:3(Postfix:3("
         "Identifier) Matrix:3(Row:3(Number Number) Row:3(Number Number))))))"},
        {"classdef (Sealed) Shape < handle & pkg.Base\n"
         "    properties (Access = private)\n"
         "        Name (1,1) string = \"a\"\n"
         "    end\n"
         "    events\n"
         "        Changed\n"
         "    end\n"
         "    enumeration\n"
         "        Red (1, 0, 0)\n"
         "    end\n"
         "    methods\n"
         "        function obj = Shape(n)\n"
         "            obj.Name = n;\n"
         "        end\n"
         "        area(obj)\n"
         "    end\n"
         "end\n",
         "File:1-17(ClassDef:1-17(Attributes:1(Identifier) Identifier Superclasses:1(Identifier DottedName) "
         "Properties:2-4(Attributes:2(Assignment:2(Identifier Identifier)) PropertyDefinition:3(Identifier "
         "ArgumentList:3(Number Number) Identifier String)) Events:5-7(EventName) "
         "Enumeration:8-10(EnumerationMember:9(Identifier Number Number Number)) "
         "Methods:11-16(MethodDefinition:12-14(OutputList:12(Identifier) Identifier "
         "InputList:12(InputArgument:12(Identifier)) Assignment:13(Field:13(Identifier Identifier) "
         "Identifier)) "
         "ExpressionStatement:15(Index:15(Identifier Identifier)))))"},
        {"function [a, b] = f(x, ~)\n"
         "switch x\n"
         "    case 1\n"
         "        a = 1;\n"
         "    otherwise\n"
         "        a = 2;\n"
         "end\n"
         "try\n"
         "    b = g(x);\n"
         "catch err\n"
         "    b = 0;\n"
         "end\n"
         "while a < 3, a = a + 1; end\n"
         "end\n"
         "function g(y)\n"
         "h = @(z) z(end, :);\n"
         "end\n",
         "File:1-17(Function:1-14(OutputList:1(Identifier Identifier) Identifier InputList:1(InputArgument:1("
         "Identifier) InputArgument:1(Ignored)) Switch:2-7(Identifier Case:3-4(Number "
         "Assignment:4(Identifier "
         "Number)) Otherwise:5-6(Assignment:6(Identifier Number))) Try:8-12(Assignment:9(Identifier "
         "Index:9(Identifier Identifier)) Catch:10-11(Identifier Assignment:11(Identifier Number))) "
         "While:13(BinaryOp:13(Identifier Number) Assignment:13(Identifier BinaryOp:13(Identifier Number)))) "
         "Function:15-17(Identifier InputList:15(InputArgument:15(Identifier)) Assignment:16(Identifier "
         "AnonymousFunction:16(InputList:16(Identifier) Index:16(Identifier EndIndex ColonAll)))))"}};
    for (const auto& [text, tree] : cases)
        EXPECT_EQ(printTree(*analyse(std::string(text))), tree) << text;
}

TEST(Tree, ClosingPositionsKindNamesLinesAndComments) {
    const std::string text = "function r = f(a, ~)\n    r = a;\nend";
    auto root = analyse(text)->getRootNode();
    EXPECT_EQ(root.getClosingPosition(), text.size() - 1);
    EXPECT_EQ(root.getChild(0).getClosingPosition(), text.size() - 1);
    // A function without end closes at its last statement.
    EXPECT_EQ(
        analyse(std::string("function f\n    x = 1;\n\n"))->getRootNode().getChild(0).getClosingPosition(),
        std::string("function f\n    x = 1;").size() - 1);
    std::ostringstream names;
    names << NodeKind::InputArgument << " " << NodeKind::MethodDefinition << " " << static_cast<NodeKind>(0)
          << " " << static_cast<NodeKind>(99);
    EXPECT_EQ(names.str(), "InputArgument MethodDefinition NodeKind(0) NodeKind(99)");
    auto empty = analyse(std::u16string());
    EXPECT_EQ(printTree(*empty), "File:1(Script)");
    EXPECT_EQ(empty->getRootNode().getClosingPosition(), 0u);
    EXPECT_EQ(empty->getLineOfPosition(0), 1u);
    EXPECT_FALSE(empty->lineHas(1, 2));
    auto a = analyse(std::string("x = 1;\n  \n  % note\n\t\nend_ = 2;\r\n"));
    std::string nonBlank;
    for (std::uint32_t line = 0; line <= 6; ++line)
        nonBlank += a->lineHas(line, 2) ? "1" : "0";
    EXPECT_EQ(nonBlank, "0101010");
    EXPECT_EQ(a->getLineCount(), 5u);
    EXPECT_EQ(a->getLineOfPosition(6), 1u);  // the line feed belongs to its line
    EXPECT_EQ(a->getLineOfPosition(7), 2u);
    EXPECT_EQ(a->getLineOfPosition(1000), 5u);
    // Line, block and continuation comments with their lines and closing positions.
    const std::string commented = "x = 1; % a\n%{\nblock\n%}\ny = 2 + ... more\n    3;\n";
    auto c = analyse(commented);
    const auto& comments = c->getComments();
    ASSERT_EQ(comments.size(), 3u);
    EXPECT_EQ(comments[0].getClosingPosition(), commented.find("% a") + 2);
    EXPECT_EQ(comments[1].getLine(), 2u);
    EXPECT_EQ(c->getLineOfPosition(comments[1].getClosingPosition()), 4u);
    EXPECT_EQ(comments[2].getKind(), ca::astapi::CommentKind::Continuation);
    EXPECT_EQ(c->getLineOfPosition(ca::astapi::ClosingPosition::getClosingPosition(comments[2])), 5u);
}

}  // namespace
