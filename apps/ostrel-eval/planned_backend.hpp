#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <string>

#include "prompt_key.hpp"
#include "qvai/backend.hpp"

namespace ostrel_eval {

// The reply-file backend's role for many cases at once: each request is answered with the reply planned
// for its prompt (the code before and after its cursor), so that cases can run in parallel in one
// process while the library keeps its one AI client. A request with no planned reply fails, as an
// unreachable model would, and is counted.
class PlannedReplyBackend : public qvai::Backend {
  public:
    void plan(std::map<PromptKey, std::string> replies);
    std::string complete(const qvai::BackendRequest& request, const std::atomic<bool>& cancelled) override;
    std::size_t unplannedRequests() const { return unplanned_; }

  private:
    mutable std::mutex mutex_;
    std::map<PromptKey, std::string> replies_;
    std::atomic<std::size_t> unplanned_{0};
};

}  // namespace ostrel_eval
