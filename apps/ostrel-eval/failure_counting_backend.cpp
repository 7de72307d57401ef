#include "failure_counting_backend.hpp"

#include <stdexcept>

namespace ostrel_eval {

std::string FailureCountingBackend::complete(const qvai::BackendRequest& request,
                                             const std::atomic<bool>& cancelled) {
    ++requests_;
    try {
        return backend_->complete(request, cancelled);
    } catch (const std::exception& e) {
        if (failures_++ == 0) {
            const std::lock_guard lock(mutex_);
            firstFailure_ = e.what();
        }
        throw;
    }
}

std::string FailureCountingBackend::firstFailure() const {
    const std::lock_guard lock(mutex_);
    return firstFailure_;
}

}  // namespace ostrel_eval
