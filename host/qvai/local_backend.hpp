#pragma once

#include "qvai/backend.hpp"
#include "qvai/corpus_index.hpp"

namespace qvai {

// Completes with no server, from Ostrel code that is already written: the file itself (the code above
// and below the cursor), the files of the user's workspace, and a corpus (the examples, the library's
// Ostrel sources, folders the options name). The indexes of the workspace and the corpus are built
// once, at construction. Of the places whose code best continues the text before the cursor it prefers
// the file's own code and the workspace's, and code whose names the file has; code that reads names
// the file does not have is not offered at all. The same request always gets the same reply.
class LocalBackend : public Backend {
  public:
    explicit LocalBackend(const ClientOptions& options);
    LocalBackend(std::vector<CorpusIndex::File> corpus, std::vector<CorpusIndex::File> workspace = {});
    std::string complete(const BackendRequest& request, const std::atomic<bool>& cancelled) override;

    const CorpusIndex& index() const { return corpus_; }
    const CorpusIndex& workspace() const { return workspace_; }

  private:
    CorpusIndex corpus_;
    CorpusIndex workspace_;
};

}  // namespace qvai
