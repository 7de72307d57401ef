#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "cppmicroservices/service_properties.hpp"

namespace cppmicroservices::detail {

enum class RecordState { Registered, Unregistering, Unregistered };

// One registration. Everything but the state is fixed at registration, so readers need no lock.
struct ServiceRecord {
    long id = 0;
    std::string interfaceId;
    ServiceProperties properties;  // includes objectclass and service.id
    std::shared_ptr<void> service;
    std::atomic<RecordState> state{RecordState::Registered};
};

}  // namespace cppmicroservices::detail
