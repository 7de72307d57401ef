#include "fit/reindent_continuation.hpp"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "fit/reindent_style.hpp"
#include "fit/reindent_window.hpp"
#include "fit/text_lines.hpp"

namespace fit {
namespace {

// How far above and below the edit the file's continuation lines are read.
constexpr std::size_t kStyleLines = 400;

bool isOpening(char16_t c) {
    return c == u'(' || c == u'[' || c == u'{';
}

bool isClosing(char16_t c) {
    return c == u')' || c == u']' || c == u'}';
}

// A quote after a value (a name, a closing bracket, a transpose, a field's dot) is a transpose.
bool quoteIsTranspose(char16_t previous) {
    return text::isWordChar(previous) || isClosing(previous) || previous == u'\'' || previous == u'.';
}

}  // namespace

namespace {

// An `=` that assigns, not one of `==`, `~=`, `<=`, `>=`.
bool assigns(std::u16string_view line, std::size_t i) {
    const char16_t before = i > 0 ? line[i - 1] : u' ';
    const char16_t after = i + 1 < line.size() ? line[i + 1] : u' ';
    return after != u'=' && before != u'=' && before != u'~' && before != u'<' && before != u'>';
}

// A `+` or `-` written apart between two operands (`a - b`), not a sign (`a * -b`, `[1 -2]`).
bool splitsTerms(std::u16string_view line, std::size_t i, char16_t previousCode) {
    const bool operandBefore =
        text::isWordChar(previousCode) || isClosing(previousCode) || previousCode == u'\'';
    return operandBefore && i > 0 && text::isBlank(line[i - 1]) && i + 1 < line.size() &&
           text::isBlank(line[i + 1]);
}

// A matrix's or a cell's element that starts at `i` (read up to `column`), where it is a number: where it
// starts, or where the digits after its sign start.
void noteNumberCell(std::u16string_view line, std::size_t i, int column, StatementScan::Bracket& bracket) {
    constexpr std::size_t kKeptColumns = 32;
    const auto isDigitAt = [&](std::size_t at) {
        return at < line.size() &&
               ((line[at] >= u'0' && line[at] <= u'9') ||
                (line[at] == u'.' && at + 1 < line.size() && line[at + 1] >= u'0' && line[at + 1] <= u'9'));
    };
    if (isDigitAt(i) && bracket.unsignedStarts.size() < kKeptColumns)
        bracket.unsignedStarts.push_back(column - 1);
    else if ((line[i] == u'-' || line[i] == u'+') && isDigitAt(i + 1) &&
             bracket.signedDigits.size() < kKeptColumns)
        bracket.signedDigits.push_back(column);
}

}  // namespace

bool StatementScan::Bracket::hangsSigns() const {
    const auto startsThere = [&](int column) {
        return std::find(unsignedStarts.begin(), unsignedStarts.end(), column) != unsignedStarts.end();
    };
    std::size_t hanging = 0, flush = 0;
    for (const int digits : signedDigits) {
        hanging += startsThere(digits);
        flush += startsThere(digits - 1);
    }
    return hanging > flush;
}

void scanLine(std::u16string_view line, unsigned tabSize, StatementScan& scan) {
    const int tab = static_cast<int>(std::max(1u, tabSize));
    const bool firstLine = scan.linesRead++ == 0;
    const std::size_t openBefore = scan.openBrackets.size();
    bool codeAfterLastOpening = true, valueNext = false, termNext = false;
    const auto lineRead = [&] {
        // A bracket with nothing after it on its line: its elements go on the next lines.
        if (!codeAfterLastOpening && scan.openBrackets.size() > openBefore)
            scan.openBrackets.back().endsLine = true;
    };
    scan.continues = false;
    scan.rowEnded = false;
    int column = 0;  // the column after the code unit read
    std::optional<int> codeColumn;
    char16_t quote = 0, previous = 0, previousCode = 0;
    std::uint32_t word = 0;  // a hash of the last word read, for the name a call's bracket follows
    int blanks = 0;          // read since the last code
    for (std::size_t i = 0; i < line.size(); previous = line[i], ++i) {
        const char16_t c = line[i];
        column = c == u'\t' ? (column / tab + 1) * tab : column + 1;
        if (quote) {
            // A doubled quote stands for one inside the text.
            if (c == quote && i + 1 < line.size() && line[i + 1] == quote)
                ++i, ++column;
            else if (c == quote)
                quote = 0;
            continue;
        }
        if (c == u'%') return lineRead();
        if (line.substr(i).starts_with(u"...")) {
            scan.continues = true;
            return lineRead();
        }
        if (text::isBlank(c)) {
            ++blanks;
            continue;
        }
        if (!scan.openBrackets.empty() && scan.openBrackets.back().opening != u'(' &&
            (blanks > 0 || !codeColumn ||
             std::u16string_view(u"[{,;").find(previousCode) != std::u16string_view::npos))
            noteNumberCell(line, i, column, scan.openBrackets.back());
        // Two blanks between a bracket's elements pad them apart: after a comma in a call, where one
        // blank already separates arguments, or anywhere in a matrix or a cell.
        if (blanks >= 2 && codeAfterLastOpening && scan.openBrackets.size() > openBefore &&
            (scan.openBrackets.back().opening != u'(' || previousCode == u','))
            scan.openBrackets.back().padded = true;
        blanks = 0;
        scan.rowEnded = c == u';';
        if (!codeColumn) codeColumn = column - 1;
        if (!codeAfterLastOpening && scan.openBrackets.size() > openBefore) {
            StatementScan::Bracket& bracket = scan.openBrackets.back();
            bracket.spaced = column - 1 > bracket.column;
            bracket.column = column - 1;  // its first element: `[ a b` lines up under `a`
        }
        codeAfterLastOpening = true;
        if (valueNext) {
            scan.valueColumn = column - 1;
            valueNext = false;
        }
        if (termNext) {
            scan.termColumn = column - 1;
            termNext = false;
        }
        if (text::isWordChar(c))
            word = (text::isWordChar(previous) ? word * 31u : 2166136261u) + c;  // `a.b`: the hash of `b`
        if (c == u'"' || (c == u'\'' && !quoteIsTranspose(previous))) {
            quote = c;
        } else if (isOpening(c)) {
            const std::uint32_t callee = c == u'(' && text::isWordChar(previousCode) ? word | 1u : 0u;
            scan.openBrackets.push_back(
                {c, column, false, false, false, firstLine ? std::nullopt : codeColumn, {}, {}, callee});
            codeAfterLastOpening = false;
        } else if (isClosing(c) && !scan.openBrackets.empty()) {
            scan.openBrackets.pop_back();
        } else if (c == u'=' && firstLine && scan.openBrackets.empty() && !scan.valueColumn &&
                   assigns(line, i)) {
            valueNext = true;
        } else if ((c == u'+' || c == u'-') && firstLine && scan.valueColumn && scan.openBrackets.empty() &&
                   splitsTerms(line, i, previousCode)) {
            termNext = true;
        }
        previousCode = c;
    }
    lineRead();
}

int signHang(std::u16string_view line, const StatementScan& scan) {
    const std::u16string_view code = text::trimLeft(line);
    const bool startsWithSign =
        code.size() > 1 && (code[0] == u'-' || code[0] == u'+') && !text::isBlank(code[1]);
    return startsWithSign && !scan.openBrackets.empty() &&
                   (scan.openBrackets.back().spaced || scan.openBrackets.back().hangsSigns())
               ? 1
               : 0;
}

bool startsWithOperator(std::u16string_view line) {
    const std::u16string_view code = text::trimLeft(line);
    if (code.empty()) return false;
    return std::u16string_view(u"+-*/\\^&|<>=~").find(code.front()) != std::u16string_view::npos ||
           (code.size() > 1 && code[0] == u'.' &&
            std::u16string_view(u"*/\\^").find(code[1]) != std::u16string_view::npos);
}

namespace {

// The elements of a row as [start, end) offsets: what blanks and commas separate, up to a `;`, a closing
// bracket or a comment.
std::vector<std::pair<int, int>> elementSpans(std::u16string_view row) {
    std::vector<std::pair<int, int>> spans;
    for (std::size_t i = 0; i < row.size();) {
        const char16_t c = row[i];
        if (c == u';' || c == u']' || c == u'}' || c == u'%') break;
        if (text::isBlank(c) || c == u',') {
            ++i;
            continue;
        }
        const std::size_t start = i;
        while (i < row.size() && !text::isBlank(row[i]) &&
               std::u16string_view(u",;]}%").find(row[i]) == std::u16string_view::npos)
            ++i;
        spans.emplace_back(static_cast<int>(start), static_cast<int>(i));
    }
    return spans;
}

}  // namespace

int rowColumnLinedUp(std::u16string_view row, int column, std::u16string_view reference,
                     int referenceColumn) {
    // Texts, calls and anonymous functions hold blanks of their own: their elements are not read.
    const auto plain = [](std::u16string_view code) {
        return code.find_first_of(u"'\"(@") == std::u16string_view::npos;
    };
    // Rows lined up pad their elements: one blank between each lines nothing up.
    const auto pads = [](std::u16string_view code) {
        return text::trimRight(code).find(u"  ") != std::u16string_view::npos;
    };
    if (!plain(row) || !plain(reference) || (!pads(reference) && !pads(row))) return column;
    const auto own = elementSpans(row), other = elementSpans(reference);
    if (own.size() < 2 || other.size() < 2) return column;
    const int endAligned = referenceColumn + other.front().second - own.front().second;
    if (endAligned == column) return column;
    std::size_t starts = 0, ends = 0;
    for (std::size_t i = 0; i < std::min(own.size(), other.size()); ++i) {
        starts += column + own[i].first == referenceColumn + other[i].first;
        ends += endAligned + own[i].second == referenceColumn + other[i].second;
    }
    // A row padded to line its numbers up by their ends does so where the starts line up as well
    // (`[-0.8, -0.3, ...` / ` 0.3,  0.8]`: the signs stand out).
    return (ends > starts || (ends == starts && pads(row))) && ends >= 2 && endAligned >= 0 ? endAligned
                                                                                            : column;
}

bool isHeaderStatement(std::u16string_view line) {
    const std::u16string_view code = text::trimLeft(line);
    for (const std::u16string_view word : {u"if", u"elseif", u"while", u"for", u"parfor", u"switch", u"case"})
        if (code.starts_with(word) && (code.size() == word.size() || !text::isWordChar(code[word.size()])))
            return true;
    return false;
}

namespace {

// Statements with lines inside brackets that do not end their line: lined up with the bracket, or by
// offset from the statement -> statements.
struct BracketCounts {
    std::size_t aligned = 0;
    std::map<int, std::size_t> offsets;
};

struct ContinuationCounts {
    BracketCounts call, rows, rowGoingOn;
    std::map<std::uint32_t, BracketCounts> callsNamed;
    std::size_t alignedWithValue = 0;
    std::size_t alignedWithTerm = 0;  // also in `alignedWithValue`
    // offset from the statement -> statements
    std::map<int, std::size_t> endingBracketOffsets, plainOffsets, headerOffsets;
    // statements whose continuation lines stand at their first line's column, and those whose do not
    std::size_t flush = 0, apart = 0;
};

// Counts the statements with continuation lines in the lines from `from` up to `to`. A statement votes
// once, for each kind of line, for the way it places most of its lines of that kind: a long generated
// call lined up with its bracket is one habit of its writer, and a table of numbers lined up by their
// ends is a matrix lined up with its bracket. The declarations of a `properties` or an `arguments` block
// count apart from the code (`inDeclarations` follows the blocks from line to line): files often write
// their defaults and validators unlike their calls.
void countContinuations(const fl::ustring& file, std::size_t from, std::size_t to, unsigned tabSize,
                        unsigned indentSize, bool& inDeclarations, std::array<ContinuationCounts, 2>& both,
                        bool startsMidStatement = false) {
    StatementScan scan;
    ContinuationCounts* counts = &both[inDeclarations];
    int statementColumns = 0;
    bool header = false;
    enum Kind {
        kCall,
        kCallNamed,
        kRows,
        kRowGoingOn,
        kEndingBracket,
        kPlain,
        kTerm,
        kHeader,
        kFlush,
        kKinds
    };
    // The statement's lines of each kind, by the counter of the way they follow.
    std::array<std::map<std::size_t*, std::size_t>, kKinds> statement;
    // Lines that go on with a statement begun above them read as one from their first line: at their own
    // column, which says nothing of whether the file indents its continuation lines.
    std::size_t votes = 0;  // the first comes before any statement, the second ends the first
    const auto vote = [&] {
        if (votes++ == 1 && startsMidStatement) statement[kFlush].clear();
        for (auto& ways : statement) {
            std::size_t most = 0;
            for (const auto& [way, lines] : ways)
                most = std::max(most, lines);
            for (const auto& [way, lines] : ways)
                if (lines == most) ++*way;
            ways.clear();
        }
    };
    for (std::size_t at = from; at < to && at < file.size(); at = text::nextLineStart(file, at)) {
        const std::u16string_view line = std::u16string_view(file).substr(at, text::lineEnd(file, at) - at);
        if (text::isBlankText(line)) continue;
        const int columns = columnsOf(text::indentationOf(line), tabSize);
        if (const std::u16string_view code = text::trimLeft(line);
            scan.goesOn() && std::u16string_view(u")]}").find(code.front()) == std::u16string_view::npos)
            ++statement[kFlush][columns <= statementColumns ? &counts->flush : &counts->apart];
        if (!scan.goesOn()) {
            vote();
            scan = StatementScan{};
            statementColumns = columns;
            header = isHeaderStatement(line);
            inDeclarations = opensDeclarations(line) ||
                             (inDeclarations && !reindenting::startsWithWord(text::trimLeft(line), u"end"));
            counts = &both[inDeclarations];
        } else if (!scan.openBrackets.empty()) {
            const StatementScan::Bracket& bracket = scan.openBrackets.back();
            const Kind kind = bracket.opening == u'(' ? kCall : scan.startsRow() ? kRows : kRowGoingOn;
            BracketCounts& inside = kind == kCall   ? counts->call
                                    : kind == kRows ? counts->rows
                                                    : counts->rowGoingOn;
            if (bracket.endsLine && columns > statementColumns)
                ++statement[kEndingBracket][&counts->endingBracketOffsets[columns - statementColumns]];
            else {
                // An argument both lined up and a level in (`max(` in a file that steps by 4) shows neither
                // habit alone: it votes for both. Two levels in (`fprintf(`'s 8), it is lined up: writers
                // rarely step arguments in by two levels.
                const bool aligned = columns == bracket.column - signHang(line, scan);
                const int offset = columns - statementColumns, level = static_cast<int>(indentSize);
                const auto count = [&](Kind in, BracketCounts& counted) {
                    if (aligned) ++statement[in][&counted.aligned];
                    if (offset > 0 && (!aligned || (kind == kCall && offset == level)))
                        ++statement[in][&counted.offsets[offset]];
                };
                count(kind, inside);
                // A call padded into a table (a generated `struct('a',    1, ...`) lines up as tables do, not
                // as its writer places that name's calls.
                if (kind == kCall && bracket.callee && !bracket.padded)
                    count(kCallNamed, counts->callsNamed[bracket.callee]);
            }
        } else if (header) {
            // A header's lines have their own habit (`for k = 1 : ...` is no assignment to line up with).
            if (columns > statementColumns)
                ++statement[kHeader][&counts->headerOffsets[columns - statementColumns]];
        } else if (scan.valueColumn && columns == *scan.valueColumn) {
            ++statement[kPlain][&counts->alignedWithValue];
        } else if (scan.termColumn && columns == *scan.termColumn) {
            // Under the value's last term: lined up, as under the value, and a habit of its own.
            ++statement[kPlain][&counts->alignedWithValue];
            ++statement[kTerm][&counts->alignedWithTerm];
        } else if (columns > statementColumns) {
            ++statement[kPlain][&counts->plainOffsets[columns - statementColumns]];
        }
        scanLine(line, tabSize, scan);
    }
    vote();
}

// The most common offset and how many statements have it.
std::pair<std::optional<int>, std::size_t> mostCommon(const std::map<int, std::size_t>& offsets) {
    std::pair<std::optional<int>, std::size_t> best{std::nullopt, 0};
    for (const auto& [offset, lines] : offsets)
        if (lines > best.second) best = {offset, lines};
    return best;
}

// Lined up or by the most common offset, whichever the file does more often; nothing where it shows no
// such line.
std::optional<ContinuationHabit::InBrackets> inBrackets(const BracketCounts& counts) {
    const auto [offset, offsetLines] = mostCommon(counts.offsets);
    if (counts.aligned == 0 && offsetLines == 0) return std::nullopt;
    return ContinuationHabit::InBrackets{counts.aligned > offsetLines, offset};
}

}  // namespace

bool opensDeclarations(std::u16string_view line) {
    const std::u16string_view code = text::trimLeft(line);
    if (!reindenting::startsWithAnyWord(code, {u"properties", u"arguments", u"events", u"enumeration"}))
        return false;
    const auto wordEnd =
        std::find_if(code.begin(), code.end(), [](char16_t c) { return !text::isWordChar(c); });
    const std::u16string_view rest =
        text::trimLeft(code.substr(static_cast<std::size_t>(wordEnd - code.begin())));
    return rest.empty() || rest.front() == u'(' || rest.front() == u'%';
}

bool ReplyColumns::fourColumnsALevel() const {
    const int unit = std::max(indentSize, 1);
    return unit != 4 && !statements.empty() && std::all_of(statements.begin(), statements.end(), [&](auto s) {
               return s.own > 0 && s.own * unit == s.placed * 4;
           });
}

std::optional<int> ReplyColumns::shift(int column) const {
    for (const PlacedStatement& statement : statements)
        if (statement.placed == column) return statement.placed - statement.own;
    if (statements.empty()) return std::nullopt;
    // A reply that writes each of the file's levels as four columns moves each level by its own amount.
    const int unit = std::max(indentSize, 1);
    if (column % unit == 0 && fourColumnsALevel()) return column - column / unit * 4;
    const int shared = statements.front().placed - statements.front().own;
    for (const PlacedStatement& statement : statements)
        if (statement.placed - statement.own != shared) return std::nullopt;
    return shared;
}

std::optional<int> fourColumnsALevelMove(int statementPlaced, int indentSize) {
    const int unit = std::max(indentSize, 1);
    if (unit == 4 || statementPlaced % unit != 0 || statementPlaced == 0) return std::nullopt;
    return statementPlaced - statementPlaced / unit * 4;
}

std::optional<int> continuationFromReply(const ReplyColumns& reply, int own, std::optional<int> statementOwn,
                                         int statementPlaced, TypedStatement typed,
                                         const std::function<bool(int)>& fileStepsBy,
                                         const std::function<bool(int)>& fitsFileAt) {
    const bool statementKept = statementOwn.has_value();  // the formatter keeps its offset then
    if (!statementOwn) {
        std::optional<int> shift = reply.shift(statementPlaced);
        if (const std::optional<int> fourColumns = fourColumnsALevelMove(statementPlaced, reply.indentSize);
            fourColumns && shift != fourColumns && fitsFileAt(own + *fourColumns) &&
            !(shift && fitsFileAt(own + *shift)))
            shift = fourColumns;
        // A model that sends its block from its own margin (`f(a, ...` / `    b)`) steps in from there: a
        // level, or the file's step for such lines.
        if (!shift && typed.fromTypedLine && own > 0 &&
            (typed.fromMargin || own == reply.indentSize || fileStepsBy(own)))
            return statementPlaced + own;
        if (!shift) return std::nullopt;
        statementOwn = statementPlaced - *shift;
    }
    const int offset = own - *statementOwn;
    if (offset <= 0) return std::nullopt;
    // A model that writes a level as four columns steps its continuation lines in by its own levels too.
    const int levels = offset / 4 * std::max(reply.indentSize, 1);
    if (offset % 4 == 0 && reply.fourColumnsALevel() && fileStepsBy(levels)) return statementPlaced + levels;
    return statementKept ? std::nullopt : std::optional(statementPlaced + offset);
}

namespace {

ContinuationHabit habitOf(const ContinuationCounts& counts) {
    ContinuationHabit habit;
    habit.call = inBrackets(counts.call);
    habit.rows = inBrackets(counts.rows);
    habit.rowGoingOn = inBrackets(counts.rowGoingOn);
    for (const auto& [callee, named] : counts.callsNamed)
        if (const auto [offset, offsetLines] = mostCommon(named.offsets); named.aligned != offsetLines)
            habit.callsNamed[callee] = {named.aligned > offsetLines, offset};
    habit.endingBracketOffset = mostCommon(counts.endingBracketOffsets).first;
    const auto [plainOffset, plainLines] = mostCommon(counts.plainOffsets);
    if (counts.alignedWithValue > 0 || plainLines > 0)
        habit.alignsWithValue = counts.alignedWithValue >= plainLines;
    habit.alignsWithTerm = 2 * counts.alignedWithTerm > counts.alignedWithValue;
    habit.plainOffset = plainOffset;
    habit.headerOffset = mostCommon(counts.headerOffsets).first;
    habit.atStatementColumn = counts.flush > counts.apart;
    habit.anyShown = habit.call || habit.rows || habit.rowGoingOn || habit.endingBracketOffset ||
                     habit.alignsWithValue || habit.headerOffset;
    return habit;
}

}  // namespace

ContinuationHabits continuationHabits(const fl::ustring& file, std::size_t from, std::size_t to,
                                      std::u16string_view editText, unsigned tabSize, unsigned indentSize) {
    std::size_t start = text::lineStart(file, std::min(from, file.size()));
    for (std::size_t lines = 0; start > 0 && lines < kStyleLines; ++lines)
        start = text::lineStart(file, start - 1);
    const std::size_t below = text::nextLineStart(file, std::min(to, file.size()));
    std::size_t end = below;
    for (std::size_t lines = 0; end < file.size() && lines < kStyleLines; ++lines)
        end = text::nextLineStart(file, end);
    std::array<ContinuationCounts, 2> both;
    bool inDeclarations = false;
    countContinuations(file, start, from, tabSize, indentSize, inDeclarations, both);
    const bool editInDeclarations = inDeclarations;
    // Whether the lines below go on with a statement the edit's lines leave open.
    StatementScan edited;
    const std::size_t fromClamped = std::min(from, file.size()), toClamped = std::min(to, file.size());
    fl::ustring lines(std::u16string_view(file).substr(text::lineStart(file, fromClamped),
                                                       fromClamped - text::lineStart(file, fromClamped)));
    lines.append(editText);
    lines.append(std::u16string_view(file).substr(toClamped, text::lineEnd(file, toClamped) - toClamped));
    for (std::size_t at = 0; at <= lines.size();) {
        const std::size_t lineEnd = std::min(lines.size(), lines.find(u'\n', at));
        const std::u16string_view line = text::trimRight(std::u16string_view(lines).substr(at, lineEnd - at));
        if (!edited.goesOn()) edited = StatementScan{};
        if (!text::isBlankText(line)) scanLine(line, tabSize, edited);
        at = lineEnd + 1;
    }
    countContinuations(file, below, end, tabSize, indentSize, inDeclarations, both, edited.goesOn());
    return {habitOf(both[false]), habitOf(both[true]), editInDeclarations};
}

ContinuationHabit::InBrackets ContinuationHabit::inside(const StatementScan& scan, bool tabs) const {
    const bool inCall = scan.openBrackets.back().opening == u'(';
    // A call that pads its arguments into columns is laid out as a table: its lines line up, whatever the
    // file's calls do.
    if (inCall && scan.openBrackets.back().padded) return {true, std::nullopt};
    if (const auto named = callsNamed.find(scan.openBrackets.back().callee);
        inCall && named != callsNamed.end())
        return named->second;
    // So is a matrix or a cell opened on a later line of the statement (`'Types', {'a', 'b', ...` /
    // under `'a'`): stepped in from the statement, its elements would read as the call's next arguments.
    if (!inCall && scan.openBrackets.back().lineColumn) return {true, std::nullopt};
    if (const auto& own = inCall ? call : scan.startsRow() ? rows : rowGoingOn) return *own;
    // So is a matrix or a cell that pads its elements, where the file shows no such lines.
    if (scan.openBrackets.back().padded) return {true, std::nullopt};
    // Where the file shows no such lines: a row of a matrix or a cell lines up with its first element (in a
    // file indented with tabs, only where it shows continuation lines of another kind: lining up takes
    // blanks that a tab-indented file's writer steps in instead); a row that goes on after `...` follows the
    // calls, or else the rows. A call's arguments line up as the
    // assigned value does: rows say nothing of them (files that step their arguments in line their rows up
    // all the same).
    if (scan.startsRow()) return {anyShown || !tabs, std::nullopt};
    if (!inCall && call) return *call;
    if (!inCall && rows) return *rows;
    return {alignsWithValue.value_or(false), alignsWithValue == false ? plainOffset : std::nullopt};
}

bool ContinuationHabit::underValue(std::u16string_view line, bool tabs) const {
    if (alignsWithValue) return *alignsWithValue;
    // Lining up takes blanks that the writer of a file indented with tabs steps in instead.
    return (call ? call->alignsWithBracket : !tabs) && !startsWithOperator(line);
}

std::optional<int> ContinuationHabit::valueColumn(const StatementScan& scan) const {
    return alignsWithTerm && scan.termColumn ? scan.termColumn : scan.valueColumn;
}

bool stepsInBy(const ContinuationHabit& habit, const StatementScan& scan, bool header, bool tabs,
               int offset) {
    if (scan.openBrackets.empty())
        return header ? habit.headerOffset == offset
                      : habit.plainOffset == offset && !habit.alignsWithValue.value_or(false);
    if (scan.openBrackets.back().endsLine) return habit.endingBracketOffset == offset;
    const ContinuationHabit::InBrackets inside = habit.inside(scan, tabs);
    return !inside.alignsWithBracket && inside.offset == offset;
}

}  // namespace fit
