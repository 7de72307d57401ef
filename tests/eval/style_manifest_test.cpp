// The style read from each file of tests/data/styles against the style its manifest declares.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "fl/i18n.hpp"
#include "style_detection.hpp"

namespace ostrel_eval {
namespace {

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

int functionStyle(const std::string& name) {
    return name == "ClassicFunctionIndent" ? 0 : name == "MixedFunctionIndent" ? 1 : 2;
}

TEST(DetectStyle, AgreesWithTheStyleManifest) {
    const std::string folder = std::string(OSTREL_SOURCE_DIR) + "/tests/data/styles/";
    std::istringstream manifest(readFile(folder + "manifest.txt"));
    std::size_t files = 0, unitsRead = 0, functionsRead = 0;
    for (std::string line; std::getline(manifest, line);) {
        std::istringstream fields(line);
        std::string name, indent, function, consistent;
        if (!(fields >> name >> indent >> function >> consistent) || !indent.starts_with("indent=")) continue;
        indent = indent.substr(7);
        function = function.substr(function.find('=') + 1);
        const std::string bytes = readFile(folder + name);
        ASSERT_FALSE(bytes.empty()) << name;
        ++files;
        const DetectedStyle style = detectStyle(fl::i18n::to_ustring(bytes));
        const auto unread = [&](const char* what) {
            return std::find(style.unread.begin(), style.unread.end(), what) != style.unread.end();
        };
        if (indent == "tab") {
            EXPECT_FALSE(style.settings.insertSpaces) << name;
            ++unitsRead;
        } else if (consistent == "consistent=yes" && !unread("indent unit")) {
            EXPECT_TRUE(style.settings.insertSpaces) << name;
            EXPECT_EQ(std::to_string(style.settings.indentSize), indent) << name;
            ++unitsRead;
        }
        if (!unread("function indentation")) {
            // With no nested function, classic and mixed indent alike.
            const int declared = functionStyle(function);
            const int read = style.settings.functionIndent;
            EXPECT_TRUE(read == declared || (read == 0 && declared == 1) || (read == 1 && declared == 0))
                << name << " reads as " << read << ", declared " << function;
            ++functionsRead;
        }
    }
    EXPECT_GE(files, 40u);
    EXPECT_GE(unitsRead, files * 2 / 3);
    EXPECT_GE(functionsRead, files / 2);
}

}  // namespace
}  // namespace ostrel_eval
