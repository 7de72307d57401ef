#pragma once

#include <cstdint>
#include <memory>

#include "settings/core/settings.hpp"

namespace settings::context {

using RuntimeContextId = std::uint32_t;

// The host has one runtime context.
RuntimeContextId getCurrentRuntimeContextId();

// The settings root of a runtime context: the root the program installed, or empty when it runs
// without a settings store (or asks for a context that does not exist).
std::shared_ptr<const core::Settings> getSettingsRoot(RuntimeContextId context);

// Makes `root` the runtime context's settings root; an empty pointer removes it.
void installSettingsRoot(std::shared_ptr<const core::Settings> root);

}  // namespace settings::context
