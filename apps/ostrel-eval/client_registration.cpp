#include "client_registration.hpp"

#include "cppmicroservices/framework_factory.hpp"
#include "foundation/cppmicroservices/framework_access.hpp"
#include "qvai/ai_client.hpp"
#include "qvai/backend.hpp"

namespace ostrel_eval {

ClientRegistration::ClientRegistration(const qvai::ClientOptions& options,
                                       std::unique_ptr<qvai::Backend> backend)
    : framework_(cppmicroservices::FrameworkFactory().NewFramework()) {
    framework_.Start();
    registration_ = framework_.GetBundleContext().RegisterService<qvai::IQvaiClient>(
        std::make_shared<qvai::AiClient>(options, std::move(backend)));
    foundation::cppmicroservices::setFramework(framework_);
}

ClientRegistration::~ClientRegistration() {
    foundation::cppmicroservices::setFramework(std::nullopt);
    framework_.Stop();
}

}  // namespace ostrel_eval
