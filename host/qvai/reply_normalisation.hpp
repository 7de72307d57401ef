#pragma once

#include <string>
#include <vector>

namespace qvai {

// A model reply made readable for the completion library's extraction, which takes the first code block
// fenced as "```ostrel" up to the next fence: a reasoning model's thoughts (<think>...</think>) go, a
// reply without any ostrel block whose first block has no
// tag, or a tag that names no other language ("Ostrel", "code", "ost"), gets that block tagged ostrel;
// an ostrel block that the token limit cut before its closing fence gets one, and backticks that code in
// the block writes inside a line (a text `"```"`) become `kInnerBacktick`. What was changed is logged
// on the channel "qvai::ReplyNormalisation" at the value level and added to `notes`, in plain words.
std::string normaliseReply(std::string reply, std::vector<std::string>* notes = nullptr);

// What `normaliseReply` writes for each backtick of a run of three that code writes inside a line of the
// ostrel block: the library would end the block there. A private-use character, which no code holds.
inline constexpr char16_t kInnerBacktick = u'\uE060';

// Puts back the backticks `normaliseReply` stood in for, in a text the library made of the reply.
void restoreInnerBackticks(std::u16string& text);

}  // namespace qvai
