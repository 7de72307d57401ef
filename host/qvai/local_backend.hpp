#pragma once

#include "qvai/backend.hpp"
#include "qvai/corpus_index.hpp"

namespace qvai {

// Completes from a corpus of Ostrel files, with no server. The index is built once, at construction;
// replies depend only on the request, so the same request always gets the same reply.
class LocalBackend : public Backend {
  public:
    explicit LocalBackend(const ClientOptions& options);
    explicit LocalBackend(std::vector<CorpusIndex::File> files);
    std::string complete(const BackendRequest& request, const std::atomic<bool>& cancelled) override;

    const CorpusIndex& index() const { return index_; }

  private:
    CorpusIndex index_;
};

}  // namespace qvai
