#pragma once

#include <cstdint>
#include <functional>
#include <type_traits>

#include "qvai/core/gen/chat_completion.hpp"
#include "qvai/core/gen/chat_completion_message.hpp"

namespace qvai {

// Per-request token handed out by the client and handed back with the request; callers only pass it on.
struct RequestContext {
    std::uint64_t sequence = 0;
};
static_assert(std::is_trivially_copyable_v<RequestContext>);

// Called once per request, from a thread of the client's choosing: the success flag and the reply.
using ChatCompletionCallback = std::function<void(bool, core::gen::ChatCompletionMessage)>;

// The AI client service, registered in the service framework under this interface.
class IQvaiClient {
  public:
    virtual ~IQvaiClient() = default;

    // Starts the request and returns; the callback gets the reply later.
    virtual void sendChatCompletion(core::gen::ChatCompletion request, ChatCompletionCallback callback,
                                    RequestContext context) = 0;
    virtual RequestContext requestContext() = 0;
};

}  // namespace qvai
