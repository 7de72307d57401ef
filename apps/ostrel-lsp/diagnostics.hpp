#pragma once

#include <nlohmann/json.hpp>

#include "fl/ustring.hpp"

namespace ostrel_lsp {

// The analyser's messages for a whole file (errors and warnings) as protocol Diagnostics. A text beyond
// the analyser's limits gives one diagnostic that says so.
nlohmann::json diagnosticsOf(const fl::ustring& text);

}  // namespace ostrel_lsp
