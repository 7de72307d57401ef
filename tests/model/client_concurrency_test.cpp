#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "client_test_support.hpp"
#include "qvai/ai_client.hpp"
#include "qvai/backend.hpp"

using namespace std::chrono_literals;

namespace {

// Answers after a short pause, and fails every seventh request, so that replies and failures interleave.
class JitteryBackend : public qvai::Backend {
  public:
    JitteryBackend(std::atomic<int>& inFlight, std::atomic<int>& maxInFlight)
        : inFlight_(inFlight), maxInFlight_(maxInFlight) {}
    std::string complete(const qvai::BackendRequest& request, const std::atomic<bool>& cancelled) override {
        const int inFlight = ++inFlight_;
        int seen = maxInFlight_.load();
        while (inFlight > seen && !maxInFlight_.compare_exchange_weak(seen, inFlight)) {
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200 + (request.input->code.size() % 5) * 100));
        --inFlight_;
        if (cancelled) throw std::runtime_error("cancelled");
        if (request.input->code.size() % 7 == 0) throw std::runtime_error("scripted failure");
        return qvai::ostrelFence(request.input->code);
    }
    std::atomic<int>& inFlight_;
    std::atomic<int>& maxInFlight_;
};

constexpr int kThreads = 8;
constexpr int kPerThread = 50;

TEST(ClientConcurrency, EveryCallbackRunsExactlyOnceUnderLoad) {
    std::vector<std::atomic<int>> calls(kThreads * kPerThread);
    std::vector<std::atomic<bool>> correct(kThreads * kPerThread);
    std::atomic<int> total{0};
    std::atomic<int> inFlight{0}, maxInFlight{0};
    auto backend = std::make_unique<JitteryBackend>(inFlight, maxInFlight);
    {
        qvai::ClientOptions options;
        options.MaxInFlight = 3;
        qvai::AiClient client(options, std::move(backend));
        std::vector<std::thread> senders;
        for (int t = 0; t < kThreads; ++t) {
            senders.emplace_back([&, t] {
                for (int i = 0; i < kPerThread; ++i) {
                    const int n = t * kPerThread + i;
                    const std::string code =
                        "x" + std::string(static_cast<std::size_t>(n % 11), 'y') + std::to_string(n);
                    client.sendChatCompletion(
                        model_test::completionRequest(code, ""),
                        [&, n, code](bool success, qvai::core::gen::ChatCompletionMessage message) {
                            correct[n] = success ? model_test::replyText(message) == qvai::ostrelFence(code)
                                                 : message.choices.empty() && code.size() % 7 == 0;
                            ++calls[n];
                            ++total;
                        },
                        client.requestContext());
                }
            });
        }
        for (auto& sender : senders)
            sender.join();
        const auto deadline = std::chrono::steady_clock::now() + 30s;
        while (total < kThreads * kPerThread && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(1ms);
    }
    for (int n = 0; n < kThreads * kPerThread; ++n) {
        EXPECT_EQ(calls[n].load(), 1) << "request " << n;
        EXPECT_TRUE(correct[n].load()) << "request " << n;
    }
    EXPECT_LE(maxInFlight.load(), 3);
}

TEST(ClientConcurrency, ShutdownAnswersWaitingRequestsAndOverflowIsAnsweredAtOnce) {
    std::vector<std::atomic<int>> calls(200);
    std::atomic<int> failures{0};
    std::atomic<int> inFlight{0}, maxInFlight{0};
    {
        qvai::ClientOptions options;
        options.MaxInFlight = 1;
        options.MaxQueued = 100;
        qvai::AiClient client(options, std::make_unique<JitteryBackend>(inFlight, maxInFlight));
        for (int n = 0; n < 200; ++n) {
            client.sendChatCompletion(
                model_test::completionRequest("code" + std::to_string(n), ""),
                [&, n](bool success, qvai::core::gen::ChatCompletionMessage) {
                    if (!success) ++failures;
                    ++calls[n];
                },
                client.requestContext());
        }
    }  // destroyed with most requests still waiting
    for (int n = 0; n < 200; ++n)
        EXPECT_EQ(calls[n].load(), 1) << "request " << n;
    EXPECT_GE(failures.load(), 99);  // at least the overflow, answered empty
}

// Holds every request until it is cancelled, and says how many it holds.
class HoldingBackend : public qvai::Backend {
  public:
    std::string complete(const qvai::BackendRequest&, const std::atomic<bool>& cancelled) override {
        ++held;
        while (!cancelled)
            std::this_thread::sleep_for(1ms);
        --held;
        throw std::runtime_error("cancelled");
    }
    std::atomic<int> held{0};
};

// One request cancelled under way and one while it waits: each is answered empty at once, and the
// worker the first held is free for the next request; the client keeps working for the others.
TEST(ClientConcurrency, CancellingOneRequestFreesItsWorkerAndAnswersIt) {
    auto backend = std::make_unique<HoldingBackend>();
    HoldingBackend& holding = *backend;
    qvai::ClientOptions options;
    options.MaxInFlight = 1;
    // Before the client: the client answers the request it still holds as it goes.
    std::vector<std::atomic<int>> answers(3);
    qvai::AiClient client(options, std::move(backend));
    std::vector<qvai::RequestContext> contexts;
    for (int n = 0; n < 3; ++n) {
        contexts.push_back(client.requestContext());
        client.sendChatCompletion(
            model_test::completionRequest("x = " + std::to_string(n) + ";", ""),
            [&, n](bool success, qvai::core::gen::ChatCompletionMessage message) {
                EXPECT_FALSE(success);
                EXPECT_TRUE(message.choices.empty());
                ++answers[n];
            },
            contexts.back());
    }
    const auto waitFor = [](const std::function<bool()>& done) {
        const auto deadline = std::chrono::steady_clock::now() + 5s;
        while (!done() && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(1ms);
        return done();
    };
    ASSERT_TRUE(waitFor([&] { return holding.held == 1; }));
    EXPECT_TRUE(client.cancel(contexts[1]));  // still waiting
    EXPECT_EQ(answers[1].load(), 1);
    EXPECT_TRUE(client.cancel(contexts[0]));  // under way
    EXPECT_TRUE(waitFor([&] { return answers[0] == 1 && holding.held == 1; }))
        << "the third request never reached the freed worker";
    EXPECT_FALSE(client.cancel(contexts[0]));  // answered already
    EXPECT_FALSE(client.cancel(qvai::RequestContext{999}));
    EXPECT_EQ(answers[2].load(), 0);
}

}  // namespace
