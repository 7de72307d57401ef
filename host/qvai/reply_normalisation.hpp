#pragma once

#include <string>
#include <vector>

namespace qvai {

// A model reply made readable for the completion library's extraction, which takes the first code block
// fenced as "```ostrel" up to the next fence: a reasoning model's thoughts (<think>...</think>) go, a
// reply without any ostrel block whose first block has no
// tag, or a tag that names no other language ("Ostrel", "code", "ost"), gets that block tagged ostrel;
// an ostrel block that the token limit cut before its closing fence gets one. What was changed is logged
// on the channel "qvai::ReplyNormalisation" at the value level and added to `notes`, in plain words.
std::string normaliseReply(std::string reply, std::vector<std::string>* notes = nullptr);

}  // namespace qvai
