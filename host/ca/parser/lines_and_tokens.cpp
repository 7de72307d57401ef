// Lines, their indentation and the parser's view of the tokens (blanks and comments folded away,
// implicit continuations joined).

#include <cstdio>

#include "ca/lexer/find_line_feed.hpp"
#include "ca/parser/parser_internals.hpp"
#include "fl/i18n.hpp"

namespace ca::detail::parsing {

void Parser::computeLines() {
    d_.lineStarts.clear();
    if (!text_.empty()) d_.lineStarts.push_back(0);
    d_.lineStarts.reserve(d_.tokens.size() / 8 + 2);
    for (std::size_t lf = lexer::findLineFeed(text_, 0); lf + 1 < text_.size();
         lf = lexer::findLineFeed(text_, lf + 1)) {
        d_.lineStarts.push_back(static_cast<std::uint32_t>(lf + 1));
    }
    endsWithLineEnd_ = !text_.empty() && text_.back() == u'\n';
    d_.lineContent.assign(lineCount() + 2, 0);
    lineIndent_.assign(lineCount() + 2, 0);
    for (std::uint32_t l = 1; l <= lineCount(); ++l) {
        std::size_t i = d_.lineStarts[l - 1];
        std::size_t end = l < lineCount() ? d_.lineStarts[l] : text_.size();
        std::uint32_t indent = 0;
        bool leading = true;
        for (; i < end; ++i) {
            char16_t c = text_[i];
            if (c == u'\n' || c == u'\r' || lexer::isBlank(c)) {
                if (leading && c != u'\n' && c != u'\r')
                    indent = c == u'\t' ? (indent / 4 + 1) * 4 : indent + 1;
                continue;
            }
            d_.lineContent[l] |= 2;
            if (leading) lineIndent_[l] = indent;
            leading = false;
            break;
        }
        if (leading) lineIndent_[l] = indent;
    }
    if (wholeFile()) return;
    // The library puts a line end at the cursor, so the blanks typed on the cursor's line stand alone
    // and the code that follows them starts at the margin: that code stands where the blanks end.
    for (std::uint32_t l = 2; l <= lineCount(); ++l) {
        if ((d_.lineContent[l] & 2) != 0 && lineIndent_[l] == 0 && (d_.lineContent[l - 1] & 2) == 0 &&
            lineIndent_[l - 1] > 0)
            lineIndent_[l] = lineIndent_[l - 1];
    }
}

std::uint32_t Parser::lineOf(std::size_t offset) const {
    auto it =
        std::upper_bound(d_.lineStarts.begin(), d_.lineStarts.end(), static_cast<std::uint32_t>(offset));
    return it == d_.lineStarts.begin() ? 1 : static_cast<std::uint32_t>(it - d_.lineStarts.begin());
}

void Parser::buildTokens() {
    bool space = false;
    bool dropLineEnd = false;
    toks_.reserve(static_cast<std::size_t>(
                      std::count_if(d_.tokens.begin(), d_.tokens.end(),
                                    [](const ScanToken& s) { return s.kind != TokenKind::Blank; })) +
                  1);
    // About two nodes for every three tokens.
    d_.tree.nodes.reserve(toks_.capacity() * 2 / 3 + 8);
    d_.tree.children.reserve(toks_.capacity() * 2 / 3 + 8);
    // Local copies: a store into the byte-sized line flags would otherwise make the compiler reload
    // every vector it reads after each token.
    const ScanToken* const scanned = d_.tokens.data();
    const auto scannedCount = static_cast<std::uint32_t>(d_.tokens.size());
    std::uint8_t* const lineContent = d_.lineContent.data();
    for (std::uint32_t k = 0; k < scannedCount; ++k) {
        const ScanToken& s = scanned[k];
        switch (s.kind) {
            case TokenKind::Blank:
                space = true;
                continue;
            case TokenKind::Comment:
            case TokenKind::BlockComment:
            case TokenKind::Continuation: {
                auto kind = s.kind == TokenKind::Comment        ? ca::astapi::CommentKind::Line
                            : s.kind == TokenKind::BlockComment ? ca::astapi::CommentKind::Block
                                                                : ca::astapi::CommentKind::Continuation;
                d_.comments.emplace_back(kind, s.line, s.offset, s.offset + s.length - 1);
                markContent(s, 4);
                if (s.kind == TokenKind::Continuation) dropLineEnd = true;
                if ((s.flags & lexer::kUnclosedBlock) != 0) {
                    warn(s.offset, "UnclosedBlockComment",
                         "The block comment at line " + std::to_string(s.line) + " is not closed.");
                }
                space = true;
                continue;
            }
            case TokenKind::LineEnd:
                if (dropLineEnd) {
                    dropLineEnd = false;
                    space = true;
                    continue;
                }
                break;
            default:
                lineContent[s.line] |= 1;
                break;
        }
        // Only the first token of a line can join it to the line before.
        bool lineFirst = true;
        if (!toks_.empty()) {
            PTok& before = toks_.back();
            before.spaceAfter = space || s.kind == TokenKind::LineEnd;
            lineFirst = before.kind == TokenKind::LineEnd;
        }
        bool spaceBefore = space;
        if (lineFirst && s.kind != TokenKind::LineEnd &&
            continuesAcrossLineEnd(PTok{k, s.offset, s.offset + s.length, s.line, s.kind, s.word, s.op,
                                        s.flags, space, false, false, false})) {
            while (toks_.back().kind == TokenKind::LineEnd)
                toks_.pop_back();
            spaceBefore = true;
            lineFirst = toks_.back().kind == TokenKind::LineEnd;
        }
        // Written field by field where it stays: a token assembled on the stack from byte-sized stores
        // and copied as whole words stalls on every copy.
        PTok& t = toks_.emplace_back();
        t.scan = k;
        t.offset = s.offset;
        t.end = s.offset + s.length;
        t.line = s.line;
        t.kind = s.kind;
        t.word = s.word;
        t.op = s.op;
        t.flags = s.flags;
        t.spaceBefore = spaceBefore;
        t.spaceAfter = false;
        t.lineFirst = lineFirst;
        t.eof = false;
        space = false;
    }
    auto size = static_cast<std::uint32_t>(text_.size());
    toks_.push_back(PTok{static_cast<std::uint32_t>(d_.tokens.size()), size, size,
                         lineCount() == 0 ? 1 : lineCount(), TokenKind::LineEnd, Word::None, Op::None, 0,
                         true, true, true, true});
}

// Implicit continuations: a line ending in an operator or an expression keyword, or followed by a
// line that starts (with `next`) with an operator that cannot begin an expression or with `=`.
// A statement that cannot end where its line does (an operator or expression keyword last) goes on past
// blank lines, as the cursor's line of blanks after `x = a + ...` leaves it when the library cuts that
// line in two.
bool Parser::continuesAcrossLineEnd(const PTok& next) const {
    std::size_t n = toks_.size();
    if (n < 2 || toks_[n - 1].kind != TokenKind::LineEnd) return false;
    std::size_t last = n - 1;
    while (last > 0 && toks_[last].kind == TokenKind::LineEnd)
        --last;
    const PTok& prev = toks_[last];
    if (prev.kind == TokenKind::LineEnd) return false;
    if ((prev.kind == TokenKind::Operator && lexer::continuesLine(prev.op)) ||
        (prev.kind == TokenKind::Keyword && lexer::expectsExpression(prev.word)))
        return true;
    if (last != n - 2) return false;
    // After `...` the line end of a blank line ends the statement (the continuation carries one line),
    // unless the line after it cannot start one: `a ...` / blank / `&& b`, as the library's line end
    // after a prefix that ends at a line's end leaves it.
    if (prev.line != toks_[n - 1].line)
        return next.kind == TokenKind::Operator && lexer::cannotBeginExpression(next.op);
    // A call cut in two before its arguments (`s = f` / `(x, m);`): a group with a comma at its top
    // cannot stand alone, so it belongs to the name before it.
    if (next.op == Op::LParen && (prev.kind == TokenKind::Identifier || prev.op == Op::RParen))
        return holdsTopLevelComma(next.scan);
    // The lexer carries a command's words onto such a line (`import pkg` / `.*`); a shell escape starts
    // a statement of its own.
    if (prev.kind == TokenKind::CommandWord && next.kind == TokenKind::CommandWord)
        return text_[next.offset] != u'!';
    // No statement starts with `=` either: `Rz` / `= [c -s; ...` is an assignment cut in two.
    return next.kind == TokenKind::Operator &&
           (lexer::cannotBeginExpression(next.op) || next.op == Op::Assign);
}

// Whether the bracket opened by scan token `open` holds a `,` outside any inner bracket before it closes
// (looked for over at most a few thousand tokens).
bool Parser::holdsTopLevelComma(std::uint32_t open) const {
    int depth = 0;
    const std::size_t end = std::min<std::size_t>(d_.tokens.size(), open + 4096);
    for (std::size_t k = open; k < end; ++k) {
        const ScanToken& t = d_.tokens[k];
        if (t.kind != TokenKind::Punctuation) continue;
        if (t.op == Op::LParen || t.op == Op::LBracket || t.op == Op::LBrace) ++depth;
        if (t.op == Op::RParen || t.op == Op::RBracket || t.op == Op::RBrace) {
            if (--depth == 0) return false;
        }
        if (t.op == Op::Comma && depth == 1) return true;
    }
    return false;
}

void Parser::markContent(const ScanToken& s, std::uint8_t bit) {
    std::uint32_t line = s.line;
    d_.lineContent[line] |= bit;
    if (s.kind != TokenKind::BlockComment) return;  // the only token that spans lines
    for (std::uint32_t i = s.offset; i < s.offset + s.length; ++i) {
        if (text_[i] == u'\n') {
            ++line;
            if (line < d_.lineContent.size()) d_.lineContent[line] |= bit;
        }
    }
}

const PTok& Parser::skipToCurrent() {
    for (;;) {
        const PTok& t = toks_[pos_];
        if (t.kind == TokenKind::Invalid) {
            char buffer[16];
            std::snprintf(buffer, sizeof buffer, "U+%04X", static_cast<unsigned>(text_[t.offset]));
            error(t, "InvalidCharacter",
                  std::string("Invalid character ") + buffer + " at line " + std::to_string(t.line) + ".");
            ++pos_;
            continue;
        }
        if (parenDepth_ > 0 && isNewline(t)) {
            ++pos_;
            continue;
        }
        return t;
    }
}

std::string Parser::describe(const PTok& t) const {
    if (t.eof) return "end of text";
    if (t.kind == TokenKind::LineEnd) return "end of line";
    std::u16string_view v = textOf(t);
    if (v.size() > 20) v = v.substr(0, 20);
    return "'" + fl::i18n::to_string(v) + "'";
}

}  // namespace ca::detail::parsing
