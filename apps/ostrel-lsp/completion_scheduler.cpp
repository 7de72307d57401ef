#include "completion_scheduler.hpp"

#include <algorithm>
#include <exception>

#include "due_entries.hpp"

namespace ostrel_lsp {

CompletionScheduler::CompletionScheduler(Complete complete, std::size_t workers, Abandon abandon)
    : complete_(std::move(complete)), abandon_(std::move(abandon)) {
    liveWorkers_ = std::max<std::size_t>(workers, 1);
    for (std::size_t i = 0; i < liveWorkers_; ++i)
        workers_.emplace_back([this] { work(); });
}

CompletionScheduler::~CompletionScheduler() {
    stop(std::chrono::milliseconds::max());
    for (std::thread& worker : workers_) {
        if (worker.joinable()) worker.join();
    }
}

void CompletionScheduler::submit(CompletionJob job) {
    if (const auto cached = cache_.lookUp(job.uri, *job.text, job.cursor)) {
        job.finish(Ending::FromCache, CompletionOutcome{cached, {}});
        return;
    }
    std::unique_lock lock(mutex_);
    // A client that asks faster than the model answers must not pile up requests without bound: the
    // oldest one still waiting gives way (an editor only shows the newest anyway).
    if (entries_.size() >= kMaxPending) {
        const auto oldest =
            std::find_if(entries_.begin(), entries_.end(), [](const auto& e) { return !e.second.running; });
        if (oldest != entries_.end()) end(lock, oldest, Ending::Cancelled);
    }
    if (stopping_) {
        lock.unlock();
        job.finish(Ending::ShutDown, {});
        return;
    }
    const std::uint64_t key = nextKey_++;
    const auto due = std::chrono::steady_clock::now() + job.debounce;
    entries_.emplace(key, Entry{std::move(job), due, false, {}});
    lock.unlock();
    wake_.notify_all();
}

void CompletionScheduler::end(std::unique_lock<std::mutex>& lock, std::map<std::uint64_t, Entry>::iterator it,
                              Ending ending, const CompletionOutcome& outcome) {
    auto finish = std::move(it->second.job.finish);
    // Under the lock, so that the worker cannot have moved on to another request's model call.
    if (it->second.running && ending != Ending::Answered && abandon_) abandon_(it->second.worker);
    entries_.erase(it);
    lock.unlock();
    if (finish) finish(ending, outcome);
    lock.lock();
}

bool CompletionScheduler::cancel(const std::string& requestKey) {
    std::unique_lock lock(mutex_);
    const auto it = std::find_if(entries_.begin(), entries_.end(), [&](const auto& entry) {
        return entry.second.job.requestKey == requestKey;
    });
    if (it == entries_.end()) return false;
    end(lock, it, Ending::Cancelled);
    return true;
}

void CompletionScheduler::documentChanged(const std::string& uri, std::int64_t version) {
    std::unique_lock lock(mutex_);
    for (auto it = entries_.begin(); it != entries_.end();) {
        if (it->second.job.uri == uri && it->second.job.version < version) {
            const std::uint64_t key = it->first;
            end(lock, it, Ending::Modified);
            it = entries_.upper_bound(key);
        } else {
            ++it;
        }
    }
}

void CompletionScheduler::documentClosed(const std::string& uri) {
    documentChanged(uri, INT64_MAX);
    cache_.forget(uri);
}

bool CompletionScheduler::stop(std::chrono::milliseconds wait) {
    std::unique_lock lock(mutex_);
    stopping_ = true;
    while (!entries_.empty())
        end(lock, entries_.begin(), Ending::ShutDown);
    wake_.notify_all();
    const auto allStopped = [this] { return liveWorkers_ == 0; };
    if (wait == std::chrono::milliseconds::max()) {
        idle_.wait(lock, allStopped);
        return true;
    }
    return idle_.wait_for(lock, wait, allStopped);
}

std::size_t CompletionScheduler::pending() const {
    const std::lock_guard lock(mutex_);
    return entries_.size();
}

void CompletionScheduler::work() {
    std::unique_lock lock(mutex_);
    for (;;) {
        if (stopping_) break;
        const auto next =
            nextDueEntry(lock, wake_, entries_, [](const Entry& entry) { return !entry.running; });
        if (next == entries_.end()) continue;
        const std::uint64_t key = next->first;
        next->second.running = true;
        next->second.worker = std::this_thread::get_id();
        const auto text = next->second.job.text;
        const std::size_t cursor = next->second.job.cursor;
        const std::string uri = next->second.job.uri;
        ++busyWorkers_;
        lock.unlock();

        CompletionOutcome outcome;
        try {
            outcome = complete_(*text, cursor);
        } catch (const std::exception& e) {
            outcome.note = e.what();
        } catch (...) {
            outcome.note = "the completion failed";
        }
        if (outcome.edit) cache_.remember(uri, ShownCompletion{text, cursor, *outcome.edit});

        lock.lock();
        --busyWorkers_;
        if (const auto it = entries_.find(key); it != entries_.end())
            end(lock, it, Ending::Answered, outcome);
    }
    --liveWorkers_;
    idle_.notify_all();
}

}  // namespace ostrel_lsp
