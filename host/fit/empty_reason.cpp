#include "fit/empty_reason.hpp"

#include "fit/text_lines.hpp"
#include "fl/i18n.hpp"

namespace fit {
namespace {

constexpr std::u16string_view kFence = u"```";

// Why extraction found no ostrel block in a reply that is not empty.
std::string whyNoCode(const fl::ustring& reply) {
    const std::size_t open = reply.find(kFence);
    if (open == fl::ustring::npos) return "the reply holds no fenced code block";
    std::size_t tagEnd = open + kFence.size();
    while (tagEnd < reply.size() && reply[tagEnd] != u'\n' && !text::isBlank(reply[tagEnd]))
        ++tagEnd;
    const std::u16string_view tag =
        std::u16string_view(reply).substr(open + kFence.size(), tagEnd - open - kFence.size());
    const bool closed = reply.find(kFence, tagEnd) != fl::ustring::npos;
    if (tag == u"ostrel")
        return closed ? "the reply's ostrel code block is empty"
                      : "the reply's ostrel code block has no closing fence (cut at the token limit?)";
    if (tag.empty()) return "the reply's first code block has no language tag";
    return "the reply's first code block is tagged \"" + fl::i18n::to_string(fl::ustring(tag)) +
           "\", not ostrel";
}

}  // namespace

Fitted nothingFrom(const StageTexts& stages) {
    Fitted fitted;
    if (stages.reply.empty()) {
        fitted.emptyStage = "model";
        fitted.reason = "the model gave no reply";
    } else if (stages.extracted.empty()) {
        fitted.emptyStage = "extraction";
        fitted.reason = whyNoCode(stages.reply);
    } else if (stages.deduplicated.empty()) {
        fitted.emptyStage = "deduplication";
        fitted.reason = "the whole reply repeats the code around the cursor";
    } else if (stages.validated.empty()) {
        fitted.emptyStage = "validation";
        fitted.reason = "the completion's first line has an error";
    } else if (stages.pruned.empty()) {
        fitted.emptyStage = "pruning";
        fitted.reason = "no part of the completion parses with the code around it";
    } else {
        fitted.emptyStage = "formatting";
        fitted.reason = "the formatter left nothing";
    }
    return fitted;
}

}  // namespace fit
