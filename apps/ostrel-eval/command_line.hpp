#pragma once

#include <optional>
#include <string>
#include <vector>

#include "case_sampling.hpp"
#include "qvai/client_options.hpp"
#include "reply_variants.hpp"

namespace ostrel_eval {

struct EvalOptions {
    std::vector<std::string> paths;
    SamplingRequest sampling;
    std::vector<ReplyVariant> variants{std::begin(kAllVariants), std::end(kAllVariants)};
    std::string backend = "reply-file";  // the planned replies; or local, openai, infill
    qvai::ClientOptions client;          // for a real backend
    std::optional<std::string> jsonFile;
    std::size_t worst = 0;
    std::size_t threads = 0;  // 0: one per hardware thread
};

// Parses the arguments (without the program name). Returns nullopt after printing help or an error to
// `out`/`err`; `status` is then the exit status.
std::optional<EvalOptions> parseCommandLine(int argc, const char* const* argv, int& status);

}  // namespace ostrel_eval
