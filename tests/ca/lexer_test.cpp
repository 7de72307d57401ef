#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ca/lexer/token.hpp"
#include "ca/utils/line_splitter.hpp"
#include "fl/i18n.hpp"

namespace {

using ca::lexer::Token;
using ca::lexer::TokenKind;

// One letter a token, blanks and line ends left out: Identifier, Keyword, Number, Char array, String,
// Operator, Punctuation, coMment, Block comment, conTinuation, command Word, invalid (X).
std::string kinds(const std::u16string& text) {
    std::string out;
    for (const Token& t : ca::lexer::lex(text)) {
        const char letters[] = "--MBTIKNCSWOPX";
        if (t.kind != TokenKind::Blank && t.kind != TokenKind::LineEnd)
            out += letters[static_cast<int>(t.kind)];
    }
    return out;
}

// The tokens cover the text exactly, in order and with their lines.
void expectCovers(const std::u16string& text) {
    std::u16string joined;
    std::uint32_t line = 1;
    for (const Token& t : ca::lexer::lex(text)) {
        ASSERT_EQ(t.offset, joined.size());
        ASSERT_EQ(t.line, line);
        ASSERT_FALSE(t.text.empty());
        joined += t.text;
        line += static_cast<std::uint32_t>(std::count(t.text.begin(), t.text.end(), u'\n'));
    }
    EXPECT_EQ(joined, text);
}

// Each text's tokens, one letter each as kinds() writes them, and the tokens cover the text.
void expectKinds(std::initializer_list<std::pair<std::u16string, const char*>> cases) {
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(kinds(text), std::string(expected)) << fl::i18n::to_string(text);
        expectCovers(text);
    }
}

TEST(Lexer, KindsAndTextsOfTokens) {
    const std::u16string lone(1, char16_t(0xD800)), nul(1, char16_t(0));
    // `'` transposes directly after a value, and opens a char vector anywhere else.
    expectKinds({{u"a'", "IO"},
                 {u"x = a' + b.'", "IOIOOIO"},
                 {u"y = [a 'x']", "IOPICP"},
                 {u"y = x(end)'", "IOIPKPO"},
                 {u"y = a''", "IOIOO"},
                 {u"y = 2'", "IONO"},
                 {u"y = 'it''s'", "IOC"},
                 {u"y = \"say \"\"hi\"\"\"", "IOS"}});
    // Numbers in every form; a dot that belongs to an operator or a continuation is not the number's.
    expectKinds({{u"12 1.5 .5 5. 1e-3 1E+3 0x1F 0b101 3i 2.5j 1.5e3i", "NNNNNNNNNNN"},
                 {u"2.*x", "NOI"},
                 {u"2.^x", "NOI"},
                 {u"2...\n", "NT"},
                 {u"1e", "NI"}});
    // Block comments need lines of their own and nest; an unclosed one runs to the end; a closing line
    // without opener ends one that began before the text.
    expectKinds({{u"a = 1;\n  %{\n x\n %{\n y\n %}\n z\n%}  \nb = 2;", "IONPBIONP"},
                 {u"%{ not a block\nx", "MI"},
                 {u"x\n%{\ny = 1", "IB"},
                 {u"inside the comment\n%}\nx = 1;", "BIONP"},
                 {u"x = 1 + ... more\r\n  2; % done\r\n%% Section\n", "IONOTNPMM"},
                 {u"s = 'a...b'", "IOC"}});
    // Command form: a name that is no variable, a blank, and no operator followed by a blank.
    expectKinds({{u"hold on", "IW"},
                 {u"format long g;", "IWWP"},
                 {u"a -b", "IW"},
                 {u"a - b", "IOI"},
                 {u"a(1)", "IPNP"},
                 {u"disp 'a b, c' % note", "IWM"},
                 {u"x, warning off all", "IPIWW"},
                 {u"a = 1;\na -b", "IONPIOI"},
                 {u"for k = 1:2\nk -1\nend", "KIONONIONK"},
                 {u"classdef A\nproperties\nName double\nend\nend", "KIIIIKK"},
                 {u"y = [a b]", "IOPIIP"}});
    // Reserved words whole only; contextual words are names.
    expectKinds({{u"if end1 events endfunction end", "KIIIK"}});
    // Invalid characters (unpaired surrogates too) outside comments and literals, `_` starting a token among
    // them; an invalid token is reported as Messages.EachErrorWithItsLineAndText shows for `#`.
    expectKinds({{u"x = 1 # 2" + lone + u" 'ok" + lone + u"' \"" + lone + u"\" % \u00e9" + nul, "IONXNXCSM"},
                 {u"_a = 1", "XION"}});
    // Texts of a continuation, a line end, a comment and a block comment, and the block's first line.
    const auto tokens = ca::lexer::lex(u"x = 1 + ... more\r\n  2; % done\r\n%{\n b\n%}\n");
    EXPECT_EQ(tokens[8].text, u"... more");
    EXPECT_EQ(tokens[9].text, u"\r\n");
    EXPECT_EQ(tokens[14].text, u"% done");
    EXPECT_EQ(tokens[16].text, u"%{\n b\n%}");
    EXPECT_EQ(tokens[16].line, 3u);
}

TEST(LineSplitter, SplitsAtLineFeedsOnly) {
    using L = std::vector<std::u16string>;
    EXPECT_EQ(ca::utils::lineSplitter(u""), L{});
    EXPECT_EQ(ca::utils::lineSplitter(u"a\nb\n"), (L{u"a", u"b"}));
    EXPECT_EQ(ca::utils::lineSplitter(u"a\r\n\nb"), (L{u"a", u"", u"b"}));
    EXPECT_EQ(ca::utils::lineSplitter(u"\n"), (L{u""}));
    EXPECT_EQ(ca::utils::lineSplitter(u"a\rb\r"), (L{u"a\rb"}));  // a line never ends in CR
    EXPECT_EQ(ca::utils::lineSplitter(u"x\r\r\r\ny\r\r"), (L{u"x", u"y"}));
    EXPECT_EQ(ca::utils::lineSplitter(u"\r\n\r\n"), (L{u"", u""}));
}

}  // namespace
