// The language server's latencies, measured in-process over pipes with the protocol as an editor speaks
// it: a change followed by an inline completion (local backend, and a loopback model that answers at
// once), a one-character edit of a large file, and the diagnostics of a file. Each benchmark reports
// the median and the 95th percentile of its iterations as counters (in milliseconds).
#include <benchmark/benchmark.h>
#include <httplib.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "diagnostics.hpp"
#include "document_store.hpp"
#include "fl/i18n.hpp"
#include "library_completion.hpp"
#include "message_framing.hpp"
#include "message_writer.hpp"
#include "mtcc/cache/settings_values.hpp"
#include "server.hpp"

namespace {

using Clock = std::chrono::steady_clock;

// `lines` lines of plain Ostrel functions, the last one being written again from its start: the local
// backend completes it from the file's own copy.
std::string fileOf(int lines) {
    std::string text;
    for (int f = 0, count = 0; count < lines - 2; ++f, count += 7) {
        const std::string n = std::to_string(f);
        text += "function r" + n + " = helper" + n + "(A)\n    r" + n + ".max = max(A);\n    r" + n +
                ".min = min(A);\n    if r" + n + ".max > 0\n        r" + n + ".ok = true;\n    end\nend\n";
    }
    return text + "function r0 = helper0(A)\n    r0.max = max(A);\n";
}

void report(benchmark::State& state, std::vector<double>& ms) {
    if (ms.empty()) return;
    std::sort(ms.begin(), ms.end());
    state.counters["p50_ms"] = ms[ms.size() / 2];
    state.counters["p95_ms"] = ms[std::min(ms.size() - 1, ms.size() * 95 / 100)];
}

// A server on two pipes, run on a thread of its own, and a client end that sends and waits for replies.
class InProcessServer {
  public:
    explicit InProcessServer(ostrel_lsp::ServerOptions options) {
        if (pipe(in_) != 0 || pipe(out_) != 0) throw std::runtime_error("pipe");
        options.settingsFile = "/nonexistent/settings.json";
        writer_ = std::make_unique<ostrel_lsp::MessageWriter>(out_[1]);
        server_ = std::make_unique<ostrel_lsp::Server>(options, *writer_);
        thread_ = std::thread([this] {
            ostrel_lsp::FrameReader reader(in_[0], 64 << 20);
            server_->run(reader);
        });
        replies_ = std::make_unique<ostrel_lsp::FrameReader>(out_[0], 64 << 20);
        request("initialize", {{"capabilities", nlohmann::json::object()}});
        notify("initialized", nlohmann::json::object());
    }
    ~InProcessServer() {
        request("shutdown", nullptr);
        notify("exit", nullptr);
        thread_.join();
        server_.reset();
        for (int fd : {in_[0], in_[1], out_[0], out_[1]})
            close(fd);
    }

    void notify(const std::string& method, nlohmann::json params) {
        send({{"jsonrpc", "2.0"}, {"method", method}, {"params", std::move(params)}});
    }
    // Sends a request and returns its reply (notifications in between are skipped).
    nlohmann::json request(const std::string& method, nlohmann::json params) {
        const int id = ++lastId_;
        send({{"jsonrpc", "2.0"}, {"id", id}, {"method", method}, {"params", std::move(params)}});
        for (;;) {
            const ostrel_lsp::Frame frame = replies_->next();
            if (frame.kind == ostrel_lsp::Frame::Kind::End) throw std::runtime_error("server gone");
            auto message = nlohmann::json::parse(frame.body);
            if (message.value("id", nlohmann::json()) == id) return message;
        }
    }

  private:
    void send(const nlohmann::json& message) {
        const std::string bytes = ostrel_lsp::frameOf(message.dump());
        for (std::size_t done = 0; done < bytes.size();) {
            const ssize_t n = write(in_[1], bytes.data() + done, bytes.size() - done);
            if (n <= 0) throw std::runtime_error("write");
            done += static_cast<std::size_t>(n);
        }
    }

    int in_[2], out_[2];
    int lastId_ = 0;
    std::unique_ptr<ostrel_lsp::MessageWriter> writer_;
    std::unique_ptr<ostrel_lsp::Server> server_;
    std::unique_ptr<ostrel_lsp::FrameReader> replies_;
    std::thread thread_;
};

const char* const kUri = "file:///bench/file.ost";

nlohmann::json oneCharacterChange(int version, int line, const std::string& text) {
    const nlohmann::json from = {{"line", line}, {"character", 0}}, to = {{"line", line}, {"character", 1}};
    return {{"textDocument", {{"uri", kUri}, {"version", version}}},
            {"contentChanges", {{{"range", {{"start", from}, {"end", to}}}, {"text", text}}}}};
}

// didChange (one character in the first line, so that no cached completion applies) and then an
// invoked inline completion at the end of the file, timed until its reply. With `excludedMs`, each
// iteration's time less the share it reports (the library's and the edit's, measured on the worker).
void changeThenComplete(benchmark::State& state, ostrel_lsp::ServerOptions options,
                        const std::atomic<double>* excludedMs = nullptr) {
    options.diagnosticsDelayMs = 60000;  // checked once the typing stops; not part of this figure
    InProcessServer server(options);
    const std::string text = "%" + fileOf(2000);
    server.notify(
        "textDocument/didOpen",
        {{"textDocument", {{"uri", kUri}, {"languageId", "ostrel"}, {"version", 1}, {"text", text}}}});
    const int lastLine = static_cast<int>(std::count(text.begin(), text.end(), '\n'));
    std::vector<double> ms;
    int version = 1;
    for (auto _ : state) {
        const auto start = Clock::now();
        server.notify("textDocument/didChange", oneCharacterChange(version + 1, 0, version % 2 ? "%" : "#"));
        ++version;
        const auto reply = server.request("textDocument/inlineCompletion",
                                          {{"textDocument", {{"uri", kUri}}},
                                           {"position", {{"line", lastLine}, {"character", 0}}},
                                           {"context", {{"triggerKind", 1}}}});
        double elapsed = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
        if (!reply.contains("result") || reply["result"]["items"].empty()) {
            state.SkipWithError("no completion came back");
            break;
        }
        if (excludedMs != nullptr) elapsed -= excludedMs->load();
        state.SetIterationTime(elapsed / 1000);
        ms.push_back(elapsed);
    }
    report(state, ms);
}

void BM_ChangeThenInlineCompletion_Local(benchmark::State& state) {
    ostrel_lsp::ServerOptions options;
    options.model.backend = "local";
    changeThenComplete(state, options);
}
BENCHMARK(BM_ChangeThenInlineCompletion_Local)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(200);

// A chat-completions server on loopback that answers at once.
class InstantModel {
  public:
    InstantModel() {
        server_.Post("/v1/chat/completions", [](const httplib::Request&, httplib::Response& response) {
            nlohmann::json body;
            body["choices"][0]["message"] = {{"role", "assistant"},
                                             {"content", "```ostrel\nreport.min = min(A, [], 1);\n```"}};
            response.set_content(body.dump(), "application/json");
        });
        port_ = server_.bind_to_any_port("127.0.0.1");
        thread_ = std::thread([this] { server_.listen_after_bind(); });
        while (!server_.is_running())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ~InstantModel() {
        server_.stop();
        thread_.join();
    }
    std::string url() const { return "http://127.0.0.1:" + std::to_string(port_); }

  private:
    httplib::Server server_;
    int port_ = 0;
    std::thread thread_;
};

void BM_ChangeThenInlineCompletion_LoopbackModel(benchmark::State& state) {
    InstantModel model;
    ostrel_lsp::ServerOptions options;
    options.model.backend = "openai";
    options.model.endpoint = model.url();
    changeThenComplete(state, options);
}
BENCHMARK(BM_ChangeThenInlineCompletion_LoopbackModel)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(200);

// The server's own share of the round trip above: each iteration's round trip less the time its
// completion spent in the library's GetInfo (with the model call) and the host's edit, measured around
// that call on the worker.
void BM_ServerShare_LoopbackModel(benchmark::State& state) {
    InstantModel model;
    auto libraryMs = std::make_shared<std::atomic<double>>(0.0);
    ostrel_lsp::ServerOptions options;
    options.model.backend = "openai";
    options.model.endpoint = model.url();
    options.complete = [libraryMs](const fl::ustring& text, std::size_t cursor) {
        const auto start = Clock::now();
        ostrel_lsp::CompletionOutcome outcome =
            ostrel_lsp::completeWithLibrary(text, cursor, std::make_shared<mtcc::cache::SettingsValues>());
        libraryMs->store(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
        return outcome;
    };
    changeThenComplete(state, options, libraryMs.get());
}
BENCHMARK(BM_ServerShare_LoopbackModel)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(200);

// A one-character edit of a 20,000-line file through the whole protocol path: the change and a request
// behind it that the server answers at once (an unknown method), so the reply comes after the edit.
void BM_OneCharacterEdit_20000Lines(benchmark::State& state) {
    ostrel_lsp::ServerOptions options;
    options.diagnosticsDelayMs = 60000;
    InProcessServer server(options);
    const std::string text = fileOf(20000);
    server.notify(
        "textDocument/didOpen",
        {{"textDocument", {{"uri", kUri}, {"languageId", "ostrel"}, {"version", 1}, {"text", text}}}});
    std::vector<double> ms;
    int version = 1;
    for (auto _ : state) {
        const auto start = Clock::now();
        server.notify("textDocument/didChange",
                      oneCharacterChange(version + 1, 10000, version % 2 ? "f" : "g"));
        ++version;
        server.request("$/bench/ping", nullptr);
        const double elapsed = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
        state.SetIterationTime(elapsed / 1000);
        ms.push_back(elapsed);
    }
    report(state, ms);
}
BENCHMARK(BM_OneCharacterEdit_20000Lines)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(500);

// The edit alone: the document's new text and its line index.
void BM_ApplyChange_20000Lines(benchmark::State& state) {
    ostrel_lsp::Document document;
    document.text = std::make_shared<const fl::ustring>(fl::i18n::to_ustring(fileOf(20000)));
    document.lineStarts = ostrel_lsp::lineStartsOf(*document.text);
    int n = 0;
    for (auto _ : state) {
        ostrel_lsp::applyChange(document,
                                {std::pair{ostrel_lsp::Position{10000, 0}, ostrel_lsp::Position{10000, 1}},
                                 ++n % 2 ? u"f" : u"g"});
        benchmark::DoNotOptimize(document);
    }
}
BENCHMARK(BM_ApplyChange_20000Lines)->Unit(benchmark::kMicrosecond);

void BM_Diagnostics_2000Lines(benchmark::State& state) {
    const fl::ustring text = fl::i18n::to_ustring(fileOf(2000));
    std::vector<double> ms;
    for (auto _ : state) {
        const auto start = Clock::now();
        benchmark::DoNotOptimize(ostrel_lsp::diagnosticsOf(text));
        const double elapsed = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
        state.SetIterationTime(elapsed / 1000);
        ms.push_back(elapsed);
    }
    report(state, ms);
}
BENCHMARK(BM_Diagnostics_2000Lines)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(100);

}  // namespace
