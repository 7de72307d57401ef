#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "analysis_helpers.hpp"
#include "ca/lexer/scan.hpp"
#include "example_texts.hpp"

namespace {

using ca::lexer::Op;
using ca::lexer::ScanToken;
using ca::lexer::TokenKind;
using ca::lexer::Word;
using ca::testing::analyse;

bool isCode(const ScanToken& t) {
    return t.kind != TokenKind::Blank && t.kind != TokenKind::LineEnd && t.kind != TokenKind::Comment &&
           t.kind != TokenKind::BlockComment && t.kind != TokenKind::Continuation;
}

bool endsWithOperand(const ScanToken& t) {
    if (t.kind == TokenKind::Keyword) {
        return t.word == Word::If || t.word == Word::Elseif || t.word == Word::While ||
               t.word == Word::Switch || t.word == Word::Case || t.word == Word::For ||
               t.word == Word::Parfor;
    }
    if (t.kind != TokenKind::Operator) return false;
    return t.op != Op::Not && t.op != Op::Transpose && t.op != Op::DotTranspose && t.op != Op::Question;
}

bool cannotBeginExpression(const ScanToken& t) {
    if (t.kind != TokenKind::Operator) return false;
    switch (t.op) {
        case Op::Times:
        case Op::Divide:
        case Op::LeftDivide:
        case Op::Power:
        case Op::ElemTimes:
        case Op::ElemDivide:
        case Op::ElemLeftDivide:
        case Op::ElemPower:
        case Op::Equal:
        case Op::NotEqual:
        case Op::Less:
        case Op::LessEqual:
        case Op::Greater:
        case Op::GreaterEqual:
        case Op::And:
        case Op::Or:
        case Op::AndAnd:
        case Op::OrOr:
            return true;
        default:
            return false;
    }
}

// The library cuts the cursor's line in two and puts a line end after the prefix. Wherever the cut
// leaves an operator at the end of the first part, an expression keyword, or an operator that cannot
// begin an expression at the start of the second, and between the elements of a bracket, the text
// still parses. Every such place of every example is tried, at both ends of the blanks there.
TEST(ImplicitContinuation, ExamplesCutInTwoAtOperatorsStillParse) {
    int tried = 0;
    for (const auto& example : ca::testing::loadExamples()) {
        std::vector<ScanToken> tokens;
        ca::lexer::scan(example.text, tokens);
        int depth = 0;
        int failures = 0;
        for (std::size_t k = 0; k + 1 < tokens.size() && failures < 3; ++k) {
            const ScanToken& t = tokens[k];
            if (t.op == Op::LParen || t.op == Op::LBracket || t.op == Op::LBrace) ++depth;
            if ((t.op == Op::RParen || t.op == Op::RBracket || t.op == Op::RBrace) && depth > 0) --depth;
            if (t.kind == TokenKind::LineEnd) depth = 0;
            if (!isCode(t)) continue;
            std::size_t n = k + 1;
            while (n < tokens.size() && tokens[n].kind == TokenKind::Blank)
                ++n;
            if (n >= tokens.size() || !isCode(tokens[n])) continue;
            const bool inElements = depth > 0 && t.op == Op::Comma;
            if (!endsWithOperand(t) && !cannotBeginExpression(tokens[n]) && !inElements) continue;
            for (std::size_t at : {std::size_t(t.offset + t.length), std::size_t(tokens[n].offset)}) {
                std::u16string cut = example.text.substr(0, at) + u"\n" + example.text.substr(at);
                auto analysis = analyse(cut);
                ++tried;
                if (analysis->hasParseErrors()) {
                    ++failures;
                    ADD_FAILURE() << example.name << " cut at " << at << "\n"
                                  << fl::i18n::to_string(cut.substr(at > 80 ? at - 80 : 0, 160)) << "\n---\n"
                                  << ca::testing::describeErrors(*analysis);
                }
            }
        }
    }
    EXPECT_GT(tried, 1000);
}

TEST(ImplicitContinuation, TheDocumentedCases) {
    for (const char* text :
         {"y =\nx + 1;\n", "if a\n> 0\n    b = 1;\nend\n", "z = a &&\n    b;\n", "for k =\n1:3\nend\n",
          "c = 1 ...\n    + 2;\n", "f = @\nsin;\n", "w = a\n.* b;\n"}) {
        auto analysis = analyse(std::string(text));
        EXPECT_FALSE(analysis->hasParseErrors()) << text << ca::testing::describeErrors(*analysis);
    }
    // The continued line is one statement: an assignment, not an assignment and an expression.
    auto analysis = analyse(std::string("y =\nx + 1;\n"));
    EXPECT_EQ(ca::testing::printTree(*analysis),
              "File:1-2(Script:1-2(Assignment:1-2(Identifier BinaryOp:2(Identifier Number))))");
}

}  // namespace
