#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fl/ustring.hpp"
#include "text_positions.hpp"

namespace ostrel_lsp {

// One open document. The text is shared with the workers that complete or check it: an edit makes a
// new text, so a snapshot a worker holds never changes under it.
struct Document {
    std::int64_t version = 0;
    std::shared_ptr<const fl::ustring> text;
    std::vector<std::size_t> lineStarts;
};

// A change as the client sends it: a range and its new text, or (without a range) the whole text.
struct TextChange {
    std::optional<std::pair<Position, Position>> range;
    fl::ustring text;
};

// The documents the client has open, by URI. Used from the protocol thread only.
class DocumentStore {
  public:
    void open(const std::string& uri, std::int64_t version, fl::ustring text);
    void close(const std::string& uri);
    // Applies the changes in order. Returns false (and changes nothing) for a document that is not open.
    bool change(const std::string& uri, std::int64_t version, const std::vector<TextChange>& changes);
    const Document* find(const std::string& uri) const;
    std::size_t size() const { return documents_.size(); }

  private:
    std::map<std::string, Document> documents_;
};

// The text after one change, and its line index kept up to date without rescanning the whole text.
void applyChange(Document& document, const TextChange& change);

}  // namespace ostrel_lsp
