#include "prompt_key.hpp"

#include <algorithm>

#include "fl/i18n.hpp"

namespace ostrel_eval {

namespace {
// The library's window on each side of the cursor, in code units.
constexpr std::size_t kWindow = 4000;
}  // namespace

PromptKey promptKey(const fl::ustring& code, std::size_t cursor) {
    cursor = std::min(cursor, code.size());
    const std::size_t from = cursor > kWindow ? cursor - kWindow : 0;
    return {fl::i18n::to_string(code.substr(from, cursor - from)),
            fl::i18n::to_string(code.substr(cursor, kWindow))};
}

}  // namespace ostrel_eval
