#pragma once

// The parser's shared state and helpers: its member functions are defined in the files of this
// folder, one concern each (tokens, expressions, statements, blocks, functions and classes, cut edges).

#include <algorithm>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ca/analysis_data.hpp"
#include "ca/invalid_analysis_exception.hpp"
#include "ca/lexer/operator_classes.hpp"
#include "ca/lexer/scan.hpp"
#include "ca/text_reading.hpp"

namespace ca::detail::parsing {

using lexer::Op;
using lexer::ScanToken;
using lexer::TokenKind;
using lexer::Word;
using lf::astapi::NodeKind;

inline constexpr std::uint32_t kNoIndent = std::numeric_limits<std::uint32_t>::max();

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

inline bool isNewline(const PTok& t) {
    return t.kind == TokenKind::LineEnd && !t.eof;
}

inline int binaryPrecedence(Op op) {
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

inline bool isControl(NodeKind k) {
    return k == NodeKind::If || k == NodeKind::For || k == NodeKind::While || k == NodeKind::Switch ||
           k == NodeKind::Try || k == NodeKind::Parfor || k == NodeKind::Spmd;
}
inline bool isFunctionKind(NodeKind k) {
    return k == NodeKind::Function || k == NodeKind::MethodDefinition;
}
inline bool isLoop(NodeKind k) {
    return k == NodeKind::For || k == NodeKind::While || k == NodeKind::Parfor;
}

inline const char* constructWord(NodeKind k) {
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
    std::uint32_t maxBody = 0;            // greatest indentation of its own statement lines
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
inline bool isRuleViolation(std::string_view id) {
    static constexpr std::string_view kRules[] = {
        "BreakOutsideLoop",  "ContinueOutsideLoop",     "FunctionInControlBlock", "MixedFunctionForms",
        "DuplicateFunction", "NestedFunctionNotClosed", "StatementAfterFunction", "ArgumentsAfterStatements"};
    return std::find(std::begin(kRules), std::end(kRules), id) != std::end(kRules);
}

class Parser {
  public:
    // `anchor`: where the complete statements begin, when an earlier run found a cut edge before it;
    // the text from there on is lexed afresh, as the cut edge may have misled the lexer.
    Parser(AnalysisData& d, std::size_t anchor, TextReading reading)
        : d_(d), text_(d.text), knownAnchor_(anchor), reading_(reading) {
        // Room for the usual depths up front: these grow and shrink with every statement.
        pending_.reserve(64);
        prefixOperators_.reserve(16);
        frames_.reserve(16);
    }

    // Returns the offset of the line where the complete statements begin, when a cut edge precedes it
    // and this run was not told the anchor yet; 0 otherwise (the analysis is then complete).
    std::size_t run(std::vector<ScanToken> firstTokens);

  private:
    std::uint32_t lineCount() const { return static_cast<std::uint32_t>(d_.lineStarts.size()); }

    void computeLines();
    std::uint32_t lineOf(std::size_t offset) const;
    void buildTokens();
    // Implicit continuations: a line ending in an operator or an expression keyword, or followed by a
    // line that starts (with `next`) with an operator that cannot begin an expression.
    bool continuesAcrossLineEnd(const PTok& next) const;
    void markContent(const ScanToken& s, std::uint8_t bit);
    // The token at the reading position; invalid characters are reported and skipped, and line ends
    // inside parentheses are passed over.
    const PTok& cur() {
        const PTok& t = toks_[pos_];
        if (t.kind != TokenKind::Invalid && (parenDepth_ == 0 || !isNewline(t))) return t;
        return skipToCurrent();
    }
    [[gnu::noinline]] const PTok& skipToCurrent();
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
    // Where the host knows the text is a whole file: no cut edges, nothing cut at the end.
    bool wholeFile() const { return reading_ == TextReading::WholeFile; }
    std::u16string_view textOf(const PTok& t) const {
        return std::u16string_view(text_).substr(t.offset, t.end - t.offset);
    }
    std::string describe(const PTok& t) const;
    void diagnose(std::uint32_t offset, Severity severity, const char* id, std::string text);
    void warn(std::uint32_t offset, const char* id, std::string text);
    void error(const PTok& at, const char* id, std::string text);
    // A statement that runs into the end of the text was cut there: no error, but nothing more to read.
    void unexpected(const PTok& t);
    bool expect(Op op);
    void finishDiagnostics();

    std::uint32_t mark() const { return static_cast<std::uint32_t>(pending_.size()); }

    std::uint32_t finishRaw(NodeKind kind, std::uint32_t from, std::uint32_t line, std::uint32_t start,
                            std::uint32_t closing);
    std::uint32_t closingNow() const { return lastEnd_ > 0 ? lastEnd_ - 1 : 0; }
    std::uint32_t finishAt(NodeKind kind, std::uint32_t from, std::uint32_t tok);
    std::uint32_t finishFrom(NodeKind kind, std::uint32_t from);
    std::uint32_t leaf(NodeKind kind);
    // A dotted name (pkg.fn, get.Prop) as one leaf; the tokens must touch.
    std::uint32_t dottedOrIdentifier(Role role);
    void enterNesting(const PTok& at);

    void parseExpression() { parseBinary(1); }

    void parseBinary(int minPrecedence);

    bool isPrefixOperator(const PTok& t) const {
        return t.kind == TokenKind::Operator && (t.op == Op::Plus || t.op == Op::Minus || t.op == Op::Not);
    }

    void parseUnary();
    // Prefix operators wait on one stack shared by all levels, so that `- - - x` costs neither recursion
    // nor an allocation per operand.
    std::size_t takePrefixOperators();
    void finishPrefixOperators(std::uint32_t from, std::size_t base);
    void parsePower();
    void parsePostfix();

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

    void parseArguments(NodeKind kind, std::uint32_t from);
    bool startsStatementInside(const PTok& t) const;
    bool startsSuperclassCall();
    void parseSuperclassName(std::uint32_t from);
    bool startsNameValue();
    void parseNameValue();
    void unclosed(const PTok& open, const PTok& at);
    void parsePrimary();
    void parseHandle();
    void parseMatrix(NodeKind kind, Op close);

    bool isTerminator(const PTok& t) const {
        return t.kind == TokenKind::LineEnd ||
               (t.kind == TokenKind::Punctuation && (t.op == Op::Semicolon || t.op == Op::Comma));
    }

    void endOfStatement();
    // After an error the rest of the line is skipped; brackets opened in it no longer count.
    void recover();
    // An assignment in a function, for the warning about values that are never used.
    void noteAssignment(const PTok& t, AssignmentKind kind);
    void addVariable(const PTok& t);
    bool validTarget(std::uint32_t node) const;
    void parseSimpleStatement();
    bool isMultiAssignment() const;
    void parseMultiAssignment();

    Frame* top() { return frames_.empty() ? nullptr : &frames_.back(); }

    void pushFrame(NodeKind kind, std::uint32_t from, std::uint32_t headerTok);
    void finishClause(Frame& f);
    // Closes the innermost construct; its node ends at the last token read.
    void popFrame();
    void missingEnd(const Frame& f);
    void noteLine(const PTok& t, std::uint8_t kind);
    bool headWasCut(std::size_t firstCode) const;
    bool nextCodeLeftOf(std::uint32_t line, std::uint32_t indent) const;
    bool nextCodeRightOf(std::uint32_t line, std::uint32_t indent) const;
    bool nextCodeIsFunctionLine(std::uint32_t line) const;
    bool clauseWordCutShort(const PTok& t) const;
    bool readsFunctionOnlyNames() const;
    bool holdsTopLevelComma(std::uint32_t open) const;
    bool closesMarginFunction(const PTok& t) const;
    bool orphanAccepted(const PTok& t) const;
    void handleEnd();
    bool bodyGoesOnAfter(std::uint32_t line, std::uint32_t header) const;
    bool outerBodyGoesOnToItsEnd(std::uint32_t line, std::uint32_t outer) const;
    bool leftOfUnclosedLooking(std::uint32_t indent) const;
    void noteFlatBlock(const Frame& closed);
    bool isPhantom(const Frame& f) const;
    void handleClause();
    void misplacedClause(const PTok& t);
    void openControl();
    void parseLoopHeader(NodeKind kind);
    void noteStatementInFunction();
    void checkLoopStatement(const PTok& t);
    void loopError(const PTok& t);
    void parseFunction();
    bool mayDefineEndMethod();
    void recordUnclosed(const Frame& f);
    std::u16string_view parseFunctionHeader();
    void parseClassdef();
    void parseAttributes();
    bool contextualBlockAllowed(Word w, const PTok& t);
    const PTok* signatureParameterThatIsNoName() const;
    bool startsIgnoredSignatureParameter();
    void openContextualBlock(Word w);
    // Expressions separated by commas up to `close`, after the opening bracket `open`; `indexDepth` tells
    // whether `end` and a lone `:` may stand among them.
    void parseExpressionItems(const PTok& open, Op close, int indexDepth);
    // `name (dims) Class {validators} = default`, every part after the name optional.
    void parseDeclaration(NodeKind kind);
    void parseEnumerationMember();
    void parseStatement();
    // Lines of a properties or arguments block whose header was cut away read as declarations.
    void parseStatementWithFallback(const PTok& t);
    void checkStatementPlacement(const PTok& t);

    struct Snapshot {
        std::size_t pos, nodes, children, pending, diagnostics, frames;
        std::uint32_t lastEnd, minCode, orphanIndent, nesting;
        int parenDepth;
    };
    Snapshot snapshot() const;
    void restore(const Snapshot& s);
    // One line's statements: up to and including the line end that ends the last of them.
    void parseLine();
    // An expression statement that only shows values, such as a row of a matrix whose opening line was
    // cut away, cannot tell where the text's statements begin.
    bool isLeadingCommand(const ca::astapi::NodeRecord& command) const;
    bool weakStatements(std::size_t fromPending, bool callsAreWeak) const;
    bool rowsOfCutBracket(std::size_t from) const;
    std::uint8_t firstCodeLineKind(std::uint32_t line) const;
    // What precedes the first complete statement is a cut edge: try each line in turn until one reads
    // as a complete statement.
    void skipCutEdge();

    void restoreAfterHead() { inHead_ = false; }

    // Whether lexing afresh from `anchor` (on `line`) reads the rest differently; the cut edge may have
    // misled the lexer's view of brackets and blocks, and with them of command words.
    bool relexingChanges(std::size_t anchor, std::uint32_t line) const;
    // Whether the functions of the text are closed by `end`. Matching `end`s to openers: in a text of
    // unclosed functions no `end` reaches a function and every function stays open; in a window of
    // closed ones some function is closed and few stay open (those the cut went through).
    void detectFunctionForm();
    bool parseFile();
    // Constructs still open at the end of the text.
    void closeAtEnd();
    AnalysisData& d_;
    std::u16string_view text_;
    std::vector<PTok> toks_;
    std::size_t pos_ = 0;
    std::vector<std::uint32_t> pending_;
    std::vector<std::uint32_t> prefixOperators_;
    std::vector<Frame> frames_;
    std::vector<std::uint32_t> lineIndent_;
    std::vector<std::uint8_t> lineKind_;
    std::vector<std::uint8_t> controlHeaderLine_;  // lines that open a control block  // 1 statement, 2
                                                   // clause, 3 end, 4 function line
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
    TextReading reading_ = TextReading::Fragment;
    std::size_t resumeAt_ = 0;
    std::size_t statementStart_ = 0;  // token index where the statement being read began  // where to read on
                                      // after an error, when not at the next line
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
    bool indentedFunctionBody_ = false;   // a function line at the margin with a deeper body
    mutable int functionOnlyNames_ = -1;  // whether the text reads a name only a function has; -1 unknown
    bool headCut_ = false;                // constructs may have been cut away before the text
    bool marginFunctionClosed_ = false;   // an `end` at the margin closed a function cut away before
    std::uint32_t statementLine_ = 1;
    std::vector<std::uint32_t> openBrackets_;  // token indices of the open argument brackets
    bool lastEndAtMargin_ = false;
    // Conditions and loops closed in the text whose bodies stand right of their headers, and those whose
    // bodies do not (a sloppy layout).
    int indentedBodies_ = 0;
    int flatBodies_ = 0;
    Frame flatBlock_{};               // see noteFlatBlock
    std::size_t flatBlockDepth_ = 0;  // frames open when it closed, 0 for none
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

}  // namespace ca::detail::parsing
