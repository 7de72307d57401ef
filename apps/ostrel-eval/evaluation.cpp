#include "evaluation.hpp"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "ca/single_file_analyzer.hpp"
#include "client_registration.hpp"
#include "failure_counting_backend.hpp"
#include "fl/i18n.hpp"
#include "planned_backend.hpp"
#include "prompt_key.hpp"

namespace ostrel_eval {
namespace {

namespace fs = std::filesystem;

// Larger files are generated data rather than code someone edits.
constexpr std::uintmax_t kLargestFile = 4 * 1024 * 1024;

// A file named twice (a folder and a file in it, or one folder as "a" and "./a/") is read once, so
// that it does not weigh double in the sample.
std::vector<fs::path> ostrelFiles(const std::vector<std::string>& paths, std::vector<std::string>& skipped) {
    std::vector<fs::path> out;
    std::set<fs::path> seen;
    const auto once = [&](const fs::path& file) {
        std::error_code error;
        const fs::path canonical = fs::weakly_canonical(file, error);
        if (seen.insert(error ? file : canonical).second) out.push_back(file);
    };
    for (const std::string& path : paths) {
        std::error_code error;
        if (!fs::is_directory(path, error)) {
            once(path);
            continue;
        }
        std::vector<fs::path> found;
        fs::recursive_directory_iterator it(path, fs::directory_options::skip_permission_denied, error);
        for (; !error && it != fs::recursive_directory_iterator(); it.increment(error))
            if (it->is_regular_file(error) && it->path().extension() == ".ost") found.push_back(it->path());
        if (error) skipped.push_back(path + ": " + error.message());
        std::sort(found.begin(), found.end());
        for (const fs::path& file : found)
            once(file);
    }
    return out;
}

std::optional<std::string> readBytes(const fs::path& path, std::string& why) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(path, error);
    if (error) {
        why = error.message();
        return std::nullopt;
    }
    if (size > kLargestFile) {
        why = "larger than 4 MiB";
        return std::nullopt;
    }
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    if (!in) {
        why = "cannot be read";
        return std::nullopt;
    }
    return bytes.str();
}

}  // namespace

void loadFiles(const std::vector<std::string>& paths, EvalReport& report) {
    for (const fs::path& path : ostrelFiles(paths, report.skipped)) {
        std::string why;
        const std::optional<std::string> bytes = readBytes(path, why);
        if (!bytes) {
            report.skipped.push_back(path.string() + ": " + why);
            continue;
        }
        fl::ustring text = fl::i18n::to_ustring(*bytes);
        if (fl::i18n::to_string(text) != *bytes) {
            report.skipped.push_back(path.string() + ": not UTF-8 text");
            continue;
        }
        try {
            if (ca::analyzeWholeFile(text)->hasParseErrors()) {
                report.skipped.push_back(path.string() + ": does not parse");
                continue;
            }
        } catch (const std::exception& e) {
            report.skipped.push_back(path.string() + ": " + e.what());
            continue;
        }
        DetectedStyle style = detectStyle(text);
        report.files.push_back({path.string(), std::move(text), std::move(style)});
    }
}

EvalReport evaluate(const EvalOptions& options,
                    const std::function<void(std::size_t, std::size_t)>& progress) {
    EvalReport report;
    report.seed = options.sampling.seed;
    loadFiles(options.paths, report);
    if (report.files.empty()) throw std::runtime_error("no Ostrel file that parses was found");
    std::vector<fl::ustring> texts;
    for (const SourceFile& file : report.files)
        texts.push_back(file.text);

    const auto start = std::chrono::steady_clock::now();
    std::vector<fit::IndentSettings> styles;
    for (const SourceFile& file : report.files)
        styles.push_back(file.style.settings);
    report.cases = sampleCases(texts, options.sampling, styles);
    report.threads =
        options.threads > 0 ? options.threads : std::max(1u, std::thread::hardware_concurrency());
    const auto settingsOf = [&report](const EvalCase& c) { return report.files[c.file].style.settings; };

    qvai::ClientOptions client = options.client;
    client.MaxInFlight = report.threads;
    client.MaxQueued = std::max<std::size_t>(client.MaxQueued, report.cases.size());
    const bool planned = options.backend == "reply-file";
    const std::size_t total = report.cases.size() * (planned ? options.variants.size() : 1);
    std::size_t finished = 0;
    const auto onProgress = [&](std::size_t done) {
        if (progress) progress(finished + done, total);
    };

    if (planned) {
        auto backend = std::make_unique<PlannedReplyBackend>();
        PlannedReplyBackend& replies = *backend;
        const ClientRegistration registration(client, std::move(backend));
        for (const ReplyVariant variant : options.variants) {
            std::map<PromptKey, std::string> plan;
            for (const EvalCase& sampled : report.cases) {
                const EvalCase c = withCut(sampled, texts[sampled.file]);
                plan.emplace(promptKey(c.cut, c.cursor), plannedReply(c, variant, settingsOf(c)));
            }
            replies.plan(std::move(plan));
            const std::size_t unplannedBefore = replies.unplannedRequests();
            VariantRun run{std::string(variantName(variant)),
                           runCases(report.cases, texts, settingsOf, report.threads, onProgress), 0};
            run.unplanned = replies.unplannedRequests() - unplannedBefore;
            report.runs.push_back(std::move(run));
            finished += report.cases.size();
        }
    } else {
        auto backend = std::make_unique<FailureCountingBackend>(qvai::makeBackend(client));
        const FailureCountingBackend& counted = *backend;
        const ClientRegistration registration(client, std::move(backend));
        report.runs.push_back(
            {options.backend, runCases(report.cases, texts, settingsOf, report.threads, onProgress), 0});
        report.model = modelMetrics(report.cases, report.runs.back().results);
        report.model->requests = counted.requests();
        report.model->failures = counted.failures();
        report.model->firstFailure = counted.firstFailure();
    }
    report.wallSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return report;
}

}  // namespace ostrel_eval
