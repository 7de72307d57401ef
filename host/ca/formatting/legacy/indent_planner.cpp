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
    int caseColumn = 0;           // for Switch frames
    bool sawStatement = false;    // for Function frames: an `arguments` block may only come first
};

enum class FunctionStyleEvidence { Closed, Uncertain };

class Planner {
public:
    Planner(const std::vector<Token>& tokens, const std::vector<SourceLine>& lines, const Settings& settings)
        : tokens_(tokens),
          lines_(lines),
          settings_(settings),
          indent_(static_cast<int>(std::min<std::uint32_t>(settings.indentSize, 1024))),
          tabSize_(static_cast<int>(std::clamp<std::uint32_t>(settings.tabSize, 1, 1024))),
          plan_(lines.size()) {}

    std::vector<std::optional<int>> run() {
        if (lines_.size() < 2) return plan_;
        firstLine_ = orphanBlockCommentEnd() + 1;
        scanBrackets();
        scanBlocks();
        depth_ = initialDepth_;
        // The first line's end is real even when its start was cut, so a `...` there carries over.
        continueNext_ = firstLine_ == 1 && endsWithContinuation(lines_[0]);
        for (std::size_t i = firstLine_; i < lines_.size(); ++i) planLine(i);
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

    // Closing brackets without an opener mean that the window starts inside a statement cut above it.
    void scanBrackets() {
        int depth = 0, minDepth = 0;
        for (std::size_t l = firstLine_; l < lines_.size(); ++l)
            for (std::size_t i = lines_[l].codeBegin; i < lines_[l].end; ++i) {
                const Token& t = tokens_[i];
                if (t.kind != TokenKind::Punctuation) continue;
                if (t.text == u"(" || t.text == u"[" || t.text == u"{") ++depth;
                else if (isClosingBracket(t)) minDepth = std::min(minDepth, --depth);
            }
        initialDepth_ = -minDepth;
    }

    // Whether the text's functions are known to be closed by `end`: every block opened in it is closed and
    // no `end` closes something cut away. Otherwise a `function` line inside a function is read by its
    // indentation.
    void scanBlocks() {
        int depth = initialDepth_;
        int nesting = 0, opened = 0, ends = 0, orphans = 0;
        bool hasFunction = false;
        for (std::size_t l = firstLine_; l < lines_.size(); ++l) {
            const SourceLine& line = lines_[l];
            bool first = true;
            for (std::size_t i = line.codeBegin; i < line.end; ++i) {
                const Token& t = tokens_[i];
                if (!isSignificant(t.kind)) continue;
                const bool atLineStart = first;
                first = false;
                if (t.kind == TokenKind::Punctuation) {
                    if (t.text == u"(" || t.text == u"[" || t.text == u"{") ++depth;
                    else if (isClosingBracket(t)) depth = std::max(0, depth - 1);
                    continue;
                }
                if (depth > 0) continue;
                if (t.kind == TokenKind::Keyword) {
                    if (isControlOpener(t) || isKeyword(t, u"switch") || isKeyword(t, u"classdef") ||
                        isKeyword(t, u"function")) {
                        hasFunction = hasFunction || isKeyword(t, u"function");
                        ++nesting;
                        ++opened;
                    } else if (isKeyword(t, u"end")) {
                        ++ends;
                        if (nesting == 0) ++orphans;
                        else --nesting;
                    }
                } else if (atLineStart && t.kind == TokenKind::Identifier &&
                           (isClassBlockWord(t.text) || t.text == u"arguments") &&
                           opensContextualBlock(nextSignificant(tokens_, i, line.end))) {
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
        const bool continuing = depth_ > 0 || continueNext_;
        if (kind == LineKind::Blank) {
            // A last line without a line end may have been cut inside its leading blanks.
            if (i + 1 == lines_.size() && !line.hasLineEnd) return;
            switch (settings_.blankLines) {
                case BlankLines::Indent:
                    if (baseKnown_) setPlan(i, statementColumn(continuing));
                    else pendingBlanks_.push_back(i);
                    return;
                case BlankLines::RemoveWhitespace:
                    setPlan(i, 0);
                    return;
                default:
                    return;
            }
        }

        const int own = leadingColumns(tokens_, line, tabSize_);
        if (!baseKnown_) {
            // The first line may be cut, so the first line after it anchors everything that follows.
            base_ = continuing ? own - indent_ : own;
            stmtColumn_ = base_;
            baseKnown_ = true;
        }

        int column;
        if (kind == LineKind::Comment) {
            column = statementColumn(continuing);
        } else if (continuing) {
            column = stmtColumn_ + indent_;
        } else {
            column = codeLineColumn(line, own);
            stmtColumn_ = column;
        }
        setPlan(i, column);
        for (std::size_t blank : pendingBlanks_) setPlan(blank, column);
        pendingBlanks_.clear();

        if (kind == LineKind::Code) {
            readTokens(i, continuing);
            continueNext_ = endsWithContinuation(line);
        }
    }

    static bool isClosingBracket(const Token& t) {
        return t.kind == TokenKind::Punctuation && (t.text == u")" || t.text == u"]" || t.text == u"}");
    }

    bool endsWithContinuation(const SourceLine& line) const {
        for (std::size_t i = line.end; i > line.codeBegin; --i) {
            const TokenKind kind = tokens_[i - 1].kind;
            if (kind == TokenKind::LineEnd || kind == TokenKind::Blank) continue;
            return kind == TokenKind::Continuation;
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
            if (!stack_.empty()) return stack_.back().column;
            return orphanClosingColumn(own, 0);
        }
        if (word == u"else" || word == u"elseif" || word == u"catch") {
            const std::u16string_view opener = word == u"catch" ? u"try" : u"if";
            if (stack_.empty()) return orphanClosingColumn(own, indent_);
            if (stack_.back().kind == FrameKind::Control && stack_.back().keyword == opener) return stack_.back().column;
            return bodyColumn();
        }
        if (word == u"case" || word == u"otherwise") {
            if (stack_.empty()) return orphanClosingColumn(own, indent_);
            if (stack_.back().kind == FrameKind::Switch) return stack_.back().caseColumn;
            return bodyColumn();
        }
        if (word == u"function") return functionLineColumn(own);
        return bodyColumn();
    }

    // Index of the innermost function frame that a `function` line could end (functions inside a class
    // block belong to it), or -1.
    int innermostFunction() const {
        for (int i = static_cast<int>(stack_.size()) - 1; i >= 0; --i) {
            const FrameKind kind = stack_[static_cast<std::size_t>(i)].kind;
            if (kind == FrameKind::Function) return i;
            if (kind == FrameKind::Methods || kind == FrameKind::ClassBlock || kind == FrameKind::ClassDef) return -1;
        }
        return -1;
    }

    // A `function` line inside a function either starts a nested function or, when functions are not
    // closed by `end`, ends the open one and starts the next.
    int functionLineColumn(int own) {
        const int f = innermostFunction();
        if (f < 0) return bodyColumn();
        const Frame& open = stack_[static_cast<std::size_t>(f)];
        bool nested;
        if (functionEvidence_ == FunctionStyleEvidence::Closed) {
            nested = true;
        } else if (own != open.column) {
            nested = own > open.column;
        } else {
            // Both readings put the line at the open function's column unless its body is indented.
            nested = open.bodyColumn == open.column && endsCoverOpeners_;
        }
        if (nested) return bodyColumn();
        const int column = open.column;
        stack_.resize(static_cast<std::size_t>(f));
        return column;
    }

    bool insideFunction() const {
        return std::any_of(stack_.begin(), stack_.end(), [](const Frame& f) { return f.kind == FrameKind::Function; });
    }

    // Whether the first non-blank line after line i stands right of `column`.
    bool nextLineIndented(std::size_t i, int column) const {
        for (std::size_t j = i + 1; j < lines_.size(); ++j) {
            const LineKind kind = classifyLine(tokens_, lines_[j]);
            if (kind == LineKind::Blank || kind == LineKind::BlockComment) continue;
            return leadingColumns(tokens_, lines_[j], tabSize_) > column;
        }
        return false;
    }

    bool functionBodyIndented(std::size_t lineIndex, int column) const {
        if (!stack_.empty() && stack_.back().kind == FrameKind::Methods) return true;
        if (settings_.functionIndentation == FunctionIndentation::All) return true;
        if (insideFunction()) return settings_.functionIndentation == FunctionIndentation::Mixed;
        // A function standing right of the left margin with nothing open above it lies in a class block or
        // function cut away before the text; its own body shows which.
        if (stack_.empty() && column > 0) return nextLineIndented(lineIndex, column);
        return false;
    }

    void markStatement() {
        if (!stack_.empty() && stack_.back().kind == FrameKind::Function) stack_.back().sawStatement = true;
    }

    void push(FrameKind kind, std::u16string_view keyword, int column, int bodyColumn) {
        stack_.push_back(Frame{kind, keyword, column, bodyColumn});
    }

    void readTokens(std::size_t lineIndex, bool continuing) {
        const SourceLine& line = lines_[lineIndex];
        bool atStatementStart = !continuing;
        const Token* previous = nullptr;
        for (std::size_t i = line.codeBegin; i < line.end; ++i) {
            const Token& t = tokens_[i];
            if (!isSignificant(t.kind)) continue;
            const bool start = atStatementStart;
            const bool afterDot = previous && previous->kind == TokenKind::Punctuation && previous->text == u".";
            previous = &t;
            atStatementStart = false;
            if (t.kind == TokenKind::Punctuation) {
                if (t.text == u"(" || t.text == u"[" || t.text == u"{") ++depth_;
                else if (isClosingBracket(t)) depth_ = std::max(0, depth_ - 1);
                else if (depth_ == 0 && (t.text == u"," || t.text == u";")) atStatementStart = true;
                continue;
            }
            if (depth_ > 0 || afterDot) continue;
            if (t.kind == TokenKind::Keyword) {
                readKeyword(lineIndex, t);
                // A clause keyword may be followed by a statement on the same line.
                atStatementStart = t.text == u"else" || t.text == u"try" || t.text == u"otherwise" || t.text == u"end";
            } else if (start && t.kind == TokenKind::Identifier) {
                readStatementStart(t, nextSignificant(tokens_, i, line.end));
            }
        }
    }

    void readStatementStart(const Token& t, const Token* next) {
        if (!stack_.empty() && stack_.back().kind == FrameKind::ClassDef && isClassBlockWord(t.text) &&
            opensContextualBlock(next)) {
            push(t.text == u"methods" ? FrameKind::Methods : FrameKind::ClassBlock, {}, stmtColumn_,
                 stmtColumn_ + indent_);
            return;
        }
        if (!stack_.empty() && stack_.back().kind == FrameKind::Function && !stack_.back().sawStatement &&
            t.text == u"arguments" && opensContextualBlock(next)) {
            push(FrameKind::Arguments, {}, stmtColumn_, stmtColumn_ + indent_);
            return;
        }
        markStatement();
    }

    void readKeyword(std::size_t lineIndex, const Token& t) {
        const std::u16string_view word = t.text;
        if (word == u"end") {
            if (!stack_.empty()) stack_.pop_back();
            return;
        }
        if (word == u"function") {
            const int column = stmtColumn_;
            const int body = functionBodyIndented(lineIndex, column) ? column + indent_ : column;
            push(FrameKind::Function, {}, column, body);
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
    std::vector<std::optional<int>> plan_;

    std::size_t firstLine_ = 1;
    int initialDepth_ = 0;
    FunctionStyleEvidence functionEvidence_ = FunctionStyleEvidence::Uncertain;
    bool endsCoverOpeners_ = true;

    std::vector<Frame> stack_;
    int base_ = 0;
    bool baseKnown_ = false;
    int depth_ = 0;
    bool continueNext_ = false;
    int stmtColumn_ = 0;
    std::vector<std::size_t> pendingBlanks_;
};

}  // namespace

std::vector<std::optional<int>> planIndentation(const std::vector<Token>& tokens, const std::vector<SourceLine>& lines,
                                                const Settings& settings) {
    return Planner(tokens, lines, settings).run();
}

}  // namespace ca::formatting::legacy
