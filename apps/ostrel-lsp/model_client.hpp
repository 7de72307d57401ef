#pragma once

#include <memory>
#include <mutex>

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

    // Throws std::invalid_argument (and keeps the current client) for unusable options.
    void reconfigure(const qvai::ClientOptions& options);
    qvai::ClientOptions options() const;

    void sendChatCompletion(qvai::core::gen::ChatCompletion request, qvai::ChatCompletionCallback callback,
                            qvai::RequestContext context) override;
    qvai::RequestContext requestContext() override;

  private:
    mutable std::mutex mutex_;
    qvai::ClientOptions options_;
    std::shared_ptr<qvai::AiClient> client_;
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
