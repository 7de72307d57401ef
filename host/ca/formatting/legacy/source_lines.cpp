#include "ca/formatting/legacy/source_lines.hpp"

namespace ca::formatting::legacy {

using lexer::TokenKind;

std::vector<SourceLine> splitLines(const std::vector<lexer::Token>& tokens) {
    std::vector<SourceLine> lines;
    std::size_t i = 0;
    std::uint32_t number = 1;
    while (i < tokens.size()) {
        SourceLine line;
        line.begin = i;
        line.number = tokens[i].line != 0 ? tokens[i].line : number;
        while (i < tokens.size() && tokens[i].kind == TokenKind::Blank)
            ++i;
        line.codeBegin = i;
        while (i < tokens.size() && tokens[i].kind != TokenKind::LineEnd)
            ++i;
        if (i < tokens.size()) {
            line.hasLineEnd = true;
            ++i;
        }
        line.end = i;
        number = line.number + 1;
        lines.push_back(line);
    }
    return lines;
}

LineKind classifyLine(const std::vector<lexer::Token>& tokens, const SourceLine& line) {
    if (line.codeBegin >= line.end || tokens[line.codeBegin].kind == TokenKind::LineEnd)
        return LineKind::Blank;
    switch (tokens[line.codeBegin].kind) {
        case TokenKind::BlockComment:
            return LineKind::BlockComment;
        case TokenKind::Comment:
            return LineKind::Comment;
        default:
            return LineKind::Code;
    }
}

int leadingColumns(const std::vector<lexer::Token>& tokens, const SourceLine& line, int tabSize) {
    // Saturates, so that no run of blanks overflows the count.
    constexpr int kMost = 1 << 24;
    int columns = 0;
    for (std::size_t i = line.begin; i < line.codeBegin && columns < kMost; ++i)
        for (char16_t c : tokens[i].text) {
            columns = c == u'\t' ? (columns / tabSize + 1) * tabSize : columns + 1;
            if (columns >= kMost) return kMost;
        }
    return columns;
}

fl::ustring indentationText(int columns, bool insertSpaces, int tabSize) {
    if (columns <= 0) return {};
    if (insertSpaces) return fl::ustring(static_cast<std::size_t>(columns), u' ');
    fl::ustring text(static_cast<std::size_t>(columns / tabSize), u'\t');
    text.append(static_cast<std::size_t>(columns % tabSize), u' ');
    return text;
}

}  // namespace ca::formatting::legacy
