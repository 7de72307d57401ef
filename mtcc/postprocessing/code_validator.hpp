#pragma once

#include "fl/ustring.hpp"

namespace mtcc::postprocessing {

// Checks prefix + generated + suffix with the analyser's error-only messages. Returns the generated code
// unchanged when no error lies on its lines; otherwise the lines above the first such error, provided
// the file with only those lines has no error at all; otherwise the empty text.
fl::ustring validateGeneratedCode(const fl::ustring& generated, const fl::ustring& prefix, const fl::ustring& suffix);

// Line feeds plus one when the text does not end with one; the empty text counts one line.
std::size_t countLines(const fl::ustring& text);

}  // namespace mtcc::postprocessing
