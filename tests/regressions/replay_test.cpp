// Replays every input a fuzzer found (tests/regressions/cases/<target>/) through the same target code
// that the fuzzer ran, without sanitizers: each must now pass without a crash or a broken property.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "targets/fuzz_targets.hpp"

namespace {

std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

TEST(FuzzRegressions, EveryFoundInputPasses) {
    int replayed = 0;
    for (const auto& target : ostrel_fuzz::allTargets()) {
        const std::filesystem::path folder = std::filesystem::path(OSTREL_REGRESSION_DIR) / target.name;
        if (!std::filesystem::is_directory(folder)) continue;
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            SCOPED_TRACE(entry.path().string());
            const std::string input = readFile(entry.path());
            EXPECT_NO_THROW(target.run(input));
            ++replayed;
        }
    }
    EXPECT_GT(replayed, 0) << "no regression input found below " << OSTREL_REGRESSION_DIR;
}

}  // namespace
