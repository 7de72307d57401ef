#pragma once

#include <httplib.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>

namespace testing_support {

// An HTTP server on a free loopback port for the length of a test. Routes given to the constructor are in
// place before the server's thread starts, so that the thread sees them.
class LoopbackServer {
  public:
    explicit LoopbackServer(const std::function<void(httplib::Server&)>& routes = {}) {
        if (routes) routes(server_);
        port_ = server_.bind_to_any_port("127.0.0.1");
        thread_ = std::thread([this] { server_.listen_after_bind(); });
        while (!server_.is_running())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ~LoopbackServer() { stop(); }
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    void stop() {
        server_.stop();
        if (thread_.joinable()) thread_.join();
    }
    std::string url() const { return "http://127.0.0.1:" + std::to_string(port_); }

  private:
    httplib::Server server_;
    int port_ = 0;
    std::thread thread_;
};

}  // namespace testing_support
