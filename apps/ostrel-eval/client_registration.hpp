#pragma once

#include <memory>

#include "cppmicroservices/framework.hpp"
#include "cppmicroservices/service_registration.hpp"
#include "qvai/client_options.hpp"
#include "qvai/qvai_client.hpp"

namespace qvai {
class Backend;
}

namespace ostrel_eval {

// The host's AI client over a backend of the caller's choice, registered in a framework of its own for
// as long as this lives, and that framework made the one the library finds (as apps/common's
// ClientService does for the configured backends).
class ClientRegistration {
  public:
    ClientRegistration(const qvai::ClientOptions& options, std::unique_ptr<qvai::Backend> backend);
    ~ClientRegistration();
    ClientRegistration(const ClientRegistration&) = delete;
    ClientRegistration& operator=(const ClientRegistration&) = delete;

  private:
    cppmicroservices::Framework framework_;
    cppmicroservices::ServiceRegistration<qvai::IQvaiClient> registration_;
};

}  // namespace ostrel_eval
