#include "mtcc/postprocessing/code_extractor.hpp"

#include <gtest/gtest.h>

#include <chrono>

#include "fl/i18n.hpp"
#include "support/log_capture.hpp"

using mtcc::postprocessing::extractCode;
using testing_support::LogCapture;

namespace {
const std::string kChannel = "mtcc::postprocessing::CodeExtractor";
}

TEST(CodeExtraction, KeepsInnerLineEndsAndLogsNothingForAnEmptyBlock) {
    // CR LF replies keep their inner line ends; only the ends are trimmed.
    EXPECT_EQ(extractCode(u"```ostrel\r\na = 1;\r\nb = 2;\r\n```"), u"a = 1;\r\nb = 2;");
    // An empty block is no failure: nothing is logged.
    LogCapture capture;
    EXPECT_EQ(extractCode(u"```ostrel```"), u"");
    EXPECT_EQ(extractCode(u"```ostrel \n\t ```"), u"");
    EXPECT_TRUE(capture.texts(kChannel).empty());
}

// Golden cases 003, 005, 008, 009 and 010 check that each kind of missing or foreign fence gives nothing.
TEST(CodeExtraction, MissingOrForeignFencesGiveNothingAndALogRecord) {
    for (const fl::ustring& reply :
         {fl::ustring(u"```python\nx = 1\n```"), fl::ustring(u"```ostrel\nx = 1;\n")}) {
        LogCapture capture;
        EXPECT_EQ(extractCode(reply), u"");
        EXPECT_EQ(capture.texts(kChannel),
                  std::vector<std::string>{"No matching text found.\nLLM Response: \n\n" +
                                           fl::i18n::to_string(reply)});
    }
}

TEST(CodeExtraction, HostileRepliesReturnQuickly) {
    const auto within = [](const fl::ustring& reply) {
        const auto start = std::chrono::steady_clock::now();
        const fl::ustring code = extractCode(reply);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
        return code;
    };
    const std::size_t tenMegabytes = 10'000'000;
    EXPECT_EQ(within(fl::ustring(tenMegabytes, u'`')), u"");
    EXPECT_EQ(within(u"```ostrel\n" + fl::ustring(tenMegabytes, u'x')), u"");
    fl::ustring manyOpenings;
    while (manyOpenings.size() < tenMegabytes)
        manyOpenings += u"```ostrel\n``";
    within(manyOpenings);
    // Unpaired surrogates inside the block pass through untouched.
    EXPECT_EQ(within(fl::ustring(u"```ostrel\n") + char16_t(0xD800) + u"\n```"),
              fl::ustring(1, char16_t(0xD800)));
}
