#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "ca/lexer/token.hpp"

// The analyser's view of the lexer: tokens without their own copy of the text, with the reserved word
// or operator already decoded so that the parser compares small integers, never strings.
namespace ca::lexer {

enum class Word : std::uint8_t {
    None,
    Break,
    Case,
    Catch,
    Classdef,
    Continue,
    Else,
    Elseif,
    End,
    For,
    Function,
    Global,
    If,
    Otherwise,
    Parfor,
    Persistent,
    Return,
    Spmd,
    Switch,
    Try,
    While,
    // Contextual words: lexed as identifiers, blocks only where the parser expects them.
    Arguments,
    Properties,
    Methods,
    Events,
    Enumeration,
};

enum class Op : std::uint8_t {
    None,
    Plus,
    Minus,
    Times,
    Divide,
    LeftDivide,
    Power,
    ElemTimes,
    ElemDivide,
    ElemLeftDivide,
    ElemPower,
    Transpose,
    DotTranspose,
    Equal,
    NotEqual,
    Less,
    LessEqual,
    Greater,
    GreaterEqual,
    And,
    Or,
    AndAnd,
    OrOr,
    Not,
    Assign,
    Colon,
    At,
    Question,
    Comma,
    Semicolon,
    LParen,
    RParen,
    LBracket,
    RBracket,
    LBrace,
    RBrace,
    Dot,
};

enum TokenFlag : std::uint8_t {
    kUnterminated = 1,     // text literal or quoted command word without its closing quote
    kSectionHeading = 2,   // a %% comment
    kCutBlockComment = 4,  // the text before a %} line without opener, read as a block comment
    kUnclosedBlock = 8,    // a block comment that runs to the end of the text
};

struct ScanToken {
    std::uint32_t offset;
    std::uint32_t length;
    std::uint32_t line;
    TokenKind kind;
    Word word;  // reserved or contextual word of a Keyword or Identifier token
    Op op;      // operator or punctuation
    std::uint8_t flags;
};

// Appends the tokens of `text` from `start` (a line start, on line `line`) to `out`; they cover that part
// exactly and in order. The scan knows nothing of what stands before `start`.
void scan(std::u16string_view text, std::vector<ScanToken>& out, std::size_t start = 0,
          std::uint32_t line = 1);

inline bool isBlank(char16_t c) {
    return c == u' ' || c == u'\t' || c == u'\f' || c == u'\v';
}
inline bool isIdentifierStart(char16_t c) {
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}
inline bool isIdentifierPart(char16_t c) {
    return isIdentifierStart(c) || (c >= u'0' && c <= u'9') || c == u'_';
}
Word reservedWord(std::u16string_view word);
Word contextualWord(std::u16string_view word);

}  // namespace ca::lexer
