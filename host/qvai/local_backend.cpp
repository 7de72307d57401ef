#include "qvai/local_backend.hpp"

#include <stdexcept>

#include "fl/i18n.hpp"
#include "qvai/builtin_corpus.hpp"

namespace qvai {

namespace {

std::vector<std::string> corpusFolders(const ClientOptions& options) {
    auto folders = options.UseBuiltinCorpus ? builtinCorpusFolders() : std::vector<std::string>();
    folders.insert(folders.end(), options.CorpusFolders.begin(), options.CorpusFolders.end());
    return folders;
}

}  // namespace

LocalBackend::LocalBackend(const ClientOptions& options) : index_(readCorpusFiles(corpusFolders(options))) {}

LocalBackend::LocalBackend(std::vector<CorpusIndex::File> files) : index_(std::move(files)) {}

std::string LocalBackend::complete(const BackendRequest& request, const std::atomic<bool>&) {
    if (!request.input) throw std::runtime_error("the local backend needs a completion template's input");
    const auto code = index_.complete(fl::i18n::to_ustring(request.input->code),
                                      fl::i18n::to_ustring(request.input->suffix));
    if (!code) throw std::runtime_error("no place in the corpus matches the code before the cursor");
    return ostrelFence(fl::i18n::to_string(*code));
}

}  // namespace qvai
