#include <cmath>
#include <stdexcept>

#include "qvai/backend.hpp"
#include "qvai/infill_backend.hpp"
#include "qvai/local_backend.hpp"
#include "qvai/openai_backend.hpp"
#include "qvai/reply_file_backend.hpp"

namespace qvai {

std::unique_ptr<Backend> makeBackend(const ClientOptions& options) {
    if (options.TimeoutMs <= 0) throw std::invalid_argument("TimeoutMs must be positive");
    if (options.MaxTokens <= 0) throw std::invalid_argument("MaxTokens must be positive");
    // JSON has no NaN or infinity: a server would be sent "temperature": null.
    if (!std::isfinite(options.Temperature) || options.Temperature < 0)
        throw std::invalid_argument("Temperature must be a finite number, zero or more");
    if (options.Backend == "local") return std::make_unique<LocalBackend>(options);
    if (options.Backend == "openai") return std::make_unique<OpenAiBackend>(options);
    if (options.Backend == "infill") return std::make_unique<InfillBackend>(options);
    if (options.Backend == "reply-file") return std::make_unique<ReplyFileBackend>(options);
    throw std::invalid_argument("unknown AI backend \"" + options.Backend +
                                "\" (expected local, openai, infill or reply-file)");
}

std::string ostrelFence(const std::string& code) {
    return "```ostrel\n" + code + "\n```";
}

}  // namespace qvai
