#pragma once

#include <optional>
#include <string>

#include "fl/ustring.hpp"

namespace qvai::core::gen {

// Names a prompt template held by the client and carries that template's input.
struct PromptSelector {
    std::string promptId;
    std::string promptVersion;
    std::optional<fl::ustring> input;
};

}  // namespace qvai::core::gen
