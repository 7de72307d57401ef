#pragma once

#include <atomic>
#include <memory>

#include "cppmicroservices/detail/service_registry.hpp"

namespace cppmicroservices::detail {

// What a bundle context refers to. The framework clears `valid` when it stops; every context copy
// sees that at once.
struct ContextCore {
    std::shared_ptr<ServiceRegistry> registry;
    std::atomic<bool> valid{true};
};

}  // namespace cppmicroservices::detail
