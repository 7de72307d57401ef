#pragma once

#include "qvai/backend.hpp"
#include "qvai/json_endpoint.hpp"

namespace qvai {

// A fill-in-the-middle server (POST <Endpoint>/infill with the text before and after the cursor). Its raw
// code is put into an ostrel fence.
class InfillBackend : public Backend {
  public:
    explicit InfillBackend(const ClientOptions& options);
    std::string complete(const BackendRequest& request, const std::atomic<bool>& cancelled) override;

  private:
    JsonEndpoint endpoint_;
};

std::string infillRequestBody(const TemplateInput& input, int maxTokens, double temperature);
// Throws std::runtime_error when the body carries no "content" text.
std::string infillReplyText(const std::string& body, const std::string& key = {});

}  // namespace qvai
