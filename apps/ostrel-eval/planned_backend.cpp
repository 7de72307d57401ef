#include "planned_backend.hpp"

#include <stdexcept>

namespace ostrel_eval {

void PlannedReplyBackend::plan(std::map<PromptKey, std::string> replies) {
    std::lock_guard lock(mutex_);
    replies_ = std::move(replies);
}

std::string PlannedReplyBackend::complete(const qvai::BackendRequest& request, const std::atomic<bool>&) {
    if (request.input) {
        std::lock_guard lock(mutex_);
        const auto found = replies_.find({request.input->code, request.input->suffix});
        if (found != replies_.end()) return found->second;
    }
    ++unplanned_;
    throw std::runtime_error("no reply was planned for this prompt");
}

}  // namespace ostrel_eval
