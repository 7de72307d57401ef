#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace ostrel_complete {

inline constexpr std::array<const char*, 4> kBackendNames{"local", "openai", "infill", "reply-file"};

struct CursorSpec {
    std::optional<std::size_t> line, column;  // --at LINE:COLUMN, both 1-based
    std::optional<std::size_t> offset;        // --offset N, in UTF-16 code units
};

// What the command line asked for. Unset optionals leave the settings file's values in force.
struct CommandLine {
    std::string file;  // "-": standard input
    CursorSpec cursor;
    std::optional<std::string> settingsFile;

    std::optional<std::string> backend, endpoint, model, apiKeyVariable, replyFile;
    std::optional<int> timeoutMs, maxTokens;
    std::optional<double> temperature;
    std::vector<std::string> corpusFolders;
    std::vector<std::string> workspaceFolders;

    std::optional<unsigned> tabSize, indentSize;
    std::optional<bool> insertSpaces;
    std::optional<std::string> functionIndent, blankLines;

    bool json = false;
    bool show = false;
    std::optional<std::string> logFile;
    std::optional<std::string> logLevel;
    bool help = false;
};

// Throws std::invalid_argument with a one-line message for anything it cannot use.
CommandLine parseCommandLine(const std::vector<std::string>& args);

std::string usage();

}  // namespace ostrel_complete
