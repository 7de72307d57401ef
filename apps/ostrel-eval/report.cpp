#include "report.hpp"

#include <algorithm>
#include <cstdio>
#include <map>
#include <nlohmann/json.hpp>

#include "fl/i18n.hpp"
#include "outcome.hpp"

namespace ostrel_eval {
namespace {

using fl::i18n::to_string;

std::string percent(std::size_t part, std::size_t whole) {
    if (whole == 0) return "-";
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "%.1f",
                  100.0 * static_cast<double>(part) / static_cast<double>(whole));
    return buffer;
}

std::string padded(const std::string& text, std::size_t width) {
    return text.size() >= width ? text : text + std::string(width - text.size(), ' ');
}

std::string rightAligned(const std::string& text, std::size_t width) {
    return text.size() >= width ? text : std::string(width - text.size(), ' ') + text;
}

struct Tally {
    std::size_t cases = 0;
    std::map<Outcome, std::size_t> outcomes, raw;
};

void writeRow(std::ostream& out, const std::string& variant, const std::string& kind, const Tally& tally) {
    out << padded(variant, 14) << padded(kind, 11) << rightAligned(std::to_string(tally.cases), 5);
    for (const Outcome o : kAllOutcomes)
        out << rightAligned(percent(tally.outcomes.count(o) ? tally.outcomes.at(o) : 0, tally.cases), 9);
    out << " |";
    for (const Outcome o : {Outcome::Exact, Outcome::Lost, Outcome::Wrong})
        out << rightAligned(percent(tally.raw.count(o) ? tally.raw.at(o) : 0, tally.cases), 9);
    out << '\n';
}

int severity(Outcome outcome) {
    switch (outcome) {
        case Outcome::Wrong:
            return 0;
        case Outcome::Lost:
            return 1;
        case Outcome::Indent:
            return 2;
        case Outcome::Partial:
            return 3;
        case Outcome::Exact:
            return 4;
    }
    return 4;
}

nlohmann::json stagesJson(const fit::StageTexts& s) {
    return {{"reply", to_string(s.reply)},
            {"extracted", to_string(s.extracted)},
            {"deduplicated", to_string(s.deduplicated)},
            {"validated", to_string(s.validated)},
            {"pruned", to_string(s.pruned)},
            {"completion", to_string(s.completion)}};
}

}  // namespace

void writeTables(std::ostream& out, const EvalReport& report) {
    out << "Cases: " << report.cases.size() << " in " << report.files.size() << " files (seed " << report.seed
        << ", " << report.threads << " threads, " << report.wallSeconds << " s)\n";
    std::map<std::string, std::size_t> unread;
    for (const SourceFile& file : report.files)
        for (const std::string& what : file.style.unread)
            ++unread[what];
    for (const auto& [what, count] : unread)
        out << "Style: the " << what << " could not be read in " << count
            << " files; the host's default was used there.\n";
    for (const std::string& skipped : report.skipped)
        out << "Skipped: " << skipped << '\n';
    out << '\n' << padded("variant", 14) << padded("cursor", 11) << rightAligned("n", 5);
    for (const Outcome o : kAllOutcomes)
        out << rightAligned(std::string(outcomeName(o)) + "%", 9);
    out << " |" << rightAligned("raw ex%", 9) << rightAligned("raw lo%", 9) << rightAligned("raw wr%", 9)
        << '\n';
    for (const VariantRun& run : report.runs) {
        std::map<CursorKind, Tally> byKind;
        Tally all;
        for (std::size_t i = 0; i < run.results.size() && i < report.cases.size(); ++i) {
            for (Tally* tally : {&byKind[report.cases[i].kind], &all}) {
                ++tally->cases;
                ++tally->outcomes[run.results[i].outcome];
                ++tally->raw[run.results[i].rawOutcome];
            }
        }
        for (const auto& [kind, tally] : byKind)
            writeRow(out, run.name, std::string(kindName(kind)), tally);
        writeRow(out, run.name, "all", all);
    }
    out << "\nBlame (cases that are not exact, by the first stage that lost the truth):\n";
    for (const VariantRun& run : report.runs) {
        std::map<std::string, std::size_t> blame;
        for (const CaseResult& r : run.results)
            if (!r.blame.empty()) ++blame[r.blame];
        out << padded(run.name, 14);
        if (blame.empty()) out << " none";
        for (const auto& [stage, count] : blame)
            out << ' ' << stage << '=' << count;
        if (run.unplanned > 0) out << " (requests without a planned reply: " << run.unplanned << ')';
        out << '\n';
    }
    if (report.model) {
        const ModelMetrics& m = *report.model;
        char line[256];
        std::snprintf(line, sizeof line,
                      "\nModel: %zu cases; first line exact %.1f%%, whole completion exact %.1f%%, edit "
                      "similarity %.3f, emptied by the pipeline %.1f%%; latency p50 %.3f s, p90 %.3f s, p99 "
                      "%.3f s\n",
                      m.cases, 100 * m.firstLineExact, 100 * m.wholeExact, m.similarity, 100 * m.emptied,
                      m.latencyP50, m.latencyP90, m.latencyP99);
        out << line;
        if (m.failures > 0)
            out << "Model failures: " << m.failures << " of " << m.requests
                << " requests; the first: " << m.firstFailure << '\n';
    }
}

void writeWorstCases(std::ostream& out, const EvalReport& report, std::size_t count) {
    struct Pick {
        std::size_t run, index;
    };
    std::vector<Pick> picks;
    for (std::size_t r = 0; r < report.runs.size(); ++r)
        for (std::size_t i = 0; i < report.runs[r].results.size() && i < report.cases.size(); ++i)
            if (report.runs[r].results[i].outcome != Outcome::Exact) picks.push_back({r, i});
    std::stable_sort(picks.begin(), picks.end(), [&](const Pick& a, const Pick& b) {
        return severity(report.runs[a.run].results[a.index].outcome) <
               severity(report.runs[b.run].results[b.index].outcome);
    });
    picks.resize(std::min(picks.size(), count));
    for (const Pick& pick : picks) {
        const EvalCase& c = report.cases[pick.index];
        const CaseResult& r = report.runs[pick.run].results[pick.index];
        out << "\n=== " << report.files[c.file].path << ':' << c.line << ':' << c.column << " ("
            << kindName(c.kind) << ", k=" << c.lines << ", variant " << report.runs[pick.run].name
            << "): " << outcomeName(r.outcome) << ", blame " << (r.blame.empty() ? "-" : r.blame) << '\n';
        if (!r.error.empty()) out << "error: " << r.error << '\n';
        if (!r.fitted.edit) out << "no edit: " << r.fitted.emptyStage << ": " << r.fitted.reason << '\n';
        const std::pair<const char*, const fl::ustring*> texts[] = {{"truth", &c.truth},
                                                                    {"reply", &r.stages.reply},
                                                                    {"extracted", &r.stages.extracted},
                                                                    {"deduplicated", &r.stages.deduplicated},
                                                                    {"validated", &r.stages.validated},
                                                                    {"pruned", &r.stages.pruned},
                                                                    {"completion", &r.stages.completion}};
        for (const auto& [label, text] : texts)
            out << "--- " << label << '\n' << to_string(*text) << '\n';
        if (r.fitted.edit)
            out << "--- edit [" << r.fitted.edit->start << ", " << r.fitted.edit->end << ")\n"
                << to_string(r.fitted.edit->text) << '\n';
    }
}

void writeJson(std::ostream& out, const EvalReport& report) {
    nlohmann::json files = nlohmann::json::array();
    for (const SourceFile& f : report.files) {
        const fit::IndentSettings& s = f.style.settings;
        files.push_back({{"path", f.path},
                         {"style",
                          {{"tabSize", s.tabSize},
                           {"indentSize", s.indentSize},
                           {"insertSpaces", s.insertSpaces},
                           {"functionIndent", s.functionIndent},
                           {"blankLines", s.blankLines},
                           {"unread", f.style.unread}}}});
    }
    nlohmann::json cases = nlohmann::json::array();
    for (const EvalCase& c : report.cases)
        cases.push_back({{"file", c.file},
                         {"line", c.line},
                         {"column", c.column},
                         {"offset", c.cursor},
                         {"kind", kindName(c.kind)},
                         {"k", c.lines},
                         {"truth", to_string(c.truth)}});
    nlohmann::json runs = nlohmann::json::array();
    for (const VariantRun& run : report.runs) {
        nlohmann::json results = nlohmann::json::array();
        for (const CaseResult& r : run.results) {
            nlohmann::json one = {{"outcome", outcomeName(r.outcome)},
                                  {"rawOutcome", outcomeName(r.rawOutcome)},
                                  {"blame", r.blame},
                                  {"seconds", r.seconds}};
            if (!r.error.empty()) one["error"] = r.error;
            if (r.outcome != Outcome::Exact) {
                one["stages"] = stagesJson(r.stages);
                if (r.fitted.edit)
                    one["edit"] = {{"start", r.fitted.edit->start},
                                   {"end", r.fitted.edit->end},
                                   {"text", to_string(r.fitted.edit->text)}};
                else
                    one["emptyStage"] = r.fitted.emptyStage;
            }
            results.push_back(std::move(one));
        }
        runs.push_back(
            {{"variant", run.name}, {"unplanned", run.unplanned}, {"results", std::move(results)}});
    }
    nlohmann::json doc = {
        {"seed", report.seed},       {"threads", report.threads}, {"wallSeconds", report.wallSeconds},
        {"files", std::move(files)}, {"skipped", report.skipped}, {"cases", std::move(cases)},
        {"runs", std::move(runs)}};
    if (report.model) {
        const ModelMetrics& m = *report.model;
        doc["model"] = {{"cases", m.cases},
                        {"firstLineExact", m.firstLineExact},
                        {"wholeExact", m.wholeExact},
                        {"similarity", m.similarity},
                        {"emptied", m.emptied},
                        {"latencyP50", m.latencyP50},
                        {"latencyP90", m.latencyP90},
                        {"latencyP99", m.latencyP99},
                        {"requests", m.requests},
                        {"failures", m.failures},
                        {"firstFailure", m.firstFailure}};
    }
    // Texts cut out of real files may hold unpaired surrogates (written as U+FFFD) or bytes that are not
    // UTF-8 after conversion; replace rather than throw.
    out << doc.dump(1, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

}  // namespace ostrel_eval
