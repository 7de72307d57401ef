// What the client does with replies no model would honestly write, and with reply files that never end.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>

#include "client_test_support.hpp"
#include "qvai/ai_client.hpp"
#include "qvai/reply_bounds.hpp"
#include "support/repeat.hpp"

namespace fs = std::filesystem;
using namespace model_test;
using namespace std::chrono_literals;
using testing_support::repeat;

namespace {

TEST(ReplyBounds, GrowWithMaxTokensWithinAFloorAndACeiling) {
    const std::pair<int, qvai::ReplyBounds> cases[] = {
        {-5, {4096, 256}},   {0, {4096, 256}},      {100, {4096, 256}},
        {512, {8192, 1024}}, {3000, {48000, 4096}}, {INT_MAX, {65536, 4096}},
    };
    for (const auto& [tokens, bounds] : cases) {
        const auto got = qvai::replyBoundsFor(tokens);
        EXPECT_EQ(got.codeUnits, bounds.codeUnits) << tokens;
        EXPECT_EQ(got.lines, bounds.lines) << tokens;
    }
    const qvai::ReplyBounds small{8, 2};
    const std::string eAcute = "\xC3\xA9", smiley = "\xF0\x9F\x98\x80";
    const std::pair<std::string, bool> replies[] = {
        {"abcd\nef", true},
        {"abcdefghi", false},
        {"a\nb\nc", false},
        // Code units, not bytes: eight two-byte letters fit; a letter beyond the basic plane is two.
        {eAcute + eAcute + eAcute + eAcute + eAcute + eAcute + eAcute + eAcute, true},
        {smiley + smiley + "xxxxx", false},
    };
    for (const auto& [reply, fits] : replies)
        EXPECT_EQ(qvai::replyOverBounds(reply, small).empty(), fits) << reply;
}

struct ReplyFileCase {
    const char* name;
    std::function<void(const fs::path&)> make;  // creates the reply file
    bool answered;
};

std::function<void(const fs::path&)> writes(const std::string& text) {
    return [text](const fs::path& p) { std::ofstream(p, std::ios::binary) << text; };
}

// A reply file within bounds is the reply, verbatim. The other rows once went wrong: taken whole (seconds
// and a gigabyte for 7 MB), or waited on forever.
TEST(ReplyLimits, OversizedAndEndlessReplyFilesFailWithinTheTimeLimit) {
    const fs::path dir = fs::path(OSTREL_BINARY_DIR) / "reply_limits_test";
    fs::remove_all(dir);
    fs::create_directories(dir);
    int heldWriter = -1;
    const ReplyFileCase cases[] = {
        {"ordinary", writes("Here:\n```ostrel\nx = 1;\n```\n"), true},
        {"200 lines", writes(repeat("x = 1;\n", 200)), true},
        {"7 MB", writes(std::string(7 << 20, 'x')), false},
        {"20000 short lines", writes(repeat("x\n", 20000)), false},
        {"one 100000-unit line", writes(std::string(100000, 'y')), false},
        {"a missing file", [](const fs::path&) {}, false},
        {"a folder", [](const fs::path& p) { fs::create_directory(p); }, false},
        {"a FIFO nobody opens", [](const fs::path& p) { ASSERT_EQ(mkfifo(p.c_str(), 0600), 0); }, false},
        {"a FIFO whose writer never writes",
         [&](const fs::path& p) {
             ASSERT_EQ(mkfifo(p.c_str(), 0600), 0);
             heldWriter = ::open(p.c_str(), O_RDWR | O_NONBLOCK);
             ASSERT_GE(heldWriter, 0);
         },
         false},
    };
    for (const auto& [name, make, answered] : cases) {
        const fs::path file = dir / name;
        make(file);
        qvai::ClientOptions options;
        options.Backend = "reply-file";
        options.ReplyFile = file.string();
        options.TimeoutMs = 300;
        qvai::AiClient client(options);
        const auto start = std::chrono::steady_clock::now();
        const std::string reply = answer(client, completionRequest("x = ", ""));
        EXPECT_LT(std::chrono::steady_clock::now() - start, 300ms + 1500ms) << name;
        if (!answered) {
            EXPECT_EQ(reply, kFailed) << name;
            continue;
        }
        std::ifstream written(file, std::ios::binary);
        EXPECT_EQ(reply, std::string(std::istreambuf_iterator<char>(written), {})) << name;
        // A request the client cannot render fails though the file is there.
        auto unknownVersion = completionRequest("x", ""), garbled = completionRequest("x", "");
        unknownVersion.promptSelector->promptVersion = "v9";
        garbled.promptSelector->input = u"not json";
        EXPECT_EQ(answer(client, unknownVersion), kFailed);
        EXPECT_EQ(answer(client, garbled), kFailed);
    }
    if (heldWriter >= 0) ::close(heldWriter);
    fs::remove_all(dir);
}

TEST(ReplyLimits, OptionsNoServerCouldUseStopTheClientFromStarting) {
    const std::pair<std::function<void(qvai::ClientOptions&)>, const char*> cases[] = {
        {[](auto& o) { o.Backend = "telepathy"; }, "telepathy"},
        {[](auto& o) { o.Backend = "reply-file"; }, "reply file"},
        {[](auto& o) {
             o.UseBuiltinCorpus = false;
             o.CorpusFolders = {"/nonexistent/ostrel/corpus"};
         },
         "/nonexistent/ostrel/corpus"},
        {[](auto& o) { o.Temperature = std::nan(""); }, "Temperature"},
        {[](auto& o) { o.Temperature = INFINITY; }, "Temperature"},
        {[](auto& o) { o.Temperature = -1; }, "Temperature"},
        {[](auto& o) { o.MaxTokens = 0; }, "MaxTokens"},
        {[](auto& o) { o.TimeoutMs = -1; }, "TimeoutMs"},
    };
    for (const auto& [change, message] : cases) {
        qvai::ClientOptions options;
        change(options);
        EXPECT_THAT([&] { qvai::AiClient client(options); },
                    testing::ThrowsMessage<std::invalid_argument>(testing::HasSubstr(message)))
            << message;
    }
}

}  // namespace
