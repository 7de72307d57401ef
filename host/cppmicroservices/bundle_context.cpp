#include "cppmicroservices/bundle_context.hpp"

#include <stdexcept>

namespace cppmicroservices {

void BundleContext::checkValid() const {
    if (!*this) throw std::runtime_error("The bundle context is no longer valid");
}

std::shared_ptr<detail::ServiceRecord> BundleContext::registerErased(const std::string& interfaceId,
                                                                     std::shared_ptr<void> service,
                                                                     const ServiceProperties& properties) {
    checkValid();
    if (!service) throw std::invalid_argument("Can't register an empty service object.");
    return core_->registry->add(interfaceId, std::move(service), properties);
}

std::vector<ServiceReferenceBase> BundleContext::findErased(const std::string& interfaceId,
                                                            const std::string& filter) const {
    checkValid();
    const LDAPFilter parsed = filter.empty() ? LDAPFilter() : LDAPFilter(filter);
    std::vector<ServiceReferenceBase> references;
    for (auto& record : core_->registry->find(interfaceId, parsed))
        references.emplace_back(std::move(record));
    return references;
}

ListenerToken BundleContext::AddServiceListener(const ServiceListener& listener, const std::string& filter) {
    checkValid();
    LDAPFilter parsed = filter.empty() ? LDAPFilter() : LDAPFilter(filter);
    return ListenerToken(core_->registry->addListener(listener, std::move(parsed)));
}

void BundleContext::RemoveListener(ListenerToken token) {
    // A listener is removed even through a context that has since become invalid, so that a tracker
    // can always be closed.
    if (core_ && token) core_->registry->removeListener(token.slot());
}

}  // namespace cppmicroservices
