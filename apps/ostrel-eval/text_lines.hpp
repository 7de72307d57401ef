#pragma once

#include <cstddef>
#include <vector>

#include "fl/ustring.hpp"

namespace ostrel_eval {

// A line of a text: [start, contentEnd) is its content, [contentEnd, end) its line end ("\n", "\r\n" or
// nothing for a last line without one).
struct LineSpan {
    std::size_t start = 0;
    std::size_t contentEnd = 0;
    std::size_t end = 0;
};

// Lines as the analyser counts them: split at LF, a CR right before it belongs to the line end. A text
// that ends with a line end has no extra empty last line; the empty text has none.
std::vector<LineSpan> splitLines(const fl::ustring& text);

bool isBlank(char16_t c);
// The length of the leading blanks (spaces and tabs) of [start, end).
std::size_t leadingBlanks(const fl::ustring& text, std::size_t start, std::size_t end);
bool isBlankLine(const fl::ustring& text, const LineSpan& line);

// Each line with its leading blanks removed; line ends kept as they are.
fl::ustring withoutIndentation(const fl::ustring& text);

// The lines of a text with blanks at both ends and a line end's CR removed, and empty lines at the start
// and the end dropped, joined by LF: the code as seen when indentation does not count.
fl::ustring normalizedCode(const fl::ustring& text);

}  // namespace ostrel_eval
