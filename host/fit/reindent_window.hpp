#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <string_view>
#include <vector>

#include "fit/text_lines.hpp"
#include "fl/ustring.hpp"

// What the re-indentation's files share: the formatter's window over the file with the edit in it, and
// the small questions they ask of its lines.
namespace fit::reindenting {

// Code lines above the edit whose indentation tells whether the file follows the formatter there.
constexpr std::size_t kNearbyCodeLines = 8;

inline bool startsWithWord(std::u16string_view code, std::u16string_view word) {
    return code.starts_with(word) && (code.size() == word.size() || !text::isWordChar(code[word.size()]));
}

inline bool startsWithAnyWord(std::u16string_view code, std::initializer_list<std::u16string_view> words) {
    return std::any_of(words.begin(), words.end(), [&](auto word) { return startsWithWord(code, word); });
}

// A line that closes a block or a clause of one: it stands at its construct's level, not the body's.
inline bool isCloser(std::u16string_view code) {
    return startsWithAnyWord(code, {u"end", u"else", u"elseif", u"case", u"catch", u"otherwise"});
}

inline bool isComment(std::u16string_view line) {
    return text::trimLeft(line).starts_with(u"%");
}

inline bool isCode(std::u16string_view line) {
    return !text::isBlankText(line) && !isComment(line);
}

// A line of a text without its line end.
struct Line {
    std::size_t start;  // offset in its text
    std::u16string_view text;
};

// The window the formatter reads: the lines above the edit, the edit, and the rest of its last line.
struct Window {
    fl::ustring text;
    std::size_t editFrom = 0, editTo = 0;  // the edit's text in it
    std::vector<Line> lines;
    std::vector<std::size_t> started;  // the lines the edit starts whose leading blanks are all its own
    bool fromTop = false;              // the window starts at the file's first line
    std::size_t fileStart = 0;         // the offset in the file of its first line after the lead
    std::vector<bool> inBlockComment;  // of each line: a `%{` ... `%}` block's, its own lines included

    std::vector<bool> continues;  // of each line: it goes on with the statement of the code line above

    // A line of code, not of a comment: a block comment's lines may look like code at any column.
    bool isCodeLine(std::size_t i) const { return isCode(lines[i].text) && !inBlockComment[i]; }
    // A line that starts a statement: its column is a block level's, not a continuation's.
    bool startsStatement(std::size_t i) const { return isCodeLine(i) && !continues[i]; }
};

}  // namespace fit::reindenting
