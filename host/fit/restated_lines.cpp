#include "fit/restated_lines.hpp"

#include <algorithm>

#include "fit/reindent_block_comment.hpp"
#include "fit/text_lines.hpp"
#include "quorvanta/function_registry.hpp"

namespace fit {
namespace {

// Whether the model may have written the completion's first line at `column`, as far as the reply
// shows: its own blanks count from the margin or from the cursor. A line without blanks after blanks
// typed before the cursor, or in a reply without blanks anywhere, says nothing.
bool mayStartAt(std::size_t column, const CursorLine& line, const std::vector<fl::ustring>& lines,
                const ReplyShape& shape) {
    const auto isIndented = [](const fl::ustring& l) { return !text::indentationOf(l).empty(); };
    const bool indented = std::any_of(lines.begin(), lines.end(), isIndented) ||
                          !shape.leadingBlanks.empty() ||
                          std::any_of(shape.removedHead.begin(), shape.removedHead.end(), isIndented);
    // After lines deduplication removed, the kept first line stands where the model wrote it.
    if (shape.headRemoved) return !indented || column == columnsOf(lines.front());
    const std::size_t own = text::indentationOf(lines.front()).empty() ? columnsOf(shape.leadingBlanks)
                                                                       : columnsOf(lines.front());
    if (own == 0) return !line.before.empty() || !indented || column == 0;
    return column == own || column == own + columnsOf(line.before);
}

// True when the completion's first code line after its first `count` lines, which only close blocks,
// is no closing line and stands left of the nearest code line above the cursor's (in a reply that shows
// its indentation): those lines closed the blocks it goes back out of, they are no repeat.
bool codeGoesOnLeft(const fl::ustring& file, const CursorLine& line, const std::vector<fl::ustring>& lines,
                    std::size_t count) {
    auto next = std::find_if(lines.begin() + static_cast<std::ptrdiff_t>(count), lines.end(),
                             [](const fl::ustring& l) { return !text::isBlankText(l); });
    if (next == lines.end() || text::isClosingLine(text::trim(*next)) || text::indentationOf(*next).empty())
        return false;
    const std::size_t nearest = nearestCodeLineAbove(file, line.start, count);
    return columnsOf(*next) < columnsAbove(file, line.start, nearest == 0 ? count + 1 : nearest);
}

bool anyCode(const std::vector<std::u16string_view>& lines) {
    return std::any_of(lines.begin(), lines.end(), [](std::u16string_view l) { return !l.empty(); });
}

// Blank lines aside, every line only closes a block.
bool onlyClosers(const std::vector<std::u16string_view>& lines) {
    return std::all_of(lines.begin(), lines.end(),
                       [](std::u16string_view l) { return l.empty() || text::isClosingLine(l); });
}

// A block comment's `%}` under another closes a comment open around both.
bool onlyCommentClosers(const std::vector<std::u16string_view>& lines) {
    return std::all_of(lines.begin(), lines.end(),
                       [](std::u16string_view l) { return l.empty() || closesBlockComment(l); });
}

// Whether the innermost bracket `text` leaves open is a matrix's or a cell array's, whose elements blanks
// separate.
bool endsAmongElements(std::u16string_view text) {
    std::u16string open;
    for (char16_t c : text)
        if (c == u'(' || c == u'[' || c == u'{')
            open.push_back(c);
        else if ((c == u')' || c == u']' || c == u'}') && !open.empty())
            open.pop_back();
    return !open.empty() && open.back() != u'(';
}

std::vector<std::u16string_view> lastOf(const std::vector<std::u16string_view>& lines, std::size_t k) {
    return {lines.end() - static_cast<std::ptrdiff_t>(k), lines.end()};
}

}  // namespace

Restatement dropRestatement(const fl::ustring& file, const CursorLine& line, std::size_t mostLinesAbove,
                            std::vector<fl::ustring>& lines) {
    const std::u16string_view typed = text::trimLeft(line.before);
    if (typed.empty()) return Restatement::None;
    const std::size_t most = std::min(mostLinesAbove, lines.size() - 1);
    const std::vector<std::u16string_view> above = linesAbove(file, line.start, most);
    // The most lines first: lines that repeat those above are a stronger sign than a line that only
    // starts like the cursor's.
    for (std::size_t k = std::min(most, above.size()) + 1; k-- > 0;) {
        if (!startsWithLastOf(lines, above, k)) continue;
        const std::u16string_view first = text::trimLeft(lines[k]);
        for (std::u16string_view restated : {typed, text::trimRight(typed)}) {
            if (restated.empty() || !first.starts_with(restated)) continue;
            fl::ustring rest(first.substr(restated.size()));
            // Keep the blank between what was typed and what follows when the typed text had none.
            if (restated.size() < typed.size()) rest = fl::ustring(text::trimLeft(rest));
            lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(k));
            lines.front() = std::move(rest);
            return k > 0 ? Restatement::LinesAboveAndLine : Restatement::Line;
        }
    }
    // The model may also restart just the word the cursor is in.
    std::size_t wordStart = line.before.size();
    while (wordStart > 0 && text::isWordChar(line.before[wordStart - 1]))
        --wordStart;
    const std::u16string_view word = line.before.substr(wordStart);
    const std::u16string_view first = text::trimLeft(lines.front());
    // Digits are a number's, not a name's: `4.5` + `5.5 6.5]` is the next element, not `5` restarted.
    // Among a matrix's elements a whole word and a blank after it is the next one too (`[false true` +
    // `true false]`); elsewhere the model restarts the word (`r = total` + `total + 1;`), but for a
    // one-letter name that the completion writes as a word of its own: math's short names follow each
    // other (`[ c*c` + `c*s -c*c`).
    if (word.empty() || (word.front() >= u'0' && word.front() <= u'9') || first.size() <= word.size() ||
        !first.starts_with(word) || (text::isBlank(first[word.size()]) && endsAmongElements(line.before)) ||
        (word.size() == 1 && !text::isWordChar(first[1])))
        return Restatement::None;
    lines.front() = fl::ustring(first.substr(word.size()));
    return Restatement::Word;
}

std::optional<std::size_t> dropCorrectedWord(const fl::ustring& file, const CursorLine& line,
                                             std::vector<fl::ustring>& lines) {
    std::size_t wordStart = line.before.size();
    while (wordStart > 0 && text::isWordChar(line.before[wordStart - 1]))
        --wordStart;
    const std::u16string_view word = line.before.substr(wordStart);
    const std::u16string_view head = text::trimLeft(line.before.substr(0, wordStart));
    const std::u16string_view first = text::trimLeft(lines.front());
    const auto isLetter = [](char16_t c) { return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z'); };
    if (word.size() < 2 || !isLetter(word.front()) || !first.starts_with(head)) return std::nullopt;
    std::size_t replyEnd = head.size();
    while (replyEnd < first.size() && text::isWordChar(first[replyEnd]))
        ++replyEnd;
    const std::u16string_view corrected = first.substr(head.size(), replyEnd - head.size());
    if (corrected.size() <= word.size() || corrected.front() != word.front() || corrected.starts_with(word))
        return std::nullopt;
    // The typed letters in order in the corrected name.
    std::size_t matched = 0;
    for (std::size_t i = 0; i < corrected.size() && matched < word.size(); ++i)
        matched += corrected[i] == word[matched] ? 1 : 0;
    if (matched < word.size()) return std::nullopt;
    // A name the file writes elsewhere is the writer's own; the corrected one must be a name known to be.
    const Quorvanta::FunctionOrigin origin = Quorvanta::functionRegistry::lookup(corrected);
    if (text::hasWholeWord(file, word, line.start, line.end + 1) ||
        !(text::hasWholeWord(file, corrected) || origin == Quorvanta::FunctionOrigin::BuiltIn ||
          origin == Quorvanta::FunctionOrigin::Library))
        return std::nullopt;
    lines.front() = fl::ustring(first.substr(head.size()));
    return word.size();
}

void dropRepeatedLinesAbove(const fl::ustring& file, const CursorLine& line, const ReplyShape& shape,
                            std::vector<fl::ustring>& lines) {
    if (removedHeadWroteOutWholeLines(file, line.start + line.before.size(), shape)) return;
    const std::size_t most = std::min(kMostRestatedLines, lines.size());
    const std::vector<std::u16string_view> above = linesAbove(file, line.start, most);
    for (std::size_t k = std::min(most, above.size()); k > 0; --k) {
        if (!mayStartAt(columnsAbove(file, line.start, k), line, lines, shape)) continue;
        if (!startsWithLastOf(lines, above, k)) continue;
        // Blank lines may be among the repeated ones (the model writes out "end" and the blank line
        // after it), but not all of them.
        const std::vector<std::u16string_view> repeated = lastOf(above, k);
        if (!anyCode(repeated) ||
            (onlyClosers(repeated) && (shape.keepsRepeats || codeGoesOnLeft(file, line, lines, k))) ||
            (onlyCommentClosers(repeated) && shape.keepsRepeats))
            continue;
        lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(k));
        return;
    }
}

std::vector<fl::ustring> withoutClosersAbove(const fl::ustring& file, std::size_t cursor,
                                             const std::vector<fl::ustring>& lines) {
    const CursorLine line = cursorLineOf(file, cursor);
    if (!text::isBlankText(line.before)) return {};
    const std::size_t most =
        std::min(kMostRestatedLines, lines.size() - std::min<std::size_t>(lines.size(), 1));
    const std::vector<std::u16string_view> above = linesAbove(file, line.start, most);
    for (std::size_t k = std::min(most, above.size()); k > 0; --k) {
        const std::vector<std::u16string_view> repeated = lastOf(above, k);
        if (anyCode(repeated) && onlyClosers(repeated) && startsWithLastOf(lines, above, k))
            return {lines.begin() + static_cast<std::ptrdiff_t>(k), lines.end()};
    }
    return {};
}

bool onlyRepeatsLinesAbove(const fl::ustring& file, const CursorLine& line,
                           const std::vector<fl::ustring>& lines, const ReplyShape& shape) {
    if (lines.size() > kMostRestatedLines) return false;
    const std::vector<std::u16string_view> above = linesAbove(file, line.start, lines.size());
    if (above.size() < lines.size() || !startsWithLastOf(lines, above, lines.size())) return false;
    return anyCode(above) && !(shape.keepsRepeats && onlyClosers(above));
}

bool onlyRepeatsTheReplysHead(const fl::ustring& file, std::size_t cursor,
                              const std::vector<fl::ustring>& lines, const std::vector<fl::ustring>& reply) {
    if (lines.empty() || lines.size() >= reply.size()) return false;
    for (std::size_t i = 0; i < lines.size(); ++i)
        if (text::trim(lines[i]) != text::trim(reply[i])) return false;
    // The reply's first lines that write out again the lines just above the cursor's line.
    const std::size_t most = std::min(kMostRestatedLines, reply.size() - 1);
    const std::vector<std::u16string_view> above = linesAbove(file, text::lineStart(file, cursor), most);
    for (std::size_t k = std::min(most, above.size()); k >= lines.size() && k > 0; --k)
        if (startsWithLastOf(reply, above, k) && anyCode(lastOf(above, k))) return true;
    return false;
}

bool removedHeadStandsApart(const fl::ustring& file, std::size_t cursor, const ReplyShape& shape,
                            const std::vector<fl::ustring>& lines) {
    const CursorLine line = cursorLineOf(file, cursor);
    const bool atMargin = line.before.empty() && text::isBlankText(line.after) &&
                          std::any_of(lines.begin(), lines.end(), [](const fl::ustring& other) {
                              return !text::indentationOf(other).empty() && !text::isBlankText(other);
                          });
    if (shape.removedHead.empty() || (shape.leadingBlanks.empty() && !atMargin) ||
        !text::isBlankText(line.before))
        return false;
    const std::size_t nearest = nearestCodeLineAbove(file, line.start, kMostRestatedLines);
    if (nearest == 0) return false;
    const std::size_t column = columnsAbove(file, line.start, nearest);
    const std::size_t own = columnsOf(shape.leadingBlanks);
    return column != own && column != own + columnsOf(line.before);
}

bool removedHeadWroteOutWholeLines(const fl::ustring& file, std::size_t cursor, const ReplyShape& shape) {
    if (!shape.headRemoved || shape.removedHead.size() < 2) return false;
    const CursorLine line = cursorLineOf(file, cursor);
    std::u16string_view last = text::trim(line.before);
    if (last.empty()) {
        const std::vector<std::u16string_view> above = linesAbove(file, line.start, 1);
        if (above.empty()) return false;
        last = above.back();
    }
    return !last.empty() && text::trim(shape.removedHead.back()) == last;
}

}  // namespace fit
