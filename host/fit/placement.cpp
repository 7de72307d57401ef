#include "fit/placement.hpp"

#include <algorithm>
#include <array>

#include "ca/lexer/token.hpp"
#include "fit/reindent_glue.hpp"
#include "fit/text_lines.hpp"

namespace fit {
namespace {

using text::trimLeft;
using text::trimRight;

// Lines before the cursor's line that the completion may repeat before it restates the cursor line.
constexpr std::size_t kMostRestatedLines = 20;

struct CursorLine {
    std::size_t start = 0;  // offset of the line's first code unit
    std::size_t end = 0;    // offset of its line end
    std::u16string_view before;
    std::u16string_view after;
};

CursorLine cursorLineOf(const fl::ustring& file, std::size_t cursor) {
    CursorLine line;
    line.start = text::lineStart(file, cursor);
    line.end = std::max(cursor, text::lineEnd(file, cursor));
    line.before = std::u16string_view(file).substr(line.start, cursor - line.start);
    line.after = std::u16string_view(file).substr(cursor, line.end - cursor);
    return line;
}

// The `count` lines above the cursor's line, trimmed, nearest last; fewer when the file starts sooner.
std::vector<std::u16string_view> linesAbove(const fl::ustring& file, std::size_t lineStartOffset,
                                            std::size_t count) {
    std::vector<std::u16string_view> above;
    std::size_t end = lineStartOffset;
    while (above.size() < count && end > 0) {
        const std::size_t start = text::lineStart(file, end - 1);
        above.push_back(text::trim(std::u16string_view(file).substr(start, end - 1 - start)));
        end = start;
    }
    std::reverse(above.begin(), above.end());
    return above;
}

// When the completion starts by writing out again the cursor's line up to the cursor (after, perhaps,
// some whole lines above it), or the word the cursor is in, drops that and says which.
enum class Restatement { None, Word, Line, LinesAboveAndLine };

Restatement dropRestatement(const fl::ustring& file, const CursorLine& line, std::size_t mostLinesAbove,
                            std::vector<fl::ustring>& lines) {
    const std::u16string_view typed = trimLeft(line.before);
    if (typed.empty()) return Restatement::None;
    const std::size_t most = std::min(mostLinesAbove, lines.size() - 1);
    const std::vector<std::u16string_view> above = linesAbove(file, line.start, most);
    // The most lines first: lines that repeat those above are a stronger sign than a line that only
    // starts like the cursor's.
    for (std::size_t k = std::min(most, above.size()) + 1; k-- > 0;) {
        bool repeatsAbove = true;
        for (std::size_t i = 0; i < k && repeatsAbove; ++i)
            repeatsAbove = text::trim(lines[i]) == above[above.size() - k + i];
        if (!repeatsAbove) continue;
        const std::u16string_view first = trimLeft(lines[k]);
        for (std::u16string_view restated : {typed, trimRight(typed)}) {
            if (restated.empty() || !first.starts_with(restated)) continue;
            fl::ustring rest(first.substr(restated.size()));
            // Keep the blank between what was typed and what follows when the typed text had none.
            if (restated.size() < typed.size()) rest = fl::ustring(trimLeft(rest));
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
    const std::u16string_view first = trimLeft(lines.front());
    if (word.empty() || first.size() <= word.size() || !first.starts_with(word)) return Restatement::None;
    lines.front() = fl::ustring(first.substr(word.size()));
    return Restatement::Word;
}

// Columns of a line's indentation, a tab counting as four.
std::size_t columnsOf(std::u16string_view line) {
    std::size_t columns = 0;
    for (char16_t c : text::indentationOf(line))
        columns += c == u'\t' ? 4 : 1;
    return columns;
}

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

// Columns of the indentation of the line `count` lines above the line starting at `lineStartOffset`.
std::size_t columnsAbove(const fl::ustring& file, std::size_t lineStartOffset, std::size_t count) {
    std::size_t start = lineStartOffset;
    for (std::size_t i = 0; i < count && start > 0; ++i)
        start = text::lineStart(file, start - 1);
    return columnsOf(std::u16string_view(file).substr(start, text::lineEnd(file, start) - start));
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
    std::size_t above = 1;
    while (above <= count && text::isBlankText(linesAbove(file, line.start, above).front()))
        ++above;
    return columnsOf(*next) < columnsAbove(file, line.start, above);
}

// At a blank cursor line, the completion's first lines may write out again the lines just above it
// (deduplication misses them when the cursor's line holds blanks); drops the most such lines, all of
// them when the completion only repeats. A first line the model wrote at another column than the line
// it would repeat is its own (`    end` below `        end`).
void dropRepeatedLinesAbove(const fl::ustring& file, const CursorLine& line, const ReplyShape& shape,
                            std::vector<fl::ustring>& lines) {
    const std::size_t most = std::min(kMostRestatedLines, lines.size());
    const std::vector<std::u16string_view> above = linesAbove(file, line.start, most);
    for (std::size_t k = std::min(most, above.size()); k > 0; --k) {
        if (!mayStartAt(columnsAbove(file, line.start, k), line, lines, shape)) continue;
        // Blank lines may be among the repeated ones (the model writes out "end" and the blank line
        // after it), but not all of them.
        bool repeats = true, anyCode = false, onlyClosers = true;
        for (std::size_t i = 0; i < k && repeats; ++i) {
            const std::u16string_view repeated = above[above.size() - k + i];
            repeats = text::trim(lines[i]) == repeated;
            anyCode = anyCode || !repeated.empty();
            onlyClosers = onlyClosers && (repeated.empty() || text::isClosingLine(repeated));
        }
        if (!repeats || !anyCode ||
            (onlyClosers && (shape.keepsRepeats || codeGoesOnLeft(file, line, lines, k))))
            continue;
        lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(k));
        return;
    }
}

// True when the completion is the lines just above the cursor's line written out again: code typed in
// the cursor's line is not followed by them (closing lines may be kept, see ReplyShape::keepsRepeats).
bool onlyRepeatsLinesAbove(const fl::ustring& file, const CursorLine& line,
                           const std::vector<fl::ustring>& lines, bool keepClosers) {
    if (lines.size() > kMostRestatedLines) return false;
    const std::vector<std::u16string_view> above = linesAbove(file, line.start, lines.size());
    if (above.size() < lines.size()) return false;
    bool anyCode = false, onlyClosers = true;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (text::trim(lines[i]) != above[i]) return false;
        anyCode = anyCode || !above[i].empty();
        onlyClosers = onlyClosers && (above[i].empty() || text::isClosingLine(above[i]));
    }
    return anyCode && !(keepClosers && onlyClosers);
}

// True when the completion's last line ends by writing out the rest of the cursor's line (give or
// take a closing semicolon or comma), so that the rest is replaced rather than left behind.
bool repeatsRestOfLine(const std::vector<fl::ustring>& lines, std::u16string_view after) {
    const std::u16string_view rest = text::trim(after);
    if (rest.empty()) return false;
    const std::u16string_view last = trimRight(lines.back());
    const std::size_t at = last.rfind(rest);
    if (at == std::u16string_view::npos) return false;
    for (char16_t c : last.substr(at + rest.size()))
        if (c != u';' && c != u',' && !text::isBlank(c)) return false;
    return true;
}

// Offset of the innermost bracket opened on the line and not closed (the statement goes on), or npos.
std::size_t innermostOpenBracket(std::u16string_view typed) {
    std::vector<std::size_t> open;
    char16_t quote = 0;
    for (std::size_t i = 0; i < typed.size(); ++i) {
        const char16_t c = typed[i];
        if (quote) {
            quote = c == quote ? 0 : quote;
        } else if (c == u'"') {
            quote = c;
        } else if (c == u'%') {
            break;
        } else if (c == u'(' || c == u'[' || c == u'{') {
            open.push_back(i);
        } else if ((c == u')' || c == u']' || c == u'}') && !open.empty()) {
            open.pop_back();
        }
    }
    return open.empty() ? std::u16string_view::npos : open.back();
}

// Lines above the cursor's line read for the brackets a matrix written over several lines leaves open.
constexpr std::size_t kMostBracketLines = 50;

// In a matrix whose elements are separated by blanks, `[0 -1]` is two elements: a blank after the sign
// would make them one. Taken so when a number follows the sign (`[a - b]` is the likelier for a name).
// The matrix may have opened some lines above the cursor's.
bool signStartsElement(const fl::ustring& file, std::size_t cursor, std::u16string_view first) {
    if (first.empty() || first.front() < u'0' || first.front() > u'9') return false;
    std::size_t start = text::lineStart(file, cursor);
    for (std::size_t i = 0; i < kMostBracketLines && start > 0; ++i)
        start = text::lineStart(file, start - 1);
    struct Open {
        char16_t bracket;
        bool commas;
    };
    std::vector<Open> open;
    for (const ca::lexer::Token& token : ca::lexer::lex(file.substr(start, cursor - start))) {
        if (token.kind != ca::lexer::TokenKind::Punctuation || token.text.size() != 1) continue;
        const char16_t c = token.text[0];
        if (c == u'(' || c == u'[' || c == u'{')
            open.push_back({c, false});
        else if ((c == u')' || c == u']' || c == u'}') && !open.empty())
            open.pop_back();
        else if (c == u',' && !open.empty())
            open.back().commas = true;
    }
    return !open.empty() && (open.back().bracket == u'[' || open.back().bracket == u'{') &&
           !open.back().commas;
}

// The typed text ends with an anonymous function's parameters (`f = @(t, s)`): its body follows.
bool endsWithParameters(std::u16string_view end) {
    if (end.back() != u')') return false;
    int depth = 0;
    for (std::size_t i = end.size(); i-- > 0;) {
        if (end[i] == u')') ++depth;
        if (end[i] == u'(' && --depth == 0) return i > 0 && end[i - 1] == u'@';
    }
    return false;
}

bool endsWithContinuation(std::u16string_view typed) {
    const std::u16string_view end = trimRight(typed);
    if (end.empty()) return false;
    if (innermostOpenBracket(end) != std::u16string_view::npos || endsWithParameters(end)) return true;
    static constexpr std::u16string_view kOpenEnded = u"+-*/\\^=<>&|~,([{:@.?";
    if (kOpenEnded.find(end.back()) != std::u16string_view::npos) return true;
    static constexpr std::array<std::u16string_view, 11> kExpecting = {
        u"if",     u"elseif",   u"while",  u"switch", u"case",      u"for",
        u"parfor", u"function", u"return", u"global", u"persistent"};
    const std::u16string_view word = text::trailingReservedWord(end);
    return std::find(kExpecting.begin(), kExpecting.end(), word) != kExpecting.end();
}

bool startsAsContinuation(std::u16string_view first) {
    // `{` indexes what was typed (`cats` + `{c};`): a cell written as a statement of its own is rare.
    static constexpr std::u16string_view kJoining = u";,()]{}*/\\^=<>&|.'";
    if (first.empty()) return false;
    // `+ b` and `- b` with a blank after the sign are binary: no statement starts with them.
    const bool binarySign =
        (first.front() == u'+' || first.front() == u'-') && first.size() > 1 && text::isBlank(first[1]);
    return binarySign || kJoining.find(first.front()) != std::u16string_view::npos;
}

// A completion that starts with a binary operator and a blank after it ("|| b", "\\ x") gets the same
// blank before it when it continues code: the model's blank before the operator was trimmed away.
fl::ustring blankBeforeOperator(std::u16string_view typed, std::u16string_view first) {
    static constexpr std::u16string_view kOperators[] = {u"||", u"&&", u"==", u"~=", u"<=", u">=", u".*",
                                                         u"./", u".^", u"<",  u">",  u"+",  u"-",  u"*",
                                                         u"/",  u"\\", u"^",  u"&",  u"|",  u"="};
    if (typed.empty() || text::isBlank(typed.back())) return {};
    for (std::u16string_view op : kOperators)
        if (first.starts_with(op) && first.size() > op.size() && first[op.size()] == u' ') return u" ";
    return {};
}

// Whether the commas typed on the line are followed by a blank, more often than not; a line without
// one says so unless a number or a colon comes before the comma (sizes as `(1,1)` and `(:,1)`, and
// `[1,2,3]` are often written tight).
bool commasTakeBlanks(std::u16string_view typed) {
    int withBlank = 0, without = 0;
    for (std::size_t i = 0; i + 1 < typed.size(); ++i)
        if (typed[i] == u',') (text::isBlank(typed[i + 1]) ? withBlank : without) += 1;
    if (withBlank + without == 0) {
        const std::u16string_view before = trimRight(typed.substr(0, typed.size() - 1));
        return !before.empty() && !(before.back() >= u'0' && before.back() <= u'9') && before.back() != u':';
    }
    return withBlank >= without;
}

// A sign after an operator, a separator or an open bracket is unary (`= -x`): no blank follows it.
bool isUnarySign(std::u16string_view typed, std::u16string_view op) {
    if (op != u"+" && op != u"-") return false;
    const std::u16string_view before = trimRight(typed.substr(0, typed.size() - op.size()));
    return before.empty() ||
           std::u16string_view(u"=+-*/\\^<>&|~,;([{").find(before.back()) != std::u16string_view::npos;
}

// A completion that goes on after an operator written with a blank before it ("x =", "a +"), a comma
// on a line whose commas take blanks, or a keyword ("for", "if") gets a blank after it: the model's
// blank was trimmed away.
fl::ustring blankAfterOperator(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                               std::u16string_view first) {
    static constexpr std::u16string_view kOperators[] = {u"||", u"&&", u"==", u"~=", u"<=", u">=", u"<", u">",
                                                         u"+",  u"-",  u"*",  u"/",  u"&",  u"|",  u"="};
    // What joins the typed text as it is: a separator, a closing bracket, a binary operator.
    static constexpr std::u16string_view kJoining = u";,)]}*/\\^=<>&|";
    if (first.empty() || text::isBlank(first.front()) ||
        kJoining.find(first.front()) != std::u16string_view::npos)
        return {};
    for (std::u16string_view op : kOperators) {
        if (!typed.ends_with(op)) continue;
        if (isUnarySign(typed, op) || ((op == u"+" || op == u"-") && signStartsElement(file, cursor, first)))
            return {};
        return typed.size() > op.size() && typed[typed.size() - op.size() - 1] == u' ' ? fl::ustring(u" ")
                                                                                       : fl::ustring();
    }
    if (typed.ends_with(u",")) return commasTakeBlanks(typed) ? u" " : fl::ustring();
    // A keyword that a condition, a name or a list follows (`for|` + `k = 1:n`, `if|` + `(a)`).
    static constexpr std::u16string_view kKeywords[] = {u"if",     u"elseif",     u"while",  u"switch",
                                                        u"case",   u"for",        u"parfor", u"function",
                                                        u"global", u"persistent", u"catch"};
    const std::u16string_view word = text::trailingReservedWord(typed);
    for (std::u16string_view keyword : kKeywords)
        if (word == keyword && typed.size() == trimRight(typed).size()) return u" ";
    return {};
}

// The typed text ends in a comment, of its own line or after code (`x = 1; % note`), or after a `...`,
// whose line's rest is a comment too.
bool endsInComment(std::u16string_view typed) {
    if (trimLeft(typed).starts_with(u"%")) return true;
    if (typed.find(u'%') == std::u16string_view::npos && typed.find(u"...") == std::u16string_view::npos)
        return false;
    const std::vector<ca::lexer::Token> tokens = ca::lexer::lex(fl::ustring(typed));
    return !tokens.empty() && (tokens.back().kind == ca::lexer::TokenKind::Comment ||
                               tokens.back().kind == ca::lexer::TokenKind::Continuation);
}

// The first line as the model indented it (extraction trims its blanks): the formatter re-indents code
// lines, but leaves some comment lines (a help comment under a `function` line) where they stand.
fl::ustring indentedFirstLine(const fl::ustring& first, const ReplyShape& shape) {
    if (shape.headRemoved || !text::indentationOf(first).empty()) return first;
    return shape.leadingBlanks + first;
}

fl::ustring joined(const std::vector<fl::ustring>& lines) {
    return text::joinLines(lines, u"\n");
}

}  // namespace

std::vector<Edit> candidateEdits(const fl::ustring& file, std::size_t cursor, std::vector<fl::ustring> lines,
                                 const ReplyShape& shape) {
    if (lines.empty()) return {};
    const CursorLine line = cursorLineOf(file, cursor);
    const bool blankBefore = text::isBlankText(line.before);
    const bool blankAfter = text::isBlankText(line.after);
    const std::size_t end = repeatsRestOfLine(lines, line.after) ? line.end : cursor;

    if (blankBefore) {
        const std::size_t before = lines.size();
        dropRepeatedLinesAbove(file, line, shape, lines);
        if (lines.empty()) return {};
        if (lines.size() == before) lines.front() = indentedFirstLine(lines.front(), shape);
        if (blankAfter || end == line.end) return {Edit{line.start, line.end, joined(lines)}};
        // The cursor stands in the indentation of a line of code: the completion goes above that line.
        return {Edit{line.start, line.start, joined(lines) + u"\n"}};
    }

    // A completion that restates the cursor's line is tried without the restatement first, unless the
    // line is a bare comment sign and the reply put its lines below it: those are comment lines of
    // their own.
    const std::u16string_view typedCode = text::trim(line.before);
    const bool bareComment = typedCode.find_first_not_of(u'%') == std::u16string_view::npos;
    // After the lines deduplication removed (they ended at the cursor), the rest follows the cursor.
    if (!shape.headRemoved && onlyRepeatsLinesAbove(file, line, lines, shape.keepsRepeats)) return {};
    std::vector<Edit> candidates, restated;
    std::vector<fl::ustring> rest = lines;
    // Lines that deduplication removed ended where the cursor is: what follows them restates the
    // cursor's line only when it writes it out as it stands, indentation and all (deduplication may have
    // taken the line above for it, when both end alike); after a bare comment sign it is a comment line.
    const bool mayRestate = shape.headRemoved
                                ? !bareComment && trimRight(lines.front()).starts_with(line.before)
                                : !(shape.keepsRepeats && text::isClosingLine(typedCode));
    const Restatement found =
        mayRestate ? dropRestatement(file, line, shape.headRemoved ? 0 : kMostRestatedLines, rest)
                   : Restatement::None;
    // A reply that began below an empty line starts a line of its own: it restarts no word.
    if (found != Restatement::None && (found != Restatement::Word || !shape.leadingLineBreak))
        (shape.leadingLineBreak && bareComment ? restated : candidates)
            .push_back({cursor, end, joined(rest)});
    // A restated line of more than one word, after lines above it, or written out with its indentation
    // after the lines deduplication removed, is the model writing out what was typed: the completion is
    // not also put after it.
    if (found == Restatement::LinesAboveAndLine ||
        (found == Restatement::Line && !bareComment &&
         (shape.headRemoved ||
          std::any_of(typedCode.begin(), typedCode.end(), [](char16_t c) { return !text::isWordChar(c); }))))
        return candidates;
    fl::ustring blank = shape.leadingBlanks;
    if (blank.empty()) blank = blankBeforeOperator(line.before, lines.front());
    if (blank.empty()) blank = blankAfterOperator(file, cursor, line.before, lines.front());
    const Edit glue{cursor, end, blank + joined(lines)};
    if (!blankAfter) {
        candidates.push_back(glue);
        candidates.insert(candidates.end(), restated.begin(), restated.end());
        return candidates;
    }
    // At the end of a line of code: continue that line, or start a new one.
    std::vector<fl::ustring> onNewLine = lines;
    onNewLine.front() = indentedFirstLine(onNewLine.front(), shape);
    const std::size_t blankLines = shape.headRemoved ? shape.blankLinesAfterHead : shape.leadingBlankLines;
    const Edit newLine{cursor, end, fl::ustring(1 + blankLines, u'\n') + joined(onNewLine)};
    const std::u16string_view first = lines.front();
    const std::u16string_view typed = trimRight(line.before);
    const bool wordGoesOn = text::isWordChar(typed.back()) && typed.size() == line.before.size() &&
                            !first.empty() && text::isWordChar(first.front()) &&
                            text::trailingReservedWord(typed).empty();
    // A declaration's type or validators after its size: `Name (1,1)` + `string = ""`.
    const bool declarationGoesOn = typed.back() == u')' && !first.empty() &&
                                   (text::isWordChar(first.front()) || first.front() == u'{') &&
                                   declaresPropertyOrArgument(file, cursor);
    // A bare name after `catch` is its identifier (`catch|` + `ME`), not a statement of the body.
    const bool catchName = text::trailingReservedWord(typed) == u"catch" && !first.empty() &&
                           std::all_of(first.begin(), first.end(), text::isWordChar);
    const bool glueFirst = !shape.leadingLineBreak && !shape.headRemoved &&
                           (!shape.leadingBlanks.empty() || endsWithContinuation(line.before) ||
                            startsAsContinuation(first) || wordGoesOn || declarationGoesOn || catchName);
    // After a comment, code glued to it would be commented out: a completion of several lines that
    // has no blank of its own or began below an empty line starts a new line, and one line that began
    // on the cursor's line is tried as the comment's rest second.
    const bool afterComment =
        endsInComment(line.before) && (shape.leadingBlanks.empty() || shape.leadingLineBreak);
    candidates.push_back(glueFirst && !afterComment ? glue : newLine);
    // Lines that began below an empty line are not glued to the typed code either.
    if ((!afterComment && !(shape.leadingLineBreak && lines.size() > 1)) ||
        (lines.size() == 1 && !shape.leadingLineBreak))
        candidates.push_back(glueFirst && !afterComment ? newLine : glue);
    candidates.insert(candidates.end(), restated.begin(), restated.end());
    return candidates;
}

std::vector<fl::ustring> withoutRepeatedTail(const fl::ustring& file, std::size_t cursor,
                                             std::vector<fl::ustring> lines, bool evenClosingLines) {
    // The non-blank lines after the cursor's line, as many as the completion could repeat.
    std::vector<std::u16string_view> below;
    for (std::size_t at = text::nextLineStart(file, text::lineEnd(file, cursor));
         at < file.size() && below.size() + 1 < lines.size() && below.size() < kMostRestatedLines;
         at = text::nextLineStart(file, at)) {
        const std::u16string_view line =
            text::trim(std::u16string_view(file).substr(at, text::lineEnd(file, at) - at));
        if (!line.empty()) below.push_back(line);
    }
    std::vector<std::size_t> codeLines;  // indexes of the completion's non-blank lines
    for (std::size_t i = 0; i < lines.size(); ++i)
        if (!text::isBlankText(lines[i])) codeLines.push_back(i);
    for (std::size_t k =
             std::min(below.size(), codeLines.size() - std::min<std::size_t>(codeLines.size(), 1));
         k > 0; --k) {
        bool repeats = true;
        for (std::size_t i = 0; i < k && repeats; ++i)
            repeats = text::trim(lines[codeLines[codeLines.size() - k + i]]) == below[i];
        if (!repeats) continue;
        // Lines that only close blocks are as likely the completion's own `end`s.
        bool onlyClosers = true;
        for (std::size_t i = 0; i < k && onlyClosers; ++i)
            onlyClosers = text::isClosingLine(below[i]);
        if (onlyClosers && !evenClosingLines) return lines;
        lines.resize(codeLines[codeLines.size() - k]);
        while (!lines.empty() && text::isBlankText(lines.back()))
            lines.pop_back();
        return lines;
    }
    return lines;
}

bool onlyRepeatsTheReplysHead(const fl::ustring& file, std::size_t cursor,
                              const std::vector<fl::ustring>& lines, const std::vector<fl::ustring>& reply) {
    if (lines.empty() || lines.size() >= reply.size()) return false;
    for (std::size_t i = 0; i < lines.size(); ++i)
        if (text::trim(lines[i]) != text::trim(reply[i])) return false;
    // The reply's first lines that write out again the lines just above the cursor's line.
    const std::size_t most = std::min(kMostRestatedLines, reply.size() - 1);
    const std::vector<std::u16string_view> above = linesAbove(file, text::lineStart(file, cursor), most);
    for (std::size_t k = std::min(most, above.size()); k >= lines.size() && k > 0; --k) {
        bool repeats = true, anyCode = false;
        for (std::size_t i = 0; i < k && repeats; ++i) {
            repeats = text::trim(reply[i]) == above[above.size() - k + i];
            anyCode = anyCode || !above[above.size() - k + i].empty();
        }
        if (repeats && anyCode) return true;
    }
    return false;
}

bool removedHeadStandsApart(const fl::ustring& file, std::size_t cursor, const ReplyShape& shape) {
    const CursorLine line = cursorLineOf(file, cursor);
    if (shape.removedHead.empty() || shape.leadingBlanks.empty() || !text::isBlankText(line.before))
        return false;
    std::size_t above = 1;
    while (above <= kMostRestatedLines && line.start > 0 &&
           text::isBlankText(linesAbove(file, line.start, above).front()))
        ++above;
    if (above > kMostRestatedLines || linesAbove(file, line.start, above).size() < above) return false;
    const std::size_t column = columnsAbove(file, line.start, above);
    const std::size_t own = columnsOf(shape.leadingBlanks);
    return column != own && column != own + columnsOf(line.before);
}

Edit minimalEdit(const fl::ustring& file, std::size_t cursor, Edit edit) {
    std::size_t same = 0;
    while (edit.start + same < cursor && edit.start + same < edit.end && same < edit.text.size() &&
           edit.text[same] == file[edit.start + same])
        ++same;
    edit.start += same;
    edit.text.erase(0, same);
    std::size_t tail = 0;
    while (edit.end - tail > std::max(cursor, edit.start) && tail < edit.text.size() &&
           edit.text[edit.text.size() - 1 - tail] == file[edit.end - 1 - tail])
        ++tail;
    edit.end -= tail;
    edit.text.resize(edit.text.size() - tail);
    return edit;
}

}  // namespace fit
