#include <gtest/gtest.h>

#include <future>

#include "cppmicroservices/framework_factory.hpp"
#include "foundation/cppmicroservices/framework_access.hpp"
#include "mtcc/prompt/prompt_dispatcher.hpp"
#include "mtcc/prompt/qvai_client.hpp"
#include "support/log_capture.hpp"

using namespace std::chrono_literals;

namespace {

class FixedClient : public qvai::IQvaiClient {
  public:
    explicit FixedClient(fl::ustring text) : text_(std::move(text)) {}
    void sendChatCompletion(qvai::core::gen::ChatCompletion, qvai::ChatCompletionCallback callback,
                            qvai::RequestContext) override {
        qvai::core::gen::ChatCompletionMessage message;
        message.choices.push_back({text_, std::nullopt, std::nullopt});
        callback(true, message);
    }
    qvai::RequestContext requestContext() override { return {}; }

  private:
    fl::ustring text_;
};

const mtcc::VariableContext::PromptData kData{u"ostrel-autocompletion", u"v1", u"x", u"", u"", u"", u""};

// The client is held process-wide from its first successful acquisition on, so the whole life cycle is
// one test in a program of its own: failure, retry, blocking, then holding on to the first client.
TEST(ClientAcquisition, FailsThenBlocksThenKeepsTheFirstClientForever) {
    testing_support::LogCapture capture;
    foundation::cppmicroservices::setFramework(std::nullopt);
    EXPECT_EQ(mtcc::Prompt::promptDispatcher(kData), u"");
    EXPECT_EQ(capture.texts("mtcc::Prompt::PromptManager"),
              (std::vector<std::string>{"Error: \n\nNo BundleContext\n"}));
    EXPECT_THROW(mtcc::Prompt::getQvaiClient(), std::runtime_error);

    auto framework = cppmicroservices::FrameworkFactory().NewFramework();
    framework.Start();
    foundation::cppmicroservices::setFramework(framework);
    auto context = framework.GetBundleContext();

    auto completion = std::async(std::launch::async, [] { return mtcc::Prompt::promptDispatcher(kData); });
    auto secondCaller = std::async(std::launch::async, [] { return mtcc::Prompt::getQvaiClient(); });
    EXPECT_EQ(completion.wait_for(100ms), std::future_status::timeout);
    EXPECT_EQ(secondCaller.wait_for(0ms), std::future_status::timeout);

    auto first = std::make_shared<FixedClient>(u"from first");
    auto registration = context.RegisterService<qvai::IQvaiClient>(first);
    ASSERT_EQ(completion.wait_for(5s), std::future_status::ready);
    EXPECT_EQ(completion.get(), u"from first");
    ASSERT_EQ(secondCaller.wait_for(5s), std::future_status::ready);
    EXPECT_EQ(secondCaller.get(), first);

    context.RegisterService<qvai::IQvaiClient>(std::make_shared<FixedClient>(u"from second"));
    registration.Unregister();
    EXPECT_EQ(mtcc::Prompt::getQvaiClient(), first);
    framework.Stop();
    foundation::cppmicroservices::setFramework(std::nullopt);
    EXPECT_EQ(mtcc::Prompt::getQvaiClient(), first);
    EXPECT_EQ(mtcc::Prompt::promptDispatcher(kData), u"from first");
}

}  // namespace
