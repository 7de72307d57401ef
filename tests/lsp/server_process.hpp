#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace lsp_testing {

using namespace std::chrono_literals;

// `body` with the Content-Length header that frames it.
std::string framed(const std::string& body);

// The params of a request at a position of a document, and of a formatting request.
nlohmann::json position(const std::string& uri, int line, int character);
nlohmann::json formatting(const std::string& uri, int tabSize, bool insertSpaces);

// The ostrel-lsp program on the other end of two pipes, as an editor runs it.
class ServerProcess {
  public:
    explicit ServerProcess(const std::vector<std::string>& args,
                           const std::map<std::string, std::string>& environment = {});
    ~ServerProcess();
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    void sendRaw(const std::string& bytes);
    void send(const nlohmann::json& message);
    void request(int id, const std::string& method, nlohmann::json params = nlohmann::json::object());
    void notify(const std::string& method, nlohmann::json params = nlohmann::json::object());

    // The next message, or nothing after `timeout` or at the end of the output.
    std::optional<nlohmann::json> receive(std::chrono::milliseconds timeout = 5s);
    // The next message that answers `id` (others are kept for later), or nothing.
    std::optional<nlohmann::json> responseTo(int id, std::chrono::milliseconds timeout = 5s);

    // The answer to `id`, or the next notification of `method` (others are kept for later), as a test
    // expects them: a missing one is a test failure, and null.
    nlohmann::json answer(int id, std::chrono::milliseconds timeout = 5s);
    nlohmann::json notified(const std::string& method, std::chrono::milliseconds timeout = 5s);
    // The messages of every window/showMessage until the server is quiet for `quiet`.
    std::vector<std::string> shownMessages(std::chrono::milliseconds quiet = 300ms);

    // Sends initialize (with `options` as initializationOptions) and initialized; returns the result.
    nlohmann::json initialize(nlohmann::json options = nullptr);
    void open(const std::string& uri, const std::string& text, int version = 1);

    pid_t pid() const { return pid_; }
    void closeInput();
    // The exit status, or nothing if the process has not exited within `timeout`.
    std::optional<int> waitForExit(std::chrono::milliseconds timeout = 5s);

  private:
    std::optional<nlohmann::json> take(const std::function<bool(const nlohmann::json&)>& wanted,
                                       std::chrono::milliseconds timeout);
    std::optional<nlohmann::json> readOne(std::chrono::steady_clock::time_point deadline);

    pid_t pid_ = -1;
    int toServer_ = -1;
    int fromServer_ = -1;
    std::string buffer_;
    std::vector<nlohmann::json> kept_;
    std::optional<int> status_;
};

}  // namespace lsp_testing
