// The HTTP backends' reply parsing: a chat-completions body or an infill body. Input: a byte choosing
// the backend, then the body.
#include <stdexcept>

#include "fuzz_input.hpp"
#include "fuzz_targets.hpp"
#include "qvai/infill_backend.hpp"
#include "qvai/openai_backend.hpp"

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
}

}  // namespace ostrel_fuzz
