// Control blocks: their headers, clauses and `end`s, and the frames of open constructs.

#include "ca/parser/parser_internals.hpp"

namespace ca::detail::parsing {

void Parser::pushFrame(NodeKind kind, std::uint32_t from, std::uint32_t headerTok) {
    const PTok& h = toks_[headerTok];
    if (frames_.size() + 1 > kMaxNesting) {
        throw InvalidAnalysisException("The text nests blocks deeper than " + std::to_string(kMaxNesting) +
                                       " levels (line " + std::to_string(h.line) + ").");
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

void Parser::finishClause(Frame& f) {
    if (f.clause == NodeKind::Unknown) return;
    finishAt(f.clause, f.clauseMark, f.clauseTok);
    f.clause = NodeKind::Unknown;
}

// Closes the innermost construct; its node ends at the last token read.
void Parser::popFrame() {
    Frame f = frames_.back();
    finishClause(frames_.back());
    finishAt(f.kind, f.mark, f.headerTok);
    frames_.pop_back();
    nesting_ = static_cast<std::uint32_t>(frames_.size());
    scope_ = f.outerScope;
    if (Frame* parent = top()) parent->minBody = std::min({parent->minBody, f.minBody, f.indent});
}

void Parser::missingEnd(const Frame& f) {
    const PTok& h = toks_[f.headerTok];
    diagnose(h.offset, Severity::Error, "MissingEnd",
             std::string("'") + constructWord(f.kind) + "' at line " + std::to_string(f.line) +
                 " has no matching 'end'.");
}

void Parser::noteLine(const PTok& t, std::uint8_t kind) {
    if (!t.lineFirst) return;
    if (kind != 3) lastEndIndent_ = kNoIndent;
    lineKind_[t.line] = kind;
    const std::uint32_t indent = lineIndent_[t.line];
    if (kind != 2 && kind != 3 && t.line > 1) minCodeSinceOrphan_ = std::min(minCodeSinceOrphan_, indent);
    if (Frame* f = top(); f && kind == 1) {
        f->minBody = std::min(f->minBody, indent);
        if (f->firstBody == kNoIndent) f->firstBody = indent;
        f->maxBody = std::max(f->maxBody, indent);
    }
}

void Parser::handleEnd() {
    ++structuralLines_;
    const PTok& t = cur();
    const std::uint32_t indent = t.lineFirst ? lineIndent_[t.line] : kNoIndent;
    noteLine(t, 3);
    // Where every block is closed in the text, each `end` closes the innermost open construct, however
    // far left or right it stands; unless it stands left of a construct whose body is no deeper than
    // its header, or exactly under an outer construct's header: then the construct was never closed.
    // (Only where constructs may have been cut away before the text: there the `end` may be theirs.)
    if (balanced_ && headCut_ && indent != kNoIndent && leftOfUnclosedLooking(indent)) balanced_ = false;
    if (indent != kNoIndent && !balanced_) {
        while (Frame* f = top()) {
            // A construct whose header was cut away may have stood further left than its clause.
            if (f->indent <= indent || isPhantom(*f)) break;
            // Between the headers of a construct and the one around it, the `end` is the inner one's
            // when the outer body goes on after it up to an `end` under the outer header (a sloppy `end`
            // left of its header).
            const Frame* outer = frames_.size() > 1 ? &frames_[frames_.size() - 2] : nullptr;
            if (outer != nullptr && outer->line > 1 && outer->indent < indent &&
                outerBodyGoesOnToItsEnd(t.line, outer->indent))
                break;
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
        if (closesMarginFunction(t)) marginFunctionClosed_ = true;
        // The first line may be cut anywhere, so its indentation tells nothing.
        if (t.line > 1) orphanIndent_ = lineIndent_[t.line];
        // Two `end`s at the left margin in a row may close a function and the one around it; a third
        // has nothing left to close. (An `end` on the first line may be the tail of an indented one.)
        const std::uint32_t own = t.line > 1 ? lineIndent_[t.line] : kNoIndent;
        lastEndAtMargin_ = lastEndIndent_ == 0 && own == 0;
        lastEndIndent_ = own;
        lastEndClosedFunction_ = false;
        lastEndClosedControl_ = false;
        minCodeSinceOrphan_ = kNoIndent;
        endOfStatement();
        return;
    }
    // An `end` right of its construct's header, at or left of its body, closes it unless the body goes
    // on after it (the next line stands right of the header) or another `end` follows at the header's
    // column (a reply that repeats the `end` below the cursor; one further left closes an outer
    // construct); a cut-away switch ends left of its cases.
    const bool tooFarRight =
        f->phantomSwitch ? indent > f->caseIndent
                         : indent > f->indent && f->minBody <= indent && bodyGoesOnAfter(t.line, f->indent);
    if (indent != kNoIndent && tooFarRight && !balanced_) {
        error(t, "EndWithoutBlock", "'end' at line " + std::to_string(t.line) + " has no matching block.");
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
    noteFlatBlock(closed);
    if (lastEndClosedControl_ && closed.minBody != kNoIndent)
        ++(closed.minBody > closed.indent ? indentedBodies_ : flatBodies_);
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

bool Parser::bodyGoesOnAfter(std::uint32_t line, std::uint32_t header) const {
    std::size_t k = pos_;
    while (!toks_[k].eof && (toks_[k].line == line || toks_[k].kind == TokenKind::LineEnd))
        ++k;
    const PTok& next = toks_[k];
    if (next.eof || !next.lineFirst) return false;
    const bool end = next.kind == TokenKind::Keyword && next.word == Word::End;
    return lineIndent_[next.line] > header || (end && lineIndent_[next.line] == header);
}

// The line after `line` is a statement right of the `outer` column, and the first line after it at or left
// of that column, within 200 lines (so that many such `end`s stay quick), is an `end` at it.
bool Parser::outerBodyGoesOnToItsEnd(std::uint32_t line, std::uint32_t outer) const {
    bool first = true;
    for (std::size_t k = pos_; !toks_[k].eof; ++k) {
        const PTok& next = toks_[k];
        if (!next.lineFirst || next.line == line || next.kind == TokenKind::LineEnd) continue;
        if (next.line > line + 200) return false;
        const std::uint32_t indent = lineIndent_[next.line];
        const bool end = next.kind == TokenKind::Keyword && next.word == Word::End;
        if (first && (indent <= outer || next.kind == TokenKind::Keyword)) return false;
        first = false;
        if (indent <= outer) return end && indent == outer;
    }
    return false;
}

bool Parser::leftOfUnclosedLooking(std::uint32_t indent) const {
    if (frames_.empty() || indent >= frames_.back().indent) return false;
    const Frame& inner = frames_.back();
    if (inner.minBody <= inner.indent && inner.line > 1) return true;
    return std::any_of(frames_.begin(), frames_.end() - 1,
                       [&](const Frame& f) { return f.indent == indent; });
}

// A condition or loop none of whose own lines stands right of its header, closed by an `end` at the column
// of the function around it, in a text that indented every body it closed so far: the `end` may have been
// the function's. Kept until that function closes; a sibling function line then shows the block open.
void Parser::noteFlatBlock(const Frame& closed) {
    const Frame* outer = top();
    if (frames_.size() < flatBlockDepth_) flatBlockDepth_ = 0;  // its function closed
    if (wholeFile() || !lastEndClosedControl_ || outer == nullptr || !isFunctionKind(outer->kind) ||
        indentedBodies_ < 3 || flatBodies_ > 0 || closed.firstBody == kNoIndent ||
        closed.maxBody > closed.indent || closed.indent != outer->indent || closed.line == 1)
        return;
    flatBlock_ = closed;
    flatBlockDepth_ = frames_.size();
}

bool Parser::isPhantom(const Frame& f) const {
    Word w = toks_[f.headerTok].word;
    return w == Word::Else || w == Word::Elseif || w == Word::Case || w == Word::Otherwise ||
           w == Word::Catch;
}

void Parser::handleClause() {
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
        // With no construct of its kind at or left of it and nothing cut away to take it, a clause left
        // of its header is a sloppy line of the innermost one.
        const bool takenFurtherLeft =
            orphanAccepted(t) || inHead_ || std::any_of(frames_.begin(), frames_.end(), [&](const Frame& f) {
                return f.kind == construct && (f.phantomSwitch || f.indent <= indent);
            });
        while (Frame* f = top()) {
            if (f->kind == construct) {
                if (f->phantomSwitch || f->indent <= indent || !takenFurtherLeft) break;
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
        endOfStatement();
    } else if (w == Word::Catch && cur().kind == TokenKind::Identifier && !cur().lineFirst &&
               isTerminator(peek())) {
        addVariable(cur());
        leaf(NodeKind::Identifier);
    }
}

void Parser::misplacedClause(const PTok& t) {
    const char* owner = (t.word == Word::Else || t.word == Word::Elseif)      ? "an 'if'"
                        : (t.word == Word::Case || t.word == Word::Otherwise) ? "a 'switch'"
                                                                              : "a 'try'";
    error(t, "MisplacedClause",
          describe(t) + " at line " + std::to_string(t.line) + " is not inside " + owner + " block.");
}

void Parser::openControl() {
    const PTok& t = cur();
    noteLine(t, 1);
    if (t.lineFirst) controlHeaderLine_[t.line] = 1;
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
    // A statement may follow the header only after `,` or `;`.
    if (kind != NodeKind::Try && kind != NodeKind::Spmd) endOfStatement();
    if (failed_) {
        // Keep the construct so that its `end` still finds it.
        pending_.resize(from);
        failedHeader_ = true;
    }
    pushFrame(kind, from, header);
}

void Parser::parseLoopHeader(NodeKind kind) {
    const bool parenthesized = cur().op == Op::LParen && peekPastLineEnds(1).kind == TokenKind::Identifier &&
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

void Parser::noteStatementInFunction() {
    for (auto it = frames_.rbegin(); it != frames_.rend(); ++it) {
        if (isFunctionKind(it->kind)) {
            it->sawStatement = true;
            return;
        }
    }
}

}  // namespace ca::detail::parsing
