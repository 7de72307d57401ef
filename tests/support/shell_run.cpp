#include "support/shell_run.hpp"

#include <sys/wait.h>

#include <array>
#include <cstdio>

namespace testing_support {

ShellRun runShell(const std::string& command) {
    ShellRun run{-1, {}};
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return run;
    std::array<char, 4096> buffer{};
    for (std::size_t n; (n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
        run.out.append(buffer.data(), n);
    const int status = pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

}  // namespace testing_support
