#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qvai {

// The largest reply the client passes on. A model asked for at most `maxTokens` tokens cannot
// honestly write more than a few code units and lines per token; a longer reply is a broken server or
// a replayed file gone wrong, and would cost the completion's checks far more time than any real reply
// (each line the pruning drops is one more analysis of the code).
struct ReplyBounds {
    std::size_t codeUnits;
    std::size_t lines;
};

// 16 UTF-16 code units and 2 lines per token, at least 4096 code units and 256 lines, never more than
// 65536 code units and 4096 lines.
ReplyBounds replyBoundsFor(int maxTokens);

// Empty when `utf8` keeps within `bounds`, else the reason it does not.
std::string replyOverBounds(std::string_view utf8, const ReplyBounds& bounds);

}  // namespace qvai
