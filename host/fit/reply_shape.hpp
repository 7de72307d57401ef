#pragma once

#include <cstddef>
#include <vector>

#include "fit/completion_edit.hpp"
#include "fl/ustring.hpp"

namespace fit {

// What the stages before the final completion dropped that the edit still needs: extraction trims the
// code's leading line break and blanks, deduplication removes whole lines at either end.
struct ReplyShape {
    bool leadingLineBreak = false;           // the code began on a line of its own below an empty one
    std::size_t leadingBlankLines = 0;       // blank lines the model wrote between that line and the code
    fl::ustring leadingBlanks;               // blanks before the code's first character on its line
    std::size_t trailingBlankLines = 0;      // blank lines the model wrote after the code's last line
    fl::ustring lastCodeLine;                // that last line
    std::vector<fl::ustring> lastCodeLines;  // it and the (up to two) lines before it
    bool headRemoved = false;                // deduplication removed the first lines (they repeat the prefix)
    std::size_t blankLinesAfterHead = 0;     // blank lines the model wrote between those and the rest
    // Lines that deduplication removed from the end because they equal the start of what follows the
    // cursor; usually the closing `end` of a block the completion opens.
    std::vector<fl::ustring> removedTail;
    // Lines that deduplication removed from the start because they repeat the end of the code before
    // the cursor (all of the reply when it removed everything); a line the file still needs, as an
    // `end` below another `end`, may be among them.
    std::vector<fl::ustring> removedHead;
    // Closing lines (`end`, `else`, ...) that repeat the code above the cursor are kept, not dropped
    // by the placement.
    bool keepsRepeats = false;
};

// What the stages of a completion for `cursor` in `file` dropped.
ReplyShape shapeOf(const StageTexts& stages, const fl::ustring& file, std::size_t cursor);

}  // namespace fit
