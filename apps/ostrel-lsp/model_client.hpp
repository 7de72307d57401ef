#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "cppmicroservices/framework.hpp"
#include "cppmicroservices/service_registration.hpp"
#include "qvai/ai_client.hpp"
#include "qvai/client_options.hpp"
#include "qvai/qvai_client.hpp"

namespace ostrel_lsp {

// The AI client the server registers. The completion library acquires its client once per process, so
// a change of the model settings cannot register a new one: this client stays, and the host client
// behind it is replaced.
class SwitchableClient : public qvai::IQvaiClient {
  public:
    explicit SwitchableClient(const qvai::ClientOptions& options);
    ~SwitchableClient() override;
    SwitchableClient(const SwitchableClient&) = delete;
    SwitchableClient& operator=(const SwitchableClient&) = delete;

    // Throws std::invalid_argument (and keeps the current client) for unusable options.
    void reconfigure(const qvai::ClientOptions& options);
    qvai::ClientOptions options() const;

    void sendChatCompletion(qvai::core::gen::ChatCompletion request, qvai::ChatCompletionCallback callback,
                            qvai::RequestContext context) override;
    qvai::RequestContext requestContext() override;

    // Told whether each reply of the current host client succeeded (not those of a replaced one, which
    // fail as it goes, nor cancelled ones), on the client's thread before the reply's own callback;
    // nullptr stops it, and returns only once no call is under way.
    void observeReplies(std::function<void(bool success)> observer);

    // Cancels the request that `caller` sent and still waits for: the library asks the model on the
    // thread that runs the completion, so that thread names the request. False when it waits for none.
    bool cancelRequestOf(std::thread::id caller);

  private:
    struct Call {
        std::weak_ptr<qvai::AiClient> client;
        qvai::RequestContext context;
        std::shared_ptr<std::atomic<bool>> cancelled;
    };

    mutable std::mutex mutex_;
    qvai::ClientOptions options_;
    std::shared_ptr<qvai::AiClient> client_;
    std::uint64_t generation_ = 0;  // counts the host clients
    std::mutex observerMutex_;
    std::function<void(bool)> observer_;
    std::map<std::thread::id, Call> calls_;  // under mutex_: the request each caller waits for
};

// Registers a SwitchableClient in a framework of its own and makes that the framework the library finds,
// for as long as it lives.
class ModelService {
  public:
    explicit ModelService(const qvai::ClientOptions& options);
    ~ModelService();
    ModelService(const ModelService&) = delete;
    ModelService& operator=(const ModelService&) = delete;

    SwitchableClient& client() { return *client_; }

  private:
    std::shared_ptr<SwitchableClient> client_;
    cppmicroservices::Framework framework_;
    cppmicroservices::ServiceRegistration<qvai::IQvaiClient> registration_;
};

}  // namespace ostrel_lsp
