#pragma once

#include <string>
#include <variant>

#include "server_options.hpp"

namespace ostrel_lsp {

// The server's options from its command line, or the text to print and the exit status (for --help,
// --version and errors).
struct CommandLineExit {
    std::string text;
    int status;
};
std::variant<ServerOptions, CommandLineExit> parseCommandLine(int argc, const char* const* argv);

}  // namespace ostrel_lsp
