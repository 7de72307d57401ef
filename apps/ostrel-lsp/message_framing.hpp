#pragma once

#include <cstddef>
#include <string>

namespace ostrel_lsp {

// One thing read from the client's byte stream.
struct Frame {
    enum class Kind {
        Message,    // `body` holds one message's bytes
        Oversized,  // a message over the size limit; its bytes were skipped
        BadHeader,  // a header block that is not "Content-Length: N"; `error` says why
        End,        // the stream ended (the client is gone)
    };
    Kind kind = Kind::End;
    std::string body;
    std::string error;
};

// Reads "Content-Length: N\r\n\r\n<N bytes>" frames from a file descriptor. Memory stays bounded by the
// size limit whatever the client sends: an oversized body is read and dropped in small pieces, and a
// broken header is skipped up to the next "Content-Length:" so that the stream recovers.
class FrameReader {
  public:
    FrameReader(int fd, std::size_t maxBodyBytes);

    Frame next();

  private:
    bool fill();  // reads more bytes; false at the end of the stream
    bool skipBytes(std::size_t count);

    int fd_;
    std::size_t maxBodyBytes_;
    std::string buffer_;
    std::size_t pos_ = 0;
};

// The frame of one message body.
std::string frameOf(const std::string& body);

}  // namespace ostrel_lsp
