#include "fit/reindent_block_comment.hpp"

#include <algorithm>
#include <iterator>
#include <optional>

#include "fit/reindent_window.hpp"
#include "fit/text_lines.hpp"

namespace fit {
namespace {

bool opens(std::u16string_view line) {
    return text::trim(line) == u"%{";
}

bool closes(std::u16string_view line) {
    return text::trim(line) == u"%}";
}

}  // namespace

BlockCommentSpans blockCommentSpans(const fl::ustring& file, std::size_t from, std::size_t upTo) {
    BlockCommentSpans spans;
    std::size_t depth = 0, opened = 0;
    std::size_t outside = from;  // where the text is known to stand outside every comment, or `from`
    // Only lines that hold a `%{` or a `%}` matter: find them without reading every line.
    const std::u16string_view reach = std::u16string_view(file).substr(0, upTo);
    for (std::size_t at = reach.find(u'%', from); at != std::u16string_view::npos;
         at = reach.find(u'%', at + 1)) {
        if (at + 1 >= file.size() || (file[at + 1] != u'{' && file[at + 1] != u'}')) continue;
        const std::size_t start = text::lineStart(file, at);
        const std::u16string_view line =
            std::u16string_view(file).substr(start, text::lineEnd(file, at) - start);
        if (opens(line) && depth++ == 0) opened = start;
        if (!closes(line)) continue;
        // A `%}` that closes nothing here closes a comment open before `from`.
        const bool openBefore = depth == 0;
        if (!openBefore && --depth > 0) continue;
        const std::size_t end = std::min(text::nextLineStart(file, at), upTo);
        spans.emplace_back(openBefore ? outside : opened, end);
        outside = end;
    }
    if (depth > 0) spans.emplace_back(opened, upTo);
    return spans;
}

std::size_t openBlockComments(const fl::ustring& file, std::size_t offset) {
    std::size_t depth = 0;
    const std::size_t upTo = text::lineStart(file, std::min(offset, file.size()));
    for (std::size_t at = 0; at < upTo; at = text::nextLineStart(file, at)) {
        const std::u16string_view line = std::u16string_view(file).substr(at, text::lineEnd(file, at) - at);
        if (opens(line)) ++depth;
        if (closes(line) && depth > 0) --depth;
    }
    return depth;
}

bool closesBlockComment(std::u16string_view line) {
    return closes(line);
}

bool insideBlockComment(const BlockCommentSpans& spans, std::size_t offset) {
    const auto after = std::upper_bound(spans.begin(), spans.end(), offset,
                                        [](std::size_t at, const auto& span) { return at < span.first; });
    return after != spans.begin() && offset < std::prev(after)->second;
}

namespace {

// Of each comment, by its `%{` line, the column of its first line below the movable ones that stands in it
// and not in a comment nested in it (a nested `%{` included, a `%}` not): the comment goes on there.
std::vector<std::optional<int>> columnsBelow(const std::vector<std::u16string_view>& lines,
                                             const std::vector<bool>& movable,
                                             const std::vector<int>& columns) {
    std::vector<std::optional<int>> below(lines.size());
    const auto last = std::find(movable.rbegin(), movable.rend(), true);
    if (last == movable.rend()) return below;
    const std::size_t after = static_cast<std::size_t>(movable.rend() - last);
    std::vector<std::size_t> open;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (text::isBlankText(lines[i])) continue;
        if (closes(lines[i])) {
            if (!open.empty()) open.pop_back();
            continue;
        }
        if (!open.empty() && i >= after && !below[open.back()]) below[open.back()] = columns[i];
        if (opens(lines[i])) open.push_back(i);
    }
    return below;
}

// A line of free text that ends with `:` (`Known limitations:`): the lines after it may be its items.
bool isHeading(std::u16string_view line) {
    const std::u16string_view text = text::trim(line);
    return text.size() > 1 && text.back() == u':' && !text.starts_with(u"%");
}

// A list's item: a line that starts with a marker or a number (`- no quotes`, `2023-02  first version`),
// not with code, which a heading has at its own column as often as further in.
bool isItem(std::u16string_view line) {
    const std::u16string_view text = text::trim(line);
    return !text.empty() && (std::u16string_view(u"-*+").find(text.front()) != std::u16string_view::npos ||
                             (text.front() >= u'0' && text.front() <= u'9'));
}

using reindenting::startsWithAnyWord;
using reindenting::startsWithWord;

// Code commented out that opens a block (`if x > 4`, not `if x, y = 1; end`).
bool opensCode(std::u16string_view line) {
    const std::u16string_view code = text::trim(line);
    if (!startsWithAnyWord(code, {u"if", u"for", u"parfor", u"while", u"switch", u"try", u"function"}))
        return false;
    const std::size_t last = code.find_last_not_of(u"; ");
    return last == std::u16string_view::npos || last < 3 ||
           !(code.substr(0, last + 1).ends_with(u"end") && !text::isWordChar(code[last - 3]));
}

// A block's clause: code commented out stands at its block's column there, its body a step in.
bool isClause(std::u16string_view code) {
    return startsWithAnyWord(code, {u"else", u"elseif", u"catch", u"case", u"otherwise"});
}

// Of each line, whether an `end` line follows it in its comment (before the next `%{` or `%}`): a
// block's opening line in a comment that holds none is prose (`if in doubt, ask`).
std::vector<bool> endFollows(const std::vector<std::u16string_view>& lines) {
    std::vector<bool> follows(lines.size());
    bool seen = false;
    for (std::size_t i = lines.size(); i-- > 0;) {
        if (opens(lines[i]) || closes(lines[i])) {
            seen = false;
            continue;
        }
        follows[i] = seen;
        seen = seen || startsWithWord(text::trim(lines[i]), u"end");
    }
    return follows;
}

}  // namespace

void placeBlockCommentLines(const std::vector<std::u16string_view>& lines, const std::vector<bool>& movable,
                            int step, std::vector<int>& columns) {
    const std::vector<std::optional<int>> below = columnsBelow(lines, movable, columns);
    struct Open {
        std::size_t line;             // its `%{`
        std::optional<int> textFrom;  // how far right of it its first line stands
        std::optional<int> heading;   // the column of its last heading so far
        // The blocks of the code commented out in it still open, by their opening lines' columns.
        std::vector<std::pair<int, bool>> code;  // and whether it is a `switch`
    };
    const std::vector<bool> ended = endFollows(lines);
    std::vector<Open> open;    // the comments still open, innermost last
    std::size_t previous = 0;  // the non-blank line above
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (text::isBlankText(lines[i])) continue;
        if (!open.empty()) {
            Open& comment = open.back();
            const bool first = previous == comment.line;
            const bool item = isItem(lines[i]), afterItem = !first && isItem(lines[previous]);
            const std::optional<int> goesOn = below[comment.line];
            // As the comment around it starts its text, or under its `%{`.
            const int firstColumn =
                columns[previous] + (open.size() > 1 ? open[open.size() - 2].textFrom.value_or(0) : 0);
            const std::u16string_view code = text::trim(lines[i]);
            const bool clause = isClause(code);
            if (!movable[i]) {
            } else if (closes(lines[i])) {
                columns[i] = columns[comment.line];
            } else if (!comment.code.empty() && (clause || startsWithWord(code, u"end"))) {
                // Code commented out is indented as code: a clause or an `end` at its block's column.
                const auto [column, isSwitch] = comment.code.back();
                columns[i] =
                    column + (isSwitch && startsWithAnyWord(code, {u"case", u"otherwise"}) ? step : 0);
            } else if (!comment.code.empty() && !first &&
                       (opensCode(lines[previous]) || isClause(text::trim(lines[previous])))) {
                columns[i] = columns[previous] + step;
            } else if (!comment.code.empty() && !first) {
                columns[i] = columns[previous];
            } else if (first && isHeading(lines[i])) {
                columns[i] = firstColumn;
            } else if (!first && isHeading(lines[previous]) && item) {
                // A heading's items stand further in: where the comment goes on below, or a step.
                columns[i] = goesOn && *goesOn > columns[previous] ? *goesOn : columns[previous] + step;
            } else if (afterItem && item) {
                columns[i] = columns[previous];
            } else if (afterItem && comment.heading && !opens(lines[i]) &&
                       *comment.heading < columns[previous]) {
                // Text after a heading's items goes on at the heading's column.
                columns[i] = *comment.heading;
            } else if (goesOn) {
                columns[i] = *goesOn;
            } else {
                columns[i] = first ? firstColumn : columns[previous];
            }
            if (first) comment.textFrom = columns[i] - columns[previous];
            if (isHeading(lines[i])) comment.heading = columns[i];
            if (opensCode(lines[i]) && ended[i])
                comment.code.emplace_back(columns[i], startsWithWord(code, u"switch"));
            else if (startsWithWord(code, u"end") && !comment.code.empty())
                comment.code.pop_back();
        }
        if (opens(lines[i]))
            open.push_back({i, std::nullopt, std::nullopt, {}});
        else if (closes(lines[i]) && !open.empty())
            open.pop_back();
        previous = i;
    }
}

}  // namespace fit
