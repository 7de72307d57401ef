#pragma once

#include <cstddef>
#include <vector>

#include "fit/completion_edit.hpp"
#include "fit/reply_shape.hpp"
#include "fl/ustring.hpp"

namespace fit {

// The ways the completion's lines can be put into the file at the cursor, the likeliest first; the
// final check decides between them. None when the completion only repeats the lines above the cursor.
// Texts use LF line ends; lines that start a new line keep the indentation they came with (the edit is
// re-indented afterwards).
std::vector<Edit> candidateEdits(const fl::ustring& file, std::size_t cursor, std::vector<fl::ustring> lines,
                                 const ReplyShape& shape);

// The completion without its last lines when they write out again the lines that follow the cursor's
// line (blank lines and indentation aside); the lines as they are when they do not, or when they only
// close blocks (they are as likely the completion's own `end`s) and `evenClosingLines` is false.
std::vector<fl::ustring> withoutRepeatedTail(const fl::ustring& file, std::size_t cursor,
                                             std::vector<fl::ustring> lines, bool evenClosingLines);

// True when the completion is the reply's first lines, or some of them, and those write out again the
// lines just above the cursor's line: the library cut the reply inside what it repeats.
bool onlyRepeatsTheReplysHead(const fl::ustring& file, std::size_t cursor,
                              const std::vector<fl::ustring>& lines, const std::vector<fl::ustring>& reply);

// True when the reply's first lines, which deduplication removed as a repeat of the code above a blank
// cursor line, start at another column than the line they would repeat: they are the model's own.
bool removedHeadStandsApart(const fl::ustring& file, std::size_t cursor, const ReplyShape& shape);

// The same change with the text it shares with the file at its start (up to the cursor) and at its
// end (back to the cursor) left out, so that an edit starts at the cursor whenever it can.
Edit minimalEdit(const fl::ustring& file, std::size_t cursor, Edit edit);

}  // namespace fit
