#pragma once

#include <cstddef>
#include <string>

#include "fit/completion_edit.hpp"
#include "fl/ustring.hpp"

namespace fit {

struct CheckResult {
    bool passed = false;
    std::string finding;             // when not passed: what the edit breaks, in plain words
    std::size_t unclosedBlocks = 0;  // blocks the edit opens and does not close
    bool atEndOfFile = false;        // nothing but blanks follows the edit
    std::size_t errorsBefore = 0;    // errors of the window read, as it was
    std::size_t errorsAfter = 0;     // and with the edit
};

// Reads the file with the edit applied as a whole file against the file as it was, over a window of
// whole functions (or a bounded run of lines) around the edit: the edit must add no error, every block
// that ends below the edit must still be closed by the same line and opened by the same line, and every
// block the edit opens must be closed.
CheckResult checkEdit(const fl::ustring& file, const Edit& edit);

}  // namespace fit
