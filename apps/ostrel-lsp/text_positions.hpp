#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "fl/ustring.hpp"

namespace ostrel_lsp {

// A protocol position: 0-based line and UTF-16 code unit in that line.
struct Position {
    std::int64_t line = 0;
    std::int64_t character = 0;
    bool operator==(const Position&) const = default;
};

// Offsets where each line starts (the first is 0). A line ends at "\n", "\r\n" or a lone "\r", as the
// protocol counts lines.
std::vector<std::size_t> lineStartsOf(const fl::ustring& text);

// The code-unit offset of a position. A line past the end means the end of the text; a character past
// its line's end means the line's end (before its line break), as the protocol asks.
std::size_t offsetOf(const fl::ustring& text, const std::vector<std::size_t>& lineStarts, Position position);

// The position of an offset (clamped to the text's length).
Position positionOf(const fl::ustring& text, const std::vector<std::size_t>& lineStarts, std::size_t offset);

// The same without a prepared line index, scanning the text once.
Position positionOf(const fl::ustring& text, std::size_t offset);

}  // namespace ostrel_lsp
