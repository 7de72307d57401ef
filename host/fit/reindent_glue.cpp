#include "fit/reindent_glue.hpp"

#include <algorithm>
#include <array>
#include <string_view>

#include "fit/text_lines.hpp"

namespace fit {
namespace {

// Lines above the cursor's line whose commas tell how the file writes them.
constexpr std::size_t kCommaLinesAbove = 10;

// Words that open a block of a class or a function and take what follows on their line.
constexpr std::array<std::u16string_view, 5> kBlockWords = {u"methods", u"properties", u"events",
                                                            u"enumeration", u"arguments"};

bool startsValue(char16_t c) {
    return text::isWordChar(c) || std::u16string_view(u"'\"[{@~").find(c) != std::u16string_view::npos;
}

// The typed text ends in a keyword (or a class block's word on a line of its own) that the completion
// goes on after: `for` + `k = 1:n`, `methods` + `(Static)`.
bool endsInKeyword(std::u16string_view typed, char16_t next) {
    const std::u16string_view word = text::trailingReservedWord(typed);
    const bool blockWord =
        std::find(kBlockWords.begin(), kBlockWords.end(), text::trim(typed)) != kBlockWords.end();
    if (word.empty() && !blockWord) return false;
    return startsValue(next) || next == u'(';
}

// The typed text ends in a value that cannot go on into a word: a closing bracket, a text, a number.
bool endsInClosedValue(std::u16string_view typed, char16_t next) {
    // A quote after a value is its transpose.
    if (!startsValue(next) || next == u'@' || next == u'~' || next == u'\'') return false;
    const char16_t last = typed.back();
    if (last == u')' || last == u']' || last == u'}' || last == u'"') return true;
    if (last < u'0' || last > u'9') return false;
    std::size_t start = typed.size();
    while (start > 0 && text::isWordChar(typed[start - 1]))
        --start;
    return typed[start] >= u'0' && typed[start] <= u'9' && (start == 0 || typed[start - 1] != u'.');
}

// Whether the lines from `from` to the cursor write more commas with a blank after them than without.
bool writesBlankAfterComma(std::u16string_view code) {
    std::size_t with = 0, without = 0;
    for (std::size_t i = 0; i + 1 < code.size(); ++i)
        if (code[i] == u',' && code[i + 1] != u'\n' && code[i + 1] != u'\r')
            ++(text::isBlank(code[i + 1]) ? with : without);
    return with > without;
}

// `(1,` or `x(i,`: a comma after one plain token in parentheses, as in sizes and indexes, which files
// often write without a blank even where their other commas have one.
bool afterFirstIndex(std::u16string_view typed) {
    std::size_t start = typed.size() - 1;
    while (start > 0 && text::isWordChar(typed[start - 1]))
        --start;
    return start + 1 < typed.size() && start > 0 && typed[start - 1] == u'(';
}

}  // namespace

void separateFromTypedCode(const fl::ustring& file, std::size_t cursor, Edit& edit) {
    if (edit.start != cursor || edit.text.empty() ||
        (!startsValue(edit.text.front()) && edit.text.front() != u'('))
        return;
    const std::size_t lineStart = text::lineStart(file, cursor);
    const std::u16string_view typed = std::u16string_view(file).substr(lineStart, cursor - lineStart);
    if (text::isBlankText(typed) || text::isBlank(typed.back())) return;
    const char16_t next = edit.text.front();
    bool separate = endsInKeyword(typed, next) || endsInClosedValue(typed, next);
    if (!separate && typed.back() == u',' && startsValue(next) && !afterFirstIndex(typed)) {
        std::size_t from = lineStart;
        for (std::size_t lines = 0; from > 0 && lines < kCommaLinesAbove; ++lines)
            from = text::lineStart(file, from - 1);
        separate = writesBlankAfterComma(std::u16string_view(file).substr(from, cursor - from));
    }
    if (separate) edit.text.insert(0, 1, u' ');
}

}  // namespace fit
