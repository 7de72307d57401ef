#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "fit/completion_edit.hpp"
#include "fl/ustring.hpp"

namespace ca {
class Analysis;
}

namespace fit {

struct CheckResult {
    bool passed = false;
    std::string finding;              // when not passed: what the edit breaks, in plain words
    std::size_t unclosedBlocks = 0;   // blocks the edit opens and does not close
    bool atEndOfFile = false;         // nothing but blanks follows the edit
    std::size_t errorsBefore = 0;     // errors of the window read, as it was
    std::size_t errorsAfter = 0;      // and with the edit
    std::size_t misalignedBelow = 0;  // `end`s below the edit at another indentation than their block's
    std::size_t misalignedAbove = 0;  // and above it
    bool nestsDeeper = false;         // functions nest deeper in the window than they did
};

// Reads the file with the edit applied as a whole file against the file as it was, all of it when it is
// short, else over a window of whole functions (or a bounded run of lines) around the edit: the edit
// must add no error, no class block line may read as a statement, every block that ends below the edit
// must still be closed by the same line and opened by the same line, and every block the edit opens must
// be closed.
CheckResult checkEdit(const fl::ustring& file, const Edit& edit);

// The file's own readings of the windows checked so far. The edits tried for one completion are read
// against the same windows of the same file, so each window of it is analysed once.
class FileReadings {
  public:
    // `file` must be the same text at every call.
    std::shared_ptr<ca::Analysis> window(const fl::ustring& file, std::size_t start, std::size_t end);

  private:
    struct Reading {
        std::size_t start;
        std::size_t end;
        std::shared_ptr<ca::Analysis> analysis;
    };
    std::vector<Reading> readings_;
};

CheckResult checkEdit(const fl::ustring& file, const Edit& edit, FileReadings& readings);

}  // namespace fit
