#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <vector>

namespace qvai {

struct HttpReply {
    long status = 0;
    std::string body;
    std::string redirect;  // where a 3xx reply points; redirects are not followed, so a key stays put
};

struct HttpLimits {
    int timeoutMs = 30000;
    std::size_t maxBodyBytes = 8 * 1024 * 1024;
};

// POSTs a JSON body and returns the status and body. Throws std::runtime_error for a transport failure,
// a time-out, a body over the limit or cancellation. Header values are never put into messages.
HttpReply postJson(const std::string& url, const std::string& body, const std::vector<std::string>& headers,
                   const HttpLimits& limits, const std::atomic<bool>& cancelled);

// `base` with `path` appended unless it already ends with it; a trailing slash on `base` is dropped and
// its query, if any, kept at the end.
std::string joinUrl(std::string base, const std::string& path);

}  // namespace qvai
