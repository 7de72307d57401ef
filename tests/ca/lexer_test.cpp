#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "ca/lexer/token.hpp"
#include "ca/utils/line_splitter.hpp"

namespace {

using ca::lexer::Token;
using ca::lexer::TokenKind;

// Tokens without blanks and line ends, as "Kind:text" pairs, for compact comparisons.
std::vector<std::pair<TokenKind, std::u16string>> significant(const std::u16string& text) {
    std::vector<std::pair<TokenKind, std::u16string>> out;
    for (const Token& t : ca::lexer::lex(text)) {
        if (t.kind != TokenKind::Blank && t.kind != TokenKind::LineEnd) out.emplace_back(t.kind, t.text);
    }
    return out;
}

std::vector<TokenKind> kinds(const std::u16string& text) {
    std::vector<TokenKind> out;
    for (const auto& [kind, _] : significant(text))
        out.push_back(kind);
    return out;
}

void expectCovers(const std::u16string& text) {
    std::u16string joined;
    std::size_t offset = 0;
    std::uint32_t line = 1;
    for (const Token& t : ca::lexer::lex(text)) {
        ASSERT_EQ(t.offset, offset);
        ASSERT_EQ(t.line, line);
        ASSERT_FALSE(t.text.empty());
        joined += t.text;
        offset += t.text.size();
        for (char16_t c : t.text)
            line += (c == u'\n');
    }
    EXPECT_EQ(joined, text);
}

TEST(Lexer, TokensCoverTextExactly) {
    for (const std::u16string& text :
         {std::u16string(u""), std::u16string(u"x = 1;\r\ny = 'a''b' % c\r\n"), std::u16string(u"a\r\rb\n\n"),
          std::u16string(u"%{\nblock\n%}\nz...\n = [1 2\n 3];"), std::u16string(u"s = \"unterminated\nq")}) {
        expectCovers(text);
    }
}

TEST(Lexer, QuoteIsTransposeOnlyDirectlyAfterAValue) {
    using K = TokenKind;
    EXPECT_EQ(kinds(u"a'"), (std::vector<K>{K::Identifier, K::Operator}));
    EXPECT_EQ(kinds(u"x = a' + b.'"), (std::vector<K>{K::Identifier, K::Operator, K::Identifier, K::Operator,
                                                      K::Operator, K::Identifier, K::Operator}));
    EXPECT_EQ(kinds(u"y = [a 'x']"), (std::vector<K>{K::Identifier, K::Operator, K::Punctuation,
                                                     K::Identifier, K::CharArray, K::Punctuation}));
    EXPECT_EQ(kinds(u"y = x(end)'"),
              (std::vector<K>{K::Identifier, K::Operator, K::Identifier, K::Punctuation, K::Keyword,
                              K::Punctuation, K::Operator}));
    EXPECT_EQ(kinds(u"y = a''"),
              (std::vector<K>{K::Identifier, K::Operator, K::Identifier, K::Operator, K::Operator}));
    EXPECT_EQ(significant(u"y = 'it''s'").back().second, u"'it''s'");
    EXPECT_EQ(significant(u"y = \"say \"\"hi\"\"\"").back().first, K::String);
    EXPECT_EQ(kinds(u"y = 2'"), (std::vector<K>{K::Identifier, K::Operator, K::Number, K::Operator}));
}

TEST(Lexer, NumbersInAllForms) {
    for (std::u16string number :
         {u"12", u"1.5", u".5", u"5.", u"1e-3", u"1E+3", u"0x1F", u"0b101", u"3i", u"2.5j", u"1.5e3i"}) {
        auto tokens = significant(u"x = " + number + u";");
        ASSERT_EQ(tokens.size(), 4u) << fl::ustring(number).size();
        EXPECT_EQ(tokens[2].first, TokenKind::Number);
        EXPECT_EQ(tokens[2].second, number);
    }
    // The dot of an element-wise operator or a continuation is not part of the number.
    EXPECT_EQ(significant(u"y = 2.*x")[2].second, u"2");
    EXPECT_EQ(significant(u"y = 2.^x")[3].second, u".^");
    EXPECT_EQ(significant(u"y = 2...\n")[3].first, TokenKind::Continuation);
    EXPECT_EQ(significant(u"y = 1e")[2].second, u"1");
}

TEST(Lexer, BlockCommentsNestAndNeedLinesOfTheirOwn) {
    auto tokens = significant(u"a = 1;\n  %{\n x\n %{\n y\n %}\n z\n%}  \nb = 2;");
    ASSERT_EQ(tokens.size(), 9u);
    EXPECT_EQ(tokens[4].first, TokenKind::BlockComment);
    EXPECT_EQ(tokens[4].second, u"%{\n x\n %{\n y\n %}\n z\n%}");
    EXPECT_EQ(tokens[5].second, u"b");
    // %{ followed by other text is a line comment.
    EXPECT_EQ(kinds(u"%{ not a block\nx"),
              (std::vector<TokenKind>{TokenKind::Comment, TokenKind::Identifier}));
    // An unclosed one runs to the end of the text.
    EXPECT_EQ(kinds(u"x\n%{\ny = 1"),
              (std::vector<TokenKind>{TokenKind::Identifier, TokenKind::BlockComment}));
    // A closing line without opener ends a block comment that began before the text.
    auto cut = significant(u"inside the comment\n%}\nx = 1;");
    EXPECT_EQ(cut[0].first, TokenKind::BlockComment);
    EXPECT_EQ(cut[0].second, u"inside the comment\n%}");
    EXPECT_EQ(cut[1].second, u"x");
}

TEST(Lexer, CommentsAndContinuations) {
    auto tokens = ca::lexer::lex(u"x = 1 + ... more\r\n  2; % done\r\n%% Section\n");
    std::vector<TokenKind> all;
    for (const Token& t : tokens)
        all.push_back(t.kind);
    using K = TokenKind;
    EXPECT_EQ(
        all, (std::vector<K>{K::Identifier, K::Blank, K::Operator, K::Blank, K::Number, K::Blank, K::Operator,
                             K::Blank, K::Continuation, K::LineEnd, K::Blank, K::Number, K::Punctuation,
                             K::Blank, K::Comment, K::LineEnd, K::Comment, K::LineEnd}));
    EXPECT_EQ(tokens[8].text, u"... more");
    EXPECT_EQ(tokens[9].text, u"\r\n");
    EXPECT_EQ(tokens[14].text, u"% done");
    // A continuation inside a text literal is text.
    EXPECT_EQ(significant(u"s = 'a...b'").back().first, K::CharArray);
}

TEST(Lexer, CommandFormWords) {
    using K = TokenKind;
    EXPECT_EQ(kinds(u"hold on"), (std::vector<K>{K::Identifier, K::CommandWord}));
    EXPECT_EQ(kinds(u"format long g;"),
              (std::vector<K>{K::Identifier, K::CommandWord, K::CommandWord, K::Punctuation}));
    EXPECT_EQ(kinds(u"a -b"), (std::vector<K>{K::Identifier, K::CommandWord}));
    EXPECT_EQ(kinds(u"a - b"), (std::vector<K>{K::Identifier, K::Operator, K::Identifier}));
    EXPECT_EQ(kinds(u"a(1)"), (std::vector<K>{K::Identifier, K::Punctuation, K::Number, K::Punctuation}));
    EXPECT_EQ(kinds(u"a = 1"), (std::vector<K>{K::Identifier, K::Operator, K::Number}));
    EXPECT_EQ(kinds(u"disp 'a b, c' % note"), (std::vector<K>{K::Identifier, K::CommandWord, K::Comment}));
    EXPECT_EQ(kinds(u"x, warning off all"),
              (std::vector<K>{K::Identifier, K::Punctuation, K::Identifier, K::CommandWord, K::CommandWord}));
    // A variable followed by a blank is an expression, not a command.
    EXPECT_EQ(kinds(u"a = 1;\na -b"), (std::vector<K>{K::Identifier, K::Operator, K::Number, K::Punctuation,
                                                      K::Identifier, K::Operator, K::Identifier}));
    EXPECT_EQ(kinds(u"for k = 1:2\nk -1\nend").at(7), K::Operator);
    // Declarations in a properties block are not commands.
    auto props = kinds(u"classdef A\nproperties\nName double\nend\nend");
    EXPECT_EQ(props.at(4), K::Identifier);
    // Inside brackets or after the start of a statement nothing is a command.
    EXPECT_EQ(kinds(u"y = [a b]"), (std::vector<K>{K::Identifier, K::Operator, K::Punctuation, K::Identifier,
                                                   K::Identifier, K::Punctuation}));
}

TEST(Lexer, InvalidCharactersOutsideCommentsAndLiterals) {
    std::u16string text = u"x = 1 # 2";
    text += char16_t(0xD800);
    text += u" 'ok";
    text += char16_t(0xDC00);
    text += u"' % \u00e9";
    text += char16_t(0);
    using K = TokenKind;
    EXPECT_EQ(kinds(text), (std::vector<K>{K::Identifier, K::Operator, K::Number, K::Invalid, K::Number,
                                           K::Invalid, K::CharArray, K::Comment}));
    expectCovers(text);
}

TEST(Lexer, KeywordsAndContextualWords) {
    auto tokens = significant(u"if end1 events endfunction end");
    EXPECT_EQ(tokens[0].first, TokenKind::Keyword);
    EXPECT_EQ(tokens[1].first, TokenKind::Identifier);
    EXPECT_EQ(tokens[2].first, TokenKind::Identifier);
    EXPECT_EQ(tokens[3].first, TokenKind::Identifier);
    EXPECT_EQ(tokens[4].first, TokenKind::Keyword);
}

TEST(Lexer, RandomTextsAreCoveredAndNeverThrow) {
    const std::u16string alphabet =
        u"ab1.'\"%{}()[];,=+- \t\r\n\x0b.~&|@?:^\\*/e0x" + std::u16string(1, char16_t(0xD83D));
    std::mt19937 rng(7);
    for (int round = 0; round < 3000; ++round) {
        std::u16string text;
        int length = static_cast<int>(rng() % 60);
        for (int k = 0; k < length; ++k)
            text += alphabet[rng() % alphabet.size()];
        expectCovers(text);
        if (testing::Test::HasFailure()) {
            ADD_FAILURE() << "round " << round;
            return;
        }
    }
}

TEST(LineSplitter, SplitsAtLineFeedsOnly) {
    using L = std::vector<std::u16string>;
    EXPECT_EQ(ca::utils::lineSplitter(u""), L{});
    EXPECT_EQ(ca::utils::lineSplitter(u"a\nb\n"), (L{u"a", u"b"}));
    EXPECT_EQ(ca::utils::lineSplitter(u"a\r\n\nb"), (L{u"a", u"", u"b"}));
    EXPECT_EQ(ca::utils::lineSplitter(u"\n"), (L{u""}));
    EXPECT_EQ(ca::utils::lineSplitter(u"a\rb\r"), (L{u"a\rb\r"}));
    EXPECT_EQ(ca::utils::lineSplitter(u"\r\n\r\n"), (L{u"", u""}));
}

}  // namespace
