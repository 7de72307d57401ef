#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "fl/ustring.hpp"

// Rows written as a table: cells padded with blanks so that they line up with the rows around.
namespace fit {

// The blanks that put the completion's first cell (what comes before its first blank) in the column the
// rows around the cursor's line give it, when the typed cells line up with theirs and those rows pad that
// column (`'cup',   'ml',    236.588,   'imperial'`, `ids      = ...`); empty otherwise. Unless
// `separated`, nothing when the typed cell and the completion's, glued, would line up as one. Where the
// rows above show nothing, the completion's next lines (`below`), written without indentation, are read
// as rows at the typed line's.
fl::ustring blanksToLinedUpCell(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                                std::u16string_view first, bool separated,
                                std::span<const fl::ustring> below = {});

}  // namespace fit
