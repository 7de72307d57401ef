#include "quorvanta/name_syntax.hpp"

#include <type_traits>

namespace Quorvanta {
namespace {

constexpr bool isAsciiLetter(char32_t c) {
    return (c >= U'a' && c <= U'z') || (c >= U'A' && c <= U'Z');
}
constexpr bool isAsciiDigit(char32_t c) {
    return c >= U'0' && c <= U'9';
}

template <typename Char>
bool isIdentifier(std::basic_string_view<Char> name) {
    if (name.empty() || !isAsciiLetter(static_cast<char32_t>(name.front()))) return false;
    for (const Char c : name) {
        // Widen through the unsigned type so that a UTF-8 lead byte never reads as a small value.
        const auto unit = static_cast<char32_t>(static_cast<std::make_unsigned_t<Char>>(c));
        if (!isAsciiLetter(unit) && !isAsciiDigit(unit) && unit != U'_') return false;
    }
    return true;
}

}  // namespace

bool isFunctionName(std::u16string_view name) {
    return isIdentifier(name);
}
bool isFunctionName(std::string_view name) {
    return isIdentifier(name);
}

}  // namespace Quorvanta
