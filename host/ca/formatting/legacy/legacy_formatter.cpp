#include "ca/formatting/legacy/legacy_formatter.hpp"

#include <algorithm>

#include "ca/formatting/legacy/indent_planner.hpp"
#include "ca/formatting/legacy/source_lines.hpp"

namespace ca::formatting::legacy {

namespace {

std::size_t blanksLength(int columns, bool insertSpaces, int tabSize) {
    if (columns <= 0) return 0;
    if (insertSpaces) return static_cast<std::size_t>(columns);
    return static_cast<std::size_t>(columns / tabSize + columns % tabSize);
}

// Re-indentation may lengthen a text by at most this much, so that the output stays proportional to the
// input whatever the nesting and indent size (100 KB of nested `if`s, indent size 1024).
std::size_t outputLimit(std::size_t inputLength) {
    return 8 * inputLength + 65536;
}

}  // namespace

LegacyFormatter::LegacyFormatter(Settings settings) : settings_(settings) {}

std::vector<lexer::Token> LegacyFormatter::indentCode(std::vector<lexer::Token> tokens) const {
    const std::vector<SourceLine> lines = splitLines(tokens);
    const std::vector<std::optional<int>> plan = planIndentation(tokens, lines, settings_);
    const std::uint32_t first = settings_.startLine == 0 ? 1 : settings_.startLine;
    const int tabSize = static_cast<int>(std::clamp<std::uint32_t>(settings_.tabSize, 1, 1024));
    std::vector<bool> rewrites(lines.size());
    for (std::size_t l = 0; l < lines.size(); ++l)
        rewrites[l] = plan[l] && lines[l].number >= first && lines[l].number <= settings_.endLine;

    std::size_t inputLength = 0;
    for (const auto& token : tokens)
        inputLength += token.text.size();
    std::size_t outputLength = inputLength;
    for (std::size_t l = 0; l < lines.size(); ++l) {
        if (!rewrites[l]) continue;
        for (std::size_t i = lines[l].begin; i < lines[l].codeBegin; ++i)
            outputLength -= tokens[i].text.size();
        outputLength += blanksLength(*plan[l], settings_.insertSpaces, tabSize);
    }
    // A text that would grow beyond the limit is left as it is rather than half re-indented.
    if (outputLength > outputLimit(inputLength)) return tokens;

    std::vector<lexer::Token> result;
    result.reserve(tokens.size() + lines.size());
    std::size_t offset = 0;
    const auto emit = [&](lexer::Token token) {
        token.offset = offset;
        offset += token.text.size();
        result.push_back(std::move(token));
    };
    for (std::size_t l = 0; l < lines.size(); ++l) {
        const SourceLine& line = lines[l];
        std::size_t from = line.begin;
        if (rewrites[l]) {
            fl::ustring blanks = indentationText(*plan[l], settings_.insertSpaces, tabSize);
            if (!blanks.empty())
                emit(lexer::Token{lexer::TokenKind::Blank, std::move(blanks), 0, line.number});
            from = line.codeBegin;
        }
        for (std::size_t i = from; i < line.end; ++i)
            emit(std::move(tokens[i]));
    }
    return result;
}

fl::ustring LegacyFormatter::getFormattedText(const std::vector<lexer::Token>& tokens) const {
    std::size_t size = 0;
    for (const auto& token : tokens)
        size += token.text.size();
    fl::ustring text;
    text.reserve(size);
    for (const auto& token : tokens)
        text += token.text;
    return text;
}

}  // namespace ca::formatting::legacy
