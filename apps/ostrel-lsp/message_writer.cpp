#include "message_writer.hpp"

#include <unistd.h>

#include <cerrno>
#include <nlohmann/json.hpp>

#include "message_framing.hpp"

namespace ostrel_lsp {

bool MessageWriter::send(const nlohmann::json& message) {
    // Invalid UTF-8 from a client must not make the reply throw: it is replaced.
    const std::string bytes = frameOf(message.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
    const std::lock_guard lock(mutex_);
    if (closed_) return false;
    for (std::size_t done = 0; done < bytes.size();) {
        const ssize_t n = ::write(fd_, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            closed_ = true;
            return false;
        }
        done += static_cast<std::size_t>(n);
    }
    return true;
}

bool MessageWriter::closed() const {
    const std::lock_guard lock(mutex_);
    return closed_;
}

}  // namespace ostrel_lsp
