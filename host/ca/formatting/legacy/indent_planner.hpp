#pragma once

#include <optional>
#include <vector>

#include "ca/formatting/legacy/settings.hpp"
#include "ca/formatting/legacy/source_lines.hpp"

namespace ca::formatting::legacy {

// The indentation, in columns, that each line should have; empty for a line to be left as it is (the
// first line, block comments, blank lines the settings leave alone). Line ranges are not applied here:
// levels depend on the whole text.
std::vector<std::optional<int>> planIndentation(const std::vector<lexer::Token>& tokens,
                                                const std::vector<SourceLine>& lines,
                                                const Settings& settings);

}  // namespace ca::formatting::legacy
