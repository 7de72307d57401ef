#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace qvai {

// How the host's AI client reaches a model. Field names follow the "ostrel.ai" settings leaves.
struct ClientOptions {
    std::string Backend = "local";  // "local", "openai", "infill" or "reply-file"
    std::string Endpoint;           // base URL of the server; empty: http://127.0.0.1:8080
    std::string Model;              // sent to "openai" servers; empty: left out
    std::string ApiKeyVariable;     // name of the environment variable holding the key; empty: no key
    int TimeoutMs = 30000;          // whole request, connection included
    int MaxTokens = 256;
    double Temperature = 0.2;
    std::vector<std::string> CorpusFolders;  // "local": folders of .ost files besides the built-in ones
    bool UseBuiltinCorpus = true;            // "local": the examples and the library's Ostrel sources
    std::string ReplyFile;                   // "reply-file": the file whose text is the reply
    std::size_t MaxInFlight = 4;             // requests worked on at once
    std::size_t MaxQueued = 1024;            // requests waiting beyond those; more are answered empty
    std::size_t MaxReplyBytes = 8 * 1024 * 1024;
};

}  // namespace qvai
