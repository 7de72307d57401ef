#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "analysis_helpers.hpp"
#include "ca/lexer/operator_classes.hpp"

// Every example cut in two at every position of every line, with a line end put in the cut. What the line
// end must do there decides what the cut text is compared with:
// - it continues the statement (inside `()` or an index's or validator list's `{}`, after a binary
//   operator, `=`, `@` or an expression keyword, before an operator that cannot begin an expression): the
//   text reads as if a blank stood there;
// - it separates rows (inside `[]` or a cell array's `{}`) or ends the statement: as if `;` stood before it
//   (`,` in the outputs of `[a, b] =`);
// - it only adds a blank line (the cut is in the blanks before or after the code of a line): nothing
//   changes, unless the line before went on into the line after, which the blank line now ends; a closing
//   line moved left of its construct's header must be reported;
// - in a text literal it leaves the literal unterminated, which must be reported;
// - in a comment it ends the comment there; in a block comment it changes nothing, and splitting `%{` or
//   `%}` leaves no error either.
// Cuts in a script or a function file are analysed in the top-level statement or function that holds them
// (a complete text; a script's after a statement, as only errors after a complete statement must show),
// cuts into a line's indentation, in a class and every 24th in the whole example.

namespace {

using ca::lexer::Op;
using ca::lexer::ScanToken;
using ca::lexer::TokenKind;
using ca::testing::analyse;
using ca::testing::errors;
using lf::astapi::NodeKind;
using Node = lf::astapi::Node<ca::astapi::CA>;
constexpr std::size_t kNone = static_cast<std::size_t>(-1);

bool isCode(const ScanToken& t) {
    return t.kind != TokenKind::Blank && t.kind != TokenKind::LineEnd && t.kind != TokenKind::Comment &&
           t.kind != TokenKind::BlockComment && t.kind != TokenKind::Continuation;
}
bool continuesAfter(const ScanToken& t) {
    return (t.kind == TokenKind::Operator && ca::lexer::continuesLine(t.op)) ||
           (t.kind == TokenKind::Keyword && ca::lexer::expectsExpression(t.word));
}
bool continuesBefore(const ScanToken& t) {
    return t.kind == TokenKind::Operator && (ca::lexer::cannotBeginExpression(t.op) || t.op == Op::Assign);
}
// A command's words go on over a line that starts with an operator (`import pkg` / `.*`).
bool operatorLeads(std::u16string_view rest) {
    std::vector<ScanToken> tokens;
    ca::lexer::scan(u"a" + std::u16string(rest.substr(0, std::min<std::size_t>(rest.size(), 3))), tokens);
    return tokens.size() > 1 && tokens[1].kind == TokenKind::Operator &&
           ca::lexer::cannotBeginExpression(tokens[1].op);
}
// `f` / `(a, b)`: a group with a comma at its top cannot stand alone and takes the name before it.
template <typename It>
bool callCutBeforeArguments(const ScanToken& before, It open, It end) {
    if (open->op != Op::LParen || (before.kind != TokenKind::Identifier && before.op != Op::RParen))
        return false;
    int depth = 0;
    for (It t = open; t != end; ++t) {
        if (t->op == Op::LParen || t->op == Op::LBracket || t->op == Op::LBrace) ++depth;
        if ((t->op == Op::RParen || t->op == Op::RBracket || t->op == Op::RBrace) && --depth == 0)
            return false;
        if (t->op == Op::Comma && depth == 1) return true;
    }
    return false;
}
bool endsOperand(const ScanToken& t) {
    return t.kind == TokenKind::Identifier || t.kind == TokenKind::Number || t.kind == TokenKind::CharArray ||
           t.kind == TokenKind::String || (t.kind == TokenKind::Keyword && t.word == ca::lexer::Word::End) ||
           t.op == Op::RParen || t.op == Op::RBracket || t.op == Op::RBrace || t.op == Op::Transpose ||
           t.op == Op::DotTranspose;
}
bool isConstruct(NodeKind k) {
    for (NodeKind c : {NodeKind::If, NodeKind::For, NodeKind::While, NodeKind::Switch, NodeKind::Try,
                       NodeKind::Parfor, NodeKind::Spmd, NodeKind::Function, NodeKind::MethodDefinition,
                       NodeKind::ClassDef, NodeKind::Properties, NodeKind::Methods, NodeKind::Events,
                       NodeKind::Enumeration, NodeKind::Arguments}) {
        if (k == c) return true;
    }
    return false;
}
bool isClause(NodeKind k) {
    return k == NodeKind::ElseIf || k == NodeKind::Else || k == NodeKind::Case || k == NodeKind::Otherwise ||
           k == NodeKind::Catch;
}

// The same node kinds in the same shape and, with `lines`, on the same lines.
bool sameTree(const ca::Analysis& a, const Node& x, const ca::Analysis& b, const Node& y, bool lines) {
    if (x.getKind() != y.getKind() || x.getChildCount() != y.getChildCount()) return false;
    if (lines && (x.getLine() != y.getLine() || a.getLineOfPosition(x.getClosingPosition()) !=
                                                    b.getLineOfPosition(y.getClosingPosition()))) {
        return false;
    }
    for (std::size_t k = 0; k < x.getChildCount(); ++k) {
        if (!sameTree(a, x.getChild(k), b, y.getChild(k), lines)) return false;
    }
    return true;
}

// Both without errors and with the same statements, or both with errors (from the same line, when the
// lines are the same): recovering from an error goes by lines, so what follows one may differ.
bool alike(const ca::Analysis& a, const ca::Analysis& b, bool lines) {
    if (a.hasParseErrors() != b.hasParseErrors()) return false;
    if (!a.hasParseErrors()) return sameTree(a, a.getRootNode(), b, b.getRootNode(), lines);
    const std::string x = errors(a).front(), y = errors(b).front();
    return !lines || x.substr(0, x.find(':')) == y.substr(0, y.find(':'));
}

std::size_t indentOf(const std::u16string& text, std::size_t from) {
    return std::min(text.find_first_not_of(u" \t", from), text.size()) - from;
}

// What a line end does inside a bracket.
enum class Role { Parentheses, Rows, Outputs };

// One example with what the cuts need of it: its lines and tokens, the bracket each token stands in, the
// part (top-level statement or function) of each line and the header indentation of each closing line.
struct Example {
    std::string name;
    std::u16string text, lead;
    std::vector<ScanToken> tokens;
    std::vector<std::size_t> lineStarts, lineEnds, opener, partFrom, partTo;
    std::vector<Role> roles;
    std::map<std::size_t, std::size_t> headerIndent;
    bool isClass = false;

    explicit Example(const ca::testing::ExampleText& source) : name(source.name), text(source.text) {
        ca::lexer::scan(text, tokens);
        for (std::size_t i = 0; i <= text.size(); ++i) {
            if (i == 0 || text[i - 1] == u'\n') lineStarts.push_back(i);
            if (i == text.size() || text[i] == u'\n')
                lineEnds.push_back(i > 0 && text[i - 1] == u'\r' ? i - 1 : i);
        }
        if (lineStarts.back() == text.size()) lineStarts.pop_back(), lineEnds.pop_back();
        readBrackets();
        auto whole = analyse(text);
        Node top = whole->getRootNode();
        isClass = top.getChildCount() == 1 && top.getChild(0).getKind() == NodeKind::ClassDef;
        if (top.getChild(0).getKind() == NodeKind::Script) top = top.getChild(0), lead = u"first = 1;\n";
        partFrom.assign(lineStarts.size() + 1, 1);
        partTo.assign(lineStarts.size() + 1, static_cast<std::uint32_t>(lineStarts.size()));
        std::size_t first = 1;
        for (auto child : top.getChildren()) {
            const std::size_t last = whole->getLineOfPosition(child.getClosingPosition());
            for (std::size_t l = first; l <= last; ++l)
                partFrom[l] = first, partTo[l] = last;
            first = last + 1;
        }
        for (std::size_t l = first; l <= lineStarts.size(); ++l)
            partFrom[l] = first > 1 ? partFrom[first - 1] : 1;
        noteHeaders(whole->getRootNode());
    }

    void readBrackets() {
        std::vector<std::size_t> open;
        roles.assign(tokens.size(), Role::Parentheses);
        std::size_t previous = kNone;
        for (std::size_t k = 0; k < tokens.size(); ++k) {
            const ScanToken& t = tokens[k];
            opener.push_back(open.empty() ? kNone : open.back());
            if (t.op == Op::LBracket) roles[k] = Role::Rows;
            // A `{` after an operand indexes it or lists validators, unless a blank starts a new element.
            if (t.op == Op::LBrace) {
                const bool operand = previous != kNone && endsOperand(tokens[previous]);
                const bool touching =
                    operand && tokens[previous].offset + tokens[previous].length == t.offset;
                const bool inArray = !open.empty() && roles[open.back()] == Role::Rows;
                roles[k] = operand && (touching || !inArray) ? Role::Parentheses : Role::Rows;
            }
            if (isCode(t)) previous = k;
            if (t.kind != TokenKind::Punctuation) continue;
            if (t.op == Op::LParen || t.op == Op::LBracket || t.op == Op::LBrace) open.push_back(k);
            if ((t.op == Op::RParen || t.op == Op::RBracket || t.op == Op::RBrace) && !open.empty()) {
                std::size_t n = k + 1;
                while (n < tokens.size() && tokens[n].kind == TokenKind::Blank)
                    ++n;
                if (tokens[open.back()].op == Op::LBracket && n < tokens.size() && tokens[n].op == Op::Assign)
                    roles[open.back()] = Role::Outputs;
                open.pop_back();
            }
        }
    }

    void noteHeaders(const Node& node) {
        const std::size_t header = indentOf(text, lineStarts[node.getLine() - 1]);
        for (auto child : node.getChildren()) {
            if (isClause(child.getKind())) headerIndent[child.getStartPosition()] = header;
            noteHeaders(child);
        }
        // A function without `end` closes where its last construct does; the innermost one counts.
        const std::size_t end = node.getClosingPosition() - 2;
        if (isConstruct(node.getKind()) && text.compare(end, 3, u"end") == 0)
            headerIndent.emplace(end, header);
    }

    std::size_t lineOf(std::size_t p) const {
        return static_cast<std::size_t>(std::upper_bound(lineStarts.begin(), lineStarts.end(), p) -
                                        lineStarts.begin());
    }
    std::size_t firstCode(std::size_t line) const {
        return lineStarts[line - 1] + indentOf(text, lineStarts[line - 1]);
    }
    std::size_t codeEnd(std::size_t line) const {
        std::size_t end = lineEnds[line - 1];
        while (end > lineStarts[line - 1] && (text[end - 1] == u' ' || text[end - 1] == u'\t'))
            --end;
        return end;
    }
    // The first token that starts at or after `p`, and the token that holds `p` strictly inside.
    std::size_t tokenFrom(std::size_t p) const {
        return static_cast<std::size_t>(
            std::lower_bound(tokens.begin(), tokens.end(), p,
                             [](const ScanToken& t, std::size_t at) { return t.offset < at; }) -
            tokens.begin());
    }
    std::size_t tokenAround(std::size_t p) const {
        const std::size_t k = tokenFrom(p);
        return k > 0 && tokens[k - 1].offset + tokens[k - 1].length > p ? k - 1 : kNone;
    }

    // Whether the statement goes on into line `next` by `...` or an implicit continuation, outside
    // parentheses (where a line end is a blank anyway); a blank line there already ends it.
    bool goesOnInto(std::size_t next) const {
        if (next < 2 || next > lineStarts.size()) return false;
        const std::size_t after = tokenFrom(lineStarts[next - 1]);
        std::size_t before = after;
        bool continuation = false;
        while (before > 0 && tokens[before - 1].offset >= lineStarts[next - 2]) {
            --before;
            continuation = continuation || tokens[before].kind == TokenKind::Continuation;
            if (isCode(tokens[before])) break;
        }
        std::size_t n = after;
        while (n < tokens.size() && tokens[n].kind == TokenKind::Blank)
            ++n;
        if (before == after || !isCode(tokens[before]) || n == tokens.size() || !isCode(tokens[n]))
            return false;
        if (next < lineStarts.size() && tokens[n].offset >= lineStarts[next]) return false;
        if (opener[after] != kNone && roles[opener[after]] == Role::Parentheses) return false;
        // After a row's `;` or the opening bracket itself a blank line only adds an empty row.
        if (opener[after] != kNone && (tokens[before].op == Op::Semicolon || opener[after] == before))
            return false;
        // A statement that cannot end there (an operator last) goes on past the blank line.
        if (continuesAfter(tokens[before])) return false;
        // Nor does one before a closing bracket or a `;` or `,`: it ends nothing that was not ended there.
        if (tokens[n].kind == TokenKind::Punctuation &&
            (tokens[n].op == Op::RBracket || tokens[n].op == Op::RBrace || tokens[n].op == Op::Semicolon ||
             tokens[n].op == Op::Comma))
            return false;
        // After `...` the blank line itself goes on into a line that cannot start a statement.
        if (continuation)
            return !(tokens[n].kind == TokenKind::Operator && ca::lexer::cannotBeginExpression(tokens[n].op));
        return continuesBefore(tokens[n]);
    }
};

class Cutter {
  public:
    explicit Cutter(const Example& e) : e_(e) {}

    // Every position of the demo corpus; every seventh of the style programs and every thirteenth of the
    // held-out ones, to keep the run short.
    void cutEverywhere() {
        const std::size_t stride = e_.name.starts_with("examples/")            ? 1
                                   : !e_.name.starts_with("tests/data/styles") ? 13
                                                                               : 7;
        for (std::size_t line = 1; line <= e_.lineStarts.size(); ++line) {
            for (std::size_t p = e_.lineStarts[line - 1]; p <= e_.lineEnds[line - 1]; p += stride)
                cutAt(line, p);
        }
    }

    std::map<std::string, std::pair<int, int>> tallies;  // checked, failed

  private:
    struct Window {
        std::size_t from, to;
    };

    void cutAt(std::size_t line, std::size_t p) {
        const std::size_t first = e_.firstCode(line);
        const bool movesLeft = e_.lineStarts[line - 1] < p && p <= first && first < e_.lineEnds[line - 1];
        w_ = Window{0, e_.text.size()};
        if (++cuts_ % 24 != 0 && !movesLeft && !e_.isClass) {
            const std::size_t last = e_.partTo[line];
            w_ = Window{e_.lineStarts[e_.partFrom[line] - 1],
                        last < e_.lineStarts.size() ? e_.lineStarts[last] : e_.text.size()};
        }
        p_ = p;
        cut_ = analyse(with(u"\n"));
        const std::size_t inside = e_.tokenAround(p);
        const TokenKind around = inside == kNone ? TokenKind::Blank : e_.tokens[inside].kind;
        if (around == TokenKind::BlockComment) return blockComment(line);
        // A shell escape's text belongs to the operating system: a line end in it cuts the command.
        if (around == TokenKind::CommandWord && e_.text[e_.tokens[inside].offset] == u'!') return;
        if (around == TokenKind::Comment ||
            (around == TokenKind::Continuation && p >= e_.tokens[inside].offset + 3)) {
            return comment(inside);
        }
        // Between the dots of `...` a line end leaves no continuation and no valid text either way.
        if (around == TokenKind::Continuation && p > e_.tokens[inside].offset) return;
        if ((around == TokenKind::CharArray || around == TokenKind::String) && !completesLiteral(inside)) {
            const auto found = errors(*cut_);
            const std::string wanted = std::to_string(lineIn(line)) + ":UnterminatedText";
            return check("in a text literal", std::find(found.begin(), found.end(), wanted) != found.end(),
                         *cut_);
        }
        if (p <= first || p >= e_.codeEnd(line)) return blankLine(line, first);
        midLine();
    }

    std::u16string with(std::u16string_view put) const {
        return e_.lead + e_.text.substr(w_.from, p_ - w_.from) + std::u16string(put) +
               e_.text.substr(p_, w_.to - p_);
    }
    std::size_t at(std::size_t p) const { return p - w_.from + e_.lead.size(); }
    std::size_t lineIn(std::size_t line) const {
        return line - e_.lineOf(w_.from) + 1 + (e_.lead.empty() ? 0 : 1);
    }
    const ca::Analysis& original() {
        auto& slot = originals_[{w_.from, w_.to}];
        if (!slot) slot = analyse(e_.lead + e_.text.substr(w_.from, w_.to - w_.from));
        return *slot;
    }

    void check(const char* what, bool ok, const ca::Analysis& ref) {
        auto& [checked, failed] = tallies[what];
        ++checked;
        if (ok || ++failed > 3) return;
        const std::size_t from = e_.lineStarts[std::max<std::size_t>(e_.lineOf(p_), 3) - 2];
        const std::size_t to =
            std::min(e_.text.size(), e_.lineEnds[std::min(e_.lineOf(p_) + 1, e_.lineEnds.size()) - 1]);
        ADD_FAILURE() << what << ": " << e_.name << " cut at " << p_ << "\n"
                      << fl::i18n::to_string(e_.text.substr(from, p_ - from)) << "<CUT>\n"
                      << fl::i18n::to_string(e_.text.substr(p_, to - p_)) << "\n--- cut:\n"
                      << ca::testing::printTree(*cut_) << "\n"
                      << ca::testing::describeErrors(*cut_) << "--- reference:\n"
                      << ca::testing::printTree(ref) << "\n"
                      << ca::testing::describeErrors(ref);
    }

    // Between the quotes of a doubled quote the literal before the cut is complete.
    bool completesLiteral(std::size_t literal) const {
        const std::size_t start = e_.tokens[literal].offset;
        for (std::size_t i = start + 1; i < p_; ++i) {
            if (e_.text[i] != e_.text[start]) continue;
            if (i + 1 == p_) return true;
            ++i;
        }
        return false;
    }

    void blockComment(std::size_t line) {
        const std::size_t first = e_.firstCode(line);
        const bool marker = e_.text[first] == u'%' &&
                            (e_.text[first + 1] == u'{' || e_.text[first + 1] == u'}') &&
                            first + 2 + indentOf(e_.text, first + 2) == e_.lineEnds[line - 1];
        if (marker && p_ == first + 1) return check("splits %{ or %}", !cut_->hasParseErrors(), *cut_);
        check("in a block comment", !cut_->hasParseErrors() && alike(*cut_, original(), false), original());
    }

    void comment(std::size_t inside) {
        const std::size_t start = at(e_.tokens[inside].offset);
        const auto& comments = cut_->getComments();
        check("in a comment",
              std::any_of(comments.begin(), comments.end(),
                          [&](const auto& c) {
                              return c.getStartPosition() == start && c.getClosingPosition() + 1 == at(p_);
                          }),
              *cut_);
    }

    void blankLine(std::size_t line, std::size_t first) {
        const ca::Analysis& ref = original();
        const bool same = !cut_->hasParseErrors() && alike(*cut_, ref, false);
        if (e_.goesOnInto(p_ <= first ? line : line + 1)) {
            return check("blank line ends a continued statement", !same, ref);
        }
        auto header = e_.headerIndent.find(first);
        if (p_ <= first && header != e_.headerIndent.end() && first - p_ < header->second) {
            // Rejected, or (in a text whose every block is closed) read as the same structure.
            return check("closing line left of its header",
                         cut_->hasParseErrors() || alike(*cut_, ref, false), ref);
        }
        // A window that already reads with an error (a sloppy program) must read the same.
        check("blank line", same || (ref.hasParseErrors() && alike(*cut_, ref, false)), ref);
    }

    void midLine() {
        // The code tokens on either side of the line end, as the cut text reads them.
        const auto& tokens = cut_->data().tokens;
        auto lf = std::lower_bound(tokens.begin(), tokens.end(), at(p_),
                                   [](const ScanToken& t, std::size_t o) { return t.offset < o; });
        if (lf == tokens.end() || lf->kind != TokenKind::LineEnd)
            return check("a line end put in", false, *cut_);
        auto before = lf, after = lf + 1;
        while (before != tokens.begin() && !isCode(*(before - 1)))
            --before;
        while (after != tokens.end() && !isCode(*after))
            ++after;
        const bool codeBefore = before != tokens.begin() && (before - 1)->line == lf->line;
        // Lines that hold only `...` join the next line to theirs.
        const auto joined = std::count_if(
            lf + 1, after, [](const ScanToken& t) { return t.kind == TokenKind::Continuation; });
        const bool codeAfter = after != tokens.end() && after->line == lf->line + 1 + joined;
        // At the end of a text without a final line end no token follows.
        const std::size_t next = e_.tokenFrom(p_);
        const std::size_t bracket = next < e_.opener.size() ? e_.opener[next] : kNone;
        const Role role = bracket == kNone ? Role::Parentheses : e_.roles[bracket];
        if ((bracket != kNone && role == Role::Parentheses) ||
            (codeBefore && continuesAfter(*(before - 1))) || (codeAfter && continuesBefore(*after)) ||
            (codeBefore && codeAfter && callCutBeforeArguments(*(before - 1), after, tokens.end())) ||
            (codeAfter && after->kind == TokenKind::CommandWord &&
             operatorLeads(std::u16string_view(e_.text).substr(p_)))) {
            // Lines differ by one: the trees are compared without them.
            auto ref = analyse(with(u" "));
            return check("line end continues the statement", alike(*cut_, *ref, false), *ref);
        }
        const bool outputs = bracket != kNone && role == Role::Outputs;
        auto ref = analyse(with(outputs ? u",\n" : u";\n"));
        check(outputs                                  ? "line end separates outputs"
              : bracket != kNone && role == Role::Rows ? "line end separates rows"
                                                       : "line end ends the statement",
              alike(*cut_, *ref, true), *ref);
    }

    const Example& e_;
    Window w_{};
    std::size_t p_ = 0;
    std::shared_ptr<ca::Analysis> cut_;
    int cuts_ = 0;
    std::map<std::pair<std::size_t, std::size_t>, std::shared_ptr<ca::Analysis>> originals_;
};

TEST(ImplicitContinuation, EveryExampleCutAtEveryPositionOfEveryLine) {
    std::map<std::string, std::pair<int, int>> total;
    for (const auto& source : ca::testing::loadAllExamples()) {
        const Example example(source);
        Cutter cutter(example);
        cutter.cutEverywhere();
        for (const auto& [what, tally] : cutter.tallies)
            total[what].first += tally.first, total[what].second += tally.second;
    }
    int checked = 0;
    for (const auto& [what, tally] : total) {
        std::printf("%-40s %6d cuts, %d failed\n", what.c_str(), tally.first, tally.second);
        checked += tally.first;
    }
    EXPECT_GT(checked, 50000);
    for (const char* what :
         {"line end continues the statement", "line end ends the statement", "line end separates rows",
          "in a text literal", "closing line left of its header"})
        EXPECT_GT(total[what].first, 500) << what;
}

}  // namespace
