#include "run_observer.hpp"

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/smart_ptr/make_shared_object.hpp>
#include <map>
#include <mutex>

#include "foundation/log/diagnostic_logger.hpp"

namespace ostrel_complete {
namespace {

using Clock = std::chrono::steady_clock;
constexpr const char* kPipelineChannel = "mtcc::AutoCompletion::GetInfo";
constexpr const char* kClientChannel = "qvai::AiClient";

// Short names for the intervals that each stage message opens.
const std::map<std::string, std::string>& stageNames() {
    static const std::map<std::string, std::string> names{
        {"performing initial checks", "checks"},
        {"parsing input into prefix and suffix", "split"},
        {"performing prefix and suffix limiting", "limiting"},
        {"categorizing tokens", "tokens"},
        {"generating prompt from template", "prompt"},
        {"requesting generation from model", "model"},
        {"extracting code from generation", "extraction"},
        {"deduplicating generated code", "deduplication"},
        // Pruning is announced after its work, so this interval holds validation and pruning.
        {"validating generated code", "validation_and_pruning"},
        {"pruning generated code", "after_pruning"},
        {"formatting generated code", "formatting"},
        {"returning finalized generated code", "return"},
    };
    return names;
}

class Backend : public boost::log::sinks::basic_sink_backend<boost::log::sinks::synchronized_feeding> {
public:
    void consume(const boost::log::record_view& rec) {
        const auto channel = boost::log::extract<std::string>("Channel", rec);
        const auto severity = boost::log::extract<foundation::log::severity_mask>("Severity", rec);
        const auto message = boost::log::extract<std::string>("Message", rec);
        if (!channel || !severity || !message) return;
        std::lock_guard lock(mutex);
        if (*channel == kPipelineChannel && *severity == foundation::log::kSeverityStage) {
            stages.emplace_back(*message, Clock::now());
        } else if (*channel == kClientChannel && *severity == foundation::log::kSeverityValue) {
            failures.push_back(*message);
        }
    }
    std::mutex mutex;
    std::vector<std::pair<std::string, Clock::time_point>> stages;
    std::vector<std::string> failures;
    Clock::time_point end{};
};

}  // namespace

struct RunObserver::Impl {
    boost::shared_ptr<Backend> backend = boost::make_shared<Backend>();
    boost::shared_ptr<boost::log::sinks::synchronous_sink<Backend>> sink =
        boost::make_shared<boost::log::sinks::synchronous_sink<Backend>>(backend);
    foundation::log::severity_mask pipelineMask = 0;
    foundation::log::severity_mask clientMask = 0;
};

RunObserver::RunObserver() : impl_(std::make_unique<Impl>()) {
    impl_->pipelineMask = foundation::log::channel_mask(kPipelineChannel);
    impl_->clientMask = foundation::log::channel_mask(kClientChannel);
    foundation::log::set_channel_mask(kPipelineChannel, impl_->pipelineMask | foundation::log::kSeverityStage);
    foundation::log::set_channel_mask(kClientChannel, impl_->clientMask | foundation::log::kSeverityValue);
    boost::log::core::get()->add_sink(impl_->sink);
}

RunObserver::~RunObserver() {
    boost::log::core::get()->remove_sink(impl_->sink);
    foundation::log::set_channel_mask(kPipelineChannel, impl_->pipelineMask);
    foundation::log::set_channel_mask(kClientChannel, impl_->clientMask);
}

void RunObserver::finished() {
    std::lock_guard lock(impl_->backend->mutex);
    impl_->backend->end = Clock::now();
}

std::vector<StageTime> RunObserver::stageTimes() const {
    std::lock_guard lock(impl_->backend->mutex);
    const auto& stages = impl_->backend->stages;
    std::vector<StageTime> times;
    for (std::size_t i = 0; i < stages.size(); ++i) {
        const auto next = i + 1 < stages.size() ? stages[i + 1].second : impl_->backend->end;
        const auto name = stageNames().find(stages[i].first);
        times.push_back({name == stageNames().end() ? stages[i].first : name->second,
                         std::chrono::duration<double, std::milli>(next - stages[i].second).count()});
    }
    return times;
}

std::vector<std::string> RunObserver::modelFailures() const {
    std::lock_guard lock(impl_->backend->mutex);
    return impl_->backend->failures;
}

}  // namespace ostrel_complete
