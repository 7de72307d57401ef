#pragma once

#include <optional>

#include "cppmicroservices/framework.hpp"

namespace foundation::cppmicroservices {

// The framework that the hosting program created and started, or none. Look-ups made on behalf of the
// library go through its bundle context.
std::optional<::cppmicroservices::Framework> getFramework();

// Called by the hosting program once its framework is running (and with nullopt when it shuts down).
void setFramework(std::optional<::cppmicroservices::Framework> framework);

}  // namespace foundation::cppmicroservices
