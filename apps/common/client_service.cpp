#include "client_service.hpp"

#include "cppmicroservices/framework_factory.hpp"
#include "foundation/cppmicroservices/framework_access.hpp"
#include "qvai/ai_client.hpp"

namespace ostrel_apps {

ClientService::ClientService(const qvai::ClientOptions& options)
    : framework_(cppmicroservices::FrameworkFactory().NewFramework()) {
    framework_.Start();
    registration_ = framework_.GetBundleContext().RegisterService<qvai::IQvaiClient>(
        std::make_shared<qvai::AiClient>(options));
    foundation::cppmicroservices::setFramework(framework_);
}

ClientService::~ClientService() {
    foundation::cppmicroservices::setFramework(std::nullopt);
    framework_.Stop();
}

}  // namespace ostrel_apps
