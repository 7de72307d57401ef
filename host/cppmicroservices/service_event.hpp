#pragma once

#include <functional>

#include "cppmicroservices/service_reference.hpp"

namespace cppmicroservices {

// A change in the life of a registered service, delivered to service listeners on the thread that
// made the change, before that thread's registry call returns.
class ServiceEvent {
  public:
    enum Type { SERVICE_REGISTERED = 1, SERVICE_MODIFIED = 2, SERVICE_UNREGISTERING = 4 };

    ServiceEvent(Type type, ServiceReferenceBase reference) : type_(type), reference_(std::move(reference)) {}

    Type GetType() const noexcept { return type_; }
    const ServiceReferenceBase& GetServiceReference() const noexcept { return reference_; }

  private:
    Type type_;
    ServiceReferenceBase reference_;
};

using ServiceListener = std::function<void(const ServiceEvent&)>;

}  // namespace cppmicroservices
