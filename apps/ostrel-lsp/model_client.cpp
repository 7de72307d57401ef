#include "model_client.hpp"

#include <utility>

#include "cppmicroservices/framework_factory.hpp"
#include "foundation/cppmicroservices/framework_access.hpp"

namespace ostrel_lsp {

SwitchableClient::SwitchableClient(const qvai::ClientOptions& options)
    : options_(options), client_(std::make_shared<qvai::AiClient>(options)) {}

SwitchableClient::~SwitchableClient() {
    // The host client answers what it still holds as it goes: while this object is whole.
    std::shared_ptr<qvai::AiClient> last;
    {
        const std::lock_guard lock(mutex_);
        last = std::move(client_);
    }
    observeReplies(nullptr);
}

void SwitchableClient::reconfigure(const qvai::ClientOptions& options) {
    auto fresh = std::make_shared<qvai::AiClient>(options);
    std::shared_ptr<qvai::AiClient> old;
    {
        const std::lock_guard lock(mutex_);
        old = std::exchange(client_, std::move(fresh));
        options_ = options;
        ++generation_;
    }
    // `old` answers what it still holds as it goes away, outside the lock.
}

qvai::ClientOptions SwitchableClient::options() const {
    const std::lock_guard lock(mutex_);
    return options_;
}

void SwitchableClient::sendChatCompletion(qvai::core::gen::ChatCompletion request,
                                          qvai::ChatCompletionCallback callback,
                                          qvai::RequestContext context) {
    std::shared_ptr<qvai::AiClient> client;
    std::uint64_t generation = 0;
    const auto caller = std::this_thread::get_id();
    auto cancelled = std::make_shared<std::atomic<bool>>(false);
    {
        const std::lock_guard lock(mutex_);
        client = client_;
        generation = generation_;
        calls_[caller] = Call{client, context, cancelled};
    }
    auto observed = [this, generation, caller, cancelled, callback = std::move(callback)](
                        bool success, qvai::core::gen::ChatCompletionMessage message) {
        bool current = false;
        {
            const std::lock_guard lock(mutex_);
            current = generation == generation_;
            if (const auto it = calls_.find(caller); it != calls_.end() && it->second.cancelled == cancelled)
                calls_.erase(it);
        }
        if (current && !*cancelled) {
            // Held while the observer runs, so that no call outlives observeReplies(nullptr).
            const std::lock_guard calling(observerMutex_);
            if (observer_) observer_(success);
        }
        callback(success, std::move(message));
    };
    client->sendChatCompletion(std::move(request), std::move(observed), context);
}

bool SwitchableClient::cancelRequestOf(std::thread::id caller) {
    Call call;
    {
        const std::lock_guard lock(mutex_);
        const auto it = calls_.find(caller);
        if (it == calls_.end()) return false;
        call = it->second;
    }
    *call.cancelled = true;
    const auto client = call.client.lock();
    return client && client->cancel(call.context);
}

void SwitchableClient::observeReplies(std::function<void(bool success)> observer) {
    const std::lock_guard lock(observerMutex_);
    observer_ = std::move(observer);
}

qvai::RequestContext SwitchableClient::requestContext() {
    std::shared_ptr<qvai::AiClient> client;
    {
        const std::lock_guard lock(mutex_);
        client = client_;
    }
    return client->requestContext();
}

ModelService::ModelService(const qvai::ClientOptions& options)
    : client_(std::make_shared<SwitchableClient>(options)),
      framework_(cppmicroservices::FrameworkFactory().NewFramework()) {
    framework_.Start();
    registration_ = framework_.GetBundleContext().RegisterService<qvai::IQvaiClient>(client_);
    foundation::cppmicroservices::setFramework(framework_);
}

ModelService::~ModelService() {
    foundation::cppmicroservices::setFramework(std::nullopt);
    framework_.Stop();
}

}  // namespace ostrel_lsp
