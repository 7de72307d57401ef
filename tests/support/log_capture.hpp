#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace testing_support {

struct CapturedRecord {
    std::string channel;
    std::uint32_t severity;
    std::string text;
};

// Collects every record pushed to the logging core while it lives, and turns the given severities on
// for all channels; restores the masks and removes its sink when destroyed.
class LogCapture {
  public:
    explicit LogCapture(std::uint32_t mask = 4 | 8 | 32);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<CapturedRecord> records() const;
    std::vector<std::string> texts(const std::string& channel) const;
    std::string joined() const;  // every record's text, one per line, for searching

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace testing_support
