#include "mtcc/prompt/prompt_dispatcher.hpp"

#include <gtest/gtest.h>

#include <future>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "cppmicroservices/framework_factory.hpp"
#include "foundation/cppmicroservices/framework_access.hpp"
#include "mtcc/prompt/prompt_data.hpp"
#include "mtcc/prompt/qvai_client.hpp"
#include "qvai/core/qvai_exception.hpp"
#include "support/log_capture.hpp"

using qvai::ChatCompletionCallback;
using qvai::core::gen::ChatCompletion;
using qvai::core::gen::ChatCompletionMessage;

namespace {

const std::string kChannel = "mtcc::Prompt::PromptManager";

// A client whose answer each test scripts. The library keeps the first client it finds for the whole
// process, so every test shares this one registered object and swaps its behaviour.
class ScriptedClient : public qvai::IQvaiClient {
  public:
    using Behaviour = std::function<void(ChatCompletion, ChatCompletionCallback)>;

    void script(Behaviour behaviour) {
        std::lock_guard lock(mutex_);
        behaviour_ = std::move(behaviour);
    }

    void sendChatCompletion(ChatCompletion request, ChatCompletionCallback callback,
                            qvai::RequestContext context) override {
        Behaviour behaviour;
        {
            std::lock_guard lock(mutex_);
            lastRequest_ = request;
            behaviour = behaviour_;
        }
        handedBack = context.sequence;
        behaviour(std::move(request), std::move(callback));
    }

    qvai::RequestContext requestContext() override {
        if (failContext) throw qvai::core::QvaiException("client is shutting down");
        return {++issued};
    }

    ChatCompletion lastRequest() const {
        std::lock_guard lock(mutex_);
        return lastRequest_;
    }

    std::atomic<bool> failContext{false};
    std::atomic<std::uint64_t> issued{0}, handedBack{0};

  private:
    mutable std::mutex mutex_;
    Behaviour behaviour_;
    ChatCompletion lastRequest_;
};

ScriptedClient& client() {
    static const auto instance = [] {
        auto scripted = std::make_shared<ScriptedClient>();
        auto framework = cppmicroservices::FrameworkFactory().NewFramework();
        framework.Start();
        framework.GetBundleContext().RegisterService<qvai::IQvaiClient>(scripted);
        foundation::cppmicroservices::setFramework(framework);
        return scripted;
    }();
    return *instance;
}

ChatCompletionMessage replyWith(std::initializer_list<const char16_t*> texts) {
    ChatCompletionMessage message;
    message.id = "reply";
    for (const auto* text : texts)
        message.choices.push_back({text, std::nullopt, "stop"});
    return message;
}

// Answers from a thread of its own, as a real client does.
ScriptedClient::Behaviour answerLater(bool success, ChatCompletionMessage message) {
    return [success, message](ChatCompletion, ChatCompletionCallback callback) {
        std::thread([success, message, callback = std::move(callback)] {
            callback(success, message);
        }).detach();
    };
}

mtcc::VariableContext::PromptData sampleData() {
    return {u"ostrel-autocompletion", u"v1", u"x = 1;\ny = \"a\"\t", u"\nend", u"helper", u"x, y", u"disp"};
}

class PromptDispatcherTest : public ::testing::Test {
  protected:
    void SetUp() override {
        client().failContext = false;
        client().script(answerLater(true, replyWith({u"x = 1"})));
    }
};

TEST_F(PromptDispatcherTest, RequestCarriesOnlyThePromptSelector) {
    const auto data = sampleData();
    mtcc::Prompt::promptDispatcher(data);
    const ChatCompletion request = client().lastRequest();
    ASSERT_TRUE(request.promptSelector.has_value());
    EXPECT_EQ(request.promptSelector->promptId, "ostrel-autocompletion");
    EXPECT_EQ(request.promptSelector->promptVersion, "v1");
    ASSERT_TRUE(request.promptSelector->input.has_value());
    EXPECT_EQ(*request.promptSelector->input, mtcc::Prompt::buildUserContent(data));
    EXPECT_TRUE(request.messages.empty());
    EXPECT_TRUE(request.stop.empty());
    EXPECT_TRUE(request.tools.empty());
    EXPECT_FALSE(request.toolChoice || request.model || request.responseFormat || request.user ||
                 request.temperature || request.topP || request.maxTokens || request.n);
    // The context value handed out just before is the one handed back.
    EXPECT_EQ(client().handedBack.load(), client().issued.load());
}

// The reply's first entry is the result; every way a request can fail ends in an empty result and one
// warning, formatted only when warnings are on.
TEST_F(PromptDispatcherTest, FirstEntryOrAnEmptyResultAndOneWarning) {
    const std::string broken = std::future_error(std::future_errc::broken_promise).what();
    struct Row {
        const char* what;
        ScriptedClient::Behaviour behaviour;
        bool failContext;
        fl::ustring result;
        std::string record;  // "" for none
    };
    const Row rows[] = {
        {"the first entry", answerLater(true, replyWith({u"first\u00e9", u"second"})), false, u"first\u00e9",
         ""},
        {"an unsuccessful flag is not consulted", answerLater(false, replyWith({u"used anyway"})), false,
         u"used anyway", ""},
        {"no message", answerLater(true, ChatCompletionMessage{}), false, u"", "No messages received\n"},
        {"an empty first entry", answerLater(true, replyWith({u"", u"not this"})), false, u"",
         "No messages received\n"},
        {"a throwing client",
         [](ChatCompletion, ChatCompletionCallback) { throw std::runtime_error("boom"); }, false, u"",
         "Error: \n\nboom\n"},
        {"no request context", answerLater(true, replyWith({u"x"})), true, u"",
         "Error: \n\nclient is shutting down\n"},
        {"a dropped callback",
         [](ChatCompletion, ChatCompletionCallback callback) {
             std::thread([dropped = std::move(callback)]() mutable { dropped = nullptr; }).detach();
         },
         false, u"", "Error: \n\n" + broken + "\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        client().script(row.behaviour);
        client().failContext = row.failContext;
        {
            testing_support::LogCapture capture;
            EXPECT_EQ(mtcc::Prompt::promptDispatcher(sampleData()), row.result);
            EXPECT_EQ(capture.texts(kChannel),
                      row.record.empty() ? std::vector<std::string>{} : std::vector<std::string>{row.record});
            for (const auto& record : capture.records())
                if (record.channel == kChannel) {
                    EXPECT_EQ(record.severity, 4u);
                }
        }
        testing_support::LogCapture warningsOff(8 | 32);
        EXPECT_EQ(mtcc::Prompt::promptDispatcher(sampleData()), row.result);
        EXPECT_TRUE(warningsOff.texts(kChannel).empty());
    }
}

TEST_F(PromptDispatcherTest, SecondCallbackFailsOnTheClientsThreadAndFirstWins) {
    std::promise<std::string> secondOutcome;
    client().script([&secondOutcome](ChatCompletion, ChatCompletionCallback callback) {
        std::thread([&secondOutcome, callback = std::move(callback)] {
            callback(true, replyWith({u"first"}));
            try {
                callback(true, replyWith({u"second"}));
                secondOutcome.set_value("no error");
            } catch (const std::future_error& e) {
                secondOutcome.set_value(e.code() == std::future_errc::promise_already_satisfied ? "satisfied"
                                                                                                : e.what());
            }
        }).detach();
    });
    EXPECT_EQ(mtcc::Prompt::promptDispatcher(sampleData()), u"first");
    EXPECT_EQ(secondOutcome.get_future().get(), "satisfied");
}

TEST_F(PromptDispatcherTest, ConcurrentCallsGetTheirOwnReplies) {
    // Echo each request's code back, so that a crossed reply would show.
    client().script([](ChatCompletion request, ChatCompletionCallback callback) {
        std::thread([input = *request.promptSelector->input, callback = std::move(callback)] {
            callback(true, replyWith({input.c_str()}));
        }).detach();
    });
    std::vector<std::future<bool>> results;
    for (int t = 0; t < 8; ++t) {
        results.push_back(std::async(std::launch::async, [t] {
            for (int i = 0; i < 20; ++i) {
                auto data = sampleData();
                data.partialCode = u"v" + fl::ustring(1, static_cast<char16_t>(u'a' + t)) + u" = " +
                                   fl::ustring(1, static_cast<char16_t>(u'0' + i % 10));
                if (mtcc::Prompt::promptDispatcher(data) != mtcc::Prompt::buildUserContent(data))
                    return false;
            }
            return true;
        }));
    }
    for (auto& result : results)
        EXPECT_TRUE(result.get());
}

}  // namespace
