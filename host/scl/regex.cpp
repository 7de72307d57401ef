#include "scl/regex.hpp"

#define PCRE2_CODE_UNIT_WIDTH 16
#include <pcre2.h>

#include <list>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <unordered_map>

#include "fl/i18n.hpp"

namespace scl::regex {
namespace {

// Bounds on the work of one search; a hostile text hits them instead of running for minutes.
constexpr uint32_t kMatchLimit = 20'000'000;
constexpr uint32_t kDepthLimit = 100'000;
constexpr std::size_t kCacheCapacity = 64;

struct CodeDeleter {
    void operator()(pcre2_code* code) const { pcre2_code_free(code); }
};
struct MatchDataDeleter {
    void operator()(pcre2_match_data* data) const { pcre2_match_data_free(data); }
};
struct MatchContextDeleter {
    void operator()(pcre2_match_context* context) const { pcre2_match_context_free(context); }
};
struct JitStackDeleter {
    void operator()(pcre2_jit_stack* stack) const { pcre2_jit_stack_free(stack); }
};

using CodePtr = std::shared_ptr<pcre2_code>;

std::string errorText(int code) {
    PCRE2_UCHAR16 buffer[256];
    const int length = pcre2_get_error_message(code, buffer, sizeof buffer / sizeof buffer[0]);
    if (length < 0) return "error " + std::to_string(code);
    return fl::i18n::to_string(std::u16string_view(reinterpret_cast<const char16_t*>(buffer), length));
}

CodePtr compile(const fl::ustring& pattern, constants::syntax_option_type options) {
    uint32_t flags = PCRE2_DOTALL;
    if (options & constants::icase) flags |= PCRE2_CASELESS;
    if (options & constants::multiline) flags |= PCRE2_MULTILINE;
    int error = 0;
    PCRE2_SIZE offset = 0;
    pcre2_code* code = pcre2_compile(reinterpret_cast<PCRE2_SPTR16>(pattern.data()), pattern.size(), flags,
                                     &error, &offset, nullptr);
    if (code == nullptr) {
        throw std::runtime_error("regular expression does not compile at offset " + std::to_string(offset) +
                                 ": " + errorText(error));
    }
    // JIT is an optimisation only; the interpreter takes over where it is unavailable.
    pcre2_jit_compile(code, PCRE2_JIT_COMPLETE);
    return CodePtr(code, CodeDeleter{});
}

// Compiled patterns, most recently used first; small, because callers use a handful of fixed patterns.
class PatternCache {
  public:
    CodePtr get(const fl::ustring& pattern, constants::syntax_option_type options) {
        fl::ustring key = pattern;
        key.push_back(static_cast<char16_t>(options));
        {
            std::lock_guard lock(mutex_);
            if (auto it = index_.find(key); it != index_.end()) {
                order_.splice(order_.begin(), order_, it->second);
                return it->second->second;
            }
        }
        CodePtr code = compile(pattern, options);
        std::lock_guard lock(mutex_);
        if (auto it = index_.find(key); it != index_.end()) return it->second->second;
        order_.emplace_front(key, code);
        index_.emplace(std::move(key), order_.begin());
        if (order_.size() > kCacheCapacity) {
            index_.erase(order_.back().first);
            order_.pop_back();
        }
        return code;
    }

  private:
    std::mutex mutex_;
    std::list<std::pair<fl::ustring, CodePtr>> order_;
    std::unordered_map<fl::ustring, std::list<std::pair<fl::ustring, CodePtr>>::iterator> index_;
};

PatternCache& cache() {
    static PatternCache instance;
    return instance;
}

[[noreturn]] void throwMatchError(int rc) {
    if (rc == PCRE2_ERROR_MATCHLIMIT || rc == PCRE2_ERROR_DEPTHLIMIT || rc == PCRE2_ERROR_HEAPLIMIT ||
        rc == PCRE2_ERROR_JIT_STACKLIMIT) {
        throw std::runtime_error("regular expression search gave up: " + errorText(rc));
    }
    throw std::runtime_error("regular expression search failed: " + errorText(rc));
}

}  // namespace

void regex_search(const fl::ustring& text, const fl::ustring& pattern, match_results& results,
                  constants::syntax_option_type options) {
    const CodePtr code = cache().get(pattern, options);
    std::unique_ptr<pcre2_match_data, MatchDataDeleter> data(
        pcre2_match_data_create_from_pattern(code.get(), nullptr));
    std::unique_ptr<pcre2_match_context, MatchContextDeleter> context(pcre2_match_context_create(nullptr));
    // One JIT stack per thread: creating it maps memory, which would cost more than a typical search.
    thread_local const std::unique_ptr<pcre2_jit_stack, JitStackDeleter> jitStack(
        pcre2_jit_stack_create(32 * 1024, 8 << 20, nullptr));
    if (!data || !context) throw std::bad_alloc();
    pcre2_set_match_limit(context.get(), kMatchLimit);
    pcre2_set_depth_limit(context.get(), kDepthLimit);
    if (jitStack) pcre2_jit_stack_assign(context.get(), nullptr, jitStack.get());

    uint32_t groupCount = 0;
    pcre2_pattern_info(code.get(), PCRE2_INFO_CAPTURECOUNT, &groupCount);
    const auto subject = reinterpret_cast<PCRE2_SPTR16>(text.data());
    const PCRE2_SIZE length = text.size();

    PCRE2_SIZE start = 0;
    while (start <= length) {
        const int rc = pcre2_match(code.get(), subject, length, start, 0, data.get(), context.get());
        if (rc == PCRE2_ERROR_NOMATCH) break;
        if (rc < 0) throwMatchError(rc);
        const PCRE2_SIZE* ovector = pcre2_get_ovector_pointer(data.get());
        const auto textAt = [&](uint32_t group) -> fl::ustring {
            const PCRE2_SIZE from = ovector[2 * group];
            const PCRE2_SIZE to = ovector[2 * group + 1];
            if (from == PCRE2_UNSET || to < from) return {};
            return text.substr(from, to - from);
        };
        match found{textAt(0), {}};
        found.second.reserve(groupCount);
        for (uint32_t g = 1; g <= groupCount; ++g)
            found.second.push_back(textAt(g));
        results.push_back(std::move(found));
        // An empty match moves on by one code unit so that the search always advances.
        start = ovector[1] > ovector[0] ? ovector[1] : ovector[1] + 1;
    }
}

}  // namespace scl::regex
