#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "fl/ustring.hpp"

namespace testing_support {

// How the line ends of a case are turned into the text that is run.
enum class GoldenLineEnds {
    lf,         // as written
    crlf,       // file, reply and expected text get CR LF
    crlfInput,  // file and reply get CR LF; the expected text stays as written
};

// One end-to-end completion case: a file with a cursor, the model's raw reply and the completion the
// editor should receive, plus the editor settings to run it with (defaults of a fresh settings record).
struct GoldenCase {
    std::string name;         // file name without ".case"
    std::string description;  // the leading comment lines, joined with line feeds
    fl::ustring file;         // the edited file, without the cursor marker
    std::size_t cursor = 0;   // UTF-16 offset of the marker in the written file
    fl::ustring reply;
    fl::ustring expected;
    GoldenLineEnds lineEnds = GoldenLineEnds::lf;

    std::uint32_t startLine = 0;
    std::uint32_t endLine = 10000000;
    std::uint16_t tabSize = 4;
    std::uint16_t indentSize = 4;
    bool insertSpaces = true;
    fl::ustring functionIndentingFormat = u"AllFunctionIndent";
    fl::ustring blankLineSetting = u"Indent";
};

// Every "*.case" file directly in `folder`, sorted by file name. Throws std::runtime_error for a missing
// folder or the first malformed file, naming the file and the 1-based line.
std::vector<GoldenCase> loadGoldenCases(const std::filesystem::path& folder);

}  // namespace testing_support
