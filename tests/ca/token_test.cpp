#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "analysis_helpers.hpp"
#include "ca/token/auto_completion_token_info.hpp"

namespace {

using ca::token::AutoCompletionToken;

std::vector<AutoCompletionToken> tokensOf(const std::string& text) {
    return ca::token::getAutoCompletionTokenInfo(ca::testing::analyse(text)).getTokens();
}

// The records whose text is `text`, as "kind/classification/flagA flagB".
std::vector<std::string> recordsFor(const std::vector<AutoCompletionToken>& tokens,
                                    const std::u16string& text) {
    std::vector<std::string> out;
    for (const auto& t : tokens) {
        if (t.text != text) continue;
        out.push_back(fl::i18n::to_string(t.kind) + "/" + std::to_string(t.classification) + "/" +
                      (t.originFlagA ? "A" : "-") + (t.originFlagB ? "B" : "-"));
    }
    return out;
}

const std::string kProgram =
    "function out = main(x)\n"                 // 0 main, 3 out, 3 x
    "    persistent calls\n"                   // 3 calls
    "    total = helper(x) + sin(x);\n"        // 3 total, 1 helper, 5+A sin
    "    m = movmean(x, 3) + userThing(x);\n"  // 5+B movmean, 5 userThing
    "    p = pkg.sub.fn(x);\n"                 // 6 pkg.sub.fn
    "    s.field = 1;\n"                       // 3 s, 7 field
    "    h = @helper;\n"                       // 4 helper
    "    g = @cos;\n"                          // 5 cos
    "    out = inner(total) + s.field;\n"      // 2 inner
    "    hold on\n"                            // CommandWord on
    "    function r = inner(v)\n"
    "        r = v;\n"
    "    end\n"
    "end\n"
    "function y = helper(z)\n"
    "    y = z;\n"
    "end\n";

TEST(CompletionTokens, EveryClassification) {
    const auto tokens = tokensOf(kProgram);
    EXPECT_EQ(recordsFor(tokens, u"main"), std::vector<std::string>{"Identifier/0/--"});
    EXPECT_EQ(recordsFor(tokens, u"out"), (std::vector<std::string>{"Identifier/3/--", "Identifier/3/--"}));
    EXPECT_EQ(recordsFor(tokens, u"calls"), std::vector<std::string>{"Identifier/3/--"});
    EXPECT_EQ(recordsFor(tokens, u"helper"),
              (std::vector<std::string>{"Identifier/1/--", "Identifier/4/--", "Identifier/0/--"}));
    EXPECT_EQ(recordsFor(tokens, u"inner"), (std::vector<std::string>{"Identifier/2/--", "Identifier/0/--"}));
    EXPECT_EQ(recordsFor(tokens, u"sin"), std::vector<std::string>{"Identifier/5/A-"});
    EXPECT_EQ(recordsFor(tokens, u"movmean"), std::vector<std::string>{"Identifier/5/-B"});
    EXPECT_EQ(recordsFor(tokens, u"userThing"), std::vector<std::string>{"Identifier/5/--"});
    EXPECT_EQ(recordsFor(tokens, u"cos"), std::vector<std::string>{"Identifier/5/A-"});
    EXPECT_EQ(recordsFor(tokens, u"pkg.sub.fn"), std::vector<std::string>{"DottedIdentifier/6/--"});
    EXPECT_TRUE(recordsFor(tokens, u"pkg").empty());
    EXPECT_EQ(recordsFor(tokens, u"s"), (std::vector<std::string>{"Identifier/3/--", "Identifier/3/--"}));
    EXPECT_EQ(recordsFor(tokens, u"field"), (std::vector<std::string>{"Identifier/7/--", "Identifier/7/--"}));
    EXPECT_EQ(recordsFor(tokens, u"on"), std::vector<std::string>{"CommandWord/8/--"});
    EXPECT_EQ(recordsFor(tokens, u"hold"), std::vector<std::string>{"Identifier/5/A-"});
}

TEST(CompletionTokens, KindsOfOtherTokensAndPositions) {
    const auto tokens = tokensOf("x = 'a' + \"b\"; % c\nclassdef C\nend\n");
    std::vector<std::string> kinds;
    for (const auto& t : tokens)
        kinds.push_back(fl::i18n::to_string(t.kind) + ":" + std::to_string(t.classification));
    EXPECT_EQ(kinds, (std::vector<std::string>{"Identifier:3", "Operator:8", "CharArray:8", "Operator:8",
                                               "String:8", "Punctuation:8", "Comment:8", "Keyword:8",
                                               "Identifier:8", "Keyword:8"}));
    EXPECT_EQ(tokens[4].position, 10u);
    EXPECT_EQ(tokens[7].line, 2u);
    EXPECT_EQ(tokens[8].column, 10u);
}

TEST(CompletionTokens, ContextualWordsAreKeywordsOnlyAsBlocks) {
    const auto tokens = tokensOf("classdef C\n    properties\n        A\n    end\nend\nproperties = 3;\n");
    EXPECT_EQ(recordsFor(tokens, u"properties"),
              (std::vector<std::string>{"Keyword/8/--", "Identifier/3/--"}));
}

TEST(CompletionTokens, ATextThatEndsMidStatementStillClassifies) {
    // The library analyses the code before the cursor, which usually stops inside a statement.
    const auto tokens = tokensOf("count = 0;\nresult = max(count, ");
    EXPECT_EQ(recordsFor(tokens, u"count"), (std::vector<std::string>{"Identifier/3/--", "Identifier/3/--"}));
    EXPECT_EQ(recordsFor(tokens, u"result"), std::vector<std::string>{"Identifier/3/--"});
    EXPECT_EQ(recordsFor(tokens, u"max"), std::vector<std::string>{"Identifier/5/A-"});
}

}  // namespace
