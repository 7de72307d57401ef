#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cppmicroservices/detail/context_core.hpp"
#include "cppmicroservices/ldap_filter.hpp"
#include "cppmicroservices/listener_token.hpp"
#include "cppmicroservices/service_event.hpp"
#include "cppmicroservices/service_interface.hpp"
#include "cppmicroservices/service_objects.hpp"
#include "cppmicroservices/service_properties.hpp"
#include "cppmicroservices/service_reference.hpp"
#include "cppmicroservices/service_registration.hpp"

namespace cppmicroservices {

// A bundle's access to the framework's service registry. A default-constructed context, or one whose
// framework has stopped, is invalid: it converts to false and every operation on it throws
// std::runtime_error("The bundle context is no longer valid").
class BundleContext {
  public:
    BundleContext() = default;
    explicit BundleContext(std::shared_ptr<detail::ContextCore> core) : core_(std::move(core)) {}

    explicit operator bool() const noexcept { return core_ && core_->valid.load(); }

    template <class S>
    ServiceRegistration<S> RegisterService(std::shared_ptr<S> service,
                                           const ServiceProperties& properties = {}) {
        auto record = registerErased(us_service_interface_iid<S>(), std::static_pointer_cast<void>(service),
                                     properties);
        return ServiceRegistration<S>(core_->registry, std::move(record));
    }

    // All registered services of S matching the filter text (empty: all of them), in registration
    // order. Throws std::invalid_argument for a malformed filter.
    template <class S>
    std::vector<ServiceReference<S>> GetServiceReferences(const std::string& filter = std::string()) const {
        std::vector<ServiceReference<S>> references;
        for (auto& base : findErased(us_service_interface_iid<S>(), filter))
            references.emplace_back(base);
        return references;
    }

    // The first registered service of S, or an invalid reference.
    template <class S>
    ServiceReference<S> GetServiceReference() const {
        auto all = GetServiceReferences<S>();
        return all.empty() ? ServiceReference<S>() : all.front();
    }

    template <class S>
    std::shared_ptr<S> GetService(const ServiceReference<S>& reference) const {
        return GetServiceObjects(reference).GetService();
    }

    template <class S>
    ServiceObjects<S> GetServiceObjects(const ServiceReference<S>& reference) const {
        checkValid();
        return ServiceObjects<S>(reference);
    }

    // Calls `listener` for every event of a service matching the filter text (empty: every service),
    // on the thread that causes the event.
    ListenerToken AddServiceListener(const ServiceListener& listener,
                                     const std::string& filter = std::string());
    void RemoveListener(ListenerToken token);

  private:
    void checkValid() const;
    std::shared_ptr<detail::ServiceRecord> registerErased(const std::string& interfaceId,
                                                          std::shared_ptr<void> service,
                                                          const ServiceProperties& properties);
    std::vector<ServiceReferenceBase> findErased(const std::string& interfaceId,
                                                 const std::string& filter) const;

    std::shared_ptr<detail::ContextCore> core_;
};

}  // namespace cppmicroservices
