#pragma once

#include <string>

#include "../ca/analysis_helpers.hpp"
#include "ca/formatting/legacy/settings.hpp"
#include "fl/ustring.hpp"

namespace formatter_test {

// Lexes, re-indents and prints `text`.
fl::ustring format(const fl::ustring& text, const ca::formatting::legacy::Settings& settings);

ca::formatting::legacy::Settings settingsFor(
    ca::formatting::legacy::FunctionIndentation style,
    ca::formatting::legacy::BlankLines blanks = ca::formatting::legacy::BlankLines::Indent);

// The settings a program of the corpus is written in: the demo programs empty their blank lines, the
// programs in real users' styles leave them alone.
ca::formatting::legacy::Settings settingsOf(const ca::testing::ExampleText& example);

// The first line where two texts differ, with both versions, for failure messages.
std::string firstDifference(const fl::ustring& expected, const fl::ustring& actual);

}  // namespace formatter_test
