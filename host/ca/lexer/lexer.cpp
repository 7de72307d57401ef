#include "ca/lexer/scan.hpp"
#include "ca/lexer/token.hpp"

namespace ca::lexer {

// Command-form words need to know which names are variables. The lexer keeps a light scope of its own:
// names assigned earlier in the current function (or script), loop variables, a function's inputs and
// outputs, `global`/`persistent` names and the `catch` identifier. A statement that starts with any
// other name followed by a blank, whose next character is neither `=` nor `(` nor a binary operator
// followed by a blank, is a command; inside properties, arguments, events and enumeration blocks no line
// is a command.
std::vector<Token> lex(const fl::ustring& text) {
    std::vector<ScanToken> scanned;
    scan(text, scanned);
    std::vector<Token> tokens;
    tokens.reserve(scanned.size());
    for (const ScanToken& s : scanned) {
        Token& token = tokens.emplace_back();
        token.kind = s.kind;
        token.text.assign(text, s.offset, s.length);
        token.offset = s.offset;
        token.line = s.line;
    }
    return tokens;
}

}  // namespace ca::lexer
