#include "qvai/reply_file_backend.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>

namespace qvai {

namespace {

struct FileDescriptor {
    int fd;
    ~FileDescriptor() {
        if (fd >= 0) ::close(fd);
    }
};

constexpr int kPollSliceMs = 50;  // how often a wait looks at the cancel flag

}  // namespace

ReplyFileBackend::ReplyFileBackend(const ClientOptions& options)
    : path_(options.ReplyFile), maxReplyBytes_(options.MaxReplyBytes), timeoutMs_(options.TimeoutMs) {
    if (path_.empty()) throw std::invalid_argument("the reply-file backend needs a reply file");
}

std::string ReplyFileBackend::complete(const BackendRequest&, const std::atomic<bool>& cancelled) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs_);
    // Non-blocking, so that opening or reading a FIFO without a writer cannot outlast the time limit.
    const FileDescriptor file{::open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)};
    if (file.fd < 0)
        throw std::runtime_error("cannot read reply file " + path_ + ": " + std::strerror(errno));
    struct stat status {};
    if (::fstat(file.fd, &status) == 0 && S_ISDIR(status.st_mode))
        throw std::runtime_error("reply file " + path_ + " is a folder");

    std::string text;
    char buffer[65536];
    for (;;) {
        const ssize_t got = ::read(file.fd, buffer, sizeof buffer);
        if (got > 0) {
            text.append(buffer, static_cast<std::size_t>(got));
            if (text.size() > maxReplyBytes_)
                throw std::runtime_error("reply file " + path_ + " exceeds " +
                                         std::to_string(maxReplyBytes_) + " bytes");
            continue;
        }
        if (got == 0) return text;
        if (errno == EINTR) continue;
        if (errno != EAGAIN && errno != EWOULDBLOCK)
            throw std::runtime_error("error while reading reply file " + path_ + ": " + std::strerror(errno));
        if (cancelled) throw std::runtime_error("reading reply file " + path_ + " cancelled");
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now())
                .count();
        if (left <= 0)
            throw std::runtime_error("reply file " + path_ + " gave no end within " +
                                     std::to_string(timeoutMs_) + " ms");
        pollfd wait{file.fd, POLLIN, 0};
        ::poll(&wait, 1, static_cast<int>(std::min<long long>(left, kPollSliceMs)));
    }
}

}  // namespace qvai
