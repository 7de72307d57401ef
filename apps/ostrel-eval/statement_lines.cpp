#include "statement_lines.hpp"

#include <algorithm>
#include <cstdint>

#include "ca/lexer/token.hpp"
#include "text_lines.hpp"

namespace ostrel_eval {
namespace {

using ca::lexer::TokenKind;

bool isComment(TokenKind kind) {
    return kind == TokenKind::Comment || kind == TokenKind::BlockComment;
}

// +1 for an opening bracket, -1 for a closing one, 0 for any other token.
int bracketStep(const ca::lexer::Token& token) {
    if (token.kind != TokenKind::Punctuation || token.text.size() != 1) return 0;
    const char16_t c = token.text[0];
    if (c == u'(' || c == u'[' || c == u'{') return 1;
    if (c == u')' || c == u']' || c == u'}') return -1;
    return 0;
}

}  // namespace

std::vector<std::size_t> statementFirstLines(const fl::ustring& text) {
    std::vector<std::size_t> first(splitLines(text).size());
    for (std::size_t i = 0; i < first.size(); ++i)
        first[i] = i;
    std::size_t statement = 0;  // the first line of the statement read last
    int depth = 0;              // never below 0: an unmatched closing bracket is the analyser's to report
    bool continued = false;     // a `...` since the last code line's start
    std::size_t lineRead = SIZE_MAX;
    for (const ca::lexer::Token& token : ca::lexer::lex(text)) {
        if (token.kind == TokenKind::Blank || token.kind == TokenKind::LineEnd) continue;
        const std::size_t line = token.line - 1;
        if (line >= first.size()) break;
        if (line != lineRead) {
            lineRead = line;
            const bool inside = depth > 0 || continued;
            // A block comment's own lines go with the line that opens it.
            const std::size_t spanned =
                static_cast<std::size_t>(std::count(token.text.begin(), token.text.end(), u'\n'));
            for (std::size_t l = line; l <= std::min(line + spanned, first.size() - 1); ++l)
                first[l] = inside ? statement : l;
            // A comment line neither starts a statement nor ends the one it stands in.
            if (!isComment(token.kind)) {
                if (!inside) statement = line;
                continued = false;
            }
        }
        depth = std::max(0, depth + bracketStep(token));
        if (token.kind == TokenKind::Continuation) continued = true;
    }
    return first;
}

}  // namespace ostrel_eval
