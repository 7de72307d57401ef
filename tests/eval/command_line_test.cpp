// The options a user gives: what is accepted, what is refused with a status, and what it selects.
#include "command_line.hpp"

#include <gtest/gtest.h>

namespace ostrel_eval {
namespace {

struct Parsed {
    std::optional<EvalOptions> options;
    int status = -1;
};

Parsed parse(std::vector<std::string> args) {
    args.insert(args.begin(), "ostrel-eval");
    std::vector<const char*> argv;
    for (const std::string& arg : args)
        argv.push_back(arg.c_str());
    Parsed parsed;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    parsed.options = parseCommandLine(static_cast<int>(argv.size()), argv.data(), parsed.status);
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    return parsed;
}

TEST(CommandLine, AcceptsOrRefuses) {
    const std::string here = OSTREL_SOURCE_DIR;
    struct Row {
        std::vector<std::string> args;
        bool accepted;
        int status;
    };
    const Row rows[] = {
        {{here + "/examples"}, true, 0},
        {{"--help"}, false, 0},
        {{}, false, 106},  // no path
        {{here + "/no-such-folder"}, false, 105},
        {{here, "--kinds", "line-start,sideways"}, false, 105},
        {{here, "--variants", "exact,verbose"}, false, 105},
        {{here, "--variants", "flat", "--backend", "local"}, false, 105},
        {{here, "--endpoint", "http://127.0.0.1:8080"}, false, 105},
        {{here, "--backend", "telepathy"}, false, 105},
        {{here, "--cases", "0"}, false, 105},
        {{here, "--cases", "many"}, false, 105},
        {{here, "--max-lines", "13"}, false, 105},
        {{here, "--frobnicate"}, false, 109},
    };
    for (const Row& row : rows) {
        const Parsed parsed = parse(row.args);
        EXPECT_EQ(parsed.options.has_value(), row.accepted) << testing::PrintToString(row.args);
        EXPECT_EQ(parsed.status, row.status) << testing::PrintToString(row.args);
    }
}

}  // namespace
}  // namespace ostrel_eval
