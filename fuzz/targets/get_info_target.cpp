// GetInfo with the model's reply, the code and the cursor taken from the input, through an in-process AI
// client whose reply is the fuzz input. Input: a settings byte, the reply (UTF-8), 0xFF, the code before
// the cursor, 0xFF, the code after it.
#include <mutex>

#include "ca/invalid_analysis_exception.hpp"
#include "cppmicroservices/framework_factory.hpp"
#include "foundation/cppmicroservices/framework_access.hpp"
#include "fuzz_input.hpp"
#include "fuzz_targets.hpp"
#include "mtcc/autocompletion/auto_completion.hpp"
#include "mtcc/cache/settings_values.hpp"
#include "qvai/qvai_client.hpp"

namespace ostrel_fuzz {
namespace {

// Answers every request at once, on the caller's thread, with the reply last set.
class InProcessClient : public qvai::IQvaiClient {
  public:
    void setReply(fl::ustring reply) {
        const std::lock_guard lock(mutex_);
        reply_ = std::move(reply);
    }
    void sendChatCompletion(qvai::core::gen::ChatCompletion, qvai::ChatCompletionCallback callback,
                            qvai::RequestContext) override {
        qvai::core::gen::ChatCompletionMessage message;
        {
            const std::lock_guard lock(mutex_);
            message.choices.push_back({reply_, std::nullopt, "stop"});
        }
        callback(true, std::move(message));
    }
    qvai::RequestContext requestContext() override { return {}; }

  private:
    std::mutex mutex_;
    fl::ustring reply_;
};

// The library keeps the first client it finds for the life of the process, so the framework and the
// client live as long as the process too.
struct ClientHost {
    std::shared_ptr<InProcessClient> client = std::make_shared<InProcessClient>();
    cppmicroservices::Framework framework = cppmicroservices::FrameworkFactory().NewFramework();
    cppmicroservices::ServiceRegistration<qvai::IQvaiClient> registration;

    ClientHost() {
        framework.Start();
        registration = framework.GetBundleContext().RegisterService<qvai::IQvaiClient>(client);
        foundation::cppmicroservices::setFramework(framework);
    }
};

InProcessClient& client() {
    static ClientHost host;
    return *host.client;
}

}  // namespace

void runGetInfo(std::string_view bytes) {
    FuzzInput input(bytes);
    const std::uint8_t settingsByte = input.byte();
    const fl::ustring reply = toUtf16(input.textUntil('\xff'), false);
    const fl::ustring prefix = toUtf16(input.textUntil('\xff'), false);
    const fl::ustring suffix = toUtf16(input.rest(), false);

    auto settings = std::make_shared<mtcc::cache::SettingsValues>();
    settings->tabSize = settingsByte & 7;
    settings->indentSize = (settingsByte >> 3) & 7;
    settings->insertSpaces = (settingsByte & 64) == 0;
    settings->functionIndentingFormat =
        (settingsByte & 128) != 0 ? u"MixedFunctionIndent" : u"AllFunctionIndent";

    client().setReply(reply);
    try {
        const auto result = mtcc::AutoCompletion::GetInfo(u"", prefix + suffix, prefix.size(), settings);
        if (!result.autocompletionResponse.empty() && result.LLMResponse != reply)
            throw PropertyViolation("the reply reaches the pipeline unchanged");
    } catch (const ca::InvalidAnalysisException&) {
        // A prefix or completion beyond the analyser's limits: the host reports it (completeGuarded).
    }
}

}  // namespace ostrel_fuzz
