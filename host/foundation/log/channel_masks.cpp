// Per-channel severity masks: the one piece of process-wide logging state, set by the hosting program.
#include <mutex>
#include <shared_mutex>
#include <string>
#include <unordered_map>

#include "foundation/log/diagnostic_logger.hpp"

namespace foundation::log {
namespace {

struct MaskTable {
    std::shared_mutex mutex;
    std::unordered_map<std::string, severity_mask> masks;
    severity_mask fallback = 0;
};

MaskTable& table() {
    static MaskTable instance;
    return instance;
}

}  // namespace

void set_channel_mask(std::string_view channel, severity_mask mask) {
    auto& t = table();
    std::unique_lock lock(t.mutex);
    t.masks.insert_or_assign(std::string(channel), mask);
}

void set_default_mask(severity_mask mask) {
    auto& t = table();
    std::unique_lock lock(t.mutex);
    t.fallback = mask;
}

severity_mask channel_mask(std::string_view channel) {
    auto& t = table();
    std::shared_lock lock(t.mutex);
    if (t.masks.empty()) return t.fallback;
    const auto it = t.masks.find(std::string(channel));
    return it == t.masks.end() ? t.fallback : it->second;
}

}  // namespace foundation::log
