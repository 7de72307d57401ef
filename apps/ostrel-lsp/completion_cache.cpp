#include "completion_cache.hpp"

#include <string_view>

namespace ostrel_lsp {

std::optional<fit::Edit> continueShown(const ShownCompletion& shown, const fl::ustring& text,
                                       std::size_t cursor) {
    const fl::ustring& was = *shown.text;
    const fit::Edit& edit = shown.edit;
    if (edit.text.empty() || edit.start > shown.cursor || edit.end < shown.cursor || edit.end > was.size() ||
        shown.cursor > was.size() || cursor > text.size()) {
        return std::nullopt;
    }
    if (cursor == shown.cursor && text == was) return edit;

    // The text after the cursor must be as it was, and the text before it must run along the file as the
    // edit makes it: the file up to the edit, then the start of the edit's text.
    const std::u16string_view now(text);
    const std::u16string_view then(was);
    if (now.substr(cursor) != then.substr(shown.cursor)) return std::nullopt;
    if (cursor <= edit.start || cursor - edit.start >= edit.text.size()) return std::nullopt;
    if (now.substr(0, edit.start) != then.substr(0, edit.start)) return std::nullopt;
    const std::size_t typed = cursor - edit.start;
    if (now.substr(edit.start, typed) != std::u16string_view(edit.text).substr(0, typed)) return std::nullopt;
    return fit::Edit{cursor, cursor + (edit.end - shown.cursor), edit.text.substr(typed)};
}

void CompletionCache::remember(const std::string& uri, ShownCompletion shown) {
    const std::lock_guard lock(mutex_);
    if (shown_.size() >= capacity_ && !shown_.contains(uri)) shown_.erase(shown_.begin());
    shown_[uri] = std::move(shown);
}

std::optional<fit::Edit> CompletionCache::lookUp(const std::string& uri, const fl::ustring& text,
                                                 std::size_t cursor) const {
    std::optional<ShownCompletion> shown;
    {
        const std::lock_guard lock(mutex_);
        const auto it = shown_.find(uri);
        if (it == shown_.end()) return std::nullopt;
        shown = it->second;  // compared outside the lock: the texts are immutable snapshots
    }
    return continueShown(*shown, text, cursor);
}

void CompletionCache::clear() {
    const std::lock_guard lock(mutex_);
    shown_.clear();
}

void CompletionCache::forget(const std::string& uri) {
    const std::lock_guard lock(mutex_);
    shown_.erase(uri);
}

}  // namespace ostrel_lsp
