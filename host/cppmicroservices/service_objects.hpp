#pragma once

#include <memory>

#include "cppmicroservices/service_reference.hpp"

namespace cppmicroservices {

// Hands out the service object behind a reference. Every service here is a singleton, so each call
// returns the same object; null once the service has been unregistered.
template <class S>
class ServiceObjects {
  public:
    explicit ServiceObjects(ServiceReference<S> reference) : reference_(std::move(reference)) {}

    std::shared_ptr<S> GetService() const {
        const auto& record = reference_.record();
        if (!record || record->state.load() == detail::RecordState::Unregistered) return nullptr;
        return std::static_pointer_cast<S>(record->service);
    }

    ServiceReference<S> GetServiceReference() const { return reference_; }

  private:
    ServiceReference<S> reference_;
};

}  // namespace cppmicroservices
