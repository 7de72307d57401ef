#include "command_line.hpp"

#include <CLI/CLI.hpp>

namespace ostrel_eval {

std::optional<EvalOptions> parseCommandLine(int argc, const char* const* argv, int& status) {
    EvalOptions options;
    CLI::App app{
        "Measures how much of a model's reply reaches the user: cuts lines out of Ostrel files that analyse "
        "cleanly, replies with them (in several shapes, or asks a real model) and compares what the "
        "completion pipeline and the host's edit make of it with what was cut out.",
        "ostrel-eval"};
    app.add_option("paths", options.paths, "Ostrel files, or folders searched for .ost files")
        ->required()
        ->check(CLI::ExistingPath);
    app.add_option("--cases", options.sampling.cases, "number of cursors")
        ->default_val(500)
        ->check(CLI::Range(1, 100000));
    app.add_option("--seed", options.sampling.seed, "seed of the cursor sample")->default_val(1);
    app.add_option("--max-lines", options.sampling.maxLines, "most lines cut out per cursor (k is 1 to this)")
        ->default_val(kMaxTruthLines)
        ->check(CLI::Range(std::size_t{1}, kMaxTruthLines));
    std::vector<std::string> kinds, variants;
    app.add_option("--kinds", kinds, "cursor kinds: line-start, blank-line, mid-line, line-end (default all)")
        ->delimiter(',')
        ->check(CLI::IsMember({"line-start", "blank-line", "mid-line", "line-end"}));
    app.add_option("--variants", variants,
                   "reply shapes: exact, prose, flat, repeat-prefix, repeat-suffix, truncated, untagged, "
                   "shifted, respaced "
                   "(default all; only with the reply-file backend)")
        ->delimiter(',')
        ->check(CLI::IsMember({"exact", "prose", "flat", "repeat-prefix", "repeat-suffix", "truncated",
                               "untagged", "shifted", "respaced"}));
    app.add_option("--backend", options.backend,
                   "reply-file (planned replies made from the cut-out lines), or a real model: local, "
                   "openai, infill")
        ->default_val("reply-file")
        ->check(CLI::IsMember({"reply-file", "local", "openai", "infill"}));
    const auto* endpoint =
        app.add_option("--endpoint", options.client.Endpoint, "model server for openai and infill");
    const auto* model =
        app.add_option("--model", options.client.Model, "model name sent to an openai server");
    app.add_option("--api-key-variable", options.client.ApiKeyVariable,
                   "environment variable that holds the API key");
    app.add_option("--timeout-ms", options.client.TimeoutMs, "give up on one reply after this long")
        ->check(CLI::Range(1, 3600000));
    app.add_option("--corpus", options.client.CorpusFolders, "local: another folder of .ost files");
    app.add_option("--json", options.jsonFile, "write the whole result as JSON to this file");
    app.add_option("--worst", options.worst, "print this many worst cases with their stage texts");
    app.add_option("--threads", options.threads, "threads (default: one per hardware thread)")
        ->check(CLI::Range(0, 1024));
    try {
        app.parse(argc, argv);
        // A real model writes its own replies; the shapes would be dropped without a word.
        if (!variants.empty() && options.backend != "reply-file")
            throw CLI::ValidationError("--variants", "reply shapes are planned replies; the " +
                                                         options.backend +
                                                         " backend writes its own (leave --variants out)");
        // Without --backend the figures would be the planned replies', not the server's.
        for (const auto* server : {endpoint, model})
            if (server->count() > 0 && options.backend != "openai" && options.backend != "infill")
                throw CLI::ValidationError(server->get_name(),
                                           "is for the openai and infill backends (add "
                                           "--backend openai or --backend infill)");
    } catch (const CLI::ParseError& e) {
        status = app.exit(e);
        return std::nullopt;
    }
    if (!kinds.empty()) {
        options.sampling.kinds.clear();
        for (const std::string& kind : kinds)
            options.sampling.kinds.push_back(kindFromName(kind));
    }
    if (!variants.empty()) {
        options.variants.clear();
        for (const std::string& variant : variants)
            options.variants.push_back(variantFromName(variant));
    }
    options.client.Backend = options.backend;
    status = 0;
    return options;
}

}  // namespace ostrel_eval
