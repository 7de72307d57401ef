#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "fl/i18n.hpp"
#include "mtcc/autocompletion/auto_completion.hpp"
#include "mtcc/cache/settings_values.hpp"
#include "support/get_info_records.hpp"
#include "support/log_capture.hpp"
#include "support/pipeline_host.hpp"

using mtcc::AutoCompletion::GetInfo;
using mtcc::AutoCompletion::InfoResult;
using testing_support::allEmpty;
using testing_support::LogCapture;

namespace {

const std::string kChannel = "mtcc::AutoCompletion::GetInfo";

class GetInfoTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { host_ = std::make_unique<testing_support::ReplyFileHost>(); }
    static void TearDownTestSuite() { host_.reset(); }

    InfoResult complete(const fl::ustring& code, std::size_t cursor) {
        return GetInfo(u"", code, cursor, std::make_shared<mtcc::cache::SettingsValues>());
    }
    static std::unique_ptr<testing_support::ReplyFileHost> host_;
};
std::unique_ptr<testing_support::ReplyFileHost> GetInfoTest::host_;

}  // namespace

TEST_F(GetInfoTest, EveryRecordInItsOrder) {
    host_->setReply("```ostrel\ny = 2;\n```");
    LogCapture capture;
    const InfoResult result = complete(u"x = 1;\n", 7);
    EXPECT_EQ(result.autocompletionResponse, u"y = 2;");
    testing_support::CompleteRun run{"x = 1;\n", 7, "x = 1;\n", "", "x", "", "", {}};
    run.result = {u"y = 2;", u"```ostrel\ny = 2;\n```", u"y = 2;", u"y = 2;", u"y = 2;", u"y = 2;"};
    EXPECT_EQ(testing_support::pipelineRecords(capture), testing_support::expectedRecords(run));
}

TEST_F(GetInfoTest, EarlyExitsGiveEmptyResults) {
    host_->setReply("```ostrel\ny = 2;\n```");
    LogCapture capture(8);
    EXPECT_TRUE(allEmpty(complete(u"x = 1;", 7)));
    EXPECT_TRUE(allEmpty(complete(u"", 0)));
    EXPECT_TRUE(allEmpty(complete(u" \t\r\n\v\f", 3)));
    const auto texts = capture.texts(kChannel);
    EXPECT_EQ(texts, (std::vector<std::string>{
                         "performing initial checks", "cursor position is greater than source code - exiting",
                         "performing initial checks", "input is only whitespace - exiting",
                         "performing initial checks", "input is only whitespace - exiting"}));
}

TEST_F(GetInfoTest, CompletesInsideABlockAndDropsWhatRepeatsTheSuffix) {
    host_->setReply("Sure:\n```ostrel\n    total = total + k;\nend\n```\nThis adds k.");
    const fl::ustring code = u"total = 0;\nfor k = 1:10\n\nend\ndisp(total);\n";
    const InfoResult result = complete(code, code.find(u"\n\nend") + 1);
    EXPECT_EQ(result.LLMGeneratedCode, u"total = total + k;\nend");
    EXPECT_EQ(result.deduplicatedGeneratedCode, u"total = total + k;");
    EXPECT_EQ(result.autocompletionResponse, u"    total = total + k;");
}

TEST_F(GetInfoTest, ModelFailureStillGivesAFullResult) {
    host_->removeReply();
    const InfoResult result = complete(u"x = 1;\n", 7);
    EXPECT_TRUE(allEmpty(result));
    host_->setReply("no code at all");
    const InfoResult prose = complete(u"x = 1;\n", 7);
    EXPECT_EQ(prose.LLMResponse, u"no code at all");
    EXPECT_TRUE(prose.LLMGeneratedCode.empty() && prose.autocompletionResponse.empty());
}

TEST_F(GetInfoTest, LongFilesAreCutToTheWindowAroundTheCursor) {
    fl::ustring before, after;
    for (int i = 0; i < 600; ++i)
        before += u"a" + fl::i18n::to_ustring(std::to_string(i)) + u" = " +
                  fl::i18n::to_ustring(std::to_string(i)) + u";\n";
    for (int i = 0; i < 600; ++i)
        after += u"b" + fl::i18n::to_ustring(std::to_string(i)) + u" = 1;\n";
    host_->setReply("```ostrel\nc = a599 + 1;\n```");
    LogCapture capture(4);
    const InfoResult result = complete(before + after, before.size());
    EXPECT_EQ(result.autocompletionResponse, u"c = a599 + 1;");
    bool sawPrefix = false;
    for (const auto& text : capture.texts(kChannel)) {
        if (text.starts_with(" prefixLimited=")) {
            sawPrefix = true;
            EXPECT_EQ(text.size(), std::string(" prefixLimited=").size() + 4000);
        }
        if (text.starts_with(" suffixLimited=")) {
            EXPECT_EQ(text.size(), std::string(" suffixLimited=").size() + 4000);
        }
    }
    EXPECT_TRUE(sawPrefix);
}

TEST_F(GetInfoTest, ConcurrentCallsGiveTheSameResultsAsSequentialOnes) {
    host_->setReply("```ostrel\nif x > 0\n    y = x;\nend\nz = 3;\n```");
    const std::vector<fl::ustring> files{u"x = 1;\n", u"function f(x)\n    \nend\n",
                                         u"a = [1, 2];\nx = a(1);\n"};
    const std::vector<std::size_t> cursors{7, 18, 21};
    std::vector<InfoResult> sequential;
    for (std::size_t i = 0; i < files.size(); ++i)
        sequential.push_back(complete(files[i], cursors[i]));
    std::vector<std::future<InfoResult>> running;
    for (int round = 0; round < 4; ++round) {
        for (std::size_t i = 0; i < files.size(); ++i) {
            running.push_back(
                std::async(std::launch::async, [&, i] { return complete(files[i], cursors[i]); }));
        }
    }
    for (std::size_t k = 0; k < running.size(); ++k) {
        const InfoResult got = running[k].get();
        EXPECT_EQ(got.autocompletionResponse, sequential[k % files.size()].autocompletionResponse) << k;
        EXPECT_EQ(got.prunedLLMGeneratedCode, sequential[k % files.size()].prunedLLMGeneratedCode) << k;
    }
}

TEST(FunctionRegistryCache, ClearingAlwaysSucceeds) {
    EXPECT_TRUE(mtcc::AutoCompletion::ClearFunctionRegistryCache());
}
