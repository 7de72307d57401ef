#include "fuzz_input.hpp"

#include "fl/i18n.hpp"

namespace ostrel_fuzz {

std::uint8_t FuzzInput::byte() {
    if (rest_.empty()) return 0;
    const auto value = static_cast<std::uint8_t>(rest_.front());
    rest_.remove_prefix(1);
    return value;
}

std::string_view FuzzInput::textUntil(char separator) {
    const auto at = rest_.find(separator);
    const std::string_view text = rest_.substr(0, at);
    rest_.remove_prefix(at == std::string_view::npos ? rest_.size() : at + 1);
    return text;
}

fl::ustring toUtf16(std::string_view bytes, bool raw) {
    if (!raw) return fl::i18n::to_ustring(bytes);
    fl::ustring text;
    text.reserve(bytes.size() / 2);
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        text.push_back(static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                             (static_cast<unsigned char>(bytes[i + 1]) << 8)));
    }
    return text;
}

}  // namespace ostrel_fuzz
