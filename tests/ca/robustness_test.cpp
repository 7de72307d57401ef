#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <string>

#include "analysis_helpers.hpp"
#include "ca/code_input.hpp"
#include "ca/messages/single_file_messages.hpp"
#include "ca/token/auto_completion_token_info.hpp"

namespace {

using ca::InvalidAnalysisException;
using ca::testing::analyse;

// Everything an analysis offers, so that every part of it is exercised; the whole-file reading too. Every
// node lies within its parent and is never of kind 0; children come in source order.
std::size_t useFully(const std::u16string& text) {
    auto analysis = analyse(text);
    std::size_t count =
        analysis->getComments().size() + ca::analyzeWholeFile(text)->data().diagnostics.size();
    count += ca::token::getAutoCompletionTokenInfo(analysis).getTokens().size();
    count += ca::messages::messagesOf(*analysis, ca::messages::MessageOptions{}).size();
    std::vector<lf::astapi::Node<ca::astapi::CA>> stack{analysis->getRootNode()};
    while (!stack.empty()) {
        auto node = stack.back();
        stack.pop_back();
        count += analysis->getLineOfPosition(node.getClosingPosition());
        EXPECT_NE(node.getKind(), lf::astapi::NodeKind::Unknown);
        std::size_t previous = node.getStartPosition();
        for (auto child : node.getChildren()) {
            EXPECT_GE(child.getStartPosition(), previous) << node.getKind();
            EXPECT_LE(child.getClosingPosition(), node.getClosingPosition()) << node.getKind();
            previous = child.getStartPosition();
            stack.push_back(child);
        }
    }
    return count;
}

std::string repeat(const std::string& piece, int times) {
    std::string out;
    for (int k = 0; k < times; ++k)
        out += piece;
    return out;
}

// Examples as they are and with pieces put in, cut away or cut off, and random runs of tokens, never fail.
TEST(Robustness, MutatedExamplesAndTokenSoupNeverFail) {
    std::vector<std::u16string> pieces{
        u"(",      u")",    u"[",  u"]",  u"{", u"}",     u"'",      u"\"",          u"%", u"%{\n",
        u"\n%}\n", u"...",  u"\n", u"\r", u"=", u",",     u";",      u"@",           u"~", u"\n!",
        u"@B(",    u", N=", u".?", u"\t", u"_", u"end\n", u"if x\n", u"function f\n"};
    pieces.push_back(std::u16string(1, char16_t(0xD800)));
    pieces.push_back(std::u16string(1, 0));
    std::mt19937 rng(12345);
    for (const auto& example : ca::testing::loadAllExamples()) {
        for (int round = 0; round < 60; ++round) {
            std::u16string text = example.text;
            for (int e = round == 0 ? 0 : 1 + static_cast<int>(rng() % 8); e > 0 && !text.empty(); --e) {
                const std::size_t at = rng() % (text.size() + 1);
                switch (rng() % 3) {
                    case 0:
                        text.insert(at, pieces[rng() % pieces.size()]);
                        break;
                    case 1:
                        text.erase(at, 1 + rng() % 40);
                        break;
                    default:
                        text = text.substr(std::min(at, text.size() - 1));
                }
            }
            EXPECT_NO_THROW(useFully(text)) << example.name;
        }
    }
    const char* words[] = {"x",         "end",      "if",    "else",   "(",  ")",  "[",          "]",
                           "{",         "}",        "'",     "=",      "==", "\n", " ",          ",",
                           ";",         "function", "for",   "k",      "1",  ":",  "@",          "...",
                           "%",         "\"",       "case",  "switch", "~",  ".",  "properties", "classdef",
                           "arguments", "try",      "catch", "hold",   "-",  "+"};
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        for (int k = static_cast<int>(rng() % 80); k > 0; --k)
            text += words[rng() % std::size(words)];
        EXPECT_NO_THROW(useFully(fl::i18n::to_ustring(text))) << text;
    }
}

// Only texts beyond the limits throw: too long, or nested deeper than 512 levels; long flat chains do not.
TEST(Robustness, LimitsThrowAndLongFlatTextsDoNot) {
    for (const std::string brackets : {"()", "[]", "{}"}) {
        EXPECT_NO_THROW(
            analyse("x = " + std::string(511, brackets[0]) + "1" + std::string(511, brackets[1]) + ";\n"));
        EXPECT_THROW(analyse("x = " + std::string(10000, brackets[0]) + "1"), InvalidAnalysisException);
    }
    EXPECT_NO_THROW(analyse(repeat("if x\n", 512)));
    EXPECT_THROW(analyse(repeat("if x\n", 10512)), InvalidAnalysisException);
    EXPECT_THROW(analyse("f = " + repeat("@() ", 10000) + "1;\n"), InvalidAnalysisException);
    ca::messages::SingleFileMessages messages{ca::RuntimeContextHandle{}};
    EXPECT_THROW(messages.getMessages(
                     ca::CodeInput::createFromSourceCode(fl::i18n::to_ustring(repeat("if x\n", 10512))),
                     ca::messages::getOptionsForErrorOnly()),
                 InvalidAnalysisException);
    EXPECT_THROW(analyse(std::u16string(ca::kMaxTextLength + 1, u' ')), InvalidAnalysisException);
    EXPECT_NO_THROW(analyse("x = " + repeat("-", 100000) + "1;\n"));
    EXPECT_TRUE(analyse(repeat("end\n", 20000))->hasParseErrors());
    EXPECT_FALSE(analyse("x = 1" + repeat(" + 1", 100000) + ";\n")->hasParseErrors());
    std::u16string controls;
    for (char16_t c = 0; c < 0x20; ++c)
        controls += c;
    EXPECT_NO_THROW(useFully(controls + controls));
}

TEST(Robustness, ALineOfTwoMegabytesIsQuick) {
    std::u16string line = u"x = [";
    while (line.size() < 2'000'000)
        line += u"1, 'a', b ";
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(analyse(line + u"];\n")->hasParseErrors());
    EXPECT_EQ(analyse(u"% " + std::u16string(2'000'000, u'x'))->getComments().size(), 1u);
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 2.0);
}

TEST(Robustness, UnpairedSurrogatesAreFineInCommentsAndLiteralsOnly) {
    const std::u16string lone(1, char16_t(0xDC01));
    EXPECT_FALSE(
        analyse(u"s = 'a" + lone + u"';\n% " + lone + u"\nt = \"" + lone + u"\";\n")->hasParseErrors());
    EXPECT_EQ(ca::testing::errors(*analyse(u"x = 1;\ny = 2" + lone + u";\nz = 3;\n")),
              std::vector<std::string>{"2:InvalidCharacter"});
}

}  // namespace
