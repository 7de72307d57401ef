#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/loopback_server.hpp"

namespace lsp_testing {

// A chat-completions server on loopback that answers every request with `reply` in an ostrel fence,
// counts the requests and remembers their Authorization headers. While held, requests wait for release().
class ModelStub {
  public:
    explicit ModelStub(std::string reply, bool held = false) : reply_(std::move(reply)), held_(held) {
        server_.server().Post("/v1/chat/completions",
                              [this](const httplib::Request& request, httplib::Response& response) {
                                  {
                                      std::unique_lock lock(mutex_);
                                      ++requests_;
                                      authorizations_.push_back(request.get_header_value("Authorization"));
                                      arrived_.notify_all();
                                      released_.wait(lock, [this] { return !held_; });
                                  }
                                  nlohmann::json body;
                                  body["choices"][0]["message"] = {
                                      {"role", "assistant"}, {"content", "```ostrel\n" + reply_ + "\n```"}};
                                  response.set_content(body.dump(), "application/json");
                              });
    }
    ~ModelStub() {
        release();
        server_.stop();
    }

    std::string url() const { return server_.url(); }
    void release() {
        const std::lock_guard lock(mutex_);
        held_ = false;
        released_.notify_all();
    }
    int requests() const {
        const std::lock_guard lock(mutex_);
        return requests_;
    }
    // Waits until `count` requests have arrived (or a few seconds have passed).
    bool awaitRequests(int count) {
        std::unique_lock lock(mutex_);
        return arrived_.wait_for(lock, std::chrono::seconds(5), [&] { return requests_ >= count; });
    }
    std::vector<std::string> authorizations() const {
        const std::lock_guard lock(mutex_);
        return authorizations_;
    }

  private:
    std::string reply_;
    mutable std::mutex mutex_;
    std::condition_variable arrived_, released_;
    bool held_;
    int requests_ = 0;
    std::vector<std::string> authorizations_;
    testing_support::LoopbackServer server_;  // last: stops before the state its handler uses goes
};

}  // namespace lsp_testing
