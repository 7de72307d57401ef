#include <gtest/gtest.h>
#include <stdlib.h>

#include <condition_variable>
#include <fstream>
#include <mutex>
#include <nlohmann/json.hpp>

#include "client_test_support.hpp"
#include "qvai/ai_client.hpp"
#include "support/log_capture.hpp"

using namespace std::chrono_literals;
using model_test::ask;
using model_test::completionRequest;
using model_test::LoopbackServer;
using model_test::replyText;

namespace {

constexpr const char* kKeyVariable = "OSTREL_TEST_MODEL_KEY";
constexpr const char* kKey = "sk-test-4f9a1c77e2b0d3";

qvai::ClientOptions httpOptions(const std::string& backend, const std::string& endpoint) {
    qvai::ClientOptions options;
    options.Backend = backend;
    options.Endpoint = endpoint;
    options.Model = "test-model";
    options.MaxTokens = 77;
    options.Temperature = 0.5;
    options.TimeoutMs = 400;
    options.ApiKeyVariable = kKeyVariable;
    return options;
}

class HttpBackendTest : public ::testing::Test {
  protected:
    void SetUp() override { setenv(kKeyVariable, kKey, 1); }
    void TearDown() override { unsetenv(kKeyVariable); }
};

TEST_F(HttpBackendTest, OpenAiRequestCarriesTheRenderedTemplateAndTheReplyIsParsed) {
    LoopbackServer server;
    std::mutex mutex;
    std::string body, authorization, path;
    server.server().Post(".*", [&](const httplib::Request& request, httplib::Response& response) {
        std::lock_guard lock(mutex);
        body = request.body;
        path = request.path;
        authorization = request.get_header_value("Authorization");
        response.set_content(
            R"({"id":"r1","choices":[{"index":0,"message":{"role":"assistant",)"
            R"("content":"```ostrel\ntotal = total + x(i);\n```"},"finish_reason":"stop"}]})",
            "application/json");
    });
    qvai::AiClient client(httpOptions("openai", server.url()));
    const auto outcome = ask(client, completionRequest("for i = 1:n\\n", "\\nend"));
    ASSERT_TRUE(outcome.has_value());
    EXPECT_TRUE(outcome->success);
    EXPECT_EQ(replyText(*outcome), "```ostrel\ntotal = total + x(i);\n```");

    std::lock_guard lock(mutex);
    EXPECT_EQ(path, "/v1/chat/completions");
    EXPECT_EQ(authorization, std::string("Bearer ") + kKey);
    const auto sent = nlohmann::json::parse(body);
    EXPECT_EQ(sent["model"], "test-model");
    EXPECT_EQ(sent["max_tokens"], 77);
    EXPECT_DOUBLE_EQ(sent["temperature"].get<double>(), 0.5);
    ASSERT_EQ(sent["messages"].size(), 2u);
    EXPECT_EQ(sent["messages"][0]["role"], "system");
    EXPECT_NE(sent["messages"][0]["content"].get<std::string>().find("```ostrel"), std::string::npos);
    EXPECT_EQ(sent["messages"][1]["role"], "user");
    const std::string user = sent["messages"][1]["content"];
    EXPECT_NE(user.find("for i = 1:n\n"), std::string::npos);  // unescaped into the message
    EXPECT_NE(user.find("\nend"), std::string::npos);
    EXPECT_NE(user.find("total, x"), std::string::npos);
    EXPECT_EQ(user.find("{{"), std::string::npos);  // every slot filled
}

TEST_F(HttpBackendTest, RequestMembersOverrideTheOptions) {
    LoopbackServer server;
    std::string body;
    std::mutex mutex;
    server.server().Post(".*", [&](const httplib::Request& request, httplib::Response& response) {
        std::lock_guard lock(mutex);
        body = request.body;
        response.set_content(R"({"choices":[{"message":{"content":"ok"}}]})", "application/json");
    });
    qvai::AiClient client(httpOptions("openai", server.url() + "/v1/"));
    qvai::core::gen::ChatCompletion request;
    request.messages.push_back({"user", u"say ok", std::nullopt, std::nullopt});
    request.maxTokens = 5;
    request.model = "other";
    const auto outcome = ask(client, request);
    ASSERT_TRUE(outcome.has_value());
    EXPECT_EQ(replyText(*outcome), "ok");
    std::lock_guard lock(mutex);
    const auto sent = nlohmann::json::parse(body);
    EXPECT_EQ(sent["max_tokens"], 5);
    EXPECT_EQ(sent["model"], "other");
    EXPECT_EQ(sent["messages"][0]["content"], "say ok");
}

TEST_F(HttpBackendTest, InfillSendsPrefixAndSuffixAndFencesTheCode) {
    LoopbackServer server;
    std::string body, path;
    std::mutex mutex;
    server.server().Post(".*", [&](const httplib::Request& request, httplib::Response& response) {
        std::lock_guard lock(mutex);
        body = request.body;
        path = request.path;
        response.set_content(R"({"content":"    total = total + x(i);","stop":true})", "application/json");
    });
    qvai::AiClient client(httpOptions("infill", server.url()));
    const auto outcome = ask(client, completionRequest("for i = 1:n\\n", "\\nend\\t\\\"q\\\""));
    ASSERT_TRUE(outcome.has_value());
    EXPECT_TRUE(outcome->success);
    EXPECT_EQ(replyText(*outcome), "```ostrel\n    total = total + x(i);\n```");
    std::lock_guard lock(mutex);
    EXPECT_EQ(path, "/infill");
    const auto sent = nlohmann::json::parse(body);
    EXPECT_EQ(sent["input_prefix"], "for i = 1:n\n");
    EXPECT_EQ(sent["input_suffix"], "\nend\t\"q\"");
    EXPECT_EQ(sent["n_predict"], 77);
}

// Each way a server can fail, for both HTTP backends: an empty reply, flagged unsuccessful, well within
// the time limit, and nothing in the log that gives the key away.
TEST_F(HttpBackendTest, EveryServerFailureEndsInAnEmptyReplyWithinTheTimeLimit) {
    testing_support::LogCapture capture;
    LoopbackServer server;
    std::mutex mutex;
    std::condition_variable released;
    bool release = false;
    server.server().Post("/(v1/chat/completions|infill)",
                         [](const httplib::Request&, httplib::Response& response) {
                             response.status = 500;
                             response.set_content("{\"error\":\"overloaded\"}", "application/json");
                         });
    const std::string huge(50 * 1024 * 1024, 'x');
    for (const std::string kind : {"hang", "malformed", "huge", "nocontent", "echo"}) {
        server.server().Post(
            "/" + kind + "/(v1/chat/completions|infill)",
            [&, kind](const httplib::Request& request, httplib::Response& response) {
                if (kind == "hang") {
                    std::unique_lock lock(mutex);
                    released.wait_for(lock, 10s, [&] { return release; });
                } else if (kind == "malformed") {
                    response.set_content("{\"choices\": [", "application/json");
                } else if (kind == "huge") {
                    response.set_content(huge, "application/json");
                } else if (kind == "nocontent") {
                    response.set_content(R"({"choices":[{"message":{"content":null}}]})", "application/json");
                } else {  // a server that repeats the credentials it got in its error
                    response.status = 401;
                    response.set_content(request.get_header_value("Authorization"), "text/plain");
                }
            });
    }
    LoopbackServer closed;
    const std::string refused = closed.url();
    closed.stop();

    for (const std::string backend : {"openai", "infill"}) {
        for (const std::string& endpoint : std::vector<std::string>{
                 refused, server.url(), server.url() + "/hang", server.url() + "/malformed",
                 server.url() + "/huge", server.url() + "/nocontent", server.url() + "/echo"}) {
            qvai::AiClient client(httpOptions(backend, endpoint));
            const auto start = std::chrono::steady_clock::now();
            const auto outcome = ask(client, completionRequest("x = ", ""));
            const auto took = std::chrono::steady_clock::now() - start;
            ASSERT_TRUE(outcome.has_value()) << backend << " " << endpoint << ": no callback";
            EXPECT_FALSE(outcome->success) << backend << " " << endpoint;
            EXPECT_TRUE(outcome->message.choices.empty()) << backend << " " << endpoint;
            EXPECT_LT(took, 400ms + 1500ms) << backend << " " << endpoint;
        }
    }
    {
        std::lock_guard lock(mutex);
        release = true;
    }
    released.notify_all();
    const std::string log = capture.joined();
    EXPECT_NE(log.find("HTTP status 500"), std::string::npos) << "failures are logged";
    EXPECT_EQ(log.find(kKey), std::string::npos);
}

TEST_F(HttpBackendTest, MissingKeySendsTheRequestWithoutOne) {
    LoopbackServer server;
    std::atomic<int> hits{0};
    std::atomic<bool> sawAuthorization{false};
    server.server().Post(".*", [&](const httplib::Request& request, httplib::Response& response) {
        ++hits;
        sawAuthorization = request.has_header("Authorization");
        response.set_content(R"({"choices":[{"message":{"content":"ok"}}]})", "application/json");
    });
    unsetenv(kKeyVariable);
    qvai::AiClient client(httpOptions("openai", server.url()));
    const auto outcome = ask(client, completionRequest("x", ""));
    ASSERT_TRUE(outcome.has_value());
    EXPECT_EQ(hits.load(), 1);
    EXPECT_FALSE(sawAuthorization.load());
}

TEST(ClientOptionsTest, BadOptionsAndRequestsAreRejectedClearly) {
    qvai::ClientOptions options;
    options.Backend = "telepathy";
    try {
        qvai::AiClient client(options);
        FAIL() << "no exception";
    } catch (const std::invalid_argument& e) {
        EXPECT_NE(std::string(e.what()).find("telepathy"), std::string::npos);
    }
    options.Backend = "reply-file";
    EXPECT_THROW(qvai::AiClient{options}, std::invalid_argument);  // no file named
    options.Backend = "local";
    options.UseBuiltinCorpus = false;
    options.CorpusFolders = {"/nonexistent/ostrel/corpus"};
    EXPECT_THROW(qvai::AiClient{options}, std::invalid_argument);
}

TEST(ReplyFileTest, RepliesWithTheFileAndFailsCleanlyWithoutIt) {
    const std::string path = std::string(OSTREL_BINARY_DIR) + "/reply_file_test_reply.txt";
    {
        std::ofstream out(path, std::ios::binary);
        out << "Here you go:\n```ostrel\ny = 2;\n```\n";
    }
    qvai::ClientOptions options;
    options.Backend = "reply-file";
    options.ReplyFile = path;
    qvai::AiClient client(options);
    auto outcome = ask(client, completionRequest("x = 1\\n", ""));
    ASSERT_TRUE(outcome.has_value());
    EXPECT_TRUE(outcome->success);
    EXPECT_EQ(replyText(*outcome), "Here you go:\n```ostrel\ny = 2;\n```\n");

    qvai::core::gen::ChatCompletion unknown = completionRequest("x", "");
    unknown.promptSelector->promptVersion = "v9";
    outcome = ask(client, unknown);
    ASSERT_TRUE(outcome.has_value());
    EXPECT_FALSE(outcome->success);

    qvai::core::gen::ChatCompletion garbled = completionRequest("x", "");
    garbled.promptSelector->input = u"not json";
    outcome = ask(client, garbled);
    ASSERT_TRUE(outcome.has_value());
    EXPECT_FALSE(outcome->success);

    std::remove(path.c_str());
    outcome = ask(client, completionRequest("x", ""));
    ASSERT_TRUE(outcome.has_value());
    EXPECT_FALSE(outcome->success);
    EXPECT_TRUE(outcome->message.choices.empty());
}

}  // namespace
