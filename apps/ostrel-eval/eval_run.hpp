#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "eval_case.hpp"
#include "fit/completion_edit.hpp"
#include "outcome.hpp"

namespace ostrel_eval {

// One case through the library and the host's edit.
struct CaseResult {
    fit::StageTexts stages;
    std::string error;  // the library threw
    fit::Fitted fitted;
    Outcome outcome = Outcome::Lost;     // judged on the edited file
    Outcome rawOutcome = Outcome::Lost;  // the final text inserted at the cursor, no edit
    std::string blame;
    double seconds = 0;   // the whole call, the model's time included
    fl::ustring offered;  // what the edit put where the truth was (see offeredText)
};

// Runs every case (sampled from `files`) through GetInfo on `threads` threads and judges it.
// `settingsOf(case)` gives the case's formatting settings. `progress(done)` is called from the calling
// thread now and then.
std::vector<CaseResult> runCases(const std::vector<EvalCase>& cases, const std::vector<fl::ustring>& files,
                                 const std::function<fit::IndentSettings(const EvalCase&)>& settingsOf,
                                 std::size_t threads, const std::function<void(std::size_t)>& progress);

// Judges one result; split from the run so that the judging can be tested on planted stage texts.
CaseResult judgeCase(const EvalCase& evalCase, fit::StageTexts stages, const fit::IndentSettings& settings);

}  // namespace ostrel_eval
