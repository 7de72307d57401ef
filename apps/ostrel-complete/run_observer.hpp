#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace ostrel_complete {

struct StageTime {
    std::string stage;
    double milliseconds;
};

// Watches one completion through the log: the pipeline's stage messages give each stage's time, and
// the AI client's failure records tell a model that could not be reached from one that had nothing to
// say. Turns on the two channels' records it needs while it lives.
class RunObserver {
public:
    RunObserver();
    ~RunObserver();
    RunObserver(const RunObserver&) = delete;
    RunObserver& operator=(const RunObserver&) = delete;

    void finished();  // marks the end of the call
    std::vector<StageTime> stageTimes() const;
    std::vector<std::string> modelFailures() const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace ostrel_complete
