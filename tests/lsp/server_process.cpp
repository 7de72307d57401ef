#include "server_process.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <stdexcept>
#include <thread>

namespace lsp_testing {

ServerProcess::ServerProcess(const std::vector<std::string>& args,
                             const std::map<std::string, std::string>& environment) {
    signal(SIGPIPE, SIG_IGN);  // a server that died must fail the test, not kill it
    int in[2], out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
    pid_ = fork();
    if (pid_ == 0) {
        dup2(in[0], STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        setenv("XDG_CONFIG_HOME", "/nonexistent", 1);
        for (const auto& [name, value] : environment)
            setenv(name.c_str(), value.c_str(), 1);
        std::vector<std::string> all{OSTREL_LSP_PROGRAM};
        all.insert(all.end(), args.begin(), args.end());
        std::vector<char*> argv;
        for (std::string& arg : all)
            argv.push_back(arg.data());
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
    close(in[0]);
    close(out[1]);
    toServer_ = in[1];
    fromServer_ = out[0];
}

ServerProcess::~ServerProcess() {
    closeInput();
    if (!waitForExit(3s)) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    close(fromServer_);
}

void ServerProcess::sendRaw(const std::string& bytes) {
    for (std::size_t done = 0; done < bytes.size();) {
        const ssize_t n = write(toServer_, bytes.data() + done, bytes.size() - done);
        if (n <= 0) return;  // the server is gone; the test sees it in what it receives
        done += static_cast<std::size_t>(n);
    }
}

std::string framed(const std::string& body) {
    return "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

nlohmann::json position(const std::string& uri, int line, int character) {
    return {{"textDocument", {{"uri", uri}}}, {"position", {{"line", line}, {"character", character}}}};
}

nlohmann::json formatting(const std::string& uri, int tabSize, bool insertSpaces) {
    return {{"textDocument", {{"uri", uri}}},
            {"options", {{"tabSize", tabSize}, {"insertSpaces", insertSpaces}}}};
}

void ServerProcess::send(const nlohmann::json& message) {
    sendRaw(framed(message.dump()));
}

void ServerProcess::request(int id, const std::string& method, nlohmann::json params) {
    send({{"jsonrpc", "2.0"}, {"id", id}, {"method", method}, {"params", std::move(params)}});
}

void ServerProcess::notify(const std::string& method, nlohmann::json params) {
    send({{"jsonrpc", "2.0"}, {"method", method}, {"params", std::move(params)}});
}

std::optional<nlohmann::json> ServerProcess::readOne(std::chrono::steady_clock::time_point deadline) {
    for (;;) {
        const auto headerEnd = buffer_.find("\r\n\r\n");
        if (headerEnd != std::string::npos) {
            const auto at = buffer_.find("Content-Length: ");
            const std::size_t length = std::stoul(buffer_.substr(at + 16, headerEnd - at - 16));
            if (buffer_.size() >= headerEnd + 4 + length) {
                auto message = nlohmann::json::parse(buffer_.substr(headerEnd + 4, length));
                buffer_.erase(0, headerEnd + 4 + length);
                return message;
            }
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) return std::nullopt;
        pollfd fd{fromServer_, POLLIN, 0};
        if (poll(&fd, 1, static_cast<int>(left.count())) <= 0) continue;
        char chunk[65536];
        const ssize_t n = read(fromServer_, chunk, sizeof chunk);
        if (n <= 0) return std::nullopt;
        buffer_.append(chunk, static_cast<std::size_t>(n));
    }
}

std::optional<nlohmann::json> ServerProcess::take(const std::function<bool(const nlohmann::json&)>& wanted,
                                                  std::chrono::milliseconds timeout) {
    for (auto it = kept_.begin(); it != kept_.end(); ++it) {
        if (wanted(*it)) {
            nlohmann::json found = std::move(*it);
            kept_.erase(it);
            return found;
        }
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (auto message = readOne(deadline)) {
        if (wanted(*message)) return message;
        kept_.push_back(std::move(*message));
    }
    return std::nullopt;
}

std::optional<nlohmann::json> ServerProcess::receive(std::chrono::milliseconds timeout) {
    return take([](const nlohmann::json&) { return true; }, timeout);
}

std::optional<nlohmann::json> ServerProcess::responseTo(int id, std::chrono::milliseconds timeout) {
    return take(
        [id](const nlohmann::json& m) {
            return !m.contains("method") && m.value("id", nlohmann::json()) == id;
        },
        timeout);
}

nlohmann::json ServerProcess::answer(int id, std::chrono::milliseconds timeout) {
    auto message = responseTo(id, timeout);
    if (!message) ADD_FAILURE() << "no answer to request " << id;
    return message.value_or(nlohmann::json());
}

nlohmann::json ServerProcess::notified(const std::string& method, std::chrono::milliseconds timeout) {
    auto message = take([&](const nlohmann::json& m) { return m.value("method", "") == method; }, timeout);
    if (!message) ADD_FAILURE() << "no " << method << " notification";
    return message.value_or(nlohmann::json());
}

std::vector<std::string> ServerProcess::shownMessages(std::chrono::milliseconds quiet) {
    std::vector<std::string> shown;
    while (const auto message = receive(quiet)) {
        if (message->value("method", "") == "window/showMessage")
            shown.push_back((*message)["params"]["message"]);
    }
    return shown;
}

nlohmann::json ServerProcess::initialize(nlohmann::json options) {
    request(1000000, "initialize",
            {{"capabilities", nlohmann::json::object()}, {"initializationOptions", options}});
    const auto reply = responseTo(1000000);
    notify("initialized");
    return reply ? reply->value("result", nlohmann::json()) : nlohmann::json();
}

void ServerProcess::open(const std::string& uri, const std::string& text, int version) {
    notify(
        "textDocument/didOpen",
        {{"textDocument", {{"uri", uri}, {"languageId", "ostrel"}, {"version", version}, {"text", text}}}});
}

void ServerProcess::closeInput() {
    if (toServer_ >= 0) close(toServer_);
    toServer_ = -1;
}

std::optional<int> ServerProcess::waitForExit(std::chrono::milliseconds timeout) {
    if (status_) return status_;
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        int status = 0;
        if (waitpid(pid_, &status, WNOHANG) == pid_) {
            status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            return status_;
        }
        if (std::chrono::steady_clock::now() > deadline) return std::nullopt;
        std::this_thread::sleep_for(5ms);
    }
}

}  // namespace lsp_testing
