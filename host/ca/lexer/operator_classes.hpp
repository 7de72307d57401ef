#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "ca/lexer/scan.hpp"

// How operators and keywords take part in expressions and in the implicit continuation of a statement
// onto the next line; the scanner, the parser and their tests all read this one table.
namespace ca::lexer {

enum OperatorClass : std::uint8_t {
    kBinary = 1,         // + - * / \ ^ .* ./ .\ .^ == ~= < <= > >= & | && || :
    kContinuesLine = 2,  // a line ending in it goes on on the next: the binary operators, = and @
    kCannotBegin = 4,    // binary, and no expression starts with it: a line starting with it continues
};

inline constexpr std::array<std::uint8_t, static_cast<std::size_t>(Op::Dot) + 1> kOperatorClasses = [] {
    std::array<std::uint8_t, static_cast<std::size_t>(Op::Dot) + 1> classes{};
    constexpr std::uint8_t kInfix = kBinary | kContinuesLine | kCannotBegin;
    for (Op op : {Op::Times, Op::Divide, Op::LeftDivide, Op::Power, Op::ElemTimes, Op::ElemDivide,
                  Op::ElemLeftDivide, Op::ElemPower, Op::Equal, Op::NotEqual, Op::Less, Op::LessEqual,
                  Op::Greater, Op::GreaterEqual, Op::And, Op::Or, Op::AndAnd, Op::OrOr}) {
        classes[static_cast<std::size_t>(op)] = kInfix;
    }
    // `+x`, `-x` and a lone `:` begin expressions too.
    for (Op op : {Op::Plus, Op::Minus, Op::Colon})
        classes[static_cast<std::size_t>(op)] = kBinary | kContinuesLine;
    for (Op op : {Op::Assign, Op::At})
        classes[static_cast<std::size_t>(op)] = kContinuesLine;
    return classes;
}();

constexpr bool hasOperatorClass(Op op, std::uint8_t classes) {
    return (kOperatorClasses[static_cast<std::size_t>(op)] & classes) != 0;
}
constexpr bool isBinaryOperator(Op op) {
    return hasOperatorClass(op, kBinary);
}
constexpr bool continuesLine(Op op) {
    return hasOperatorClass(op, kContinuesLine);
}
constexpr bool cannotBeginExpression(Op op) {
    return hasOperatorClass(op, kCannotBegin);
}

// Keywords that must be followed by an expression, so a line ending in one goes on on the next.
constexpr bool expectsExpression(Word w) {
    return w == Word::If || w == Word::Elseif || w == Word::While || w == Word::Switch || w == Word::Case ||
           w == Word::For || w == Word::Parfor;
}

}  // namespace ca::lexer
