#pragma once

#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

#include "fl/ustring.hpp"

namespace fit {

// The block comments between `from` and `upTo`, each from its first line's start (or `from`, for one
// that a `%}` shows open there) to the start of the line after its last (or `upTo`), in order. Their
// text may look like code at any column: a window for the formatter must not start inside one.
using BlockCommentSpans = std::vector<std::pair<std::size_t, std::size_t>>;
BlockCommentSpans blockCommentSpans(const fl::ustring& file, std::size_t from, std::size_t upTo);
bool insideBlockComment(const BlockCommentSpans& spans, std::size_t offset);
// How many block comments are open at the start of the line `offset` is on (they nest).
std::size_t openBlockComments(const fl::ustring& file, std::size_t offset);
// Whether `line` only closes a block comment.
bool closesBlockComment(std::u16string_view line);

// The formatter leaves the lines of a block comment (`%{` ... `%}`) as they are, and a reply written
// without indentation says nothing by their columns. Each line of `movable` inside a block comment opened
// above it takes a column: a `%}` its `%{`'s; a line of a comment that goes on below the movable lines the
// column of its next line there (a list under a heading); the first line after a `%{` that `%{`'s column,
// or as far right of it as the comment around it starts its own text; any other line the column of the
// line above it (a nested comment's `%}` included). A heading (free text ending with `:`) as a comment's
// first line stands as that first line does; a list's first item after a heading (a line that starts with
// a marker or a number) where the comment goes on below further in than the heading, or else `step` in;
// its next items under it, and the text after them at the heading's column. `columns` holds every line's column
// and gets the new ones; blank lines count for nothing.
void placeBlockCommentLines(const std::vector<std::u16string_view>& lines, const std::vector<bool>& movable,
                            int step, std::vector<int>& columns);

}  // namespace fit
