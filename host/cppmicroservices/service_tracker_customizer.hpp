#pragma once

#include <memory>

#include "cppmicroservices/service_reference.hpp"

namespace cppmicroservices {

// Decides what a ServiceTracker keeps for each service it sees. AddingService returns the object to
// track, or null to leave the service untracked. Calls come from the thread that registers or
// unregisters the service (or from the thread opening/closing the tracker), never under the tracker's
// lock, so implementations must be thread-safe.
template <class S, class T = S>
class ServiceTrackerCustomizer {
  public:
    virtual ~ServiceTrackerCustomizer() = default;

    virtual std::shared_ptr<T> AddingService(const ServiceReference<S>& reference) = 0;
    virtual void ModifiedService(const ServiceReference<S>& reference, const std::shared_ptr<T>& service) = 0;
    virtual void RemovedService(const ServiceReference<S>& reference, const std::shared_ptr<T>& service) = 0;
};

}  // namespace cppmicroservices
