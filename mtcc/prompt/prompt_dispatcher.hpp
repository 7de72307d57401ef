#pragma once

#include "fl/ustring.hpp"
#include "mtcc/prompt/prompt_data.hpp"

namespace mtcc::Prompt {

// Asks the AI client for a completion with the model-side template the data names, blocks until the
// reply arrives and returns its first entry's text. Every failure it knows of ends in a log record
// and the empty text.
fl::ustring promptDispatcher(const VariableContext::PromptData& data);

}  // namespace mtcc::Prompt
