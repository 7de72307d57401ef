// Reporting errors and warnings, and building the tree's nodes from the pending children.

#include "ca/parser/parser_internals.hpp"
#include "fl/i18n.hpp"

namespace ca::detail::parsing {

void Parser::diagnose(std::uint32_t offset, Severity severity, const char* id, std::string text) {
    std::uint32_t line = lineOf(offset);
    std::uint32_t column = line <= lineCount() && lineCount() > 0 ? offset - d_.lineStarts[line - 1] + 1 : 1;
    d_.diagnostics.push_back(Diagnostic{offset, line, column, severity, id, std::move(text)});
}

void Parser::warn(std::uint32_t offset, const char* id, std::string text) {
    diagnose(offset, Severity::Warning, id, std::move(text));
}

void Parser::error(const PTok& at, const char* id, std::string text) {
    diagnose(at.offset, Severity::Error, id, std::move(text));
    failed_ = true;
}

// A statement that runs into the end of the text was cut there: no error, but nothing more to read.
void Parser::unexpected(const PTok& t) {
    if (t.eof) {
        if (wholeFile()) {
            error(t, "IncompleteStatement",
                  "The text ends before the statement at line " + std::to_string(statementLine_) +
                      " is complete.");
        }
        failed_ = true;
        return;
    }
    error(t, "UnexpectedToken", "Unexpected " + describe(t) + " at line " + std::to_string(t.line) + ".");
}

bool Parser::expect(Op op) {
    const PTok& t = cur();
    if (t.op == op && (t.kind == TokenKind::Punctuation || t.kind == TokenKind::Operator)) {
        take();
        return true;
    }
    unexpected(t);
    return false;
}

void Parser::finishDiagnostics() {
    // A last line without line end may have been cut in the middle.
    const std::uint32_t cutLine = endsWithLineEnd_ || wholeFile() ? 0 : lineCount();
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

std::uint32_t Parser::finishRaw(NodeKind kind, std::uint32_t from, std::uint32_t line, std::uint32_t start,
                                std::uint32_t closing) {
    auto& tree = d_.tree;
    auto index = static_cast<std::uint32_t>(tree.nodes.size());
    tree.nodes.push_back(ca::astapi::NodeRecord{line, start, closing,
                                                static_cast<std::uint32_t>(tree.children.size()),
                                                static_cast<std::uint32_t>(pending_.size() - from), kind});
    // Most nodes are leaves: nothing to move from the pending children to the tree.
    if (from == pending_.size()) {
        pending_.push_back(index);
        return index;
    }
    tree.children.insert(tree.children.end(), pending_.begin() + from, pending_.end());
    pending_.resize(from);
    pending_.push_back(index);
    return index;
}

std::uint32_t Parser::finishAt(NodeKind kind, std::uint32_t from, std::uint32_t tok) {
    const PTok& t = toks_[tok];
    return finishRaw(kind, from, t.line, t.offset, std::max(closingNow(), t.offset));
}

std::uint32_t Parser::finishFrom(NodeKind kind, std::uint32_t from) {
    const auto& first = d_.tree.nodes[pending_[from]];
    return finishRaw(kind, from, first.line, first.start, std::max(closingNow(), first.start));
}

std::uint32_t Parser::leaf(NodeKind kind) {
    std::uint32_t tok = take();
    const PTok& t = toks_[tok];
    return finishRaw(kind, mark(), t.line, t.offset, t.end - 1);
}

// A dotted name (pkg.fn, get.Prop) as one leaf; the tokens must touch.
std::uint32_t Parser::dottedOrIdentifier(Role role) {
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

void Parser::enterNesting(const PTok& at) {
    if (++nesting_ > kMaxNesting) {
        throw InvalidAnalysisException("The text nests brackets or blocks deeper than " +
                                       std::to_string(kMaxNesting) + " levels (line " +
                                       std::to_string(at.line) + ").");
    }
}

}  // namespace ca::detail::parsing
