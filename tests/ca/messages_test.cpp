#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "analysis_helpers.hpp"
#include "ca/code_input.hpp"
#include "ca/messages/single_file_messages.hpp"
#include "fl/i18n.hpp"

namespace {

using ca::messages::Message;

std::vector<Message> messagesOf(const std::string& text, bool errorsOnly = true) {
    ca::messages::SingleFileMessages analyser{ca::RuntimeContextHandle{}};
    auto options = errorsOnly ? ca::messages::getOptionsForErrorOnly() : ca::messages::MessageOptions{};
    return analyser.getMessages(ca::CodeInput::createFromSourceCode(fl::i18n::to_ustring(text)), options);
}

// "line:identifier: text" of each message.
std::vector<std::string> describe(const std::vector<Message>& messages) {
    std::vector<std::string> out;
    for (const Message& m : messages) {
        out.push_back(std::to_string(m.getPosition().line) + ":" + m.getIdentifier() + ": " +
                      fl::i18n::to_string(m.getText()));
    }
    return out;
}

// Every kind of error, each the only one of its text, with its line and text; the rule violations (from
// `break` outside a loop on) are errors of a text that parses.
TEST(Messages, EachErrorWithItsLineAndText) {
    const std::pair<const char*, const char*> cases[] = {
        {"x = 1;\ny = x +* 2;\nz = 3;\n", "2:UnexpectedToken: Unexpected '*' at line 2."},
        {"x = 1;\ns = 'abc;\nz = 3;\n", "2:UnterminatedText: The text literal at line 2 is not terminated."},
        {"x = 1;\ns = \"abc;\nz = 3;\n", "2:UnterminatedText: The text literal at line 2 is not terminated."},
        {"x = 1;\ny = max(1, 2;\nz = 3;\n",
         "2:UnbalancedBracket: '(' at line 2 is not closed before ';' at line 2."},
        {"x = 1;\ny = max(1, 2));\nz = 3;\n", "2:UnexpectedToken: Unexpected ')' at line 2."},
        {"x = 1;\ny = [1, 2);\nz = 3;\n", "2:UnbalancedBracket: ')' at line 2 does not match '[' at line 2."},
        {"x = 1;\nif x > 0\n    y = 2;\nz = 3;\n", "2:MissingEnd: 'if' at line 2 has no matching 'end'."},
        {"x = 1;\ny = 2;\nend\nz = 3;\n", "3:EndWithoutBlock: 'end' at line 3 has no matching block."},
        {"x = 1;\ny = 2 # 3;\n", "2:InvalidCharacter: Invalid character U+0023 at line 2."},
        {"x = 1;\nf(x) + 1 = 2;\n",
         "2:InvalidAssignmentTarget: The left side of '=' at line 2 cannot be assigned to."},
        {"x = 1;\n[a, ~b] = size(x);\n",
         "2:MisplacedTilde: '~' at line 2 can only stand for an ignored output."},
        {"x = 1;\n~ = size(x);\n",
         "2:MisplacedTilde: '~' at line 2 can only stand for an ignored output or input."},
        {"x = 1;\ny = 2;\nelse\n    y = 2;\n",
         "3:MisplacedClause: 'else' at line 3 is not inside an 'if' block."},
        {"x = 1;\ny = x(end) + end;\n",
         "2:MisplacedEnd: 'end' at line 2 can only stand inside an index here."},
        {"x = 1;\ny = 2 +;\n", "2:UnexpectedToken: Unexpected ';' at line 2."},
        {"x = 1;\nbreak\n", "2:BreakOutsideLoop: 'break' at line 2 is not inside a loop."},
        {"function f()\n    continue\nend\n",
         "2:ContinueOutsideLoop: 'continue' at line 2 is not inside a loop."},
        {"if true\n    function g()\n    end\nend\n",
         "2:FunctionInControlBlock: Function 'g' at line 2 is defined inside an 'if' block."},
        {"function a()\n    x = 1;\nend\nfunction b()\nx = 2;\nfunction c()\nx = 3;\nfunction d()\nx = 4;\n",
         "3:MixedFunctionForms: The 'end' at line 3 closes a function, but the other functions in this text "
         "have no 'end'."},
        {"x = 1;\nfunction a()\n    y = 1;\nend\nz = 2;\n",
         "5:StatementAfterFunction: The statement at line 5 comes after a local function; statements must "
         "come before the first local function."},
        {"function a()\n    y = 1;\nend\nfunction a()\n    y = 2;\nend\n",
         "4:DuplicateFunction: Function 'a' at line 4 is already defined at line 1."},
        {"function a(x)\n    y = 1;\n    arguments\n        x double\n    end\nend\n",
         "3:ArgumentsAfterStatements: The 'arguments' block at line 3 must come before the other statements "
         "of its function."}};
    constexpr std::size_t firstViolation = 15;
    for (std::size_t k = 0; k < std::size(cases); ++k) {
        const auto& [text, expected] = cases[k];
        EXPECT_EQ(describe(messagesOf(text)), std::vector<std::string>{expected}) << text;
        EXPECT_EQ(ca::testing::analyse(std::string(text))->hasParseErrors(), k < firstViolation) << text;
    }
}

TEST(Messages, EveryErrorOfATextInSourceOrderAndWarningsOnlyWhenAskedFor) {
    auto messages =
        messagesOf("x = 1;\ny = (2;\nz = 3 +* 4;\nend\ns = 'open\nfor k = 1:3\n    w = k;\nv = 5;\n");
    EXPECT_EQ(
        describe(messages),
        (std::vector<std::string>{"2:UnbalancedBracket: '(' at line 2 is not closed before ';' at line 2.",
                                  "3:UnexpectedToken: Unexpected '*' at line 3.",
                                  "4:EndWithoutBlock: 'end' at line 4 has no matching block.",
                                  "5:UnterminatedText: The text literal at line 5 is not terminated.",
                                  "6:MissingEnd: 'for' at line 6 has no matching 'end'."}));
    EXPECT_EQ(messages[1].getPosition().column, 8u);
    EXPECT_EQ(messages[1].getSeverity(), ca::messages::Severity::Error);
    const std::string unclosed = "x = 1;\n%{\nunclosed\n";
    EXPECT_TRUE(messagesOf(unclosed).empty());
    auto all = messagesOf(unclosed, false);
    EXPECT_EQ(describe(all),
              std::vector<std::string>{"2:UnclosedBlockComment: The block comment at line 2 is not closed."});
    EXPECT_EQ(all.at(0).getSeverity(), ca::messages::Severity::Warning);
    // A value a whole function assigns and never reads is a warning; error-only options leave it out.
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"function f()\n    x = 1;\n    y = 2;\n    disp(y)\n    [a, b] = size(y);\n    disp(a)\nend\n",
         {"2:UnusedVariable: The value assigned to 'x' at line 2 is never used.",
          "5:UnusedVariable: The value assigned to 'b' at line 5 is never used."}},
        {"function f()\nx = 1;\nfunction g()\ny = 2;\n",  // g may go on after the text
         {"2:UnusedVariable: The value assigned to 'x' at line 2 is never used."}},
        // Read in a nested function, returned, an input's field, persistent, read by name, a command word,
        // kept for its end, in a script, in a text with errors: none.
        {"function f()\n    x = 1;\n    g();\n    function g()\n        disp(x)\n    end\nend\n", {}},
        {"function [r, s] = f(o)\n    r = 1;\n    o.a = 1;\n    persistent n\n    n = 1;\n    [s, ~] = "
         "size(1);\nend\n",
         {}},
        {"function f()\n    x = 1;\n    eval('disp(x)')\nend\n", {}},
        {"function f()\n    x = 1;\n    disp x\n    c = onCleanup(@() disp(1));\nend\n", {}},
        {"x = 1;\n", {}},
        {"function f()\n    x = 1; y = (2;\nend\n",
         {"2:UnbalancedBracket: '(' at line 2 is not closed before ';' at line 2."}}};
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(describe(messagesOf(text, false)), expected) << text;
        for (const Message& m : messagesOf(text))
            EXPECT_EQ(m.getSeverity(), ca::messages::Severity::Error) << text;
    }
}

}  // namespace
