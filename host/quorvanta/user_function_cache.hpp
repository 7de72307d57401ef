#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "quorvanta/function_registry.hpp"
#include "quorvanta/name_set.hpp"

namespace Quorvanta {

// Answers whether a name is a user function on the search path, caching both the answers and the
// listings of the folders. Safe to use from any thread.
class UserFunctionCache {
  public:
    // User or Unknown; `name` must already be a valid function name.
    FunctionOrigin lookup(std::u16string_view name);

    void setFolders(std::vector<std::filesystem::path> folders);
    void clear(bool listingsToo);

  private:
    using Listings = std::vector<NameSet>;

    std::shared_ptr<const Listings> listingsFor();
    void remember(std::u16string_view name, FunctionOrigin origin, std::uint64_t generation);

    std::shared_mutex mutex_;
    std::vector<std::filesystem::path> folders_;
    // Immutable once built, so that readers can use it after dropping the lock.
    std::shared_ptr<const Listings> listings_;
    std::unordered_map<std::u16string, FunctionOrigin, NameHash, std::equal_to<>> answers_;
    // Bumped by every change of path or cache, so that work started before a change is not stored
    // after it.
    std::uint64_t generation_ = 0;
};

}  // namespace Quorvanta
