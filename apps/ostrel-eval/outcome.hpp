#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "eval_case.hpp"
#include "fit/completion_edit.hpp"

namespace ostrel_eval {

enum class Outcome {
    Exact,    // the edited file is the original
    Partial,  // the original without a whole-line tail of the truth
    Indent,   // the original once each line's leading blanks are ignored
    Lost,     // nothing offered
    Wrong,    // anything else
};

inline constexpr Outcome kAllOutcomes[] = {Outcome::Exact, Outcome::Partial, Outcome::Indent, Outcome::Lost,
                                           Outcome::Wrong};

std::string_view outcomeName(Outcome outcome);

// The cut file with the edit applied; nullopt when the edit lies outside it.
std::optional<fl::ustring> applyEdit(const fl::ustring& cut, const fit::Edit& edit);

// Judges what an editor would show: the cut file with `edit` applied (nothing: lost).
Outcome judgeEdit(const EvalCase& evalCase, const std::optional<fit::Edit>& edit);

// The stage of the library (or the host's edit) where the truth was first lost. Empty for an exact
// outcome. Stages: "model" (no reply, or one without the truth's code), "extraction", "deduplication",
// "validation", "pruning", "formatting", "final check" (the host refused the edit), "edit" (every stage kept
// the truth, the edit did not).
std::string blameStage(const EvalCase& evalCase, const fit::StageTexts& stages, const fit::Fitted& fitted,
                       Outcome outcome);

// Whether a stage's text still holds the truth. Extraction: the truth's code lies within it (repeats
// around it are for deduplication to remove). Later stages: the same code as the truth, indentation
// aside. Formatting: the same lines with the same indentation, the first line's aside (the cursor's
// column gives it).
bool extractionHolds(const fl::ustring& extracted, const fl::ustring& truth);
bool stageHolds(const fl::ustring& text, const fl::ustring& truth);
bool formattingHolds(const fl::ustring& completion, const fl::ustring& truth);

}  // namespace ostrel_eval
