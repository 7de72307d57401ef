#include "diagnostics_publisher.hpp"

#include <nlohmann/json.hpp>

#include "diagnostics.hpp"
#include "due_entries.hpp"

namespace ostrel_lsp {

DiagnosticsPublisher::DiagnosticsPublisher(Publish publish, std::chrono::milliseconds delay)
    : publish_(std::move(publish)), delay_(delay), thread_([this] { work(); }) {}

DiagnosticsPublisher::~DiagnosticsPublisher() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

void DiagnosticsPublisher::changed(const std::string& uri, std::int64_t version,
                                   std::shared_ptr<const fl::ustring> text) {
    {
        const std::lock_guard lock(mutex_);
        pending_[uri] = Pending{version, std::move(text), std::chrono::steady_clock::now() + delay_};
        open_.insert(uri);
    }
    wake_.notify_all();
}

void DiagnosticsPublisher::closed(const std::string& uri) {
    const std::lock_guard publishing(publishMutex_);
    {
        const std::lock_guard lock(mutex_);
        pending_.erase(uri);
        open_.erase(uri);
    }
    publish_({{"uri", uri}, {"diagnostics", nlohmann::json::array()}});
}

void DiagnosticsPublisher::setDelay(std::chrono::milliseconds delay) {
    const std::lock_guard lock(mutex_);
    delay_ = delay;
}

void DiagnosticsPublisher::work() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        const auto next = nextDueEntry(lock, wake_, pending_, [](const Pending&) { return true; });
        if (next == pending_.end()) continue;
        const std::string uri = next->first;
        const Pending job = std::move(next->second);
        pending_.erase(next);
        lock.unlock();
        nlohmann::json params = {
            {"uri", uri}, {"version", job.version}, {"diagnostics", diagnosticsOf(*job.text)}};
        // A newer change or a close that came meanwhile wins: this result is stale then. The publishing
        // lock keeps a close's empty list from overtaking it.
        const std::lock_guard publishing(publishMutex_);
        lock.lock();
        if (pending_.contains(uri) || !open_.contains(uri) || stopping_) continue;
        lock.unlock();
        publish_(params);
        lock.lock();
    }
}

}  // namespace ostrel_lsp
