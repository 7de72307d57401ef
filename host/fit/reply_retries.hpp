#pragma once

#include <vector>

#include "fit/completion_edit.hpp"
#include "fit/edit_fitter.hpp"
#include "fit/reply_shape.hpp"
#include "fl/ustring.hpp"

// The library's cut may be what breaks the file, or what leaves it broken. These try other lines of the
// model's reply than the completion, after the completion's own attempt, and keep whichever does better.
namespace fit {

// The deduplicated reply up to its first blank line (the library keeps one block of lines too).
std::vector<fl::ustring> replyLines(const StageTexts& stages);

// The shape some first lines of the reply are fitted with: the closing lines deduplication removed
// followed the reply's last line, not theirs, when more of the reply follows them.
ReplyShape shapeOfHead(const StageTexts& stages, const ReplyShape& shape,
                       const std::vector<fl::ustring>& head);

// The reply's lines that the library cut off after the completion's: first its first block of lines,
// then all of it (the first block may end in the middle of what the file needs, as a function's `end`
// before the next function); last, each without its closing lines that repeat those below the cursor.
// An edit that fits is bettered only by more of the reply after it.
Attempt withCutOffLines(const EditFitter& fitter, const StageTexts& stages, const ReplyShape& shape,
                        const std::vector<fl::ustring>& lines, Attempt attempt);

// Lines that repeat the code above the cursor are dropped (by deduplication, or by the placement at a
// blank line), but the file may need them: an `end` below another `end` is both. When the edit leaves
// errors in the file, writes out again the code below the cursor's line, or nothing fits, the closing
// lines are kept, first those the placement dropped, then also those that deduplication removed; such
// an edit is offered when it does better.
Attempt keepingRepeats(const EditFitter& fitter, const StageTexts& stages, const ReplyShape& shape,
                       const std::vector<fl::ustring>& lines, Attempt attempt);

// The completion without its last lines when they only close blocks and write out again the closing
// lines below the cursor's line: offered when nothing else fits, or when it leaves fewer errors (an
// `end` one time too many).
Attempt withoutRepeatedClosers(const EditFitter& fitter, const std::vector<fl::ustring>& lines,
                               const ReplyShape& shape, Attempt attempt);

// When nothing fits, the completion without its first lines that only close blocks and write out again
// the lines above a blank cursor line (kept because of the column the model wrote them at, or because
// code further left follows them).
Attempt withoutClosersAboveWhenNothingFits(const EditFitter& fitter, const std::vector<fl::ustring>& lines,
                                           const ReplyShape& shape, Attempt attempt);

}  // namespace fit
