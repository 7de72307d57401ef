#include "support/log_capture.hpp"

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/smart_ptr/make_shared_object.hpp>
#include <mutex>

#include "foundation/log/diagnostic_logger.hpp"

namespace testing_support {
namespace {

class MemoryBackend : public boost::log::sinks::basic_sink_backend<boost::log::sinks::synchronized_feeding> {
public:
    void consume(const boost::log::record_view& rec) {
        CapturedRecord captured;
        if (auto channel = boost::log::extract<std::string>("Channel", rec)) captured.channel = *channel;
        if (auto severity = boost::log::extract<std::uint32_t>("Severity", rec)) captured.severity = *severity;
        if (auto message = boost::log::extract<std::string>("Message", rec)) captured.text = *message;
        std::lock_guard lock(mutex);
        records.push_back(std::move(captured));
    }
    mutable std::mutex mutex;
    std::vector<CapturedRecord> records;
};

using MemorySink = boost::log::sinks::synchronous_sink<MemoryBackend>;

}  // namespace

struct LogCapture::Impl {
    boost::shared_ptr<MemoryBackend> backend = boost::make_shared<MemoryBackend>();
    boost::shared_ptr<MemorySink> sink = boost::make_shared<MemorySink>(backend);
};

LogCapture::LogCapture(std::uint32_t mask) : impl_(std::make_unique<Impl>()) {
    boost::log::core::get()->add_sink(impl_->sink);
    foundation::log::set_default_mask(mask);
}

LogCapture::~LogCapture() {
    foundation::log::set_default_mask(0);
    boost::log::core::get()->remove_sink(impl_->sink);
}

std::vector<CapturedRecord> LogCapture::records() const {
    std::lock_guard lock(impl_->backend->mutex);
    return impl_->backend->records;
}

std::vector<std::string> LogCapture::texts(const std::string& channel) const {
    std::vector<std::string> out;
    for (const auto& r : records()) {
        if (r.channel == channel) out.push_back(r.text);
    }
    return out;
}

std::string LogCapture::joined() const {
    std::string out;
    for (const auto& r : records()) out += r.text + "\n";
    return out;
}

}  // namespace testing_support
