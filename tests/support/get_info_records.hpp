#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "mtcc/autocompletion/auto_completion.hpp"
#include "support/log_capture.hpp"

namespace testing_support {

// What one completion that runs every stage should log: the inputs and name lists it saw (UTF-8) and
// the texts it produced. `formatted` is the formatter's output, which becomes the response.
struct CompleteRun {
    std::string code;
    std::size_t cursor = 0;
    std::string prefixLimited, suffixLimited;
    std::string variables, functions, ostrelFunctions;
    mtcc::AutoCompletion::InfoResult result;
};

using LogLine = std::pair<std::uint32_t, std::string>;

// The pipeline's own records (severity, text) in order, from entry to exit.
std::vector<LogLine> expectedRecords(const CompleteRun& run);

// The records the capture holds on the pipeline's channel.
std::vector<LogLine> pipelineRecords(const LogCapture& capture);

// The six result texts in their order, as UTF-8, to compare two results in one go.
std::vector<std::string> texts(const mtcc::AutoCompletion::InfoResult& result);

// True when all six result texts are empty.
bool allEmpty(const mtcc::AutoCompletion::InfoResult& result);

}  // namespace testing_support
