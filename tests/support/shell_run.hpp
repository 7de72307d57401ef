#pragma once

#include <string>

namespace testing_support {

// What a shell command wrote to standard output, and its exit status: -1 when it could not be started or
// did not exit by itself (a crash never reads as success).
struct ShellRun {
    int status;
    std::string out;
};

ShellRun runShell(const std::string& command);

}  // namespace testing_support
