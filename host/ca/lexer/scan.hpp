#pragma once

#include <array>
#include <cstddef>
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
    kFreshAfter = 16,  // a line end after which the scan knows nothing it would not know at a text's start
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

// Classes of the ASCII code units, looked up once per code unit in the scanner's inner loops.
enum CharClass : std::uint8_t { kBlankChar = 1, kLetter = 2, kDigitChar = 4, kUnderscore = 8 };

inline constexpr std::array<std::uint8_t, 128> kCharClasses = [] {
    std::array<std::uint8_t, 128> classes{};
    for (char c : {' ', '\t', '\f', '\v'})
        classes[static_cast<std::size_t>(c)] = kBlankChar;
    for (int c = 'a'; c <= 'z'; ++c)
        classes[static_cast<std::size_t>(c)] = kLetter;
    for (int c = 'A'; c <= 'Z'; ++c)
        classes[static_cast<std::size_t>(c)] = kLetter;
    for (int c = '0'; c <= '9'; ++c)
        classes[static_cast<std::size_t>(c)] = kDigitChar;
    classes['_'] = kUnderscore;
    return classes;
}();

constexpr bool hasClass(char16_t c, std::uint8_t classes) {
    return c < 128 && (kCharClasses[c] & classes) != 0;
}
constexpr bool isBlank(char16_t c) {
    return hasClass(c, kBlankChar);
}
constexpr bool isIdentifierStart(char16_t c) {
    return hasClass(c, kLetter);
}
constexpr bool isIdentifierPart(char16_t c) {
    return hasClass(c, kLetter | kDigitChar | kUnderscore);
}
Word reservedWord(std::u16string_view word);

// Reserved words that open a block closed by `end`.
constexpr bool opensBlock(Word w) {
    return w == Word::If || w == Word::For || w == Word::Parfor || w == Word::While || w == Word::Switch ||
           w == Word::Try || w == Word::Spmd || w == Word::Function || w == Word::Classdef;
}
Word contextualWord(std::u16string_view word);

}  // namespace ca::lexer
