#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace ostrel_lsp {

// The entry of `entries` (a map whose values hold a steady-clock `due`) that `waiting` admits and that is
// due first, once its time has come. While there is none, or until its time, it waits on `wake` and then
// returns `entries.end()`, so that the caller looks at its own state (stopping) before asking again.
template <class Map, class Waiting>
typename Map::iterator nextDueEntry(std::unique_lock<std::mutex>& lock, std::condition_variable& wake,
                                    Map& entries, Waiting waiting) {
    auto next = entries.end();
    for (auto it = entries.begin(); it != entries.end(); ++it)
        if (waiting(it->second) && (next == entries.end() || it->second.due < next->second.due)) next = it;
    if (next == entries.end()) {
        wake.wait(lock);
        return entries.end();
    }
    if (next->second.due > std::chrono::steady_clock::now()) {
        // By value: wait_until reads the time again after waking, when the entry may be gone.
        const auto due = next->second.due;
        wake.wait_until(lock, due);
        return entries.end();
    }
    return next;
}

}  // namespace ostrel_lsp
