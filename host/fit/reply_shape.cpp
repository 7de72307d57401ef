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

}  // namespace

ReplyShape shapeOf(const StageTexts& stages) {
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
    // The lines before the kept ones (when the kept lines are also the extracted ones' first lines,
    // both ends are the same lines, as `end` / `end`).
    const auto headEnd =
        extracted.end() - static_cast<std::ptrdiff_t>(std::min(kept.size(), extracted.size()));
    // The kept first line may read like the removed one (`    end` / `end` with the first removed).
    const bool keptFirstLines =
        kept.size() <= extracted.size() && std::equal(kept.begin(), kept.end(), extracted.begin());
    if (kept.size() < extracted.size() && std::equal(kept.begin(), kept.end(), headEnd)) {
        shape.removedHead.assign(extracted.begin(), headEnd);
    } else if (!kept.empty() && !keptFirstLines) {
        // Lines removed at both ends: the kept ones stand in the middle.
        const auto at = std::search(extracted.begin() + 1, extracted.end(), kept.begin(), kept.end());
        if (at != extracted.end()) shape.removedHead.assign(extracted.begin(), at);
    }
    if (!kept.empty() && !extracted.empty() &&
        (kept.front() != extracted.front() || (!shape.removedHead.empty() && !keptFirstLines)))
        shape.headRemoved = true;
    // The blank lines between the removed lines and the kept ones are the model's too.
    if (shape.headRemoved) {
        std::size_t blankLines = 0;
        while (blankLines < kept.size() && text::isBlankText(kept[blankLines]))
            ++blankLines;
        if (blankLines < kept.size()) shape.blankLinesAfterHead = blankLines;
    }
    if (!shape.headRemoved && !kept.empty() && kept.size() < extracted.size()) {
        bool prefixOfExtracted = true;
        for (std::size_t i = 0; i < kept.size() && prefixOfExtracted; ++i)
            prefixOfExtracted = kept[i] == extracted[i];
        if (prefixOfExtracted)
            shape.removedTail.assign(extracted.begin() + static_cast<std::ptrdiff_t>(kept.size()),
                                     extracted.end());
    }
    // The reply goes on after the removed lines: the blank lines before them end the completion.
    if (!shape.removedTail.empty() && shape.removedHead.empty()) {
        shape.lastCodeLine = kept.back();
        shape.trailingBlankLines = 0;
        while (shape.trailingBlankLines < shape.removedTail.size() &&
               text::isBlankText(shape.removedTail[shape.trailingBlankLines]))
            ++shape.trailingBlankLines;
    }
    return shape;
}

}  // namespace fit
