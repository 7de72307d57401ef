#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "fl/i18n.hpp"

namespace ca::testing {

struct ExampleText {
    std::string name;
    std::u16string text;
};

// Every Ostrel example of the repository.
inline std::vector<ExampleText> loadExamples() {
    std::vector<ExampleText> out;
    const std::filesystem::path root = std::filesystem::path(OSTREL_SOURCE_DIR) / "examples";
    if (!std::filesystem::exists(root)) return out;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        if (!entry.is_regular_file() || entry.path().extension() != ".ost") continue;
        std::ifstream in(entry.path(), std::ios::binary);
        std::stringstream buffer;
        buffer << in.rdbuf();
        out.push_back({entry.path().lexically_relative(root).string(), fl::i18n::to_ustring(buffer.str())});
    }
    std::sort(out.begin(), out.end(),
              [](const ExampleText& a, const ExampleText& b) { return a.name < b.name; });
    return out;
}

}  // namespace ca::testing
