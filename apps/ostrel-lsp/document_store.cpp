#include "document_store.hpp"

#include <algorithm>

namespace ostrel_lsp {

void applyChange(Document& document, const TextChange& change) {
    const fl::ustring& old = *document.text;
    if (!change.range) {
        document.text = std::make_shared<const fl::ustring>(change.text);
        document.lineStarts = lineStartsOf(*document.text);
        return;
    }
    std::size_t start = offsetOf(old, document.lineStarts, change.range->first);
    std::size_t end = offsetOf(old, document.lineStarts, change.range->second);
    if (end < start) std::swap(start, end);

    auto text = std::make_shared<fl::ustring>();
    text->reserve(old.size() - (end - start) + change.text.size());
    text->append(old, 0, start).append(change.text).append(old, end);

    // Lines are re-counted only around the edit: a "\r" before it may now pair with a "\n" after it.
    const std::size_t from = start > 0 ? start - 1 : 0;
    const auto& starts = document.lineStarts;
    const auto firstAffected = std::upper_bound(starts.begin(), starts.end(), from);
    const auto firstKept = std::upper_bound(starts.begin(), starts.end(), end + 1);
    std::vector<std::size_t> lineStarts(starts.begin(), firstAffected);
    const std::ptrdiff_t shift =
        static_cast<std::ptrdiff_t>(change.text.size()) - static_cast<std::ptrdiff_t>(end - start);
    const std::size_t scanEnd = std::min(text->size(), start + change.text.size() + 1);
    for (std::size_t i = from; i < scanEnd; ++i) {
        const char16_t c = (*text)[i];
        if (c == u'\n' || (c == u'\r' && !(i + 1 < text->size() && (*text)[i + 1] == u'\n'))) {
            lineStarts.push_back(i + 1);
        }
    }
    for (auto it = firstKept; it != starts.end(); ++it) {
        const auto moved = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(*it) + shift);
        if (moved > scanEnd) lineStarts.push_back(moved);
    }
    document.text = std::move(text);
    document.lineStarts = std::move(lineStarts);
}

void DocumentStore::open(const std::string& uri, std::int64_t version, fl::ustring text) {
    Document document;
    document.version = version;
    document.text = std::make_shared<const fl::ustring>(std::move(text));
    document.lineStarts = lineStartsOf(*document.text);
    documents_[uri] = std::move(document);
}

void DocumentStore::close(const std::string& uri) {
    documents_.erase(uri);
}

bool DocumentStore::change(const std::string& uri, std::int64_t version,
                           const std::vector<TextChange>& changes) {
    const auto it = documents_.find(uri);
    if (it == documents_.end()) return false;
    for (const TextChange& change : changes)
        applyChange(it->second, change);
    it->second.version = version;
    return true;
}

const Document* DocumentStore::find(const std::string& uri) const {
    const auto it = documents_.find(uri);
    return it == documents_.end() ? nullptr : &it->second;
}

}  // namespace ostrel_lsp
