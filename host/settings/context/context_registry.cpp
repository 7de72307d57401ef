#include "settings/context/context_registry.hpp"

#include <mutex>

namespace settings::context {

namespace {

constexpr RuntimeContextId kRuntimeContext = 1;

// The registry is process-wide by nature: the library asks it for the root without being handed one.
struct Registry {
    std::mutex mutex;
    std::shared_ptr<const core::Settings> root;
};

Registry& registry() {
    static Registry instance;
    return instance;
}

}  // namespace

RuntimeContextId getCurrentRuntimeContextId() {
    return kRuntimeContext;
}

std::shared_ptr<const core::Settings> getSettingsRoot(RuntimeContextId context) {
    if (context != kRuntimeContext) return nullptr;
    std::lock_guard lock(registry().mutex);
    return registry().root;
}

void installSettingsRoot(std::shared_ptr<const core::Settings> root) {
    std::lock_guard lock(registry().mutex);
    registry().root = std::move(root);
}

}  // namespace settings::context
