#include "editor_indent.hpp"

#include "block_words.hpp"

namespace ostrel_eval {
namespace {

bool opensClause(const fl::ustring& code) {
    for (const std::u16string_view word : {u"else", u"elseif", u"case", u"otherwise", u"catch"})
        if (startsWithWord(code, word)) return true;
    return false;
}

}  // namespace

fl::ustring editorIndent(const fl::ustring& text, const std::vector<LineSpan>& lines, std::size_t lineIndex,
                         const fit::IndentSettings& settings) {
    for (std::size_t j = std::min(lineIndex, lines.size()); j-- > 0;) {
        const LineSpan& line = lines[j];
        if (isBlankLine(text, line)) continue;
        const std::size_t blanks = leadingBlanks(text, line.start, line.contentEnd);
        const fl::ustring code = text.substr(line.start + blanks, line.contentEnd - line.start - blanks);
        if (code.starts_with(u"%")) continue;
        fl::ustring indent = text.substr(line.start, blanks);
        bool deeper = (opensBlock(code) || opensClause(code)) && closingEnds(code) == 0;
        if (deeper && startsWithWord(code, u"function"))
            deeper = settings.functionIndent == 2 || (settings.functionIndent == 1 && blanks > 0);
        if (deeper) indent += settings.insertSpaces ? fl::ustring(settings.indentSize, u' ') : u"\t";
        return indent;
    }
    return {};
}

}  // namespace ostrel_eval
