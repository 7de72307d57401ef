#include "fit/reply_shape.hpp"

#include <algorithm>

#include "fit/text_lines.hpp"

namespace fit {
namespace {

constexpr std::u16string_view kOpeningFence = u"```ostrel";

// The blanks and line breaks between the opening fence's tag and the code.
std::u16string_view leadingWhitespace(const fl::ustring& reply) {
    const std::size_t fence = reply.find(kOpeningFence);
    if (fence == fl::ustring::npos) return {};
    const std::u16string_view after = std::u16string_view(reply).substr(fence + kOpeningFence.size());
    std::size_t i = 0;
    while (i < after.size() && (text::isBlank(after[i]) || after[i] == u'\n' || after[i] == u'\v'))
        ++i;
    return after.substr(0, i);
}

// Blank lines between the code's last line and the closing fence.
std::size_t trailingBlankLines(const fl::ustring& reply, const fl::ustring& extracted) {
    const std::size_t fence = reply.find(kOpeningFence);
    if (fence == fl::ustring::npos || extracted.empty()) return 0;
    const std::size_t code = reply.find(extracted, fence);
    if (code == fl::ustring::npos) return 0;
    std::size_t breaks = 0;
    for (std::size_t i = code + extracted.size(); i < reply.size() && reply[i] != u'`'; ++i) {
        if (reply[i] == u'\n')
            ++breaks;
        else if (!text::isBlank(reply[i]))
            return 0;
    }
    return breaks > 1 ? breaks - 1 : 0;
}

// True when the lines of `text` end with `lines`, blanks aside; the cursor's line does not count when
// it is blank up to the cursor.
bool endsWithLines(std::u16string_view text, const std::vector<fl::ustring>& lines) {
    const auto startOfLine = [&](std::size_t end) {
        const std::size_t at = text.substr(0, end).rfind(u'\n');
        return at == std::u16string_view::npos ? 0 : at + 1;
    };
    std::size_t end = text.size();
    std::size_t start = startOfLine(end);
    if (text::isBlankText(text.substr(start, end - start))) {
        if (start == 0) return false;
        end = start - 1;
    }
    for (std::size_t i = lines.size(); i-- > 0;) {
        start = startOfLine(end);
        if (text::trim(text.substr(start, end - start)) != text::trim(lines[i])) return false;
        if (i > 0 && start == 0) return false;
        end = start - 1;
    }
    return !lines.empty();
}

// True when the lines of `text` start with `lines`, blanks aside; the cursor's line does not count when
// it is blank after the cursor.
bool startsWithLines(std::u16string_view text, const std::vector<fl::ustring>& lines) {
    std::size_t at = 0;
    std::size_t end = std::min(text.find(u'\n'), text.size());
    if (text::isBlankText(text.substr(0, end))) at = end + 1;
    for (const fl::ustring& line : lines) {
        if (at > text.size()) return false;
        end = std::min(text.find(u'\n', at), text.size());
        if (text::trim(text.substr(at, end - at)) != text::trim(line)) return false;
        at = end + 1;
    }
    return !lines.empty();
}

// The lines before the kept ones, when deduplication removed lines at the start (and perhaps at the
// end too: the kept ones then stand in the middle).
std::vector<fl::ustring> removedHeadOf(const std::vector<fl::ustring>& extracted,
                                       const std::vector<fl::ustring>& kept, bool keptFirstLines) {
    // When the kept lines are also the extracted ones' first lines, both ends are the same lines, as
    // `end` / `end`.
    const auto headEnd =
        extracted.end() - static_cast<std::ptrdiff_t>(std::min(kept.size(), extracted.size()));
    if (kept.size() < extracted.size() && std::equal(kept.begin(), kept.end(), headEnd))
        return {extracted.begin(), headEnd};
    if (kept.empty() || extracted.empty() || keptFirstLines) return {};
    const auto at = std::search(extracted.begin() + 1, extracted.end(), kept.begin(), kept.end());
    if (at == extracted.end()) return {};
    return {extracted.begin(), at};
}

// True when deduplication removed the reply's first lines: the kept ones start elsewhere, or stand in the
// middle, or are both the first and the last of the extracted ones and were cut from the end that writes
// out the code next to the cursor.
bool headWasRemoved(const std::vector<fl::ustring>& extracted, const std::vector<fl::ustring>& kept,
                    const std::vector<fl::ustring>& removedHead, bool keptFirstLines, const fl::ustring& file,
                    std::size_t cursor) {
    if (kept.empty() || extracted.empty()) return false;
    if (kept.front() != extracted.front() || (!removedHead.empty() && !keptFirstLines)) return true;
    return keptFirstLines && !removedHead.empty() &&
           endsWithLines(std::u16string_view(file).substr(0, cursor), removedHead) &&
           !startsWithLines(std::u16string_view(file).substr(cursor),
                            {extracted.begin() + static_cast<std::ptrdiff_t>(kept.size()), extracted.end()});
}

// Blank lines at the start of the kept lines, when code follows them.
std::size_t leadingBlankLinesOf(const std::vector<fl::ustring>& kept) {
    std::size_t blankLines = 0;
    while (blankLines < kept.size() && text::isBlankText(kept[blankLines]))
        ++blankLines;
    return blankLines < kept.size() ? blankLines : 0;
}

// The lines after the kept ones, when the kept lines are the extracted ones' first lines.
std::vector<fl::ustring> removedTailOf(const std::vector<fl::ustring>& extracted,
                                       const std::vector<fl::ustring>& kept) {
    if (kept.empty() || kept.size() >= extracted.size() ||
        !std::equal(kept.begin(), kept.end(), extracted.begin()))
        return {};
    return {extracted.begin() + static_cast<std::ptrdiff_t>(kept.size()), extracted.end()};
}

}  // namespace

ReplyShape shapeOf(const StageTexts& stages, const fl::ustring& file, std::size_t cursor) {
    ReplyShape shape;
    const std::u16string_view lead = leadingWhitespace(stages.reply);
    const std::size_t breaks = text::countLineFeeds(lead);
    // The first line break ends the fence's own line; a second one is the model's.
    shape.leadingLineBreak = breaks >= 2;
    shape.leadingBlankLines = breaks >= 3 ? breaks - 2 : 0;
    const std::size_t lastBreak = lead.rfind(u'\n');
    for (char16_t c : lastBreak == std::u16string_view::npos ? lead : lead.substr(lastBreak + 1))
        if (c == u' ' || c == u'\t') shape.leadingBlanks.push_back(c);

    shape.trailingBlankLines = trailingBlankLines(stages.reply, stages.extracted);
    const std::vector<fl::ustring> extracted = text::splitLines(stages.extracted);
    if (!extracted.empty()) shape.lastCodeLine = extracted.back();
    const std::vector<fl::ustring> kept = text::splitLines(stages.deduplicated);
    // The kept first line may read like the removed one (`    end` / `end` with the first removed).
    const bool keptFirstLines =
        kept.size() <= extracted.size() && std::equal(kept.begin(), kept.end(), extracted.begin());
    shape.removedHead = removedHeadOf(extracted, kept, keptFirstLines);
    shape.headRemoved = headWasRemoved(extracted, kept, shape.removedHead, keptFirstLines, file, cursor);
    // The blank lines between the removed lines and the kept ones are the model's too.
    if (shape.headRemoved) {
        shape.blankLinesAfterHead = leadingBlankLinesOf(kept);
    } else {
        shape.removedTail = removedTailOf(extracted, kept);
    }
    // The reply goes on after the removed lines: the blank lines before them end the completion.
    if (!shape.removedTail.empty() && shape.removedHead.empty()) {
        shape.lastCodeLine = kept.back();
        shape.trailingBlankLines = 0;
        while (shape.trailingBlankLines < shape.removedTail.size() &&
               text::isBlankText(shape.removedTail[shape.trailingBlankLines]))
            ++shape.trailingBlankLines;
    }
    const std::vector<fl::ustring>& code =
        !shape.removedTail.empty() && shape.removedHead.empty() ? kept : extracted;
    shape.lastCodeLines.assign(
        code.end() - static_cast<std::ptrdiff_t>(std::min<std::size_t>(code.size(), 3)), code.end());
    return shape;
}

}  // namespace fit
