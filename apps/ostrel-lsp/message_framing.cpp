#include "message_framing.hpp"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <optional>

namespace ostrel_lsp {
namespace {

constexpr std::size_t kMaxHeaderBytes = 16 * 1024;
constexpr std::string_view kLengthName = "Content-Length:";

bool isHeaderLine(std::string_view line) {
    const auto colon = line.find(':');
    if (colon == 0 || colon == std::string_view::npos) return false;
    for (std::size_t i = 0; i < colon; ++i) {
        const char c = line[i];
        if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '-')) return false;
    }
    return true;
}

std::string_view trimBlanks(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t'))
        s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r'))
        s.remove_suffix(1);
    return s;
}

// Where the header block starting at `from` ends (the index after its blank line), or npos.
std::size_t headerEnd(const std::string& buffer, std::size_t from) {
    for (std::size_t i = buffer.find('\n', from); i != std::string::npos; i = buffer.find('\n', i + 1)) {
        std::size_t next = i + 1;
        if (next < buffer.size() && buffer[next] == '\r') ++next;
        if (next < buffer.size() && buffer[next] == '\n') return next + 1;
    }
    return std::string::npos;
}

}  // namespace

FrameReader::FrameReader(int fd, std::size_t maxBodyBytes) : fd_(fd), maxBodyBytes_(maxBodyBytes) {}

bool FrameReader::fill() {
    if (pos_ > 0 && pos_ >= buffer_.size() / 2) {
        buffer_.erase(0, pos_);
        pos_ = 0;
    }
    std::array<char, 65536> chunk{};
    for (;;) {
        const ssize_t n = ::read(fd_, chunk.data(), chunk.size());
        if (n > 0) {
            buffer_.append(chunk.data(), static_cast<std::size_t>(n));
            return true;
        }
        if (n < 0 && errno == EINTR) continue;
        return false;
    }
}

bool FrameReader::skipBytes(std::size_t count) {
    while (count > 0) {
        if (pos_ == buffer_.size()) {
            buffer_.clear();
            pos_ = 0;
            if (!fill()) return false;
        }
        const std::size_t take = std::min(count, buffer_.size() - pos_);
        pos_ += take;
        count -= take;
    }
    return true;
}

Frame FrameReader::next() {
    std::size_t end;
    while ((end = headerEnd(buffer_, pos_)) == std::string::npos) {
        if (buffer_.size() - pos_ > kMaxHeaderBytes) {
            // No blank line in sight: drop what we have but keep a possible start of the next header.
            const auto at = buffer_.rfind(kLengthName);
            pos_ = at != std::string::npos && at > pos_ ? at : buffer_.size();
            return {Frame::Kind::BadHeader, {}, "a message header longer than 16 KiB"};
        }
        if (!fill()) return {};
    }

    std::string_view block(buffer_.data() + pos_, end - pos_);
    std::optional<std::string_view> length;
    bool garbage = false;
    for (std::size_t lineStart = 0; lineStart < block.size();) {
        std::size_t lineEnd = block.find('\n', lineStart);
        if (lineEnd == std::string_view::npos) lineEnd = block.size();
        const std::string_view line = trimBlanks(block.substr(lineStart, lineEnd - lineStart));
        if (!line.empty()) {
            const auto found = block.substr(lineStart, lineEnd - lineStart).find(kLengthName);
            if (found != std::string_view::npos && found > 0 && !isHeaderLine(line)) {
                // Leftover bytes of a broken message run into the next header: resume at that header.
                pos_ += lineStart + found;
                return {Frame::Kind::BadHeader, {}, "unexpected bytes before a message header"};
            }
            if (!isHeaderLine(line)) {
                garbage = true;
            } else if (line.starts_with(kLengthName)) {
                length = trimBlanks(line.substr(kLengthName.size()));
            }
        }
        lineStart = lineEnd + 1;
    }
    pos_ = end;
    if (garbage) return {Frame::Kind::BadHeader, {}, "a message header line is not 'Name: value'"};
    if (!length) return {Frame::Kind::BadHeader, {}, "a message header without Content-Length"};

    std::size_t size = 0;
    const auto [rest, ec] = std::from_chars(length->data(), length->data() + length->size(), size);
    if (ec == std::errc::result_out_of_range) {
        return {Frame::Kind::BadHeader, {}, "Content-Length is out of range"};
    }
    if (ec != std::errc() || rest != length->data() + length->size()) {
        return {Frame::Kind::BadHeader, {}, "Content-Length is not a number: '" + std::string(*length) + "'"};
    }
    if (size > maxBodyBytes_) {
        if (!skipBytes(size)) return {};
        return {Frame::Kind::Oversized,
                {},
                "a message of " + std::to_string(size) + " bytes is over the limit of " +
                    std::to_string(maxBodyBytes_) + " bytes"};
    }
    while (buffer_.size() - pos_ < size) {
        if (!fill()) return {};
    }
    Frame frame{Frame::Kind::Message, buffer_.substr(pos_, size), {}};
    pos_ += size;
    return frame;
}

std::string frameOf(const std::string& body) {
    return "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace ostrel_lsp
