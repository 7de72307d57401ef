#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "completion_scheduler.hpp"
#include "diagnostics_publisher.hpp"
#include "document_store.hpp"
#include "json_rpc.hpp"
#include "message_framing.hpp"
#include "message_writer.hpp"
#include "model_client.hpp"
#include "model_status.hpp"
#include "server_options.hpp"
#include "settings/core/settings_store.hpp"
#include "settings_layers.hpp"

namespace ostrel_lsp {

// The language server: reads messages on the calling thread and dispatches them. Completions run on
// the scheduler's workers and diagnostics on the publisher's thread; both answer through the writer.
class Server {
  public:
    Server(const ServerOptions& options, MessageWriter& writer);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // Serves until `exit` or the end of the input; returns the process's exit status (0 after a
    // shutdown request, 1 otherwise).
    int run(FrameReader& reader);

    // Ends pending completions and stops the workers; false when one is still inside a model call.
    bool stop();

  private:
    enum class State { Starting, Running, ShuttingDown, Exited };

    void handleFrame(const Frame& frame);
    void handle(const rpc::Incoming& message);
    nlohmann::json dispatchRequest(const rpc::Incoming& message);  // the result; throws for errors
    void dispatchNotification(const rpc::Incoming& message);

    nlohmann::json initialize(const nlohmann::json& params);
    void didOpen(const nlohmann::json& params);
    void didChange(const nlohmann::json& params);
    void didClose(const nlohmann::json& params);
    void didChangeConfiguration(const nlohmann::json& params);
    void cancelRequest(const nlohmann::json& params);
    // Hands a completion to the scheduler; the reply is sent when it ends.
    void completion(const rpc::Incoming& message, bool inlineCompletion);
    nlohmann::json formatting(const nlohmann::json& params, bool range);

    void applyClientSettings(const nlohmann::json& settings);
    void checkSettingsFile();  // tells the user of a file the store rejected, once per problem
    void updateModel();
    void logToClient(int type, const std::string& text);
    void tellUser(int type, const std::string& text);  // shown, not only logged
    void modelReplied(bool success);

    ServerOptions options_;
    MessageWriter& writer_;
    settings::core::SettingsStore store_;
    SettingsLayers layers_;
    std::unique_ptr<ModelService> model_;
    ModelStatus modelStatus_;
    std::mutex modelMutex_;  // one model update at a time (protocol thread, settings thread)
    std::atomic<int> debounceMs_;
    DocumentStore documents_;
    std::unique_ptr<DiagnosticsPublisher> diagnostics_;
    std::unique_ptr<CompletionScheduler> scheduler_;
    State state_ = State::Starting;
    bool exitAfterShutdown_ = false;
    std::vector<std::string> workspaceFolders_;  // under modelMutex_
    std::string modelProblem_;                   // the last one told, under modelMutex_
    std::string settingsFileProblem_;            // the last one told
    // Last, so that they end first: a change of the user's file must not reach a half-destroyed server.
    std::vector<foundation::msg_svc::eventmgr::ScopedConnection> storeListeners_;
};

}  // namespace ostrel_lsp
