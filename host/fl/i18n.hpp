#pragma once

#include <string>
#include <string_view>

#include "fl/ustring.hpp"

namespace fl::i18n {

// UTF-8 to UTF-16. Malformed UTF-8 sequences become U+FFFD; never throws on content.
ustring to_ustring(std::string_view utf8);

// UTF-16 to UTF-8. An unpaired surrogate becomes U+FFFD, so any text converts.
std::string to_string(std::u16string_view utf16);

// Appends the UTF-8 form of `utf16` to `out` (same rules as to_string).
void append_utf8(std::string& out, std::u16string_view utf16);

// Removes every code unit of `chars` from both ends of `text`, in place.
ustring& trim(ustring& text, std::u16string_view chars);

}  // namespace fl::i18n
