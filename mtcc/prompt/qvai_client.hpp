#pragma once

#include <memory>

#include "qvai/qvai_client.hpp"

namespace mtcc::Prompt {

// The host's AI client, found once per process and kept. The first call blocks until the host has
// registered the service; a first call that throws keeps nothing, so the next call tries again.
std::shared_ptr<qvai::IQvaiClient> getQvaiClient();

}  // namespace mtcc::Prompt
