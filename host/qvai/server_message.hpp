#pragma once

#include <string>

namespace qvai {

// What a server says in a body about why it refused or failed a request (the message of a JSON error
// body, or the body as text), on one line, at most about 200 bytes, with `key` masked; empty when it
// says nothing.
std::string serverMessage(const std::string& body, const std::string& key);

}  // namespace qvai
