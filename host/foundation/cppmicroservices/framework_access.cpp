#include "foundation/cppmicroservices/framework_access.hpp"

#include <mutex>

namespace foundation::cppmicroservices {

namespace {

struct FrameworkSlot {
    std::mutex mutex;
    std::optional<::cppmicroservices::Framework> framework;
};

// The one process-wide framework slot; the host platform has a single hosting program.
FrameworkSlot& slot() {
    static FrameworkSlot instance;
    return instance;
}

}  // namespace

std::optional<::cppmicroservices::Framework> getFramework() {
    std::lock_guard lock(slot().mutex);
    return slot().framework;
}

void setFramework(std::optional<::cppmicroservices::Framework> framework) {
    std::lock_guard lock(slot().mutex);
    slot().framework = std::move(framework);
}

}  // namespace foundation::cppmicroservices
