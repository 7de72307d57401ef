#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>

#include "fit/completion_edit.hpp"
#include "fl/ustring.hpp"

namespace ostrel_lsp {

// Lines to re-indent, 0-based and inclusive; none means the whole text.
struct LineRange {
    std::uint32_t first = 0;
    std::uint32_t last = 0;
};

// Re-indents `text` with the legacy formatter and returns the protocol TextEdits that do it: one per line
// whose leading blanks change (the formatter changes nothing else).
nlohmann::json formattingEdits(const fl::ustring& text, const fit::IndentSettings& settings,
                               std::optional<LineRange> lines);

// The indentation settings of a FormattingOptions object over `base` (tabSize, insertSpaces, and the
// optional "ostrel.indentSize"); nothing when a value has the wrong type or is out of range.
std::optional<fit::IndentSettings> settingsOfFormattingOptions(const nlohmann::json& options,
                                                               fit::IndentSettings base);

}  // namespace ostrel_lsp
