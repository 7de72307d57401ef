#include "mtcc/prompt/prompt_dispatcher.hpp"

#include <exception>
#include <future>
#include <memory>

#include "fl/i18n.hpp"
#include "foundation/log/diagnostic_logger.hpp"
#include "mtcc/prompt/qvai_client.hpp"
#include "qvai/core/qvai_exception.hpp"

namespace mtcc::Prompt {

namespace {

using foundation::log::kSeverityValue;

void logError(const foundation::log::diagnostic_logger& logger, const char* message) {
    if (logger.is_enabled(kSeverityValue)) logger.record(kSeverityValue) << "Error: \n\n" << message << "\n";
}

// Owns one reference to the promise and nothing else, so it may outlive the request. The success flag
// is ignored on purpose: a reply flagged unsuccessful is used like any other.
qvai::ChatCompletionCallback makeReplyCallback(std::shared_ptr<std::promise<fl::ustring>> reply) {
    return [reply](bool, qvai::core::gen::ChatCompletionMessage message) {
        reply->set_value(message.choices.empty() ? fl::ustring() : message.choices.front().content);
    };
}

}  // namespace

fl::ustring promptDispatcher(const VariableContext::PromptData& data) {
    const foundation::log::diagnostic_logger logger("mtcc::Prompt::PromptManager");
    auto reply = std::make_shared<std::promise<fl::ustring>>();
    auto future = reply->get_future();

    const std::string promptVersion = fl::i18n::to_string(data.promptVersion);
    const std::string promptId = fl::i18n::to_string(data.promptId);
    qvai::core::gen::PromptSelector selector{promptId, promptVersion, std::nullopt};
    selector.input = buildUserContent(data);

    qvai::core::gen::ChatCompletion request;
    request.promptSelector = selector;

    fl::ustring text;
    try {
        auto client = getQvaiClient();
        const auto context = client->requestContext();
        client->sendChatCompletion(request, makeReplyCallback(reply), context);
        client.reset();
        reply.reset();
        // No time limit: the client answers every request, with an empty reply at worst.
        text = future.get();
    } catch (const qvai::core::QvaiException& e) {
        logError(logger, e.what());
        return {};
    } catch (const std::exception& e) {
        logError(logger, e.what());
        return {};
    }

    if (text.empty()) {
        if (logger.is_enabled(kSeverityValue)) logger.record(kSeverityValue) << "No messages received\n";
    }
    return text;
}

}  // namespace mtcc::Prompt
