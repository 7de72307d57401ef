#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "analysis_helpers.hpp"
#include "ca/code_input.hpp"
#include "ca/messages/single_file_messages.hpp"
#include "support/repeat.hpp"

namespace {

using ca::InvalidAnalysisException;
using ca::testing::analyse;
using testing_support::repeat;

// Only texts beyond the limits throw: too long, or nested deeper than 512 levels; long flat chains do not.
TEST(Robustness, LimitsThrowAndLongFlatTextsDoNotAndAreQuick) {
    for (const std::string brackets : {"()", "[]", "{}"}) {
        EXPECT_NO_THROW(
            analyse("x = " + std::string(511, brackets[0]) + "1" + std::string(511, brackets[1]) + ";\n"));
        EXPECT_THROW(analyse("x = " + std::string(10000, brackets[0]) + "1"), InvalidAnalysisException);
    }
    EXPECT_NO_THROW(analyse(repeat("if x\n", 512)));
    EXPECT_THROW(analyse(repeat("if x\n", 10512)), InvalidAnalysisException);
    EXPECT_THROW(analyse("f = " + repeat("@() ", 10000) + "1;\n"), InvalidAnalysisException);
    ca::messages::SingleFileMessages messages{ca::RuntimeContextHandle{}};
    EXPECT_THROW(messages.getMessages(
                     ca::CodeInput::createFromSourceCode(fl::i18n::to_ustring(repeat("if x\n", 10512))),
                     ca::messages::getOptionsForErrorOnly()),
                 InvalidAnalysisException);
    EXPECT_THROW(analyse(std::u16string(ca::kMaxTextLength + 1, u' ')), InvalidAnalysisException);
    EXPECT_NO_THROW(analyse("x = " + repeat("-", 100000) + "1;\n"));
    EXPECT_TRUE(analyse(repeat("end\n", 20000))->hasParseErrors());
    EXPECT_FALSE(analyse("x = 1" + repeat(" + 1", 100000) + ";\n")->hasParseErrors());
    std::u16string controls;
    for (char16_t c = 0; c < 0x20; ++c)
        controls += c;
    EXPECT_NO_THROW(analyse(controls + controls));
    // A line of two megabytes and thousands of `end`s are quick.
    std::u16string line = u"x = [";
    while (line.size() < 2'000'000)
        line += u"1, 'a', b ";
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(analyse(line + u"];\n")->hasParseErrors());
    EXPECT_EQ(analyse(u"% " + std::u16string(2'000'000, u'x'))->getComments().size(), 1u);
    // Every second `end` at the margin asks what the whole text reads.
    EXPECT_TRUE(analyse("x = 1;\n" + repeat("if a\nend\nend\n", 30000))->hasParseErrors());
    // Every `end` between two headers asks how far the outer body goes on.
    analyse("x = 1;\nfor r = 1:2\n" + repeat("    for c = 1:2\n    y = 1;\n  end\n    z = 2;\n", 20000) +
            "end\nif b\n");
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 2.0);
}

}  // namespace
