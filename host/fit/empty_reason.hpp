#pragma once

#include "fit/completion_edit.hpp"

namespace fit {

// The first stage that left nothing of the reply, and why, for a completion that came out empty.
Fitted nothingFrom(const StageTexts& stages);

}  // namespace fit
