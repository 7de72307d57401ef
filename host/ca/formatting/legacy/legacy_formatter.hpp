#pragma once

#include <vector>

#include "ca/formatting/legacy/settings.hpp"
#include "ca/lexer/token.hpp"
#include "fl/ustring.hpp"

namespace ca::formatting::legacy {

// Re-indents Ostrel code given as the tokens of ca::lexer::lex. Only the leading blanks of lines in the
// settings' line range change; block comments and the text's first line are left alone, since the text
// may be a window cut out of a longer file. Never fails on any token list.
class LegacyFormatter {
  public:
    explicit LegacyFormatter(Settings settings);

    std::vector<lexer::Token> indentCode(std::vector<lexer::Token> tokens) const;
    fl::ustring getFormattedText(const std::vector<lexer::Token>& tokens) const;

  private:
    Settings settings_;
};

}  // namespace ca::formatting::legacy
