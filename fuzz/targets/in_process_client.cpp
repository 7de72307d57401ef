#include "in_process_client.hpp"

#include <memory>
#include <mutex>

#include "cppmicroservices/framework_factory.hpp"
#include "foundation/cppmicroservices/framework_access.hpp"
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

// The framework and the client live as long as the process, as the library's hold on the client does.
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

}  // namespace

void answerWith(fl::ustring reply) {
    static ClientHost host;
    host.client->setReply(std::move(reply));
}

}  // namespace ostrel_fuzz
