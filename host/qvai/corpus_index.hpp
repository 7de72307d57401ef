#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "fl/ustring.hpp"

namespace qvai {

// The token index behind the "local" backend: every code token of a set of Ostrel files (blanks and
// comments dropped, runs of line ends counted once), searchable by the token that ends a match.
class CorpusIndex {
  public:
    struct File {
        std::string path;
        fl::ustring text;
    };

    explicit CorpusIndex(std::vector<File> files);

    // The code that follows the corpus place best matching the end of `prefix` (longest token match),
    // up to the end of the block it opens or a blank line. A place whose continuation is already what
    // `suffix` starts with is passed over. nullopt when no place matches.
    std::optional<fl::ustring> complete(const fl::ustring& prefix, const fl::ustring& suffix) const;

    // What complete() would offer, and the places it would fall back on, best first: up to
    // `maxOffers` distinct continuations with the number of tokens their place matched.
    struct Offer {
        fl::ustring code;
        std::size_t matched;
    };
    std::vector<Offer> offers(const fl::ustring& prefix, const fl::ustring& suffix,
                              std::size_t maxOffers) const;

    std::size_t fileCount() const { return files_.size(); }
    std::size_t tokenCount() const { return tokens_.size(); }

  private:
    struct IndexedToken {
        std::uint32_t id;  // interned text; kSeparator between files
        std::uint32_t file;
        std::uint32_t begin;  // code units in the file's text
        std::uint32_t end;
    };
    struct Candidate {
        std::size_t position;  // index into tokens_ of the token matching the prefix's last one
        std::size_t length;    // tokens matched
        std::uint32_t start;   // where the continuation starts in the file's text
    };

    std::uint32_t intern(const fl::ustring& text);
    std::optional<std::uint32_t> lookUp(const fl::ustring& text) const;
    std::vector<Candidate> candidates(const fl::ustring& prefix) const;

    std::vector<File> files_;
    std::vector<IndexedToken> tokens_;
    std::unordered_map<fl::ustring, std::uint32_t> ids_;
    std::vector<fl::ustring> texts_;                     // by id
    std::vector<std::vector<std::uint32_t>> positions_;  // by id: indices into tokens_
};

// Reads every .ost file below the folders (sorted by path, so the index is the same on every run).
// Throws std::invalid_argument naming a folder that does not exist. Files over 1 MB are left out.
std::vector<CorpusIndex::File> readCorpusFiles(const std::vector<std::string>& folders);

// The .ost files of a user's workspace: like readCorpusFiles, but a folder that does not exist is passed
// over, hidden folders are not entered, and the walk is bounded (four levels deep, 50000 entries looked
// at, 2000 files, 16 MB), since a workspace may be a whole home folder.
std::vector<CorpusIndex::File> readWorkspaceFiles(const std::vector<std::string>& folders);

}  // namespace qvai
