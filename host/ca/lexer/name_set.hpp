#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "ca/lexer/name_hash.hpp"

namespace ca::lexer {

// A set of names that are views into one text, in one flat table: a scope's variables cost no allocation
// per name. Names are never empty, so an empty slot is free.
class NameSet {
  public:
    // True when the name was not in the set yet.
    bool insert(std::u16string_view name) {
        if ((size_ + 1) * 2 > slots_.size()) grow();
        std::u16string_view& slot = slots_[indexFor(name)];
        if (!slot.empty()) return false;
        slot = name;
        ++size_;
        return true;
    }
    bool contains(std::u16string_view name) const { return size_ != 0 && !slots_[indexFor(name)].empty(); }
    bool empty() const { return size_ == 0; }
    void clear() {
        slots_.clear();
        size_ = 0;
    }

  private:
    // The slot that holds `name`, or the free slot where it would go; the table is never full.
    std::size_t indexFor(std::u16string_view name) const {
        const std::size_t mask = slots_.size() - 1;
        std::size_t i = NameHash{}(name)&mask;
        while (!slots_[i].empty() && slots_[i] != name)
            i = (i + 1) & mask;
        return i;
    }
    void grow() {
        std::vector<std::u16string_view> old(slots_.empty() ? 16 : slots_.size() * 2);
        old.swap(slots_);
        for (std::u16string_view name : old) {
            if (!name.empty()) slots_[indexFor(name)] = name;
        }
    }

    std::vector<std::u16string_view> slots_;
    std::size_t size_ = 0;
};

}  // namespace ca::lexer
