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

// Everything an analysis offers, so that every part of it is exercised.
std::size_t useFully(const std::u16string& text) {
    auto analysis = analyse(text);
    std::size_t count = analysis->getComments().size();
    count += ca::token::getAutoCompletionTokenInfo(analysis).getTokens().size();
    std::vector<lf::astapi::Node<ca::astapi::CA>> stack{analysis->getRootNode()};
    while (!stack.empty()) {
        auto node = stack.back();
        stack.pop_back();
        count += analysis->getLineOfPosition(node.getClosingPosition());
        for (auto child : node.getChildren())
            stack.push_back(child);
    }
    return count;
}

TEST(Robustness, MutatedExamplesNeverFail) {
    const std::u16string pieces[] = {u"(",
                                     u")",
                                     u"[",
                                     u"]",
                                     u"{",
                                     u"}",
                                     u"'",
                                     u"\"",
                                     u"%",
                                     u"%{\n",
                                     u"\n%}\n",
                                     u"...",
                                     u"\n",
                                     u"\r",
                                     u"end\n",
                                     u"if x\n",
                                     u"function f\n",
                                     u"=",
                                     u",",
                                     u";",
                                     u"@",
                                     u"~",
                                     u"\t",
                                     std::u16string(1, char16_t(0xD800)),
                                     std::u16string(1, 0)};
    std::mt19937 rng(12345);
    int analysed = 0;
    for (const auto& example : ca::testing::loadExamples()) {
        for (int round = 0; round < 120; ++round) {
            std::u16string text = example.text;
            const int edits = 1 + static_cast<int>(rng() % 8);
            for (int e = 0; e < edits && !text.empty(); ++e) {
                const std::size_t at = rng() % (text.size() + 1);
                switch (rng() % 3) {
                    case 0:
                        text.insert(at, pieces[rng() % std::size(pieces)]);
                        break;
                    case 1:
                        text.erase(at, 1 + rng() % 40);
                        break;
                    default:
                        text = text.substr(std::min(at, text.size() - 1));
                }
            }
            EXPECT_NO_THROW(useFully(text)) << example.name;
            ++analysed;
        }
    }
    EXPECT_GT(analysed, 2000);
}

TEST(Robustness, RandomTokenSoupNeverFails) {
    const char* words[] = {"x",         "end",      "if",    "else",   "(",  ")",  "[",          "]",
                           "{",         "}",        "'",     "=",      "==", "\n", " ",          ",",
                           ";",         "function", "for",   "k",      "1",  ":",  "@",          "...",
                           "%",         "\"",       "case",  "switch", "~",  ".",  "properties", "classdef",
                           "arguments", "try",      "catch", "hold",   "-",  "+"};
    std::mt19937 rng(777);
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        const int length = static_cast<int>(rng() % 80);
        for (int k = 0; k < length; ++k)
            text += words[rng() % std::size(words)];
        EXPECT_NO_THROW(useFully(fl::i18n::to_ustring(text))) << text;
    }
}

TEST(Robustness, NestingBeyondTheLimitThrowsAndWithinItDoesNot) {
    for (const auto& [open, close] :
         {std::pair<std::string, std::string>{"(", ")"}, {"[", "]"}, {"{", "}"}}) {
        const std::string within = "x = " + std::string(512 - 1, open[0]).replace(0, 0, "") + "1" +
                                   std::string(512 - 1, close[0]) + ";\n";
        EXPECT_NO_THROW(analyse(within)) << open;
        std::string deep;
        for (int k = 0; k < 10000; ++k)
            deep += open;
        EXPECT_THROW(analyse("x = " + deep + "1"), InvalidAnalysisException) << open;
    }
    std::string blocks;
    for (int k = 0; k < 512; ++k)
        blocks += "if x\n";
    EXPECT_NO_THROW(analyse(blocks));
    for (int k = 0; k < 10000; ++k)
        blocks += "if x\n";
    EXPECT_THROW(analyse(blocks), InvalidAnalysisException);
    std::string handles = "f = ";
    for (int k = 0; k < 10000; ++k)
        handles += "@() ";
    EXPECT_THROW(analyse(handles + "1;\n"), InvalidAnalysisException);
    // The message analysis reports the same limit the same way.
    ca::messages::SingleFileMessages messages{ca::RuntimeContextHandle{}};
    EXPECT_THROW(messages.getMessages(ca::CodeInput::createFromSourceCode(fl::i18n::to_ustring(blocks)),
                                      ca::messages::getOptionsForErrorOnly()),
                 InvalidAnalysisException);
}

TEST(Robustness, LongChainsWithoutNestingDoNotThrow) {
    std::string unary = "x = ";
    for (int k = 0; k < 100000; ++k)
        unary += "-";
    EXPECT_NO_THROW(analyse(unary + "1;\n"));
    std::string ends;
    for (int k = 0; k < 20000; ++k)
        ends += "end\n";
    auto a = analyse(ends);
    EXPECT_TRUE(a->hasParseErrors());
    std::string sum = "x = 1";
    for (int k = 0; k < 100000; ++k)
        sum += " + 1";
    EXPECT_FALSE(analyse(sum + ";\n")->hasParseErrors());
}

TEST(Robustness, ALineOfTwoMegabytesIsQuick) {
    std::u16string line = u"x = [";
    while (line.size() < 2'000'000)
        line += u"1, 'a', b ";
    line += u"];\n";
    const auto start = std::chrono::steady_clock::now();
    auto a = analyse(line);
    const auto seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_FALSE(a->hasParseErrors());
    EXPECT_LT(seconds, 2.0);
    std::u16string comment = u"% " + std::u16string(2'000'000, u'x');
    EXPECT_EQ(analyse(comment)->getComments().size(), 1u);
}

TEST(Robustness, UnpairedSurrogatesAreFineInCommentsAndLiteralsOnly) {
    const std::u16string lone(1, char16_t(0xDC01));
    EXPECT_FALSE(
        analyse(u"s = 'a" + lone + u"';\n% " + lone + u"\nt = \"" + lone + u"\";\n")->hasParseErrors());
    auto a = analyse(u"x = 1;\ny = 2" + lone + u";\nz = 3;\n");
    EXPECT_EQ(ca::testing::errors(*a), std::vector<std::string>{"2:InvalidCharacter"});
}

TEST(Robustness, OnlyTooLongTextsThrow) {
    std::u16string tooLong(ca::kMaxTextLength + 1, u' ');
    EXPECT_THROW(analyse(tooLong), InvalidAnalysisException);
    EXPECT_THROW(ca::createSingleFileAnalyzer()->analyze(tooLong), InvalidAnalysisException);
    std::u16string controls;
    for (char16_t c = 0; c < 0x20; ++c)
        controls += c;
    EXPECT_NO_THROW(useFully(controls + controls));
}

}  // namespace
