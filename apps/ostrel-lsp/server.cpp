#include "server.hpp"

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "file_uri.hpp"
#include "fl/i18n.hpp"
#include "formatting.hpp"
#include "guarded_completion.hpp"
#include "library_completion.hpp"
#include "mtcc/cache/settings_values.hpp"
#include "protocol_values.hpp"
#include "settings/context/context_registry.hpp"
#include "settings/core/default_settings.hpp"
#include "settings/core/settings_file.hpp"

namespace ostrel_lsp {
namespace {

constexpr int kLogError = 1;
constexpr int kLogWarning = 2;
constexpr int kLogInfo = 3;

std::filesystem::path settingsPath(const ServerOptions& options) {
    return options.settingsFile ? std::filesystem::path(*options.settingsFile)
                                : settings::core::defaultSettingsFilePath();
}

// The local folders of the client's workspace (workspaceFolders, or else rootUri), for the local backend.
std::vector<std::string> workspaceFoldersOf(const nlohmann::json& params) {
    std::vector<std::string> uris;
    if (const auto folders = params.find("workspaceFolders");
        folders != params.end() && folders->is_array()) {
        for (const auto& folder : *folders) {
            if (folder.is_object() && folder.contains("uri") && folder["uri"].is_string())
                uris.push_back(folder["uri"]);
        }
    } else if (const auto root = params.find("rootUri"); root != params.end() && root->is_string()) {
        uris.push_back(*root);
    }
    std::vector<std::string> paths;
    for (const std::string& uri : uris) {
        if (auto path = pathOfFileUri(uri)) paths.push_back(std::move(*path));
    }
    return paths;
}

// How the user knows the model: its backend and, for a model server, where it is.
std::string modelName(const qvai::ClientOptions& options) {
    if (options.Backend != "openai" && options.Backend != "infill")
        return "the " + options.Backend + " backend";
    return "the " + options.Backend + " model at " +
           (options.Endpoint.empty() ? std::string("http://127.0.0.1:8080") : options.Endpoint);
}

// A request error with its protocol code.
struct RequestError {
    int code;
    std::string message;
};

}  // namespace

Server::Server(const ServerOptions& options, MessageWriter& writer)
    : options_(options),
      writer_(writer),
      store_(settingsPath(options)),
      layers_(store_.root()),
      debounceMs_(options.debounceMs) {
    settings::context::installSettingsRoot(layers_.root());
    const qvai::ClientOptions trusted = options_.model.over(consistentClientOptions(*store_.root()));
    model_ = std::make_unique<ModelService>(trusted);
    model_->client().observeReplies([this](bool success) { modelReplied(success); });
    diagnostics_ = std::make_unique<DiagnosticsPublisher>(
        [this](const nlohmann::json& params) {
            writer_.send(rpc::notification("textDocument/publishDiagnostics", params));
        },
        std::chrono::milliseconds(options_.diagnosticsDelayMs));
    scheduler_ = std::make_unique<CompletionScheduler>(
        options_.complete
            ? options_.complete
            : CompletionScheduler::Complete([this](const fl::ustring& text, std::size_t cursor) {
                  return completeWithLibrary(text, cursor, consistentSettingsRecord(layers_));
              }),
        options_.workers, [this](std::thread::id worker) { model_->client().cancelRequestOf(worker); });
    for (const auto& [fullName, leaves] : settings::core::defaultSettingValues()) {
        storeListeners_.emplace_back(settings::core::addSettingsValueChangeListener(
            store_.root()->getSettingsByFullName(fullName),
            [this](const settings::core::SettingsValueChangeEvent&) {
                layers_.refresh();
                updateModel();
            }));
    }
}

Server::~Server() {
    model_->client().observeReplies(nullptr);
    storeListeners_.clear();
    stop();
    settings::context::installSettingsRoot(nullptr);
}

bool Server::stop() {
    return scheduler_->stop(std::chrono::milliseconds(500));
}

int Server::run(FrameReader& reader) {
    while (state_ != State::Exited) {
        const Frame frame = reader.next();
        if (frame.kind == Frame::Kind::End) break;
        handleFrame(frame);
        if (writer_.closed()) break;
    }
    // A client that leaves without shutdown (or vanishes) gets the status of an unclean end.
    return state_ == State::Exited && exitAfterShutdown_ ? 0 : 1;
}

void Server::handleFrame(const Frame& frame) {
    if (frame.kind != Frame::Kind::Message) {
        const int code = frame.kind == Frame::Kind::Oversized ? rpc::kInvalidRequest : rpc::kParseError;
        writer_.send(rpc::error(nullptr, code, frame.error));
        return;
    }
    std::string problem;
    const auto parsed = rpc::parseMessage(frame.body, problem);
    if (!parsed) {
        writer_.send(rpc::error(nullptr, rpc::kParseError, problem));
        return;
    }
    const auto message = rpc::classify(*parsed, problem);
    if (!message) {
        // A response to a request of ours (we send none that expect one) is ignored; anything else is wrong.
        if (parsed->is_object() && !parsed->contains("method") &&
            (parsed->contains("result") || parsed->contains("error"))) {
            return;
        }
        const nlohmann::json id = parsed->is_object() && parsed->contains("id") &&
                                          ((*parsed)["id"].is_string() || (*parsed)["id"].is_number_integer())
                                      ? (*parsed)["id"]
                                      : nlohmann::json();
        writer_.send(rpc::error(id, rpc::kInvalidRequest, problem));
        return;
    }
    handle(*message);
}

void Server::handle(const rpc::Incoming& message) {
    if (!message.isRequest) {
        try {
            dispatchNotification(message);
        } catch (const std::exception& e) {
            logToClient(kLogError, message.method + ": " + e.what());
        }
        return;
    }
    try {
        if (state_ == State::Starting && message.method != "initialize") {
            throw RequestError{rpc::kServerNotInitialized, "the server is not initialized yet"};
        }
        if (state_ == State::ShuttingDown) {
            throw RequestError{rpc::kInvalidRequest, "the server is shutting down"};
        }
        if (message.method == "textDocument/inlineCompletion" ||
            message.method == "textDocument/completion") {
            completion(message, message.method == "textDocument/inlineCompletion");
            return;  // answered when the scheduler ends it
        }
        writer_.send(rpc::result(message.id, dispatchRequest(message)));
    } catch (const RequestError& e) {
        writer_.send(rpc::error(message.id, e.code, e.message));
    } catch (const ParamsError& e) {
        writer_.send(rpc::error(message.id, rpc::kInvalidParams, message.method + ": " + e.what()));
    } catch (const nlohmann::json::exception& e) {
        writer_.send(rpc::error(message.id, rpc::kInvalidParams, message.method + ": " + e.what()));
    } catch (const std::exception& e) {
        writer_.send(rpc::error(message.id, rpc::kInternalError, message.method + ": " + e.what()));
    }
}

nlohmann::json Server::dispatchRequest(const rpc::Incoming& message) {
    const std::string& method = message.method;
    if (method == "initialize") {
        if (state_ != State::Starting) throw RequestError{rpc::kInvalidRequest, "initialize was sent twice"};
        nlohmann::json result = initialize(message.params);
        state_ = State::Running;
        return result;
    }
    if (method == "shutdown") {
        state_ = State::ShuttingDown;
        exitAfterShutdown_ = true;
        stop();
        return nullptr;
    }
    if (method == "textDocument/formatting") return formatting(message.params, false);
    if (method == "textDocument/rangeFormatting") return formatting(message.params, true);
    throw RequestError{rpc::kMethodNotFound, "unknown method '" + method + "'"};
}

void Server::dispatchNotification(const rpc::Incoming& message) {
    const std::string& method = message.method;
    if (method == "exit") {
        state_ = State::Exited;
        return;
    }
    if (state_ != State::Running)
        return;  // before initialize or after shutdown: dropped, as the protocol says
    if (method == "textDocument/didOpen") {
        didOpen(message.params);
    } else if (method == "textDocument/didChange") {
        didChange(message.params);
    } else if (method == "textDocument/didClose") {
        didClose(message.params);
    } else if (method == "workspace/didChangeConfiguration") {
        didChangeConfiguration(message.params);
    } else if (method == "$/cancelRequest") {
        cancelRequest(message.params);
    }
    // Other notifications ("initialized", "textDocument/didSave", "$/setTrace", ...) need nothing.
}

nlohmann::json Server::initialize(const nlohmann::json& params) {
    if (params.is_object()) {
        {
            const std::lock_guard lock(modelMutex_);
            workspaceFolders_ = workspaceFoldersOf(params);
        }
        if (const auto it = params.find("initializationOptions"); it != params.end())
            applyClientSettings(*it);
    }
    updateModel();  // the local backend draws on the workspace's files
    checkSettingsFile();
    return {{"capabilities",
             {{"positionEncoding", "utf-16"},
              {"textDocumentSync", {{"openClose", true}, {"change", 2}}},
              {"completionProvider", {{"resolveProvider", false}}},
              {"inlineCompletionProvider", true},
              {"documentFormattingProvider", true},
              {"documentRangeFormattingProvider", true}}},
            {"serverInfo", {{"name", "ostrel-lsp"}, {"version", "0.1"}}}};
}

void Server::didOpen(const nlohmann::json& params) {
    const nlohmann::json& item = member(params, "textDocument");
    const std::string uri = stringMember(item, "uri");
    documents_.open(uri, integerMember(item, "version"), fl::i18n::to_ustring(stringMember(item, "text")));
    const Document* document = documents_.find(uri);
    diagnostics_->changed(uri, document->version, document->text);
}

void Server::didChange(const nlohmann::json& params) {
    const nlohmann::json& item = member(params, "textDocument");
    const std::string uri = stringMember(item, "uri");
    const std::int64_t version = integerMember(item, "version");
    const std::vector<TextChange> changes = changesValue(member(params, "contentChanges"));
    if (!documents_.change(uri, version, changes)) throw ParamsError("the document " + uri + " is not open");
    scheduler_->documentChanged(uri, version);
    const Document* document = documents_.find(uri);
    diagnostics_->changed(uri, document->version, document->text);
}

void Server::didClose(const nlohmann::json& params) {
    const std::string uri = stringMember(member(params, "textDocument"), "uri");
    documents_.close(uri);
    scheduler_->documentClosed(uri);
    diagnostics_->closed(uri);
#if defined(__GLIBC__)
    // The analysis and completion of a large file leave their freed memory in the allocator's per-thread
    // pools, which keep it for the rest of the session: a closed file is the moment to give it back.
    malloc_trim(0);
#endif
}

void Server::didChangeConfiguration(const nlohmann::json& params) {
    applyClientSettings(params.is_object() && params.contains("settings") ? params["settings"]
                                                                          : nlohmann::json());
}

void Server::cancelRequest(const nlohmann::json& params) {
    const nlohmann::json& id = member(params, "id");
    scheduler_->cancel(id.dump());
}

void Server::checkSettingsFile() {
    // Without the user's file the defaults apply (another model, other indentation), or its last good
    // content while it is being edited: not silently. The store reads it again as it changes.
    const std::string problem = store_.lastError();
    if (!problem.empty() && problem != settingsFileProblem_) {
        tellUser(kLogWarning,
                 std::string("the settings file was not read, so ") +
                     (state_ == State::Starting ? "the defaults apply: " : "its last good settings stay: ") +
                     problem);
    }
    settingsFileProblem_ = problem;
}

void Server::completion(const rpc::Incoming& message, bool inlineCompletion) {
    checkSettingsFile();
    const std::string uri = stringMember(member(message.params, "textDocument"), "uri");
    const Position position = positionValue(member(message.params, "position"));
    const Document* document = documents_.find(uri);
    if (!document) throw ParamsError("the document " + uri + " is not open");

    // Only an inline completion the client asks for on its own (trigger kind 2) waits for a pause;
    // one the user invokes, and the completion request, start at once.
    bool automatic = false;
    if (inlineCompletion) {
        if (const auto context = message.params.find("context");
            context != message.params.end() && context->is_object()) {
            const auto kind = context->find("triggerKind");
            automatic = kind != context->end() && *kind == 2;
        }
    }
    CompletionJob job;
    job.requestKey = message.id.dump();
    job.uri = uri;
    job.version = document->version;
    job.text = document->text;
    job.cursor = offsetOf(*document->text, document->lineStarts, position);
    job.debounce = std::chrono::milliseconds(automatic ? debounceMs_.load() : 0);
    job.finish = [this, id = message.id, text = document->text, cursor = job.cursor, inlineCompletion](
                     Ending ending, const CompletionOutcome& outcome) {
        switch (ending) {
            case Ending::Answered:
            case Ending::FromCache:
                writer_.send(rpc::result(id, inlineCompletion
                                                 ? inlineCompletionResult(*text, outcome.edit)
                                                 : completionResult(*text, cursor, outcome.edit)));
                break;
            case Ending::Cancelled:
                writer_.send(rpc::error(id, rpc::kRequestCancelled, "the request was cancelled"));
                break;
            case Ending::Modified:
                writer_.send(rpc::error(id, rpc::kContentModified,
                                        "the document changed; the completion was dropped"));
                break;
            case Ending::ShutDown:
                writer_.send(rpc::error(id, rpc::kRequestCancelled, "the server is shutting down"));
                break;
        }
    };
    scheduler_->submit(std::move(job));
}

nlohmann::json Server::formatting(const nlohmann::json& params, bool range) {
    const std::string uri = stringMember(member(params, "textDocument"), "uri");
    const Document* document = documents_.find(uri);
    if (!document) throw ParamsError("the document " + uri + " is not open");
    const auto settings = consistentSettingsRecord(layers_);
    const auto indent =
        settingsOfFormattingOptions(member(params, "options"), ostrel_apps::indentSettingsOf(*settings));
    if (!indent) throw ParamsError("'options' needs a tabSize from 1 to 64 and a boolean insertSpaces");
    std::optional<LineRange> lines;
    if (range) {
        const nlohmann::json& span = member(params, "range");
        Position start = positionValue(member(span, "start"));
        Position end = positionValue(member(span, "end"));
        if (end.line > start.line && end.character == 0) --end.line;  // a range that ends at a line's start
        if (end.line < start.line) std::swap(end, start);
        lines = LineRange{static_cast<std::uint32_t>(std::min<std::int64_t>(start.line, UINT32_MAX - 1)),
                          static_cast<std::uint32_t>(std::min<std::int64_t>(end.line, UINT32_MAX - 1))};
    }
    return formattingEdits(*document->text, *indent, lines);
}

void Server::applyClientSettings(const nlohmann::json& settings) {
    const ClientSettingsOutcome outcome = layers_.applyClient(settings);
    // The user's own mistakes, which nothing else would show them: an editor only files a log message.
    for (const std::string& problem : outcome.problems)
        tellUser(kLogWarning, problem);
    if (outcome.debounceMs) debounceMs_ = *outcome.debounceMs;
    if (outcome.diagnosticsDelayMs)
        diagnostics_->setDelay(std::chrono::milliseconds(*outcome.diagnosticsDelayMs));
    updateModel();
}

void Server::updateModel() {
    const std::lock_guard lock(modelMutex_);
    try {
        // Each read while no reload or merge writes its tree, so that the options are all of one set.
        const qvai::ClientOptions trusted = options_.model.over(consistentClientOptions(*store_.root()));
        const qvai::ClientOptions merged = consistentClientOptions(*layers_.root());
        qvai::ClientOptions wanted = withTrustedKey(options_.model.over(merged), trusted);
        wanted.WorkspaceFolders = workspaceFolders_;
        const qvai::ClientOptions current = model_->client().options();
        if (wanted.Backend == current.Backend && wanted.Endpoint == current.Endpoint &&
            wanted.Model == current.Model && wanted.ApiKeyVariable == current.ApiKeyVariable &&
            wanted.TimeoutMs == current.TimeoutMs && wanted.MaxTokens == current.MaxTokens &&
            wanted.Temperature == current.Temperature &&
            wanted.WorkspaceFolders == current.WorkspaceFolders) {
            modelProblem_.clear();
            return;
        }
        model_->client().reconfigure(wanted);
        modelProblem_.clear();
        modelStatus_.reset();
        scheduler_->forgetShown();  // what the old model showed is no answer of the new one
    } catch (const std::exception& e) {
        // Every settings change tries again: the same problem is told once.
        const std::string problem = std::string("the model settings were not applied: ") + e.what();
        if (problem != modelProblem_) tellUser(kLogError, problem);
        modelProblem_ = problem;
    }
}

void Server::modelReplied(bool success) {
    const qvai::ClientOptions options = model_->client().options();
    // The local backend having nothing to offer is an empty completion, not a failure.
    if (options.Backend == "local") return;
    if (const auto notice = modelStatus_.replied(success, modelName(options))) {
        // The failure is shown; its end is only logged, since the warning said it would come.
        writer_.send(rpc::notification(notice->failing ? "window/showMessage" : "window/logMessage",
                                       {{"type", notice->failing ? kLogWarning : kLogInfo},
                                        {"message", "ostrel-lsp: " + notice->text}}));
    }
}

void Server::tellUser(int type, const std::string& text) {
    writer_.send(
        rpc::notification("window/showMessage", {{"type", type}, {"message", "ostrel-lsp: " + text}}));
}

void Server::logToClient(int type, const std::string& text) {
    writer_.send(
        rpc::notification("window/logMessage", {{"type", type}, {"message", "ostrel-lsp: " + text}}));
}

}  // namespace ostrel_lsp
