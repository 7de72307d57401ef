#pragma once

#include <chrono>
#include <future>
#include <memory>
#include <string>

#include "fl/i18n.hpp"
#include "qvai/qvai_client.hpp"

namespace model_test {

inline qvai::core::gen::ChatCompletion completionRequest(const std::string& code, const std::string& suffix) {
    qvai::core::gen::ChatCompletion request;
    const std::string json = "{\"ostrel_code\":\"" + code + "\", \"suffix\":\"" + suffix +
                             "\", \"user_functions\":\"helper\", \"user_variables\":\"total, x\", "
                             "\"ostrel_functions\":\"disp\"}";
    request.promptSelector =
        qvai::core::gen::PromptSelector{"ostrel-autocompletion", "v1", fl::i18n::to_ustring(json)};
    return request;
}

inline std::string replyText(const qvai::core::gen::ChatCompletionMessage& message) {
    return message.choices.empty() ? std::string() : fl::i18n::to_string(message.choices[0].content);
}

// What a failed request must get: the callback, once, flagged unsuccessful, with an empty message.
constexpr const char* kFailed = "<failed>";

// Sends one request and returns the reply text, or kFailed, or a description of a broken promise. Waits
// boundedly, so that a lost callback fails the test instead of hanging it.
inline std::string answer(qvai::IQvaiClient& client, qvai::core::gen::ChatCompletion request) {
    using Outcome = std::pair<bool, qvai::core::gen::ChatCompletionMessage>;
    auto promise = std::make_shared<std::promise<Outcome>>();
    auto future = promise->get_future();
    client.sendChatCompletion(
        std::move(request),
        [promise](bool success, qvai::core::gen::ChatCompletionMessage message) {
            promise->set_value({success, std::move(message)});
        },
        client.requestContext());
    if (future.wait_for(std::chrono::seconds(10)) != std::future_status::ready) return "<no callback>";
    const auto [success, message] = future.get();
    if (!success) return message.choices.empty() ? kFailed : "<failed with a message>";
    return message.choices.empty() ? "<succeeded without a reply>" : replyText(message);
}

}  // namespace model_test
