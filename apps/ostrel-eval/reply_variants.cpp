#include "reply_variants.hpp"

#include <stdexcept>
#include <vector>

#include "fl/i18n.hpp"
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
    }
    return "?";
}

ReplyVariant variantFromName(std::string_view name) {
    for (const ReplyVariant variant : kAllVariants)
        if (variantName(variant) == name) return variant;
    throw std::invalid_argument("unknown reply variant '" + std::string(name) +
                                "' (exact, prose, flat, repeat-prefix, repeat-suffix, truncated, untagged)");
}

fl::ustring replyCode(const EvalCase& evalCase, ReplyVariant variant) {
    switch (variant) {
        case ReplyVariant::Flat:
            return withoutIndentation(evalCase.truth);
        case ReplyVariant::RepeatPrefix:
            return lastTwoLinesBefore(evalCase.cut, evalCase.cursor) + evalCase.truth;
        case ReplyVariant::RepeatSuffix:
            return evalCase.truth + nextTwoLinesAfter(evalCase.cut, evalCase.cursor);
        default:
            return evalCase.truth;
    }
}

std::string plannedReply(const EvalCase& evalCase, ReplyVariant variant) {
    const std::string code = fl::i18n::to_string(replyCode(evalCase, variant));
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
