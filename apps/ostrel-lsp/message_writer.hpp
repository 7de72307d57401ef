#pragma once

#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <string>

namespace ostrel_lsp {

// Writes framed messages to a file descriptor from any thread, one whole message at a time. Once a
// write fails (the client is gone) every later one is dropped.
class MessageWriter {
  public:
    explicit MessageWriter(int fd) : fd_(fd) {}

    bool send(const nlohmann::json& message);
    bool closed() const;

  private:
    int fd_;
    mutable std::mutex mutex_;
    bool closed_ = false;
};

}  // namespace ostrel_lsp
