#pragma once

#include <httplib.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

namespace lsp_testing {

// A chat-completions server on loopback that answers every request with `reply` in an ostrel fence,
// counts the requests and remembers their Authorization headers. While held, requests wait for release().
class ModelStub {
  public:
    explicit ModelStub(std::string reply, bool held = false) : reply_(std::move(reply)), held_(held) {
        // The handler is in place before the server's thread starts, so that the thread sees it.
        server_.Post("/v1/chat/completions",
                     [this](const httplib::Request& request, httplib::Response& response) {
                         {
                             std::unique_lock lock(mutex_);
                             ++requests_;
                             authorizations_.push_back(request.get_header_value("Authorization"));
                             arrived_.notify_all();
                             released_.wait(lock, [this] { return !held_; });
                         }
                         nlohmann::json body;
                         body["choices"][0]["message"] = {{"role", "assistant"},
                                                          {"content", "```ostrel\n" + reply_ + "\n```"}};
                         response.set_content(body.dump(), "application/json");
                     });
        port_ = server_.bind_to_any_port("127.0.0.1");
        thread_ = std::thread([this] { server_.listen_after_bind(); });
        while (!server_.is_running())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ~ModelStub() {
        release();
        server_.stop();
        thread_.join();
    }

    std::string url() const { return "http://127.0.0.1:" + std::to_string(port_); }
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
    httplib::Server server_;
    int port_ = 0;
    std::thread thread_;
};

}  // namespace lsp_testing
