// Statements: commands, assignments, expression statements and the dispatch of a statement by its
// first token.

#include <algorithm>

#include "ca/parser/parser_internals.hpp"

namespace ca::detail::parsing {

void Parser::endOfStatement() {
    if (failed_) return;
    const PTok& t = cur();
    if (isTerminator(t)) return;
    unexpected(t);
}

// After an error the rest of the line is skipped; brackets opened in it no longer count.
void Parser::recover() {
    if (!failed_) return;
    failed_ = false;
    parenDepth_ = 0;
    nesting_ = static_cast<std::uint32_t>(frames_.size());
    inMatrix_ = false;
    inIndex_ = 0;
    // Only forward: the line that showed a bracket was never closed is read as a statement.
    const std::size_t resume = resumeAt_;
    resumeAt_ = 0;
    if (resume > statementStart_) {
        pos_ = resume;
        return;
    }
    while (!toks_[pos_].eof && toks_[pos_].kind != TokenKind::LineEnd)
        ++pos_;
}

// An assignment in a function, for the warning about values that are never used.
void Parser::noteAssignment(const PTok& t, AssignmentKind kind) {
    d_.assignments.push_back(Assignment{t.scan, scope_, kind});
}

void Parser::addVariable(const PTok& t) {
    d_.roles[t.scan] = Role::Variable;
    d_.scopeVariables[scope_].insert(textOf(t));
}

bool Parser::validTarget(std::uint32_t node) const {
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

void Parser::parseSimpleStatement() {
    const std::uint32_t from = mark();
    const std::uint32_t first = static_cast<std::uint32_t>(pos_);
    const PTok& t = cur();
    if (t.kind == TokenKind::CommandWord) {  // a shell escape
        leaf(NodeKind::CommandWord);
        finishAt(NodeKind::Command, from, first);
        return;
    }
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
        error(t, "MisplacedTilde",
              "'~' at line " + std::to_string(t.line) + " can only stand for an ignored output or input.");
        return;
    }
    parseExpression();
    if (failed_) return;
    const PTok& next = cur();
    if (next.kind == TokenKind::Operator && next.op == Op::Assign) {
        if (!validTarget(pending_.back())) {
            error(next, "InvalidAssignmentTarget",
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

bool Parser::isMultiAssignment() const {
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

void Parser::parseMultiAssignment() {
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
                          "'~' at line " + std::to_string(t.line) + " can only stand for an ignored output.");
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

void Parser::checkLoopStatement(const PTok& t) {
    for (auto it = frames_.rbegin(); it != frames_.rend(); ++it) {
        if (isLoop(it->kind)) return;
        if (isFunctionKind(it->kind)) {
            loopError(t);
            return;
        }
    }
    // No loop and no function in the text: the loop may have been cut away, unless the statement
    // or its outermost block stands at the left margin.
    if (wholeFile()) return loopError(t);
    if (!frames_.empty() && frames_.front().line == 1) return;  // its header line may be cut
    const std::uint32_t outer = frames_.empty() ? lineIndent_[t.line] : frames_.front().indent;
    if (outer == 0) loopError(t);
}

void Parser::loopError(const PTok& t) {
    const std::string word = t.word == Word::Break ? "break" : "continue";
    error(t, word == "break" ? "BreakOutsideLoop" : "ContinueOutsideLoop",
          "'" + word + "' at line " + std::to_string(t.line) + " is not inside a loop.");
}

// A window cut in the middle of a name may end in `case` (of `cases`, `caseId`): alone on the last line,
// with nothing after it and no `switch` open, it is the start of that name.
bool Parser::clauseWordCutShort(const PTok& t) const {
    if (t.word != Word::Case || wholeFile() || endsWithLineEnd_ || !t.lineFirst || t.end != text_.size())
        return false;
    return std::none_of(frames_.begin(), frames_.end(),
                        [](const Frame& f) { return f.kind == NodeKind::Switch; });
}

void Parser::parseStatement() {
    ++statementsParsed_;
    const PTok& t = cur();
    statementLine_ = t.line;
    statementStart_ = pos_;
    if (t.kind == TokenKind::Keyword && clauseWordCutShort(t)) {
        toks_[pos_].kind = d_.tokens[t.scan].kind = TokenKind::Identifier;
        toks_[pos_].word = d_.tokens[t.scan].word = Word::None;
    }
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
        case NodeKind::Methods:
            if (const PTok* wrong = signatureParameterThatIsNoName()) {
                unexpected(*wrong);
                return;
            }
            break;
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
void Parser::parseStatementWithFallback(const PTok& t) {
    const bool mayDeclare = !wholeFile() && !inHead_ && frames_.empty() && t.kind == TokenKind::Identifier &&
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

void Parser::checkStatementPlacement(const PTok& t) {
    if (closedTopFunction_ && frames_.empty() && t.lineFirst && lineIndent_[t.line] == 0 && !inHead_) {
        diagnose(t.offset, Severity::Error, "StatementAfterFunction",
                 "The statement at line " + std::to_string(t.line) +
                     " comes after a local function; statements must come before the first local function.");
    }
}

// One line's statements: up to and including the line end that ends the last of them.
void Parser::parseLine() {
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

}  // namespace ca::detail::parsing
