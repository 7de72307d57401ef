#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "fl/ustring.hpp"

namespace ca::lexer {

enum class TokenKind : std::uint8_t {
    Blank,         // spaces, tabs, form feeds, vertical tabs, a CR not followed by LF
    LineEnd,       // LF, or CR LF
    Comment,       // % to the end of the line (line end not included)
    BlockComment,  // from a %{ line's %{ to the matching %}, nested ones included (may span lines)
    Continuation,  // ... and the rest of its line (line end not included)
    Identifier,    // contextual words (arguments, properties, methods, events, enumeration) included
    Keyword,       // reserved words
    Number,
    CharArray,    // '...'; an unterminated one runs to the line end
    String,       // "..."; an unterminated one runs to the line end
    CommandWord,  // a word of a command-form statement (`hold on`: "on")
    Operator,     // + - * / \ ^ .* ./ .\ .^ ' .' == ~= < <= > >= & | && || ~ = : @ ?
    Punctuation,  // , ; ( ) [ ] { } .
    Invalid,      // a code unit that starts no token
};

// One token. The tokens of a text cover it exactly and in order, so concatenating their texts gives
// the text back to the code unit.
struct Token {
    TokenKind kind;
    fl::ustring text;
    std::size_t offset;  // in the lexed text, code units
    std::uint32_t line;  // 1-based, counted by line feeds
};

// Lexes any text; never throws on content.
std::vector<Token> lex(const fl::ustring& text);

}  // namespace ca::lexer
