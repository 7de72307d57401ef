#pragma once

#include <memory>
#include <vector>

#include "ca/analysis.hpp"
#include "ca/code_input.hpp"
#include "ca/messages/message.hpp"

namespace ca {

// The runtime context a message analysis could consult; this analyser never does.
using RuntimeContextHandle = std::shared_ptr<const void>;

namespace messages {

// Which messages getMessages() returns.
struct MessageOptions {
    bool errors = true;
    bool warnings = true;
    bool wholeFile = false;  // read the text as a whole file, not as a window cut out of one
};

MessageOptions getOptionsForErrorOnly();

// The messages an existing analysis found, in source order.
std::vector<Message> messagesOf(const Analysis& analysis, const MessageOptions& options);

// The code-analysis messages of one text: every syntax error and rule violation, and warnings.
class SingleFileMessages {
  public:
    explicit SingleFileMessages(RuntimeContextHandle context) : context_(std::move(context)) {}

    // Messages in source order. Throws InvalidAnalysisException only beyond the analyser's limits.
    std::vector<Message> getMessages(const CodeInput& input, const MessageOptions& options) const;

  private:
    RuntimeContextHandle context_;
};

}  // namespace messages
}  // namespace ca
