#pragma once

#include <memory>

#include "ca/analysis_data.hpp"
#include "ca/text_reading.hpp"

namespace ca::detail {

// Lexes and parses `text`, by default as a possible fragment of a longer file. Throws
// InvalidAnalysisException only beyond the analyser's limits.
std::unique_ptr<AnalysisData> analyseText(const fl::ustring& text,
                                          TextReading reading = TextReading::Fragment);

}  // namespace ca::detail
