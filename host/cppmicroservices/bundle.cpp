#include "cppmicroservices/bundle.hpp"

#include "cppmicroservices/detail/framework_core.hpp"

namespace cppmicroservices {

BundleContext Bundle::GetBundleContext() const {
    if (!core_) return {};
    std::lock_guard lock(core_->mutex);
    return core_->context ? BundleContext(core_->context) : BundleContext();
}

Bundle::State Bundle::GetState() const {
    if (!core_) return STATE_UNINSTALLED;
    std::lock_guard lock(core_->mutex);
    return static_cast<State>(core_->state);
}

}  // namespace cppmicroservices
