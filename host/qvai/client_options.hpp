#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace qvai {

// How the host's AI client reaches a model. Field names follow the "ostrel.ai" settings leaves.
struct ClientOptions {
    std::string Backend = "local";  // "local", "openai", "infill" or "reply-file"
    std::string Endpoint;  // base URL of the server (or the reply file); empty: http://127.0.0.1:8080
    std::string Model;     // sent to "openai" servers; empty: left out
    std::string ApiKeyVariable = "OSTREL_AI_API_KEY";  // environment variable holding the key; empty: none
    int TimeoutMs = 30000;                             // whole request, connection included
    int MaxTokens = 512;
    double Temperature = 0.2;
    std::vector<std::string> CorpusFolders;  // "local": folders of .ost files besides the built-in ones
    bool UseBuiltinCorpus = true;            // "local": the examples and the library's Ostrel sources
    // "local": the folders of the user's workspace, whose .ost files it also draws on. Unlike corpus
    // folders, one that does not exist is passed over: an editor may name folders that come and go.
    std::vector<std::string> WorkspaceFolders;
    std::string ReplyFile;                    // "reply-file": the file whose text is the reply
    std::size_t MaxInFlight = 4;              // requests worked on at once
    std::size_t MaxQueued = 1024;             // requests waiting beyond those; more are answered empty
    std::size_t MaxReplyBytes = 1024 * 1024;  // the HTTP body or reply file, before the reply is taken out
};

}  // namespace qvai
