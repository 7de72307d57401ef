#pragma once

#include <functional>
#include <vector>

#include "fit/completion_edit.hpp"
#include "fit/reindent_continuation.hpp"
#include "fit/reindent_window.hpp"
#include "fl/ustring.hpp"

namespace fit {

// A continuation line of the edit that the model did not indent past its statement's first line goes
// where the file puts such lines: just after its open bracket, or at the file's offset from the statement.
// `indentation` holds each edit line's blanks and is changed in place.
void placeContinuations(const reindenting::Window& window, const std::vector<int>& own,
                        const std::function<ContinuationHabits()>& readHabits,
                        const std::function<bool()>& readClosesLeft, bool firstFromTyped, bool modelKept,
                        bool framed, const IndentSettings& style, std::vector<fl::ustring>& indentation);

}  // namespace fit
