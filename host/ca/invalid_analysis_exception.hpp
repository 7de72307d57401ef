#pragma once

#include <stdexcept>
#include <string>

namespace ca {

// Thrown only for texts beyond the analyser's limits: too long, or nested too deeply.
class InvalidAnalysisException : public std::runtime_error {
  public:
    explicit InvalidAnalysisException(const std::string& what) : std::runtime_error(what) {}
};

inline constexpr std::size_t kMaxTextLength = 16777216;
inline constexpr std::size_t kMaxNesting = 512;

}  // namespace ca
