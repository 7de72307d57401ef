#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace Quorvanta {

// Hashes owned and viewed UTF-16 names alike, so that a look-up by view never builds a string.
struct NameHash {
    using is_transparent = void;
    std::size_t operator()(std::u16string_view name) const noexcept {
        return std::hash<std::u16string_view>{}(name);
    }
};

// A set of function names answering `contains` for a view without allocating.
class NameSet {
  public:
    void insert(std::u16string name) { names_.insert(std::move(name)); }
    bool contains(std::u16string_view name) const { return names_.find(name) != names_.end(); }
    std::size_t size() const { return names_.size(); }
    bool empty() const { return names_.empty(); }

  private:
    std::unordered_set<std::u16string, NameHash, std::equal_to<>> names_;
};

// The entries of a name list: one per line, blanks around a name and a CR before the LF ignored,
// empty lines skipped. Entries are returned as they stand, valid or not, so that callers can check them.
std::vector<std::string_view> splitNameList(std::string_view text);

// The valid function names of a name list; anything else on a line is skipped.
NameSet parseNameList(std::string_view text);

}  // namespace Quorvanta
