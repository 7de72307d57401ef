#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "ca/analysis.hpp"
#include "fl/ustring.hpp"

namespace ca::token {

// Classification codes of names.
enum Classification : std::uint32_t {
    kDefinedFunction = 0,  // the name defined by a function line
    kLocalFunction = 1,
    kNestedFunction = 2,
    kVariable = 3,
    kHandleToTextFunction = 4,
    kOutsideFunction = 5,
    kDottedOutsideFunction = 6,
    kFieldName = 7,
    kOther = 8,
};

// One token of the analysed text as completion sees it. The members stand in the order that packs a record
// tightest: a text of 8,000 code units has about two thousand of them.
struct AutoCompletionToken {
    fl::ustring kind;  // "Identifier", "DottedIdentifier", "Keyword", "Number", "CharArray", "String",
                       // "Operator", "Punctuation", "Comment" or "CommandWord"
    fl::ustring text;
    std::size_t position = 0;  // offset of the first code unit
    std::uint32_t classification = kOther;
    std::uint32_t line = 1;
    std::uint32_t column = 1;
    bool originFlagA = false;  // the registry knows the name as a built-in function
    bool originFlagB = false;  // the registry knows the name as a library function written in Ostrel
};

class AutoCompletionTokenInfo {
  public:
    explicit AutoCompletionTokenInfo(std::vector<AutoCompletionToken> tokens) : tokens_(std::move(tokens)) {}
    // One record per token in source order; blanks and line ends have none.
    const std::vector<AutoCompletionToken>& getTokens() const { return tokens_; }

  private:
    std::vector<AutoCompletionToken> tokens_;
};

AutoCompletionTokenInfo getAutoCompletionTokenInfo(std::shared_ptr<Analysis> analysis);

}  // namespace ca::token
