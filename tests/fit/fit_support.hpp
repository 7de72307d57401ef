#pragma once

#include <cstddef>
#include <string>

#include "fit/completion_edit.hpp"

namespace fit_testing {

constexpr const char* kCursor = "<|>";

struct Marked {
    fl::ustring file;
    std::size_t cursor = 0;
};

// The file with the cursor marker taken out, and the marker's offset.
Marked unmark(const std::string& withCursor);

// The file after the edit, as UTF-8; the file unchanged when there is no edit.
std::string applied(const fl::ustring& file, const fit::Fitted& fitted);

// The library's six texts for a reply, through the real AI client with the reply-file backend (one per
// test program: the library keeps the first client it finds).
fit::StageTexts completeWithReply(const fl::ustring& file, std::size_t cursor, const std::string& reply);

}  // namespace fit_testing
