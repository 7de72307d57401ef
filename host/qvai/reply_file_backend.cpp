#include "qvai/reply_file_backend.hpp"

#include <fstream>
#include <stdexcept>

namespace qvai {

ReplyFileBackend::ReplyFileBackend(const ClientOptions& options)
    : path_(options.ReplyFile), maxReplyBytes_(options.MaxReplyBytes) {
    if (path_.empty()) throw std::invalid_argument("the reply-file backend needs a reply file");
}

std::string ReplyFileBackend::complete(const BackendRequest&, const std::atomic<bool>&) {
    std::ifstream in(path_, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read reply file " + path_);
    std::string text;
    char buffer[65536];
    while (in.read(buffer, sizeof buffer) || in.gcount() > 0) {
        text.append(buffer, static_cast<std::size_t>(in.gcount()));
        if (text.size() > maxReplyBytes_)
            throw std::runtime_error("reply file " + path_ + " exceeds " + std::to_string(maxReplyBytes_) +
                                     " bytes");
    }
    if (in.bad()) throw std::runtime_error("error while reading reply file " + path_);
    return text;
}

}  // namespace qvai
