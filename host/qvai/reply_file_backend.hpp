#pragma once

#include "qvai/backend.hpp"

namespace qvai {

// Replays a captured reply: every request is answered with the file's text, read afresh each time.
// The read keeps to the time limit and the size limit whatever the file is (a FIFO nobody writes to,
// a device that never ends), and gives up when the request is cancelled.
class ReplyFileBackend : public Backend {
  public:
    explicit ReplyFileBackend(const ClientOptions& options);
    std::string complete(const BackendRequest& request, const std::atomic<bool>& cancelled) override;

  private:
    std::string path_;
    std::size_t maxReplyBytes_;
    int timeoutMs_;
};

}  // namespace qvai
