#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fit/completion_edit.hpp"
#include "fit/final_check.hpp"
#include "fit/reply_shape.hpp"
#include "fl/ustring.hpp"

namespace fit {

inline constexpr const char* kOnlyRepeats = "the completion only repeats the lines above the cursor";
inline constexpr const char* kRepeatsAround = "the completion only repeats the code around the cursor";

// One way of fitting some lines into the file: the edit that passed the final check, or why none did.
struct Attempt {
    std::optional<Edit> edit;
    std::string finding;
    std::vector<std::string> repairs;
    std::size_t errorsBefore = 0;  // of the final check's window, for the edit offered
    std::size_t errorsLeft = 0;
    std::size_t misalignedBelow = 0;  // closing lines below the edit away from their blocks' columns
    std::size_t misalignedAbove = 0;  // and above it
    bool nestsDeeper = false;         // the edit nests functions deeper than the file did
    bool writesOutBelow = false;      // the edit writes out again code that follows the cursor's line
    bool closesOpenBlocks = false;    // the edit ends in `end` lines the fitter added, not the model
};

// An edit that fits leaves no error and writes out nothing below the cursor: nothing betters it.
bool isClean(const Attempt& attempt);

// True when `again` fits and `than` does not, or `again` leaves fewer errors, or as few without writing
// out again the code below the cursor's line.
bool better(const Attempt& again, const Attempt& than);

// Tries lines of a completion at one cursor: places them (placement), re-indents each placement, checks
// it against the whole file and makes the first that passes minimal. The file's windows are read once
// for every edit tried.
class EditFitter {
  public:
    EditFitter(const fl::ustring& file, std::size_t cursor, const IndentSettings& settings);

    // Tries the completion without the lines that repeat the code below the cursor first, then as it is
    // (when those lines are the closing lines of what it opens), then without its unfinished last lines.
    Attempt fit(const std::vector<fl::ustring>& lines, const ReplyShape& shape) const;

    // The completion without its last lines when they only close blocks and write out again the closing
    // lines below the cursor's line; nothing when there are none.
    Attempt fitWithoutRepeatedClosers(const std::vector<fl::ustring>& lines, const ReplyShape& shape) const;

    const fl::ustring& file() const { return file_; }
    std::size_t cursor() const { return cursor_; }

  private:
    Attempt fitLines(const std::vector<fl::ustring>& lines, const ReplyShape& shape) const;
    bool tryEdit(Edit edit, Attempt& attempt, const char* repair = nullptr) const;
    CheckResult checkClosingOpenBlocks(Edit& edit, Attempt& attempt) const;

    const fl::ustring& file_;
    mutable FileReadings readings_;  // the file as it is, read once per window for every edit tried
    std::size_t cursor_;
    IndentSettings settings_;
    std::u16string_view lineEnd_;
};

}  // namespace fit
