#pragma once

#include <string>
#include <vector>

#include "eval_case.hpp"
#include "fit/completion_edit.hpp"

namespace ostrel_eval {

struct CaseResult;

// Levenshtein similarity of two texts, 1 - distance / longer length (1 for two empty texts). Texts are
// compared on at most their first 4000 code units, so the cost stays bounded.
double editSimilarity(const fl::ustring& a, const fl::ustring& b);

// What the edit put where the truth was: the edited file between the cut file's text before the cursor
// and after it, or the edit's text when the edit reached into those. Empty when there is no edit.
// `evalCase` needs its cut file.
fl::ustring offeredText(const EvalCase& evalCase, const CaseResult& result);

// How a model does on the cases with its own replies.
struct ModelMetrics {
    std::size_t cases = 0;
    double firstLineExact = 0;  // share whose first offered line is the truth's first line (blanks aside)
    double wholeExact = 0;      // share with an exact outcome
    double similarity = 0;      // mean edit similarity of the offered text to the truth
    double emptied = 0;         // share where the model replied and the host offered nothing
    double latencyP50 = 0, latencyP90 = 0, latencyP99 = 0;  // seconds per completion
    std::size_t requests = 0, failures = 0;                 // requests to the backend, and those that failed
    std::string firstFailure;                               // why the first failed one did
};

ModelMetrics modelMetrics(const std::vector<EvalCase>& cases, const std::vector<CaseResult>& results);

}  // namespace ostrel_eval
