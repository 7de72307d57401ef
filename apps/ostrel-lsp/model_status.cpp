#include "model_status.hpp"

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/smart_ptr/make_shared_object.hpp>

#include "foundation/log/diagnostic_logger.hpp"

namespace ostrel_lsp {
namespace {

constexpr const char* kClientChannel = "qvai::AiClient";

// Keeps the AI client's latest failure record; the client logs it just before it calls back.
class FailureBackend : public boost::log::sinks::basic_sink_backend<boost::log::sinks::synchronized_feeding> {
  public:
    void consume(const boost::log::record_view& rec) {
        const auto channel = boost::log::extract<std::string>("Channel", rec);
        const auto severity = boost::log::extract<foundation::log::severity_mask>("Severity", rec);
        const auto message = boost::log::extract<std::string>("Message", rec);
        if (!channel || !severity || !message || *channel != kClientChannel ||
            *severity != foundation::log::kSeverityValue)
            return;
        const std::lock_guard lock(mutex);
        // "request 7 failed: HTTP status 500 from ...": the request's number means nothing to the user.
        const std::string prefix = "failed: ";
        const std::size_t at = message->find(prefix);
        last = at == std::string::npos ? *message : message->substr(at + prefix.size());
    }
    std::mutex mutex;
    std::string last;
};

}  // namespace

struct ModelStatus::Sink {
    boost::shared_ptr<FailureBackend> backend = boost::make_shared<FailureBackend>();
    boost::shared_ptr<boost::log::sinks::synchronous_sink<FailureBackend>> sink =
        boost::make_shared<boost::log::sinks::synchronous_sink<FailureBackend>>(backend);
    foundation::log::severity_mask mask = foundation::log::channel_mask(kClientChannel);
};

ModelStatus::ModelStatus() : sink_(std::make_shared<Sink>()) {
    foundation::log::set_channel_mask(kClientChannel, sink_->mask | foundation::log::kSeverityValue);
    boost::log::core::get()->add_sink(sink_->sink);
}

ModelStatus::~ModelStatus() {
    boost::log::core::get()->remove_sink(sink_->sink);
    foundation::log::set_channel_mask(kClientChannel, sink_->mask);
}

std::optional<ModelStatus::Notice> ModelStatus::replied(bool success, const std::string& model) {
    std::string reason;
    if (!success) {
        const std::lock_guard lock(sink_->backend->mutex);
        reason = sink_->backend->last;
    }
    const std::lock_guard lock(mutex_);
    if (success == !failing_) return std::nullopt;
    failing_ = !success;
    if (success) return Notice{false, model + " answers again"};
    // Short: an editor cuts a long message down to its first and last words.
    return Notice{true, model + " gave no reply: " + (reason.empty() ? "no reason given" : reason)};
}

void ModelStatus::reset() {
    const std::lock_guard lock(mutex_);
    failing_ = false;
}

}  // namespace ostrel_lsp
