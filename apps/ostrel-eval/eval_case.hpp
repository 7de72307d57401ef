#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "fl/ustring.hpp"

namespace ostrel_eval {

// Where the cursor stands when the truth is cut out.
enum class CursorKind {
    LineStart,  // column 1 of a non-blank line; the truth starts with the line's indentation
    BlankLine,  // on a blank line left by the cut, after the blanks an editor would have put there
    MidLine,    // after a code token, with more code on the line
    LineEnd,    // at the end of a non-blank line; the truth starts with the line end
};

inline constexpr CursorKind kAllKinds[] = {CursorKind::LineStart, CursorKind::BlankLine, CursorKind::MidLine,
                                           CursorKind::LineEnd};

std::string_view kindName(CursorKind kind);
// Throws std::invalid_argument for an unknown name.
CursorKind kindFromName(std::string_view name);

// One sampled cursor: the file with the truth cut out at `cursor`. The original is the cut file with
// the truth inserted at the cursor, and, on a blank line, the blanks the editor typed before the cursor
// (typedIndent) replaced by the line's own (ownIndent). Sampled cases leave `cut` empty (a copy of the file
// per case would make memory grow with the cases); withCut() fills it for the time a case is worked on.
struct EvalCase {
    std::size_t file = 0;    // index into the sampled files
    std::size_t cursor = 0;  // code units in the cut file
    std::size_t line = 0;    // 1-based line of the cursor
    std::size_t column = 0;  // 1-based column of the cursor, in code units
    CursorKind kind = CursorKind::LineStart;
    std::size_t lines = 1;  // k: the cursor's line and the k-1 lines after it
    fl::ustring truth;
    fl::ustring ownIndent, typedIndent;  // empty but for blank-line cursors
    fl::ustring cut;
};

// Cuts `truthLength` code units out of the file at `cursor`.
EvalCase cutOut(const fl::ustring& file, std::size_t cursor, std::size_t truthLength);
// Cuts them out after the blanks that start the cursor's line and puts `typedIndent` in their place.
EvalCase cutOutAfterIndent(const fl::ustring& file, std::size_t truthStart, std::size_t truthLength,
                           const fl::ustring& typedIndent);
// Where the truth starts in the original file.
std::size_t truthStart(const EvalCase& evalCase);
fl::ustring reassemble(const EvalCase& evalCase);
// The case with its cut file, made from the file it was sampled from.
EvalCase withCut(EvalCase evalCase, const fl::ustring& file);

}  // namespace ostrel_eval
