// Functions, classes and the blocks that only stand inside them (properties, methods, events,
// enumeration, arguments), and how the text's functions are closed.

#include "ca/parser/parser_internals.hpp"
#include "fl/i18n.hpp"

namespace ca::detail::parsing {

void Parser::parseFunction() {
    const PTok& t = cur();
    const std::uint32_t indent = t.lineFirst ? lineIndent_[t.line] : 0;
    noteLine(t, 4);
    // Unclosed control blocks at or right of the function line end here.
    while (Frame* f = top()) {
        if (balanced_ || !isControl(f->kind) || f->indent < indent) break;
        missingEnd(*f);
        popFrame();
    }
    // A function line at the column of the open function, its body not indented, after a block with an
    // unindented body took an `end` at that column: a sibling, and the block was never closed.
    if (flatBlockDepth_ != 0 && flatBlockDepth_ == frames_.size() && closedForm_ &&
        isFunctionKind(top()->kind) && top()->indent == indent && !nextCodeRightOf(t.line, indent)) {
        missingEnd(flatBlock_);
        popFrame();
    }
    flatBlockDepth_ = 0;
    // In a text whose functions have no `end`, a function line ends the open function whatever its
    // indentation; with `end`s, a function inside another one is nested even at the same indentation.
    while (Frame* f = top()) {
        if (closedForm_ || !isFunctionKind(f->kind)) break;
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

// Inside `methods`, or in a fragment where the class around the function line was cut away.
bool Parser::mayDefineEndMethod() {
    const Frame* f = top();
    if (f != nullptr) return f->kind == NodeKind::Methods;
    return reading_ == TextReading::Fragment;
}

void Parser::recordUnclosed(const Frame& f) {
    ++unclosedFunctions_;
    if (firstUnclosedLine_ == 0) {
        firstUnclosedLine_ = f.line;
        firstUnclosedOffset_ = toks_[f.headerTok].offset;
    }
}

std::u16string_view Parser::parseFunctionHeader() {
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
    // A class may define what `end` means in its indexes: only as a method is `end` a name.
    const bool endMethod = n.kind == TokenKind::Keyword && n.word == Word::End && peek().op == Op::LParen &&
                           !peek().spaceBefore && mayDefineEndMethod();
    if (n.kind != TokenKind::Identifier && !endMethod) {
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

void Parser::parseClassdef() {
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

void Parser::parseAttributes() {
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

bool Parser::contextualBlockAllowed(Word w, const PTok& t) {
    const PTok& next = peek();
    bool headerShape = next.kind == TokenKind::LineEnd || next.op == Op::LParen || next.op == Op::Semicolon ||
                       next.op == Op::Comma;
    if (!headerShape) return false;
    Frame* f = top();
    if (f == nullptr)
        return !wholeFile() && t.lineFirst &&
               (lineIndent_[t.line] > 0 || nextCodeRightOf(t.line, 0) ||
                (w == Word::Methods && nextCodeIsFunctionLine(t.line)));
    if (w == Word::Arguments) return isFunctionKind(f->kind) && f->clause == NodeKind::Unknown;
    return f->kind == NodeKind::ClassDef;
}

// A line of a methods block outside its functions is a signature, `[o1, o2] = name(a, ~)`, whose
// parameters are names or `~`: `methods (Access = private)` there is neither a block nor a signature.
// Returns the first token of the parameter list that breaks that, if the line has the signature's shape.
const PTok* Parser::signatureParameterThatIsNoName() const {
    std::size_t k = pos_;
    auto at = [&](std::size_t i) -> const PTok& { return toks_[std::min(i, toks_.size() - 1)]; };
    auto is = [&](std::size_t i, Op op) { return at(i).kind != TokenKind::Invalid && at(i).op == op; };
    auto skipLineEnds = [&] {
        while (isNewline(at(k)))
            ++k;
    };
    if (is(k, Op::LBracket)) {
        while (!is(k, Op::RBracket)) {
            if (at(k).kind == TokenKind::LineEnd) return nullptr;
            ++k;
        }
        if (!is(++k, Op::Assign)) return nullptr;
        ++k;
    } else if (at(k).kind == TokenKind::Identifier && is(k + 1, Op::Assign)) {
        k += 2;
    }
    if (at(k).kind != TokenKind::Identifier) return nullptr;
    ++k;
    while (is(k, Op::Dot) && at(k + 1).kind == TokenKind::Identifier)
        k += 2;
    if (!is(k, Op::LParen)) return nullptr;
    ++k;
    skipLineEnds();
    if (is(k, Op::RParen)) return nullptr;
    for (;;) {
        if (at(k).eof) return nullptr;
        if (at(k).kind != TokenKind::Identifier && !is(k, Op::Not)) return &at(k);
        ++k;
        skipLineEnds();
        if (is(k, Op::RParen) || at(k).eof) return nullptr;
        if (!is(k, Op::Comma)) return &at(k);
        ++k;
        skipLineEnds();
    }
}

void Parser::openContextualBlock(Word w) {
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
void Parser::parseExpressionItems(const PTok& open, Op close, int indexDepth) {
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
void Parser::parseDeclaration(NodeKind kind) {
    const std::uint32_t from = mark();
    const std::uint32_t first = static_cast<std::uint32_t>(pos_);
    const PTok& n = cur();
    if (n.kind != TokenKind::Identifier) {
        unexpected(n);
        return;
    }
    if (kind == NodeKind::ArgumentDeclaration) addVariable(n);
    dottedOrIdentifier(kind == NodeKind::ArgumentDeclaration ? Role::Variable : Role::Other);
    // `opts.?ClassName`: name-value arguments taken from a class's properties.
    // (A cut-away `arguments` block reads as declarations of properties, so both kinds allow it.)
    if (cur().op == Op::Dot && peek().op == Op::Question && !peek().spaceBefore) {
        take();
        parsePrimary();
        if (failed_) return;
        finishFrom(NodeKind::Field, from);
    }
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

void Parser::parseEnumerationMember() {
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

// Whether the functions of the text are closed by `end`. Matching `end`s to openers: in a text of
// unclosed functions no `end` reaches a function and every function stays open; in a window of
// closed ones some function is closed and few stay open (those the cut went through).
void Parser::detectFunctionForm() {
    std::vector<Word> open;  // the opening word of each open construct
    open.reserve(64);
    int closedFunctions = 0;
    int brackets = 0;
    bool statementStart = true;
    bool balanced = true;
    bool controlAtFunction = false;  // a construct other than a function open at a function line
    std::uint32_t functionLine = 0;  // of a function header whose first body line is still to come
    for (std::size_t k = 0; k + 1 < toks_.size(); ++k) {
        const PTok& t = toks_[k];
        const bool start = statementStart && brackets == 0;
        statementStart = false;
        if (functionLine != 0 && t.lineFirst && t.line > functionLine && t.kind != TokenKind::LineEnd) {
            const std::uint32_t header = functionLine == 1 ? 0 : lineIndent_[functionLine];
            if (t.word != Word::End && lineIndent_[t.line] <= header) unindentedFunctionBody_ = true;
            // A nested function indented under a body at the margin says nothing of the outer body.
            if (t.word != Word::End && lineIndent_[t.line] > header && header == 0)
                indentedFunctionBody_ = true;
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
                // Without `end`s a function line ends the functions before it, so nothing else may be
                // open there.
                if (t.word == Word::Function)
                    controlAtFunction =
                        controlAtFunction ||
                        std::any_of(open.begin(), open.end(), [](Word w) { return w != Word::Function; });
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
    // Functions without `end` balance where they are all that stays open and nothing else was open at
    // their lines.
    const bool onlyOpenFunctions =
        closedFunctions == 0 && !controlAtFunction &&
        std::all_of(open.begin(), open.end(), [](Word w) { return w == Word::Function; });
    balanced_ = balanced && (open.empty() || onlyOpenFunctions);
}

}  // namespace ca::detail::parsing
