#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ca/lexer/token.hpp"

namespace ca::formatting::legacy {

// A line as a range of tokens. A block comment token spans several physical lines; the line holding it
// runs to the line end after it.
struct SourceLine {
    std::size_t begin = 0;      // first token
    std::size_t codeBegin = 0;  // first token after the leading blanks
    std::size_t end = 0;        // one past the last token, the line end included
    std::uint32_t number = 1;   // 1-based number of the line's first physical line
    bool hasLineEnd = false;
};

enum class LineKind { Blank, BlockComment, Comment, Code };

std::vector<SourceLine> splitLines(const std::vector<lexer::Token>& tokens);

LineKind classifyLine(const std::vector<lexer::Token>& tokens, const SourceLine& line);

// Columns taken by the line's leading blanks: a tab advances to the next multiple of `tabSize`, every
// other blank takes one column.
int leadingColumns(const std::vector<lexer::Token>& tokens, const SourceLine& line, int tabSize);

// Blanks that fill `columns`: spaces, or as many tabs as fit and then spaces.
fl::ustring indentationText(int columns, bool insertSpaces, int tabSize);

}  // namespace ca::formatting::legacy
