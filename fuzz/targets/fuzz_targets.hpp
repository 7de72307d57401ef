#pragma once

#include <span>
#include <stdexcept>
#include <string_view>

namespace ostrel_fuzz {

// Thrown by a target when a result breaks a property that the code promises (a lossless round trip, say).
// Under libFuzzer it escapes and ends the run as a crash; the regression test reports it as a failure.
struct PropertyViolation : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// One fuzz target: feeds one input to the code under test. Expected rejections (a filter that does not
// parse, an analysis beyond the analyser's limits) are caught inside; anything else escapes.
struct FuzzTarget {
    std::string_view name;
    void (*run)(std::string_view input);
};

void runAnalyser(std::string_view input);
void runFormatter(std::string_view input);
void runGetInfo(std::string_view input);
void runSettingsFile(std::string_view input);
void runLdapFilter(std::string_view input);
void runModelReply(std::string_view input);
void runFit(std::string_view input);

// Every target, by the name its corpus and its program carry.
std::span<const FuzzTarget> allTargets();

}  // namespace ostrel_fuzz
