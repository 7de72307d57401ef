#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "fl/ustring.hpp"

// The cursor's line and the lines above it, as the placement rules read them.
namespace fit {

// Lines before the cursor's line that a completion may write out again.
constexpr std::size_t kMostRestatedLines = 20;

struct CursorLine {
    std::size_t start = 0;  // offset of the line's first code unit
    std::size_t end = 0;    // offset of its line end
    std::u16string_view before;
    std::u16string_view after;
};

CursorLine cursorLineOf(const fl::ustring& file, std::size_t cursor);

// The `count` lines above the line starting at `lineStartOffset`, trimmed, nearest last; fewer when the
// file starts sooner.
std::vector<std::u16string_view> linesAbove(const fl::ustring& file, std::size_t lineStartOffset,
                                            std::size_t count);

// How many lines up the nearest non-blank line above the line starting at `lineStartOffset` is (1 is the
// line just above), looking at most `most` lines up; 0 when there is none.
std::size_t nearestCodeLineAbove(const fl::ustring& file, std::size_t lineStartOffset, std::size_t most);

// Columns of a line's indentation, a tab counting as four.
std::size_t columnsOf(std::u16string_view line);

// Columns of the indentation of the line `count` lines above the line starting at `lineStartOffset`.
std::size_t columnsAbove(const fl::ustring& file, std::size_t lineStartOffset, std::size_t count);

// True when `lines` start with the last `k` of `above`, blanks aside.
bool startsWithLastOf(const std::vector<fl::ustring>& lines, const std::vector<std::u16string_view>& above,
                      std::size_t k);

}  // namespace fit
