#pragma once

#include <utility>
#include <vector>

#include "fl/ustring.hpp"

namespace scl::regex {

namespace constants {
using syntax_option_type = unsigned;
inline constexpr syntax_option_type none = 0;
inline constexpr syntax_option_type icase = 1;      // case-insensitive
inline constexpr syntax_option_type multiline = 2;  // ^ and $ match at line ends
}  // namespace constants

// One match: the whole matched text and the texts of its capture groups in group order (an unset
// group gives the empty text).
using match = std::pair<fl::ustring, std::vector<fl::ustring>>;
using match_results = std::vector<match>;

// Appends every non-overlapping match of `pattern` in `text` to `results`. Both are UTF-16 and taken
// code unit by code unit: unpaired surrogates are ordinary code units, and `.` matches every code unit,
// line ends included. Throws std::runtime_error for a pattern that does not compile, or when a search
// hits the match or depth limit that bounds its work.
void regex_search(const fl::ustring& text, const fl::ustring& pattern, match_results& results,
                  constants::syntax_option_type options);

}  // namespace scl::regex
