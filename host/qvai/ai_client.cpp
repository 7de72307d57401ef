#include "qvai/ai_client.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <exception>
#include <stdexcept>

#include "fl/i18n.hpp"
#include "foundation/log/diagnostic_logger.hpp"
#include "qvai/backend.hpp"
#include "qvai/prompt_template.hpp"
#include "qvai/reply_bounds.hpp"
#include "qvai/reply_normalisation.hpp"

namespace qvai {

namespace {

using foundation::log::kSeverityValue;
const char* const kChannel = "qvai::AiClient";

BackendRequest toBackendRequest(const core::gen::ChatCompletion& request, const ClientOptions& options) {
    BackendRequest out;
    out.model = request.model.value_or(options.Model);
    out.maxTokens = request.maxTokens.value_or(options.MaxTokens);
    out.temperature = request.temperature.value_or(options.Temperature);
    if (!std::isfinite(out.temperature) || out.temperature < 0) out.temperature = options.Temperature;
    if (const auto& selector = request.promptSelector) {
        const auto promptTemplate = findPromptTemplate(selector->promptId, selector->promptVersion);
        if (!promptTemplate)
            throw std::runtime_error("unknown prompt template \"" + selector->promptId + "\" version \"" +
                                     selector->promptVersion + "\"");
        out.input = parseTemplateInput(fl::i18n::to_string(selector->input.value_or(fl::ustring())));
        if (!out.input)
            throw std::runtime_error("the prompt input is not a JSON object with \"ostrel_code\"");
        const auto rendered = renderPrompt(*promptTemplate, *out.input);
        out.messages = {{"system", rendered.system}, {"user", rendered.user}};
    } else {
        for (const auto& message : request.messages)
            out.messages.push_back({message.role, fl::i18n::to_string(message.content)});
        if (out.messages.empty())
            throw std::runtime_error("the request has neither a prompt selector nor messages");
    }
    return out;
}

void logFailure(std::uint64_t sequence, const char* what) {
    const foundation::log::diagnostic_logger logger(kChannel);
    if (logger.is_enabled(kSeverityValue))
        logger.record(kSeverityValue) << "request " << sequence << " failed: " << what;
}

// A callback that throws (say, on a promise already satisfied) must not take a worker down.
void call(const ChatCompletionCallback& callback, bool success, core::gen::ChatCompletionMessage message) {
    try {
        if (callback) callback(success, std::move(message));
    } catch (...) {
    }
}

}  // namespace

AiClient::AiClient(const ClientOptions& options) : AiClient(options, makeBackend(options)) {}

AiClient::AiClient(const ClientOptions& options, std::unique_ptr<Backend> backend)
    : options_(options), backend_(std::move(backend)) {
    if (!backend_) throw std::invalid_argument("the AI client needs a backend");
    const std::size_t workers = options_.MaxInFlight > 0 ? options_.MaxInFlight : 1;
    workers_.reserve(workers);
    for (std::size_t i = 0; i < workers; ++i)
        workers_.emplace_back([this] { work(); });
}

AiClient::~AiClient() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
        for (auto& [sequence, cancelled] : underWay_)
            *cancelled = true;
    }
    wake_.notify_all();
    for (auto& worker : workers_)
        worker.join();
}

RequestContext AiClient::requestContext() {
    return {++nextContext_};
}

void AiClient::sendChatCompletion(core::gen::ChatCompletion request, ChatCompletionCallback callback,
                                  RequestContext context) {
    {
        std::lock_guard lock(mutex_);
        if (!stopping_ && queue_.size() < options_.MaxQueued) {
            queue_.push_back({std::move(request), std::move(callback), context,
                              std::make_shared<std::atomic<bool>>(false)});
            wake_.notify_one();
            return;
        }
    }
    logFailure(context.sequence, "too many requests waiting");
    call(callback, false, {});
}

bool AiClient::cancel(RequestContext context) {
    std::unique_lock lock(mutex_);
    if (const auto [first, last] = underWay_.equal_range(context.sequence); first != last) {
        for (auto it = first; it != last; ++it)
            *it->second = true;
        return true;
    }
    const auto waiting = std::find_if(queue_.begin(), queue_.end(), [&](const Job& job) {
        return job.context.sequence == context.sequence;
    });
    if (waiting == queue_.end()) return false;
    Job job = std::move(*waiting);
    queue_.erase(waiting);
    lock.unlock();
    logFailure(context.sequence, "cancelled");
    call(job.callback, false, {});
    return true;
}

void AiClient::work() {
    for (;;) {
        Job job;
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] { return stopping_ || !queue_.empty(); });
            if (queue_.empty()) return;
            job = std::move(queue_.front());
            queue_.pop_front();
            underWay_.emplace(job.context.sequence, job.cancelled);
        }
        answer(job);
    }
}

void AiClient::answer(Job& job) {
    core::gen::ChatCompletionMessage message;
    bool success = false;
    try {
        if (stopping_) throw std::runtime_error("the client is shutting down");
        const std::string text =
            normaliseReply(backend_->complete(toBackendRequest(job.request, options_), *job.cancelled));
        if (text.empty()) throw std::runtime_error("the backend gave an empty reply");
        message.id = "ostrel-" + std::to_string(job.context.sequence);
        message.model = options_.Backend;
        message.created = std::chrono::duration_cast<std::chrono::seconds>(
                              std::chrono::system_clock::now().time_since_epoch())
                              .count();
        // A reply no model asked for that many tokens could write costs the checks far more than any
        // real one: refused like any other failure.
        const auto bounds = replyBoundsFor(job.request.maxTokens.value_or(options_.MaxTokens));
        if (const auto over = replyOverBounds(text, bounds); !over.empty()) throw std::runtime_error(over);
        message.choices.push_back({fl::i18n::to_ustring(text), std::nullopt, "stop"});
        success = true;
    } catch (const std::exception& e) {
        logFailure(job.context.sequence, e.what());
        message = {};
    } catch (...) {
        logFailure(job.context.sequence, "unknown error");
        message = {};
    }
    {
        const std::lock_guard lock(mutex_);
        const auto [first, last] = underWay_.equal_range(job.context.sequence);
        const auto mine =
            std::find_if(first, last, [&](const auto& entry) { return entry.second == job.cancelled; });
        if (mine != last) underWay_.erase(mine);
    }
    // A reply that came in as the request was cancelled is not used: the caller has moved on.
    if (*job.cancelled) {
        success = false;
        message = {};
    }
    call(job.callback, success, std::move(message));
}

}  // namespace qvai
