#include "cppmicroservices/service_reference.hpp"

namespace cppmicroservices {

std::string ServiceReferenceBase::GetProperty(const std::string& key) const {
    if (!record_) return {};
    const auto found = record_->properties.find(key);
    return found == record_->properties.end() ? std::string() : found->second;
}

const ServiceProperties& ServiceReferenceBase::GetProperties() const {
    static const ServiceProperties none;
    return record_ ? record_->properties : none;
}

}  // namespace cppmicroservices
