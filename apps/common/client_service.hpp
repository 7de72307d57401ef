#pragma once

#include "cppmicroservices/framework.hpp"
#include "cppmicroservices/service_registration.hpp"
#include "qvai/client_options.hpp"
#include "qvai/qvai_client.hpp"

namespace ostrel_apps {

// Registers the host's AI client in a framework of its own for as long as it lives, as an editor host
// would, and makes that framework the one the library finds.
class ClientService {
  public:
    explicit ClientService(const qvai::ClientOptions& options);
    ~ClientService();
    ClientService(const ClientService&) = delete;
    ClientService& operator=(const ClientService&) = delete;

  private:
    cppmicroservices::Framework framework_;
    cppmicroservices::ServiceRegistration<qvai::IQvaiClient> registration_;
};

}  // namespace ostrel_apps
