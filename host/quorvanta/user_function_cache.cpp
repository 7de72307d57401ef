#include "quorvanta/user_function_cache.hpp"

#include <algorithm>
#include <mutex>

#include "quorvanta/function_files.hpp"

namespace Quorvanta {
namespace {

// Every identifier of every analysed text may be looked up, so the answers are bounded; starting
// over is cheap because the folder listings stay.
constexpr std::size_t kMaxAnswers = std::size_t{1} << 16;

FunctionOrigin resolve(const std::vector<NameSet>& listings, std::u16string_view name) {
    const bool found = std::any_of(listings.begin(), listings.end(),
                                   [name](const NameSet& folder) { return folder.contains(name); });
    return found ? FunctionOrigin::User : FunctionOrigin::Unknown;
}

}  // namespace

FunctionOrigin UserFunctionCache::lookup(std::u16string_view name) {
    std::shared_ptr<const Listings> listings;
    std::uint64_t generation = 0;
    {
        std::shared_lock lock(mutex_);
        if (const auto answer = answers_.find(name); answer != answers_.end()) return answer->second;
        listings = listings_;
        generation = generation_;
    }
    if (!listings) listings = listingsFor();
    const FunctionOrigin origin = resolve(*listings, name);
    remember(name, origin, generation);
    return origin;
}

std::shared_ptr<const UserFunctionCache::Listings> UserFunctionCache::listingsFor() {
    std::vector<std::filesystem::path> folders;
    std::uint64_t generation = 0;
    {
        std::shared_lock lock(mutex_);
        if (listings_) return listings_;
        folders = folders_;
        generation = generation_;
    }
    // Reading folders can be slow, so it happens without the lock. If the path or the caches change
    // meanwhile, the result answers this one look-up and is not kept.
    auto listings = std::make_shared<Listings>();
    listings->reserve(folders.size());
    for (const auto& folder : folders)
        listings->push_back(listFunctionFiles(folder));

    std::unique_lock lock(mutex_);
    if (generation_ != generation) return listings;
    if (!listings_) listings_ = std::move(listings);
    return listings_;
}

void UserFunctionCache::remember(std::u16string_view name, FunctionOrigin origin, std::uint64_t generation) {
    std::unique_lock lock(mutex_);
    if (generation_ != generation) return;
    if (answers_.size() >= kMaxAnswers) answers_.clear();
    answers_.try_emplace(std::u16string(name), origin);
}

void UserFunctionCache::setFolders(std::vector<std::filesystem::path> folders) {
    std::unique_lock lock(mutex_);
    folders_ = std::move(folders);
    listings_.reset();
    answers_.clear();
    ++generation_;
}

void UserFunctionCache::clear(bool listingsToo) {
    std::unique_lock lock(mutex_);
    if (listingsToo) listings_.reset();
    answers_.clear();
    ++generation_;
}

}  // namespace Quorvanta
