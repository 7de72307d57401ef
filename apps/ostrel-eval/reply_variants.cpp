#include "reply_variants.hpp"

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "fl/i18n.hpp"
#include "statement_lines.hpp"
#include "text_lines.hpp"

namespace ostrel_eval {
namespace {

// The prefix from the start of the second-last line before the cursor; a partly written cursor line
// counts as one of the two.
fl::ustring lastTwoLinesBefore(const fl::ustring& cut, std::size_t cursor) {
    std::size_t start = cursor;
    while (start > 0 && cut[start - 1] != u'\n')
        --start;
    // Only blanks before the cursor: two whole lines precede them. Otherwise the cursor's line from its
    // start is the first of the two.
    const bool onlyBlanks = leadingBlanks(cut, start, cursor) == cursor - start;
    int linesLeft = onlyBlanks ? 2 : 1;
    while (linesLeft > 0 && start > 0) {
        --start;  // the previous line's line feed
        while (start > 0 && cut[start - 1] != u'\n')
            --start;
        --linesLeft;
    }
    return cut.substr(start, cursor - start);
}

// The next two non-blank lines after the cursor, each with the line end before it.
fl::ustring nextTwoLinesAfter(const fl::ustring& cut, std::size_t cursor) {
    fl::ustring rest = cut.substr(cursor);
    fl::ustring out;
    int found = 0;
    for (const LineSpan& line : splitLines(rest)) {
        if (found == 2) break;
        if (line.start == 0) continue;  // the rest of the cursor's line is no line of its own
        if (isBlankLine(rest, line)) continue;
        out += u'\n';
        out += rest.substr(line.start, line.contentEnd - line.start);
        ++found;
    }
    return out;
}

// The column the blanks of `indent` reach, a tab going on to the next multiple of `tabSize`.
std::size_t indentWidth(const fl::ustring& indent, unsigned tabSize) {
    std::size_t width = 0;
    for (const char16_t c : indent)
        width = c == u'\t' ? (width / tabSize + 1) * tabSize : width + 1;
    return width;
}

// `indent` without its first `columns` columns; a tab that reaches past them leaves spaces for the rest.
fl::ustring withoutColumns(const fl::ustring& indent, std::size_t columns, unsigned tabSize) {
    std::size_t width = 0, used = 0;
    while (used < indent.size() && width < columns)
        width = indent[used++] == u'\t' ? (width / tabSize + 1) * tabSize : width + 1;
    return fl::ustring(width > columns ? width - columns : 0, u' ') + indent.substr(used);
}

// A line of the truth that starts at a line start, with its indentation. A blank-line cursor's first
// line has its indentation in the file (ownIndent); a mid-line or line-end cursor's first line is the
// rest of a line and has none to change.
struct IndentedLine {
    fl::ustring indent, code;
    bool blank = false;
};

std::vector<IndentedLine> indentedLines(const EvalCase& evalCase) {
    std::vector<IndentedLine> lines;
    const fl::ustring& truth = evalCase.truth;
    for (const LineSpan& span : splitLines(truth)) {
        const bool restOfLine =
            span.start == 0 && (evalCase.kind == CursorKind::MidLine || evalCase.kind == CursorKind::LineEnd);
        const std::size_t blanks = restOfLine ? 0 : leadingBlanks(truth, span.start, span.contentEnd);
        IndentedLine line{truth.substr(span.start, blanks),
                          truth.substr(span.start + blanks, span.end - span.start - blanks), false};
        if (span.start == 0 && evalCase.kind == CursorKind::BlankLine) line.indent = evalCase.ownIndent;
        line.blank = restOfLine || isBlankLine(truth, span);
        lines.push_back(std::move(line));
    }
    return lines;
}

fl::ustring joined(const std::vector<IndentedLine>& lines) {
    fl::ustring out;
    for (const IndentedLine& line : lines)
        out += line.indent + line.code;
    return out;
}

// As a chat model sends code: its own block starts at column 0 and keeps the lines' relative indentation.
fl::ustring shifted(const EvalCase& evalCase, unsigned tabSize) {
    std::vector<IndentedLine> lines = indentedLines(evalCase);
    std::size_t least = SIZE_MAX;
    for (const IndentedLine& line : lines)
        if (!line.blank) least = std::min(least, indentWidth(line.indent, tabSize));
    for (IndentedLine& line : lines)
        line.indent = line.blank ? fl::ustring() : withoutColumns(line.indent, least, tabSize);
    return joined(lines);
}

// As a model that indents with its own unit: each of the file's levels becomes four spaces; what a line
// has beyond whole levels stays as it is, and a continuation line keeps its offset from its statement's
// first line, which may stand above the cursor.
fl::ustring respaced(const EvalCase& evalCase, const fit::IndentSettings& style) {
    constexpr std::size_t kModelUnit = 4;
    const std::size_t unit = std::max(1u, style.indentSize);
    const auto respacedWidth = [&](std::size_t width) { return width / unit * kModelUnit + width % unit; };
    // The file as far as the truth goes, so that each of the truth's lines has its statement.
    const fl::ustring before = evalCase.cut.substr(0, std::min(evalCase.cursor, evalCase.cut.size()));
    const fl::ustring text = before + evalCase.truth;
    const std::vector<LineSpan> spans = splitLines(text);
    const std::vector<std::size_t> firstLines = statementFirstLines(text);
    const auto cursorLine = static_cast<std::size_t>(std::count(before.begin(), before.end(), u'\n'));
    const auto widthOf = [&](std::size_t line) {
        const LineSpan& span = spans[line];
        return indentWidth(text.substr(span.start, leadingBlanks(text, span.start, span.contentEnd)),
                           style.tabSize);
    };
    std::vector<IndentedLine> lines = indentedLines(evalCase);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        IndentedLine& line = lines[i];
        if (line.blank) continue;
        const std::size_t width = indentWidth(line.indent, style.tabSize);
        const std::size_t at = cursorLine + i;
        const bool continuation = at < firstLines.size() && firstLines[at] != at;
        const std::size_t from = continuation ? widthOf(firstLines[at]) : width;
        const std::size_t columns =
            continuation && width >= from ? respacedWidth(from) + width - from : respacedWidth(width);
        // A blank-line cursor's first line is typed after the file's own blanks, as in the exact reply.
        const bool typed = i == 0 && evalCase.kind == CursorKind::BlankLine;
        line.indent = typed ? fl::ustring() : fl::ustring(columns, u' ');
    }
    return joined(lines);
}

std::string fenced(const std::string& tag, const std::string& code, bool closed) {
    std::string out = "```" + tag + "\n" + code + "\n";
    if (closed) out += "```\n";
    return out;
}

}  // namespace

std::string_view variantName(ReplyVariant variant) {
    switch (variant) {
        case ReplyVariant::Exact:
            return "exact";
        case ReplyVariant::Prose:
            return "prose";
        case ReplyVariant::Flat:
            return "flat";
        case ReplyVariant::RepeatPrefix:
            return "repeat-prefix";
        case ReplyVariant::RepeatSuffix:
            return "repeat-suffix";
        case ReplyVariant::Truncated:
            return "truncated";
        case ReplyVariant::Untagged:
            return "untagged";
        case ReplyVariant::Shifted:
            return "shifted";
        case ReplyVariant::Respaced:
            return "respaced";
    }
    return "?";
}

ReplyVariant variantFromName(std::string_view name) {
    for (const ReplyVariant variant : kAllVariants)
        if (variantName(variant) == name) return variant;
    throw std::invalid_argument(
        "unknown reply variant '" + std::string(name) +
        "' (exact, prose, flat, repeat-prefix, repeat-suffix, truncated, untagged, shifted, respaced)");
}

fl::ustring replyCode(const EvalCase& evalCase, ReplyVariant variant, const fit::IndentSettings& style) {
    switch (variant) {
        case ReplyVariant::Flat:
            return withoutIndentation(evalCase.truth);
        case ReplyVariant::RepeatPrefix:
            return lastTwoLinesBefore(evalCase.cut, evalCase.cursor) + evalCase.truth;
        case ReplyVariant::RepeatSuffix:
            return evalCase.truth + nextTwoLinesAfter(evalCase.cut, evalCase.cursor);
        case ReplyVariant::Shifted:
            return shifted(evalCase, style.tabSize);
        case ReplyVariant::Respaced:
            return respaced(evalCase, style);
        default:
            return evalCase.truth;
    }
}

std::string plannedReply(const EvalCase& evalCase, ReplyVariant variant, const fit::IndentSettings& style) {
    const std::string code = fl::i18n::to_string(replyCode(evalCase, variant, style));
    switch (variant) {
        case ReplyVariant::Prose:
            return "Here is the code that continues your program:\n\n" + fenced("ostrel", code, true) +
                   "\nIt keeps the variables you already defined.\n";
        case ReplyVariant::Truncated:
            return fenced("ostrel", code, false);
        case ReplyVariant::Untagged:
            return fenced("", code, true);
        default:
            return fenced("ostrel", code, true);
    }
}

}  // namespace ostrel_eval
