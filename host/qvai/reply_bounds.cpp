#include "qvai/reply_bounds.hpp"

#include <algorithm>

namespace qvai {

namespace {

constexpr std::size_t kCodeUnitsPerToken = 16;
constexpr std::size_t kLinesPerToken = 2;
constexpr ReplyBounds kLeast{4096, 256};
constexpr ReplyBounds kMost{65536, 4096};

}  // namespace

ReplyBounds replyBoundsFor(int maxTokens) {
    const std::size_t tokens = maxTokens > 0 ? static_cast<std::size_t>(maxTokens) : 0;
    // Clamped before multiplying, so that no token count overflows.
    const std::size_t capped = std::min<std::size_t>(tokens, kMost.codeUnits);
    return {std::clamp(capped * kCodeUnitsPerToken, kLeast.codeUnits, kMost.codeUnits),
            std::clamp(capped * kLinesPerToken, kLeast.lines, kMost.lines)};
}

std::string replyOverBounds(std::string_view utf8, const ReplyBounds& bounds) {
    std::size_t codeUnits = 0;
    std::size_t lines = 1;
    for (const char c : utf8) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xC0) != 0x80) ++codeUnits;  // a sequence's first byte: one code unit
        if (byte >= 0xF0) ++codeUnits;           // four-byte sequences become surrogate pairs
        if (c == '\n') ++lines;
        if (codeUnits > bounds.codeUnits)
            return "the reply is longer than " + std::to_string(bounds.codeUnits) + " code units";
        if (lines > bounds.lines) return "the reply has more than " + std::to_string(bounds.lines) + " lines";
    }
    return {};
}

}  // namespace qvai
