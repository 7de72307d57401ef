#pragma once

#include <filesystem>
#include <memory>

#include "qvai/client_options.hpp"

namespace testing_support {

// Plays the editor's part for end-to-end tests: a started service framework with the host's AI client
// registered in it. The library keeps the first client it finds for the life of the process, so a test
// program makes one of these and varies what the client answers (e.g. the reply file's content).
class PipelineHost {
  public:
    explicit PipelineHost(const qvai::ClientOptions& options);
    ~PipelineHost();
    PipelineHost(const PipelineHost&) = delete;
    PipelineHost& operator=(const PipelineHost&) = delete;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// A reply-file client, otherwise set as `options`, whose reply is whatever was last written with setReply().
class ReplyFileHost {
  public:
    explicit ReplyFileHost(qvai::ClientOptions options = {});
    ~ReplyFileHost();
    void setReply(const std::string& utf8) const;

  private:
    std::filesystem::path file_;
    std::unique_ptr<PipelineHost> host_;
};

}  // namespace testing_support
