// Validation, pruning and the whole GetInfo on the sizes a completion sees: a prefix and a suffix of
// 4000 code units cut out of a real example, and completions of 1, 10 and 40 lines. GetInfo asks an
// in-process client that answers at once, so only the library's own work is timed.
#include <benchmark/benchmark.h>
#include <time.h>

#include <algorithm>
#include <vector>

#include "cppmicroservices/framework_factory.hpp"
#include "fl/i18n.hpp"
#include "foundation/cppmicroservices/framework_access.hpp"
#include "mtcc/autocompletion/auto_completion.hpp"
#include "mtcc/cache/settings_values.hpp"
#include "mtcc/postprocessing/code_pruner.hpp"
#include "mtcc/postprocessing/code_validator.hpp"
#include "qvai/qvai_client.hpp"

namespace {

// A long script in the style of the examples: sections of loops, conditions and plain statements.
fl::ustring longScript() {
    std::string text;
    for (int i = 0; text.size() < 12000; ++i) {
        const std::string n = std::to_string(i);
        text += "%% Section " + n + "\ncounts" + n +
                " = zeros(1, 10);\nfor k = 1:numel(data)\n    if data(k) > " + n + "\n        counts" + n +
                "(mod(k, 10) + 1) = counts" + n + "(mod(k, 10) + 1) + 1;\n    else\n" +
                "        fprintf('skipped %d\\n', k);\n    end\nend\nreport.total" + n + " = sum(counts" + n +
                ");\n\n";
    }
    return fl::i18n::to_ustring(text);
}

fl::ustring statements(int lines) {
    fl::ustring text;
    for (int i = 0; i < lines; ++i) {
        if (i) text += u"\n";
        text += u"total" + fl::i18n::to_ustring(std::to_string(i)) + u" = sum(values(:, " +
                fl::i18n::to_ustring(std::to_string(i + 1)) + u")) * 2;";
    }
    return text;
}

struct Window {
    fl::ustring prefix, suffix;
};

// Cut at a line start in the middle of the text, 4000 code units each side.
Window window() {
    const fl::ustring text = longScript();
    const std::size_t cursor = text.find(u'\n', 6000) + 1;
    return {text.substr(cursor - 4000, 4000), text.substr(cursor, 4000)};
}

void BM_Validation(benchmark::State& state) {
    const Window w = window();
    const fl::ustring completion = statements(static_cast<int>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(mtcc::postprocessing::validateGeneratedCode(completion, w.prefix, w.suffix));
}
BENCHMARK(BM_Validation)->Arg(10)->Arg(40);

void BM_Pruning(benchmark::State& state) {
    const Window w = window();
    const fl::ustring completion = statements(static_cast<int>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(
            mtcc::postprocessing::pruneGeneratedCode(w.prefix, completion, w.suffix, 100));
}
BENCHMARK(BM_Pruning)->Arg(10)->Arg(40);

void BM_PruningTrimsFiveLines(benchmark::State& state) {
    const Window w = window();
    // Five unfinished lines at the end: six analyses before the file parses.
    const fl::ustring completion =
        statements(35) + u"\nx = 1 +* 2;\ny = 1 +* 2;\nz = 1 +* 2;\nu = 1 +* 2;\nv = 1 +* 2;";
    for (auto _ : state)
        benchmark::DoNotOptimize(
            mtcc::postprocessing::pruneGeneratedCode(w.prefix, completion, w.suffix, 100));
}
BENCHMARK(BM_PruningTrimsFiveLines);

double threadCpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// Answers every request at once, on the caller's thread.
class ImmediateClient : public qvai::IQvaiClient {
  public:
    fl::ustring reply;
    void sendChatCompletion(qvai::core::gen::ChatCompletion, qvai::ChatCompletionCallback callback,
                            qvai::RequestContext) override {
        qvai::core::gen::ChatCompletionMessage message;
        message.choices.push_back({reply, std::nullopt, std::nullopt});
        callback(true, std::move(message));
    }
    qvai::RequestContext requestContext() override { return {}; }
};

void BM_GetInfo(benchmark::State& state) {
    static const auto client = std::make_shared<ImmediateClient>();
    static cppmicroservices::Framework framework = [] {
        auto f = cppmicroservices::FrameworkFactory().NewFramework();
        f.Start();
        f.GetBundleContext().RegisterService<qvai::IQvaiClient>(client);
        foundation::cppmicroservices::setFramework(f);
        return f;
    }();
    const Window w = window();
    client->reply = u"Here it is:\n```ostrel\n" + statements(static_cast<int>(state.range(0))) + u"\n```\n";
    const fl::ustring code = w.prefix + w.suffix;
    const std::size_t cursor = w.prefix.size();
    const auto settings = std::make_shared<mtcc::cache::SettingsValues>();
    // Each call's own CPU time, so that the tail is the tail of single completions.
    std::vector<double> calls;
    for (auto _ : state) {
        const double start = threadCpuSeconds();
        benchmark::DoNotOptimize(mtcc::AutoCompletion::GetInfo(u"", code, cursor, settings));
        calls.push_back(threadCpuSeconds() - start);
    }
    std::sort(calls.begin(), calls.end());
    const auto at = [&](double q) { return 1e3 * calls[static_cast<std::size_t>(q * (calls.size() - 1))]; };
    state.counters["p50_ms"] = at(0.5);
    state.counters["p99_ms"] = at(0.99);
}
BENCHMARK(BM_GetInfo)->Arg(1)->Arg(10)->Arg(40)->MinTime(2.0);

}  // namespace
