#pragma once

#include <string>
#include <vector>

#include "fit/completion_edit.hpp"
#include "fl/ustring.hpp"

namespace ostrel_eval {

// A file's own indentation style, as far as its text shows it.
struct DetectedStyle {
    fit::IndentSettings settings;     // the host's defaults where nothing could be read
    std::vector<std::string> unread;  // what could not be read: "indent unit", "function indentation"
};

// Reads the indent unit (the most common step between a code line and a deeper one after it), tabs or
// spaces (what most indented lines start with), whether blank lines keep blanks, and how function
// bodies are indented (classic: none, mixed: only nested ones, all: every one).
DetectedStyle detectStyle(const fl::ustring& text);

}  // namespace ostrel_eval
