#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <condition_variable>
#include <mutex>
#include <nlohmann/json.hpp>

#include "client_test_support.hpp"
#include "qvai/ai_client.hpp"
#include "support/log_capture.hpp"
#include "support/model_server.hpp"

using namespace std::chrono_literals;
using namespace model_test;
using testing_support::LoopbackServer;
using testing_support::ModelServer;

namespace {

constexpr const char* kKeyVariable = "OSTREL_TEST_MODEL_KEY";
constexpr const char* kKey = "sk-test-4f9a1c77e2b0d3";

std::string askThrough(const std::string& backend, const std::string& endpoint,
                       qvai::core::gen::ChatCompletion request, const char* keyVariable = kKeyVariable) {
    qvai::ClientOptions options;
    options.Backend = backend;
    options.Endpoint = endpoint;
    options.Model = "test-model";
    options.MaxTokens = 77;
    options.Temperature = 0.5;
    options.TimeoutMs = 400;
    options.ApiKeyVariable = keyVariable;
    qvai::AiClient client(options);
    return answer(client, std::move(request));
}

class HttpBackendTest : public ::testing::Test {
  protected:
    void SetUp() override { setenv(kKeyVariable, kKey, 1); }
    void TearDown() override { unsetenv(kKeyVariable); }
};

TEST_F(HttpBackendTest, OpenAiSendsTheRenderedTemplateWithTheKeyAndReadsTheReply) {
    ModelServer server(R"({"id":"r1","choices":[{"index":0,"message":{"role":"assistant",)"
                       R"("content":"```ostrel\ntotal = total + x(i);\n```"},"finish_reason":"stop"}]})");
    EXPECT_EQ(askThrough("openai", server.url(), completionRequest("for i = 1:n\\n", "\\nend")),
              "```ostrel\ntotal = total + x(i);\n```");

    EXPECT_EQ(server.last().get_header_value("Authorization"), std::string("Bearer ") + kKey);
    const auto sent = nlohmann::json::parse(server.last().body);
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

    // A server that streams though asked not to: the pieces, in order.
    server.answer(
        "data: {\"choices\":[{\"delta\":{\"role\":\"assistant\"}}]}\r\n\r\n"
        ": keep-alive\n\ndata:{\"choices\":[{\"delta\":{\"content\":\"```ostrel\\nx\"}}]}\n\n"
        "data: {\"choices\":[{\"delta\":{\"content\":\" = 1;\\n```\"}}]}\n\ndata: [DONE]\n\n");
    EXPECT_EQ(askThrough("openai", server.url(), completionRequest("", "")), "```ostrel\nx = 1;\n```");
    // Content in parts, the model's thinking among them.
    server.answer(R"({"choices":[{"message":{"content":[{"type":"thinking","thinking":"```ostrel\nr = 0;"},)"
                  R"({"type":"text","text":"```ostrel\nx"},{"type":"text","text":" = 1;\n```"}]}}]})");
    EXPECT_EQ(askThrough("openai", server.url(), completionRequest("", "")), "```ostrel\nx = 1;\n```");
}

TEST_F(HttpBackendTest, InfillSendsPrefixAndSuffixAndFencesTheCode) {
    ModelServer server(R"({"content":"    total = total + x(i);","stop":true})");
    EXPECT_EQ(askThrough("infill", server.url(), completionRequest("for i = 1:n\\n", "\\nend\\t\\\"q\\\"")),
              "```ostrel\n    total = total + x(i);\n```");
    EXPECT_EQ(server.last().get_header_value("Authorization"), std::string("Bearer ") + kKey);
    const auto sent = nlohmann::json::parse(server.last().body);
    EXPECT_EQ(sent["input_prefix"], "for i = 1:n\n");
    EXPECT_EQ(sent["input_suffix"], "\nend\t\"q\"");
    EXPECT_EQ(sent["n_predict"], 77);

    server.answer("data: {\"content\":\"x\"}\n\ndata: {\"content\":\" = 1;\",\"stop\":true}\n\n");
    EXPECT_EQ(askThrough("infill", server.url(), completionRequest("", "")), "```ostrel\nx = 1;\n```");
    // Code the model fenced itself is not fenced again.
    server.answer(R"({"content":"Here:\n```ostrel\nx = 1;\n```"})");
    EXPECT_EQ(askThrough("infill", server.url(), completionRequest("", "")), "Here:\n```ostrel\nx = 1;\n```");
}

TEST_F(HttpBackendTest, EndpointsWithOrWithoutTheirPathReachTheSamePlace) {
    ModelServer server(R"({"choices":[{"message":{"content":"ok"}}],"content":"ok"})");
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"openai", "", "/v1/chat/completions"},
        {"openai", "/", "/v1/chat/completions"},
        {"openai", "/v1/", "/v1/chat/completions"},
        {"openai", "/v1/chat/completions", "/v1/chat/completions"},
        {"infill", "", "/infill"},
        {"infill", "/infill/", "/infill"},
        {"openai", "/v1?api-version=1", "/v1/chat/completions"},
        {"infill", "/?api-version=1", "/infill"}};
    for (const auto& [backend, suffix, path] : cases) {
        EXPECT_THAT(askThrough(backend, server.url() + suffix, completionRequest("x", "")),
                    testing::HasSubstr("ok"))
            << backend << suffix;
        EXPECT_EQ(server.last().path, path) << backend << " " << suffix;
        EXPECT_EQ(server.last().get_param_value("api-version"),
                  std::string(suffix).find('?') != std::string::npos ? "1" : "")
            << backend << " " << suffix;
    }
}

TEST_F(HttpBackendTest, RequestMembersOverrideTheOptionsAndNoKeyMeansNoHeader) {
    ModelServer server(R"({"choices":[{"message":{"content":"ok"}}]})");
    qvai::core::gen::ChatCompletion request;
    request.messages.push_back({"user", u"say ok", std::nullopt, std::nullopt});
    request.maxTokens = 5;
    request.model = "other";
    unsetenv(kKeyVariable);
    EXPECT_EQ(askThrough("openai", server.url(), request), "ok");
    EXPECT_FALSE(server.last().has_header("Authorization"));
    const auto sent = nlohmann::json::parse(server.last().body);
    EXPECT_EQ(sent["max_tokens"], 5);
    EXPECT_EQ(sent["model"], "other");
    EXPECT_EQ(sent["messages"][0]["content"], "say ok");

    setenv(kKeyVariable, "", 1);  // set but empty counts as no key
    EXPECT_EQ(askThrough("openai", server.url(), request), "ok");
    EXPECT_FALSE(server.last().has_header("Authorization"));
    // The line end of a key read from a file goes; a line break inside it would add a header.
    setenv(kKeyVariable, " sk-1\r\n", 1);
    EXPECT_EQ(askThrough("openai", server.url(), request), "ok");
    EXPECT_EQ(server.last().get_header_value("Authorization"), "Bearer sk-1");
    setenv(kKeyVariable, "sk-1\r\nX-Injected: 1", 1);
    EXPECT_EQ(askThrough("openai", server.url(), request), kFailed);
    EXPECT_FALSE(server.last().has_header("X-Injected"));
    unsetenv(kKeyVariable);

    // A server that wants one says so, and the failure says which variable was not set.
    testing_support::LogCapture capture;
    server.answer(R"({"error":{"message":"Missing bearer token"}})", 401);
    EXPECT_EQ(askThrough("openai", server.url(), request), kFailed);
    EXPECT_THAT(capture.joined(), testing::HasSubstr("Missing bearer token; no API key was sent ($" +
                                                     std::string(kKeyVariable) + " is not set)"));
    // A key given where the variable's name belongs stays out of the log.
    EXPECT_EQ(askThrough("openai", server.url(), request, kKey), kFailed);
    EXPECT_THAT(capture.joined(), testing::Not(testing::HasSubstr(kKey)));
}

// Each way a server can fail, for both HTTP backends: an empty reply, flagged unsuccessful, well within
// the time limit, and nothing in the log that gives the key away.
TEST_F(HttpBackendTest, EveryServerFailureEndsInAnEmptyReplyWithinTheTimeLimit) {
    testing_support::LogCapture capture;
    std::mutex mutex;
    std::condition_variable released;
    bool release = false;
    const std::string huge(50 * 1024 * 1024, 'x');
    LoopbackServer server([&](httplib::Server& routes) {
        routes.Post(R"(/(\w*)/?(v1/chat/completions|infill))", [&](const httplib::Request& request,
                                                                   httplib::Response& response) {
            const std::string kind = request.matches[1];
            std::unique_lock lock(mutex);
            if (kind == "hang") released.wait_for(lock, 10s, [&] { return release; });
            if (kind == "malformed") response.set_content("{\"choices\": [", "application/json");
            if (kind == "huge") response.set_content(huge, "application/json");
            if (kind == "nocontent")
                response.set_content(R"({"choices":[{"message":{"content":null}}]})", "application/json");
            if (kind == "echo") response.set_content(request.get_header_value("Authorization"), "text/plain");
            if (kind == "echo" || kind.empty()) response.status = kind.empty() ? 500 : 401;
            if (kind == "refused" || kind == "refusedok")
                response.set_content(
                    R"({"error":{"message":"Rate limit reached\nfor )" + std::string(kKey) + R"("}})",
                    "application/json");
            if (kind == "refused") response.status = 429;
            if (kind == "proxy") {
                response.status = 502;
                response.set_content(
                    "<html><head><title>502 Bad Gateway</title></head>\r\n<body></body></html>", "text/html");
            }
            if (kind == "thinking")
                response.set_content(R"({"choices":[{"finish_reason":"length","message":{"content":null,)"
                                     R"("reasoning_content":"Let me think"}}]})",
                                     "application/json");
            if (kind == "moved") response.set_redirect("https://elsewhere.example/v1/chat/completions", 308);
            if (kind == "streamerror")
                response.set_content("data: {\"error\":{\"message\":\"Model overloaded\"}}\n\n",
                                     "text/event-stream");
        });
    });
    LoopbackServer closed;
    std::vector<std::string> endpoints{closed.url(), server.url()};
    closed.stop();
    for (const char* kind : {"hang", "malformed", "huge", "nocontent", "echo", "refused", "refusedok",
                             "streamerror", "moved", "proxy", "thinking"})
        endpoints.push_back(server.url() + "/" + kind);

    for (const std::string backend : {"openai", "infill"}) {
        for (const auto& endpoint : endpoints) {
            const auto start = std::chrono::steady_clock::now();
            EXPECT_EQ(askThrough(backend, endpoint, completionRequest("x = ", "")), kFailed)
                << backend << endpoint;
            EXPECT_LT(std::chrono::steady_clock::now() - start, 400ms + 1500ms) << backend << " " << endpoint;
        }
    }
    {
        std::lock_guard lock(mutex);
        release = true;
    }
    released.notify_all();
    const std::string log = capture.joined();
    // The server's own explanation, on one line, also when it comes with status 200.
    for (const std::string& told : std::vector<std::string>{
             "HTTP status 500", "/hang/v1/chat/completions within 400 ms",
             "/refused/v1/chat/completions: Rate limit reached for ***",
             "choices: Rate limit reached for ***", "content: Rate limit reached for ***",
             "broke off the streamed reply: Model overloaded", "/proxy/infill: 502 Bad Gateway\n",
             "reached its token limit before it wrote an answer",
             "HTTP status 308 from " + server.url() +
                 "/moved/infill: the server points to https://elsewhere.example/v1/chat/completions"})
        EXPECT_NE(log.find(told), std::string::npos) << told << " not in\n" << log;
    EXPECT_EQ(log.find(kKey), std::string::npos);
}

}  // namespace

// A request nobody waits for any more (cancelled, or its client replaced by new settings) ends at
// once, not when the model would have answered: an editor's next request needs the worker.
TEST_F(HttpBackendTest, ACallUnderWayEndsAtOnceWhenCancelledOrItsClientGoes) {
    auto fastest = std::chrono::steady_clock::duration::max();
    for (const std::string backend : {"openai", "infill"}) {
        for (const bool cancel : {true, false}) {
            SCOPED_TRACE(backend + (cancel ? " cancelled" : " client destroyed"));
            ModelServer server(R"({"choices":[{"message":{"content":"ok"}}],"content":"ok"})", /*held=*/true);
            qvai::ClientOptions options;
            options.Backend = backend;
            options.Endpoint = server.url();
            options.TimeoutMs = 20000;
            std::promise<bool> ended;  // before the client, which may answer into it as it goes
            auto client = std::make_unique<qvai::AiClient>(options);
            const auto context = client->requestContext();
            client->sendChatCompletion(
                completionRequest("x = ", ""),
                [&](bool success, qvai::core::gen::ChatCompletionMessage) { ended.set_value(success); },
                context);
            ASSERT_TRUE(server.awaitRequests(1));
            const auto start = std::chrono::steady_clock::now();
            if (cancel) {
                EXPECT_TRUE(client->cancel(context));
            } else {
                client.reset();
            }
            auto outcome = ended.get_future();
            ASSERT_EQ(outcome.wait_for(2s), std::future_status::ready);
            EXPECT_FALSE(outcome.get());
            const auto took = std::chrono::steady_clock::now() - start;
            EXPECT_LT(took, 1s);
            fastest = std::min(fastest, took);
            server.release();
        }
    }
    // The fastest, so that a busy machine does not fail the test: one that waits for curl's own look at
    // the flag takes 200 ms every time.
    EXPECT_LT(fastest, 100ms);
}
