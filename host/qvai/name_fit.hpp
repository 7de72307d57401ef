#pragma once

#include <cstddef>
#include <set>

#include "fl/ustring.hpp"

namespace qvai {

// How well a piece of code fits a file by its names: the variables and functions it names (not struct
// fields), whether it reads or sets them, and how many of them the file does not have. Code pasted from
// elsewhere brings its own names, set or read alike.
struct NameFit {
    std::size_t used = 0;
    std::size_t unknown = 0;
};

// `known`: every name the file has. Functions of the Ostrel library count as known too.
NameFit nameFit(const fl::ustring& code, const std::set<fl::ustring>& known);

// The identifiers of a text, for `known`.
void collectNames(const fl::ustring& text, std::set<fl::ustring>& names);

// Adds the names of a comma-separated list (as a completion request carries them).
void collectListedNames(const fl::ustring& list, std::set<fl::ustring>& names);

}  // namespace qvai
