#pragma once

#include <cstddef>
#include <cstdint>

namespace ca::formatting::legacy {

// How function bodies are indented. Functions inside a class's methods block are always indented.
enum class FunctionIndentation : std::uint32_t {
    Classic = 0,  // no function body
    Mixed = 1,    // only the bodies of nested functions
    All = 2,      // every function body
};

enum class BlankLines : std::uint32_t {
    Indent = 0,            // filled with the indentation of the level they stand at
    Ignore = 1,            // left as they are
    RemoveWhitespace = 2,  // emptied
};

// Laid out as seven 32-bit slots, the form callers hand it over in.
struct Settings {
    std::uint32_t startLine = 0;  // 1-based first line to re-indent; 0 means the first line
    std::uint32_t endLine = 0;    // last line to re-indent, inclusive
    alignas(std::uint32_t) bool insertSpaces = true;
    std::uint32_t tabSize = 4;
    std::uint32_t indentSize = 4;
    FunctionIndentation functionIndentation = FunctionIndentation::All;
    BlankLines blankLines = BlankLines::Indent;
};

static_assert(sizeof(Settings) == 7 * sizeof(std::uint32_t));
static_assert(offsetof(Settings, tabSize) == 3 * sizeof(std::uint32_t));

}  // namespace ca::formatting::legacy
