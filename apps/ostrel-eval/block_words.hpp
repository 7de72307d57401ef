#pragma once

#include <string_view>

#include "fl/ustring.hpp"

namespace ostrel_eval {

// What a line of code (without its indentation) says about blocks, read from its words: enough for
// statistics over a file's layout, not a parser.
bool isWordChar(char16_t c);
bool startsWithWord(const fl::ustring& code, std::u16string_view word);
// The line opens a block: if, for, parfor, while, switch, try, spmd, function, classdef and the blocks
// inside classdef and function bodies.
bool opensBlock(const fl::ustring& code);
// What a line's brackets say, text literals and comments skipped: the brackets it leaves open (negative
// when it closes more than it opens), and its `end` words that close blocks (outside brackets, where
// `end` is an index). A crude reading, enough for statistics over a file's layout.
struct LineBrackets {
    int balance = 0;
    int closingEnds = 0;
};
LineBrackets scanBrackets(const fl::ustring& code);
int closingEnds(const fl::ustring& code);

}  // namespace ostrel_eval
