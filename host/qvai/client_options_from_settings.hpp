#pragma once

#include "qvai/client_options.hpp"
#include "settings/core/settings.hpp"

namespace qvai {

// The client options of the "ostrel.ai" settings node, over `base` for what the node does not set.
// Throws std::invalid_argument naming the leaf when a value is unusable (a Temperature that is no number).
ClientOptions clientOptionsFromSettings(const settings::core::Settings& root, ClientOptions base = {});

}  // namespace qvai
