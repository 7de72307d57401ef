#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

#include "fl/ustring.hpp"

namespace fit {

// What the lines of a statement read so far leave open: the brackets still open (innermost last) with
// the column of the first element after each (just after it when none follows on its line), and whether
// the last line ended in `...`. Text literals and comments are
// skipped.
struct StatementScan {
    struct Bracket {
        char16_t opening;
        int column;
        bool endsLine = false;  // nothing but a comment or `...` follows it on its line
        bool spaced = false;    // a blank before its first element, where a row's sign may stand
        // Its line pads its elements apart (`struct('a',    1, ...`): they stand in columns, as a table's.
        bool padded = false;
        // The column of the code on the statement's later line it opens on; nothing on the first line.
        std::optional<int> lineColumn;
        // In a matrix or a cell, the columns where its unsigned numbers start and where the digits of its
        // signed ones start (a few of each: a table shows its habit in its first rows).
        std::vector<int> unsignedStarts, signedDigits;
        // For a call, a hash of the name called (`obj.plot(` -> `plot`), to tell calls apart; 0 for none.
        std::uint32_t callee = 0;
        // More of its signed numbers have their digits where an unsigned number starts than their sign:
        // its rows line their numbers up by the digits (`0   0` over `1 -7`).
        bool hangsSigns() const;
    };
    std::vector<Bracket> openBrackets;
    bool continues = false;
    bool rowEnded = false;  // the last line's code ended with `;`
    std::size_t linesRead = 0;
    // On a first line that assigns (`x = a + ...`), the column where the value starts, and where its last
    // term after a `+` or `-` outside brackets starts (`y = y - P * b ...` at `P`).
    std::optional<int> valueColumn, termColumn;

    // The next line belongs to the same statement: after `...`, or inside a matrix or a cell, whose rows
    // go on without it.
    bool goesOn() const {
        return continues || (!openBrackets.empty() && openBrackets.back().opening != u'(');
    }
    // The next line starts a row of a matrix or a cell; after `...` it goes on with the row, as a call's
    // arguments do, but for one after a row's `;` (`[a b; ...`).
    bool startsRow() const {
        return (!continues || rowEnded) && !openBrackets.empty() && openBrackets.back().opening != u'(';
    }
};

// How far left of the first element of the scan's innermost bracket a line lined up with it starts: a row
// that starts with a sign lets it stand in the blank before the first element (`[ c 0` / `-s 1`).
int signHang(std::u16string_view line, const StatementScan& scan);

// Reads one line (its indentation included) into the scan of its statement.
void scanLine(std::u16string_view line, unsigned tabSize, StatementScan& scan);

// A line that starts with an operator (`+ b`, `&& c`, `.* d`, `~ok`): it goes on with the line above, and
// its operand would not line up with a value above.
bool startsWithOperator(std::u16string_view line);

// The column of a matrix row (its code, from its first element) that would stand at `column` under
// `reference` (another row's code, standing at `referenceColumn`): where the rows line their elements up
// by their ends (`6  7` over `10 10`), the one at which its first element ends under the reference's (a
// row padded of its own, also where the starts line up as well: ` 0.3,  0.8` under `-0.8, -0.3`).
int rowColumnLinedUp(std::u16string_view row, int column, std::u16string_view reference, int referenceColumn);

// True for a line that opens a block with a condition or a range (`if`, `while`, `for`, `case`, ...): its
// continuation lines are often indented twice, apart from the body.
bool isHeaderStatement(std::u16string_view line);

// How the file places the continuation lines of a statement, in the 400 lines above `from` and the 400
// below the line of `to`: inside a bracket, lined up just after it (`f(a, ...` / `  b)` under `a`) or at
// an offset from the statement's first line, a call's arguments, a matrix's or a cell's new rows and a row
// going on after `...` each apart (a bracket that ends its line has only offsets); after `...` outside
// brackets, under the assigned value (`x = a + ...` / `    b` under `a`), under its last term
// (`y = y - a * ...` / `    b` under `a`) or at an offset, which a block's header may have of its own.
// Each is what the file does in the most statements (a statement counts once for each way it places its
// lines; an argument both lined up and one `indentSize` in counts for both); nothing where it shows
// no such line.
struct ContinuationHabit {
    struct InBrackets {
        bool alignsWithBracket = false;
        std::optional<int> offset;
    };
    std::optional<InBrackets> call, rows, rowGoingOn;
    // The calls of one name that the file places one way more often than the other (its `struct(` calls
    // lined up, its `fprintf(` calls stepped in), by their `StatementScan::Bracket::callee`.
    std::map<std::uint32_t, InBrackets> callsNamed;
    std::optional<int> endingBracketOffset;
    // Nothing where the file shows no such line: a line goes under the value unless it starts with an
    // operator (`total = a ...` / `+ b` stands a level in, its operand would not line up). Lines under the
    // value's last term count as lined up; where the file lines up more of them under the term than under
    // the value, `alignsWithTerm`.
    std::optional<bool> alignsWithValue;
    bool alignsWithTerm = false;
    std::optional<int> plainOffset;
    std::optional<int> headerOffset;
    bool anyShown = false;  // the file shows continuation lines of some kind
    // The file writes its continuation lines (closing lines aside) at their statements' columns in more
    // statements than it does not: a writer who never indents them.
    bool atStatementColumn = false;

    // For the next line of `scan`, inside a bracket: lined up in a call that pads its arguments into
    // columns, or else the file's habit for calls of the same name, or for such brackets; where it shows
    // none, lined up in a matrix or a cell that pads its elements, a new row of a matrix or a cell lines up
    // with the first element (where a file indented with `tabs` shows no continuation lines at all, nothing:
    // the formatter's default), a row after `...` follows the calls or else the rows, a call's arguments the
    // assigned value.
    InBrackets inside(const StatementScan& scan, bool tabs) const;
    // Whether `line`, after `...` outside brackets, goes under the assigned value: the file's habit; where
    // it shows none, its calls' (a file that steps its arguments in steps its values in), and a line that
    // starts with an operator does not, nor one of a file indented with `tabs` that shows neither.
    bool underValue(std::u16string_view line, bool tabs) const;
    // The column a line under the value of `scan` goes to: the value's last term's where the file lines its
    // lines up so.
    std::optional<int> valueColumn(const StatementScan& scan) const;
};
// A statement's first line of the edit: the column the model wrote it at and the one the edit gives it.
struct PlacedStatement {
    int own = 0;
    int placed = 0;
};

// The columns of a reply whose own do not fit: its statements' lines, as the model wrote them and as the
// edit puts them.
struct ReplyColumns {
    std::vector<PlacedStatement> statements;
    int indentSize = 4;

    // Every statement stands at four columns for each of the file's levels (a file whose step is not 4).
    bool fourColumnsALevel() const;
    // How far the edit moved the model's statements of the level it puts at `column` (the first such
    // statement's move), or, where none stands there, that level's move in a reply written four columns a
    // level, or else the one move all of them share.
    std::optional<int> shift(int column) const;
};

// Where a continuation line the model wrote at `own` goes, of a statement whose first line the model
// wrote at `statementOwn` (nothing where it began above the edit or on a first line written from the
// editor's blanks: the reply's own columns then tell, moved as its statements of that level moved) and
// the edit puts at `statementPlaced`. In a reply written four columns a level, an offset of whole levels
// becomes the file's levels where `fileStepsBy` says the file steps such lines in by that much. Nothing
// where the reply does not tell, nor for a statement the model wrote at its own column that this does not
// change (the formatter keeps the model's offset from it). Of a first line written from the editor's
// blanks where no statement tells the move, the reply's margin is that line's column: a line one level
// in, or as far in as the file steps such lines, was counted from it, and so are the statement's lines
// after one that was.
struct TypedStatement {
    bool fromTypedLine = false;  // its first line was written from the editor's blanks
    bool fromMargin = false;     // a line of it above was counted from the reply's margin
};
// How far from a model's column a line moves whose statement the file has at `statementPlaced`, where the
// model counts four columns a level and the file `indentSize`: nothing where those are the same, or the
// statement stands at no whole number of levels.
std::optional<int> fourColumnsALevelMove(int statementPlaced, int indentSize);

// Where the model did not write the statement's first line at its own column, it may have counted that
// line four columns a level: that move is taken where the line then stands where the file puts such
// lines (`fitsFileAt` a column) and does not by the reply's own move.
std::optional<int> continuationFromReply(const ReplyColumns& reply, int own, std::optional<int> statementOwn,
                                         int statementPlaced, TypedStatement typed,
                                         const std::function<bool(int)>& fileStepsBy,
                                         const std::function<bool(int)>& fitsFileAt);

// The file's habits for code and for the declarations of `properties`, `arguments`, `events` and
// `enumeration` blocks (files often write their defaults and validators unlike their calls), and which
// the edit starts in.
struct ContinuationHabits {
    ContinuationHabit code, declarations;
    bool editInDeclarations = false;
};
// `editText` replaces the text from `from` to `to`: lines below that go on with its last statement do not
// show where the file's statements start.
ContinuationHabits continuationHabits(const fl::ustring& file, std::size_t from, std::size_t to,
                                      std::u16string_view editText, unsigned tabSize, unsigned indentSize);

// A line that opens a block of declarations (`properties (Access = private)`), not one that assigns.
bool opensDeclarations(std::u16string_view line);

// Whether the file puts the next line of `scan` (of a block's header: `header`) at `offset` from its
// statement's first line, rather than lined up or at another offset.
bool stepsInBy(const ContinuationHabit& habit, const StatementScan& scan, bool header, bool tabs, int offset);

}  // namespace fit
