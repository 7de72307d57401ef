#pragma once

#include "fl/ustring.hpp"
#include "mtcc/cache/settings_values.hpp"

namespace mtcc::Indentation {

// Re-indents `completion` in the context of the file (prefix + completion + suffix) with the host's legacy
// formatter. Returns the re-indented completion, or the completion unchanged when the formatter changed
// anything of the prefix or suffix. `settings` is read as it is, without its lock, and must not be null.
fl::ustring indentationFormat(const fl::ustring& prefix, const fl::ustring& completion,
                              const fl::ustring& suffix, const cache::SettingsValues* settings);

}  // namespace mtcc::Indentation
