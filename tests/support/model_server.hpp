#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "support/loopback_server.hpp"

namespace testing_support {

// A chat-completions reply body whose one message is `content`.
std::string chatReply(const std::string& content);

// A model server on loopback: answers every POST with one body and keeps every request. While held,
// requests wait for release().
class ModelServer {
  public:
    explicit ModelServer(std::string body, bool held = false);
    ~ModelServer();

    std::string url() const { return loopback_.url(); }
    void release();
    // From now on answers with `body` and `status` after `delay` (cut short when the server goes), and
    // forgets the requests so far.
    void answer(std::string body, int status = 200, std::chrono::milliseconds delay = {});
    std::vector<httplib::Request> requests() const;
    httplib::Request last() const;  // the latest request, or an empty one
    // The header `name` of every request so far, in order ("" where it was missing).
    std::vector<std::string> headers(const std::string& name) const;
    // Waits up to five seconds until `count` requests have arrived.
    bool awaitRequests(std::size_t count);

  private:
    std::string body_;
    int status_ = 200;
    std::chrono::milliseconds delay_{};
    mutable std::mutex mutex_;
    std::condition_variable arrived_, released_;
    bool held_;
    bool closing_ = false;
    std::vector<httplib::Request> requests_;
    LoopbackServer loopback_;  // last, so that it stops before what its handler uses goes
};

}  // namespace testing_support
