#pragma once

#include <cstdint>
#include <vector>

#include "eval_case.hpp"
#include "fit/completion_edit.hpp"

namespace ostrel_eval {

inline constexpr std::size_t kMaxTruthLines = 12;

// Every cursor of one kind in one file, as (cursor, 0-based line index).
struct CursorCandidate {
    std::size_t cursor = 0;
    std::size_t line = 0;
};
std::vector<CursorCandidate> cursorCandidates(const fl::ustring& text, CursorKind kind);

struct SamplingRequest {
    std::size_t cases = 500;
    std::uint64_t seed = 1;
    std::vector<CursorKind> kinds{std::begin(kAllKinds), std::end(kAllKinds)};
    std::size_t maxLines = kMaxTruthLines;
};

// `cases` cursors over the files, the kinds taking turns (equal shares), each with k drawn from 1 to
// maxLines (2 to maxLines at a line end, where the first line of the truth is only the line end). The
// same files, request and seed give the same cases. No two cases share a file, cursor and k, or a
// prompt. When a kind runs out of cursors the others take its turns. The cases' `cut` is left empty.
// `styles[f]` (the host's defaults when missing) gives the indentation an editor types on a blank line.
std::vector<EvalCase> sampleCases(const std::vector<fl::ustring>& files, const SamplingRequest& request,
                                  const std::vector<fit::IndentSettings>& styles = {});

}  // namespace ostrel_eval
