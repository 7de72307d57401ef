#include "fit/line_end_glue.hpp"

#include <algorithm>
#include <array>
#include <optional>

#include "ca/lexer/token.hpp"
#include "fit/reindent_glue.hpp"
#include "fit/text_lines.hpp"

namespace fit {
namespace {

using text::trimLeft;
using text::trimRight;

// True when a bracket opened on the line is not closed (the statement goes on); a comment ends the code.
bool leavesBracketOpen(std::u16string_view typed) {
    std::size_t open = 0;
    char16_t quote = 0;
    for (char16_t c : typed) {
        if (quote) {
            quote = c == quote ? 0 : quote;
        } else if (c == u'"') {
            quote = c;
        } else if (c == u'%') {
            break;
        } else if (c == u'(' || c == u'[' || c == u'{') {
            ++open;
        } else if ((c == u')' || c == u']' || c == u'}') && open > 0) {
            --open;
        }
    }
    return open > 0;
}

// Lines above the cursor's line read for the brackets a matrix written over several lines leaves open.
constexpr std::size_t kMostBracketLines = 50;

struct OpenBracket {
    char16_t bracket = 0;
    bool commas = false;
    std::size_t line = 0;  // offset of the line it opens on
};

// The innermost bracket left open before the cursor, looked for from up to kMostBracketLines above.
std::optional<OpenBracket> innermostOpenBracket(const fl::ustring& file, std::size_t cursor) {
    std::size_t start = text::lineStart(file, cursor);
    for (std::size_t i = 0; i < kMostBracketLines && start > 0; ++i)
        start = text::lineStart(file, start - 1);
    std::vector<OpenBracket> open;
    for (const ca::lexer::Token& token : ca::lexer::lex(file.substr(start, cursor - start))) {
        if (token.kind != ca::lexer::TokenKind::Punctuation || token.text.size() != 1) continue;
        const char16_t c = token.text[0];
        if (c == u'(' || c == u'[' || c == u'{')
            open.push_back({c, false, text::lineStart(file, start + token.offset)});
        else if ((c == u')' || c == u']' || c == u'}') && !open.empty())
            open.pop_back();
        else if (c == u',' && !open.empty())
            open.back().commas = true;
    }
    if (open.empty()) return std::nullopt;
    return open.back();
}

bool isDigit(char16_t c) {
    return c >= u'0' && c <= u'9';
}

// In a matrix whose elements are separated by blanks, `[0 -1]` is two elements: a blank after the sign
// would make them one. Taken so when a number follows the sign (`[a - b]` is the likelier for a name).
// The matrix may have opened some lines above the cursor's.
bool signStartsElement(const fl::ustring& file, std::size_t cursor, std::u16string_view first) {
    if (first.empty() || !isDigit(first.front())) return false;
    const auto open = innermostOpenBracket(file, cursor);
    return open && (open->bracket == u'[' || open->bracket == u'{') && !open->commas;
}

// The elements of a matrix row: what blanks and commas separate, after the row's opening bracket.
std::size_t rowElements(std::u16string_view row) {
    if (const std::size_t bracket = row.find_last_of(u"[{"); bracket != std::u16string_view::npos)
        row = row.substr(bracket + 1);
    std::size_t elements = 0;
    bool inElement = false;
    for (char16_t c : row) {
        const bool separates = text::isBlank(c) || c == u',' || c == u';' || c == u']' || c == u'}';
        if (!separates && !inElement) ++elements;
        inElement = !separates;
    }
    return elements;
}

// A number, or a sign and a number (`-2.5`): what starts a matrix's next element.
bool startsNumber(std::u16string_view first) {
    if (!first.empty() && (first.front() == u'-' || first.front() == u'+')) first.remove_prefix(1);
    return !first.empty() && isDigit(first.front());
}

// The length of the matrix's rows: the row above the cursor's, or, where that is the line the matrix
// opens on, the row below it.
std::size_t rowLength(const fl::ustring& file, std::size_t lineStart, std::size_t openLine) {
    const std::u16string_view text(file);
    const std::size_t above = text::lineStart(file, lineStart - 1);
    if (above != openLine) return rowElements(text.substr(above, lineStart - 1 - above));
    const std::size_t below = file.find(u'\n', lineStart);
    if (below == fl::ustring::npos) return 0;
    return rowElements(text.substr(below + 1, text::lineEnd(file, below + 1) - below - 1));
}

// A number typed at the end of a row of a matrix written one row per line, in a row shorter than the
// matrix's other rows, is followed by the row's next element (`3.9967|` + `0.7695 ...`, `-3.4923|` +
// `-2.0611 ...`): the blank between them was trimmed from the reply.
bool rowGoesOn(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
               std::u16string_view first) {
    if (typed.empty() || !isDigit(typed.back()) || !startsNumber(first)) return false;
    const std::size_t lineStart = text::lineStart(file, cursor);
    const auto open = innermostOpenBracket(file, cursor);
    if (!open || (open->bracket != u'[' && open->bracket != u'{') || open->line == lineStart) return false;
    return rowElements(typed) < rowLength(file, lineStart, open->line);
}

// A number with a decimal point typed in a matrix, and a completion that starts with another: glued,
// `4.5` + `5.5 6.5]` would read as the elements `4.55` and `.5`; the blank between them was trimmed.
bool decimalsWouldRun(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                      std::u16string_view first) {
    std::size_t start = typed.size();
    while (start > 0 && (isDigit(typed[start - 1]) || typed[start - 1] == u'.'))
        --start;
    const std::u16string_view typedNumber = typed.substr(start);
    std::size_t digits = 0;
    while (digits < first.size() && isDigit(first[digits]))
        ++digits;
    if (typedNumber.find(u'.') == std::u16string_view::npos || !isDigit(typedNumber.back()) || digits == 0 ||
        digits == first.size() || first[digits] != u'.')
        return false;
    const auto open = innermostOpenBracket(file, cursor);
    return open && (open->bracket == u'[' || open->bracket == u'{');
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

// The typed text is open-ended: an operator, a separator, an open bracket anywhere on the line, or a
// keyword that an expression or a name follows.
bool endsWithContinuation(std::u16string_view typed) {
    const std::u16string_view end = trimRight(typed);
    if (end.empty()) return false;
    if (leavesBracketOpen(end) || endsWithParameters(end)) return true;
    static constexpr std::u16string_view kOpenEnded = u"+-*/\\^=<>&|~,([{:@.?";
    if (kOpenEnded.find(end.back()) != std::u16string_view::npos) return true;
    static constexpr std::array<std::u16string_view, 12> kExpecting = {
        u"if",     u"elseif",   u"while",  u"switch", u"case",       u"for",
        u"parfor", u"function", u"return", u"global", u"persistent", u"classdef"};
    const std::u16string_view word = text::trailingReservedWord(end);
    return std::find(kExpecting.begin(), kExpecting.end(), word) != kExpecting.end();
}

// The completion starts with what joins code before it: a separator, a bracket, a binary operator.
bool startsAsContinuation(std::u16string_view first) {
    // `{` indexes what was typed (`cats` + `{c};`): a cell written as a statement of its own is rare.
    static constexpr std::u16string_view kJoining = u";,()]{}*/\\^=<>&|.'";
    if (first.empty()) return false;
    // `+ b` and `- b` with a blank after the sign are binary: no statement starts with them.
    const bool binarySign =
        (first.front() == u'+' || first.front() == u'-') && first.size() > 1 && text::isBlank(first[1]);
    return binarySign || first.starts_with(u"~=") ||
           kJoining.find(first.front()) != std::u16string_view::npos;
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

// An assignment's `=` that the completion starts with (`report.quarterN|` + `= qCount';`) lines up with
// the `=` of the line above where the two lines above pad one to line them up: the model's blanks before
// it were trimmed away.
fl::ustring blanksToLinedUpEquals(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                                  std::u16string_view first) {
    if (typed.empty() || text::isBlank(typed.back()) || !first.starts_with(u"= ")) return {};
    struct Equals {
        std::size_t column = 0;
        bool padded = false;
    };
    // The assignment's `=` on the line above the one that starts at `start`.
    const auto equalsAbove = [&](std::size_t start) -> std::optional<Equals> {
        if (start == 0) return std::nullopt;
        const std::size_t above = text::lineStart(file, start - 1);
        const std::u16string_view line = std::u16string_view(file).substr(above, start - 1 - above);
        const std::size_t at = line.find(u'=');
        if (at < 2 || at + 1 >= line.size() || line[at + 1] == u'=' || !text::isBlank(line[at - 1]))
            return std::nullopt;
        return Equals{at, text::isBlank(line[at - 2])};
    };
    const std::size_t lineStart = text::lineStart(file, cursor);
    const std::optional<Equals> above = equalsAbove(lineStart);
    if (!above || above->column <= typed.size()) return {};
    const std::optional<Equals> twoAbove = equalsAbove(text::lineStart(file, lineStart - 1));
    if (!above->padded && !(twoAbove && twoAbove->padded && twoAbove->column == above->column)) return {};
    return fl::ustring(above->column - typed.size(), u' ');
}

// Whether a comma typed at the end of the line takes a blank after it: as the line's other commas do,
// more often than not; with none, not after a number or a colon (sizes as `(1,1)` and `(:,1)`, and
// `[1,2,3]` are often written tight); otherwise as the lines around the cursor do, and where they show
// nothing, yes.
bool commaTakesBlank(const fl::ustring& file, std::size_t cursor, std::u16string_view typed) {
    int withBlank = 0, without = 0;
    for (std::size_t i = 0; i + 1 < typed.size(); ++i)
        if (typed[i] == u',') (text::isBlank(typed[i + 1]) ? withBlank : without) += 1;
    if (withBlank + without > 0) return withBlank >= without;
    const std::u16string_view before = trimRight(typed.substr(0, typed.size() - 1));
    if (before.empty() || (before.back() >= u'0' && before.back() <= u'9') || before.back() == u':')
        return false;
    return separatorSpacingAround(file, cursor, u',').value_or(true);
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
    if (typed.ends_with(u",")) return commaTakesBlank(file, cursor, typed) ? u" " : fl::ustring();
    // A keyword that a condition, a name or a list follows (`for|` + `k = 1:n`, `if|` + `(a)`).
    static constexpr std::u16string_view kKeywords[] = {u"if",     u"elseif",     u"while",  u"switch",
                                                        u"case",   u"for",        u"parfor", u"function",
                                                        u"global", u"persistent", u"catch",  u"classdef"};
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

// The typed line opens a block and writes a statement of it after a separator (`if x, y = 1;`) without
// closing it: the author writes the block on one line, and its `end` goes there too.
bool leavesOneLineBlockOpen(std::u16string_view typed) {
    using ca::lexer::TokenKind;
    static constexpr std::array<std::u16string_view, 6> kOpeners = {u"if",    u"for", u"parfor",
                                                                    u"while", u"try", u"switch"};
    int depth = 0;
    int open = 0;
    bool separated = false;
    bool statement = false;
    for (const ca::lexer::Token& token : ca::lexer::lex(fl::ustring(typed))) {
        const std::u16string_view word = token.text;
        if (token.kind == TokenKind::Blank || token.kind == TokenKind::Comment) continue;
        if (token.kind == TokenKind::Punctuation && depth == 0 && (word == u"," || word == u";")) {
            separated = open > 0;
            continue;
        }
        statement = statement || separated;
        if (token.kind == TokenKind::Punctuation && word.find_first_of(u"([{") == 0) ++depth;
        if (token.kind == TokenKind::Punctuation && word.find_first_of(u")]}") == 0) --depth;
        if (token.kind != TokenKind::Keyword || depth != 0) continue;
        if (std::find(kOpeners.begin(), kOpeners.end(), word) != kOpeners.end()) ++open;
        if (word == u"end") --open;
    }
    return open > 0 && statement;
}

// The typed code goes on with the completion: the typed text is open-ended, the completion starts as
// a continuation, a word goes on, a declaration's type follows its size, or a name follows `catch`.
bool typedCodeGoesOn(const fl::ustring& file, std::size_t cursor, std::u16string_view typedLine,
                     std::u16string_view first) {
    const std::u16string_view typed = trimRight(typedLine);
    const bool wordGoesOn = text::isWordChar(typed.back()) && typed.size() == typedLine.size() &&
                            !first.empty() && text::isWordChar(first.front()) &&
                            text::trailingReservedWord(typed).empty();
    // A declaration's type or validators after its size: `Name (1,1)` + `string = ""`.
    const bool declarationGoesOn = typed.back() == u')' && !first.empty() &&
                                   (text::isWordChar(first.front()) || first.front() == u'{') &&
                                   declaresPropertyOrArgument(file, cursor);
    // A bare name after `catch` is its identifier (`catch|` + `ME`), not a statement of the body.
    const bool catchName = text::trailingReservedWord(typed) == u"catch" && !first.empty() &&
                           std::all_of(first.begin(), first.end(), text::isWordChar);
    return endsWithContinuation(typedLine) || startsAsContinuation(first) || wordGoesOn ||
           declarationGoesOn || catchName;
}

}  // namespace

fl::ustring blankBeforeCompletion(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                                  std::u16string_view first, const ReplyShape& shape) {
    if (!shape.leadingBlanks.empty()) return shape.leadingBlanks;
    if (fl::ustring blanks = blanksToLinedUpEquals(file, cursor, typed, first); !blanks.empty())
        return blanks;
    if (fl::ustring blank = blankBeforeOperator(typed, first); !blank.empty()) return blank;
    return blankAfterOperator(file, cursor, typed, first);
}

std::vector<Edit> lineEndPlacements(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                                    const std::vector<fl::ustring>& lines, const ReplyShape& shape,
                                    const Edit& glue, const Edit& newLine) {
    // A closing word glued to the word typed before it would make one name of them (`false` + `end`).
    if (!typed.empty() && text::isWordChar(typed.back()) && text::isClosingLine(text::trim(lines.front())) &&
        !glue.text.empty() && text::isWordChar(glue.text.front()))
        return {newLine};
    // A reply that began below an empty line, or after the lines deduplication removed, starts a line.
    const bool glueFirst =
        !shape.leadingLineBreak && !shape.headRemoved &&
        (!shape.leadingBlanks.empty() || typedCodeGoesOn(file, cursor, typed, lines.front()));
    // After a comment, code glued to it would be commented out: a completion of several lines that
    // has no blank of its own or began below an empty line starts a new line, and one line that began
    // on the cursor's line is tried as the comment's rest second.
    const bool afterComment = endsInComment(typed) && (shape.leadingBlanks.empty() || shape.leadingLineBreak);
    // A matrix row shorter than the row above goes on: the number typed may go on too, or a blank
    // separates the next element from it.
    if (!afterComment && shape.leadingBlanks.empty() && !shape.leadingLineBreak) {
        Edit spaced{glue.start, glue.end, u" " + glue.text};
        if (leavesOneLineBlockOpen(typed) && text::isClosingLine(text::trim(lines.front())))
            return {spaced, newLine};
        if (decimalsWouldRun(file, cursor, typed, lines.front())) return {spaced, newLine};
        // Glued, a sign would subtract the next element from the typed one.
        if (rowGoesOn(file, cursor, typed, lines.front()))
            return isDigit(lines.front().front()) ? std::vector<Edit>{glue, spaced, newLine}
                                                  : std::vector<Edit>{spaced, newLine};
    }
    std::vector<Edit> placements{glueFirst && !afterComment ? glue : newLine};
    // Lines that began below an empty line are not glued to the typed code either.
    if ((!afterComment && !(shape.leadingLineBreak && lines.size() > 1)) ||
        (lines.size() == 1 && !shape.leadingLineBreak))
        placements.push_back(glueFirst && !afterComment ? newLine : glue);
    return placements;
}

}  // namespace fit
