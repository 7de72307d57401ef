#include "ca/parser/parser.hpp"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <map>
#include <memory>
#include <string>

#include "ca/invalid_analysis_exception.hpp"
#include "ca/lexer/find_line_feed.hpp"
#include "ca/lexer/operator_classes.hpp"
#include "fl/i18n.hpp"

namespace ca::detail {

namespace {

using lexer::Op;
using lexer::ScanToken;
using lexer::TokenKind;
using lexer::Word;
using lf::astapi::NodeKind;

constexpr std::uint32_t kNoIndent = std::numeric_limits<std::uint32_t>::max();

// A token as the parser sees it: blanks and comments folded into the spacing flags, continued line
// ends removed.
struct PTok {
    std::uint32_t scan;
    std::uint32_t offset;
    std::uint32_t end;
    std::uint32_t line;
    TokenKind kind;
    Word word;
    Op op;
    std::uint8_t flags;
    bool spaceBefore;
    bool spaceAfter;
    bool lineFirst;
    bool eof;
};

bool isNewline(const PTok& t) {
    return t.kind == TokenKind::LineEnd && !t.eof;
}

int binaryPrecedence(Op op) {
    switch (op) {
        case Op::OrOr:
            return 1;
        case Op::AndAnd:
            return 2;
        case Op::Or:
            return 3;
        case Op::And:
            return 4;
        case Op::Equal:
        case Op::NotEqual:
        case Op::Less:
        case Op::LessEqual:
        case Op::Greater:
        case Op::GreaterEqual:
            return 5;
        case Op::Colon:
            return 6;
        case Op::Plus:
        case Op::Minus:
            return 7;
        case Op::Times:
        case Op::Divide:
        case Op::LeftDivide:
        case Op::ElemTimes:
        case Op::ElemDivide:
        case Op::ElemLeftDivide:
            return 8;
        default:
            return 0;
    }
}

bool isControl(NodeKind k) {
    return k == NodeKind::If || k == NodeKind::For || k == NodeKind::While || k == NodeKind::Switch ||
           k == NodeKind::Try || k == NodeKind::Parfor || k == NodeKind::Spmd;
}
bool isFunctionKind(NodeKind k) {
    return k == NodeKind::Function || k == NodeKind::MethodDefinition;
}
bool isLoop(NodeKind k) {
    return k == NodeKind::For || k == NodeKind::While || k == NodeKind::Parfor;
}

const char* constructWord(NodeKind k) {
    switch (k) {
        case NodeKind::If:
            return "if";
        case NodeKind::For:
            return "for";
        case NodeKind::While:
            return "while";
        case NodeKind::Switch:
            return "switch";
        case NodeKind::Try:
            return "try";
        case NodeKind::Parfor:
            return "parfor";
        case NodeKind::Spmd:
            return "spmd";
        case NodeKind::Function:
        case NodeKind::MethodDefinition:
            return "function";
        case NodeKind::ClassDef:
            return "classdef";
        case NodeKind::Properties:
            return "properties";
        case NodeKind::Methods:
            return "methods";
        case NodeKind::Events:
            return "events";
        case NodeKind::Enumeration:
            return "enumeration";
        case NodeKind::Arguments:
            return "arguments";
        default:
            return "block";
    }
}

struct Frame {
    NodeKind kind;
    std::uint32_t mark;       // first pending child of the construct
    std::uint32_t headerTok;  // first token of the header
    std::uint32_t indent;
    std::uint32_t line;
    std::uint32_t minBody = kNoIndent;    // least indentation of the statement lines of the body
    std::uint32_t firstBody = kNoIndent;  // indentation of the body's first statement line
    NodeKind clause = NodeKind::Unknown;
    std::uint32_t clauseMark = 0;
    std::uint32_t clauseTok = 0;
    bool phantomSwitch = false;  // a switch whose header was cut away; its cases stand at caseIndent
    std::uint32_t caseIndent = 0;
    bool sawStatement = false;
    bool nested = false;
    bool holdsNested = false;
    std::uint32_t scope = 0;
    std::uint32_t outerScope = 0;
};

// Errors of a text that parses: they break a rule of where things may stand, not the grammar.
bool isRuleViolation(std::string_view id) {
    static constexpr std::string_view kRules[] = {
        "BreakOutsideLoop",  "ContinueOutsideLoop",     "FunctionInControlBlock", "MixedFunctionForms",
        "DuplicateFunction", "NestedFunctionNotClosed", "StatementAfterFunction", "ArgumentsAfterStatements"};
    return std::find(std::begin(kRules), std::end(kRules), id) != std::end(kRules);
}

class Parser {
  public:
    // `anchor`: where the complete statements begin, when an earlier run found a cut edge before it;
    // the text from there on is lexed afresh, as the cut edge may have misled the lexer.
    Parser(AnalysisData& d, std::size_t anchor) : d_(d), text_(d.text), knownAnchor_(anchor) {
        // Room for the usual depths up front: these grow and shrink with every statement.
        pending_.reserve(64);
        prefixOperators_.reserve(16);
        frames_.reserve(16);
    }

    // Returns the offset of the line where the complete statements begin, when a cut edge precedes it
    // and this run was not told the anchor yet; 0 otherwise (the analysis is then complete).
    std::size_t run(std::vector<ScanToken> firstTokens) {
        if (knownAnchor_ == 0) {
            lexer::scan(text_, d_.tokens);
        } else {
            d_.tokens = std::move(firstTokens);
            auto head = std::find_if(d_.tokens.begin(), d_.tokens.end(),
                                     [&](const ScanToken& t) { return t.offset >= knownAnchor_; });
            const std::uint32_t line = head == d_.tokens.end() ? 1 : head->line;
            d_.tokens.erase(head, d_.tokens.end());
            lexer::scan(text_, d_.tokens, knownAnchor_, line);
        }
        computeLines();
        buildTokens();
        d_.roles.assign(d_.tokens.size(), Role::Use);
        d_.scopes.assign(d_.tokens.size(), 0);
        d_.dottedEnd.assign(d_.tokens.size(), 0);
        d_.scopeVariables.emplace_back();
        d_.scopeParent.push_back(-1);
        d_.scopeComplete.push_back(0);
        lineKind_.assign(lineCount() + 2, 0);
        if (!parseFile()) return anchorOffset_;
        finishDiagnostics();
        d_.lineRoles = lineKind_;
        return 0;
    }

  private:
    // --- lines ------------------------------------------------------------------------------------
    std::uint32_t lineCount() const { return static_cast<std::uint32_t>(d_.lineStarts.size()); }

    void computeLines() {
        d_.lineStarts.clear();
        if (!text_.empty()) d_.lineStarts.push_back(0);
        d_.lineStarts.reserve(d_.tokens.size() / 8 + 2);
        for (std::size_t lf = lexer::findLineFeed(text_, 0); lf + 1 < text_.size();
             lf = lexer::findLineFeed(text_, lf + 1)) {
            d_.lineStarts.push_back(static_cast<std::uint32_t>(lf + 1));
        }
        endsWithLineEnd_ = !text_.empty() && text_.back() == u'\n';
        d_.lineContent.assign(lineCount() + 2, 0);
        lineIndent_.assign(lineCount() + 2, 0);
        for (std::uint32_t l = 1; l <= lineCount(); ++l) {
            std::size_t i = d_.lineStarts[l - 1];
            std::size_t end = l < lineCount() ? d_.lineStarts[l] : text_.size();
            std::uint32_t indent = 0;
            bool leading = true;
            for (; i < end; ++i) {
                char16_t c = text_[i];
                if (c == u'\n' || c == u'\r' || lexer::isBlank(c)) {
                    if (leading && c != u'\n') indent = c == u'\t' ? (indent / 4 + 1) * 4 : indent + 1;
                    continue;
                }
                d_.lineContent[l] |= 2;
                if (leading) lineIndent_[l] = indent;
                leading = false;
                break;
            }
            if (leading) lineIndent_[l] = indent;
        }
    }

    std::uint32_t lineOf(std::size_t offset) const {
        auto it =
            std::upper_bound(d_.lineStarts.begin(), d_.lineStarts.end(), static_cast<std::uint32_t>(offset));
        return it == d_.lineStarts.begin() ? 1 : static_cast<std::uint32_t>(it - d_.lineStarts.begin());
    }

    // --- tokens -----------------------------------------------------------------------------------
    void buildTokens() {
        bool space = false;
        bool dropLineEnd = false;
        toks_.reserve(static_cast<std::size_t>(
                          std::count_if(d_.tokens.begin(), d_.tokens.end(),
                                        [](const ScanToken& s) { return s.kind != TokenKind::Blank; })) +
                      1);
        // About two nodes for every three tokens.
        d_.tree.nodes.reserve(toks_.capacity() * 2 / 3 + 8);
        d_.tree.children.reserve(toks_.capacity() * 2 / 3 + 8);
        for (std::uint32_t k = 0; k < d_.tokens.size(); ++k) {
            const ScanToken& s = d_.tokens[k];
            switch (s.kind) {
                case TokenKind::Blank:
                    space = true;
                    continue;
                case TokenKind::Comment:
                case TokenKind::BlockComment:
                case TokenKind::Continuation: {
                    auto kind = s.kind == TokenKind::Comment        ? ca::astapi::CommentKind::Line
                                : s.kind == TokenKind::BlockComment ? ca::astapi::CommentKind::Block
                                                                    : ca::astapi::CommentKind::Continuation;
                    d_.comments.emplace_back(kind, s.line, s.offset, s.offset + s.length - 1);
                    markContent(s, 4);
                    if (s.kind == TokenKind::Continuation) dropLineEnd = true;
                    if ((s.flags & lexer::kUnclosedBlock) != 0) {
                        warn(s.offset, "UnclosedBlockComment",
                             "The block comment at line " + std::to_string(s.line) + " is not closed.");
                    }
                    space = true;
                    continue;
                }
                case TokenKind::LineEnd:
                    if (dropLineEnd) {
                        dropLineEnd = false;
                        space = true;
                        continue;
                    }
                    break;
                default:
                    d_.lineContent[s.line] |= 1;
                    break;
            }
            if (!toks_.empty()) toks_.back().spaceAfter = space || s.kind == TokenKind::LineEnd;
            PTok t{k,     s.offset, s.offset + s.length, s.line, s.kind, s.word, s.op, s.flags, space, false,
                   false, false};
            if (s.kind != TokenKind::LineEnd && continuesAcrossLineEnd(t)) {
                toks_.pop_back();
                t.spaceBefore = true;
            }
            t.lineFirst = toks_.empty() || toks_.back().kind == TokenKind::LineEnd;
            toks_.push_back(t);
            space = false;
        }
        auto size = static_cast<std::uint32_t>(text_.size());
        toks_.push_back(PTok{static_cast<std::uint32_t>(d_.tokens.size()), size, size,
                             lineCount() == 0 ? 1 : lineCount(), TokenKind::LineEnd, Word::None, Op::None, 0,
                             true, true, true, true});
    }

    // Implicit continuations: a line ending in an operator or an expression keyword, or followed by a
    // line that starts (with `next`) with an operator that cannot begin an expression.
    bool continuesAcrossLineEnd(const PTok& next) const {
        const std::size_t n = toks_.size();
        if (n < 2 || toks_[n - 1].kind != TokenKind::LineEnd || toks_[n - 2].kind == TokenKind::LineEnd)
            return false;
        const PTok& prev = toks_[n - 2];
        return (prev.kind == TokenKind::Operator && lexer::continuesLine(prev.op)) ||
               (prev.kind == TokenKind::Keyword && lexer::expectsExpression(prev.word)) ||
               (next.kind == TokenKind::Operator && lexer::cannotBeginExpression(next.op));
    }

    void markContent(const ScanToken& s, std::uint8_t bit) {
        std::uint32_t line = s.line;
        d_.lineContent[line] |= bit;
        if (s.kind != TokenKind::BlockComment) return;  // the only token that spans lines
        for (std::uint32_t i = s.offset; i < s.offset + s.length; ++i) {
            if (text_[i] == u'\n') {
                ++line;
                if (line < d_.lineContent.size()) d_.lineContent[line] |= bit;
            }
        }
    }

    // The token at the reading position; invalid characters are reported and skipped, and line ends
    // inside parentheses are passed over.
    const PTok& cur() {
        const PTok& t = toks_[pos_];
        if (t.kind != TokenKind::Invalid && (parenDepth_ == 0 || !isNewline(t))) return t;
        return skipToCurrent();
    }
    [[gnu::noinline]] const PTok& skipToCurrent() {
        for (;;) {
            const PTok& t = toks_[pos_];
            if (t.kind == TokenKind::Invalid) {
                char buffer[16];
                std::snprintf(buffer, sizeof buffer, "U+%04X", static_cast<unsigned>(text_[t.offset]));
                error(
                    t, "InvalidCharacter",
                    std::string("Invalid character ") + buffer + " at line " + std::to_string(t.line) + ".");
                ++pos_;
                continue;
            }
            if (parenDepth_ > 0 && isNewline(t)) {
                ++pos_;
                continue;
            }
            return t;
        }
    }
    const PTok& peek(std::size_t ahead = 1) const {
        std::size_t k = std::min(pos_ + ahead, toks_.size() - 1);
        return toks_[k];
    }
    // The `ahead`-th token after the current one, line ends passed over as inside parentheses.
    const PTok& peekPastLineEnds(std::size_t ahead) const {
        std::size_t k = pos_;
        while (ahead > 0 && k + 1 < toks_.size()) {
            ++k;
            if (!isNewline(toks_[k])) --ahead;
        }
        return toks_[k];
    }
    std::uint32_t take() {
        cur();
        std::uint32_t index = static_cast<std::uint32_t>(pos_);
        const PTok& t = toks_[pos_];
        if (!t.eof) {
            if (t.kind != TokenKind::LineEnd) lastEnd_ = t.end;
            ++pos_;
        }
        return index;
    }
    bool atEof() { return cur().eof; }
    std::u16string_view textOf(const PTok& t) const {
        return std::u16string_view(text_).substr(t.offset, t.end - t.offset);
    }
    std::string describe(const PTok& t) const {
        if (t.eof) return "end of text";
        if (t.kind == TokenKind::LineEnd) return "end of line";
        std::u16string_view v = textOf(t);
        if (v.size() > 20) v = v.substr(0, 20);
        return "'" + fl::i18n::to_string(v) + "'";
    }

    // --- diagnostics ------------------------------------------------------------------------------
    void diagnose(std::uint32_t offset, Severity severity, const char* id, std::string text) {
        std::uint32_t line = lineOf(offset);
        std::uint32_t column =
            line <= lineCount() && lineCount() > 0 ? offset - d_.lineStarts[line - 1] + 1 : 1;
        d_.diagnostics.push_back(Diagnostic{offset, line, column, severity, id, std::move(text)});
    }
    void warn(std::uint32_t offset, const char* id, std::string text) {
        diagnose(offset, Severity::Warning, id, std::move(text));
    }
    void error(const PTok& at, const char* id, std::string text) {
        diagnose(at.offset, Severity::Error, id, std::move(text));
        failed_ = true;
    }
    // A statement that runs into the end of the text was cut there: no error, but nothing more to read.
    void unexpected(const PTok& t) {
        if (t.eof) {
            failed_ = true;
            return;
        }
        error(t, "UnexpectedToken", "Unexpected " + describe(t) + " at line " + std::to_string(t.line) + ".");
    }
    bool expect(Op op) {
        const PTok& t = cur();
        if (t.op == op && (t.kind == TokenKind::Punctuation || t.kind == TokenKind::Operator)) {
            take();
            return true;
        }
        unexpected(t);
        return false;
    }

    void finishDiagnostics() {
        // A last line without line end may have been cut in the middle.
        const std::uint32_t cutLine = endsWithLineEnd_ ? 0 : lineCount();
        std::vector<Diagnostic> kept;
        kept.reserve(d_.diagnostics.size());
        for (Diagnostic& diagnostic : d_.diagnostics) {
            if (diagnostic.severity == Severity::Error && diagnostic.line == cutLine) continue;
            kept.push_back(std::move(diagnostic));
        }
        std::stable_sort(kept.begin(), kept.end(),
                         [](const Diagnostic& a, const Diagnostic& b) { return a.offset < b.offset; });
        d_.diagnostics.swap(kept);
        // Rule violations are errors of a text that parses.
        d_.parseErrors = std::any_of(d_.diagnostics.begin(), d_.diagnostics.end(), [](const Diagnostic& x) {
            return x.severity == Severity::Error && !isRuleViolation(x.identifier);
        });
    }

    // --- nodes ------------------------------------------------------------------------------------
    std::uint32_t mark() const { return static_cast<std::uint32_t>(pending_.size()); }

    std::uint32_t finishRaw(NodeKind kind, std::uint32_t from, std::uint32_t line, std::uint32_t start,
                            std::uint32_t closing) {
        auto& tree = d_.tree;
        auto index = static_cast<std::uint32_t>(tree.nodes.size());
        tree.nodes.push_back(
            ca::astapi::NodeRecord{line, start, closing, static_cast<std::uint32_t>(tree.children.size()),
                                   static_cast<std::uint32_t>(pending_.size() - from), kind});
        tree.children.insert(tree.children.end(), pending_.begin() + from, pending_.end());
        pending_.resize(from);
        pending_.push_back(index);
        return index;
    }
    std::uint32_t closingNow() const { return lastEnd_ > 0 ? lastEnd_ - 1 : 0; }
    std::uint32_t finishAt(NodeKind kind, std::uint32_t from, std::uint32_t tok) {
        const PTok& t = toks_[tok];
        return finishRaw(kind, from, t.line, t.offset, std::max(closingNow(), t.offset));
    }
    std::uint32_t finishFrom(NodeKind kind, std::uint32_t from) {
        const auto& first = d_.tree.nodes[pending_[from]];
        return finishRaw(kind, from, first.line, first.start, std::max(closingNow(), first.start));
    }
    std::uint32_t leaf(NodeKind kind) {
        std::uint32_t tok = take();
        const PTok& t = toks_[tok];
        return finishRaw(kind, mark(), t.line, t.offset, t.end - 1);
    }
    // A dotted name (pkg.fn, get.Prop) as one leaf; the tokens must touch.
    std::uint32_t dottedOrIdentifier(Role role) {
        std::uint32_t first = take();
        d_.roles[toks_[first].scan] = role;
        bool dotted = false;
        while (cur().op == Op::Dot && !cur().spaceBefore && peek().kind == TokenKind::Identifier &&
               !peek().spaceBefore) {
            take();
            std::uint32_t part = take();
            d_.roles[toks_[part].scan] = Role::Other;
            dotted = true;
        }
        const PTok& t = toks_[first];
        if (dotted) {
            d_.roles[t.scan] = role == Role::HandleTarget ? Role::DottedHead : role;
            if (role == Role::HandleTarget) d_.dottedEnd[t.scan] = toks_[pos_ - 1].scan;
        }
        return finishRaw(dotted ? NodeKind::DottedName : NodeKind::Identifier, mark(), t.line, t.offset,
                         closingNow());
    }

    void enterNesting(const PTok& at) {
        if (++nesting_ > kMaxNesting) {
            throw InvalidAnalysisException("The text nests brackets or blocks deeper than " +
                                           std::to_string(kMaxNesting) + " levels (line " +
                                           std::to_string(at.line) + ").");
        }
    }

    // --- expressions ------------------------------------------------------------------------------
    void parseExpression() { parseBinary(1); }

    void parseBinary(int minPrecedence) {
        const std::uint32_t from = mark();
        parseUnary();
        while (!failed_) {
            const PTok& t = cur();
            if (t.kind != TokenKind::Operator) break;
            int precedence = binaryPrecedence(t.op);
            if (precedence == 0 || precedence < minPrecedence) break;
            if (inMatrix_ && (t.op == Op::Plus || t.op == Op::Minus) && t.spaceBefore && !t.spaceAfter) break;
            if (t.op == Op::Colon && inIndex_ > 0 &&
                (peek().op == Op::Comma || peek().op == Op::RParen || peek().op == Op::RBrace)) {
                break;
            }
            take();
            parseBinary(precedence + 1);
            if (failed_) return;
            if (t.op == Op::Colon) {
                if (cur().op == Op::Colon && cur().kind == TokenKind::Operator) {
                    take();
                    parseBinary(precedence + 1);
                    if (failed_) return;
                }
                finishFrom(NodeKind::Range, from);
            } else {
                finishFrom(NodeKind::BinaryOp, from);
            }
        }
    }

    bool isPrefixOperator(const PTok& t) const {
        return t.kind == TokenKind::Operator && (t.op == Op::Plus || t.op == Op::Minus || t.op == Op::Not);
    }

    void parseUnary() {
        const std::uint32_t from = mark();
        const std::size_t base = takePrefixOperators();
        parsePower();
        finishPrefixOperators(from, base);
    }

    // Prefix operators wait on one stack shared by all levels, so that `- - - x` costs neither recursion
    // nor an allocation per operand.
    std::size_t takePrefixOperators() {
        const std::size_t base = prefixOperators_.size();
        while (isPrefixOperator(cur()))
            prefixOperators_.push_back(take());
        return base;
    }
    void finishPrefixOperators(std::uint32_t from, std::size_t base) {
        for (std::size_t k = prefixOperators_.size(); k-- > base && !failed_;)
            finishAt(NodeKind::UnaryOp, from, prefixOperators_[k]);
        prefixOperators_.resize(base);
    }

    void parsePower() {
        const std::uint32_t from = mark();
        parsePostfix();
        while (!failed_ && cur().kind == TokenKind::Operator &&
               (cur().op == Op::Power || cur().op == Op::ElemPower)) {
            take();
            const std::uint32_t operand = mark();
            const std::size_t base = takePrefixOperators();
            parsePostfix();
            finishPrefixOperators(operand, base);
            if (failed_) return;
            finishFrom(NodeKind::BinaryOp, from);
        }
    }

    void parsePostfix() {
        const std::uint32_t from = mark();
        const std::uint32_t firstTok = static_cast<std::uint32_t>(pos_);
        const bool identifier = cur().kind == TokenKind::Identifier;
        parsePrimary();
        bool chain = identifier;  // still in the dotted chain right after the name
        std::uint32_t chainEnd = 0;
        while (!failed_) {
            const PTok& t = cur();
            if (t.kind == TokenKind::Punctuation && (t.op == Op::LParen || t.op == Op::LBrace)) {
                if (inMatrix_ && t.spaceBefore) break;
                chain = false;
                parseArguments(t.op == Op::LParen ? NodeKind::Index : NodeKind::CellIndex, from);
            } else if (t.kind == TokenKind::Punctuation && t.op == Op::Dot) {
                if (inMatrix_ && t.spaceBefore) break;
                take();
                const PTok& n = cur();
                if (n.kind == TokenKind::Identifier || n.kind == TokenKind::Keyword) {
                    bool touching = !n.spaceBefore && !t.spaceBefore;
                    std::uint32_t field = static_cast<std::uint32_t>(pos_);
                    d_.roles[n.scan] = Role::Field;
                    leaf(NodeKind::Identifier);
                    finishFrom(NodeKind::Field, from);
                    if (chain && touching) {
                        chainEnd = field;
                    } else {
                        chain = false;
                    }
                } else if (n.op == Op::LParen) {
                    chain = false;
                    std::uint32_t open = take();
                    ++parenDepth_;
                    enterNesting(toks_[open]);
                    SaveContext saved(*this, false, inIndex_);
                    parseExpression();
                    if (!failed_) expect(Op::RParen);
                    --parenDepth_;
                    --nesting_;
                    if (failed_) return;
                    finishFrom(NodeKind::DynamicField, from);
                } else {
                    unexpected(n);
                }
            } else if (t.kind == TokenKind::Operator && (t.op == Op::Transpose || t.op == Op::DotTranspose)) {
                chain = false;
                take();
                finishFrom(NodeKind::Postfix, from);
            } else {
                break;
            }
        }
        if (chainEnd != 0) {
            d_.roles[toks_[firstTok].scan] = Role::DottedHead;
            d_.dottedEnd[toks_[firstTok].scan] = toks_[chainEnd].scan;
        }
    }

    struct SaveContext {
        SaveContext(Parser& p, bool matrix, int index) : p_(p), matrix_(p.inMatrix_), index_(p.inIndex_) {
            p.inMatrix_ = matrix;
            p.inIndex_ = index;
        }
        ~SaveContext() {
            p_.inMatrix_ = matrix_;
            p_.inIndex_ = index_;
        }
        SaveContext(const SaveContext&) = delete;
        SaveContext& operator=(const SaveContext&) = delete;
        Parser& p_;
        bool matrix_;
        int index_;
    };

    void parseArguments(NodeKind kind, std::uint32_t from) {
        const Op close = kind == NodeKind::Index ? Op::RParen : Op::RBrace;
        std::uint32_t open = take();
        enterNesting(toks_[open]);
        openBrackets_.push_back(open);
        ++parenDepth_;
        {
            SaveContext saved(*this, false, inIndex_ + 1);
            if (cur().op != close) {
                for (;;) {
                    parseExpression();
                    if (failed_) break;
                    const PTok& t = cur();
                    if (t.op == Op::Comma && t.kind == TokenKind::Punctuation) {
                        take();
                        continue;
                    }
                    if (t.op != close) unclosed(toks_[open], t);
                    break;
                }
            }
            if (!failed_) take();
        }
        --parenDepth_;
        --nesting_;
        openBrackets_.pop_back();
        if (!failed_) finishFrom(kind, from);
    }

    void unclosed(const PTok& open, const PTok& at) {
        if (at.eof) {
            failed_ = true;
            return;
        }
        if (at.kind == TokenKind::Punctuation &&
            (at.op == Op::RParen || at.op == Op::RBracket || at.op == Op::RBrace)) {
            error(at, "UnbalancedBracket",
                  describe(at) + " at line " + std::to_string(at.line) + " does not match " + describe(open) +
                      " at line " + std::to_string(open.line) + ".");
            return;
        }
        error(at, "UnbalancedBracket",
              describe(open) + " at line " + std::to_string(open.line) + " is not closed before " +
                  describe(at) + " at line " + std::to_string(at.line) + ".");
    }

    void parsePrimary() {
        const PTok& t = cur();
        switch (t.kind) {
            case TokenKind::Identifier:
                d_.scopes[t.scan] = scope_;
                leaf(NodeKind::Identifier);
                return;
            case TokenKind::Number:
                leaf(NodeKind::Number);
                return;
            case TokenKind::CharArray:
            case TokenKind::String:
                if ((t.flags & lexer::kUnterminated) != 0) {
                    error(t, "UnterminatedText",
                          "The text literal at line " + std::to_string(t.line) + " is not terminated.");
                    return;
                }
                leaf(t.kind == TokenKind::String ? NodeKind::String : NodeKind::CharArray);
                return;
            case TokenKind::Keyword:
                if (t.word == Word::End && inIndex_ > 0) {
                    // Continuation lines stand deeper than their statement, so an `end` alone on a line
                    // at or left of it ends a block and the bracket was never closed.
                    const PTok& next = peek();
                    const bool aloneOnLine =
                        next.eof || next.kind == TokenKind::LineEnd || next.op == Op::Semicolon;
                    const bool firstOnLine = pos_ > 0 && toks_[pos_ - 1].line < t.line;
                    if (firstOnLine && aloneOnLine && t.line > statementLine_ && !openBrackets_.empty() &&
                        lineIndent_[t.line] <= lineIndent_[statementLine_]) {
                        unclosed(toks_[openBrackets_.back()], t);
                        return;
                    }
                    leaf(NodeKind::EndIndex);
                    return;
                }
                if (t.word == Word::End) {
                    error(
                        t, "MisplacedEnd",
                        "'end' at line " + std::to_string(t.line) + " can only stand inside an index here.");
                    return;
                }
                unexpected(t);
                return;
            default:
                break;
        }
        switch (t.op) {
            case Op::LBracket:
                parseMatrix(NodeKind::Matrix, Op::RBracket);
                return;
            case Op::LBrace:
                parseMatrix(NodeKind::Cell, Op::RBrace);
                return;
            case Op::LParen: {
                const std::uint32_t from = mark();
                std::uint32_t open = take();
                enterNesting(toks_[open]);
                ++parenDepth_;
                {
                    SaveContext saved(*this, false, inIndex_);
                    parseExpression();
                    if (!failed_ && cur().op != Op::RParen) unclosed(toks_[open], cur());
                    if (!failed_) take();
                }
                --parenDepth_;
                --nesting_;
                if (!failed_) finishAt(NodeKind::Parenthesized, from, open);
                return;
            }
            case Op::At:
                parseHandle();
                return;
            case Op::Question: {
                std::uint32_t q = take();
                if (cur().kind != TokenKind::Identifier) {
                    unexpected(cur());
                    return;
                }
                const std::uint32_t from = mark();
                dottedOrIdentifier(Role::Other);
                pending_.resize(from);
                finishRaw(NodeKind::MetaclassQuery, from, toks_[q].line, toks_[q].offset, closingNow());
                return;
            }
            case Op::Colon:
                if (inIndex_ > 0 && t.kind == TokenKind::Operator) {
                    leaf(NodeKind::ColonAll);
                    return;
                }
                break;
            default:
                break;
        }
        if (t.kind == TokenKind::LineEnd && !t.eof) {
            error(t, "IncompleteStatement",
                  "The statement at line " + std::to_string(t.line) + " ends before its expression.");
            return;
        }
        unexpected(t);
    }

    void parseHandle() {
        const std::uint32_t from = mark();
        std::uint32_t at = take();
        const PTok& t = cur();
        if (t.kind == TokenKind::Identifier) {
            dottedOrIdentifier(Role::HandleTarget);
            finishAt(NodeKind::FunctionHandle, from, at);
            return;
        }
        if (t.op != Op::LParen) {
            unexpected(t);
            return;
        }
        std::uint32_t open = take();
        enterNesting(toks_[open]);
        const std::uint32_t inputs = mark();
        ++parenDepth_;
        while (!failed_) {
            const PTok& p = cur();
            if (p.op == Op::RParen && p.kind == TokenKind::Punctuation) break;
            if (p.kind == TokenKind::Identifier) {
                addVariable(p);
                leaf(NodeKind::Identifier);
            } else if (p.op == Op::Not && p.kind == TokenKind::Operator) {
                leaf(NodeKind::Ignored);
            } else {
                unclosed(toks_[open], p);
                break;
            }
            if (cur().op == Op::Comma && cur().kind == TokenKind::Punctuation) {
                take();
            } else if (cur().op != Op::RParen) {
                unclosed(toks_[open], cur());
            }
        }
        --parenDepth_;
        if (failed_) {
            --nesting_;
            return;
        }
        take();
        finishAt(NodeKind::InputList, inputs, open);
        parseExpression();
        --nesting_;
        if (!failed_) finishAt(NodeKind::AnonymousFunction, from, at);
    }

    void parseMatrix(NodeKind kind, Op close) {
        const std::uint32_t from = mark();
        std::uint32_t open = take();
        enterNesting(toks_[open]);
        const int savedParen = parenDepth_;
        parenDepth_ = 0;  // line ends separate rows here
        {
            SaveContext saved(*this, true, inIndex_);
            std::uint32_t row = mark();
            bool elementEnded = false;
            while (!failed_) {
                const PTok& t = cur();
                if (t.eof) {
                    failed_ = true;
                    break;
                }
                if (t.kind == TokenKind::Punctuation && t.op == close) {
                    if (mark() > row) finishFrom(NodeKind::Row, row);
                    take();
                    break;
                }
                if (isNewline(t) || (t.kind == TokenKind::Punctuation && t.op == Op::Semicolon)) {
                    take();
                    if (mark() > row) finishFrom(NodeKind::Row, row);
                    row = mark();
                    elementEnded = false;
                    continue;
                }
                if (t.kind == TokenKind::Punctuation && t.op == Op::Comma) {
                    take();
                    elementEnded = false;
                    continue;
                }
                if (elementEnded && !t.spaceBefore) {
                    unclosed(toks_[open], t);
                    break;
                }
                if (t.kind == TokenKind::Punctuation &&
                    (t.op == Op::RParen || t.op == Op::RBracket || t.op == Op::RBrace)) {
                    unclosed(toks_[open], t);
                    break;
                }
                parseExpression();
                elementEnded = true;
            }
        }
        parenDepth_ = savedParen;
        --nesting_;
        if (!failed_) finishAt(kind, from, open);
    }

    // --- statements -------------------------------------------------------------------------------
    bool isTerminator(const PTok& t) const {
        return t.kind == TokenKind::LineEnd ||
               (t.kind == TokenKind::Punctuation && (t.op == Op::Semicolon || t.op == Op::Comma));
    }

    void endOfStatement() {
        if (failed_) return;
        const PTok& t = cur();
        if (isTerminator(t)) return;
        unexpected(t);
    }

    // After an error the rest of the line is skipped; brackets opened in it no longer count.
    void recover() {
        if (!failed_) return;
        failed_ = false;
        parenDepth_ = 0;
        nesting_ = static_cast<std::uint32_t>(frames_.size());
        inMatrix_ = false;
        inIndex_ = 0;
        while (!toks_[pos_].eof && toks_[pos_].kind != TokenKind::LineEnd)
            ++pos_;
    }

    // An assignment in a function, for the warning about values that are never used.
    void noteAssignment(const PTok& t, AssignmentKind kind) {
        d_.assignments.push_back(Assignment{t.scan, scope_, kind});
    }

    void addVariable(const PTok& t) {
        d_.roles[t.scan] = Role::Variable;
        d_.scopeVariables[scope_].insert(textOf(t));
    }

    bool validTarget(std::uint32_t node) const {
        const auto& nodes = d_.tree.nodes;
        for (;;) {
            const auto& r = nodes[node];
            switch (r.kind) {
                case NodeKind::Identifier:
                    return true;
                case NodeKind::Index:
                case NodeKind::CellIndex:
                case NodeKind::Field:
                case NodeKind::DynamicField:
                    node = d_.tree.children[r.firstChild];
                    continue;
                default:
                    return false;
            }
        }
    }

    void parseSimpleStatement() {
        const std::uint32_t from = mark();
        const std::uint32_t first = static_cast<std::uint32_t>(pos_);
        const PTok& t = cur();
        if (t.kind == TokenKind::Identifier && peek().kind == TokenKind::CommandWord) {
            d_.scopes[t.scan] = scope_;
            leaf(NodeKind::Identifier);
            while (cur().kind == TokenKind::CommandWord) {
                const PTok& w = cur();
                if ((w.flags & lexer::kUnterminated) != 0) {
                    error(w, "UnterminatedText",
                          "The quoted word at line " + std::to_string(w.line) + " is not terminated.");
                    return;
                }
                d_.scopes[w.scan] = scope_;
                leaf(NodeKind::CommandWord);
            }
            finishAt(NodeKind::Command, from, first);
            return;
        }
        if (t.kind == TokenKind::Punctuation && t.op == Op::LBracket && isMultiAssignment()) {
            parseMultiAssignment();
            return;
        }
        if (t.kind == TokenKind::Operator && t.op == Op::Not && peek().op == Op::Assign) {
            error(
                t, "MisplacedTilde",
                "'~' at line " + std::to_string(t.line) + " can only stand for an ignored output or input.");
            return;
        }
        parseExpression();
        if (failed_) return;
        const PTok& next = cur();
        if (next.kind == TokenKind::Operator && next.op == Op::Assign) {
            if (!validTarget(pending_.back())) {
                error(
                    next, "InvalidAssignmentTarget",
                    "The left side of '=' at line " + std::to_string(next.line) + " cannot be assigned to.");
                return;
            }
            if (toks_[first].kind == TokenKind::Identifier) {
                addVariable(toks_[first]);
                noteAssignment(toks_[first], AssignmentKind::Value);
            }
            take();
            parseExpression();
            if (failed_) return;
            finishFrom(NodeKind::Assignment, from);
            return;
        }
        finishFrom(NodeKind::ExpressionStatement, from);
    }

    bool isMultiAssignment() const {
        int depth = 0;
        for (std::size_t k = pos_; k < toks_.size(); ++k) {
            const PTok& t = toks_[k];
            if (t.eof || (t.kind == TokenKind::LineEnd && depth == 0)) return false;
            if (t.kind != TokenKind::Punctuation) continue;
            if (t.op == Op::LBracket || t.op == Op::LParen || t.op == Op::LBrace) ++depth;
            if (t.op == Op::RBracket || t.op == Op::RParen || t.op == Op::RBrace) {
                if (--depth == 0) {
                    const PTok& n = toks_[k + 1];
                    return n.kind == TokenKind::Operator && n.op == Op::Assign;
                }
            }
        }
        return false;
    }

    void parseMultiAssignment() {
        const std::uint32_t from = mark();
        std::uint32_t open = take();
        const std::uint32_t outputs = mark();
        {
            SaveContext saved(*this, true, 0);
            bool elementEnded = false;
            while (!failed_) {
                const PTok& t = cur();
                if (t.kind == TokenKind::Punctuation && t.op == Op::RBracket) {
                    take();
                    break;
                }
                if ((t.kind == TokenKind::Punctuation && t.op == Op::Comma) || isNewline(t)) {
                    take();
                    elementEnded = false;
                    continue;
                }
                if (elementEnded && !t.spaceBefore) {
                    unexpected(t);
                    break;
                }
                if (t.kind == TokenKind::Operator && t.op == Op::Not) {
                    const PTok& n = peek();
                    if (!(n.op == Op::Comma || n.op == Op::RBracket || n.spaceBefore || isNewline(n))) {
                        error(t, "MisplacedTilde",
                              "'~' at line " + std::to_string(t.line) +
                                  " can only stand for an ignored output.");
                        break;
                    }
                    leaf(NodeKind::Ignored);
                } else if (t.kind == TokenKind::Identifier) {
                    addVariable(t);
                    noteAssignment(t, AssignmentKind::Value);
                    parsePostfix();
                    if (failed_) break;
                    if (!validTarget(pending_.back())) {
                        error(t, "InvalidAssignmentTarget",
                              "An output at line " + std::to_string(t.line) + " cannot be assigned to.");
                        break;
                    }
                } else {
                    if (t.kind == TokenKind::Operator && t.op == Op::Not) break;
                    error(t, "InvalidAssignmentTarget",
                          describe(t) + " at line " + std::to_string(t.line) + " cannot be assigned to.");
                    break;
                }
                elementEnded = true;
            }
        }
        if (failed_) return;
        finishAt(NodeKind::OutputList, outputs, open);
        if (!expect(Op::Assign)) return;
        parseExpression();
        if (failed_) return;
        finishAt(NodeKind::MultiAssignment, from, open);
    }

    // --- blocks -----------------------------------------------------------------------------------
    Frame* top() { return frames_.empty() ? nullptr : &frames_.back(); }

    void pushFrame(NodeKind kind, std::uint32_t from, std::uint32_t headerTok) {
        const PTok& h = toks_[headerTok];
        if (frames_.size() + 1 > kMaxNesting) {
            throw InvalidAnalysisException("The text nests blocks deeper than " +
                                           std::to_string(kMaxNesting) + " levels (line " +
                                           std::to_string(h.line) + ").");
        }
        Frame f;
        f.kind = kind;
        f.mark = from;
        f.headerTok = headerTok;
        f.indent = lineIndent_[h.line];
        f.line = h.line;
        f.scope = scope_;
        f.outerScope = scope_;
        frames_.push_back(f);
        nesting_ = static_cast<std::uint32_t>(frames_.size());
    }

    void finishClause(Frame& f) {
        if (f.clause == NodeKind::Unknown) return;
        finishAt(f.clause, f.clauseMark, f.clauseTok);
        f.clause = NodeKind::Unknown;
    }

    // Closes the innermost construct; its node ends at the last token read.
    void popFrame() {
        Frame f = frames_.back();
        finishClause(frames_.back());
        finishAt(f.kind, f.mark, f.headerTok);
        frames_.pop_back();
        nesting_ = static_cast<std::uint32_t>(frames_.size());
        scope_ = f.outerScope;
        if (Frame* parent = top()) parent->minBody = std::min({parent->minBody, f.minBody, f.indent});
    }

    void missingEnd(const Frame& f) {
        const PTok& h = toks_[f.headerTok];
        diagnose(h.offset, Severity::Error, "MissingEnd",
                 std::string("'") + constructWord(f.kind) + "' at line " + std::to_string(f.line) +
                     " has no matching 'end'.");
    }

    void noteLine(const PTok& t, std::uint8_t kind) {
        if (!t.lineFirst) return;
        if (kind != 3) lastEndIndent_ = kNoIndent;
        lineKind_[t.line] = kind;
        const std::uint32_t indent = lineIndent_[t.line];
        if (kind != 2 && kind != 3 && t.line > 1) minCodeSinceOrphan_ = std::min(minCodeSinceOrphan_, indent);
        if (Frame* f = top(); f && kind == 1) {
            f->minBody = std::min(f->minBody, indent);
            if (f->firstBody == kNoIndent) f->firstBody = indent;
        }
    }

    bool orphanAccepted(const PTok& t) const {
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
        return t.line == 1 || closesOuterFunction || (indent < orphanIndent_ && indent < minCodeSinceOrphan_);
    }

    void handleEnd() {
        ++structuralLines_;
        const PTok& t = cur();
        const std::uint32_t indent = t.lineFirst ? lineIndent_[t.line] : kNoIndent;
        noteLine(t, 3);
        if (indent != kNoIndent) {
            while (Frame* f = top()) {
                if (f->indent <= indent || (f->phantomSwitch && indent < f->caseIndent)) break;
                missingEnd(*f);
                popFrame();
            }
        }
        Frame* f = top();
        if (f == nullptr) {
            if (!orphanAccepted(t) && !inHead_) {
                error(t, "EndWithoutBlock",
                      "'end' at line " + std::to_string(t.line) + " has no matching block.");
                return;
            }
            take();
            // The first line may be cut anywhere, so its indentation tells nothing.
            if (t.line > 1) orphanIndent_ = lineIndent_[t.line];
            // Two `end`s at the left margin in a row may close a function and the one around it; a third
            // has nothing left to close.
            lastEndAtMargin_ = lastEndIndent_ == 0 && lineIndent_[t.line] == 0;
            lastEndIndent_ = lineIndent_[t.line];
            lastEndClosedFunction_ = false;
            lastEndClosedControl_ = false;
            minCodeSinceOrphan_ = kNoIndent;
            endOfStatement();
            return;
        }
        // An `end` right of its construct's header closes it only when the whole body stands further
        // right still; a cut-away switch ends left of its cases.
        const bool tooFarRight =
            f->phantomSwitch ? indent >= f->caseIndent : indent > f->indent && f->minBody <= indent;
        if (indent != kNoIndent && tooFarRight) {
            error(t, "EndWithoutBlock",
                  "'end' at line " + std::to_string(t.line) + " has no matching block.");
            return;
        }
        finishClause(*f);
        take();
        const Frame closed = *f;
        if (isFunctionKind(closed.kind)) d_.scopeComplete[closed.scope] = 1;
        popFrame();
        lastEndIndent_ = t.lineFirst ? lineIndent_[t.line] : kNoIndent;
        lastEndClosedFunction_ = isFunctionKind(closed.kind);
        lastEndClosedControl_ = isControl(closed.kind) && !isPhantom(closed);
        lastEndAtMargin_ = false;
        if (isFunctionKind(closed.kind)) {
            if (closedFunctions_ == 0) firstFunctionEndOffset_ = t.offset;
            ++closedFunctions_;
            if (frames_.empty() && closed.indent == 0) closedTopFunction_ = true;
        }
        // A construct whose header was cut away ends like one more closing line of the edge.
        if (isPhantom(closed)) {
            orphanIndent_ = lineIndent_[t.line];
            minCodeSinceOrphan_ = kNoIndent;
        }
        endOfStatement();
    }

    bool isPhantom(const Frame& f) const {
        Word w = toks_[f.headerTok].word;
        return w == Word::Else || w == Word::Elseif || w == Word::Case || w == Word::Otherwise ||
               w == Word::Catch;
    }

    void handleClause() {
        ++structuralLines_;
        const PTok& t = cur();
        const Word w = t.word;
        const NodeKind construct = (w == Word::Else || w == Word::Elseif)      ? NodeKind::If
                                   : (w == Word::Case || w == Word::Otherwise) ? NodeKind::Switch
                                                                               : NodeKind::Try;
        const std::uint32_t indent = t.lineFirst ? lineIndent_[t.line] : kNoIndent;
        noteLine(t, 2);
        // Where every block is closed in the text, a clause belongs to the construct that is open, however
        // far left it stands.
        if (indent != kNoIndent && !balanced_) {
            while (Frame* f = top()) {
                if (f->kind == construct) {
                    if (f->phantomSwitch || f->indent <= indent) break;
                } else if (f->indent < indent) {
                    break;
                }
                missingEnd(*f);
                popFrame();
            }
        }
        Frame* f = top();
        if (f == nullptr) {
            if (!orphanAccepted(t) && !inHead_) {
                misplacedClause(t);
                return;
            }
            pushFrame(construct, mark(), static_cast<std::uint32_t>(pos_));
            f = top();
            f->indent = lineIndent_[t.line];
            if (construct == NodeKind::Switch) {
                f->phantomSwitch = true;
                f->caseIndent = f->indent;
            }
            if (t.line > 1) orphanIndent_ = f->indent;
            minCodeSinceOrphan_ = kNoIndent;
        } else if (f->kind != construct) {
            misplacedClause(t);
            return;
        }
        finishClause(*f);
        f->clause = w == Word::Else        ? NodeKind::Else
                    : w == Word::Elseif    ? NodeKind::ElseIf
                    : w == Word::Case      ? NodeKind::Case
                    : w == Word::Otherwise ? NodeKind::Otherwise
                                           : NodeKind::Catch;
        f->clauseMark = mark();
        f->clauseTok = take();
        if (w == Word::Elseif || w == Word::Case) {
            parseExpression();
        } else if (w == Word::Catch && cur().kind == TokenKind::Identifier && !cur().lineFirst &&
                   isTerminator(peek())) {
            addVariable(cur());
            leaf(NodeKind::Identifier);
        }
    }

    void misplacedClause(const PTok& t) {
        const char* owner = (t.word == Word::Else || t.word == Word::Elseif)      ? "an 'if'"
                            : (t.word == Word::Case || t.word == Word::Otherwise) ? "a 'switch'"
                                                                                  : "a 'try'";
        error(t, "MisplacedClause",
              describe(t) + " at line " + std::to_string(t.line) + " is not inside " + owner + " block.");
    }

    void openControl() {
        const PTok& t = cur();
        noteLine(t, 1);
        const Word w = t.word;
        const NodeKind kind = w == Word::If       ? NodeKind::If
                              : w == Word::While  ? NodeKind::While
                              : w == Word::Switch ? NodeKind::Switch
                              : w == Word::For    ? NodeKind::For
                              : w == Word::Parfor ? NodeKind::Parfor
                              : w == Word::Try    ? NodeKind::Try
                                                  : NodeKind::Spmd;
        noteStatementInFunction();
        const std::uint32_t from = mark();
        const std::uint32_t header = take();
        if (kind == NodeKind::For || kind == NodeKind::Parfor) {
            parseLoopHeader(kind);
        } else if (kind == NodeKind::If || kind == NodeKind::While || kind == NodeKind::Switch) {
            parseExpression();
        }
        if (failed_) {
            // Keep the construct so that its `end` still finds it.
            pending_.resize(from);
            failedHeader_ = true;
        }
        pushFrame(kind, from, header);
    }

    void parseLoopHeader(NodeKind kind) {
        const bool parenthesized = cur().op == Op::LParen &&
                                   peekPastLineEnds(1).kind == TokenKind::Identifier &&
                                   peekPastLineEnds(2).op == Op::Assign;
        std::uint32_t open = 0;
        if (parenthesized) {
            open = take();
            ++parenDepth_;
        }
        const PTok& v = cur();
        if (v.kind != TokenKind::Identifier) {
            unexpected(v);
        } else {
            addVariable(v);
            leaf(NodeKind::Identifier);
            if (expect(Op::Assign)) parseExpression();
            if (!failed_ && parenthesized && kind == NodeKind::Parfor && cur().op == Op::Comma) {
                take();
                parseExpression();
            }
        }
        if (parenthesized) {
            if (!failed_ && cur().op != Op::RParen) unclosed(toks_[open], cur());
            if (!failed_) take();
            --parenDepth_;
        }
    }

    void noteStatementInFunction() {
        for (auto it = frames_.rbegin(); it != frames_.rend(); ++it) {
            if (isFunctionKind(it->kind)) {
                it->sawStatement = true;
                return;
            }
        }
    }

    void checkLoopStatement(const PTok& t) {
        for (auto it = frames_.rbegin(); it != frames_.rend(); ++it) {
            if (isLoop(it->kind)) return;
            if (isFunctionKind(it->kind)) {
                loopError(t);
                return;
            }
        }
        // No loop and no function in the text: the loop may have been cut away, unless the statement
        // or its outermost block stands at the left margin.
        if (!frames_.empty() && frames_.front().line == 1) return;  // its header line may be cut
        const std::uint32_t outer = frames_.empty() ? lineIndent_[t.line] : frames_.front().indent;
        if (outer == 0) loopError(t);
    }

    void loopError(const PTok& t) {
        const std::string word = t.word == Word::Break ? "break" : "continue";
        error(t, word == "break" ? "BreakOutsideLoop" : "ContinueOutsideLoop",
              "'" + word + "' at line " + std::to_string(t.line) + " is not inside a loop.");
    }

    void parseFunction() {
        const PTok& t = cur();
        const std::uint32_t indent = t.lineFirst ? lineIndent_[t.line] : 0;
        noteLine(t, 4);
        // Unclosed control blocks at or right of the function line end here.
        while (Frame* f = top()) {
            if (!isControl(f->kind) || f->indent < indent) break;
            missingEnd(*f);
            popFrame();
        }
        // In a text whose functions have no `end`, a function at or left of an open function's header is
        // its sibling; with `end`s, a function inside another one is nested even at the same indentation.
        while (Frame* f = top()) {
            if (closedForm_ || !isFunctionKind(f->kind) || f->indent < indent) break;
            recordUnclosed(*f);
            d_.scopeComplete[f->scope] = 1;  // the next function line ends it
            popFrame();
        }
        bool nested = false;
        NodeKind kind = NodeKind::Function;
        if (Frame* f = top()) {
            if (isControl(f->kind)) controlKind_ = f->kind;
            for (auto it = frames_.rbegin(); it != frames_.rend(); ++it) {
                if (isFunctionKind(it->kind)) {
                    nested = true;
                    it->holdsNested = true;
                    break;
                }
                if (it->kind == NodeKind::Methods) break;
            }
            if (f->kind == NodeKind::Methods) kind = NodeKind::MethodDefinition;
        }
        const std::uint32_t from = mark();
        const std::uint32_t header = take();
        const std::uint32_t outerScope = scope_;
        scope_ = static_cast<std::uint32_t>(d_.scopeVariables.size());
        d_.scopeVariables.emplace_back();
        d_.scopeParent.push_back(nested ? static_cast<std::int32_t>(outerScope) : -1);
        d_.scopeComplete.push_back(0);
        std::u16string_view name = parseFunctionHeader();
        if (failed_) pending_.resize(from);
        pushFrame(kind, from, header);
        Frame& f = frames_.back();
        f.outerScope = outerScope;
        f.scope = scope_;
        f.nested = nested;
        if (controlKind_ != NodeKind::Unknown) {
            diagnose(t.offset, Severity::Error, "FunctionInControlBlock",
                     "Function '" + fl::i18n::to_string(name) + "' at line " + std::to_string(t.line) +
                         " is defined inside " + (controlKind_ == NodeKind::If ? "an '" : "a '") +
                         constructWord(controlKind_) + "' block.");
            controlKind_ = NodeKind::Unknown;
        }
        if (nested && firstNestedLine_ == 0) {
            firstNestedLine_ = t.line;
            firstNestedOffset_ = t.offset;
            firstNestedName_ = name;
        }
        if (!name.empty()) {
            auto& info = d_.functions[name];
            info.nested = info.nested || nested;
            auto key = std::make_pair(nested ? outerScope : 0u, std::u16string(name));
            auto [it, inserted] = functionLines_.emplace(key, t.line);
            if (!inserted) {
                diagnose(t.offset, Severity::Error, "DuplicateFunction",
                         "Function '" + fl::i18n::to_string(name) + "' at line " + std::to_string(t.line) +
                             " is already defined at line " + std::to_string(it->second) + ".");
            }
        }
    }

    void recordUnclosed(const Frame& f) {
        ++unclosedFunctions_;
        if (firstUnclosedLine_ == 0) {
            firstUnclosedLine_ = f.line;
            firstUnclosedOffset_ = toks_[f.headerTok].offset;
        }
    }

    std::u16string_view parseFunctionHeader() {
        // Outputs: `[a, b] =` or `a =`.
        if (cur().op == Op::LBracket) {
            std::uint32_t open = take();
            const std::uint32_t outputs = mark();
            while (!failed_) {
                const PTok& o = cur();
                if (o.op == Op::RBracket) {
                    take();
                    break;
                }
                if (o.op == Op::Comma || isNewline(o)) {
                    take();
                    continue;
                }
                if (o.kind != TokenKind::Identifier) {
                    unexpected(o);
                    break;
                }
                addVariable(o);
                noteAssignment(o, AssignmentKind::Output);
                leaf(NodeKind::Identifier);
            }
            if (failed_) return {};
            finishAt(NodeKind::OutputList, outputs, open);
            if (!expect(Op::Assign)) return {};
        } else if (cur().kind == TokenKind::Identifier && peek().op == Op::Assign &&
                   peek().kind == TokenKind::Operator) {
            const std::uint32_t outputs = mark();
            std::uint32_t first = static_cast<std::uint32_t>(pos_);
            addVariable(cur());
            noteAssignment(cur(), AssignmentKind::Output);
            leaf(NodeKind::Identifier);
            finishAt(NodeKind::OutputList, outputs, first);
            take();
        }
        const PTok& n = cur();
        if (n.kind != TokenKind::Identifier) {
            unexpected(n);
            return {};
        }
        std::uint32_t nameStart = n.offset;
        dottedOrIdentifier(Role::FunctionName);
        std::u16string_view name = std::u16string_view(text_).substr(nameStart, lastEnd_ - nameStart);
        if (cur().op == Op::LParen && cur().kind == TokenKind::Punctuation) {
            std::uint32_t open = take();
            ++parenDepth_;
            const std::uint32_t inputs = mark();
            while (!failed_) {
                const PTok& p = cur();
                if (p.op == Op::RParen && p.kind == TokenKind::Punctuation) {
                    take();
                    break;
                }
                if (p.op == Op::Comma && p.kind == TokenKind::Punctuation) {
                    take();
                    continue;
                }
                const std::uint32_t argument = mark();
                std::uint32_t first = static_cast<std::uint32_t>(pos_);
                if (p.kind == TokenKind::Identifier) {
                    addVariable(p);
                    noteAssignment(p, AssignmentKind::Input);
                    leaf(NodeKind::Identifier);
                } else if (p.kind == TokenKind::Operator && p.op == Op::Not) {
                    leaf(NodeKind::Ignored);
                } else {
                    unclosed(toks_[open], p);
                    break;
                }
                finishAt(NodeKind::InputArgument, argument, first);
            }
            --parenDepth_;
            if (failed_) return name;
            finishAt(NodeKind::InputList, inputs, open);
        }
        endOfStatement();
        return name;
    }

    void parseClassdef() {
        const PTok& t = cur();
        noteLine(t, 1);
        const std::uint32_t from = mark();
        const std::uint32_t header = take();
        if (cur().op == Op::LParen) parseAttributes();
        if (!failed_) {
            if (cur().kind == TokenKind::Identifier) {
                dottedOrIdentifier(Role::Other);
            } else {
                unexpected(cur());
            }
        }
        if (!failed_ && cur().op == Op::Less && cur().kind == TokenKind::Operator) {
            std::uint32_t less = take();
            const std::uint32_t supers = mark();
            for (;;) {
                if (cur().kind != TokenKind::Identifier) {
                    unexpected(cur());
                    break;
                }
                dottedOrIdentifier(Role::Other);
                if (cur().op != Op::And || cur().kind != TokenKind::Operator) break;
                take();
            }
            if (!failed_) finishAt(NodeKind::Superclasses, supers, less + 1);
        }
        endOfStatement();
        if (failed_) {
            pending_.resize(from);
            failedHeader_ = true;
        }
        pushFrame(NodeKind::ClassDef, from, header);
    }

    void parseAttributes() {
        const std::uint32_t from = mark();
        std::uint32_t open = take();
        ++parenDepth_;
        while (!failed_) {
            const PTok& a = cur();
            if (a.op == Op::RParen && a.kind == TokenKind::Punctuation) {
                take();
                break;
            }
            if (a.op == Op::Comma && a.kind == TokenKind::Punctuation) {
                take();
                continue;
            }
            const std::uint32_t item = mark();
            if (a.kind == TokenKind::Operator && a.op == Op::Not) {
                std::uint32_t notTok = take();
                if (cur().kind != TokenKind::Identifier) {
                    unexpected(cur());
                    break;
                }
                d_.roles[cur().scan] = Role::Other;
                leaf(NodeKind::Identifier);
                finishAt(NodeKind::UnaryOp, item, notTok);
                continue;
            }
            if (a.kind != TokenKind::Identifier) {
                unclosed(toks_[open], a);
                break;
            }
            d_.roles[a.scan] = Role::Other;
            leaf(NodeKind::Identifier);
            if (cur().op == Op::Assign && cur().kind == TokenKind::Operator) {
                take();
                parseExpression();
                if (!failed_) finishFrom(NodeKind::Assignment, item);
            }
        }
        --parenDepth_;
        if (!failed_) finishAt(NodeKind::Attributes, from, open);
    }

    bool contextualBlockAllowed(Word w, const PTok& t) {
        const PTok& next = peek();
        bool headerShape = next.kind == TokenKind::LineEnd || next.op == Op::LParen ||
                           next.op == Op::Semicolon || next.op == Op::Comma;
        if (!headerShape) return false;
        Frame* f = top();
        if (f == nullptr) return t.lineFirst && lineIndent_[t.line] > 0;
        if (w == Word::Arguments) return isFunctionKind(f->kind) && f->clause == NodeKind::Unknown;
        return f->kind == NodeKind::ClassDef;
    }

    void openContextualBlock(Word w) {
        const PTok& t = cur();
        noteLine(t, 1);
        const NodeKind kind = w == Word::Properties  ? NodeKind::Properties
                              : w == Word::Methods   ? NodeKind::Methods
                              : w == Word::Events    ? NodeKind::Events
                              : w == Word::Arguments ? NodeKind::Arguments
                                                     : NodeKind::Enumeration;
        if (kind == NodeKind::Arguments) {
            Frame* f = top();
            if (f != nullptr && f->sawStatement) {
                diagnose(t.offset, Severity::Error, "ArgumentsAfterStatements",
                         "The 'arguments' block at line " + std::to_string(t.line) +
                             " must come before the other statements of its function.");
            }
        }
        d_.roles[t.scan] = Role::BlockWord;
        const std::uint32_t from = mark();
        const std::uint32_t header = take();
        if (cur().op == Op::LParen) parseAttributes();
        endOfStatement();
        if (failed_) {
            pending_.resize(from);
            failedHeader_ = true;
        }
        pushFrame(kind, from, header);
    }

    // Expressions separated by commas up to `close`, after the opening bracket `open`; `indexDepth` tells
    // whether `end` and a lone `:` may stand among them.
    void parseExpressionItems(const PTok& open, Op close, int indexDepth) {
        ++parenDepth_;
        SaveContext saved(*this, false, indexDepth);
        while (!failed_) {
            const PTok& t = cur();
            if (t.op == close && t.kind == TokenKind::Punctuation) {
                take();
                break;
            }
            if (t.op == Op::Comma && t.kind == TokenKind::Punctuation) {
                take();
                continue;
            }
            parseExpression();
            if (!failed_ && !(cur().op == Op::Comma || cur().op == close)) unclosed(open, cur());
        }
        --parenDepth_;
    }

    // `name (dims) Class {validators} = default`, every part after the name optional.
    void parseDeclaration(NodeKind kind) {
        const std::uint32_t from = mark();
        const std::uint32_t first = static_cast<std::uint32_t>(pos_);
        const PTok& n = cur();
        if (n.kind != TokenKind::Identifier) {
            unexpected(n);
            return;
        }
        if (kind == NodeKind::ArgumentDeclaration) addVariable(n);
        dottedOrIdentifier(kind == NodeKind::ArgumentDeclaration ? Role::Variable : Role::Other);
        if (cur().op == Op::LParen && cur().kind == TokenKind::Punctuation) {
            const std::uint32_t dims = mark();
            std::uint32_t open = take();
            parseExpressionItems(toks_[open], Op::RParen, 1);
            if (failed_) return;
            finishAt(NodeKind::ArgumentList, dims, open);
        }
        if (cur().kind == TokenKind::Identifier) dottedOrIdentifier(Role::Other);
        if (cur().op == Op::LBrace && cur().kind == TokenKind::Punctuation) {
            const std::uint32_t validators = mark();
            std::uint32_t open = take();
            parseExpressionItems(toks_[open], Op::RBrace, 0);
            if (failed_) return;
            finishAt(NodeKind::ValidatorList, validators, open);
        }
        if (cur().op == Op::Assign && cur().kind == TokenKind::Operator) {
            take();
            parseExpression();
            if (failed_) return;
        }
        finishAt(kind, from, first);
    }

    void parseEnumerationMember() {
        const std::uint32_t from = mark();
        const std::uint32_t first = static_cast<std::uint32_t>(pos_);
        if (cur().kind != TokenKind::Identifier) {
            unexpected(cur());
            return;
        }
        d_.roles[cur().scan] = Role::Other;
        leaf(NodeKind::Identifier);
        if (cur().op == Op::LParen && cur().kind == TokenKind::Punctuation) {
            std::uint32_t open = take();
            parseExpressionItems(toks_[open], Op::RParen, 0);
            if (failed_) return;
        }
        finishAt(NodeKind::EnumerationMember, from, first);
    }

    void parseStatement() {
        ++statementsParsed_;
        const PTok& t = cur();
        statementLine_ = t.line;
        if (t.kind == TokenKind::Keyword) {
            switch (t.word) {
                case Word::End:
                    handleEnd();
                    return;
                case Word::Else:
                case Word::Elseif:
                case Word::Case:
                case Word::Otherwise:
                case Word::Catch:
                    handleClause();
                    return;
                case Word::If:
                case Word::While:
                case Word::Switch:
                case Word::For:
                case Word::Parfor:
                case Word::Try:
                case Word::Spmd:
                    checkStatementPlacement(t);
                    openControl();
                    return;
                case Word::Function:
                    parseFunction();
                    return;
                case Word::Classdef:
                    parseClassdef();
                    return;
                default:
                    break;
            }
        }
        if (t.kind == TokenKind::Identifier && t.word != Word::None && t.word != Word::End &&
            contextualBlockAllowed(t.word, t)) {
            openContextualBlock(t.word);
            return;
        }
        noteLine(t, 1);
        checkStatementPlacement(t);
        Frame* f = top();
        const NodeKind context = f == nullptr ? NodeKind::Unknown : f->kind;
        if (context != NodeKind::Arguments) noteStatementInFunction();
        switch (context) {
            case NodeKind::Properties:
                parseDeclaration(NodeKind::PropertyDefinition);
                endOfStatement();
                return;
            case NodeKind::Arguments:
                parseDeclaration(NodeKind::ArgumentDeclaration);
                endOfStatement();
                return;
            case NodeKind::Events:
                if (t.kind == TokenKind::Identifier) {
                    d_.roles[t.scan] = Role::Other;
                    leaf(NodeKind::EventName);
                } else {
                    unexpected(t);
                }
                endOfStatement();
                return;
            case NodeKind::Enumeration:
                parseEnumerationMember();
                endOfStatement();
                return;
            default:
                break;
        }
        if (t.kind == TokenKind::Keyword) {
            switch (t.word) {
                case Word::Break:
                case Word::Continue:
                    checkLoopStatement(t);
                    if (failed_) return;
                    leaf(t.word == Word::Break ? NodeKind::Break : NodeKind::Continue);
                    endOfStatement();
                    return;
                case Word::Return:
                    leaf(NodeKind::Return);
                    endOfStatement();
                    return;
                case Word::Global:
                case Word::Persistent: {
                    const std::uint32_t from = mark();
                    const std::uint32_t first = take();
                    while (cur().kind == TokenKind::Identifier) {
                        addVariable(cur());
                        noteAssignment(cur(), AssignmentKind::Declared);
                        leaf(NodeKind::Identifier);
                    }
                    finishAt(t.word == Word::Global ? NodeKind::Global : NodeKind::Persistent, from, first);
                    endOfStatement();
                    return;
                }
                default:
                    unexpected(t);
                    return;
            }
        }
        parseStatementWithFallback(t);
    }

    // Lines of a properties or arguments block whose header was cut away read as declarations.
    void parseStatementWithFallback(const PTok& t) {
        const bool mayDeclare = !inHead_ && frames_.empty() && t.kind == TokenKind::Identifier &&
                                t.lineFirst && lineIndent_[t.line] > 0;
        if (!mayDeclare) {
            parseSimpleStatement();
            endOfStatement();
            return;
        }
        const Snapshot before = snapshot();
        parseSimpleStatement();
        endOfStatement();
        if (!failed_) return;
        restore(before);
        parseDeclaration(NodeKind::PropertyDefinition);
        endOfStatement();
        if (!failed_) return;
        restore(before);
        parseSimpleStatement();
        endOfStatement();
    }

    void checkStatementPlacement(const PTok& t) {
        if (closedTopFunction_ && frames_.empty() && t.lineFirst && lineIndent_[t.line] == 0 && !inHead_) {
            diagnose(
                t.offset, Severity::Error, "StatementAfterFunction",
                "The statement at line " + std::to_string(t.line) +
                    " comes after a local function; statements must come before the first local function.");
        }
    }

    // --- the whole text ---------------------------------------------------------------------------
    struct Snapshot {
        std::size_t pos, nodes, children, pending, diagnostics, frames;
        std::uint32_t lastEnd, minCode, orphanIndent, nesting;
        int parenDepth;
    };
    Snapshot snapshot() const {
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
    void restore(const Snapshot& s) {
        pos_ = s.pos;
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

    // One line's statements: up to and including the line end that ends the last of them.
    void parseLine() {
        for (;;) {
            const PTok& t = cur();
            if (t.eof) return;
            if (t.kind == TokenKind::LineEnd) {
                take();
                return;
            }
            if (t.kind == TokenKind::Punctuation && (t.op == Op::Semicolon || t.op == Op::Comma)) {
                take();
                continue;
            }
            parseStatement();
            if (failed_) {
                recover();
                continue;
            }
            if (failedHeader_) failedHeader_ = false;
        }
    }

    // An expression statement that only shows values, such as a row of a matrix whose opening line was
    // cut away, cannot tell where the text's statements begin.
    bool weakStatements(std::size_t fromPending, bool callsAreWeak) const {
        if (fromPending >= pending_.size()) return true;
        // Values separated by commas read like a row of a cell array or matrix.
        const bool severalExpressions =
            pending_.size() - fromPending > 1 &&
            std::all_of(
                pending_.begin() + static_cast<std::ptrdiff_t>(fromPending), pending_.end(),
                [&](std::uint32_t n) { return d_.tree.nodes[n].kind == NodeKind::ExpressionStatement; });
        if (severalExpressions) return true;
        // Only a call stands for itself; a bare value, an operation or a field may be a row of a bracket
        // whose opening line was cut away.
        for (std::size_t k = fromPending; k < pending_.size(); ++k) {
            const auto& statement = d_.tree.nodes[pending_[k]];
            if (statement.kind == NodeKind::Command) continue;
            if (statement.kind != NodeKind::ExpressionStatement) return false;
            const auto& expression = d_.tree.nodes[d_.tree.children[statement.firstChild]];
            if (!callsAreWeak &&
                (expression.kind == NodeKind::Index || expression.kind == NodeKind::CellIndex)) {
                return false;
            }
        }
        return true;
    }

    // What precedes the first complete statement is a cut edge: try each line in turn until one reads
    // as a complete statement.
    void skipCutEdge() {
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
                const bool firstLineHeader =
                    t.kind == TokenKind::Keyword && statementsParsed_ == statementsBefore + 1 &&
                    t.word != Word::Else && t.word != Word::Elseif && t.word != Word::Case &&
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

    void restoreAfterHead() { inHead_ = false; }

    // Whether lexing afresh from `anchor` (on `line`) reads the rest differently; the cut edge may have
    // misled the lexer's view of brackets and blocks, and with them of command words.
    bool relexingChanges(std::size_t anchor, std::uint32_t line) const {
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

    // Whether the functions of the text are closed by `end`. Matching `end`s to openers: in a text of
    // unclosed functions no `end` reaches a function and every function stays open; in a window of
    // closed ones some function is closed and few stay open (those the cut went through).
    void detectFunctionForm() {
        std::vector<Word> open;  // the opening word of each open construct
        open.reserve(64);
        int closedFunctions = 0;
        int brackets = 0;
        bool statementStart = true;
        bool balanced = true;
        std::uint32_t functionLine = 0;  // of a function header whose first body line is still to come
        for (std::size_t k = 0; k + 1 < toks_.size(); ++k) {
            const PTok& t = toks_[k];
            const bool start = statementStart && brackets == 0;
            statementStart = false;
            if (functionLine != 0 && t.lineFirst && t.line > functionLine && t.kind != TokenKind::LineEnd) {
                const std::uint32_t header = functionLine == 1 ? 0 : lineIndent_[functionLine];
                if (t.word != Word::End && lineIndent_[t.line] <= header) unindentedFunctionBody_ = true;
                functionLine = 0;
            }
            if (t.kind == TokenKind::LineEnd || t.op == Op::Semicolon || t.op == Op::Comma) {
                statementStart = t.kind == TokenKind::LineEnd || brackets == 0;
                if (t.kind == TokenKind::LineEnd) brackets = 0;
                continue;
            }
            if (t.kind == TokenKind::Punctuation) {
                if (t.op == Op::LParen || t.op == Op::LBracket || t.op == Op::LBrace) ++brackets;
                if ((t.op == Op::RParen || t.op == Op::RBracket || t.op == Op::RBrace) && brackets > 0)
                    --brackets;
                continue;
            }
            if (!start) continue;
            const Word inside = open.empty() ? Word::None : open.back();
            if (t.kind == TokenKind::Keyword) {
                if (lexer::opensBlock(t.word)) {
                    open.push_back(t.word);
                    if (t.word == Word::Function) functionLine = t.line;
                    statementStart = t.word == Word::Try;
                    continue;
                }
                switch (t.word) {
                    case Word::End:
                        // Line ends inside brackets were counted as statement ends above; only an
                        // `end` that stands alone closes a block (`f(` / `end)` indexes).
                        if (!isTerminator(toks_[k + 1])) break;
                        if (open.empty()) {
                            balanced = false;
                        } else {
                            closedFunctions += open.back() == Word::Function ? 1 : 0;
                            open.pop_back();
                        }
                        break;
                    case Word::Else:
                    case Word::Elseif:
                        balanced = balanced && inside == Word::If;
                        statementStart = t.word == Word::Else;
                        break;
                    case Word::Case:
                    case Word::Otherwise:
                        balanced = balanced && inside == Word::Switch;
                        statementStart = t.word == Word::Otherwise;
                        break;
                    case Word::Catch:
                        balanced = balanced && inside == Word::Try;
                        break;
                    default:
                        break;
                }
            } else if (t.kind == TokenKind::Identifier && t.word != Word::None) {
                const PTok& n = toks_[k + 1];
                if (n.kind == TokenKind::LineEnd || n.op == Op::LParen) open.push_back(Word::None);
            }
        }
        const auto stillOpen = static_cast<int>(std::count(open.begin(), open.end(), Word::Function));
        closedForm_ = closedFunctions > 0 && stillOpen <= closedFunctions + 1;
        balanced_ = balanced && open.empty();
    }

    bool parseFile() {
        const std::uint32_t root = mark();
        std::size_t firstCode = 0;
        while (toks_[firstCode].kind == TokenKind::LineEnd && !toks_[firstCode].eof)
            ++firstCode;
        const PTok& first = toks_[firstCode];
        const bool script = !(first.kind == TokenKind::Keyword &&
                              (first.word == Word::Function || first.word == Word::Classdef));
        const std::uint32_t body = mark();
        detectFunctionForm();
        if (knownAnchor_ > 0) {
            while (!toks_[pos_].eof && toks_[pos_].offset < knownAnchor_)
                ++pos_;
        } else {
            skipCutEdge();
            if (anchorPos_ > 0 && !toks_[anchorPos_].eof && toks_[anchorPos_].line > 1) {
                const std::size_t anchor = d_.lineStarts[toks_[anchorPos_].line - 1];
                if (relexingChanges(anchor, toks_[anchorPos_].line)) {
                    anchorOffset_ = anchor;
                    return false;
                }
            }
        }
        while (!cur().eof)
            parseLine();
        closeAtEnd();
        const auto lastCodeUnit = static_cast<std::uint32_t>(text_.empty() ? 0 : text_.size() - 1);
        if (script) finishRaw(NodeKind::Script, body, 1, 0, lastCodeUnit);
        d_.tree.root = finishRaw(NodeKind::File, root, 1, 0, lastCodeUnit);
        pending_.clear();
        return true;
    }

    // Constructs still open at the end of the text.
    void closeAtEnd() {
        // Least indentation of the statement lines from each line on; a cut last line does not count.
        const std::uint32_t lines = lineCount();
        std::vector<std::uint32_t> minFrom(lines + 2, kNoIndent);
        for (std::uint32_t l = lines; l >= 1; --l) {
            std::uint32_t here = kNoIndent;
            const bool cutLast = l == lines && !endsWithLineEnd_;
            if (!cutLast && (lineKind_[l] == 1 || lineKind_[l] == 3 || lineKind_[l] == 4))
                here = lineIndent_[l];
            minFrom[l] = std::min(here, minFrom[l + 1]);
        }
        while (!frames_.empty()) {
            Frame& f = frames_.back();
            const bool deeper =
                f.line + 1 > lines || minFrom[f.line + 1] == kNoIndent || minFrom[f.line + 1] > f.indent;
            if (isFunctionKind(f.kind)) {
                // A function that holds nested ones is of the closed form: its `end` was cut away, unless
                // its body, indented at first, later has code at or left of the header.
                const std::uint32_t header = f.line == 1 ? 0 : f.indent;
                if (!deeper && !f.holdsNested)
                    recordUnclosed(f);
                else if (closedForm_ && f.firstBody != kNoIndent && f.firstBody > header &&
                         minFrom[f.line + 1] <= header)
                    missingEnd(f);
            } else if (!deeper && f.line != 1) {
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

    AnalysisData& d_;
    std::u16string_view text_;
    std::vector<PTok> toks_;
    std::size_t pos_ = 0;
    std::vector<std::uint32_t> pending_;
    std::vector<std::uint32_t> prefixOperators_;
    std::vector<Frame> frames_;
    std::vector<std::uint32_t> lineIndent_;
    std::vector<std::uint8_t> lineKind_;  // 1 statement, 2 clause, 3 end, 4 function line
    bool endsWithLineEnd_ = false;
    std::uint32_t lastEnd_ = 0;
    bool failed_ = false;
    bool failedHeader_ = false;
    bool inHead_ = false;
    bool inMatrix_ = false;
    int inIndex_ = 0;
    int parenDepth_ = 0;
    std::uint32_t nesting_ = 0;
    std::uint32_t scope_ = 0;
    std::uint32_t orphanIndent_ = kNoIndent;
    std::uint32_t minCodeSinceOrphan_ = kNoIndent;
    bool closedTopFunction_ = false;
    bool closedForm_ = false;
    std::size_t knownAnchor_ = 0;
    std::size_t anchorOffset_ = 0;
    std::size_t anchorPos_ = 0;
    std::uint32_t lastEndIndent_ = kNoIndent;
    std::uint32_t firstFunctionEndOffset_ = 0;
    bool lastEndClosedFunction_ = false;
    bool lastEndClosedControl_ = false;  // a control block whose header is in the text
    // Every block of the text is closed in it, `end` for opener, so its structure needs no reading of
    // indentation.
    bool balanced_ = false;
    // Some function's first body line stands no deeper than its header.
    bool unindentedFunctionBody_ = false;
    std::uint32_t statementLine_ = 1;
    std::vector<std::uint32_t> openBrackets_;  // token indices of the open argument brackets
    bool lastEndAtMargin_ = false;
    int structuralLines_ = 0;
    int statementsParsed_ = 0;
    int closedFunctions_ = 0;
    int unclosedFunctions_ = 0;
    std::uint32_t firstUnclosedLine_ = 0;
    std::uint32_t firstUnclosedOffset_ = 0;
    std::uint32_t firstNestedLine_ = 0;
    std::uint32_t firstNestedOffset_ = 0;
    std::u16string_view firstNestedName_;
    NodeKind controlKind_ = NodeKind::Unknown;
    std::map<std::pair<std::uint32_t, std::u16string>, std::uint32_t> functionLines_;
};

}  // namespace

std::unique_ptr<AnalysisData> analyseText(const fl::ustring& text, TextReading reading) {
    (void)reading;  // TODO(whole-file reading): no edge reading when WholeFile
    if (text.size() > kMaxTextLength) {
        throw InvalidAnalysisException("The text is longer than " + std::to_string(kMaxTextLength) +
                                       " code units.");
    }
    auto data = std::make_unique<AnalysisData>();
    data->text = text;
    const std::size_t anchor = Parser(*data, 0).run({});
    if (anchor > 0) {
        auto again = std::make_unique<AnalysisData>();
        again->text = std::move(data->text);
        Parser(*again, anchor).run(std::move(data->tokens));
        return again;
    }
    return data;
}

}  // namespace ca::detail
