#pragma once

#include <cstdint>
#include <string_view>

#include "fl/ustring.hpp"

namespace ostrel_fuzz {

// Takes values off the front of a fuzz input; an exhausted input yields zeros and empty texts, so that
// every byte string is a valid input.
class FuzzInput {
  public:
    explicit FuzzInput(std::string_view bytes) : rest_(bytes) {}

    std::uint8_t byte();
    // The text up to the next `separator` (or the end), the separator dropped.
    std::string_view textUntil(char separator);
    std::string_view rest() const { return rest_; }

  private:
    std::string_view rest_;
};

// A fuzz text as UTF-16: read as UTF-8 when `raw` is false; otherwise two bytes per code unit (little
// endian), so that unpaired surrogates and every control character can occur.
fl::ustring toUtf16(std::string_view bytes, bool raw);

}  // namespace ostrel_fuzz
