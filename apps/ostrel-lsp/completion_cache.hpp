#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "fit/completion_edit.hpp"
#include "fl/ustring.hpp"

namespace ostrel_lsp {

// A completion that was shown: the text it was made for, the cursor, and the edit.
struct ShownCompletion {
    std::shared_ptr<const fl::ustring> text;
    std::size_t cursor = 0;
    fit::Edit edit;
};

// The edit that finishes `shown` in `text` with the cursor at `cursor`, when the user has typed (at the
// cursor, nothing else changed) the first characters of what it inserts; nothing otherwise. Typing
// everything it inserts leaves nothing to offer.
std::optional<fit::Edit> continueShown(const ShownCompletion& shown, const fl::ustring& text,
                                       std::size_t cursor);

// The last completion shown per document, so that typing into it does not ask the model again. Bounded:
// it keeps one completion for each of at most `capacity` documents.
class CompletionCache {
  public:
    explicit CompletionCache(std::size_t capacity = 64) : capacity_(capacity) {}

    void remember(const std::string& uri, ShownCompletion shown);
    std::optional<fit::Edit> lookUp(const std::string& uri, const fl::ustring& text,
                                    std::size_t cursor) const;
    void forget(const std::string& uri);
    void clear();

  private:
    std::size_t capacity_;
    mutable std::mutex mutex_;
    std::map<std::string, ShownCompletion> shown_;
};

}  // namespace ostrel_lsp
