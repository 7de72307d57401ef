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

// "kind/classification/flags" of the records whose text is `text`, in order.
std::string recordsFor(const std::vector<AutoCompletionToken>& tokens, const std::u16string& text) {
    std::string out;
    for (const auto& t : tokens) {
        if (t.text != text) continue;
        out += (out.empty() ? "" : " ") + fl::i18n::to_string(t.kind) + "/" +
               std::to_string(t.classification) + "/" + (t.originFlagA ? "A" : "-") +
               (t.originFlagB ? "B" : "-");
    }
    return out;
}

TEST(CompletionTokens, EveryClassification) {
    const auto tokens = tokensOf(
        "function out = main(x)\n"
        "    persistent calls\n"
        "    total = helper(x) + sin(x);\n"
        "    m = movmean(x, 3) + userThing(x);\n"
        "    p = pkg.sub.fn(x);\n"
        "    s.field = 1;\n"
        "    h = @helper;\n"
        "    g = @cos;\n"
        "    out = inner(total) + s.field;\n"
        "    hold on\n"
        "    function r = inner(v)\n"
        "        r = v;\n"
        "    end\n"
        "end\n"
        "function y = helper(z)\n"
        "    y = z;\n"
        "end\n");
    const std::pair<std::u16string, const char*> expected[] = {
        {u"main", "Identifier/0/--"},
        {u"out", "Identifier/3/-- Identifier/3/--"},
        {u"calls", "Identifier/3/--"},
        {u"helper", "Identifier/1/-- Identifier/4/-- Identifier/0/--"},
        {u"inner", "Identifier/2/-- Identifier/0/--"},
        {u"sin", "Identifier/5/A-"},      // built in
        {u"movmean", "Identifier/5/-B"},  // a library function written in Ostrel
        {u"userThing", "Identifier/5/--"},
        {u"cos", "Identifier/5/A-"},
        {u"pkg.sub.fn", "DottedIdentifier/6/--"},
        {u"pkg", ""},
        {u"s", "Identifier/3/-- Identifier/3/--"},
        {u"field", "Identifier/7/-- Identifier/7/--"},
        {u"on", "CommandWord/8/--"},
        {u"hold", "Identifier/5/A-"}};
    for (const auto& [text, records] : expected)
        EXPECT_EQ(recordsFor(tokens, text), records) << fl::i18n::to_string(text);
}

TEST(CompletionTokens, KindsOfOtherTokensPositionsAndTextsCutMidStatement) {
    const auto tokens = tokensOf("x = 'a' + \"b\"; % c\nclassdef C\nend\n");
    std::string kinds;
    for (const auto& t : tokens)
        kinds += fl::i18n::to_string(t.kind) + ":" + std::to_string(t.classification) + " ";
    EXPECT_EQ(kinds,
              "Identifier:3 Operator:8 CharArray:8 Operator:8 String:8 Punctuation:8 Comment:8 Keyword:8 "
              "Identifier:8 Keyword:8 ");
    EXPECT_EQ(tokens[4].position, 10u);
    EXPECT_EQ(tokens[7].line, 2u);
    EXPECT_EQ(tokens[8].column, 10u);
    // A contextual word is a keyword only where it opens its block.
    EXPECT_EQ(recordsFor(tokensOf("classdef C\n    properties\n        A\n    end\nend\nproperties = 3;\n"),
                         u"properties"),
              "Keyword/8/-- Identifier/3/--");
    // The library analyses the code before the cursor, which usually stops inside a statement.
    const auto cut = tokensOf("count = 0;\nresult = max(count, ");
    EXPECT_EQ(recordsFor(cut, u"count"), "Identifier/3/-- Identifier/3/--");
    EXPECT_EQ(recordsFor(cut, u"result"), "Identifier/3/--");
    EXPECT_EQ(recordsFor(cut, u"max"), "Identifier/5/A-");
}

}  // namespace
