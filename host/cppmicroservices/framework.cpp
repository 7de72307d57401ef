#include "cppmicroservices/framework.hpp"

#include <stdexcept>

#include "cppmicroservices/detail/framework_core.hpp"
#include "cppmicroservices/framework_factory.hpp"

namespace cppmicroservices {

namespace {

void requireCore(const std::shared_ptr<detail::FrameworkCore>& core) {
    if (!core) throw std::logic_error("The framework object is empty; create it with FrameworkFactory.");
}

}  // namespace

Framework FrameworkFactory::NewFramework() const {
    auto core = std::make_shared<detail::FrameworkCore>();
    core->state = Bundle::STATE_INSTALLED;
    return Framework(std::move(core));
}

void Framework::Init() {
    requireCore(core_);
    std::lock_guard lock(core_->mutex);
    if (core_->context) return;
    auto context = std::make_shared<detail::ContextCore>();
    context->registry = std::make_shared<detail::ServiceRegistry>();
    core_->context = std::move(context);
    core_->state = STATE_STARTING;
}

void Framework::Start() {
    Init();
    std::lock_guard lock(core_->mutex);
    core_->state = STATE_ACTIVE;
}

void Framework::Stop() {
    requireCore(core_);
    std::shared_ptr<detail::ContextCore> context;
    {
        std::lock_guard lock(core_->mutex);
        if (!core_->context) return;
        core_->state = STATE_STOPPING;
        context = core_->context;
    }
    // Unregister without the framework's lock: listeners run during it and may ask for the context.
    context->registry->removeAll();
    context->valid = false;
    std::lock_guard lock(core_->mutex);
    core_->context.reset();
    core_->state = STATE_RESOLVED;
}

}  // namespace cppmicroservices
