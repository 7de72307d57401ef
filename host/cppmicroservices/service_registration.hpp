#pragma once

#include <memory>
#include <stdexcept>

#include "cppmicroservices/detail/service_registry.hpp"
#include "cppmicroservices/service_reference.hpp"

namespace cppmicroservices {

// The registering side's handle to a service. Dropping it leaves the service registered.
template <class S>
class ServiceRegistration {
  public:
    ServiceRegistration() = default;
    ServiceRegistration(std::weak_ptr<detail::ServiceRegistry> registry,
                        std::shared_ptr<detail::ServiceRecord> record)
        : registry_(std::move(registry)), record_(std::move(record)) {}

    explicit operator bool() const noexcept { return record_ != nullptr; }
    ServiceReference<S> GetReference() const { return ServiceReference<S>(ServiceReferenceBase(record_)); }

    // Throws std::logic_error when the service is already unregistered.
    void Unregister() {
        auto registry = registry_.lock();
        if (!record_ || !registry || !registry->remove(record_))
            throw std::logic_error("Service is already unregistered.");
    }

  private:
    std::weak_ptr<detail::ServiceRegistry> registry_;
    std::shared_ptr<detail::ServiceRecord> record_;
};

}  // namespace cppmicroservices
