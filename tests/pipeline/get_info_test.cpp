// The reply-file host: early exits and concurrency. Whole runs with their log records go through the HTTP
// backend in tests/pipeline_http.
#include <gtest/gtest.h>

#include <future>

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

const testing_support::ReplyFileHost& host() {
    static const testing_support::ReplyFileHost host;
    return host;
}

InfoResult complete(const fl::ustring& code, std::size_t cursor) {
    return GetInfo(u"", code, cursor, std::make_shared<mtcc::cache::SettingsValues>());
}

}  // namespace

TEST(GetInfo, EarlyExitsGiveEmptyResults) {
    host().setReply("```ostrel\ny = 2;\n```");
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

TEST(GetInfo, ConcurrentCallsGiveTheSameResultsAsSequentialOnes) {
    host().setReply("```ostrel\nif x > 0\n    y = x;\nend\nz = 3;\n```");
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
