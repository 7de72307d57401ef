#pragma once

#include <stdexcept>

namespace qvai::core {

// Raised by the AI client for a request it cannot take at all (as opposed to a request that fails
// later, which is answered with an empty reply).
class QvaiException : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace qvai::core
