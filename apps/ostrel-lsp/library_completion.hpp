#pragma once

#include <cstddef>

#include "completion_scheduler.hpp"
#include "fl/ustring.hpp"

namespace ostrel_lsp {

// One completion through the library (GetInfo, with the settings the runtime context holds now) and the
// host's edit for it. Blocks until the model answers: call it on a worker.
CompletionOutcome completeWithLibrary(const fl::ustring& text, std::size_t cursor);

}  // namespace ostrel_lsp
