#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "ca/formatting/legacy/settings.hpp"
#include "fl/ustring.hpp"

namespace formatter_test {

// Lexes, re-indents and prints `text`.
fl::ustring format(const fl::ustring& text, const ca::formatting::legacy::Settings& settings);

ca::formatting::legacy::Settings settingsFor(
    ca::formatting::legacy::FunctionIndentation style,
    ca::formatting::legacy::BlankLines blanks = ca::formatting::legacy::BlankLines::Indent);

struct Example {
    std::string name;
    fl::ustring text;
    ca::formatting::legacy::FunctionIndentation style;
};

// Every example program with the function style its README lists for it.
std::vector<Example> loadExamples();

// The first line where two texts differ, with both versions, for failure messages.
std::string firstDifference(const fl::ustring& expected, const fl::ustring& actual);

}  // namespace formatter_test
