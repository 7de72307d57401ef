#include "fit/reindent_glue.hpp"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "fit/text_lines.hpp"

namespace fit {
namespace {

// Lines above and below the cursor's line whose commas and semicolons tell how the file writes them.
constexpr std::size_t kSeparatorLines = 10;

// How much of a completion is read for the way it writes its continuation markers.
constexpr std::size_t kContinuationReach = 2000;

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

// Whether a quote at `i` opens a text: after a value it is a transpose.
bool opensText(std::u16string_view code, std::size_t i) {
    return i == 0 || !(text::isWordChar(code[i - 1]) ||
                       std::u16string_view(u")]}'.").find(code[i - 1]) != std::u16string_view::npos);
}

// The typed text ends with `closing`: a quote that closes a text (`'a'`, `"a"`) or transposes a value (`p'`).
bool endsInClosingQuote(std::u16string_view typed, char16_t closing = u'\'') {
    char16_t quote = 0;
    for (std::size_t i = 0; i < typed.size(); ++i) {
        if (quote && typed[i] == quote && i + 1 < typed.size() && typed[i + 1] == quote)
            ++i;  // a doubled quote stands for one inside the text
        else if (quote)
            quote = typed[i] == quote ? 0 : quote;
        else if (typed[i] == u'%')
            return false;
        else if (typed[i] == u'"' || (typed[i] == u'\'' && opensText(typed, i)))
            quote = typed[i];
    }
    return quote == 0 && typed.back() == closing;
}

// The typed text ends in a value that cannot go on into a word: a closing bracket, a text, a number, a
// transpose.
bool endsInClosedValue(std::u16string_view typed, char16_t next) {
    // A quote after a value is its transpose.
    if (!startsValue(next) || next == u'@' || next == u'~' || next == u'\'') return false;
    const char16_t last = typed.back();
    // `{` after a cell's index indexes again (`c{k}` + `{2}`).
    if (last == u')' || last == u']' || (last == u'}' && next != u'{') || last == u'"' ||
        endsInClosingQuote(typed))
        return true;
    if (last < u'0' || last > u'9') return false;
    std::size_t start = typed.size();
    while (start > 0 && text::isWordChar(typed[start - 1]))
        --start;
    return typed[start] >= u'0' && typed[start] <= u'9' && (start == 0 || typed[start - 1] != u'.');
}

// The innermost bracket `line` leaves open (texts aside), or 0.
char16_t innermostOpening(std::u16string_view line) {
    std::u16string open;
    char16_t quote = 0;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char16_t c = line[i];
        if (quote != 0) {
            quote = c == quote ? 0 : quote;
        } else if (c == u'%') {
            break;
        } else if (c == u'"' || (c == u'\'' && opensText(line, i))) {
            quote = c;
        } else if (c == u'(' || c == u'[' || c == u'{') {
            open.push_back(c);
        } else if ((c == u')' || c == u']' || c == u'}') && !open.empty()) {
            open.pop_back();
        }
    }
    return open.empty() ? 0 : open.back();
}

// `Name (1,`, `x (:,`: what reads as the size of a property or an argument.
bool inSize(std::u16string_view typed) {
    std::size_t start = typed.size() - 1;
    while (start > 0 && (text::isWordChar(typed[start - 1]) || typed[start - 1] == u':'))
        --start;
    return start > 0 && typed[start - 1] == u'(' && (start == 1 || text::isBlank(typed[start - 2]));
}

// A binary operator written with a blank before it: `a *` goes on as `a * (b)`. A sign may start a number
// (`[1 -2]`), so `+` and `-` need a name or a bracket after them.
bool endsInSpacedOperator(std::u16string_view typed, char16_t next) {
    static constexpr std::u16string_view kOperators[] = {u"==", u"~=", u"<=", u">=", u"&&", u"||", u".*",
                                                         u"./", u".^", u"=",  u"<",  u">",  u"&",  u"|",
                                                         u"*",  u"/",  u"\\", u"^",  u"+",  u"-"};
    for (std::u16string_view op : kOperators) {
        if (!typed.ends_with(op) || typed.size() <= op.size() ||
            !text::isBlank(typed[typed.size() - op.size() - 1]))
            continue;
        // Only after an operand: `x = -` starts a negation.
        const std::u16string_view left = text::trimRight(typed.substr(0, typed.size() - op.size()));
        if (left.empty() || !(text::isWordChar(left.back()) ||
                              std::u16string_view(u")]}'\"").find(left.back()) != std::u16string_view::npos))
            return false;
        const bool sign = op == u"+" || op == u"-";
        return next == u'(' ||
               (sign ? text::isWordChar(next) && !(next >= u'0' && next <= u'9') : startsValue(next));
    }
    return false;
}

// The cursor's line declares a property or an argument (`Name (1,1) double {mustBeFinite} = 1`): its
// parts stand apart. Told by the block the line is in: the nearest line above it that stands further left.
bool inDeclarationBlock(const fl::ustring& file, std::size_t lineStart, unsigned columns) {
    for (std::size_t at = lineStart, lines = 0; at > 0 && lines < kSeparatorLines; ++lines) {
        at = text::lineStart(file, at - 1);
        const std::u16string_view line = std::u16string_view(file).substr(at, text::lineEnd(file, at) - at);
        const std::u16string_view code = text::trimLeft(line);
        if (code.empty() || code.front() == u'%' || text::indentationOf(line).size() >= columns) continue;
        return code.starts_with(u"properties") || code.starts_with(u"arguments");
    }
    return false;
}

// In a declaration, a name or a type goes on with its size or validators: `Name` + `(1,1)`, `double` +
// `{mustBeFinite}`. (A word after a word may be the same word going on: that one stays joined.)
bool endsInDeclarationPart(const fl::ustring& file, std::size_t lineStart, std::u16string_view typed,
                           char16_t next) {
    if (!text::isWordChar(typed.back()) || (next != u'(' && next != u'{')) return false;
    // After `=` comes the default value, an expression (`zeros(1, 3)`), and inside the validators' braces
    // calls (`{mustBeMember(x, ...)}`).
    const std::size_t indentation = text::indentationOf(typed).size();
    const auto opened =
        std::count_if(typed.begin(), typed.end(), [](char16_t c) { return c == u'(' || c == u'{'; });
    const auto closed =
        std::count_if(typed.begin(), typed.end(), [](char16_t c) { return c == u')' || c == u'}'; });
    return indentation > 0 && opened == closed && typed.find(u'=') == std::u16string_view::npos &&
           inDeclarationBlock(file, lineStart, static_cast<unsigned>(indentation));
}

// How far around the cursor the file's words are looked up.
constexpr std::size_t kWordReach = 32000;

// Whether `word` stands as a whole word in `code` anywhere but at `skip` (an offset in `code`).
bool hasWord(std::u16string_view code, std::u16string_view word, std::size_t skip) {
    for (std::size_t at = code.find(word); at != std::u16string_view::npos; at = code.find(word, at + 1)) {
        const std::size_t end = at + word.size();
        if (at != skip && (at == 0 || !text::isWordChar(code[at - 1])) &&
            (end == code.size() || !text::isWordChar(code[end])))
            return true;
    }
    return false;
}

bool isDigit(char16_t c) {
    return c >= u'0' && c <= u'9';
}

// A name typed up to the cursor and a completion that starts with a word: the same word going on
// (`zer` + `os(n)`), or two (`y` + `double`, `[1 dt` + `0]`). Two when the file writes the typed name and
// the completion's word (or a number) on their own and never the two together.
bool twoWords(const fl::ustring& file, std::size_t cursor, std::u16string_view completion) {
    std::size_t start = cursor;
    while (start > 0 && text::isWordChar(file[start - 1]))
        --start;
    std::size_t length = 0;
    while (length < completion.size() && text::isWordChar(completion[length]))
        ++length;
    if (start == cursor || length == 0 || isDigit(file[start])) return false;
    const std::size_t from = cursor > kWordReach ? cursor - kWordReach : 0;
    const std::u16string_view code = std::u16string_view(file).substr(from, 2 * kWordReach);
    const std::u16string_view typed = std::u16string_view(file).substr(start, cursor - start);
    const std::u16string_view next = completion.substr(0, length);
    const fl::ustring together = fl::ustring(typed) + fl::ustring(next);
    return hasWord(code, typed, start - from) &&
           (isDigit(next.front()) || hasWord(code, next, start - from)) &&
           !hasWord(code, together, std::u16string_view::npos);
}

}  // namespace

bool declaresPropertyOrArgument(const fl::ustring& file, std::size_t cursor) {
    const std::size_t lineStart = text::lineStart(file, cursor);
    const std::u16string_view typed = std::u16string_view(file).substr(lineStart, cursor - lineStart);
    const std::size_t indentation = text::indentationOf(typed).size();
    return indentation > 0 && typed.find(u'=') == std::u16string_view::npos &&
           inDeclarationBlock(file, lineStart, static_cast<unsigned>(indentation));
}

bool endsInDeclaredSize(const fl::ustring& file, std::size_t lineStart, std::u16string_view line) {
    return inSize(line) &&
           inDeclarationBlock(file, lineStart, static_cast<unsigned>(text::indentationOf(line).size()));
}

void separateFromTypedCode(const fl::ustring& file, std::size_t cursor, Edit& edit) {
    if (edit.start != cursor || edit.text.empty()) return;
    const std::size_t lineStart = text::lineStart(file, cursor);
    const std::u16string_view typed = std::u16string_view(file).substr(lineStart, cursor - lineStart);
    if (text::isBlankText(typed) || text::isBlank(typed.back())) return;
    const char16_t next = edit.text.front();
    // A continuation marker stands apart from the code before it, unless the file writes it tight.
    bool separate =
        (std::u16string_view(edit.text).starts_with(u"...") &&
         continuationSpacedAround(file, cursor, edit.text)) ||
        (text::isWordChar(typed.back()) && text::isWordChar(next) && twoWords(file, cursor, edit.text));
    // Glued, a text after a text would read as one text with a quote inside (`'CTG''L'`).
    if ((next == u'\'' || next == u'"') && endsInClosingQuote(typed, next)) separate = true;
    if (startsValue(next) || next == u'(')
        separate = separate || endsInKeyword(typed, next) || endsInClosedValue(typed, next) ||
                   (endsInSpacedOperator(typed, next) && !assignsTightAfterBlank(file, cursor, typed)) ||
                   endsInDeclarationPart(file, lineStart, typed, next);
    const char16_t last = typed.back();
    // The rest of the typed comma's list that the completion writes shows how its commas are spaced
    // better than the lines around do.
    const std::optional<std::size_t> typedLineBlanks =
        last == u',' ? blanksAfterCommasOnTypedLine(typed) : std::nullopt;
    const std::optional<std::size_t> listBlanks =
        last == u',' ? blanksAfterCommasInList(
                           std::u16string_view(edit.text).substr(0, edit.text.find_first_of(u"\r\n")))
                     : std::nullopt;
    // A row's `;` inside a line (`[a; b]`) takes a blank where the lines show neither.
    if (!separate && (last == u',' || last == u';') && startsValue(next) &&
        !(last == u',' && endsInDeclaredSize(file, lineStart, typed)))
        separate =
            listBlanks ? *listBlanks > 0
            : typedLineBlanks
                ? *typedLineBlanks > 0
                : separatorSpacingAround(file, cursor, last, innermostOpening(typed)).value_or(last == u';');
    if (separate) edit.text.insert(0, 1, u' ');
}

namespace {

// The cursor's line and the `kSeparatorLines` lines above and below it, which tell how the file writes
// its separators.
std::u16string_view linesAround(const fl::ustring& file, std::size_t cursor) {
    return text::linesAround(file, cursor, kSeparatorLines);
}

// Sizes (`(1,1)`, `(:,1)`) and lists of numbers are often written tight in files that space their other
// commas: a comma after a digit or a colon tells nothing of the habit.
bool writtenTight(char16_t before) {
    return (before >= u'0' && before <= u'9') || before == u':';
}

// Whether the line that starts `text` opens with the word `function`.
bool startsWithFunctionWord(std::u16string_view text) {
    const std::size_t start = text.find_first_not_of(u" \t");
    if (start == std::u16string_view::npos) return false;
    const std::u16string_view code = text.substr(start);
    return code.starts_with(u"function") && (code.size() == 8 || !text::isWordChar(code[8]));
}

}  // namespace

std::optional<bool> separatorSpacingAround(const fl::ustring& file, std::size_t cursor, char16_t separator,
                                           char16_t inside) {
    const std::u16string_view code = linesAround(file, cursor);
    // A function's parameters are often written otherwise than its calls' arguments (generated
    // `(hObject, eventdata, handles)` above tight calls): its line speaks only where nothing else does.
    const auto spacing = [&](char16_t within) {
        const std::optional<bool> spaced = separatorSpacingIn(code, separator, within);
        return spaced ? spaced : separatorSpacingIn(code, separator, within, true);
    };
    if (inside != 0)
        if (const std::optional<bool> spaced = spacing(inside)) return spaced;
    return spacing(0);
}

std::optional<bool> separatorSpacingIn(std::u16string_view code, char16_t separator, char16_t inside,
                                       bool functionLines) {
    std::size_t with = 0, without = 0;
    char16_t quote = 0;
    std::u16string open;  // the brackets open at `i`, innermost last
    for (std::size_t i = 0; i + 1 < code.size(); ++i) {
        if (!functionLines && separator == u',' && (i == 0 || code[i - 1] == u'\n') &&
            startsWithFunctionWord(code.substr(i))) {
            i = code.find(u'\n', i);
            if (i == std::u16string_view::npos) break;
            --i;  // the line end is read next
            continue;
        }
        const char16_t c = code[i];
        if (c == u'\n') {
            quote = 0;
        } else if (quote != 0) {
            if (c == quote) quote = 0;
        } else if (c == u'%') {
            i = code.find(u'\n', i);
            if (i == std::u16string_view::npos) break;
            --i;  // the line end is read next
        } else if (c == u'"' || (c == u'\'' && opensText(code, i))) {
            quote = c;
        } else if (c == u'(' || c == u'[' || c == u'{') {
            open.push_back(c);
        } else if (c == u')' || c == u']' || c == u'}') {
            if (!open.empty()) open.pop_back();
        } else if (c == separator && code[i + 1] != u'\n' && code[i + 1] != u'\r' &&
                   !(separator == u',' && i > 0 && writtenTight(code[i - 1])) &&
                   (inside == 0 || (!open.empty() && open.back() == inside))) {
            ++(text::isBlank(code[i + 1]) ? with : without);
        }
    }
    if (with + without == 0) return std::nullopt;
    return with > without;
}

// The blanks after the typed line's commas in the list the typed comma ends, the likelier run of them;
// where that list has no other comma, those of the line's other lists as deep in brackets and closed
// before it (`Quaternion(0, p(1,k), p(2,` writes its indices tight). Only a comma's own list counts:
// `[1,2,3]` says nothing of `for j=[1,2,3] ,`.
std::optional<std::size_t> blanksAfterCommasOnTypedLine(std::u16string_view typed) {
    std::vector<std::size_t> open;
    std::vector<std::optional<std::size_t>> list(typed.size());  // the bracket each comma's list opened at
    std::vector<std::size_t> depth(typed.size());                // how deep in brackets that list is
    for (std::size_t i = 0; i < typed.size(); ++i) {
        if (typed[i] == u'(' || typed[i] == u'[' || typed[i] == u'{')
            open.push_back(i);
        else if ((typed[i] == u')' || typed[i] == u']' || typed[i] == u'}') && !open.empty())
            open.pop_back();
        else if (typed[i] == u',' && !open.empty())
            list[i] = open.back();
        depth[i] = open.size();
    }
    if (typed.empty()) return std::nullopt;
    const auto likeliestRun = [&](const auto& counts) -> std::optional<std::size_t> {
        std::array<int, 5> runs{};  // how many commas have 0, 1, ... blanks after them
        for (std::size_t i = 0; i + 1 < typed.size(); ++i) {
            if (typed[i] != u',' || !counts(i)) continue;
            std::size_t run = 0;
            while (i + 1 + run < typed.size() && text::isBlank(typed[i + 1 + run]))
                ++run;
            ++runs[std::min(run, runs.size() - 1)];
        }
        if (std::none_of(runs.begin(), runs.end(), [](int n) { return n > 0; })) return std::nullopt;
        const auto likeliest = std::max_element(runs.begin() + 1, runs.end());
        return *likeliest >= runs[0] ? static_cast<std::size_t>(likeliest - runs.begin()) : 0;
    };
    if (const auto own = likeliestRun([&](std::size_t i) { return list[i] == list.back(); })) return own;
    if (depth.back() < 2) return std::nullopt;
    return likeliestRun(
        [&](std::size_t i) { return list[i] && list[i] != list.back() && depth[i] == depth.back(); });
}

std::optional<std::size_t> blanksAfterCommasInList(std::u16string_view first) {
    std::array<int, 5> runs{};  // how many commas have 0, 1, ... blanks after them
    int depth = 0;
    char16_t quote = 0;
    for (std::size_t i = 0; i < first.size() && depth >= 0; ++i) {
        const char16_t c = first[i];
        if (quote != 0) {
            quote = c == quote ? 0 : quote;
        } else if (c == u'%') {
            break;
        } else if (c == u'"' || (c == u'\'' && opensText(first, i))) {
            quote = c;
        } else if (c == u'(' || c == u'[' || c == u'{') {
            ++depth;
        } else if (c == u')' || c == u']' || c == u'}') {
            --depth;
        } else if (c == u',' && depth == 0) {
            std::size_t run = 0;
            while (i + 1 + run < first.size() && text::isBlank(first[i + 1 + run]))
                ++run;
            // A comma at the end of the line, or before a continuation marker, tells nothing.
            if (i + 1 + run < first.size() && !first.substr(i + 1 + run).starts_with(u"..."))
                ++runs[std::min(run, runs.size() - 1)];
        }
    }
    const auto likeliest = std::max_element(runs.begin(), runs.end());
    if (*likeliest == 0 || std::count(runs.begin(), runs.end(), *likeliest) > 1) return std::nullopt;
    return static_cast<std::size_t>(likeliest - runs.begin());
}

bool continuationSpacedAround(const fl::ustring& file, std::size_t cursor, std::u16string_view completion) {
    int with = 0, without = 0;
    const auto count = [&](std::u16string_view code) {
        for (std::size_t at = code.find(u"..."); at != std::u16string_view::npos;
             at = code.find(u"...", at + 3)) {
            // A marker alone on its line, or a longer run of dots, tells nothing; nor do dots in a comment
            // (a help text's `f(...)`) or right after an opening bracket.
            if (at == 0 || code[at - 1] == u'.' || code[at - 1] == u'\n' || code[at - 1] == u'\r' ||
                code[at - 1] == u'(' || code[at - 1] == u'[' || code[at - 1] == u'{')
                continue;
            const std::size_t lineStart = code.find_last_of(u"\n", at) + 1;  // 0 on the first line
            if (code.substr(lineStart, at - lineStart).find(u'%') != std::u16string_view::npos) continue;
            ++(text::isBlank(code[at - 1]) ? with : without);
        }
    };
    count(linesAround(file, cursor));
    count(completion.substr(0, std::min(completion.size(), kContinuationReach)));
    return with >= without;
}

bool assignsTightAfterBlank(const fl::ustring& file, std::size_t cursor, std::u16string_view typed) {
    const auto isAssignment = [](std::u16string_view code, std::size_t i) {
        return code[i] == u'=' && i > 0 &&
               std::u16string_view(u"=~<>").find(code[i - 1]) == std::u16string_view::npos &&
               (i + 1 == code.size() || code[i + 1] != u'=');
    };
    if (typed.empty() || !isAssignment(typed, typed.size() - 1)) return false;
    const std::u16string_view code = linesAround(file, cursor);
    int tight = 0, spaced = 0;
    for (std::size_t i = 1; i + 1 < code.size(); ++i) {
        if (!isAssignment(code, i) || !text::isBlank(code[i - 1]) || code[i + 1] == u'\n' ||
            code[i + 1] == u'\r')
            continue;
        ++(text::isBlank(code[i + 1]) ? spaced : tight);
    }
    return tight > spaced;
}

}  // namespace fit
