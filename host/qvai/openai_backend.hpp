#pragma once

#include "qvai/backend.hpp"
#include "qvai/json_endpoint.hpp"

namespace qvai {

// Any server that speaks the OpenAI chat-completions protocol (POST <Endpoint>/v1/chat/completions).
class OpenAiBackend : public Backend {
  public:
    explicit OpenAiBackend(const ClientOptions& options);
    std::string complete(const BackendRequest& request, const std::atomic<bool>& cancelled) override;

  private:
    JsonEndpoint endpoint_;
};

// The request body and the reply's text, apart from the transport so that they can be checked alone.
std::string openAiRequestBody(const BackendRequest& request);
// Throws std::runtime_error when the body is no chat-completion reply with a text; the message gives the
// server's own error, `key` masked.
std::string openAiReplyText(const std::string& body, const std::string& key = {});

}  // namespace qvai
