#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

#include "foundation/log/diagnostic_logger.hpp"
#include "support/log_capture.hpp"

using foundation::log::diagnostic_logger;
using foundation::log::kSeverityStage;
using foundation::log::kSeverityTrace;
using foundation::log::kSeverityValue;
using testing_support::LogCapture;

TEST(DiagnosticLogger, ChannelMaskDecidesWhatIsFormatted) {
    // Counts how often the value is formatted, to prove that a disabled site formats nothing.
    int formatted = 0;
    const auto logObserved = [&formatted](const diagnostic_logger& logger) {
        if (logger.is_enabled(kSeverityValue))
            logger.record(kSeverityValue) << " value=" << [&formatted] {
                ++formatted;
                return "observed";
            }();
    };
    {
        LogCapture capture(kSeverityStage);  // value dumps stay off
        logObserved(diagnostic_logger("test::masked"));
        EXPECT_EQ(formatted, 0);
        EXPECT_TRUE(capture.records().empty());
    }
    {
        LogCapture capture(kSeverityValue);
        logObserved(diagnostic_logger("test::open"));
        EXPECT_EQ(formatted, 1);
        EXPECT_EQ(capture.texts("test::open"), std::vector<std::string>{" value=observed"});
    }
    foundation::log::set_channel_mask("test::only", kSeverityValue);
    EXPECT_TRUE(diagnostic_logger("test::only").is_enabled(kSeverityValue));
    EXPECT_FALSE(diagnostic_logger("test::other").is_enabled(kSeverityValue));
    foundation::log::set_channel_mask("test::only", 0);
}

TEST(DiagnosticLogger, WritesTextAsUtf8WithLoneSurrogatesReplaced) {
    LogCapture capture;
    const diagnostic_logger logger("test::utf16");
    // Cuts of the prefix and suffix can split a pair at either end.
    logger.record(kSeverityValue) << " prefixLimited=" << fl::ustring{0xDC00, u'x', 0xD83D};
    logger.record(kSeverityValue) << " n=" << std::size_t{4000} << " m=" << -3;
    const auto texts = capture.texts("test::utf16");
    ASSERT_EQ(texts.size(), 2u);
    EXPECT_EQ(texts[0], " prefixLimited=\xEF\xBF\xBDx\xEF\xBF\xBD");
    EXPECT_EQ(texts[1], " n=4000 m=-3");
    // A record opened before an exception is not pushed.
    const auto failing = []() -> std::string { throw std::runtime_error("formatting failed"); };
    EXPECT_THROW(logger.record(kSeverityValue) << "partial " << failing(), std::runtime_error);
    EXPECT_EQ(capture.texts("test::utf16").size(), 2u);
}

// The entry and exit records themselves are checked record by record in the pipeline tests.
TEST(FunctionTrace, MarksAnExitByExceptionAndIsSilentWhenTraceIsOff) {
    {
        LogCapture capture(kSeverityValue | kSeverityStage);
        const diagnostic_logger quiet("test::quiet");
        { foundation::log::function_trace trace(quiet, "void h()", "Source", 1); }
        EXPECT_TRUE(capture.records().empty());
    }
    LogCapture capture;
    const diagnostic_logger logger("test::trace");
    EXPECT_THROW(
        {
            foundation::log::function_trace trace(logger, "int g()", "Source", 9);
            throw std::logic_error("x");
        },
        std::logic_error);
    const auto records = capture.records();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[1].severity, kSeverityTrace);
    EXPECT_EQ(records[1].text, "exit int g() (Source:9) [throw]");
}

TEST(DiagnosticLogger, ManyThreadsLogWithoutLosingRecords) {
    LogCapture capture;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([] {
            const diagnostic_logger logger("test::threads");
            for (int i = 0; i < 250; ++i)
                logger.record(kSeverityStage) << "record " << i;
        });
    }
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(capture.texts("test::threads").size(), 1000u);
}
