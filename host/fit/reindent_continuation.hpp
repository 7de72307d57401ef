#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "fl/ustring.hpp"

namespace fit {

// What the lines of a statement read so far leave open: the brackets still open (innermost last) with
// the column just after each, and whether the last line ended in `...`. Text literals and comments are
// skipped.
struct StatementScan {
    struct Bracket {
        char16_t opening;
        int column;
    };
    std::vector<Bracket> openBrackets;
    bool continues = false;

    // The next line belongs to the same statement: after `...`, or inside a matrix or a cell, whose rows
    // go on without it.
    bool goesOn() const {
        return continues || (!openBrackets.empty() && openBrackets.back().opening != u'(');
    }
};

// Reads one line (its indentation included) into the scan of its statement.
void scanLine(std::u16string_view line, unsigned tabSize, StatementScan& scan);

// How the file places the continuation lines of a statement, in the 400 lines above `from` and the 400
// below the line of `to`: inside a bracket, lined up just after it (`f(a, ...` / `  b)` under `a`) or at
// an offset from the statement's first line; after `...` outside brackets, at an offset. Each is what the
// file does most often; nothing where it shows no such line.
struct ContinuationHabit {
    bool alignsWithBracket = false;
    std::optional<int> bracketOffset;
    std::optional<int> plainOffset;
};
ContinuationHabit continuationHabit(const fl::ustring& file, std::size_t from, std::size_t to,
                                    unsigned tabSize);

}  // namespace fit
