#pragma once

#include <string>
#include <string_view>

#include "eval_case.hpp"
#include "fit/completion_edit.hpp"

namespace ostrel_eval {

// How the planned model reply wraps the truth.
enum class ReplyVariant {
    Exact,         // the truth in an ostrel fence
    Prose,         // a sentence before and after the fence
    Flat,          // every line's leading blanks removed
    RepeatPrefix,  // the two lines before the cursor first (a mid-line cursor's line from its start)
    RepeatSuffix,  // the next two non-blank lines after the truth appended
    Truncated,     // no closing fence, as a reply cut by a token limit
    Untagged,      // a fence without a language tag
    Shifted,       // the least-indented line moved to column 0, the others kept relative to it
    Respaced,      // each level of the file's unit written as four spaces
};

inline constexpr ReplyVariant kAllVariants[] = {
    ReplyVariant::Exact,        ReplyVariant::Prose,        ReplyVariant::Flat,
    ReplyVariant::RepeatPrefix, ReplyVariant::RepeatSuffix, ReplyVariant::Truncated,
    ReplyVariant::Untagged,     ReplyVariant::Shifted,      ReplyVariant::Respaced};

std::string_view variantName(ReplyVariant variant);
// Throws std::invalid_argument for an unknown name.
ReplyVariant variantFromName(std::string_view name);

// The code the reply carries, before fencing; `style` is the file's (its unit and tab width), which the
// respaced and shifted shapes read.
fl::ustring replyCode(const EvalCase& evalCase, ReplyVariant variant, const fit::IndentSettings& style = {});
// The whole reply text, UTF-8.
std::string plannedReply(const EvalCase& evalCase, ReplyVariant variant,
                         const fit::IndentSettings& style = {});

}  // namespace ostrel_eval
