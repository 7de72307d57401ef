#include "qvai/local_backend.hpp"

#include <set>
#include <stdexcept>

#include "fl/i18n.hpp"
#include "qvai/builtin_corpus.hpp"
#include "qvai/name_fit.hpp"

namespace qvai {

namespace {

constexpr std::size_t kOffersPerSource = 8;
// Where the code comes from counts as this many matched tokens: the user's own code is likelier to be
// what comes next than an unrelated program's.
constexpr std::size_t kOwnFileBonus = 3;
constexpr std::size_t kWorkspaceBonus = 2;
constexpr std::size_t kUnknownNamePenalty = 4;
// Fewer matched tokens (`;` and a line end, say) are no evidence of a like place.
constexpr std::size_t kMinMatched = 4;

std::vector<std::string> corpusFolders(const ClientOptions& options) {
    auto folders = options.UseBuiltinCorpus ? builtinCorpusFolders() : std::vector<std::string>();
    folders.insert(folders.end(), options.CorpusFolders.begin(), options.CorpusFolders.end());
    return folders;
}

// At most one name in three the file does not have, and never more than two: code full of names the
// file lacks would not run there, so nothing is better. One is let pass, since the request shows only a
// window of the file, which may leave out where a name is defined (a function's output, say).
bool fitsTheFile(const NameFit& fit) {
    return fit.unknown <= 2 && fit.unknown * 3 <= fit.used;
}

struct Choice {
    fl::ustring code;
    std::size_t score = 0;
};

void consider(const CorpusIndex& index, const fl::ustring& prefix, const fl::ustring& suffix,
              std::size_t bonus, const std::set<fl::ustring>& known, Choice& best) {
    for (auto& offer : index.offers(prefix, suffix, kOffersPerSource)) {
        if (offer.matched < kMinMatched) continue;
        const NameFit fit = nameFit(offer.code, known);
        if (!fitsTheFile(fit)) continue;
        const std::size_t gain = offer.matched + bonus;
        const std::size_t penalty = fit.unknown * kUnknownNamePenalty;
        const std::size_t score = gain > penalty ? gain - penalty : 0;
        if (score > best.score) best = {std::move(offer.code), score};  // ties: the earlier source wins
    }
}

}  // namespace

LocalBackend::LocalBackend(const ClientOptions& options)
    : corpus_(readCorpusFiles(corpusFolders(options))),
      workspace_(readWorkspaceFiles(options.WorkspaceFolders)) {}

LocalBackend::LocalBackend(std::vector<CorpusIndex::File> corpus, std::vector<CorpusIndex::File> workspace)
    : corpus_(std::move(corpus)), workspace_(std::move(workspace)) {}

std::string LocalBackend::complete(const BackendRequest& request, const std::atomic<bool>&) {
    if (!request.input) throw std::runtime_error("the local backend needs a completion template's input");
    const auto prefix = fl::i18n::to_ustring(request.input->code);
    const auto suffix = fl::i18n::to_ustring(request.input->suffix);

    std::set<fl::ustring> known;
    collectNames(prefix, known);
    collectNames(suffix, known);
    for (const auto* list :
         {&request.input->userFunctions, &request.input->userVariables, &request.input->ostrelFunctions})
        collectListedNames(fl::i18n::to_ustring(*list), known);

    // The file itself, as two texts: a match never runs from the code above the cursor into the code
    // below it, and the place ending at the cursor has nothing to offer.
    const CorpusIndex ownFile({{"<above the cursor>", prefix}, {"<below the cursor>", suffix}});
    Choice best;
    consider(ownFile, prefix, suffix, kOwnFileBonus, known, best);
    consider(workspace_, prefix, suffix, kWorkspaceBonus, known, best);
    consider(corpus_, prefix, suffix, 0, known, best);
    if (best.code.empty())
        throw std::runtime_error(
            "no place in the file, the workspace or the corpus continues the code before "
            "the cursor with names the file has");
    return ostrelFence(fl::i18n::to_string(best.code));
}

}  // namespace qvai
