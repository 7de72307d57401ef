#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "analysis_helpers.hpp"
#include "ca/lexer/operator_classes.hpp"
#include "example_texts.hpp"

// Every example cut in two at every position of every line, with a line end put in the cut. What the line
// end must do there decides what the cut text is compared with:
// - it continues the statement (inside `()`, after a binary operator, `=`, `@` or an expression keyword,
//   or before an operator that cannot begin an expression; an index's or a validator list's `{}` reads like
//   `()`): the text reads as if a blank stood there;
// - it separates rows (inside `[]` or a cell array's `{}`): as if `;` stood before it (`,` in the outputs
//   of `[a, b] =`);
// - it ends the statement: as if `;` stood before it;
// - it only adds a blank line (the cut is in the blanks before or after the code of a line): nothing
//   changes, unless the line before the blank line went on into the line after it, which the blank line
//   now ends; a closing line whose blanks were cut into stands further left, and left of its construct's
//   header it must be reported;
// - in a text literal it leaves the literal unterminated, which must be reported;
// - in a comment it ends the comment there; in a block comment it changes nothing unless it splits `%{`
//   or `%}`, which leaves no error either.
// Most cuts are analysed in the part of the example that holds them (a top-level statement, a function or
// a method with the lines before it, after a line that stands for what comes before), cuts into a line's
// indentation and every 24th in the whole example.

namespace {

using ca::lexer::ScanToken;
using ca::lexer::TokenKind;
using ca::testing::analyse;
using ca::testing::errors;
using ca::testing::printTree;
using Node = lf::astapi::Node<ca::astapi::CA>;

bool isCode(const ScanToken& t) {
    return t.kind != TokenKind::Blank && t.kind != TokenKind::LineEnd && t.kind != TokenKind::Comment &&
           t.kind != TokenKind::BlockComment && t.kind != TokenKind::Continuation;
}

bool continuesAfter(const ScanToken& t) {
    return (t.kind == TokenKind::Operator && ca::lexer::continuesLine(t.op)) ||
           (t.kind == TokenKind::Keyword && ca::lexer::expectsExpression(t.word));
}

bool continuesBefore(const ScanToken& t) {
    return t.kind == TokenKind::Operator && ca::lexer::cannotBeginExpression(t.op);
}

// The same node kinds in the same shape, and with `lines`, on the same lines.
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

bool sameTree(const ca::Analysis& a, const ca::Analysis& b, bool lines) {
    return sameTree(a, a.getRootNode(), b, b.getRootNode(), lines);
}

// What a line end does inside a bracket.
enum class Role { Parentheses, Rows, Outputs };

// One example with what the cuts need to know of it: lines, tokens, the bracket each token stands in and
// the parts that read as complete texts on their own.
struct Example {
    std::string name;
    std::u16string text;
    std::vector<ScanToken> tokens;
    std::vector<std::size_t> lineStarts, lineEnds;    // content ends, before the line terminator
    std::vector<std::size_t> opener;                  // per token: index of the innermost open bracket, or -1
    std::vector<Role> roles;                          // per opening bracket token
    std::vector<std::uint32_t> partOfLine;            // per line (1-based): first line of its part
    std::vector<std::uint32_t> partEnd;               // per line: last line of its part
    std::map<std::size_t, std::size_t> headerIndent;  // closing token offset -> indentation of its header
    // What stands before an analysed part: a statement before a script's (the first line of a text may be
    // the tail of a cut line, so only what follows a complete statement must report its errors), the
    // class and methods lines around a class's members.
    std::u16string scriptLead, classLead;
    std::vector<std::u16string> methodsLead;  // per line (1-based): a `methods` line when inside one
};

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

bool endsOperand(const ScanToken& t) {
    using ca::lexer::Op;
    switch (t.kind) {
        case TokenKind::Identifier:
        case TokenKind::Number:
        case TokenKind::CharArray:
        case TokenKind::String:
            return true;
        case TokenKind::Keyword:
            return t.word == ca::lexer::Word::End;
        default:
            return t.op == Op::RParen || t.op == Op::RBracket || t.op == Op::RBrace ||
                   t.op == Op::Transpose || t.op == Op::DotTranspose;
    }
}

std::size_t indentOf(const std::u16string& text, std::size_t from) {
    std::size_t i = from;
    while (i < text.size() && (text[i] == u' ' || text[i] == u'\t'))
        ++i;
    return i - from;
}

void noteHeaders(const Example& e, const ca::Analysis& a, const Node& node,
                 std::map<std::size_t, std::size_t>& out) {
    for (auto child : node.getChildren()) {
        const bool clause = child.getKind() == lf::astapi::NodeKind::ElseIf ||
                            child.getKind() == lf::astapi::NodeKind::Else ||
                            child.getKind() == lf::astapi::NodeKind::Case ||
                            child.getKind() == lf::astapi::NodeKind::Otherwise ||
                            child.getKind() == lf::astapi::NodeKind::Catch;
        const std::size_t header = indentOf(e.text, e.lineStarts[node.getLine() - 1]);
        if (clause) out[child.getStartPosition()] = header;
        noteHeaders(e, a, child, out);
    }
    // A construct's closing `end` starts two code units before its closing position.
    using lf::astapi::NodeKind;
    const NodeKind k = node.getKind();
    const bool construct = k == NodeKind::If || k == NodeKind::For || k == NodeKind::While ||
                           k == NodeKind::Switch || k == NodeKind::Try || k == NodeKind::Parfor ||
                           k == NodeKind::Spmd || k == NodeKind::Function ||
                           k == NodeKind::MethodDefinition || k == NodeKind::ClassDef ||
                           k == NodeKind::Properties || k == NodeKind::Methods || k == NodeKind::Events ||
                           k == NodeKind::Enumeration || k == NodeKind::Arguments;
    if (construct && node.getClosingPosition() >= 2 &&
        e.text.compare(node.getClosingPosition() - 2, 3, u"end") == 0) {
        // A function without `end` closes where its last construct does; the innermost one counts.
        out.emplace(node.getClosingPosition() - 2, indentOf(e.text, e.lineStarts[node.getLine() - 1]));
    }
}

Example prepare(const ca::testing::ExampleText& source) {
    Example e;
    e.name = source.name;
    e.text = source.text;
    ca::lexer::scan(e.text, e.tokens);
    e.lineStarts.push_back(0);
    for (std::size_t i = 0; i < e.text.size(); ++i) {
        if (e.text[i] != u'\n') continue;
        e.lineEnds.push_back(i > 0 && e.text[i - 1] == u'\r' ? i - 1 : i);
        if (i + 1 < e.text.size()) e.lineStarts.push_back(i + 1);
    }
    if (e.lineEnds.size() < e.lineStarts.size()) e.lineEnds.push_back(e.text.size());
    std::vector<std::size_t> open;
    e.roles.assign(e.tokens.size(), Role::Parentheses);
    std::size_t previous = kNone;  // the last code token
    for (std::size_t k = 0; k < e.tokens.size(); ++k) {
        e.opener.push_back(open.empty() ? kNone : open.back());
        const ScanToken& t = e.tokens[k];
        using ca::lexer::Op;
        if (t.op == Op::LBracket) e.roles[k] = Role::Rows;
        // A `{` after an operand indexes it (or lists validators), unless a blank starts a new element of
        // an array.
        if (t.op == Op::LBrace) {
            const bool afterOperand = previous != kNone && endsOperand(e.tokens[previous]);
            const bool touching =
                afterOperand && e.tokens[previous].offset + e.tokens[previous].length == t.offset;
            const bool inArray = !open.empty() && e.roles[open.back()] == Role::Rows;
            e.roles[k] = afterOperand && (touching || !inArray) ? Role::Parentheses : Role::Rows;
        }
        if (isCode(t)) previous = k;
        if (t.kind != TokenKind::Punctuation) continue;
        if (t.op == Op::LParen || t.op == Op::LBracket || t.op == Op::LBrace) open.push_back(k);
        if ((t.op == Op::RParen || t.op == Op::RBracket || t.op == Op::RBrace) && !open.empty()) {
            std::size_t n = k + 1;
            while (n < e.tokens.size() && e.tokens[n].kind == TokenKind::Blank)
                ++n;
            if (e.tokens[open.back()].op == Op::LBracket && n < e.tokens.size() &&
                e.tokens[n].op == Op::Assign) {
                e.roles[open.back()] = Role::Outputs;
            }
            open.pop_back();
        }
    }
    auto whole = analyse(e.text);
    const std::uint32_t lines = static_cast<std::uint32_t>(e.lineStarts.size());
    e.partOfLine.assign(lines + 1, 1);
    e.partEnd.assign(lines + 1, lines);
    Node top = whole->getRootNode();
    if (top.getChildCount() == 1 && top.getChild(0).getKind() == lf::astapi::NodeKind::Script) {
        top = top.getChild(0);
        e.scriptLead = u"first = 1;\n";
    }
    // Top-level statements and functions, and the methods of a class, each with the lines before it.
    std::uint32_t first = 1;
    e.methodsLead.assign(lines + 2, u"");
    std::function<void(const Node&)> split = [&](const Node& node) {
        for (auto child : node.getChildren()) {
            const auto kind = child.getKind();
            if (kind == lf::astapi::NodeKind::ClassDef) e.classLead = u"classdef Lead\n";
            if (kind == lf::astapi::NodeKind::Methods) {
                const std::u16string header =
                    std::u16string(indentOf(e.text, e.lineStarts[child.getLine() - 1]), u' ') + u"methods\n";
                const std::uint32_t end = whole->getLineOfPosition(child.getClosingPosition());
                for (std::uint32_t l = child.getLine() + 1; l <= end; ++l)
                    e.methodsLead[l] = header;
            }
            if (kind == lf::astapi::NodeKind::ClassDef || kind == lf::astapi::NodeKind::Methods) {
                split(child);
                continue;
            }
            const std::uint32_t last = whole->getLineOfPosition(child.getClosingPosition());
            for (std::uint32_t l = first; l <= last && l <= lines; ++l) {
                e.partOfLine[l] = first;
                e.partEnd[l] = last;
            }
            first = std::max(first, last + 1);
        }
    };
    split(top);
    for (std::uint32_t l = first; l <= lines; ++l) {
        e.partOfLine[l] = first > 1 ? e.partOfLine[first - 1] : 1;
    }
    noteHeaders(e, *whole, whole->getRootNode(), e.headerIndent);
    return e;
}

// The token that holds `p` strictly inside, or kNone.
std::size_t tokenAround(const Example& e, std::size_t p) {
    auto it = std::upper_bound(e.tokens.begin(), e.tokens.end(), p,
                               [](std::size_t at, const ScanToken& t) { return at < t.offset; });
    if (it == e.tokens.begin()) return kNone;
    const std::size_t k = static_cast<std::size_t>(it - e.tokens.begin()) - 1;
    return e.tokens[k].offset < p && p < e.tokens[k].offset + e.tokens[k].length ? k : kNone;
}

// The first token that starts at or after `p`.
std::size_t tokenFrom(const Example& e, std::size_t p) {
    return static_cast<std::size_t>(
        std::lower_bound(e.tokens.begin(), e.tokens.end(), p,
                         [](const ScanToken& t, std::size_t at) { return t.offset < at; }) -
        e.tokens.begin());
}

// Whether the statement goes on from the line that ends before line `next` into it, by `...` or an
// implicit continuation, outside parentheses (where any line end is a blank anyway).
bool goesOnInto(const Example& e, std::uint32_t next) {
    if (next < 2 || next > e.lineStarts.size()) return false;
    const std::size_t boundary = e.lineStarts[next - 1];
    const std::size_t after = tokenFrom(e, boundary);
    std::size_t before = after;
    bool continuation = false;
    while (before > 0 && e.tokens[before - 1].offset >= e.lineStarts[next - 2]) {
        --before;
        continuation = continuation || e.tokens[before].kind == TokenKind::Continuation;
        if (isCode(e.tokens[before])) break;
    }
    const bool codeBefore = before < after && isCode(e.tokens[before]);
    std::size_t n = after;
    while (n < e.tokens.size() && e.tokens[n].kind == TokenKind::Blank)
        ++n;
    // A blank line already ends whatever came before it.
    const bool codeAfter = n < e.tokens.size() && isCode(e.tokens[n]) &&
                           (next == e.lineStarts.size() || e.tokens[n].offset < e.lineStarts[next]);
    if (!codeBefore || !codeAfter) return false;
    const std::size_t bracket = after < e.opener.size() ? e.opener[after] : kNone;
    if (bracket != kNone && e.roles[bracket] == Role::Parentheses) return false;
    return continuation || continuesAfter(e.tokens[before]) || continuesBefore(e.tokens[n]);
}

struct Tally {
    int checked = 0;
    int failed = 0;
};

class Cutter {
  public:
    explicit Cutter(const Example& e) : e_(e) {}

    void cutEverywhere() {
        for (std::uint32_t line = 1; line <= e_.lineStarts.size(); ++line) {
            for (std::size_t p = e_.lineStarts[line - 1]; p <= e_.lineEnds[line - 1]; ++p)
                cutAt(line, p);
        }
    }

    std::map<std::string, Tally> tallies;

  private:
    struct Window {
        std::size_t from, to;
        std::u16string lead;
    };

    Window windowFor(std::uint32_t line, bool movesLeft) {
        // A class's members are analysed after a class and methods line that stand for the rest of the
        // class; a line moved left may leave them, so the whole example is read then.
        const bool inClass = !e_.classLead.empty() && e_.partOfLine[line] > 1;
        if (++cuts_ % 24 == 0 || (movesLeft && inClass)) return {0, e_.text.size(), e_.scriptLead};
        const std::uint32_t first = e_.partOfLine[line], last = e_.partEnd[line];
        const std::size_t to = last < e_.lineStarts.size() ? e_.lineStarts[last] : e_.text.size();
        const std::u16string lead =
            first == 1 ? e_.scriptLead : e_.scriptLead + e_.classLead + e_.methodsLead[first];
        return {e_.lineStarts[first - 1], to, lead};
    }

    std::u16string withAt(const Window& w, std::size_t p, std::u16string_view put) const {
        std::u16string out = w.lead + e_.text.substr(w.from, p - w.from);
        out += put;
        out += e_.text.substr(p, w.to - p);
        return out;
    }

    void cutAt(std::uint32_t line, std::size_t p) {
        const std::size_t first = e_.lineStarts[line - 1] + indentOf(e_.text, e_.lineStarts[line - 1]);
        // A cut into a line's indentation moves the line left.
        const Window w =
            windowFor(line, e_.lineStarts[line - 1] < p && p <= first && first < e_.lineEnds[line - 1]);
        const std::u16string cut = withAt(w, p, u"\n");
        const std::size_t inside = tokenAround(e_, p);
        const TokenKind around = inside == kNone ? TokenKind::Blank : e_.tokens[inside].kind;
        if (around == TokenKind::BlockComment) return blockComment(w, cut, p);
        if (around == TokenKind::Comment ||
            (around == TokenKind::Continuation && p >= e_.tokens[inside].offset + 3)) {
            return comment(w, cut, p, inside);
        }
        // Between the quotes of a doubled quote the literal before the cut is complete.
        if ((around == TokenKind::CharArray || around == TokenKind::String) && !completesLiteral(inside, p)) {
            return literal(w, cut, line, p);
        }
        if (p <= first || p >= codeEnd(line)) return blankLine(w, cut, line, p, first);
        midLine(w, cut, p);
    }

    bool completesLiteral(std::size_t literal, std::size_t p) const {
        const ScanToken& t = e_.tokens[literal];
        const char16_t quote = e_.text[t.offset];
        std::size_t i = t.offset + 1;
        while (i < p) {
            if (e_.text[i] != quote) {
                ++i;
            } else if (i + 1 == p) {
                return true;
            } else {
                i += 2;
            }
        }
        return false;
    }

    // Where the code and comments of a line end.
    std::size_t codeEnd(std::uint32_t line) const {
        std::size_t end = e_.lineEnds[line - 1];
        while (end > e_.lineStarts[line - 1] && (e_.text[end - 1] == u' ' || e_.text[end - 1] == u'\t'))
            --end;
        return end;
    }

    void check(const char* what, bool ok, std::size_t p, const ca::Analysis& cut, const ca::Analysis& ref) {
        Tally& tally = tallies[what];
        ++tally.checked;
        if (ok) return;
        if (++tally.failed > 3) return;
        // The lines around the cut.
        std::size_t from = p, to = p;
        for (int n = 0; n < 3 && from > 0; --from)
            n += e_.text[from - 1] == u'\n';
        for (int n = 0; n < 3 && to < e_.text.size(); ++to)
            n += e_.text[to] == u'\n';
        ADD_FAILURE() << what << ": " << e_.name << " cut at " << p << "\n"
                      << fl::i18n::to_string(e_.text.substr(from, p - from)) << "<CUT>\n"
                      << fl::i18n::to_string(e_.text.substr(p, to - p)) << "\n---\n"
                      << describe(cut, ref);
    }

    std::string describe(const ca::Analysis& cut, const ca::Analysis& ref) const {
        const std::string a = printTree(cut), b = printTree(ref);
        std::size_t d = 0;
        while (d < a.size() && d < b.size() && a[d] == b[d])
            ++d;
        const std::size_t from = d > 150 ? d - 150 : 0;
        return "cut: ..." + a.substr(from, 300) + "\n" + ca::testing::describeErrors(cut) + "reference: ..." +
               b.substr(from, 300) + "\n" + ca::testing::describeErrors(ref);
    }

    const ca::Analysis& original(const Window& w) {
        auto& slot = originals_[{w.from, w.to}];
        if (!slot) slot = analyse(w.lead + e_.text.substr(w.from, w.to - w.from));
        return *slot;
    }

    std::size_t lineAt(std::size_t p) const {
        return static_cast<std::size_t>(std::upper_bound(e_.lineStarts.begin(), e_.lineStarts.end(), p) -
                                        e_.lineStarts.begin());
    }

    void blockComment(const Window& w, const std::u16string& cut, std::size_t p) {
        auto a = analyse(cut);
        const std::size_t line = lineAt(p);
        const std::size_t first = e_.lineStarts[line - 1] + indentOf(e_.text, e_.lineStarts[line - 1]);
        const bool markerLine = e_.text[first] == u'%' &&
                                (e_.text[first + 1] == u'{' || e_.text[first + 1] == u'}') &&
                                first + 2 + indentOf(e_.text, first + 2) == e_.lineEnds[line - 1];
        const bool splitsMarker = markerLine && p == first + 1;
        if (splitsMarker) return check("splits %{ or %}", !a->hasParseErrors(), p, *a, *a);
        const ca::Analysis& ref = original(w);
        check("in a block comment", !a->hasParseErrors() && sameTree(*a, ref, false), p, *a, ref);
    }

    void comment(const Window& w, const std::u16string& cut, std::size_t p, std::size_t inside) {
        auto a = analyse(cut);
        const std::size_t start = at(w, e_.tokens[inside].offset);
        const auto& comments = a->getComments();
        const bool endsAtCut = std::any_of(comments.begin(), comments.end(), [&](const auto& c) {
            return c.getStartPosition() == start && c.getClosingPosition() + 1 == at(w, p);
        });
        check("in a comment", endsAtCut, p, *a, *a);
    }

    void literal(const Window& w, const std::u16string& cut, std::uint32_t line, std::size_t p) {
        auto a = analyse(cut);
        const std::string wanted =
            std::to_string(line - lineOf(w) + 1 + std::count(w.lead.begin(), w.lead.end(), u'\n')) +
            ":UnterminatedText";
        const auto found = errors(*a);
        check("in a text literal", std::find(found.begin(), found.end(), wanted) != found.end(), p, *a, *a);
    }

    // Where the example's offset `p` stands in the analysed text.
    std::size_t at(const Window& w, std::size_t p) const { return p - w.from + w.lead.size(); }

    std::uint32_t lineOf(const Window& w) const {
        return static_cast<std::uint32_t>(
            std::upper_bound(e_.lineStarts.begin(), e_.lineStarts.end(), w.from) - e_.lineStarts.begin());
    }

    void blankLine(const Window& w, const std::u16string& cut, std::uint32_t line, std::size_t p,
                   std::size_t first) {
        auto a = analyse(cut);
        const ca::Analysis& ref = original(w);
        const bool same = !a->hasParseErrors() && sameTree(*a, ref, false);
        const bool leading = p <= first;
        if (goesOnInto(e_, leading ? line : line + 1)) {
            return check("blank line ends a continued statement", !same, p, *a, ref);
        }
        auto header = e_.headerIndent.find(first);
        if (leading && header != e_.headerIndent.end() && first - p < header->second) {
            return check("closing line left of its header", a->hasParseErrors(), p, *a, ref);
        }
        check("blank line", same, p, *a, ref);
    }

    void midLine(const Window& w, const std::u16string& cut, std::size_t p) {
        auto a = analyse(cut);
        // The tokens on either side of the line end, as the cut text reads them.
        const auto& tokens = a->data().tokens;
        const std::size_t q = at(w, p);
        auto at = std::lower_bound(tokens.begin(), tokens.end(), q,
                                   [](const ScanToken& t, std::size_t o) { return t.offset < o; });
        if (at == tokens.end() || at->kind != TokenKind::LineEnd || at->offset != q) {
            return check("the line end put in is a line end", false, p, *a, *a);
        }
        auto before = at;
        while (before != tokens.begin() && !isCode(*(before - 1)))
            --before;
        auto after = at + 1;
        while (after != tokens.end() && !isCode(*after))
            ++after;
        const bool hasBefore = before != tokens.begin() && (before - 1)->line == at->line;
        const bool hasAfter = after != tokens.end() && after->line == at->line + 1;
        const std::size_t bracket = e_.opener[tokenFrom(e_, p)];
        const Role role = bracket == kNone ? Role::Parentheses : e_.roles[bracket];
        const bool continues = (bracket != kNone && role == Role::Parentheses) ||
                               (hasBefore && continuesAfter(*(before - 1))) ||
                               (hasAfter && continuesBefore(*after));
        if (continues) {
            // Lines differ by one: the trees are compared without them.
            auto ref = analyse(withAt(w, p, u" "));
            return check("line end continues the statement", alike(*a, *ref, false), p, *a, *ref);
        }
        const bool rows = bracket != kNone && role == Role::Rows;
        const bool outputs = bracket != kNone && role == Role::Outputs;
        auto ref = analyse(withAt(w, p, outputs ? u",\n" : u";\n"));
        check(outputs ? "line end separates outputs"
              : rows  ? "line end separates rows"
                      : "line end ends the statement",
              alike(*a, *ref, true), p, *a, *ref);
    }

    static std::string firstErrorLine(const ca::Analysis& a) {
        const std::string first = errors(a).front();
        return first.substr(0, first.find(':'));
    }

    // Both without errors and with the same statements, or both with errors (from the same line, when the
    // lines are the same): recovering from an error goes by lines, so what follows one may differ.
    static bool alike(const ca::Analysis& a, const ca::Analysis& b, bool sameLines) {
        if (a.hasParseErrors() != b.hasParseErrors()) return false;
        if (a.hasParseErrors()) return !sameLines || firstErrorLine(a) == firstErrorLine(b);
        return sameTree(a, b, sameLines);
    }

    const Example& e_;
    int cuts_ = 0;
    std::map<std::pair<std::size_t, std::size_t>, std::shared_ptr<ca::Analysis>> originals_;
};

TEST(ImplicitContinuation, EveryExampleCutAtEveryPositionOfEveryLine) {
    std::map<std::string, Tally> total;
    for (const auto& source : ca::testing::loadExamples()) {
        const Example e = prepare(source);
        Cutter cutter(e);
        cutter.cutEverywhere();
        for (const auto& [what, tally] : cutter.tallies) {
            total[what].checked += tally.checked;
            total[what].failed += tally.failed;
        }
    }
    int checked = 0;
    for (const auto& [what, tally] : total) {
        std::printf("%-40s %6d cuts, %d failed\n", what.c_str(), tally.checked, tally.failed);
        checked += tally.checked;
    }
    EXPECT_GT(checked, 50000);
    EXPECT_GT(total["line end continues the statement"].checked, 1000);
    EXPECT_GT(total["line end ends the statement"].checked, 1000);
    EXPECT_GT(total["line end separates rows"].checked, 100);
}

// The texts the language description names.
TEST(ImplicitContinuation, TheDocumentedCases) {
    for (const char* text :
         {"y =\nx + 1;\n", "if a\n> 0\n    b = 1;\nend\n", "z = a &&\n    b;\n", "for k =\n1:3\nend\n",
          "c = 1 ...\n    + 2;\n", "f = @\nsin;\n", "w = a\n.* b;\n",
          // Line ends in parentheses and in an output list, where the cut tests found them mishandled.
          "x = 1;\nfor (\nk = 1:3)\nend\n", "x = 1;\n[a, ~\n, b] = f();\n",
          "function a\nx = f(\nend);\nfunction b\nz = 1;\n"}) {
        auto analysis = analyse(std::string(text));
        EXPECT_FALSE(analysis->hasParseErrors()) << text << ca::testing::describeErrors(*analysis);
    }
    // The continued line is one statement: an assignment, not an assignment and an expression.
    EXPECT_EQ(printTree(*analyse(std::string("y =\nx + 1;\n"))),
              "File:1-2(Script:1-2(Assignment:1-2(Identifier BinaryOp:2(Identifier Number))))");
}

}  // namespace
