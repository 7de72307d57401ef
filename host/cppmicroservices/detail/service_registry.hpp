#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "cppmicroservices/detail/service_record.hpp"
#include "cppmicroservices/ldap_filter.hpp"
#include "cppmicroservices/service_event.hpp"

namespace cppmicroservices::detail {

// A listener as the registry keeps it. callMutex is held while the callback runs, so that once
// removal has returned the callback is neither running nor will run again; it is recursive so that
// a callback may remove its own listener.
struct ListenerSlot {
    ServiceListener callback;
    LDAPFilter filter;
    std::recursive_mutex callMutex;
    bool removed = false;  // guarded by callMutex
};

// The services of one framework and the listeners to their events. Events are delivered without
// the registry's lock held, so listeners may call back into the registry.
class ServiceRegistry {
  public:
    std::shared_ptr<ServiceRecord> add(const std::string& interfaceId, std::shared_ptr<void> service,
                                       ServiceProperties properties);
    // False when the record was already unregistered (or is being unregistered by another thread).
    bool remove(const std::shared_ptr<ServiceRecord>& record);
    // Registered services of the interface matching the filter, in registration order.
    std::vector<std::shared_ptr<const ServiceRecord>> find(const std::string& interfaceId,
                                                           const LDAPFilter& filter) const;
    std::shared_ptr<ListenerSlot> addListener(ServiceListener callback, LDAPFilter filter);
    void removeListener(const std::shared_ptr<ListenerSlot>& slot);
    void removeAll();

  private:
    void deliver(const ServiceEvent& event) const;

    mutable std::mutex mutex_;
    long nextId_ = 1;
    std::vector<std::shared_ptr<ServiceRecord>> records_;
    std::vector<std::shared_ptr<ListenerSlot>> listeners_;
};

// Escapes a value for use inside a filter text, e.g. an interface name holding parentheses.
std::string escapeFilterValue(const std::string& value);

}  // namespace cppmicroservices::detail
