#include "ca/formatting/legacy/indent_planner.hpp"

#include <algorithm>
#include <string_view>

namespace ca::formatting::legacy {

using lexer::Token;
using lexer::TokenKind;

namespace {

constexpr int kMaxColumns = 1 << 16;  // bounds the blanks written for absurd nesting times indent size

bool isSignificant(TokenKind kind) {
    return kind != TokenKind::Blank && kind != TokenKind::LineEnd && kind != TokenKind::Comment &&
           kind != TokenKind::BlockComment && kind != TokenKind::Continuation;
}

bool isKeyword(const Token& token, std::u16string_view word) {
    return token.kind == TokenKind::Keyword && token.text == word;
}

bool isControlOpener(const Token& token) {
    if (token.kind != TokenKind::Keyword) return false;
    const std::u16string_view t = token.text;
    return t == u"if" || t == u"for" || t == u"parfor" || t == u"while" || t == u"try" || t == u"spmd";
}

bool isClassBlockWord(std::u16string_view t) {
    return t == u"properties" || t == u"methods" || t == u"events" || t == u"enumeration";
}

// The next significant token of the line after index i, or null.
const Token* nextSignificant(const std::vector<Token>& tokens, std::size_t i, std::size_t end) {
    for (++i; i < end; ++i)
        if (isSignificant(tokens[i].kind)) return &tokens[i];
    return nullptr;
}

// A class may define a method named `end` (`function n = end(obj, k, m)`): there `end` is a name.
bool namesMethodEnd(const std::vector<Token>& tokens, std::size_t i, std::size_t lineBegin) {
    if (!isKeyword(tokens[i], u"end") || !isKeyword(tokens[lineBegin], u"function")) return false;
    for (std::size_t j = i; j > lineBegin; --j) {
        const Token& previous = tokens[j - 1];
        if (!isSignificant(previous.kind)) continue;
        return &previous == &tokens[lineBegin] ||
               (previous.kind == TokenKind::Operator && previous.text == u"=");
    }
    return false;
}

// A contextual block word opens a block unless it is used as a variable (`methods = 3`, `events.x`).
bool opensContextualBlock(const Token* next) {
    if (!next) return true;
    if (next->kind == TokenKind::Operator && next->text == u"=") return false;
    if (next->kind == TokenKind::Punctuation && (next->text == u"." || next->text == u"{")) return false;
    return true;
}

enum class FrameKind { Control, Switch, Function, ClassDef, ClassBlock, Methods, Arguments };

struct Frame {
    FrameKind kind;
    std::u16string_view keyword;  // for Control frames
    int column;                   // of the header and the closing `end`
    int bodyColumn;
    int caseColumn = 0;         // for Switch frames
    bool sawStatement = false;  // for Function frames: an `arguments` block may only come first
    // Opened on the text's first line, whose position is unknown (it may be cut): its closing lines
    // stand where their own indentation puts them.
    bool uncertain = false;
    // A function opened on the first line: its body stands where its first body line stands.
    bool bodyFromFirstLine = false;
};

enum class FunctionStyleEvidence { Closed, Uncertain };

class Planner {
  public:
    Planner(const std::vector<Token>& tokens, const std::vector<SourceLine>& lines, const Settings& settings,
            bool assumeCutContinuation, bool assumeOpenBracket = false)
        : tokens_(tokens),
          lines_(lines),
          settings_(settings),
          indent_(static_cast<int>(std::min<std::uint32_t>(settings.indentSize, 1024))),
          tabSize_(static_cast<int>(std::clamp<std::uint32_t>(settings.tabSize, 1, 1024))),
          assumeCutContinuation_(assumeCutContinuation),
          assumeOpenBracket_(assumeOpenBracket),
          plan_(lines.size()) {}

    std::vector<std::optional<int>> run() {
        if (lines_.size() < 2) return plan_;
        firstLine_ = orphanBlockCommentEnd() + 1;
        scanBrackets();
        scanBlocks();
        depth_ = initialDepth_;
        // The first line's end is real even when its start was cut, so a `...` there carries over.
        if (firstLine_ == 1 && classifyLine(tokens_, lines_[0]) == LineKind::Code) {
            // The first line's constructs give the context (a function, a class block, a switch); their
            // columns are fixed by the first line after it.
            readingFirstLine_ = true;
            readTokens(0, false);
            readingFirstLine_ = false;
            continueNext_ = endsWithContinuation(lines_[0]);
            if (firstLineBracketsBogus_) depth_ = initialDepth_;
        }
        continueNext_ = continueNext_ || (firstLine_ == 1 && assumeCutContinuation_);
        for (std::size_t i = firstLine_; i < lines_.size(); ++i)
            planLine(i);
        placeComments(std::nullopt, true);
        return plan_;
    }

  private:
    // A lone `%}` with no opener closes a block comment whose start was cut away: everything before it
    // is comment text and must not be read as code.
    std::size_t orphanBlockCommentEnd() const {
        std::size_t last = 0;
        for (std::size_t i = 1; i < lines_.size(); ++i) {
            const SourceLine& line = lines_[i];
            if (classifyLine(tokens_, line) != LineKind::Comment) continue;
            std::u16string_view text = tokens_[line.codeBegin].text;
            while (!text.empty() && (text.back() == u' ' || text.back() == u'\t' || text.back() == u'\r'))
                text.remove_suffix(1);
            if (text == u"%}") last = i;
        }
        return last;
    }

    // The first line's tokens count unless a cut-away block comment precedes the real code.
    std::size_t scanStart() const { return firstLine_ == 1 ? 0 : firstLine_; }

    // Closing brackets without an opener mean that the window starts inside a statement cut above it.
    // Returns the depth the window starts in, or -1 when the brackets are inconsistent: one left open
    // by the first line still seems open at a line that starts a block.
    int bracketDepthAtStart(std::size_t from) const {
        int depth = 0, minDepth = 0;
        bool firstLineLeavesOpen = false;
        for (std::size_t l = from; l < lines_.size(); ++l) {
            if (l == from + 1) firstLineLeavesOpen = from == 0 && depth > 0;
            const bool cutLastLine = l + 1 == lines_.size() && !lines_[l].hasLineEnd;
            if (firstLineLeavesOpen && !cutLastLine && depth - minDepth > 0 &&
                classifyLine(tokens_, lines_[l]) == LineKind::Code && startsBlockLine(lines_[l]))
                return -1;
            for (std::size_t i = lines_[l].codeBegin; i < lines_[l].end; ++i) {
                const Token& t = tokens_[i];
                if (t.kind != TokenKind::Punctuation) continue;
                if (t.text == u"(" || t.text == u"[" || t.text == u"{")
                    ++depth;
                else if (isClosingBracket(t))
                    minDepth = std::min(minDepth, --depth);
            }
        }
        return -minDepth;
    }

    void scanBrackets() {
        initialDepth_ = bracketDepthAtStart(scanStart());
        if (initialDepth_ >= 0) {
            // A bracket opened above the text and still open at its end shows no closing bracket.
            if (assumeOpenBracket_ && initialDepth_ == 0) initialDepth_ = 1;
            return;
        }
        // The first line was cut inside a comment or text literal: its brackets are not code.
        firstLineBracketsBogus_ = true;
        initialDepth_ = std::max(0, bracketDepthAtStart(firstLine_));
    }

    // Whether the text's functions are known to be closed by `end`: every block opened in it is closed and
    // no `end` closes something cut away. Otherwise a `function` line inside a function is read by its
    // indentation.
    void scanBlocks() {
        int depth = initialDepth_;
        int nesting = 0, opened = 0, ends = 0, orphans = 0;
        bool hasFunction = false;
        std::vector<bool> openFunctions;  // per open block: whether it is a function
        for (std::size_t l = scanStart(); l < lines_.size(); ++l) {
            const SourceLine& line = lines_[l];
            bool first = true;
            if (l == 1 && firstLineBracketsBogus_) depth = initialDepth_;
            for (std::size_t i = line.codeBegin; i < line.end; ++i) {
                const Token& t = tokens_[i];
                if (!isSignificant(t.kind)) continue;
                const bool atLineStart = first;
                first = false;
                if (t.kind == TokenKind::Punctuation) {
                    if (t.text == u"(" || t.text == u"[" || t.text == u"{")
                        ++depth;
                    else if (isClosingBracket(t))
                        depth = std::max(0, depth - 1);
                    continue;
                }
                if (depth > 0) continue;
                if (t.kind == TokenKind::Keyword) {
                    if (isControlOpener(t) || isKeyword(t, u"switch") || isKeyword(t, u"classdef") ||
                        isKeyword(t, u"function")) {
                        hasFunction = hasFunction || isKeyword(t, u"function");
                        openFunctions.push_back(isKeyword(t, u"function"));
                        ++nesting;
                        ++opened;
                    } else if (isKeyword(t, u"end") && !namesMethodEnd(tokens_, i, line.codeBegin)) {
                        ++ends;
                        if (nesting == 0) {
                            ++orphans;
                        } else {
                            --nesting;
                            functionClosedByEnd_ = functionClosedByEnd_ || openFunctions.back();
                            openFunctions.pop_back();
                        }
                    }
                } else if (atLineStart && t.kind == TokenKind::Identifier &&
                           (isClassBlockWord(t.text) || t.text == u"arguments") &&
                           opensContextualBlock(nextSignificant(tokens_, i, line.end))) {
                    openFunctions.push_back(false);
                    ++nesting;
                    ++opened;
                }
            }
        }
        functionEvidence_ = hasFunction && orphans == 0 && nesting == 0 ? FunctionStyleEvidence::Closed
                                                                        : FunctionStyleEvidence::Uncertain;
        endsCoverOpeners_ = ends >= opened;
    }

    int bodyColumn() const { return stack_.empty() ? base_ : stack_.back().bodyColumn; }

    int statementColumn(bool continuing) const { return continuing ? stmtColumn_ + indent_ : bodyColumn(); }

    void setPlan(std::size_t i, int column) { plan_[i] = std::clamp(column, 0, kMaxColumns); }

    void planLine(std::size_t i) {
        const SourceLine& line = lines_[i];
        const LineKind kind = classifyLine(tokens_, line);
        if (kind == LineKind::BlockComment) return;
        // A whole-line comment ends a statement continued with `...`; inside brackets it does not.
        if (kind == LineKind::Comment) continueNext_ = false;
        // No bracket holds a block keyword, so an open bracket that seems to reach one came from a first
        // line cut inside a comment or text literal.
        if (kind == LineKind::Code && depth_ > 0 && startsBlockLine(line)) depth_ = 0;
        const bool continuing = depth_ > 0 || continueNext_;
        const bool mayBeCut = i + 1 == lines_.size() && !line.hasLineEnd;
        // The lines that go on with a statement begun on the first line say nothing about where that
        // statement starts (its start may be cut, its continuations aligned): they stay as they are, and
        // the first statement after them anchors the text.
        if (continuing && !baseKnown_) {
            if (kind != LineKind::Code) return;
            readTokens(i, true);
            continueNext_ = endsWithContinuation(line);
            return;
        }
        if (kind == LineKind::Blank) {
            // A last line without a line end may have been cut inside its leading blanks.
            if (mayBeCut) return;
            switch (settings_.blankLines) {
                case BlankLines::Indent:
                    // Before the first code line the level is unknown: a padded blank line stays as it is.
                    if (baseKnown_) setPlan(i, statementColumn(continuing));
                    return;
                case BlankLines::RemoveWhitespace:
                    setPlan(i, 0);
                    return;
                default:
                    return;
            }
        }

        // ... or inside its first word, which then says nothing about where it stands ("en" of "end").
        if (mayBeCut && isSingleWord(line)) return;
        const int own = leadingColumns(tokens_, line, tabSize_);
        if (kind == LineKind::Comment) {
            // Before the first code line nothing tells where a comment belongs: it stays as it is.
            if (baseKnown_)
                pendingComments_.push_back({i, own, statementColumn(continuing), lastCodeColumn_});
            return;
        }
        int column;
        if (continuing) {
            column = continuationColumn(own);
        } else {
            column = codeLineColumn(line, own);
            stmtColumn_ = std::max(column, 0);  // levels never go below 0, nor what is placed after them
            stmtOwn_ = own;
        }
        if (!continuing && !stack_.empty() && stack_.back().bodyFromFirstLine) {
            Frame& top = stack_.back();
            top.bodyFromFirstLine = false;
            if (baseKnown_ && column == top.bodyColumn) column = stmtColumn_ = top.bodyColumn = own;
        }
        const bool anchor = !baseKnown_;
        if (anchor) {
            // The first line may be cut, so the first line after it stays as it is, blanks and all (it may
            // be the text of a block comment whose start was cut), and anchors everything that follows.
            shiftAll(own - column);
            column = own;
            baseKnown_ = true;
        }
        setPlan(i, column);
        placeComments(plan_[i]);
        lastCodeColumn_ = *plan_[i];
        if (anchor) plan_[i].reset();

        if (kind == LineKind::Code) {
            readTokens(i, continuing);
            continueNext_ = endsWithContinuation(line);
        }
    }

    // An aligned continuation keeps its offset from the statement's first line; one at or left of it goes
    // one level in.
    int continuationColumn(int own) const {
        return own > stmtOwn_ ? stmtColumn_ + (own - stmtOwn_) : stmtColumn_ + indent_;
    }

    // Comments never set the level of code, so they are placed once the next code line is known: one that
    // stands at the level of the code before it, of the body it is in, or of the code after it stays there
    // (a help comment at the margin under a `function` line); any other goes to the body's level. After
    // the last code line, the code that follows out of sight may close any open construct or one cut away
    // before the text (a `function` line after the comments above it), so a comment at an open header's
    // column or left of the text's base stays too.
    void placeComments(std::optional<int> nextCodeColumn, bool textEnds = false) {
        const auto atOpenHeader = [&](int own) {
            return textEnds && (own <= base_ || std::any_of(stack_.begin(), stack_.end(),
                                                            [&](const Frame& f) { return f.column == own; }));
        };
        for (const PendingComment& comment : pendingComments_) {
            const bool fits = comment.own == comment.bodyColumn ||
                              comment.own == comment.previousCodeColumn ||
                              (nextCodeColumn && comment.own == *nextCodeColumn) || atOpenHeader(comment.own);
            setPlan(comment.line, fits ? comment.own : comment.bodyColumn);
        }
        pendingComments_.clear();
    }

    // A line starting with a keyword other than `end`, or holding only `end`.
    bool startsBlockLine(const SourceLine& line) const {
        const Token& first = tokens_[line.codeBegin];
        if (first.kind != TokenKind::Keyword) return false;
        if (first.text != u"end") return true;
        const Token* next = nextSignificant(tokens_, line.codeBegin, line.end);
        return !next || (next->kind == TokenKind::Punctuation && (next->text == u";" || next->text == u","));
    }

    bool isSingleWord(const SourceLine& line) const {
        const Token& first = tokens_[line.codeBegin];
        if (first.kind == TokenKind::Comment) return first.text == u"%";
        if (first.kind != TokenKind::Identifier && first.kind != TokenKind::Keyword) return false;
        for (std::size_t i = line.codeBegin + 1; i < line.end; ++i)
            if (tokens_[i].kind != TokenKind::Blank) return false;
        return true;
    }

    void shiftAll(int delta) {
        base_ += delta;
        stmtColumn_ += delta;
        for (Frame& frame : stack_) {
            frame.column += delta;
            frame.bodyColumn += delta;
            frame.caseColumn += delta;
        }
    }

    static bool isClosingBracket(const Token& t) {
        return t.kind == TokenKind::Punctuation && (t.text == u")" || t.text == u"]" || t.text == u"}");
    }

    bool endsWithContinuation(const SourceLine& line) const {
        for (std::size_t i = line.end; i > line.codeBegin; --i) {
            const TokenKind kind = tokens_[i - 1].kind;
            if (kind == TokenKind::LineEnd || kind == TokenKind::Blank) continue;
            // The lexer reads a line as a command or not by its context, indentation included; `...` goes
            // on with the statement either way.
            return kind == TokenKind::Continuation ||
                   (kind == TokenKind::CommandWord && tokens_[i - 1].text.starts_with(u"..."));
        }
        return false;
    }

    // A closing line whose construct was cut away stands where its own indentation puts it, never right
    // of the code before it; what follows is placed relative to it.
    int orphanClosingColumn(int own, int bodyOffset) {
        const int column = std::min(own, base_);
        base_ = column + bodyOffset;
        return column;
    }

    int codeLineColumn(const SourceLine& line, int own) {
        const Token& first = tokens_[line.codeBegin];
        if (first.kind != TokenKind::Keyword) return bodyColumn();
        const std::u16string_view word = first.text;
        if (word == u"end") {
            if (stack_.empty()) return orphanClosingColumn(own, 0);
            if (stack_.back().uncertain) return std::min(own, bodyColumn());  // what follows: readKeyword
            return stack_.back().column;
        }
        if (word == u"else" || word == u"elseif" || word == u"catch") {
            const std::u16string_view opener = word == u"catch" ? u"try" : u"if";
            dropUnmatchedUncertain(
                [&](const Frame& f) { return f.kind == FrameKind::Control && f.keyword == opener; });
            if (stack_.empty()) return orphanClosingColumn(own, indent_);
            Frame& top = stack_.back();
            if (top.kind != FrameKind::Control || top.keyword != opener) return bodyColumn();
            if (top.uncertain) {
                top.column = std::min(own, top.bodyColumn);
                top.bodyColumn = top.column + indent_;
            }
            return top.column;
        }
        if (word == u"case" || word == u"otherwise") {
            dropUnmatchedUncertain([](const Frame& f) { return f.kind == FrameKind::Switch; });
            if (stack_.empty()) return orphanClosingColumn(own, indent_);
            Frame& top = stack_.back();
            if (top.kind != FrameKind::Switch) return bodyColumn();
            if (top.uncertain) top.caseColumn = std::min(own, top.bodyColumn);
            return top.caseColumn;
        }
        if (word == u"function")
            return functionLineColumn(static_cast<std::size_t>(&line - lines_.data()), own);
        return bodyColumn();
    }

    // A clause that does not fit the construct opened on the first line shows that the construct was
    // misread (the line was cut inside a comment) or closed out of sight.
    template <typename Fits>
    void dropUnmatchedUncertain(Fits fits) {
        while (!stack_.empty() && stack_.back().uncertain && !fits(stack_.back()))
            stack_.pop_back();
    }

    // Index of the innermost function frame that a `function` line could end (functions inside a class
    // block belong to it), or -1.
    int innermostFunction() const {
        for (int i = static_cast<int>(stack_.size()) - 1; i >= 0; --i) {
            const FrameKind kind = stack_[static_cast<std::size_t>(i)].kind;
            if (kind == FrameKind::Function) return i;
            if (kind == FrameKind::Methods || kind == FrameKind::ClassBlock || kind == FrameKind::ClassDef)
                return -1;
        }
        return -1;
    }

    // A `function` line inside a function either starts a nested function or, when functions are not
    // closed by `end`, ends the open one and starts the next.
    int functionLineColumn(std::size_t lineIndex, int own) {
        const int f = innermostFunction();
        // With nothing open, the line may end a function without `end` whose start was cut away.
        if (f < 0) return stack_.empty() ? orphanClosingColumn(own, 0) : bodyColumn();
        const Frame& open = stack_[static_cast<std::size_t>(f)];
        bool nested;
        if (functionEvidence_ == FunctionStyleEvidence::Closed) {
            nested = true;
        } else if (open.uncertain) {
            // Where the open function stands is unknown; only a line left of its body is surely not nested.
            if (own >= bodyColumn())
                return endsCoverOpeners_ ? bodyColumn() : closeFunctions(f, bodyColumn());
            return closeFunctions(f, own);
        } else if (open.bodyColumn == open.column) {
            // Both readings put the line at the same column, so its indentation cannot tell. A function
            // closed by `end` shows the text's style; failing that, in the mixed style a nested function's
            // body is indented and a sibling's is not.
            if (functionClosedByEnd_)
                nested = true;
            else if (settings_.functionIndentation == FunctionIndentation::Mixed)
                nested = nextLineIndented(lineIndex, bodyColumn());  // where either reading puts the line
            else
                nested = endsCoverOpeners_;
        } else {
            nested = own > open.column;
        }
        if (nested) return bodyColumn();
        return closeFunctions(f, open.column);
    }

    // Ends the function at stack index f (and anything left open inside it); returns `column`.
    int closeFunctions(int f, int column) {
        stack_.resize(static_cast<std::size_t>(f));
        if (stack_.empty()) base_ = column;
        return column;
    }

    bool insideFunction() const {
        return std::any_of(stack_.begin(), stack_.end(),
                           [](const Frame& f) { return f.kind == FrameKind::Function; });
    }

    // The last line of the statement that starts on line i (its header may go on over continuation lines).
    std::size_t statementLastLine(std::size_t i) const {
        int depth = 0;
        bool continued = false;  // as planLine reads them, a `...` carries a block line into the statement
        for (std::size_t l = i; l < lines_.size(); ++l) {
            const LineKind kind = classifyLine(tokens_, lines_[l]);
            if (kind == LineKind::Comment) continued = false;
            if (kind != LineKind::Code) continue;
            // As planLine reads an open bracket there.
            if (l > i && !continued && startsBlockLine(lines_[l])) return l - 1;
            for (std::size_t t = lines_[l].codeBegin; t < lines_[l].end; ++t) {
                const Token& token = tokens_[t];
                if (token.kind != TokenKind::Punctuation) continue;
                if (token.text == u"(" || token.text == u"[" || token.text == u"{")
                    ++depth;
                else if (isClosingBracket(token))
                    depth = std::max(0, depth - 1);
            }
            continued = endsWithContinuation(lines_[l]);
            if (depth == 0 && !continued) return l;
        }
        return lines_.size() - 1;
    }

    // Whether the first non-blank line after the statement starting on line i stands right of `column`.
    bool nextLineIndented(std::size_t i, int column) const {
        std::optional<std::size_t> firstComment;
        for (std::size_t j = statementLastLine(i) + 1; j < lines_.size(); ++j) {
            const LineKind kind = classifyLine(tokens_, lines_[j]);
            // Comments never set the level of code (a help comment may stand at the margin), unless no code
            // follows them in the text.
            if (kind == LineKind::Comment && !firstComment) firstComment = j;
            if (kind != LineKind::Code) continue;
            // A closing line is never part of a body, and is formatted at or left of the line that asks:
            // reading its indentation would let formatting change what the next formatting decides.
            if (isClosingLine(lines_[j])) return false;
            return leadingColumns(tokens_, lines_[j], tabSize_) > column;
        }
        return firstComment && leadingColumns(tokens_, lines_[*firstComment], tabSize_) > column;
    }

    bool isClosingLine(const SourceLine& line) const {
        const Token& first = tokens_[line.codeBegin];
        if (first.kind != TokenKind::Keyword) return false;
        const std::u16string_view word = first.text;
        return word == u"end" || word == u"else" || word == u"elseif" || word == u"catch" ||
               word == u"case" || word == u"otherwise";
    }

    // Whether the innermost open construct was seen opening in the text, so that its kind can be trusted.
    bool contextKnown() const { return !stack_.empty() && !stack_.back().uncertain; }

    bool functionBodyIndented(std::size_t lineIndex, int column) const {
        if (contextKnown()) {
            if (stack_.back().kind == FrameKind::Methods) return true;
            if (settings_.functionIndentation == FunctionIndentation::All) return true;
            return insideFunction() && settings_.functionIndentation == FunctionIndentation::Mixed;
        }
        if (settings_.functionIndentation == FunctionIndentation::All) return true;
        // Every block of the text is closed in it, so a function opened inside an open one (even one from
        // the first line) is nested.
        if (settings_.functionIndentation == FunctionIndentation::Mixed && insideFunction() &&
            functionEvidence_ == FunctionStyleEvidence::Closed)
            return true;
        // A function right of the left margin lies in a class block cut away before the text, and in the
        // mixed style one at the margin may be nested in a function cut away: its own body shows which.
        if (column > 0 || settings_.functionIndentation == FunctionIndentation::Mixed)
            return nextLineIndented(lineIndex, column);
        return false;
    }

    void markStatement() {
        if (!stack_.empty() && stack_.back().kind == FrameKind::Function) stack_.back().sawStatement = true;
    }

    void push(FrameKind kind, std::u16string_view keyword, int column, int bodyColumn) {
        // Levels past the cap stay at it, so that no nesting overflows a column.
        stack_.push_back(
            Frame{kind, keyword, std::min(column, kMaxColumns), std::min(bodyColumn, kMaxColumns)});
        stack_.back().uncertain = readingFirstLine_;
    }

    void readTokens(std::size_t lineIndex, bool continuing) {
        const SourceLine& line = lines_[lineIndex];
        bool atStatementStart = !continuing;
        const Token* previous = nullptr;
        for (std::size_t i = line.codeBegin; i < line.end; ++i) {
            const Token& t = tokens_[i];
            if (!isSignificant(t.kind)) continue;
            const bool start = atStatementStart;
            const bool afterDot =
                previous && previous->kind == TokenKind::Punctuation && previous->text == u".";
            previous = &t;
            atStatementStart = false;
            if (t.kind == TokenKind::Punctuation) {
                if (t.text == u"(" || t.text == u"[" || t.text == u"{")
                    ++depth_;
                else if (isClosingBracket(t))
                    depth_ = std::max(0, depth_ - 1);
                else if (depth_ == 0 && (t.text == u"," || t.text == u";"))
                    atStatementStart = true;
                continue;
            }
            if (depth_ > 0 || afterDot) continue;
            // The first line may be cut inside a comment or text literal; only keywords that stand where a
            // statement starts are read as code there.
            if (readingFirstLine_ && !start) continue;
            if (t.kind == TokenKind::Keyword) {
                if (namesMethodEnd(tokens_, i, line.codeBegin)) continue;
                // A block word inside a statement (a broken line) opens nothing: its body's column would be
                // read from lines that the statement's own construct places, so that a second formatting
                // would read them elsewhere.
                if (!start && (t.text == u"function" || isControlOpener(t) || t.text == u"switch")) continue;
                readKeyword(lineIndex, t);
                // A clause keyword may be followed by a statement on the same line.
                atStatementStart =
                    t.text == u"else" || t.text == u"try" || t.text == u"otherwise" || t.text == u"end";
            } else if (start && t.kind == TokenKind::Identifier) {
                readStatementStart(lineIndex, t, nextSignificant(tokens_, i, line.end));
            }
        }
    }

    void readStatementStart(std::size_t lineIndex, const Token& t, const Token* next) {
        const bool classBlock = isClassBlockWord(t.text);
        if ((classBlock || t.text == u"arguments") && opensContextualBlock(next)) {
            bool opens;
            if (!contextKnown()) {
                // The class or function around it was cut away: its body's indentation tells.
                opens = nextLineIndented(lineIndex, stmtColumn_);
            } else if (classBlock) {
                opens = stack_.back().kind == FrameKind::ClassDef;
            } else {
                opens = stack_.back().kind == FrameKind::Function && !stack_.back().sawStatement;
            }
            if (opens) {
                const FrameKind kind = t.text == u"methods" ? FrameKind::Methods
                                       : classBlock         ? FrameKind::ClassBlock
                                                            : FrameKind::Arguments;
                push(kind, {}, stmtColumn_, stmtColumn_ + indent_);
                return;
            }
        }
        markStatement();
    }

    void readKeyword(std::size_t lineIndex, const Token& t) {
        const std::u16string_view word = t.text;
        if (word == u"end") {
            if (stack_.empty()) return;
            const bool uncertain = stack_.back().uncertain;
            stack_.pop_back();
            // After the end of a construct whose position was unknown, code goes on at that end's column.
            if (uncertain && !readingFirstLine_) {
                if (stack_.empty())
                    base_ = stmtColumn_;
                else
                    stack_.back().bodyColumn = stmtColumn_;
            }
            return;
        }
        if (word == u"function") {
            const int column = stmtColumn_;
            const int body = functionBodyIndented(lineIndex, column) ? column + indent_ : column;
            push(FrameKind::Function, {}, column, body);
            stack_.back().bodyFromFirstLine = readingFirstLine_;
            return;
        }
        markStatement();
        if (isControlOpener(t)) {
            push(FrameKind::Control, word, stmtColumn_, stmtColumn_ + indent_);
        } else if (word == u"switch") {
            push(FrameKind::Switch, word, stmtColumn_, stmtColumn_ + indent_);
            stack_.back().caseColumn = stmtColumn_ + indent_;
        } else if (word == u"classdef") {
            push(FrameKind::ClassDef, word, stmtColumn_, stmtColumn_ + indent_);
        } else if ((word == u"case" || word == u"otherwise") && !stack_.empty() &&
                   stack_.back().kind == FrameKind::Switch) {
            stack_.back().bodyColumn = stack_.back().caseColumn + indent_;
        }
    }

    const std::vector<Token>& tokens_;
    const std::vector<SourceLine>& lines_;
    const Settings& settings_;
    const int indent_;
    const int tabSize_;
    const bool assumeCutContinuation_;
    const bool assumeOpenBracket_;
    std::vector<std::optional<int>> plan_;

    std::size_t firstLine_ = 1;
    int initialDepth_ = 0;
    FunctionStyleEvidence functionEvidence_ = FunctionStyleEvidence::Uncertain;
    bool endsCoverOpeners_ = true;
    bool functionClosedByEnd_ = false;  // an `end` in the text closes a function opened in it

    std::vector<Frame> stack_;
    int base_ = 0;
    bool baseKnown_ = false;
    bool readingFirstLine_ = false;
    bool firstLineBracketsBogus_ = false;
    int depth_ = 0;
    bool continueNext_ = false;
    int stmtColumn_ = 0;
    int stmtOwn_ = 0;  // the statement's first line's own indentation
    int lastCodeColumn_ = 0;
    struct PendingComment {
        std::size_t line;
        int own;
        int bodyColumn;
        int previousCodeColumn;
    };
    std::vector<PendingComment> pendingComments_;
};

}  // namespace

namespace {

bool isUnterminatedLiteral(const Token& token) {
    if (token.kind != TokenKind::CharArray && token.kind != TokenKind::String) return false;
    const std::u16string_view text = token.text;
    if (text.empty()) return false;
    for (std::size_t i = 1; i < text.size(); ++i) {
        if (text[i] != text[0]) continue;
        if (i + 1 < text.size() && text[i + 1] == text[0]) {
            ++i;  // a doubled quote stands for itself
            continue;
        }
        return false;
    }
    return true;
}

// Whether the text's first line may have continued onto the next without showing it: it is empty (cut
// right after a `...`), starts with "." (the end of a `...`, or of a sentence in a comment), or ends in
// a text literal that a cut opened or in a comment or command word that ends in "..." (a cut inside a
// text literal makes its `%` start a comment, and a line starting with a word reads as a command).
bool firstLineMayContinue(const std::vector<Token>& tokens, const SourceLine& line) {
    const Token* last = nullptr;
    for (std::size_t i = line.codeBegin; i < line.end; ++i)
        if (tokens[i].kind != TokenKind::Blank && tokens[i].kind != TokenKind::LineEnd) last = &tokens[i];
    if (!last) return true;
    const Token& first = tokens[line.codeBegin];
    if (!first.text.empty() && first.text[0] == u'.' && first.kind != TokenKind::Number) return true;
    if (last->kind == TokenKind::Comment || last->kind == TokenKind::CommandWord) {
        std::u16string_view text = last->text;
        while (!text.empty() && (text.back() == u' ' || text.back() == u'\t' || text.back() == u'\r'))
            text.remove_suffix(1);
        return text.size() >= 3 && text.substr(text.size() - 3) == u"...";
    }
    return isUnterminatedLiteral(*last);
}

bool isValue(const Token& token) {
    return token.kind == TokenKind::Number || token.kind == TokenKind::CharArray ||
           token.kind == TokenKind::String || token.kind == TokenKind::Identifier ||
           (token.kind == TokenKind::Punctuation &&
            (token.text == u")" || token.text == u"]" || token.text == u"}"));
}

bool isLiteral(const Token& token) {
    return token.kind == TokenKind::Number || token.kind == TokenKind::CharArray ||
           token.kind == TokenKind::String;
}

// A code line that only a row of a matrix or cell would hold: it starts with a literal, a literal stands
// right of a value with only blanks between them, or it ends in a separator (`a, ...`, `3; ...`); and no
// `=` assigns.
bool looksLikeRow(const std::vector<Token>& tokens, const SourceLine& line) {
    const Token* previous = nullptr;
    bool blankBefore = false, row = false;
    for (std::size_t i = line.codeBegin; i < line.end; ++i) {
        const Token& t = tokens[i];
        if (t.kind == TokenKind::Blank) {
            blankBefore = true;
            continue;
        }
        if (!isSignificant(t.kind)) {
            const bool separator =
                previous != nullptr && previous->kind == TokenKind::Punctuation &&
                (previous->text == u"," || (previous->text == u";" && t.kind == TokenKind::Continuation));
            return row || separator;
        }
        if (t.kind == TokenKind::Keyword || t.kind == TokenKind::CommandWord ||
            (t.kind == TokenKind::Operator && t.text == u"="))
            return false;
        row = row || (previous == nullptr && isLiteral(t)) ||
              (previous != nullptr && blankBefore && isValue(*previous) && isLiteral(t));
        previous = &t;
        blankBefore = false;
    }
    return row;
}

// Whether the window may start inside a matrix or cell whose opening line was cut away: the first code
// line after the (possibly cut) first line reads as a row.
bool mayStartInsideBracket(const std::vector<Token>& tokens, const std::vector<SourceLine>& lines) {
    // Rows under a first line that opens the bracket they stand in, where no bracket closes that the text
    // did not open, belong to that bracket.
    int depth = 0, afterFirst = 0;
    for (std::size_t l = 0; l < lines.size() && depth >= 0; ++l) {
        for (std::size_t i = lines[l].codeBegin; i < lines[l].end && depth >= 0; ++i) {
            if (tokens[i].kind != TokenKind::Punctuation) continue;
            if (tokens[i].text == u"(" || tokens[i].text == u"[" || tokens[i].text == u"{") ++depth;
            if (tokens[i].text == u")" || tokens[i].text == u"]" || tokens[i].text == u"}") --depth;
        }
        if (l == 0) afterFirst = depth;
    }
    if (depth >= 0 && afterFirst > 0) return false;
    for (std::size_t i = 1; i < lines.size(); ++i) {
        if (classifyLine(tokens, lines[i]) == LineKind::Code) return looksLikeRow(tokens, lines[i]);
    }
    return false;
}

// Lines whose leading blanks the plan rewrites (a line at its column but in spaces where tabs are asked
// for counts too, so that the reading chosen for a formatted text is the one that formatted it).
std::size_t linesChanged(const std::vector<Token>& tokens, const std::vector<SourceLine>& lines,
                         const std::vector<std::optional<int>>& plan, const Settings& settings, int tabSize) {
    std::size_t changed = 0;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (!plan[i]) continue;
        fl::ustring blanks;
        for (std::size_t t = lines[i].begin; t < lines[i].codeBegin; ++t)
            blanks += tokens[t].text;
        if (blanks != indentationText(*plan[i], settings.insertSpaces, tabSize)) ++changed;
    }
    return changed;
}

}  // namespace

std::vector<std::optional<int>> planIndentation(const std::vector<Token>& tokens,
                                                const std::vector<SourceLine>& lines,
                                                const Settings& settings) {
    auto plan = Planner(tokens, lines, settings, false).run();
    if (lines.size() < 2) return plan;
    const bool continuation = firstLineMayContinue(tokens, lines[0]);
    const bool bracket = mayStartInsideBracket(tokens, lines);
    if (!continuation && !bracket) return plan;
    // Where several readings are possible, the one that fits the text as it stands wins.
    const int tabSize = static_cast<int>(std::clamp<std::uint32_t>(settings.tabSize, 1, 1024));
    std::size_t changed = linesChanged(tokens, lines, plan, settings, tabSize);
    const auto consider = [&](bool cutContinuation, bool openBracket) {
        if (changed == 0) return;
        auto other = Planner(tokens, lines, settings, cutContinuation, openBracket).run();
        const std::size_t otherChanged = linesChanged(tokens, lines, other, settings, tabSize);
        if (otherChanged >= changed) return;
        plan = std::move(other);
        changed = otherChanged;
    };
    if (continuation) consider(true, false);
    if (bracket) consider(false, true);
    return plan;
}

}  // namespace ca::formatting::legacy
