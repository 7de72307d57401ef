#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace testing_support {

// `piece` written `times` times over: the long and deep texts of the limit tests.
template <typename Char>
std::basic_string<Char> repeat(std::basic_string_view<Char> piece, std::size_t times) {
    std::basic_string<Char> out;
    out.reserve(piece.size() * times);
    while (times-- > 0)
        out += piece;
    return out;
}
inline std::string repeat(const char* piece, std::size_t times) {
    return repeat(std::string_view(piece), times);
}
inline std::u16string repeat(const char16_t* piece, std::size_t times) {
    return repeat(std::u16string_view(piece), times);
}

}  // namespace testing_support
