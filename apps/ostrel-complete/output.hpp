#pragma once

#include <ostream>
#include <vector>

#include "fl/ustring.hpp"
#include "mtcc/autocompletion/auto_completion.hpp"
#include "run_observer.hpp"

namespace ostrel_complete {

// The completion alone, as UTF-8.
void writeCompletion(std::ostream& out, const fl::ustring& completion);

// The six result texts and the stage times.
void writeJson(std::ostream& out, const mtcc::AutoCompletion::InfoResult& result, const std::vector<StageTime>& times);

// The lines around the cursor with the completion in place, marked in colour when `colour` is set and
// between "«" and "»" otherwise.
void writeShow(std::ostream& out, const fl::ustring& code, std::size_t cursor, const fl::ustring& completion,
               bool colour, std::size_t contextLines = 8);

}  // namespace ostrel_complete
