#pragma once

#include <memory>
#include <mutex>

#include "cppmicroservices/detail/context_core.hpp"
#include "cppmicroservices/detail/service_registry.hpp"

namespace cppmicroservices::detail {

struct FrameworkCore {
    std::mutex mutex;
    int state = 0;                         // a Bundle::State
    std::shared_ptr<ContextCore> context;  // set while starting or active
};

}  // namespace cppmicroservices::detail
