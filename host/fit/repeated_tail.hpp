#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "fl/ustring.hpp"

// What a completion's last lines write out again of the code after the cursor.
namespace fit {

// The completion without its last lines when they write out again the lines that follow the cursor's
// line (blank lines and indentation aside); as it is when they do not, or when they only close blocks
// (they are as likely the completion's own `end`s).
std::vector<fl::ustring> withoutRepeatedTail(const fl::ustring& file, std::size_t cursor,
                                             std::vector<fl::ustring> lines);

// The completion without its last lines that write out again the lines below the cursor's line, closing
// lines included: without the most such lines first, then each time one fewer (a reply that writes out
// `end` / `end` below its own `end`s may owe the file one of them).
std::vector<std::vector<fl::ustring>> withoutRepeatedTailsOrClosers(const fl::ustring& file,
                                                                    std::size_t cursor,
                                                                    const std::vector<fl::ustring>& lines);

// True when the completion's last line ends by writing out the rest of the cursor's line (give or
// take a closing semicolon or comma), so that the rest is replaced rather than left behind.
bool repeatsRestOfLine(const std::vector<fl::ustring>& lines, std::u16string_view after);

}  // namespace fit
