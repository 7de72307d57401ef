#include "settings/core/settings_store.hpp"

#include <fstream>
#include <sstream>
#include <utility>
#include <vector>

#include "foundation/log/diagnostic_logger.hpp"
#include "settings/core/default_settings.hpp"
#include "settings/core/settings_file.hpp"

namespace settings::core {

namespace {

constexpr std::uintmax_t kMaxFileSize = 1 << 20;

struct FileRead {
    std::optional<std::string> content;  // empty when the file does not exist
    std::string error;
};

FileRead readFile(const std::filesystem::path& path) {
    std::error_code ec;
    const auto status = std::filesystem::status(path, ec);
    if (!std::filesystem::exists(status)) return {};
    if (!std::filesystem::is_regular_file(status))
        return {std::nullopt, path.string() + ": not a regular file"};
    const auto size = std::filesystem::file_size(path, ec);
    if (!ec && size > kMaxFileSize)
        return {std::nullopt, path.string() + ": larger than 1 MiB, not a settings file"};
    std::ifstream in(path, std::ios::binary);
    if (!in) return {std::nullopt, path.string() + ": cannot be opened for reading"};
    std::ostringstream text;
    text << in.rdbuf();
    return {text.str(), {}};
}

std::shared_ptr<Settings> nodeOf(const std::shared_ptr<Settings>& root, const std::string& fullName) {
    return std::const_pointer_cast<Settings>(root->getSettingsByFullName(fullName));
}

}  // namespace

SettingsStore::SettingsStore(std::filesystem::path file, std::chrono::milliseconds pollInterval)
    : file_(std::move(file)), pollInterval_(pollInterval), root_(makeDefaultSettings()) {
    readIfChanged(true);
    watcher_ = std::thread([this] { watch(); });
}

SettingsStore::~SettingsStore() {
    {
        std::lock_guard lock(stopMutex_);
        stopping_ = true;
    }
    stopSignal_.notify_all();
    watcher_.join();
}

bool SettingsStore::reload() {
    return readIfChanged(true);
}

std::string SettingsStore::lastError() const {
    std::lock_guard lock(readMutex_);
    return lastError_;
}

void SettingsStore::watch() {
    std::unique_lock lock(stopMutex_);
    while (!stopSignal_.wait_for(lock, pollInterval_, [this] { return stopping_; })) {
        lock.unlock();
        try {
            readIfChanged(false);
        } catch (...) {
            // A listener that throws must not end the watching; the store keeps its values.
        }
        lock.lock();
    }
}

bool SettingsStore::readIfChanged(bool force) {
    std::vector<std::pair<std::shared_ptr<Settings>, SettingsValueChangeEvent>> events;
    bool accepted = true;
    {
        std::lock_guard lock(readMutex_);
        FileRead read = readFile(file_);
        if (!read.error.empty()) {
            accepted = false;
            if (read.error != lastError_) {
                lastError_ = read.error;
                foundation::log::diagnostic_logger log("settings::core::SettingsStore");
                if (log.is_enabled(foundation::log::kSeverityValue))
                    log.record(foundation::log::kSeverityValue) << " rejected=" << lastError_;
            }
        } else if (force || read.content != lastContent_ || !lastError_.empty()) {
            // A rejected file is looked at on every poll so that a fix is seen even if it restores the
            // content that was last accepted.
            lastContent_ = read.content;
            SettingsFileContents contents;
            if (read.content)
                contents = parseSettingsFile(*read.content, file_.string(), defaultSettingValues());
            if (!contents.error.empty()) {
                accepted = false;
                if (contents.error != lastError_) {
                    lastError_ = contents.error;
                    foundation::log::diagnostic_logger log("settings::core::SettingsStore");
                    if (log.is_enabled(foundation::log::kSeverityValue))
                        log.record(foundation::log::kSeverityValue) << " rejected=" << lastError_;
                }
            } else {
                lastError_.clear();
                // One update of the whole tree: a reader holding the reading lock sees none of it or all.
                const auto updating = root_->updatingLock();
                for (const auto& [fullName, defaults] : defaultSettingValues()) {
                    LeafValues values = defaults;
                    if (const auto it = contents.overrides.find(fullName); it != contents.overrides.end())
                        for (const auto& [leaf, value] : it->second)
                            values[leaf] = value;
                    auto node = nodeOf(root_, fullName);
                    auto changed = node->assign(values);
                    if (!changed.empty()) events.push_back({node, {fullName, std::move(changed)}});
                }
            }
        }
    }
    // Published outside the locks so that a listener may read the store or call reload().
    for (const auto& [node, event] : events)
        node->publish(event);
    return accepted;
}

}  // namespace settings::core
