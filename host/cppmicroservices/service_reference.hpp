#pragma once

#include <memory>
#include <string>

#include "cppmicroservices/detail/service_record.hpp"

namespace cppmicroservices {

// A handle to a registered service that does not hold the service object for its user.
class ServiceReferenceBase {
  public:
    ServiceReferenceBase() = default;
    explicit ServiceReferenceBase(std::shared_ptr<const detail::ServiceRecord> record)
        : record_(std::move(record)) {}

    explicit operator bool() const noexcept { return record_ != nullptr; }
    // The property's value, or the empty text when the service has no such property.
    std::string GetProperty(const std::string& key) const;
    const ServiceProperties& GetProperties() const;
    std::string GetInterfaceId() const { return record_ ? record_->interfaceId : std::string(); }
    bool IsRegistered() const {
        return record_ && record_->state.load() != detail::RecordState::Unregistered;
    }

    bool operator==(const ServiceReferenceBase& other) const { return record_ == other.record_; }
    // Orders by registration: the earlier service sorts first.
    bool operator<(const ServiceReferenceBase& other) const { return id() < other.id(); }

    const std::shared_ptr<const detail::ServiceRecord>& record() const noexcept { return record_; }

  private:
    long id() const { return record_ ? record_->id : 0; }

    std::shared_ptr<const detail::ServiceRecord> record_;
};

template <class S>
class ServiceReference : public ServiceReferenceBase {
  public:
    ServiceReference() = default;
    explicit ServiceReference(const ServiceReferenceBase& base) : ServiceReferenceBase(base) {}
};

}  // namespace cppmicroservices
