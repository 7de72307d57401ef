#include "server_options.hpp"

namespace ostrel_lsp {

qvai::ClientOptions ModelOverrides::over(qvai::ClientOptions options) const {
    if (backend) options.Backend = *backend;
    if (endpoint) options.Endpoint = *endpoint;
    if (model) options.Model = *model;
    if (apiKeyVariable) options.ApiKeyVariable = *apiKeyVariable;
    if (replyFile) options.ReplyFile = *replyFile;
    if (timeoutMs) options.TimeoutMs = *timeoutMs;
    options.CorpusFolders.insert(options.CorpusFolders.end(), corpusFolders.begin(), corpusFolders.end());
    return options;
}

}  // namespace ostrel_lsp
