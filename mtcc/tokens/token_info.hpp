#pragma once

#include <vector>

#include "ca/token/auto_completion_token_info.hpp"
#include "fl/ustring.hpp"
#include "mtcc/tokens/token_categories.hpp"

namespace mtcc::Tokens {

using TokenRecord = ca::token::AutoCompletionToken;

// The analyser's token records of the text, or none when the analyser rejects it.
std::vector<TokenRecord> getTokenInfo(const fl::ustring& text);

// Sorts the identifier records into variables, the user's functions and the Ostrel library's functions.
TokenCategories categorizeTokens(const std::vector<TokenRecord>& tokens);

}  // namespace mtcc::Tokens
