#pragma once

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "settings/core/settings.hpp"

namespace settings::core {

// The host's settings: the default tree overridden by a JSON file, kept current while the store lives.
// A thread of the store polls the file; when its content changes the store re-reads it and publishes a
// SettingsValueChangeEvent, on that thread, for every node whose values changed. A file that cannot be
// read, does not parse or holds a wrong type is rejected (the previous values stay) and the reason is
// kept in lastError() and logged on the channel "settings::core::SettingsStore". A missing file means
// the defaults. A reload updates the whole tree under its updating lock and publishes afterwards: a
// reader that holds root()->readingLock() sees the values of one accepted file, never a mix of two.
class SettingsStore {
  public:
    explicit SettingsStore(std::filesystem::path file,
                           std::chrono::milliseconds pollInterval = std::chrono::milliseconds(150));
    ~SettingsStore();
    SettingsStore(const SettingsStore&) = delete;
    SettingsStore& operator=(const SettingsStore&) = delete;

    std::shared_ptr<const Settings> root() const { return root_; }
    const std::filesystem::path& file() const { return file_; }

    // Re-reads the file now, on the calling thread, publishing events for what changed. Returns false
    // when the file was rejected.
    bool reload();

    // The reason the last read of the file was rejected; empty after a read that was accepted.
    std::string lastError() const;

  private:
    void watch();
    bool readIfChanged(bool force);

    std::filesystem::path file_;
    std::chrono::milliseconds pollInterval_;
    std::shared_ptr<Settings> root_;

    mutable std::mutex readMutex_;  // serialises reads of the file and updates of the tree
    std::optional<std::string> lastContent_;
    std::string lastError_;

    std::mutex stopMutex_;
    std::condition_variable stopSignal_;
    bool stopping_ = false;
    std::thread watcher_;
};

}  // namespace settings::core
