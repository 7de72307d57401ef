#include <gtest/gtest.h>

#include <atomic>
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

}  // namespace
