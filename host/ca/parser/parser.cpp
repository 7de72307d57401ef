// The parser's entry: one run over the text, and a second one when the cut edge misled the lexer.

#include "ca/parser/parser.hpp"

#include "ca/parser/parser_internals.hpp"

namespace ca::detail::parsing {

// Returns the offset of the line where the complete statements begin, when a cut edge precedes it
// and this run was not told the anchor yet; 0 otherwise (the analysis is then complete).
std::size_t Parser::run(std::vector<ScanToken> firstTokens) {
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
    controlHeaderLine_.assign(lineCount() + 2, 0);
    if (!parseFile()) return anchorOffset_;
    finishDiagnostics();
    d_.lineRoles = lineKind_;
    return 0;
}

bool Parser::parseFile() {
    const std::uint32_t root = mark();
    std::size_t firstCode = 0;
    while (toks_[firstCode].kind == TokenKind::LineEnd && !toks_[firstCode].eof)
        ++firstCode;
    const PTok& first = toks_[firstCode];
    const bool script =
        !(first.kind == TokenKind::Keyword && (first.word == Word::Function || first.word == Word::Classdef));
    const std::uint32_t body = mark();
    detectFunctionForm();
    if (knownAnchor_ > 0) {
        while (!toks_[pos_].eof && toks_[pos_].offset < knownAnchor_)
            ++pos_;
    } else if (!wholeFile()) {
        skipCutEdge();
        if (anchorPos_ > 0 && !toks_[anchorPos_].eof && toks_[anchorPos_].line > 1) {
            const std::size_t anchor = d_.lineStarts[toks_[anchorPos_].line - 1];
            if (relexingChanges(anchor, toks_[anchorPos_].line)) {
                anchorOffset_ = anchor;
                return false;
            }
        }
    }
    // A text that opens with the tail of a block comment begins inside something cut away, too.
    const bool cutComment = !d_.tokens.empty() && d_.tokens.front().kind == TokenKind::BlockComment &&
                            (d_.tokens.front().flags & lexer::kCutBlockComment) != 0;
    if (!wholeFile()) headCut_ = cutComment || headWasCut(firstCode);
    while (!cur().eof)
        parseLine();
    closeAtEnd();
    const auto lastCodeUnit = static_cast<std::uint32_t>(text_.empty() ? 0 : text_.size() - 1);
    if (script) finishRaw(NodeKind::Script, body, 1, 0, lastCodeUnit);
    d_.tree.root = finishRaw(NodeKind::File, root, 1, 0, lastCodeUnit);
    pending_.clear();
    return true;
}

}  // namespace ca::detail::parsing

namespace ca::detail {

std::unique_ptr<AnalysisData> analyseText(const fl::ustring& text, TextReading reading) {
    if (text.size() > kMaxTextLength) {
        throw InvalidAnalysisException("The text is longer than " + std::to_string(kMaxTextLength) +
                                       " code units.");
    }
    auto data = std::make_unique<AnalysisData>();
    data->text = text;
    const std::size_t anchor = parsing::Parser(*data, 0, reading).run({});
    if (anchor > 0) {
        auto again = std::make_unique<AnalysisData>();
        again->text = std::move(data->text);
        parsing::Parser(*again, anchor, reading).run(std::move(data->tokens));
        return again;
    }
    return data;
}

}  // namespace ca::detail
