#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <set>
#include <string>
#include <thread>

#include "fl/ustring.hpp"

namespace ostrel_lsp {

// Checks documents on a thread of its own once the user pauses: each change moves the document's check
// `delay` into the future, so a burst of typing costs one analysis.
class DiagnosticsPublisher {
  public:
    // `publish` gets the textDocument/publishDiagnostics parameters.
    using Publish = std::function<void(const nlohmann::json& params)>;

    DiagnosticsPublisher(Publish publish, std::chrono::milliseconds delay);
    ~DiagnosticsPublisher();
    DiagnosticsPublisher(const DiagnosticsPublisher&) = delete;
    DiagnosticsPublisher& operator=(const DiagnosticsPublisher&) = delete;

    void changed(const std::string& uri, std::int64_t version, std::shared_ptr<const fl::ustring> text);
    // Drops a pending check and clears the document's diagnostics.
    void closed(const std::string& uri);
    void setDelay(std::chrono::milliseconds delay);

  private:
    struct Pending {
        std::int64_t version;
        std::shared_ptr<const fl::ustring> text;
        std::chrono::steady_clock::time_point due;
    };
    void work();

    Publish publish_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::chrono::milliseconds delay_;
    std::map<std::string, Pending> pending_;
    std::set<std::string> open_;
    std::mutex publishMutex_;  // taken before mutex_, never after
    bool stopping_ = false;
    std::thread thread_;
};

}  // namespace ostrel_lsp
