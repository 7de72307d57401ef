#pragma once

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

// A program of the corpus with the settings it is written in.
struct Example {
    std::string name;
    fl::ustring text;
    ca::formatting::legacy::Settings settings;
    bool consistent = true;  // indented exactly as the formatter indents it
};

// The house examples (examples/README.md lists their function style; indent 4, spaces).
std::vector<Example> loadExamples();

// The programs in real-world styles of tests/data/styles, fresh and heldout (each manifest.txt gives the
// programs' settings); empty when no folder has a manifest.
std::vector<Example> loadStyleExamples();

// The first line where two texts differ, with both versions, for failure messages.
std::string firstDifference(const fl::ustring& expected, const fl::ustring& actual);

}  // namespace formatter_test
