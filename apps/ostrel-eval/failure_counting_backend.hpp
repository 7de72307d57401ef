#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "qvai/backend.hpp"

namespace ostrel_eval {

// A real backend with its failures counted: the library sees only an empty reply, and a run whose every
// reply is lost must still say why (a wrong key, a wrong model name, a server that is down).
class FailureCountingBackend : public qvai::Backend {
  public:
    explicit FailureCountingBackend(std::unique_ptr<qvai::Backend> backend) : backend_(std::move(backend)) {}
    std::string complete(const qvai::BackendRequest& request, const std::atomic<bool>& cancelled) override;

    std::size_t requests() const { return requests_; }
    std::size_t failures() const { return failures_; }
    std::string firstFailure() const;

  private:
    std::unique_ptr<qvai::Backend> backend_;
    std::atomic<std::size_t> requests_{0}, failures_{0};
    mutable std::mutex mutex_;
    std::string firstFailure_;
};

}  // namespace ostrel_eval
