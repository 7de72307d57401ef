// The HTTP backends' reply parsing: a chat-completions body or an infill body; the body read as a reply
// the client normalises for the library. Input: a byte choosing the backend, then the body.
#include <stdexcept>

#include "fuzz_input.hpp"
#include "fuzz_targets.hpp"
#include "qvai/infill_backend.hpp"
#include "qvai/openai_backend.hpp"
#include "qvai/reply_normalisation.hpp"

namespace ostrel_fuzz {

void runModelReply(std::string_view bytes) {
    FuzzInput input(bytes);
    const bool infill = (input.byte() & 1) != 0;
    const std::string body(input.rest());
    try {
        if (infill) {
            qvai::infillReplyText(body);
        } else {
            qvai::openAiReplyText(body);
        }
    } catch (const std::runtime_error&) {
        // Not a reply with a text: the client answers with an empty message.
    }
    // Normalised once, a reply without reasoning tags (whose removal may uncover more) stays as it is.
    const std::string normalised = qvai::normaliseReply(body);
    if (body.find("think>") == std::string::npos && qvai::normaliseReply(normalised) != normalised)
        throw PropertyViolation("a normalised reply normalises to itself");
}

}  // namespace ostrel_fuzz
