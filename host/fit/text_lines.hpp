#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "fl/ustring.hpp"

// Small questions about lines of UTF-16 text that the edit asks again and again.
namespace fit::text {

bool isBlank(char16_t c);
bool isBlankText(std::u16string_view text);
std::u16string_view trimLeft(std::u16string_view text);
std::u16string_view trimRight(std::u16string_view text);
std::u16string_view trim(std::u16string_view text);
// The leading blanks of a line.
std::u16string_view indentationOf(std::u16string_view line);

// Offset of the start of the line holding `pos`.
std::size_t lineStart(const fl::ustring& text, std::size_t pos);
// Offset of the line end after `pos` (before a CR LF pair or an LF), or the text's length.
std::size_t lineEnd(const fl::ustring& text, std::size_t pos);
// Offset just past the line end after `pos`, or the text's length.
std::size_t nextLineStart(const fl::ustring& text, std::size_t pos);
// The line at `pos` and up to `each` lines above and below it.
std::u16string_view linesAround(const fl::ustring& text, std::size_t pos, std::size_t each);
// 1-based line of `pos`.
std::size_t lineNumberAt(const fl::ustring& text, std::size_t pos);
std::size_t countLineFeeds(std::u16string_view text);

// True when the file's lines end in CR LF: decided by the cursor's line, or else by the first line end.
bool usesCrLf(const fl::ustring& file, std::size_t cursor);
// Lines split at LF with every CR dropped; "" gives no line, a final LF no empty last line.
std::vector<fl::ustring> splitLines(std::u16string_view text);
// Lines as splitLines gives them, without the blank lines at the start and at the end.
std::vector<fl::ustring> splitLinesWithoutBlankEnds(std::u16string_view text);
fl::ustring joinLines(const std::vector<fl::ustring>& lines, std::u16string_view lineEnd);
// `text` with each LF written as `lineEnd` (and lone CRs dropped).
fl::ustring withLineEnds(std::u16string_view text, std::u16string_view lineEnd);

bool isWordChar(char16_t c);
// Whether `word` stands as a whole word in `text`, outside the offsets from `skipFrom` to `skipTo`.
bool hasWholeWord(std::u16string_view text, std::u16string_view word, std::size_t skipFrom = 0,
                  std::size_t skipTo = 0);
// A trimmed line that closes a block or starts a clause of one: `end`, `else`, `case`, ...
bool isClosingLine(std::u16string_view line);
// The reserved word that the text ends with, or empty when the text does not end in one.
std::u16string_view trailingReservedWord(std::u16string_view text);

}  // namespace fit::text
