#pragma once

#include <ostream>
#include <vector>

#include "fit/completion_edit.hpp"
#include "fl/ustring.hpp"
#include "mtcc/autocompletion/auto_completion.hpp"
#include "run_observer.hpp"

namespace ostrel_complete {

// The text an editor inserts at the cursor (starting with a line break when the completion starts a new
// line), as UTF-8; nothing when there is no edit.
void writeCompletion(std::ostream& out, const fit::Fitted& fitted);

// The six result texts, the edit (its range in code units and its text) or the stage that left nothing
// and why, and the stage times.
void writeJson(std::ostream& out, const mtcc::AutoCompletion::InfoResult& result, const fit::Fitted& fitted,
               const std::vector<StageTime>& times);

// The lines around the cursor with the edit applied, its text marked in colour when `colour` is set and
// between "«" and "»" otherwise.
void writeShow(std::ostream& out, const fl::ustring& code, const fit::Fitted& fitted, std::size_t cursor,
               bool colour, std::size_t contextLines = 8);

}  // namespace ostrel_complete
