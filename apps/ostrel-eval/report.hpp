#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "eval_case.hpp"
#include "eval_run.hpp"
#include "model_metrics.hpp"
#include "style_detection.hpp"

namespace ostrel_eval {

struct SourceFile {
    std::string path;
    fl::ustring text;
    DetectedStyle style;
};

// The results of one way of replying (a planned variant, or a model's own replies) on all cases.
struct VariantRun {
    std::string name;
    std::vector<CaseResult> results;
    std::size_t unplanned = 0;  // requests the planned backend had no reply for
};

struct EvalReport {
    std::vector<SourceFile> files;
    std::vector<std::string> skipped;  // files left out, with why
    std::vector<EvalCase> cases;
    std::vector<VariantRun> runs;
    std::optional<ModelMetrics> model;  // with a real backend
    std::uint64_t seed = 0;
    std::size_t threads = 0;
    double wallSeconds = 0;
};

// Outcome shares per variant and cursor kind, the raw final text's beside them, and the blamed stages.
void writeTables(std::ostream& out, const EvalReport& report);
// The `count` worst cases (wrong, then lost, indent, partial) with their file, cursor and stage texts.
void writeWorstCases(std::ostream& out, const EvalReport& report, std::size_t count);
void writeJson(std::ostream& out, const EvalReport& report);

}  // namespace ostrel_eval
