// The expression grammar: operators by precedence, postfix chains, primaries, brackets, handles.

#include "ca/parser/parser_internals.hpp"

namespace ca::detail::parsing {

void Parser::parseBinary(int minPrecedence) {
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

void Parser::parseUnary() {
    const std::uint32_t from = mark();
    const std::size_t base = takePrefixOperators();
    parsePower();
    finishPrefixOperators(from, base);
}

// Prefix operators wait on one stack shared by all levels, so that `- - - x` costs neither recursion
// nor an allocation per operand.
std::size_t Parser::takePrefixOperators() {
    const std::size_t base = prefixOperators_.size();
    while (isPrefixOperator(cur()))
        prefixOperators_.push_back(take());
    return base;
}

void Parser::finishPrefixOperators(std::uint32_t from, std::size_t base) {
    for (std::size_t k = prefixOperators_.size(); k-- > base && !failed_;)
        finishAt(NodeKind::UnaryOp, from, prefixOperators_[k]);
    prefixOperators_.resize(base);
}

void Parser::parsePower() {
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

void Parser::parsePostfix() {
    const std::uint32_t from = mark();
    const std::uint32_t firstTok = static_cast<std::uint32_t>(pos_);
    const bool identifier = cur().kind == TokenKind::Identifier;
    parsePrimary();
    bool chain = identifier;  // still in the dotted chain right after the name
    std::uint32_t chainEnd = 0;
    if (identifier && !failed_ && startsSuperclassCall()) {
        chain = false;
        parseSuperclassName(from);
    }
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

void Parser::parseArguments(NodeKind kind, std::uint32_t from) {
    const Op close = kind == NodeKind::Index ? Op::RParen : Op::RBrace;
    std::uint32_t open = take();
    enterNesting(toks_[open]);
    openBrackets_.push_back(open);
    ++parenDepth_;
    {
        SaveContext saved(*this, false, inIndex_ + 1);
        if (cur().op != close) {
            bool named = false;  // Name=value pairs come last
            for (;;) {
                if (kind == NodeKind::Index && startsNameValue()) {
                    named = true;
                    parseNameValue();
                } else if (kind == NodeKind::Index && startsIgnoredSignatureParameter()) {
                    leaf(NodeKind::Ignored);
                } else if (named && !cur().eof) {
                    error(cur(), "PositionalAfterNameValue",
                          "The argument at line " + std::to_string(cur().line) +
                              " follows a Name=value argument; positional arguments must come first.");
                } else {
                    parseExpression();
                }
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

// A line of a methods block outside its functions is a signature, `r = name(obj, ~)`: a `~` there
// stands for a parameter the method ignores.
bool Parser::startsIgnoredSignatureParameter() {
    const PTok& at = cur();
    const PTok& next = peek();
    const Frame* frame = top();
    return frame != nullptr && frame->kind == NodeKind::Methods && at.op == Op::Not &&
           at.kind == TokenKind::Operator && next.kind == TokenKind::Punctuation &&
           (next.op == Op::Comma || next.op == Op::RParen);
}

// `name@Class(args)`: a superclass's method or constructor, read as a handle of two names that the
// arguments (if any) index. The `@` touches both names.
bool Parser::startsSuperclassCall() {
    const PTok& at = cur();
    const PTok& name = peek();
    return at.op == Op::At && at.kind != TokenKind::Invalid && !at.spaceBefore && !at.lineFirst &&
           name.kind == TokenKind::Identifier && !name.spaceBefore && !pending_.empty() &&
           d_.tree.nodes[pending_.back()].kind == NodeKind::Identifier;
}

void Parser::parseSuperclassName(std::uint32_t from) {
    take();
    dottedOrIdentifier(Role::Other);
    finishFrom(NodeKind::FunctionHandle, from);
}

// `Name=value` among a call's arguments; the name is no variable.
bool Parser::startsNameValue() {
    const PTok& name = cur();
    const PTok& assign = peekPastLineEnds(1);
    return name.kind == TokenKind::Identifier && assign.kind == TokenKind::Operator &&
           assign.op == Op::Assign;
}

void Parser::parseNameValue() {
    const std::uint32_t from = mark();
    d_.roles[cur().scan] = Role::Other;
    leaf(NodeKind::Identifier);
    take();
    parseExpression();
    if (!failed_) finishFrom(NodeKind::Assignment, from);
}

// A line inside `[]` or `{}` that can only be a statement: a block keyword or an assignment. The bracket
// was never closed.
bool Parser::startsStatementInside(const PTok& t) const {
    if (t.kind == TokenKind::Keyword) return t.word != Word::End;
    const PTok& next = peek();
    return t.kind == TokenKind::Identifier && next.kind == TokenKind::Operator && next.op == Op::Assign;
}

void Parser::unclosed(const PTok& open, const PTok& at) {
    if (at.eof) {
        if (wholeFile()) {
            error(at, "UnbalancedBracket",
                  describe(open) + " at line " + std::to_string(open.line) + " is not closed.");
        }
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
          describe(open) + " at line " + std::to_string(open.line) + " is not closed before " + describe(at) +
              " at line " + std::to_string(at.line) + ".");
}

void Parser::parsePrimary() {
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
                error(t, "MisplacedEnd",
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
        // The text ends right after a line that continues: the rest was cut away.
        if (!wholeFile() && peek().eof) {
            failed_ = true;
            return;
        }
        error(t, "IncompleteStatement",
              "The statement at line " + std::to_string(t.line) + " ends before its expression.");
        return;
    }
    unexpected(t);
}

void Parser::parseHandle() {
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

void Parser::parseMatrix(NodeKind kind, Op close) {
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
                unclosed(toks_[open], t);
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
            if (t.lineFirst && startsStatementInside(t)) {
                unclosed(toks_[open], t);
                resumeAt_ = pos_;
                break;
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

}  // namespace ca::detail::parsing
