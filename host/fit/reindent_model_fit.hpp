#pragma once

#include <functional>
#include <initializer_list>
#include <optional>
#include <vector>

#include "fit/completion_edit.hpp"
#include "fit/reindent_window.hpp"

// Whether the model's own columns stay where the formatter would move its lines: in a file that does
// not follow the formatter near the edit, a reply that moves with it keeps its columns.
namespace fit::reindenting {

// A first line written from the blanks the editor typed has no column of the model's (an editor indents a
// closing line as the body): it takes the column of a line of the same level and kind further down the
// edit or, nearest first, among the code lines above in its function. Nothing where neither shows one.
std::optional<int> typedLineColumn(const Window& window, const std::vector<Line>& formattedLines,
                                   const std::vector<int>& own, unsigned tabSize);

// Whether the model's indentation stays: everywhere the formatter's, or, where the file near the edit
// does not follow the formatter, moving with it. `own` holds the started lines' columns.
bool modelFits(const Window& window, const std::vector<Line>& formattedLines, const std::vector<int>& own,
               const std::function<const std::vector<int>&()>& inFileColumnsOfEdit,
               const std::vector<std::optional<int>>& comments, bool firstFromTyped, bool typedLineKnown,
               const IndentSettings& style);

// The columns of a reply that keeps its lines' relative levels but not the file's columns (moved to the
// margin, or written with its own step per level), put where the file's would be: its first statement at
// the file's column for it, or else the formatter's (each of the edit's lines in `anchors`), each of the
// reply's steps between statements one of the file's levels, a continuation line at its offset from its
// statement's first line. One candidate per anchor, none where the reply shows neither shape; for a reply
// whose columns fit (`modelKept`), only its continuation lines of a first line from the editor's blanks.
std::vector<std::vector<int>> replyInFileFrame(
    const Window& window, const std::vector<Line>& formattedLines, const std::vector<int>& own,
    const std::initializer_list<std::reference_wrapper<const std::vector<int>>> anchors, bool firstFromTyped,
    bool modelKept, const IndentSettings& style);

// Whether the code lines near the edit, above and below, stand where the formatter puts them.
bool followsTheFormatterNear(const Window& window, const std::vector<Line>& formattedLines, unsigned tabSize);

}  // namespace fit::reindenting
