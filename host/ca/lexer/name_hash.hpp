#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ca::lexer {

// Names are short; a plain FNV-1a over the code units hashes them faster than the standard byte hash.
struct NameHash {
    std::size_t operator()(std::u16string_view name) const noexcept {
        std::uint64_t h = 14695981039346656037ull;
        for (char16_t c : name)
            h = (h ^ c) * 1099511628211ull;
        return static_cast<std::size_t>(h);
    }
};

}  // namespace ca::lexer
