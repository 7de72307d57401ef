#pragma once

#include <vector>

#include "ca/analysis_data.hpp"

namespace ca::messages {

// Warnings about values a function assigns to a name and never reads. Only functions the text holds to
// their end count (the rest of a cut one may read them), only texts without errors, and no function that
// may reach its variables by name (eval, save, exist, ...).
std::vector<detail::Diagnostic> unusedVariables(const detail::AnalysisData& data);

}  // namespace ca::messages
