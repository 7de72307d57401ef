#include "mtcc/prompt/qvai_client.hpp"

#include <optional>

#include "cppmicroservices/ldap_filter.hpp"
#include "foundation/cppmicroservices/wait_for_service.hpp"

namespace mtcc::Prompt {

std::shared_ptr<qvai::IQvaiClient> getQvaiClient() {
    // Never refreshed: a service unregistered later stays in use through this reference.
    static const std::shared_ptr<qvai::IQvaiClient> client =
        foundation::cppmicroservices::i_waitForService<qvai::IQvaiClient>(std::nullopt,
                                                                          cppmicroservices::LDAPFilter());
    return client;
}

}  // namespace mtcc::Prompt
