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
// The line's `end` words that close blocks: outside brackets, where `end` is an index; text literals and
// comments skipped. A crude reading, enough for statistics over a file's layout.
int closingEnds(const fl::ustring& code);

}  // namespace ostrel_eval
