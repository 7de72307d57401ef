#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "fl/ustring.hpp"

namespace fit {

// What the lines of a statement read so far leave open: the columns just after the brackets still open
// (innermost last), and whether the last line ended in `...`. Text literals and comments are skipped.
struct StatementScan {
    std::vector<int> openBrackets;
    bool continues = false;

    // The next line belongs to the same statement.
    bool goesOn() const { return continues || !openBrackets.empty(); }
};

// Reads one line (its indentation included) into the scan of its statement.
void scanLine(std::u16string_view line, unsigned tabSize, StatementScan& scan);

// Whether the file, in the 400 lines above `pos`, lines up the continuation lines of a statement with the
// bracket they are inside (`f(a, ...` / `  b)` under `a`) more often than it indents them by a level.
bool alignsContinuationsWithBrackets(const fl::ustring& file, std::size_t pos, unsigned tabSize);

}  // namespace fit
