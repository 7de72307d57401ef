#pragma once

#include <map>
#include <memory>
#include <string>

#include "settings/core/settings.hpp"

namespace settings::core {

// Every node the host knows, by full name, with its leaves' default values (which also fix their types).
const std::map<std::string, LeafValues>& defaultSettingValues();

// A new tree holding every known node with its default values; the root's full name is empty.
std::shared_ptr<Settings> makeDefaultSettings();

}  // namespace settings::core
