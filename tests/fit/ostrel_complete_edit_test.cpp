// ostrel-complete prints the text an editor inserts at the cursor and, in --json, the range it replaces
// or why there is none.
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "support/shell_run.hpp"

namespace {

std::string run(const std::string& args) {
    return testing_support::runShell(std::string(OSTREL_BINARY_DIR) +
                                     "/apps/ostrel-complete/ostrel-complete " + args + " 2>&1")
        .out;
}

std::string write(const std::string& name, const std::string& text) {
    const std::string path = ::testing::TempDir() + std::to_string(getpid()) + "-fit-" + name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

TEST(OstrelCompleteEdit, PrintsTheInsertedTextAndGivesItsRange) {
    const std::string file = write("edit.ost", "x = 1;\nx = 5\nz = 3;\n");
    const std::string reply = write("edit-reply.txt", "```ostrel\ny = 2;\n```");
    const std::string common = file + " --at 2:6 --backend reply-file --reply-file " + reply;
    EXPECT_EQ(run(common), "\ny = 2;");

    const auto json = nlohmann::json::parse(run(common + " --json"));
    EXPECT_EQ(json["edit"]["start"], 12);
    EXPECT_EQ(json["edit"]["end"], 12);
    EXPECT_EQ(json["edit"]["text"], "\ny = 2;");

    const std::string python = write("edit-python.txt", "```python\ny = 2\n```");
    const auto empty =
        nlohmann::json::parse(run(file + " --at 2:6 --json --backend reply-file --reply-file " + python));
    EXPECT_TRUE(empty["edit"].is_null());
    EXPECT_EQ(empty["emptyStage"], "extraction");
    EXPECT_NE(empty["emptyReason"].get<std::string>().find("python"), std::string::npos);

    // Backticks inside a line of the code are the code's, not the end of its block.
    const std::string markdown = write("edit-markdown.txt", "```ostrel\nf = \"```\";\ng = 1;\n```");
    const auto fenced =
        nlohmann::json::parse(run(file + " --at 2:6 --json --backend reply-file --reply-file " + markdown));
    EXPECT_EQ(fenced["edit"]["text"], "\nf = \"```\";\ng = 1;");
    EXPECT_EQ(fenced["LLMResponse"], "```ostrel\nf = \"```\";\ng = 1;\n```");
}

}  // namespace
