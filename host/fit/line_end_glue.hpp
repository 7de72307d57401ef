#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "fit/completion_edit.hpp"
#include "fit/reply_shape.hpp"
#include "fl/ustring.hpp"

// At the end of a line of code a completion may continue the line or start a new one: which comes first,
// and what blank joins it to the typed code.
namespace fit {

// The blank between the typed code and a completion that continues it: the model's own, or the one
// extraction trimmed before or after an operator, a comma or a keyword.
fl::ustring blankBeforeCompletion(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                                  const std::vector<fl::ustring>& lines, const ReplyShape& shape);

// A number typed in a matrix whose rows have one element more than the typed row and the completion's
// first row would have with the completion's first number restating the typed one (`0|` + `0.6 0;` in
// rows of three, `1|` + `1 1];`): that number is the row's next element, and the blank before it was
// trimmed.
bool typedNumberIsRowElement(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                             std::u16string_view first);

// The placements tried at the end of a line of code, the likelier first: `glue` continues the typed
// line, `newLine` starts a line below it.
std::vector<Edit> lineEndPlacements(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                                    const std::vector<fl::ustring>& lines, const ReplyShape& shape,
                                    const Edit& glue, const Edit& newLine);

}  // namespace fit
