#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "fit/cursor_line.hpp"
#include "fit/reply_shape.hpp"
#include "fl/ustring.hpp"

// What a completion's first lines write out again of the code before the cursor: the cursor's line up to
// the cursor, the word the cursor is in, or the lines just above the cursor's line.
namespace fit {

enum class Restatement { None, Word, Line, LinesAboveAndLine };

// When the completion starts by writing out again the cursor's line up to the cursor (after, perhaps,
// up to `mostLinesAbove` whole lines above it), or the word the cursor is in, drops that and says which.
Restatement dropRestatement(const fl::ustring& file, const CursorLine& line, std::size_t mostLinesAbove,
                            std::vector<fl::ustring>& lines);

// When the completion's first line writes out again the cursor's line up to the cursor with its last
// word corrected (`y = sm|` + `y = sum(x);`: the typed word's letters in order in a longer name the file
// or the Ostrel library knows, and the typed word no name of the file's), drops what it restates before
// that word and says how many code units of the typed word it replaces; nothing otherwise.
std::optional<std::size_t> dropCorrectedWord(const fl::ustring& file, const CursorLine& line,
                                             std::vector<fl::ustring>& lines);

// At a blank cursor line, the completion's first lines may write out again the lines just above it
// (deduplication misses them when the cursor's line holds blanks); drops the most such lines, all of
// them when the completion only repeats. A first line the model wrote at another column than the line
// it would repeat is its own (`    end` below `        end`).
void dropRepeatedLinesAbove(const fl::ustring& file, const CursorLine& line, const ReplyShape& shape,
                            std::vector<fl::ustring>& lines);

// The completion without its first lines when they only close blocks and write out again the lines just
// above a blank cursor line, whatever column the model wrote them at; empty when there are none.
std::vector<fl::ustring> withoutClosersAbove(const fl::ustring& file, std::size_t cursor,
                                             const std::vector<fl::ustring>& lines);

// True when the completion is the lines just above the cursor's line written out again: code typed in
// the cursor's line is not followed by them (closing lines may be kept, see ReplyShape::keepsRepeats).
bool onlyRepeatsLinesAbove(const fl::ustring& file, const CursorLine& line,
                           const std::vector<fl::ustring>& lines, const ReplyShape& shape);

// True when the completion is the reply's first lines, or some of them, and those write out again the
// lines just above the cursor's line: the library cut the reply inside what it repeats.
bool onlyRepeatsTheReplysHead(const fl::ustring& file, std::size_t cursor,
                              const std::vector<fl::ustring>& lines, const std::vector<fl::ustring>& reply);

// True when deduplication removed more than one line, the last of them the last code line before the
// cursor written out whole (a removed line break stood before it): the lines after them are the model's
// own, even where they read like the lines above (`P(k) = p;` / `end` / `end` below `end`).
bool removedHeadWroteOutWholeLines(const fl::ustring& file, std::size_t cursor, const ReplyShape& shape);

// True when the reply's first lines, which deduplication removed as a repeat of the code above a blank
// cursor line, start at another column than the line they would repeat: they are the model's own. At
// column 1 of an empty line a first line without blanks stands at the margin when the reply's other
// `lines` show blanks of their own (`end` below `    end`).
bool removedHeadStandsApart(const fl::ustring& file, std::size_t cursor, const ReplyShape& shape,
                            const std::vector<fl::ustring>& lines);

}  // namespace fit
