#pragma once

#include <optional>
#include <string>

namespace ostrel_lsp {

// The local path of a "file://" URI ("file:///home/a%20b" gives "/home/a b"); nothing for other schemes,
// another host, or a malformed escape.
std::optional<std::string> pathOfFileUri(const std::string& uri);

}  // namespace ostrel_lsp
