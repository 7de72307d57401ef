#include "command_line.hpp"

#include <CLI/CLI.hpp>
#include <sstream>

namespace ostrel_lsp {

std::variant<ServerOptions, CommandLineExit> parseCommandLine(int argc, const char* const* argv) {
    ServerOptions options;
    CLI::App app("Ostrel language server: completions, diagnostics and formatting over stdio", "ostrel-lsp");
    app.set_version_flag("--version", "ostrel-lsp 0.1");
    bool stdio = true;
    app.add_flag("--stdio", stdio,
                 "talk over stdin and stdout (the only transport; accepted for editors that pass it)");
    app.add_option("--settings", options.settingsFile, "settings file (default: the user's settings.json)");
    app.add_option("--backend", options.model.backend, "model backend")
        ->check(CLI::IsMember({"local", "openai", "infill", "reply-file"}));
    app.add_option("--endpoint", options.model.endpoint, "model server base URL");
    app.add_option("--model", options.model.model, "model name for openai servers");
    app.add_option("--api-key-variable", options.model.apiKeyVariable,
                   "environment variable holding the API key");
    app.add_option("--reply-file", options.model.replyFile, "reply file for the reply-file backend");
    app.add_option("--timeout-ms", options.model.timeoutMs, "time limit of one model request")
        ->check(CLI::Range(1, 600000));
    app.add_option("--corpus", options.model.corpusFolders, "folder of .ost files for the local backend");
    app.add_option("--debounce-ms", options.debounceMs, "pause before an automatic inline completion")
        ->check(CLI::Range(0, 60000));
    app.add_option("--diagnostics-delay-ms", options.diagnosticsDelayMs,
                   "pause before a changed file is checked")
        ->check(CLI::Range(0, 60000));
    app.add_option("--workers", options.workers, "completions worked on at once")->check(CLI::Range(1, 64));
    app.add_option("--max-message-bytes", options.maxMessageBytes, "largest message accepted")
        ->check(CLI::Range(std::size_t{1024}, std::size_t{1} << 31));
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        std::ostringstream out, err;
        const int status = app.exit(e, out, err);
        return CommandLineExit{out.str() + err.str(), status};
    }
    if (options.model.backend == "reply-file" && !options.model.replyFile) {
        return CommandLineExit{"ostrel-lsp: the reply-file backend needs --reply-file FILE\n", 2};
    }
    return options;
}

}  // namespace ostrel_lsp
