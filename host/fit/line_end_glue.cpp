#include "fit/line_end_glue.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <utility>

#include "ca/lexer/token.hpp"
#include "fit/lined_up_cells.hpp"
#include "fit/reindent_glue.hpp"
#include "fit/reindent_window.hpp"
#include "fit/text_lines.hpp"
#include "quorvanta/function_registry.hpp"

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

// Whether the completion's first line separates the open bracket's elements with a comma before it
// closes the bracket (`2*(y^2 + z^2),   2*(x*y - w*z)` after `R = [1 -`).
bool goesOnWithCommas(std::u16string_view first) {
    int depth = 0;
    for (std::size_t i = 0; i < first.size(); ++i) {
        const char16_t c = first[i];
        if (c == u'%') return false;
        if (c == u'"' || (c == u'\'' && (i == 0 || !(text::isWordChar(first[i - 1]) ||
                                                     std::u16string_view(u")]}'.").find(first[i - 1]) !=
                                                         std::u16string_view::npos)))) {
            const std::size_t close = first.find(c, i + 1);
            if (close == std::u16string_view::npos) return false;
            i = close;
        } else if (c == u'(' || c == u'[' || c == u'{') {
            ++depth;
        } else if (c == u')' || c == u']' || c == u'}') {
            if (--depth < 0) return false;
        } else if (c == u',' && depth == 0) {
            return true;
        }
    }
    return false;
}

// In a matrix whose elements are separated by blanks, `[0 -1]` is two elements: a blank after the sign
// would make them one. Taken so when a number follows the sign (`[a - b]` is the likelier for a name).
// The matrix may have opened some lines above the cursor's; one whose elements the completion goes on to
// separate with commas is no such matrix.
bool signStartsElement(const fl::ustring& file, std::size_t cursor, std::u16string_view first) {
    if (first.empty() || !isDigit(first.front())) return false;
    const auto open = innermostOpenBracket(file, cursor);
    return open && (open->bracket == u'[' || open->bracket == u'{') && !open->commas &&
           !goesOnWithCommas(first);
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

// A signed number after a number in a matrix whose elements blanks separate (`[2 0` + `-1]`) is the
// next element: nobody writes `0-1` there.
bool signedNumberFollowsNumber(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                               std::u16string_view first) {
    std::size_t start = typed.size();
    while (start > 0 && (text::isWordChar(typed[start - 1]) || typed[start - 1] == u'.'))
        --start;
    if (start == typed.size() || !isDigit(typed[start]) || !isDigit(typed.back()) || first.size() < 2 ||
        (first.front() != u'-' && first.front() != u'+') || !isDigit(first[1]))
        return false;
    const auto open = innermostOpenBracket(file, cursor);
    return open && (open->bracket == u'[' || open->bracket == u'{') && !open->commas;
}

// The element count of the complete rows of a matrix opened on the typed line (`[0 0 0; 1 0 0; 1 0.6`
// has rows of three); nothing where they differ or none is complete.
std::optional<std::size_t> typedRowsLength(std::u16string_view typed) {
    std::u16string_view rows = typed.substr(typed.find_last_of(u"[{") + 1);
    std::optional<std::size_t> length;
    for (std::size_t semicolon = rows.find(u';'); semicolon != std::u16string_view::npos;
         semicolon = rows.find(u';')) {
        const std::size_t elements = rowElements(rows.substr(0, semicolon));
        if (length && *length != elements) return std::nullopt;
        length = elements;
        rows.remove_prefix(semicolon + 1);
    }
    if (length && *length < 2) return std::nullopt;
    return length;
}

// A number typed at the end of a row of a matrix, in a row shorter than the matrix's other rows, is
// followed by the row's next element (`3.9967|` + `0.7695 ...`, `-3.4923|` + `-2.0611 ...`): the blank
// between them was trimmed from the reply.
bool rowGoesOn(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
               std::u16string_view first) {
    if (typed.empty() || !isDigit(typed.back()) || !startsNumber(first)) return false;
    const std::size_t lineStart = text::lineStart(file, cursor);
    const auto open = innermostOpenBracket(file, cursor);
    if (!open || (open->bracket != u'[' && open->bracket != u'{')) return false;
    if (open->line != lineStart) return rowElements(typed) < rowLength(file, lineStart, open->line);
    // A matrix opened on the typed line, its rows ended by `;`s (`[0 0 0; 1 0 0; 1 0.6|` + `0; ...`).
    const auto length = typedRowsLength(typed);
    return length && rowElements(typed.substr(typed.find_last_of(u"[{;") + 1)) < *length;
}

// A text that starts the completion, in a matrix or a cell whose elements blanks separate, after an
// element the typed row ends with (`['"' text|` + `'"'];`, `"on" "with"|` + `"as" "by"];`): the row's
// next element, where glued its quote would be a transpose or a quote inside the typed text. Only in a row
// shorter than the one above, or in a matrix opened on the typed line (texts joined: `[name` + `'.hex']`),
// or a cell opened there after a text.
bool textElementFollows(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                        std::u16string_view first) {
    if (typed.empty() || first.size() < 2 || (first.front() != u'\'' && first.front() != u'"')) return false;
    const char16_t last = typed.back();
    if (!(text::isWordChar(last) || std::u16string_view(u")]}'\"").find(last) != std::u16string_view::npos))
        return false;
    using ca::lexer::TokenKind;
    const auto unterminated = [](const ca::lexer::Token& token) {
        return token.kind == TokenKind::Invalid ||
               ((token.kind == TokenKind::CharArray || token.kind == TokenKind::String) &&
                (token.text.size() < 2 || token.text.back() != token.text.front()));
    };
    const std::vector<ca::lexer::Token> tokens = ca::lexer::lex(fl::ustring(first));
    const auto& opening = tokens.front();
    if ((opening.kind != TokenKind::CharArray && opening.kind != TokenKind::String) || unterminated(opening))
        return false;
    // Glued after a name or a bracket, the quote may be a transpose that reads well (`[A` + `' A'];`):
    // only where the glued line leaves a text open is it a text. After a text it always is.
    if (last != u'\'' && last != u'"') {
        const std::vector<ca::lexer::Token> glued = ca::lexer::lex(fl::ustring(typed) + fl::ustring(first));
        if (std::none_of(glued.begin(), glued.end(), unterminated)) return false;
    }
    const std::size_t lineStart = text::lineStart(file, cursor);
    const auto open = innermostOpenBracket(file, cursor);
    if (!open || (open->bracket != u'[' && open->bracket != u'{') || open->commas) return false;
    if (open->line != lineStart) {
        // The opening line's own elements where it has some (`["the" "a" ...`), as the row above.
        const std::u16string_view above =
            std::u16string_view(file).substr(open->line, lineStart - 1 - open->line);
        const std::size_t opened =
            text::lineStart(file, lineStart - 1) == open->line ? rowElements(above) : 0;
        return rowElements(typed) < (opened > 0 ? opened : rowLength(file, lineStart, open->line));
    }
    // Rows of texts in a matrix are rare (`['abc'; 'def']`); a cell's rows are not.
    const std::size_t bracket = typed.find_last_of(u"[{");
    return bracket != std::u16string_view::npos &&
           (typed[bracket] == u'[' ||
            typed.substr(bracket).find_first_of(u"'\"") != std::u16string_view::npos);
}

// The element count of a matrix's complete rows from its opening line up to the line before the
// cursor's: a row ends at a `;`, or at a line's end where no `...` carries it on; nothing where they differ.
std::optional<std::size_t> completeRowsLength(const fl::ustring& file, std::size_t openLine,
                                              std::size_t lineStart) {
    std::optional<std::size_t> length;
    bool consistent = true;
    std::size_t carried = 0;  // elements of a row that goes on after `...`
    const auto rowEnds = [&](std::size_t elements) {
        if (elements == 0) return;
        consistent = consistent && (!length || *length == elements);
        length = elements;
    };
    for (std::size_t at = openLine; at < lineStart; at = text::nextLineStart(file, at)) {
        std::u16string_view code = std::u16string_view(file).substr(at, text::lineEnd(file, at) - at);
        if (at == openLine) {
            const std::size_t bracket = code.find_first_of(u"[{");
            if (bracket == std::u16string_view::npos) return std::nullopt;
            code.remove_prefix(bracket + 1);
        }
        const std::size_t dots = code.find(u"...");
        code = code.substr(0, std::min(dots, code.find(u'%')));
        for (std::size_t semicolon = code.find(u';'); semicolon != std::u16string_view::npos;
             semicolon = code.find(u';')) {
            rowEnds(carried + rowElements(code.substr(0, semicolon)));
            carried = 0;
            code.remove_prefix(semicolon + 1);
        }
        carried += rowElements(code);
        if (dots == std::u16string_view::npos) {
            rowEnds(carried);
            carried = 0;
        }
    }
    if (!consistent) return std::nullopt;
    return length;
}

// With a blank before it, the completion's first row (up to its `;` or closing bracket) makes the typed
// row as long as the matrix's complete rows (`1 0.6|` + `0; ...` in rows of three): glued, one short.
bool blankCompletesRow(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                       std::u16string_view first) {
    // A row ends at its `;`, the bracket, or the line's end where no `...` carries it on.
    const std::size_t rowEnd = std::min(first.size(), first.find_first_of(u";]}"));
    const std::size_t lineStart = text::lineStart(file, cursor);
    const auto open = innermostOpenBracket(file, cursor);
    if (first.substr(0, rowEnd).find(u"...") != std::u16string_view::npos || !open) return false;
    const auto length =
        open->line == lineStart ? typedRowsLength(typed) : completeRowsLength(file, open->line, lineStart);
    const std::size_t typedRow = typed.find_last_of(u"[{;");
    return length && rowElements(typed.substr(typedRow == std::u16string_view::npos ? 0 : typedRow + 1)) +
                             rowElements(first.substr(0, rowEnd)) ==
                         *length;
}

// Where the number the typed text ends with starts (its digits and decimal points).
std::size_t trailingNumberStart(std::u16string_view typed) {
    std::size_t start = typed.size();
    while (start > 0 && (isDigit(typed[start - 1]) || typed[start - 1] == u'.'))
        --start;
    return start;
}

// A number with a decimal point typed in a matrix, and a completion that starts with another: glued,
// `4.5` + `5.5 6.5]` would read as the elements `4.55` and `.5`; the blank between them was trimmed.
bool decimalsWouldRun(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                      std::u16string_view first) {
    const std::u16string_view typedNumber = typed.substr(trailingNumberStart(typed));
    std::size_t digits = 0;
    while (digits < first.size() && isDigit(first[digits]))
        ++digits;
    if (typedNumber.find(u'.') == std::u16string_view::npos || !isDigit(typedNumber.back()) || digits == 0 ||
        digits == first.size() || first[digits] != u'.')
        return false;
    const auto open = innermostOpenBracket(file, cursor);
    return open && (open->bracket == u'[' || open->bracket == u'{');
}

// The typed line writes its `separator`s with a blank before them more often than without (`if ( a > 0 )
// ; b = 1` for `;`): a completion that starts with one writes it so too.
bool separatorSpacedBefore(std::u16string_view typed, char16_t separator) {
    using ca::lexer::TokenKind;
    std::size_t with = 0, without = 0;
    bool afterBlank = false, first = true;
    for (const ca::lexer::Token& token : ca::lexer::lex(fl::ustring(typed))) {
        if (token.kind == TokenKind::Punctuation && token.text.size() == 1 && token.text[0] == separator &&
            !first)
            ++(afterBlank ? with : without);
        afterBlank = token.kind == TokenKind::Blank;
        first = first && afterBlank;
    }
    return with > without;
}

// A number typed in a name-value argument's vector (`'Position', [0.4 0 0.2|` + `1]`) where the file's
// other vectors for that name, each written on one line, all have as many elements as the typed ones and
// the completion's apart: the completion's first number is the vector's next element.
bool namedVectorElement(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                        std::u16string_view first) {
    constexpr auto npos = std::u16string_view::npos;
    const std::size_t open = typed.rfind(u'[');
    if (trailingNumberStart(typed) == typed.size() || first.empty() || !isDigit(first.front()) ||
        open == npos || typed.find_first_of(u"[](){}", open + 1) != npos)
        return false;
    std::u16string_view before = text::trimRight(typed.substr(0, open));
    if (!before.ends_with(u',')) return false;
    before = text::trimRight(before.substr(0, before.size() - 1));
    if (before.size() < 3 || (before.back() != u'\'' && before.back() != u'"')) return false;
    const std::size_t nameStart = before.rfind(before.back(), before.size() - 2);
    const std::size_t rowEnd = first.find(u']');
    if (nameStart == npos || rowEnd == npos) return false;
    const std::u16string_view name = before.substr(nameStart);
    const std::size_t apart = rowElements(typed.substr(open + 1)) + rowElements(first.substr(0, rowEnd));
    const std::u16string_view text(file);
    const std::size_t cursorLine = text::lineStart(file, cursor);
    std::optional<std::size_t> length;
    for (std::size_t at = text.find(name); at != npos; at = text.find(name, at + 1)) {
        std::size_t i = at + name.size();
        while (i < text.size() && text::isBlank(text[i]))
            ++i;
        if (i >= text.size() || text[i] != u',') continue;
        do
            ++i;
        while (i < text.size() && text::isBlank(text[i]));
        if (i >= text.size() || text[i] != u'[' || text::lineStart(file, at) == cursorLine) continue;
        const std::size_t close = text.find_first_of(u"[](){}\n", i + 1);
        if (close == npos || text[close] != u']') continue;
        const std::size_t elements = rowElements(text.substr(i + 1, close - i - 1));
        if (length && *length != elements) return false;
        length = elements;
    }
    return length == apart;
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
                                                         u"/",  u"\\", u"^",  u"&",  u"|",  u"=",  u":"};
    if (typed.empty() || text::isBlank(typed.back())) return {};
    for (std::u16string_view op : kOperators)
        if (first.starts_with(op) && first.size() > op.size() && first[op.size()] == u' ') return u" ";
    return {};
}

// Lines above and below the cursor's whose commas after numbers tell how a list of numbers is written.
constexpr std::size_t kNumberListLines = 10;

// Whether the commas after numbers in the lines around the cursor's take a blank, more often than not.
std::optional<bool> numberCommasSpacedAround(const fl::ustring& file, std::size_t cursor) {
    std::size_t from = text::lineStart(file, cursor), to = text::lineEnd(file, cursor);
    for (std::size_t i = 0; i < kNumberListLines && from > 0; ++i)
        from = text::lineStart(file, from - 1);
    for (std::size_t i = 0; i < kNumberListLines && to < file.size(); ++i)
        to = text::lineEnd(file, text::nextLineStart(file, to));
    int with = 0, without = 0;
    // Declared sizes (`Lamp (1,3) logical`) are written tight by habit: they tell nothing of lists.
    std::size_t lineStart = from;
    for (std::size_t i = from + 1; i + 1 < to; ++i) {
        if (file[i] == u'\n') lineStart = i + 1;
        if (file[i] == u',' && isDigit(file[i - 1]) && file[i + 1] != u'\n' && file[i + 1] != u'\r' &&
            !endsInDeclaredSize(file, lineStart,
                                std::u16string_view(file).substr(lineStart, i + 1 - lineStart)))
            ++(text::isBlank(file[i + 1]) ? with : without);
    }
    if (with + without == 0) return std::nullopt;
    return with > without;
}

// The element before a comma is a number or a colon alone (`(1,`, `[2,`, `x(:,`), not an expression
// that ends in one (`runs(d > 0.5,`).
bool bareElementBefore(std::u16string_view code) {
    const std::size_t start = code.find_last_of(u"([{,") + 1;
    const std::u16string_view element = trimLeft(code.substr(start));
    return !element.empty() && element.find_first_not_of(u"0123456789.:eE+-") == std::u16string_view::npos;
}

// The blanks after a comma typed at the end of the line: as the line's other commas have, the likelier
// run of them; with none, one after a blank before the comma (`{a ,`); after a number or a colon as the
// numbers of the lines around are listed, or else as the completion's `later` lines space their commas
// (files that space their commas space those after numbers too: 1,600 of 1,866 in the test sets), and
// where nothing shows, none (sizes as `(1,1)`; in a declaration always none; the lines around spacing
// their other commas add the blank later); other commas as the lines around the cursor do, and where they
// show nothing, one.
fl::ustring blanksAfterComma(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                             std::span<const fl::ustring> later) {
    if (const std::optional<std::size_t> blanks = blanksAfterCommasOnTypedLine(typed))
        return fl::ustring(*blanks, u' ');
    const std::u16string_view before = typed.substr(0, typed.size() - 1);
    if (!before.empty() && text::isBlank(before.back())) return u" ";
    const std::u16string_view code = trimRight(before);
    if (code.empty()) return {};
    if ((isDigit(code.back()) || code.back() == u':') && bareElementBefore(code)) {
        if (declaresPropertyOrArgument(file, cursor)) return {};
        std::optional<bool> spaced = numberCommasSpacedAround(file, cursor);
        for (std::size_t k = 0; k < later.size() && !spaced; ++k)
            spaced = separatorSpacingIn(later[k], u',');
        return spaced.value_or(false) ? u" " : fl::ustring();
    }
    return separatorSpacingAround(file, cursor, u',').value_or(true) ? u" " : fl::ustring();
}

// The line above the cursor's goes on with it (`...`).
bool continuesLineAbove(const fl::ustring& file, std::size_t cursor) {
    const std::size_t start = text::lineStart(file, cursor);
    if (start == 0) return false;
    const std::size_t above = text::lineStart(file, start - 1);
    return std::u16string_view(file).substr(above, start - above).find(u"...") != std::u16string_view::npos;
}

// A sign after an operator, a separator or an open bracket is unary (`= -x`): no blank follows it; one
// that starts a line the line above goes on with is binary.
bool isUnarySign(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                 std::u16string_view op) {
    if (op != u"+" && op != u"-") return false;
    const std::u16string_view before = trimRight(typed.substr(0, typed.size() - op.size()));
    return (text::isBlankText(before) && !continuesLineAbove(file, cursor)) ||
           (!before.empty() &&
            std::u16string_view(u"=+-*/\\^<>&|~,;([{").find(before.back()) != std::u16string_view::npos);
}

// A completion that goes on after an operator written with a blank before it ("x =", "a +"), a comma
// on a line whose commas take blanks, or a keyword ("for", "if") gets a blank after it: the model's
// blank was trimmed away. The completion's `later` lines show how it spaces its commas where the file
// does not.
fl::ustring blankAfterOperator(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                               std::u16string_view first, std::span<const fl::ustring> later) {
    static constexpr std::u16string_view kOperators[] = {u"||", u"&&", u"==", u"~=", u"<=", u">=", u"<", u">",
                                                         u"+",  u"-",  u"*",  u"/",  u"&",  u"|",  u"="};
    // What joins the typed text as it is: a separator, a closing bracket, a binary operator.
    static constexpr std::u16string_view kJoining = u";,)]}*/\\^=<>&|";
    if (first.empty() || text::isBlank(first.front()) ||
        kJoining.find(first.front()) != std::u16string_view::npos)
        return {};
    for (std::u16string_view op : kOperators) {
        if (!typed.ends_with(op)) continue;
        if (isUnarySign(file, cursor, typed, op) ||
            ((op == u"+" || op == u"-") && signStartsElement(file, cursor, first)))
            return {};
        return typed.size() > op.size() && typed[typed.size() - op.size() - 1] == u' ' &&
                       !assignsTightAfterBlank(file, cursor, typed)
                   ? fl::ustring(u" ")
                   : fl::ustring();
    }
    // A continuation marker stands one blank apart.
    if (typed.ends_with(u",")) {
        // The model spaced the rest of the same list as it would have this comma.
        if (first.starts_with(u"..."))
            return continuationSpacedAround(file, cursor, first) ? fl::ustring(u" ") : fl::ustring();
        if (const std::optional<std::size_t> blanks = blanksAfterCommasInList(first))
            return fl::ustring(*blanks, u' ');
        return blanksAfterComma(file, cursor, typed, later);
    }
    // A row's `;` inside a bracket (`[0;` + `-g]`) is spaced as the file spaces its `;`.
    if (typed.ends_with(u";") && leavesBracketOpen(typed))
        return separatorSpacingAround(file, cursor, u';').value_or(true) ? u" " : fl::ustring();
    // A keyword that a condition, a name or a list follows (`for|` + `k = 1:n`, `if|` + `(a)`).
    static constexpr std::u16string_view kKeywords[] = {u"if",     u"elseif",     u"while",  u"switch",
                                                        u"case",   u"for",        u"parfor", u"function",
                                                        u"global", u"persistent", u"catch",  u"classdef"};
    const std::u16string_view word = text::trailingReservedWord(typed);
    for (std::u16string_view keyword : kKeywords)
        if (word == keyword && typed.size() == trimRight(typed).size()) return u" ";
    return {};
}

// The last of the statements a line writes side by side (`clc; clear` at `clear`): the text after its
// last `;` outside brackets, or the whole line.
std::u16string_view lastStatement(std::u16string_view line) {
    const std::size_t separator = line.find_last_of(u';');
    if (separator == std::u16string_view::npos) return line;
    const std::u16string_view before = line.substr(0, separator);
    const auto count = [&](std::u16string_view brackets) {
        return std::count_if(before.begin(), before.end(),
                             [&](char16_t c) { return brackets.find(c) != std::u16string_view::npos; });
    };
    return count(u"([{") == count(u")]}") ? line.substr(separator + 1) : line;
}

// Whether `word` stands as a whole word anywhere in the file.
bool fileHasWord(const fl::ustring& file, std::u16string_view word) {
    return text::hasWholeWord(file, word);
}

// A command written as a statement of its own with bare words after it (`hold|` + `off`, `axis|` +
// `equal tight`, `close|` + `all; clc`, `print|` + `-dpng out/f.png`): the completion's statement is only
// such words (an option's `-`, a path's `/` and `.` included), its first one a word the file writes or
// the completion's next lines or the file write the command with bare words after it (`yyaxis|` + `left`
// above `yyaxis right`), and the file never writes the two joined (`ho|` + `ld off` goes on as one word).
// A function of the Ostrel library also takes one text as a command (`title|` + `'Run 3'`).
bool commandArgumentsFollow(const fl::ustring& file, std::u16string_view typed, std::u16string_view first,
                            std::span<const fl::ustring> below) {
    const std::u16string_view command = trimLeft(lastStatement(typed));
    const auto isName = [](std::u16string_view word) {
        return word.size() >= 2 && !isDigit(word.front()) &&
               std::all_of(word.begin(), word.end(), text::isWordChar);
    };
    if (!isName(command) || !text::trailingReservedWord(command).empty()) return false;
    const auto library = [](std::u16string_view name) {
        using Quorvanta::FunctionOrigin;
        const FunctionOrigin origin = Quorvanta::functionRegistry::lookup(name);
        return origin == FunctionOrigin::BuiltIn || origin == FunctionOrigin::Library;
    };
    const bool quoted = !first.empty() && (first.front() == u'\'' || first.front() == u'"');
    // The command's own statement, up to the `;` or `,` after it (texts have neither here).
    const std::u16string_view own =
        quoted ? first.substr(0, first.find(first.front(), 1) + 1)
               : text::trimRight(first.substr(0, std::min(first.size(), first.find_first_of(u";,"))));
    if (quoted) {
        const std::u16string_view rest = text::trim(first.substr(std::min(first.size(), own.size())));
        return own.size() >= 2 && own.back() == own.front() && (rest.empty() || rest == u";") &&
               library(command);
    }
    const std::u16string_view option = own.starts_with(u"-") ? own.substr(1) : own;
    const std::size_t wordEnd = std::min(
        option.size(),
        option.find_first_not_of(u"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_"));
    const std::u16string_view word = option.substr(0, wordEnd);
    const auto bareWords = [](std::u16string_view words) {
        return std::all_of(words.begin(), words.end(), [](char16_t c) {
            return text::isWordChar(c) || text::isBlank(c) || c == u':' || c == u'-' || c == u'.' ||
                   c == u'/';
        });
    };
    const auto commandBelow = [&](std::u16string_view line) {
        const std::u16string_view code = text::trim(line);
        return code.size() > command.size() + 1 && code.starts_with(command) &&
               text::isBlank(code[command.size()]) && bareWords(code);
    };
    // The file writes the command with bare words after it elsewhere (`hold on` above `hold|` + `off`).
    const auto commandInFile = [&] {
        const std::u16string_view text(file);
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t end = std::min(text.size(), text.find(u'\n', at));
            if (commandBelow(text.substr(at, end - at))) return true;
            at = end + 1;
        }
        return false;
    };
    const fl::ustring joined = fl::ustring(command) + fl::ustring(word);
    // A function of the Ostrel library takes words as a command does (`axis|` + `tight`), where joined to
    // the word it names no function either.
    const auto libraryCommand = [&] {
        return library(command) &&
               Quorvanta::functionRegistry::lookup(joined) == Quorvanta::FunctionOrigin::Unknown;
    };
    return bareWords(own) && isName(word) &&
           (fileHasWord(file, word) || std::any_of(below.begin(), below.end(), commandBelow) ||
            commandInFile() || libraryCommand()) &&
           !fileHasWord(file, joined);
}

// How many blanks put the completion's first element (`first`) in the typed row's columns, in a matrix
// whose elements blanks separate and the row writes right-aligned in columns of one width: the likeliest
// gap and element after it, after a `;` (`afterRowEnd`) or else (`[4217  4192` + `4181`, `[1  2;  2  1;`
// + `2 -1`), in the typed row and, within a row, in the rest of it that the completion writes
// (`[4217` + `4192  4182  4178];`). Only where that is two blanks or more.
std::optional<std::size_t> rowPadding(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                                      std::u16string_view first, bool afterRowEnd) {
    const auto open = innermostOpenBracket(file, cursor);
    if (!open || (open->bracket != u'[' && open->bracket != u'{') || open->commas) return std::nullopt;
    if (const std::size_t bracket = typed.find_last_of(u"[{"); bracket != std::u16string_view::npos)
        typed = typed.substr(bracket + 1);
    const auto elementWidth = [](std::u16string_view from) {
        return std::min(from.size(), from.find_first_of(u" \t;]}"));
    };
    std::array<int, 16> widths{};  // how many gaps and the element after them take 0, 1, ... columns
    bool pads = false;             // some gap is more than one blank
    const auto countGaps = [&](std::u16string_view row) {
        for (std::size_t i = 1; i < row.size(); ++i) {
            if (text::isBlank(row[i]) || !text::isBlank(row[i - 1])) continue;
            std::size_t run = 0;
            while (run < i && text::isBlank(row[i - 1 - run]))
                ++run;
            if (run < i && (row[i - 1 - run] == u';') == afterRowEnd) {
                ++widths[std::min(run + elementWidth(row.substr(i)), widths.size() - 1)];
                pads = pads || run >= 2;
            }
        }
    };
    countGaps(typed);
    if (!afterRowEnd) countGaps(first.substr(0, std::min(first.size(), first.find_first_of(u";]}%"))));
    const auto likeliest = std::max_element(widths.begin(), widths.end());
    const auto width = static_cast<std::size_t>(likeliest - widths.begin());
    if (!pads || width + 1 == widths.size() || width < elementWidth(first) + 2) return std::nullopt;
    return width - elementWidth(first);
}

// A declared property's or argument's type after its name (`Order` + `uint8`, perhaps with its default:
// `Order` + `uint8 = 1`) where the declaration above it in the block, or the completion's next line, writes
// a name and a word after it (`IsRed logical`): `Ord` + `er uint8` goes on.
bool declaredTypeFollows(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                         std::u16string_view first, std::span<const fl::ustring> below) {
    const std::u16string_view name = trimLeft(typed);
    const auto isName = [](std::u16string_view word) {
        return !word.empty() && !isDigit(word.front()) &&
               std::all_of(word.begin(), word.end(), text::isWordChar);
    };
    // A name and a word after it, the rest a default or nothing.
    const auto typeAfterName = [&](std::u16string_view declared, bool withName) {
        declared = trimRight(declared.substr(0, declared.find(u'%')));
        if (withName) {
            const std::size_t blank = declared.find_first_of(u" \t");
            if (blank == std::u16string_view::npos || !isName(declared.substr(0, blank))) return false;
            declared = trimLeft(declared.substr(blank));
        }
        const std::size_t end = std::min(declared.size(), declared.find_first_of(u" \t="));
        const std::u16string_view rest = trimLeft(declared.substr(end));
        return isName(declared.substr(0, end)) &&
               (rest.empty() || (rest.starts_with(u"=") && !rest.starts_with(u"==")));
    };
    if (!isName(name) || !typeAfterName(first, false) || !declaresPropertyOrArgument(file, cursor))
        return false;
    if (!below.empty() && text::indentationOf(below.front()).empty() && typeAfterName(below.front(), true))
        return true;
    const std::size_t start = text::lineStart(file, cursor);
    if (start == 0) return false;
    const std::size_t above = text::lineStart(file, start - 1);
    const std::u16string_view line = std::u16string_view(file).substr(above, start - 1 - above);
    if (text::indentationOf(line) != text::indentationOf(typed)) return false;
    const std::u16string_view declared = trimLeft(line);
    const std::size_t blank = declared.find_first_of(u" \t");
    if (blank == std::u16string_view::npos || !isName(declared.substr(0, blank)) ||
        blank + 1 >= declared.size())
        return false;
    // The size between them, if any (`x0 (:,1) double`).
    std::u16string_view after = trimLeft(declared.substr(blank));
    if (after.starts_with(u"(") && after.find(u')') != std::u16string_view::npos)
        after = trimLeft(after.substr(after.find(u')') + 1));
    return !after.empty() && text::isWordChar(after.front());
}

// A name typed after a bracket or a separator and a word after it that the file writes apart there
// (`[r c]` elsewhere: `[r` + `c], ...`) and never joined (`[rc`), though both may be names.
bool writtenApartInFile(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                        std::u16string_view first) {
    std::size_t start = typed.size();
    while (start > 0 && text::isWordChar(typed[start - 1]))
        --start;
    std::size_t length = 0;
    while (length < first.size() && text::isWordChar(first[length]))
        ++length;
    if (start == 0 || start == typed.size() || length == 0 || text::isBlank(typed[start - 1]) ||
        text::isWordChar(typed[start - 1]))
        return false;
    const std::u16string_view text(file);
    const std::size_t lineStart = text::lineStart(file, cursor);
    const auto writes = [&](const fl::ustring& what) {
        for (std::size_t at = text.find(what); at != std::u16string_view::npos;
             at = text.find(what, at + 1)) {
            const std::size_t end = at + what.size();
            if ((at < lineStart || at > cursor) && (end == text.size() || !text::isWordChar(text[end])))
                return true;
        }
        return false;
    };
    const fl::ustring before(typed.substr(start - 1)), word(first.substr(0, length));
    return writes(before + u" " + word) && !writes(before + word);
}

// Blank and comment lines looked past for the member above.
constexpr std::size_t kMostLinesToMember = 20;

// A name on a line of its own followed by its arguments, where the code line above writes its name and
// arguments apart (an enumeration's members: `Monday (1)` over `Tuesday|` + `(2)`, a declaration's
// size): the blanks between them, one, or as many as bring the arguments under the line above's where
// the member line above or below, or the completion's next line, pads its arguments into a column
// (`Mercury (3.3e23)` over `Venus|` over `Earth   (5.9e24)`); none otherwise.
std::size_t memberArgumentsApart(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                                 std::u16string_view first, std::span<const fl::ustring> later) {
    const auto bareName = [](std::u16string_view code) {
        return !code.empty() && !isDigit(code.front()) &&
               std::all_of(code.begin(), code.end(), text::isWordChar);
    };
    const std::u16string_view indentation = text::indentationOf(typed);
    if (!first.starts_with(u"(") || !bareName(typed.substr(indentation.size()))) return 0;
    // Of the member line nearest the cursor's, above or below, where its arguments open; nothing where
    // the nearest code line is none. And whether it pads them into a column (two blanks before them).
    struct Member {
        std::size_t open;
        bool pads;
    };
    const auto nearestMember = [&](bool up) -> std::optional<Member> {
        std::size_t at = up ? text::lineStart(file, cursor) : text::nextLineStart(file, cursor);
        for (std::size_t lines = 0; lines < kMostLinesToMember && (up ? at > 0 : at < file.size()); ++lines) {
            if (up) at = text::lineStart(file, at - 1);
            const std::u16string_view line =
                std::u16string_view(file).substr(at, text::lineEnd(file, at) - at);
            if (!up) at = text::nextLineStart(file, at);
            const std::u16string_view code = text::trim(line);
            if (code.empty() || code.starts_with(u"%")) continue;
            const std::size_t open = line.find(u'(');
            if (text::indentationOf(line) != indentation || open == std::u16string_view::npos || open == 0 ||
                !text::isBlank(line[open - 1]) ||
                !bareName(text::trimRight(line.substr(0, open)).substr(indentation.size())))
                return std::nullopt;
            return Member{open, open >= 2 && text::isBlank(line[open - 2])};
        }
        return std::nullopt;
    };
    const std::optional<Member> above = nearestMember(true);
    if (!above) return 0;
    const std::optional<Member> below = nearestMember(false);
    // The completion's next line, a member of its own, pads as well.
    const auto nextPads = [&] {
        if (later.empty()) return false;
        const std::u16string_view next = text::trim(later.front());
        const std::size_t open = next.find(u'(');
        return open != std::u16string_view::npos && open >= 2 && text::isBlank(next[open - 1]) &&
               text::isBlank(next[open - 2]) && bareName(text::trimRight(next.substr(0, open)));
    };
    const bool padded = above->pads || (below && below->pads) || nextPads();
    return padded && above->open > typed.size() ? above->open - typed.size() : 1;
}

// The most statements any of the lines `near` holds side by side (`a = 1;   b = 2;` holds two): a
// statement starts after a `;` that leaves no bracket open.
std::size_t mostStatementsOnALine(std::u16string_view near) {
    using ca::lexer::TokenKind;
    int depth = 0;
    bool afterSeparator = false;
    std::size_t onLine = 0, most = 0;
    for (const ca::lexer::Token& token : ca::lexer::lex(fl::ustring(near))) {
        if (token.kind == TokenKind::Blank || token.kind == TokenKind::Comment ||
            token.kind == TokenKind::Continuation)
            continue;
        if (token.kind == TokenKind::LineEnd || token.kind == TokenKind::BlockComment) {
            afterSeparator = false;
            onLine = 0;
            continue;
        }
        if (onLine == 0 || (afterSeparator && depth == 0)) most = std::max(most, ++onLine);
        afterSeparator = token.kind == TokenKind::Punctuation && token.text == u";";
        if (token.kind == TokenKind::Punctuation && token.text.find_first_of(u"([{") == 0) ++depth;
        if (token.kind == TokenKind::Punctuation && token.text.find_first_of(u")]}") == 0)
            depth = std::max(0, depth - 1);
    }
    return most;
}

// Lines (`near`) that go on after a `;` with another statement: their writer puts statements side by
// side.
bool writesSideBySide(std::u16string_view near) {
    return mostStatementsOnALine(near) >= 2;
}

// The typed statements and the completion's first line's make as many as a line beside holds side by
// side (`s(6).name = 'H';|` + `s(6).id = 2; s(6).major = 'CS';` under `s(5).name = 'N'; s(5).id = 1;
// s(5).major = 'EE';`): the line above the cursor's, the one below, or the completion's next.
bool completesRowOfStatements(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                              std::u16string_view first, std::span<const fl::ustring> below) {
    const std::size_t onLine = mostStatementsOnALine(typed) + mostStatementsOnALine(first);
    const std::size_t lineStart = text::lineStart(file, cursor);
    const auto lineAt = [&](std::size_t at) {
        return std::u16string_view(file).substr(at, text::lineEnd(file, at) - at);
    };
    std::vector<std::u16string_view> beside;
    if (lineStart > 0) beside.push_back(lineAt(text::lineStart(file, lineStart - 1)));
    if (const std::size_t next = text::nextLineStart(file, cursor); next < file.size())
        beside.push_back(lineAt(next));
    if (!below.empty()) beside.push_back(below.front());
    return std::any_of(beside.begin(), beside.end(), [&](std::u16string_view line) {
        const std::size_t statements = mostStatementsOnALine(line);
        return statements >= 2 && statements == onLine;
    });
}

// The words that start the statements of `line`, in order (`xlabel('t'); ylabel('v');` has `xlabel`,
// `ylabel`); an empty word for a statement that starts with no name.
std::vector<fl::ustring> statementHeads(std::u16string_view line) {
    using ca::lexer::TokenKind;
    std::vector<fl::ustring> heads;
    int depth = 0;
    bool starts = true;
    for (const ca::lexer::Token& token : ca::lexer::lex(fl::ustring(line))) {
        if (token.kind == TokenKind::Blank || token.kind == TokenKind::Comment) continue;
        if (starts) heads.push_back(token.kind == TokenKind::Identifier ? fl::ustring(token.text) : u"");
        starts = false;
        if (token.kind != TokenKind::Punctuation) continue;
        if (token.text == u"(" || token.text == u"[" || token.text == u"{") ++depth;
        if (token.text == u")" || token.text == u"]" || token.text == u"}") depth = std::max(0, depth - 1);
        starts = depth == 0 && (token.text == u";" || token.text == u",");
    }
    return heads;
}

// The file writes the typed line's last statement and the completion's first one side by side on a line
// of its own (`hold off; grid on` elsewhere, for `hold off;|` + `grid on`), by the names they start with.
bool pairWrittenSideBySide(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                           std::u16string_view first) {
    const std::vector<fl::ustring> typedHeads = statementHeads(typed), firstHeads = statementHeads(first);
    if (typedHeads.empty() || firstHeads.empty() || typedHeads.back().empty() || firstHeads.front().empty())
        return false;
    const fl::ustring& before = typedHeads.back();
    const fl::ustring& after = firstHeads.front();
    const std::u16string_view text(file);
    const std::size_t cursorLine = text::lineStart(file, cursor);
    for (std::size_t at = text.find(before); at != std::u16string_view::npos;
         at = text.find(before, at + 1)) {
        const std::size_t start = text::lineStart(file, at), end = text::lineEnd(file, at);
        const std::u16string_view line = text.substr(start, end - start);
        if (start == cursorLine || line.find(after) == std::u16string_view::npos) continue;
        const std::vector<fl::ustring> heads = statementHeads(line);
        for (std::size_t k = 0; k + 1 < heads.size(); ++k)
            if (heads[k] == before && heads[k + 1] == after) return true;
        at = end;
    }
    return false;
}

// The name a statement assigns a call or an index of, and its arguments' count (`a = moves(r, 2);` ->
// `moves`, 2), for a statement that is only that; nothing for any other.
std::optional<std::pair<std::u16string_view, std::size_t>> assignedCall(std::u16string_view statement) {
    std::size_t at = 0;
    const auto blanks = [&] {
        while (at < statement.size() && text::isBlank(statement[at]))
            ++at;
    };
    const auto name = [&] {
        const std::size_t start = at;
        if (at < statement.size() && (text::isWordChar(statement[at]) && !isDigit(statement[at])))
            while (at < statement.size() && (text::isWordChar(statement[at]) || statement[at] == u'.'))
                ++at;
        return statement.substr(start, at - start);
    };
    blanks();
    if (name().empty()) return std::nullopt;
    blanks();
    if (at + 1 >= statement.size() || statement[at] != u'=' || statement[at + 1] == u'=') return std::nullopt;
    ++at;
    blanks();
    const std::u16string_view callee = name();
    blanks();
    if (callee.empty() || at >= statement.size() || statement[at] != u'(') return std::nullopt;
    std::size_t depth = 0, arguments = 1;
    for (char16_t quote = 0; at < statement.size(); ++at) {
        const char16_t c = statement[at];
        if (quote) {
            quote = c == quote ? 0 : quote;
        } else if (c == u'\'' || c == u'"') {
            quote = c;
        } else if (c == u'(' || c == u'[' || c == u'{') {
            ++depth;
        } else if (c == u')' || c == u']' || c == u'}') {
            if (--depth == 0) break;
        } else if (c == u',' && depth == 1) {
            ++arguments;
        }
    }
    if (at >= statement.size()) return std::nullopt;
    ++at;
    blanks();
    if (at >= statement.size() || statement[at] != u';') return std::nullopt;
    return std::pair{callee, arguments};
}

// A typed statement that the completion's first line goes on with in a row of statements like it
// (`d = moves(r, 1);|` + `a = moves(r, 2); b = moves(r, 3);`): the row starts on the typed line. Writers
// who put one such statement per line put the row's first one on a line of its own too.
bool startsRowOfLikeStatements(std::u16string_view typed, std::u16string_view first) {
    if (mostStatementsOnALine(typed) != 1 || mostStatementsOnALine(first) < 2) return false;
    const auto typedCall = assignedCall(text::trimLeft(typed)), firstCall = assignedCall(first);
    return typedCall && firstCall && *typedCall == *firstCall;
}

// A line of session commands only (`close all; clear all; clc`): its writer puts them side by side.
bool sessionCommands(std::u16string_view line) {
    if (line.find_first_of(u"([{'\"=%.") != std::u16string_view::npos) return false;
    bool any = false;
    for (std::size_t at = 0; at <= line.size();) {
        const std::size_t end = std::min(line.size(), line.find_first_of(u";,", at));
        const std::u16string_view statement = text::trim(line.substr(at, end - at));
        at = end + 1;
        if (statement.empty()) continue;
        const std::u16string_view word = statement.substr(0, statement.find_first_of(u" \t"));
        if (word != u"clc" && word != u"clear" && word != u"clearvars" && word != u"close") return false;
        any = true;
    }
    return any;
}

// The lines near the cursor write statements side by side.
bool statementsSideBySide(const fl::ustring& file, std::size_t cursor) {
    return writesSideBySide(text::linesAround(file, cursor, 5));
}

// A statement that opens, closes and continues nothing (`a = 1;`): one that may go on a line of others.
bool isSimpleStatement(std::u16string_view line) {
    const std::size_t wordEnd = std::find_if_not(line.begin(), line.end(), text::isWordChar) - line.begin();
    const std::u16string_view word = line.substr(0, wordEnd);
    return !line.empty() && !line.starts_with(u"%") &&
           (word.empty() || text::trailingReservedWord(word) != word) && !endsWithContinuation(line) &&
           !leavesBracketOpen(line);
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

// How the typed line leaves a block it opens on it: open, with a statement of it written after a
// separator (`if x, y = 1;`), or with nothing yet after one (`if true;`).
struct OneLineBlock {
    bool open = false, statement = false, separated = false;
};

OneLineBlock oneLineBlock(std::u16string_view typed) {
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
        separated = false;
        if (token.kind == TokenKind::Punctuation && word.find_first_of(u"([{") == 0) ++depth;
        if (token.kind == TokenKind::Punctuation && word.find_first_of(u")]}") == 0) --depth;
        if (token.kind != TokenKind::Keyword || depth != 0) continue;
        if (std::find(kOpeners.begin(), kOpeners.end(), word) != kOpeners.end()) ++open;
        if (word == u"end") --open;
    }
    return {open > 0 && depth == 0, statement, separated};
}

// The typed line opens a block and writes a statement of it after a separator (`if x, y = 1;`) without
// closing it: the author writes the block on one line, and its `end` goes there too. Not inside a
// bracket the typed text leaves open: an `end` there is an index (`if a, v(` + `end+1) = 1; end`).
bool leavesOneLineBlockOpen(std::u16string_view typed) {
    const OneLineBlock block = oneLineBlock(typed);
    return block.open && block.statement;
}

// The completion closes a block the typed line opened and ended with a separator (`if true;|` + `end`):
// an empty block of one line.
bool closesEmptyOneLineBlock(std::u16string_view typed, std::u16string_view first) {
    const OneLineBlock block = oneLineBlock(typed);
    return block.open && !block.statement && block.separated && reindenting::startsWithWord(first, u"end");
}

// A sign right after an operand (`i = 0:n` + `-1;`) subtracts or adds: no statement starts with a
// sign. In a matrix whose elements blanks separate, it starts the next element or row instead.
bool signGoesOnOperand(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                       std::u16string_view first) {
    if (first.size() < 2 || (first.front() != u'-' && first.front() != u'+') ||
        !(text::isWordChar(first[1]) || first[1] == u'(' || first[1] == u'.'))
        return false;
    if (!text::isWordChar(typed.back()) &&
        std::u16string_view(u")]}'").find(typed.back()) == std::u16string_view::npos)
        return false;
    const auto open = innermostOpenBracket(file, cursor);
    return text::trailingReservedWord(typed).empty() && (!open || open->bracket == u'(');
}

// The typed code goes on with the completion: the typed text is open-ended, the completion starts as
// a continuation, a word goes on, a declaration's type follows its size, a name follows `catch`, or a
// superclass's name follows a method's.
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
    // A method named up to the cursor calls its superclass's (`describe|` + `@Shape(obj)`).
    const bool superclassCall = text::isWordChar(typed.back()) && typed.size() == typedLine.size() &&
                                first.size() > 1 && first.front() == u'@' && text::isWordChar(first[1]);
    return endsWithContinuation(typedLine) || startsAsContinuation(first) || wordGoesOn ||
           declarationGoesOn || catchName || superclassCall ||
           (typed.size() == typedLine.size() && signGoesOnOperand(file, cursor, typed, first));
}

}  // namespace

bool typedNumberIsRowElement(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                             std::u16string_view first) {
    const std::size_t start = trailingNumberStart(typed);
    const std::u16string_view number = typed.substr(start);
    if (number.empty() || !isDigit(number.front()) || first.size() <= number.size() ||
        !first.starts_with(number) ||
        !(isDigit(first[number.size()]) || first[number.size()] == u'.' ||
          text::isBlank(first[number.size()])))
        return false;
    if (start > 0 && !text::isBlank(typed[start - 1]) &&
        std::u16string_view(u"[{;,").find(typed[start - 1]) == std::u16string_view::npos)
        return false;
    const std::size_t lineStart = text::lineStart(file, cursor);
    const auto open = innermostOpenBracket(file, cursor);
    if (!open || (open->bracket != u'[' && open->bracket != u'{') || open->commas || open->line == lineStart)
        return false;
    const std::size_t rowEnd = first.find_first_of(u";]}");
    if (rowEnd == std::u16string_view::npos) return false;
    const std::optional<std::size_t> length = completeRowsLength(file, open->line, lineStart);
    std::u16string_view typedRow = typed.substr(0, start);
    if (const std::size_t separator = typedRow.find_last_of(u";[{"); separator != std::u16string_view::npos)
        typedRow.remove_prefix(separator + 1);
    const std::size_t restated = rowElements(typedRow) + rowElements(first.substr(0, rowEnd));
    return length && *length >= 2 && restated + 1 == *length;
}

fl::ustring blankBeforeCompletion(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                                  const std::vector<fl::ustring>& lines, const ReplyShape& shape) {
    if (!shape.leadingBlanks.empty()) return shape.leadingBlanks;
    const std::u16string_view first = lines.front();
    if (!first.empty() && (first.front() == u';' || first.front() == u',') && !typed.empty() &&
        !text::isBlank(typed.back()) && separatorSpacedBefore(typed, first.front()))
        return u" ";
    if (fl::ustring blanks =
            blanksToLinedUpCell(file, cursor, typed, first, false, std::span(lines).subspan(1));
        !blanks.empty())
        return blanks;
    if (fl::ustring blank = blankBeforeOperator(typed, first); !blank.empty()) return blank;
    if (const std::size_t apart =
            memberArgumentsApart(file, cursor, typed, first, std::span(lines).subspan(1));
        apart > 0)
        return fl::ustring(apart, u' ');
    if (signedNumberFollowsNumber(file, cursor, typed, first) ||
        typedNumberIsRowElement(file, cursor, typed, first) ||
        namedVectorElement(file, cursor, typed, first) ||
        commandArgumentsFollow(file, typed, first, std::span(lines).subspan(1)) ||
        declaredTypeFollows(file, cursor, typed, first, std::span(lines).subspan(1)) ||
        writtenApartInFile(file, cursor, typed, first))
        return u" ";
    if (!typed.empty() && (text::isWordChar(typed.back()) || typed.back() == u';') && startsNumber(first) &&
        !first.starts_with(u"+") && !first.starts_with(u"-"))
        if (const auto padding = rowPadding(file, cursor, typed, first, typed.back() == u';'))
            return fl::ustring(*padding, u' ');
    return blankAfterOperator(file, cursor, typed, first, std::span(lines).subspan(1));
}

std::vector<Edit> lineEndPlacements(const fl::ustring& file, std::size_t cursor, std::u16string_view typed,
                                    const std::vector<fl::ustring>& lines, const ReplyShape& shape,
                                    const Edit& glue, const Edit& newLine) {
    // A closing word glued to the word typed before it would make one name of them (`false` + `end`).
    if (!typed.empty() && text::isWordChar(typed.back()) && text::isClosingLine(text::trim(lines.front())) &&
        !glue.text.empty() && text::isWordChar(glue.text.front()))
        return {newLine};
    // A reply that began below an empty line, or after the lines deduplication removed, starts a line.
    // So does one that begins with the cursor line's own indentation after a statement ended by `;`:
    // the model wrote the next line at the same level (a comment after the statement goes on it, and so
    // do statements where the lines around write them side by side).
    const bool indentedNextStatement =
        !shape.leadingBlanks.empty() && shape.leadingBlanks == text::indentationOf(typed) &&
        text::trimRight(typed).ends_with(u";") && !lines.front().starts_with(u"%") &&
        !innermostOpenBracket(file, cursor) && !statementsSideBySide(file, cursor);
    const bool glueFirst =
        !shape.leadingLineBreak && !shape.headRemoved && !indentedNextStatement &&
        (!shape.leadingBlanks.empty() || typedCodeGoesOn(file, cursor, typed, lines.front()) ||
         commandArgumentsFollow(file, typed, lines.front(), std::span(lines).subspan(1)));
    // After a comment, code glued to it would be commented out: a completion of several lines that
    // has no blank of its own (the blanks before lines deduplication removed are theirs) or began below
    // an empty line starts a new line, and one line that began on the cursor's line is tried as the
    // comment's rest second.
    const bool afterComment =
        endsInComment(typed) && (shape.leadingBlanks.empty() || shape.leadingLineBreak || shape.headRemoved);
    // A matrix row shorter than the row above goes on: the number typed may go on too, or a blank
    // separates the next element from it.
    if (!afterComment && shape.leadingBlanks.empty() && !shape.leadingLineBreak) {
        // The glued edit may have its blank already (a signed number after a number).
        Edit spaced = glue;
        if (!glue.text.empty() && !text::isBlank(glue.text.front())) {
            const fl::ustring blanks =
                blanksToLinedUpCell(file, cursor, typed, lines.front(), true, std::span(lines).subspan(1));
            spaced.text.insert(0, blanks.empty() ? fl::ustring(u" ") : blanks);
        }
        if ((leavesOneLineBlockOpen(typed) && text::isClosingLine(text::trim(lines.front()))) ||
            closesEmptyOneLineBlock(typed, text::trim(lines.front())))
            return {spaced, newLine};
        if (decimalsWouldRun(file, cursor, typed, lines.front()) ||
            textElementFollows(file, cursor, typed, lines.front()))
            return {spaced, newLine};
        // Glued, a sign would subtract the next element from the typed one.
        if (rowGoesOn(file, cursor, typed, lines.front()))
            return isDigit(lines.front().front()) && !blankCompletesRow(file, cursor, typed, lines.front())
                       ? std::vector<Edit>{glue, spaced, newLine}
                       : std::vector<Edit>{spaced, newLine};
    }
    // A line that writes statements side by side goes on with the next one, a blank between (`q.W = w;
    // q.X = x;` + `q.Y = y;`), and so does one that the completion's first line makes as long as a line
    // beside it, a line of session commands (`clear;` + `clc`), a statement the completion's first line
    // goes on with in a row of like statements, or a pair of statements the file writes side by side
    // elsewhere (`hold off;` + `grid on`); where that does not check, it goes on the next line.
    if (!afterComment && shape.leadingBlanks.empty() && !shape.leadingLineBreak && !shape.headRemoved &&
        typed.ends_with(u";") &&
        (writesSideBySide(typed) ||
         completesRowOfStatements(file, cursor, typed, lines.front(), std::span(lines).subspan(1)) ||
         (sessionCommands(typed) && sessionCommands(lines.front())) ||
         startsRowOfLikeStatements(typed, lines.front()) ||
         pairWrittenSideBySide(file, cursor, typed, lines.front())) &&
        isSimpleStatement(lines.front()) && !innermostOpenBracket(file, cursor)) {
        Edit spaced = glue;
        if (!spaced.text.empty() && !text::isBlank(spaced.text.front())) spaced.text.insert(0, u" ");
        return {spaced, newLine};
    }
    std::vector<Edit> placements{glueFirst && !afterComment ? glue : newLine};
    // Lines that began below an empty line are not glued to the typed code either, nor to a comment a
    // line that follows lines deduplication removed (it began below the cursor's line).
    if ((!afterComment && !(shape.leadingLineBreak && lines.size() > 1)) ||
        (lines.size() == 1 && !shape.leadingLineBreak && !shape.headRemoved))
        placements.push_back(glueFirst && !afterComment ? newLine : glue);
    return placements;
}

}  // namespace fit
