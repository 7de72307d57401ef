// Whole completions through the host's AI client talking to an OpenAI-style server on loopback.
#include <gtest/gtest.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "fl/i18n.hpp"
#include "mtcc/autocompletion/auto_completion.hpp"
#include "mtcc/cache/settings_values.hpp"
#include "support/get_info_records.hpp"
#include "support/model_server.hpp"
#include "support/pipeline_host.hpp"

using mtcc::AutoCompletion::InfoResult;
using testing_support::allEmpty;

namespace {

using testing_support::chatReply;
using testing_support::ModelServer;

// The user message of the latest request the server saw.
std::string lastUserMessage(const ModelServer& server) {
    return nlohmann::json::parse(server.last().body)["messages"][1]["content"];
}

constexpr int kTimeoutMs = 1500;

// One server and one client for the program: the library keeps the first client it finds.
ModelServer& server() {
    static ModelServer server(chatReply(""));
    return server;
}

InfoResult complete(const std::string& code, std::size_t cursor) {
    static const testing_support::PipelineHost host([] {
        qvai::ClientOptions options;
        options.Backend = "openai";
        options.Endpoint = server().url();
        options.Model = "loopback-model";
        options.TimeoutMs = kTimeoutMs;
        return options;
    }());
    return mtcc::AutoCompletion::GetInfo(u"", fl::i18n::to_ustring(code), cursor,
                                         std::make_shared<mtcc::cache::SettingsValues>());
}

// The names a record lists, as a set: their order is the hash set's and is not fixed.
std::set<std::string> listedNames(const std::vector<testing_support::LogLine>& records,
                                  const std::string& label, std::string& text) {
    std::set<std::string> names;
    for (const auto& [severity, record] : records) {
        if (!record.starts_with(label)) continue;
        text = record.substr(label.size());
        std::istringstream items(text);
        for (std::string name; std::getline(items >> std::ws, name, ',');)
            names.insert(name);
    }
    return names;
}

}  // namespace

TEST(OpenAiPipeline, ProseAndARepeatedEndAreStrippedAndTheBodyIndented) {
    server().answer(
        chatReply("Sure, here it is:\n```ostrel\n    fprintf('%d\\n', k);\nend\n```\nThis prints each k."));
    const std::string code = "disp('start');\nfor k = 1:3\n\nend\n";
    const std::size_t cursor = code.find("\n\nend") + 1;
    testing_support::LogCapture capture;
    const InfoResult result = complete(code, cursor);

    const std::string prefix = code.substr(0, cursor);
    testing_support::CompleteRun run{code, cursor, prefix, "\nend\n", "k", "", "disp", {}};
    run.result = {u"    fprintf('%d\\n', k);",
                  u"Sure, here it is:\n```ostrel\n    fprintf('%d\\n', k);\nend\n```\nThis prints each k.",
                  u"fprintf('%d\\n', k);\nend",
                  u"fprintf('%d\\n', k);",
                  u"fprintf('%d\\n', k);",
                  u"fprintf('%d\\n', k);"};
    EXPECT_EQ(testing_support::texts(result), testing_support::texts(run.result));
    EXPECT_EQ(testing_support::pipelineRecords(capture), testing_support::expectedRecords(run));

    EXPECT_EQ(server().requests().size(), 1u);
    const std::string user = lastUserMessage(server());
    EXPECT_NE(user.find(prefix), std::string::npos);
    EXPECT_NE(user.find("\nend\n"), std::string::npos);
}

TEST(OpenAiPipeline, FailingOrSilentServerStillGivesAFullResult) {
    const std::string code = "x = 1;\n";
    testing_support::CompleteRun run{code, 7, code, "", "x", "", "", {}};
    server().answer(chatReply("```ostrel\ny = 2;\n```"), 500);
    testing_support::LogCapture capture;
    EXPECT_TRUE(allEmpty(complete(code, 7)));
    EXPECT_EQ(testing_support::pipelineRecords(capture), testing_support::expectedRecords(run));

    server().answer(chatReply("```ostrel\ny = 2;\n```"), 200, std::chrono::milliseconds(kTimeoutMs + 1000));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(allEmpty(complete(code, 7)));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(kTimeoutMs + 800));
}

TEST(OpenAiPipeline, OnlyTheWindowAroundTheCursorIsSent) {
    std::string before, after;
    for (int i = 0; before.size() < 9000; ++i)
        before += "a" + std::to_string(i) + " = " + std::to_string(i) + ";\n";
    for (int i = 0; after.size() < 9000; ++i)
        after += "b" + std::to_string(i) + " = 1;\n";
    server().answer(chatReply("```ostrel\nc = 1;\n```"));
    const InfoResult result = complete(before + after, before.size());
    EXPECT_EQ(result.autocompletionResponse, u"c = 1;");

    const std::string user = lastUserMessage(server());
    EXPECT_NE(user.find(before.substr(before.size() - 4000)), std::string::npos);
    EXPECT_NE(user.find(after.substr(0, 4000)), std::string::npos);
    // The unit just outside each window is not sent: the window would otherwise have grown by it.
    EXPECT_EQ(user.find(before.substr(before.size() - 4001)), std::string::npos);
    EXPECT_EQ(user.find(after.substr(0, 4001)), std::string::npos);
}

// The file's variables, the functions it defines and the library functions it calls reach the prompt.
TEST(OpenAiPipeline, TheNamesOfTheFileAreListedInThePrompt) {
    const std::string reply = "```ostrel\n        s = s + v(k)^2;\n```";
    server().answer(chatReply(reply));
    const std::string code = "function s = squares(v)\n    s = 0;\n    for k = 1:numel(v)\n\n    end\nend\n";
    const std::size_t cursor = code.find("\n\n") + 1;
    testing_support::LogCapture capture;
    const InfoResult result = complete(code, cursor);

    testing_support::CompleteRun run{code, cursor, code.substr(0, cursor), code.substr(cursor), "", "",
                                     "",   {}};
    run.result = {u"        s = s + v(k)^2;", fl::i18n::to_ustring(reply), u"s = s + v(k)^2;",
                  u"s = s + v(k)^2;",         u"s = s + v(k)^2;",          u"s = s + v(k)^2;"};
    EXPECT_EQ(testing_support::texts(result), testing_support::texts(run.result));

    const auto records = testing_support::pipelineRecords(capture);
    EXPECT_EQ(listedNames(records, " userPromptInfo.userVariables=", run.variables),
              (std::set<std::string>{"s", "v", "k"}));
    EXPECT_EQ(listedNames(records, " userPromptInfo.userFunctions=", run.functions),
              (std::set<std::string>{"squares"}));
    EXPECT_EQ(listedNames(records, " userPromptInfo.OSTRELFunctions=", run.ostrelFunctions),
              (std::set<std::string>{"numel"}));
    EXPECT_EQ(records, testing_support::expectedRecords(run));
}
