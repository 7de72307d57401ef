#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace ca::lexer {

// The offset of the first line feed at or after `from`, or the text's size. Comments and line starts
// make this the scanner's most frequent search, so it tests four code units at a time.
inline std::size_t findLineFeed(std::u16string_view text, std::size_t from) {
    constexpr std::uint64_t kLanes = 0x0001000100010001ull;
    constexpr std::uint64_t kHighBits = 0x8000800080008000ull;
    const std::size_t n = text.size();
    std::size_t i = from;
    if constexpr (std::endian::native == std::endian::little) {
        for (; i + 4 <= n; i += 4) {
            std::uint64_t units;
            std::memcpy(&units, text.data() + i, sizeof units);
            const std::uint64_t x = units ^ (kLanes * u'\n');
            // A lane is zero where a line feed stands; the lowest such lane is found exactly.
            const std::uint64_t zeros = (x - kLanes) & ~x & kHighBits;
            if (zeros != 0) return i + static_cast<std::size_t>(std::countr_zero(zeros)) / 16;
        }
    }
    for (; i < n; ++i) {
        if (text[i] == u'\n') return i;
    }
    return n;
}

}  // namespace ca::lexer
