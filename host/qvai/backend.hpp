#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "qvai/client_options.hpp"
#include "qvai/template_input.hpp"

namespace qvai {

struct ChatTurn {
    std::string role;
    std::string content;  // UTF-8
};

// One request as a backend sees it: the chat messages (rendered from the selected template, or given by
// the caller) and, when the request selected a completion template, that template's input.
struct BackendRequest {
    std::optional<TemplateInput> input;
    std::vector<ChatTurn> messages;
    std::string model;
    int maxTokens = 0;
    double temperature = 0;
};

// A way to get a reply. complete() runs on one of the client's worker threads; it returns the reply
// text and throws std::runtime_error with a description (never a secret) when there is none. It
// should give up soon after `cancelled` becomes true.
class Backend {
  public:
    virtual ~Backend() = default;
    virtual std::string complete(const BackendRequest& request, const std::atomic<bool>& cancelled) = 0;
};

// Throws std::invalid_argument for an unknown backend name or an unusable option.
std::unique_ptr<Backend> makeBackend(const ClientOptions& options);

// The reply text as a model would write it: the code in one fenced block tagged ostrel.
std::string ostrelFence(const std::string& code);

}  // namespace qvai
