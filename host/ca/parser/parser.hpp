#pragma once

#include <memory>

#include "ca/analysis_data.hpp"

namespace ca::detail {

// Lexes and parses `text` as a possible fragment of a longer file. Throws InvalidAnalysisException
// only beyond the analyser's limits.
std::unique_ptr<AnalysisData> analyseText(const fl::ustring& text);

}  // namespace ca::detail
