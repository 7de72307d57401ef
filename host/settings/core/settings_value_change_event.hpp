#pragma once

#include <string>
#include <vector>

namespace settings::core {

// Sent once per node whose leaves changed in one update.
struct SettingsValueChangeEvent {
    std::string nodeName;
    std::vector<std::string> changedLeaves;
};

}  // namespace settings::core
