// The reading of cut edges: where a window's complete statements begin, closing lines whose opener
// was cut away and constructs still open at the end of the text.

#include <algorithm>

#include "ca/parser/parser_internals.hpp"
#include "fl/i18n.hpp"

namespace ca::detail::parsing {

// Whether constructs may have been cut away before the text: its statements begin after a cut edge, or
// their first line stands deeper than a later one.
bool Parser::headWasCut(std::size_t firstCode) const {
    // The first run has read the first complete line already; a second one starts at the anchor.
    const std::size_t start = knownAnchor_ > 0 ? pos_ : anchorPos_;
    const PTok& first = toks_[start];
    if (first.eof) return false;
    if (start > firstCode) return true;
    // A first line that may be cut in the middle tells its indentation only when it is a block header;
    // otherwise the next code line stands for it.
    std::uint32_t reference = kNoIndent;
    const bool header = first.kind == TokenKind::Keyword && lexer::opensBlock(first.word);
    if (first.line > 1 || header) reference = lineIndent_[first.line];
    for (std::uint32_t l = first.line + 1; l <= lineCount(); ++l) {
        if ((d_.lineContent[l] & 1) == 0) continue;
        if (reference == kNoIndent)
            reference = lineIndent_[l];
        else if (lineIndent_[l] < reference)
            return true;
    }
    return false;
}

bool Parser::orphanAccepted(const PTok& t) const {
    if (wholeFile()) return false;
    const std::uint32_t indent = lineIndent_[t.line];
    if (!t.lineFirst) return false;
    // Functions whose bodies are not indented: right after an `end` at the left margin (or after a
    // function's `end` in a text of closed functions), an `end` at the same indentation closes the
    // function that held it. After the `end` of a control block opened in the text, only a function
    // of the text with an unindented body shows that style; otherwise the second `end` is one too
    // many.
    const bool closesOuterFunction =
        t.word == Word::End && lastEndIndent_ == indent &&
        ((indent == 0 && !lastEndAtMargin_ && (!lastEndClosedControl_ || unindentedFunctionBody_)) ||
         (closedForm_ && lastEndClosedFunction_));
    // A clause may stand at its body's column: code before and after it at its own column.
    const bool clauseInBody =
        t.word != Word::End && indent == minCodeSinceOrphan_ && !nextCodeRightOf(t.line, indent);
    return t.line == 1 || closesOuterFunction || (indent < orphanIndent_ && clauseInBody) ||
           (indent < minCodeSinceOrphan_ &&
            (indent < orphanIndent_ || (indent == orphanIndent_ && minCodeSinceOrphan_ != kNoIndent))) ||
           closesMarginFunction(t) || (indent < orphanIndent_ && nextCodeLeftOf(t.line, indent));
}

// Functions whose bodies sit at the margin: a window that starts inside one sees its `end` at the margin
// after code at the margin. Read so where no function of the text has an indented body, at most once, and
// only where no statement follows (a function line, another `end` or the end of the text).
bool Parser::closesMarginFunction(const PTok& t) const {
    if (t.word != Word::End || !t.lineFirst || t.line == 1 || lineIndent_[t.line] != 0 ||
        indentedFunctionBody_ || marginFunctionClosed_)
        return false;
    std::size_t k = std::min(pos_ + 1, toks_.size() - 1);
    while (!toks_[k].eof && (isTerminator(toks_[k]) || toks_[k].line == t.line))
        ++k;
    const PTok& next = toks_[k];
    if (next.kind == TokenKind::Keyword && next.word == Word::Function) return true;
    // A last line without line end may be a `function` line cut short.
    if (!next.eof && !endsWithLineEnd_ && next.line == lineCount() && next.kind == TokenKind::Identifier &&
        std::u16string_view(u"function").starts_with(textOf(next)))
        return true;
    // Right after the `end` of a condition or loop of the text, a second `end` with nothing after it is
    // one too many (a reply that repeats the `end` below the cursor), unless the text shows the margin
    // layout (a function of it, or names only a function has), or begins inside something cut away.
    if (lastEndIndent_ == 0 && lastEndClosedControl_ && !unindentedFunctionBody_ && !headCut_ &&
        !readsFunctionOnlyNames())
        return false;
    return next.eof || (next.kind == TokenKind::Keyword && next.word == Word::End);
}

// `nargin`, `nargout`, `varargin` and `varargout` only mean something inside a function. Looked for once
// per run, as many `end`s may ask.
bool Parser::readsFunctionOnlyNames() const {
    if (functionOnlyNames_ < 0) {
        functionOnlyNames_ = std::any_of(toks_.begin(), toks_.end(), [&](const PTok& t) {
            if (t.kind != TokenKind::Identifier) return false;
            const std::u16string_view name = textOf(t);
            return name == u"nargin" || name == u"nargout" || name == u"varargin" || name == u"varargout";
        });
    }
    return functionOnlyNames_ == 1;
}

// Sloppy bodies stand left of their `end` in places; an `end` after which the code goes on further left
// still closed what was cut away.
bool Parser::nextCodeLeftOf(std::uint32_t line, std::uint32_t indent) const {
    std::size_t k = std::min(pos_ + 1, toks_.size() - 1);
    while (!toks_[k].eof && (toks_[k].line == line || toks_[k].kind == TokenKind::LineEnd))
        ++k;
    return !toks_[k].eof && lineIndent_[toks_[k].line] < indent;
}

bool Parser::nextCodeRightOf(std::uint32_t line, std::uint32_t indent) const {
    std::size_t k = std::min(pos_ + 1, toks_.size() - 1);
    while (!toks_[k].eof && (toks_[k].line == line || toks_[k].kind == TokenKind::LineEnd))
        ++k;
    return !toks_[k].eof && lineIndent_[toks_[k].line] > indent;
}

// A `methods` line at the margin over a `function` line, or last in the text: a class laid out at the
// margin, its `classdef` cut away.
bool Parser::nextCodeIsFunctionLine(std::uint32_t line) const {
    std::size_t k = std::min(pos_ + 1, toks_.size() - 1);
    while (!toks_[k].eof && (toks_[k].line == line || toks_[k].kind == TokenKind::LineEnd))
        ++k;
    return toks_[k].eof || (toks_[k].kind == TokenKind::Keyword && toks_[k].word == Word::Function);
}

Parser::Snapshot Parser::snapshot() const {
    return Snapshot{pos_,
                    d_.tree.nodes.size(),
                    d_.tree.children.size(),
                    pending_.size(),
                    d_.diagnostics.size(),
                    frames_.size(),
                    lastEnd_,
                    minCodeSinceOrphan_,
                    orphanIndent_,
                    nesting_,
                    parenDepth_};
}

void Parser::restore(const Snapshot& s) {
    pos_ = s.pos;
    resumeAt_ = 0;  // a resumption point of the reading undone
    d_.tree.nodes.resize(s.nodes);
    d_.tree.children.resize(s.children);
    pending_.resize(s.pending);
    d_.diagnostics.resize(s.diagnostics);
    if (frames_.size() > s.frames) frames_.resize(s.frames);
    lastEnd_ = s.lastEnd;
    minCodeSinceOrphan_ = s.minCode;
    orphanIndent_ = s.orphanIndent;
    nesting_ = s.nesting;
    parenDepth_ = s.parenDepth;
    failed_ = false;
    failedHeader_ = false;
    inMatrix_ = false;
    inIndex_ = 0;
}

// An expression statement that only shows values, such as a row of a matrix whose opening line was
// cut away, cannot tell where the text's statements begin.
namespace {

bool isLeadingCommandName(std::u16string_view name) {
    static constexpr std::u16string_view kNames[] = {u"clc",    u"clear",   u"close", u"clf",   u"hold",
                                                     u"format", u"warning", u"more",  u"diary", u"echo",
                                                     u"figure", u"grid",    u"axis",  u"pkg",   u"addpath"};
    return std::find(std::begin(kNames), std::end(kNames), name) != std::end(kNames);
}

}  // namespace

bool Parser::isLeadingCommand(const ca::astapi::NodeRecord& command) const {
    const auto& name = d_.tree.nodes[d_.tree.children[command.firstChild]];
    return isLeadingCommandName(std::u16string_view(text_).substr(name.start, name.closing + 1 - name.start));
}

bool Parser::weakStatements(std::size_t fromPending, bool callsAreWeak) const {
    if (fromPending >= pending_.size()) return true;
    // Values separated by commas read like a row of a cell array or matrix.
    const bool severalExpressions =
        pending_.size() - fromPending > 1 &&
        std::all_of(pending_.begin() + static_cast<std::ptrdiff_t>(fromPending), pending_.end(),
                    [&](std::uint32_t n) { return d_.tree.nodes[n].kind == NodeKind::ExpressionStatement; });
    if (severalExpressions) return true;
    // Only a call stands for itself; a bare value, an operation or a field may be a row of a bracket
    // whose opening line was cut away.
    for (std::size_t k = fromPending; k < pending_.size(); ++k) {
        const auto& statement = d_.tree.nodes[pending_[k]];
        // A command (`clear all`, `hold on`) is a complete statement. On the first line, which may be the
        // tail of a comment, only one of the commands that scripts begin with counts.
        if (statement.kind == NodeKind::Command) {
            if (callsAreWeak && !isLeadingCommand(statement)) continue;
            return false;
        }
        if (statement.kind != NodeKind::ExpressionStatement) return false;
        const auto& expression = d_.tree.nodes[d_.tree.children[statement.firstChild]];
        // So is one of those alone on its line (`clc`), a command without words.
        if (expression.kind == NodeKind::Identifier &&
            isLeadingCommandName(std::u16string_view(text_).substr(
                expression.start, expression.closing + 1 - expression.start)))
            return false;
        if (!callsAreWeak && (expression.kind == NodeKind::Index || expression.kind == NodeKind::CellIndex)) {
            return false;
        }
    }
    return true;
}

// Lines of calls and values from `from` on up to a closing bracket whose opener is not in the text
// (`zeros(1, 19)` / `};`): the rows of a bracket whose opening line was cut away. An assignment, a
// keyword, a command or a text cut short before it shows statements instead, except on the first line, which
// may be the tail of a row's comment (`% m = 5`); a first line with brackets or texts is read as it stands.
bool Parser::rowsOfCutBracket(std::size_t from) const {
    int depth = 0;
    for (std::size_t k = from; !toks_[k].eof; ++k) {
        const PTok& t = toks_[k];
        const bool opens = t.kind == TokenKind::Punctuation &&
                           (t.op == Op::LParen || t.op == Op::LBracket || t.op == Op::LBrace);
        const bool closes = t.kind == TokenKind::Punctuation &&
                            (t.op == Op::RParen || t.op == Op::RBracket || t.op == Op::RBrace);
        if (t.line == 1) {
            if (opens || closes || t.kind == TokenKind::CharArray || t.kind == TokenKind::String)
                return false;
            continue;
        }
        if (t.kind == TokenKind::Keyword || t.kind == TokenKind::CommandWord ||
            (t.flags & lexer::kUnterminated) != 0)
            return false;
        if (t.kind == TokenKind::Operator && t.op == Op::Assign && depth == 0) return false;
        if (opens) ++depth;
        if (closes && --depth < 0) return true;
    }
    return false;
}

// What precedes the first complete statement is a cut edge: try each line in turn until one reads
// as a complete statement.
void Parser::skipCutEdge() {
    inHead_ = true;
    std::size_t budget = toks_.size() * 4 + 4096;
    std::size_t spent = 0;
    bool found = false;
    while (!toks_[pos_].eof) {
        while (!toks_[pos_].eof && toks_[pos_].kind == TokenKind::LineEnd)
            ++pos_;
        const PTok& t = toks_[pos_];
        if (t.eof || spent > budget) break;
        const Snapshot before = snapshot();
        const int structuralBefore = structuralLines_;
        const int statementsBefore = statementsParsed_;
        const std::size_t startPos = pos_;
        bool clean = false;
        try {
            parseLine();
            const bool leadingSeparator =
                t.kind == TokenKind::Punctuation && (t.op == Op::Comma || t.op == Op::Semicolon);
            // The first line may be the tail of a longer one: a call there proves nothing either.
            // A header alone on the first line counts; a clause there does not (it may be the tail of
            // `elseif`), nor a header followed by more (it may be the tail of a text literal).
            const bool firstLineHeader = t.kind == TokenKind::Keyword &&
                                         statementsParsed_ == statementsBefore + 1 && t.word != Word::Else &&
                                         t.word != Word::Elseif && t.word != Word::Case &&
                                         t.word != Word::Otherwise && t.word != Word::Catch;
            const bool opensBlock = frames_.size() > before.frames && (t.line > 1 || firstLineHeader);
            const bool blockLine = structuralLines_ != structuralBefore || frames_.size() > before.frames;
            const bool structural = (blockLine && t.line > 1) || opensBlock;
            // A clause or `end` on a first line that may be cut proves nothing.
            const bool cutBlockLine = blockLine && !structural;
            clean = d_.diagnostics.size() == before.diagnostics && !leadingSeparator && !cutBlockLine &&
                    (structural || !weakStatements(before.pending, t.line == 1));
        } catch (const InvalidAnalysisException&) {
            restore(before);
            throw;
        }
        // Calls and values up to a line that closes a bracket opened before the text are its rows.
        if (clean && (t.line == 1 || weakStatements(before.pending, true)) && rowsOfCutBracket(startPos))
            clean = false;
        spent += pos_ - startPos;
        if (clean) {
            anchorPos_ = startPos;
            found = true;
            break;
        }
        const std::uint32_t lastLine = toks_[std::min(pos_, toks_.size() - 1)].line;
        const std::uint32_t firstLine = t.line;
        restore(before);
        for (std::uint32_t l = firstLine; l < lineKind_.size() && l <= lastLine; ++l)
            lineKind_[l] = 0;
        pos_ = startPos;
        while (!toks_[pos_].eof && toks_[pos_].kind != TokenKind::LineEnd)
            ++pos_;
    }
    if (!found) anchorPos_ = pos_;
    restoreAfterHead();
}

// Whether lexing afresh from `anchor` (on `line`) reads the rest differently; the cut edge may have
// misled the lexer's view of brackets and blocks, and with them of command words.
bool Parser::relexingChanges(std::size_t anchor, std::uint32_t line) const {
    auto first = std::find_if(d_.tokens.begin(), d_.tokens.end(),
                              [&](const ScanToken& t) { return t.offset >= anchor; });
    if (first != d_.tokens.begin() && ((first - 1)->flags & lexer::kFreshAfter) != 0) return false;
    std::vector<ScanToken> fresh;
    lexer::scan(text_, fresh, anchor, line);
    if (static_cast<std::size_t>(d_.tokens.end() - first) != fresh.size()) return true;
    for (const ScanToken& t : fresh) {
        if (t.offset != first->offset || t.length != first->length || t.kind != first->kind) return true;
        ++first;
    }
    return false;
}

// The kind noted for the first statement line from `line` on (0 when there is none).
std::uint8_t Parser::firstCodeLineKind(std::uint32_t line) const {
    for (std::uint32_t l = line; l < lineKind_.size(); ++l)
        if (lineKind_[l] != 0) return lineKind_[l];
    return 0;
}

// Constructs still open at the end of the text.
void Parser::closeAtEnd() {
    // Least indentation of the statement lines from each line on; a cut last line does not count.
    const std::uint32_t lines = lineCount();
    std::vector<std::uint32_t> minFrom(lines + 2, kNoIndent), strictMinFrom(lines + 2, kNoIndent);
    for (std::uint32_t l = lines; l >= 1; --l) {
        std::uint32_t here = kNoIndent;
        const bool cutLast = l == lines && !endsWithLineEnd_;
        if (!cutLast && (lineKind_[l] == 1 || lineKind_[l] == 3 || lineKind_[l] == 4)) here = lineIndent_[l];
        strictMinFrom[l] = std::min(here, strictMinFrom[l + 1]);
        // A block header at a construct's own column (a sloppy body that opens with a block) does not show
        // code outside it; one further left does.
        if (here != kNoIndent && controlHeaderLine_[l]) ++here;
        minFrom[l] = std::min(here, minFrom[l + 1]);
    }
    // Where every condition and loop the text closes indents its body, a header at an open one's column
    // stands outside it too.
    const bool indentsBodies = indentedBodies_ >= 3 && flatBodies_ == 0;
    // A whole file has nothing after it: what is open lacks its `end`, functions without `end` aside.
    while (!frames_.empty() && wholeFile()) {
        Frame& f = frames_.back();
        if (isFunctionKind(f.kind) && (!closedForm_ || f.holdsNested))
            recordUnclosed(f);
        else
            missingEnd(f);
        popFrame();
    }
    while (!frames_.empty()) {
        Frame& f = frames_.back();
        // Lines before the construct's last clause are its own, wherever they stand.
        const std::uint32_t from = f.clause != NodeKind::Unknown ? toks_[f.clauseTok].line + 1 : f.line + 1;
        // A `methods` block whose first line is a `function` line holds functions however far left they
        // stand: only a block word or the class's `end` could stand outside it, and those are no code.
        const bool deeper = from > lines || minFrom[from] == kNoIndent || minFrom[from] > f.indent ||
                            (f.kind == NodeKind::Methods && firstCodeLineKind(f.line + 1) == 4);
        if (isFunctionKind(f.kind)) {
            // A function that holds nested ones is of the closed form: its `end` was cut away, unless
            // its body, indented at first, later has code at or left of the header.
            const std::uint32_t header = f.line == 1 ? 0 : f.indent;
            // In a window of closed functions, the last one's `end` lies beyond the window.
            if (!deeper && !f.holdsNested && !closedForm_)
                recordUnclosed(f);
            else if (closedForm_ && f.firstBody != kNoIndent && f.firstBody > header &&
                     minFrom[f.line + 1] <= header)
                missingEnd(f);
        } else if ((!deeper || (indentsBodies && from <= lines && strictMinFrom[from] <= f.indent)) &&
                   f.line != 1) {
            missingEnd(f);
        }
        popFrame();
    }
    // The rarer form is the mistake: report it where it shows.
    if (closedFunctions_ > 0 && unclosedFunctions_ > 0 && closedFunctions_ <= unclosedFunctions_) {
        diagnose(firstFunctionEndOffset_, Severity::Error, "MixedFunctionForms",
                 "The 'end' at line " + std::to_string(lineOf(firstFunctionEndOffset_)) +
                     " closes a function, but the other functions in this text have no 'end'.");
    } else if (closedFunctions_ > 0 && unclosedFunctions_ > 0) {
        diagnose(firstUnclosedOffset_, Severity::Error, "MixedFunctionForms",
                 "The function at line " + std::to_string(firstUnclosedLine_) +
                     " is not closed by 'end', but other functions in this text are.");
    }
    if (firstNestedLine_ != 0 && unclosedFunctions_ > 0) {
        diagnose(firstNestedOffset_, Severity::Error, "NestedFunctionNotClosed",
                 "Function '" + fl::i18n::to_string(firstNestedName_) + "' at line " +
                     std::to_string(firstNestedLine_) +
                     " is nested in another function, so every function of this text must be closed by "
                     "'end'.");
    }
}

}  // namespace ca::detail::parsing
