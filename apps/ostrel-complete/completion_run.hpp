#pragma once

#include <iosfwd>

#include "command_line.hpp"

namespace ostrel_complete {

// Runs one completion as the command line asks and writes the result to `out`. Throws
// std::runtime_error (or one of its kind) with a one-line message on any error the user should see.
void runCompletion(const CommandLine& commandLine, std::ostream& out, bool outIsTerminal);

}  // namespace ostrel_complete
