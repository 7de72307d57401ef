#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "completion_cache.hpp"
#include "fit/completion_edit.hpp"
#include "fl/ustring.hpp"

namespace ostrel_lsp {

// What the completion library and the host's edit made of one request.
struct CompletionOutcome {
    std::optional<fit::Edit> edit;
    std::string note;  // why there is no edit, or the error the library raised
};

// How a request ended. Each request ends exactly once.
enum class Ending {
    Answered,   // with an outcome (possibly no edit)
    FromCache,  // answered from the cache without asking the model
    Cancelled,  // the client cancelled it
    Modified,   // a newer version of its document came first
    ShutDown,   // the server is stopping
};

struct CompletionJob {
    std::string requestKey;  // the client's request id, for cancel()
    std::string uri;
    std::int64_t version = 0;
    std::shared_ptr<const fl::ustring> text;
    std::size_t cursor = 0;
    std::chrono::milliseconds debounce{0};
    // Called once, on whichever thread ends the request; never under the scheduler's lock.
    std::function<void(Ending, const CompletionOutcome&)> finish;
};

// Runs completions on worker threads, never on the protocol thread. A request waits out its debounce
// first; a cancellation or a newer document version ends it at once (a late result is dropped, but kept
// in the cache); a request that types into the last shown completion is answered from the cache.
class CompletionScheduler {
  public:
    using Complete = std::function<CompletionOutcome(const fl::ustring& text, std::size_t cursor)>;
    // Told the worker thread of a request that ended while it ran, so that the model call it waits
    // for can stop: a slow model would otherwise hold the worker for an answer nobody reads. Called
    // under the scheduler's lock: it must not call back into the scheduler.
    using Abandon = std::function<void(std::thread::id worker)>;

    CompletionScheduler(Complete complete, std::size_t workers, Abandon abandon = {});
    ~CompletionScheduler();
    CompletionScheduler(const CompletionScheduler&) = delete;
    CompletionScheduler& operator=(const CompletionScheduler&) = delete;

    void submit(CompletionJob job);
    // Ends the request if it is still pending; false when it had already ended.
    bool cancel(const std::string& requestKey);
    // Ends every pending request of `uri` made for a version older than `version`.
    void documentChanged(const std::string& uri, std::int64_t version);
    void documentClosed(const std::string& uri);
    void forgetShown() { cache_.clear(); }
    // Ends every pending request and stops the workers that are idle; true when all of them stopped
    // within `wait` (a worker inside a slow model call may not).
    bool stop(std::chrono::milliseconds wait);

    std::size_t pending() const;

    static constexpr std::size_t kMaxPending = 256;

  private:
    struct Entry {
        CompletionJob job;
        std::chrono::steady_clock::time_point due;
        bool running = false;
        std::thread::id worker;  // while running
    };

    void work();
    // Removes the entry and calls its finish outside the lock.
    void end(std::unique_lock<std::mutex>& lock, std::map<std::uint64_t, Entry>::iterator it, Ending ending,
             const CompletionOutcome& outcome = {});

    Complete complete_;
    Abandon abandon_;
    CompletionCache cache_;
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable idle_;
    std::map<std::uint64_t, Entry> entries_;
    std::uint64_t nextKey_ = 1;
    std::size_t busyWorkers_ = 0;
    std::size_t liveWorkers_ = 0;
    bool stopping_ = false;
    std::vector<std::thread> workers_;
};

}  // namespace ostrel_lsp
