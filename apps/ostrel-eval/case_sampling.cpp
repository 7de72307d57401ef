#include "case_sampling.hpp"

#include <algorithm>
#include <random>
#include <set>
#include <tuple>

#include "ca/lexer/token.hpp"
#include "editor_indent.hpp"
#include "prompt_key.hpp"
#include "text_lines.hpp"

namespace ostrel_eval {
namespace {

bool isCodeToken(ca::lexer::TokenKind kind) {
    using ca::lexer::TokenKind;
    switch (kind) {
        case TokenKind::Identifier:
        case TokenKind::Keyword:
        case TokenKind::Number:
        case TokenKind::CharArray:
        case TokenKind::String:
        case TokenKind::CommandWord:
        case TokenKind::Operator:
        case TokenKind::Punctuation:
            return true;
        default:
            return false;
    }
}

std::size_t lineIndexOf(const std::vector<LineSpan>& lines, std::size_t offset) {
    const auto after = std::upper_bound(lines.begin(), lines.end(), offset,
                                        [](std::size_t o, const LineSpan& l) { return o < l.start; });
    return static_cast<std::size_t>(after - lines.begin()) - 1;
}

std::vector<CursorCandidate> midLineCandidates(const fl::ustring& text, const std::vector<LineSpan>& lines) {
    std::vector<CursorCandidate> out;
    for (const ca::lexer::Token& token : ca::lexer::lex(text)) {
        if (!isCodeToken(token.kind)) continue;
        const std::size_t end = token.offset + token.text.size();
        if (end == 0 || end > text.size()) continue;
        const std::size_t index = lineIndexOf(lines, end - 1);
        const LineSpan& line = lines[index];
        if (end >= line.contentEnd) continue;
        // More code must follow on the line, or the cursor is a line end in disguise.
        const std::size_t rest = end + leadingBlanks(text, end, line.contentEnd);
        if (rest >= line.contentEnd || text[rest] == u'%' || text[rest] == u'\r') continue;
        out.push_back({end, index});
    }
    return out;
}

}  // namespace

std::vector<CursorCandidate> cursorCandidates(const fl::ustring& text, CursorKind kind) {
    const std::vector<LineSpan> lines = splitLines(text);
    if (kind == CursorKind::MidLine) return midLineCandidates(text, lines);
    std::vector<CursorCandidate> out;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const LineSpan& line = lines[i];
        if (isBlankLine(text, line)) continue;
        const std::size_t indent = leadingBlanks(text, line.start, line.contentEnd);
        switch (kind) {
            case CursorKind::LineStart:
                out.push_back({line.start, i});
                break;
            case CursorKind::BlankLine:
                if (indent > 0) out.push_back({line.start + indent, i});
                break;
            case CursorKind::LineEnd:
                if (i + 1 < lines.size()) out.push_back({line.contentEnd, i});
                break;
            case CursorKind::MidLine:
                break;
        }
    }
    return out;
}

std::vector<EvalCase> sampleCases(const std::vector<fl::ustring>& files, const SamplingRequest& request,
                                  const std::vector<fit::IndentSettings>& styles) {
    std::vector<EvalCase> out;
    if (request.kinds.empty() || request.cases == 0) return out;
    const std::size_t maxLines = std::clamp<std::size_t>(request.maxLines, 1, kMaxTruthLines);

    struct Pool {
        std::vector<std::pair<std::size_t, CursorCandidate>> cursors;  // (file, cursor)
    };
    std::vector<Pool> pools(request.kinds.size());
    std::vector<std::vector<LineSpan>> fileLines;
    for (const fl::ustring& text : files)
        fileLines.push_back(splitLines(text));
    for (std::size_t k = 0; k < request.kinds.size(); ++k)
        for (std::size_t f = 0; f < files.size(); ++f)
            for (const CursorCandidate& c : cursorCandidates(files[f], request.kinds[k]))
                pools[k].cursors.push_back({f, c});

    std::mt19937_64 random(request.seed);
    std::set<std::tuple<std::size_t, std::size_t, std::size_t>> taken;
    std::set<PromptKey> prompts;
    std::vector<std::size_t> failures(request.kinds.size(), 0);
    std::size_t turn = 0;
    // Each kind may fail to find a fresh cursor a bounded number of times, so the loop always ends.
    constexpr std::size_t kMaxFailures = 200;
    while (out.size() < request.cases) {
        bool anyKindLeft = false;
        for (std::size_t k = 0; k < request.kinds.size() && out.size() < request.cases; ++k) {
            const std::size_t slot = (turn + k) % request.kinds.size();
            const Pool& pool = pools[slot];
            if (pool.cursors.empty() || failures[slot] >= kMaxFailures) continue;
            anyKindLeft = true;
            const auto& [file, candidate] =
                pool.cursors[std::uniform_int_distribution<std::size_t>(0, pool.cursors.size() - 1)(random)];
            const CursorKind kind = request.kinds[slot];
            const std::vector<LineSpan>& lines = fileLines[file];
            const std::size_t least = kind == CursorKind::LineEnd ? 2 : 1;
            const std::size_t most = std::min(maxLines, lines.size() - candidate.line);
            if (most < least) {
                ++failures[slot];
                continue;
            }
            const std::size_t k_lines = std::uniform_int_distribution<std::size_t>(least, most)(random);
            if (!taken.insert({file, candidate.cursor, k_lines}).second) {
                ++failures[slot];
                continue;
            }
            const std::size_t truthEnd = lines[candidate.line + k_lines - 1].contentEnd;
            const std::size_t length = truthEnd - candidate.cursor;
            EvalCase evalCase =
                kind == CursorKind::BlankLine
                    ? cutOutAfterIndent(
                          files[file], candidate.cursor, length,
                          editorIndent(files[file], lines, candidate.line,
                                       file < styles.size() ? styles[file] : fit::IndentSettings{}))
                    : cutOut(files[file], candidate.cursor, length);
            // A truth of blanks only asks for nothing; two cases with one prompt cannot get two replies.
            if (normalizedCode(evalCase.truth).empty() ||
                !prompts.insert(promptKey(evalCase.cut, evalCase.cursor)).second) {
                ++failures[slot];
                continue;
            }
            evalCase.cut.clear();
            evalCase.cut.shrink_to_fit();
            evalCase.file = file;
            evalCase.kind = kind;
            evalCase.lines = k_lines;
            out.push_back(std::move(evalCase));
        }
        ++turn;
        if (!anyKindLeft) break;
    }
    return out;
}

}  // namespace ostrel_eval
