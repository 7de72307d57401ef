// What the model client changes in a reply before the library reads it.
#include "qvai/reply_normalisation.hpp"

#include <gtest/gtest.h>

namespace {

struct Case {
    const char* name;
    std::string reply;
    std::string normalised;
};

const Case kCases[] = {
    {"an ostrel block stays", "```ostrel\nx = 1;\n```", "```ostrel\nx = 1;\n```"},
    {"no fence stays", "x = 1;", "x = 1;"},
    {"an empty reply stays", "", ""},
    {"a cut block is closed", "```ostrel\nx = 1;\ny =", "```ostrel\nx = 1;\ny =\n```"},
    {"a cut block ending in a line end", "```ostrel\nx = 1;\n", "```ostrel\nx = 1;\n```"},
    {"an untagged fence", "Sure:\n```\nx = 1;\n```", "Sure:\n```ostrel\nx = 1;\n```"},
    {"an untagged cut fence", "```\nx = 1;", "```ostrel\nx = 1;\n```"},
    {"a tag in capitals", "```OSTREL\nx = 1;\n```", "```ostrel\nx = 1;\n```"},
    {"a blank before the tag", "``` ostrel\nx = 1;\n```", "```ostrel\nx = 1;\n```"},
    {"an unknown word", "```code\nx = 1;\n```", "```ostrel\nx = 1;\n```"},
    {"a CRLF fence line", "```\r\nx = 1;\r\n```", "```ostrel\r\nx = 1;\r\n```"},
    {"another language stays", "```python\nx = 1\n```", "```python\nx = 1\n```"},
    {"another language in capitals stays", "```JSON\n{}\n```", "```JSON\n{}\n```"},
    {"a later ostrel block is left to the library", "```\nout\n```\n```ostrel\nx = 1;\n```",
     "```\nout\n```\n```ostrel\nx = 1;\n```"},
    {"only backquotes", "```", "```ostrel\n```"},
    // The library's extraction ends the block at the first three backticks.
    {"backticks inside a line of code, not after the block", "```ostrel\ns = \"```\";\n```\nSee \"```\".",
     "```ostrel\ns = \"\xEE\x81\xA0\xEE\x81\xA0\xEE\x81\xA0\";\n```\nSee \"```\"."},
    {"a closing fence after the code on its line", "```ostrel\nx = 1;```", "```ostrel\nx = 1;```"},
    {"reasoning with a draft goes",
     "<think>\nmaybe ```ostrel\nr = 0;\n```\n</think>\n\n```ostrel\nx = 1;\n```", "```ostrel\nx = 1;\n```"},
    // Without its opening tag only a closing tag on a line of its own ends the reasoning.
    {"reasoning opened by the chat template",
     "A draft:\n```ostrel\ns = '</think>';\n```\n</think>\n```\nx = 1;\n```", "```ostrel\nx = 1;\n```"},
    {"reasoning cut by the token limit", "<think>\n```ostrel\nr = 0;", ""},
};

class ReplyNormalisation : public ::testing::TestWithParam<Case> {};

TEST_P(ReplyNormalisation, Normalises) {
    std::vector<std::string> notes;
    const std::string out = qvai::normaliseReply(GetParam().reply, &notes);
    EXPECT_EQ(out, GetParam().normalised);
    // Every change is said; an unchanged reply says nothing.
    EXPECT_EQ(notes.empty(), out == GetParam().reply);
}

INSTANTIATE_TEST_SUITE_P(Replies, ReplyNormalisation, ::testing::ValuesIn(kCases), [](const auto& info) {
    std::string name;
    for (char c : std::string(info.param.name))
        name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name;
});

}  // namespace
