#include "cppmicroservices/detail/service_registry.hpp"

#include <algorithm>
#include <exception>

namespace cppmicroservices::detail {

std::shared_ptr<ServiceRecord> ServiceRegistry::add(const std::string& interfaceId,
                                                    std::shared_ptr<void> service,
                                                    ServiceProperties properties) {
    auto record = std::make_shared<ServiceRecord>();
    record->interfaceId = interfaceId;
    record->service = std::move(service);
    {
        std::lock_guard lock(mutex_);
        record->id = nextId_++;
        properties[Constants::OBJECTCLASS] = interfaceId;
        properties[Constants::SERVICE_ID] = std::to_string(record->id);
        record->properties = std::move(properties);
        records_.push_back(record);
    }
    deliver(ServiceEvent(ServiceEvent::SERVICE_REGISTERED, ServiceReferenceBase(record)));
    return record;
}

bool ServiceRegistry::remove(const std::shared_ptr<ServiceRecord>& record) {
    auto expected = RecordState::Registered;
    if (!record->state.compare_exchange_strong(expected, RecordState::Unregistering)) return false;
    // Listeners see the service while it is still obtainable, as they may need to release it.
    deliver(ServiceEvent(ServiceEvent::SERVICE_UNREGISTERING, ServiceReferenceBase(record)));
    std::lock_guard lock(mutex_);
    std::erase(records_, record);
    record->state = RecordState::Unregistered;
    return true;
}

std::vector<std::shared_ptr<const ServiceRecord>> ServiceRegistry::find(const std::string& interfaceId,
                                                                        const LDAPFilter& filter) const {
    std::vector<std::shared_ptr<const ServiceRecord>> found;
    std::lock_guard lock(mutex_);
    for (const auto& record : records_) {
        if (record->interfaceId == interfaceId && record->state.load() == RecordState::Registered &&
            filter.Match(record->properties))
            found.push_back(record);
    }
    return found;
}

std::shared_ptr<ListenerSlot> ServiceRegistry::addListener(ServiceListener callback, LDAPFilter filter) {
    auto slot = std::make_shared<ListenerSlot>();
    slot->callback = std::move(callback);
    slot->filter = std::move(filter);
    std::lock_guard lock(mutex_);
    listeners_.push_back(slot);
    return slot;
}

void ServiceRegistry::removeListener(const std::shared_ptr<ListenerSlot>& slot) {
    {
        std::lock_guard lock(mutex_);
        std::erase(listeners_, slot);
    }
    std::lock_guard call(slot->callMutex);
    slot->removed = true;
}

void ServiceRegistry::removeAll() {
    std::vector<std::shared_ptr<ServiceRecord>> records;
    {
        std::lock_guard lock(mutex_);
        records = records_;
    }
    for (const auto& record : records)
        remove(record);
}

void ServiceRegistry::deliver(const ServiceEvent& event) const {
    std::vector<std::shared_ptr<ListenerSlot>> listeners;
    {
        std::lock_guard lock(mutex_);
        listeners = listeners_;
    }
    const auto& properties = event.GetServiceReference().GetProperties();
    for (const auto& slot : listeners) {
        std::lock_guard call(slot->callMutex);
        if (slot->removed || !slot->filter.Match(properties)) continue;
        try {
            slot->callback(event);
        } catch (const std::exception&) {
            // One faulty listener must not keep the event from the others nor fail the registration.
        }
    }
}

std::string escapeFilterValue(const std::string& value) {
    std::string out;
    for (char c : value) {
        if (c == '(' || c == ')' || c == '*' || c == '\\') out += '\\';
        out += c;
    }
    return out;
}

}  // namespace cppmicroservices::detail
