#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "qvai/client_options.hpp"
#include "qvai/qvai_client.hpp"

namespace qvai {

class Backend;

// The host's AI client. Requests are answered on the client's own worker threads (MaxInFlight of them),
// each callback exactly once: with the reply, or with an empty message and the flag false on any
// failure. Requests beyond MaxQueued waiting ones are answered empty at once. Destruction answers the
// requests still waiting (empty) and cancels those under way; cancel() does the same for one request.
class AiClient : public IQvaiClient {
  public:
    // Throws std::invalid_argument for an unknown backend or unusable options.
    explicit AiClient(const ClientOptions& options);
    AiClient(const ClientOptions& options, std::unique_ptr<Backend> backend);
    ~AiClient() override;
    AiClient(const AiClient&) = delete;
    AiClient& operator=(const AiClient&) = delete;

    void sendChatCompletion(core::gen::ChatCompletion request, ChatCompletionCallback callback,
                            RequestContext context) override;
    RequestContext requestContext() override;

    // Ends the request sent with `context`: one still waiting is answered empty at once, one under way
    // is asked to stop and answered empty when its backend gives up. False when no such request is
    // waiting or under way (it was answered already, or never sent).
    bool cancel(RequestContext context);

  private:
    struct Job {
        core::gen::ChatCompletion request;
        ChatCompletionCallback callback;
        RequestContext context;
        std::shared_ptr<std::atomic<bool>> cancelled;
    };

    void work();
    void answer(Job& job);

    ClientOptions options_;
    std::unique_ptr<Backend> backend_;
    std::atomic<std::uint64_t> nextContext_{0};
    std::atomic<bool> stopping_{false};
    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Job> queue_;
    std::multimap<std::uint64_t, std::shared_ptr<std::atomic<bool>>> underWay_;  // by sequence
    std::vector<std::thread> workers_;
};

}  // namespace qvai
