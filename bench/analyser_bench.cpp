// Full analysis (tokens, tree, comments, messages, completion tokens) of the examples and of an
// 8,000-code-unit text, in code units per second.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "ca/code_input.hpp"
#include "ca/lexer/token.hpp"
#include "ca/messages/single_file_messages.hpp"
#include "ca/single_file_analyzer.hpp"
#include "ca/token/auto_completion_token_info.hpp"
#include "fl/i18n.hpp"

namespace {

std::vector<fl::ustring> loadExamples() {
    std::vector<fl::ustring> texts;
    const std::filesystem::path root = std::filesystem::path(OSTREL_SOURCE_DIR) / "examples";
    if (!std::filesystem::exists(root)) return texts;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        if (!entry.is_regular_file() || entry.path().extension() != ".ost") continue;
        std::ifstream in(entry.path(), std::ios::binary);
        std::stringstream buffer;
        buffer << in.rdbuf();
        texts.push_back(fl::i18n::to_ustring(buffer.str()));
    }
    return texts;
}

const std::vector<fl::ustring>& examples() {
    static const std::vector<fl::ustring> texts = loadExamples();
    return texts;
}

// About 8,000 code units cut out of the examples, starting and ending mid-line as the library's
// windows do.
const fl::ustring& window8000() {
    static const fl::ustring text = [] {
        fl::ustring all;
        for (const auto& t : examples())
            all += t;
        if (all.size() < 9000) return all;
        return all.substr(777, 8000);
    }();
    return text;
}

// One analysis and everything it offers: tree, comments, completion tokens and messages.
std::size_t analyseFully(const fl::ustring& text) {
    auto analyser = ca::createSingleFileAnalyzer();
    auto analysis = analyser->analyze(text);
    std::size_t work = analysis->getComments().size() + analysis->getRootNode().getChildCount();
    work += ca::token::getAutoCompletionTokenInfo(analysis).getTokens().size();
    work += ca::messages::messagesOf(*analysis, ca::messages::getOptionsForErrorOnly()).size();
    return work;
}

void reportRate(benchmark::State& state, std::size_t codeUnitsPerIteration) {
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * codeUnitsPerIteration));
    state.counters["code_units"] = static_cast<double>(codeUnitsPerIteration);
}

void BM_AnalyseAllExamples(benchmark::State& state) {
    std::size_t units = 0;
    for (const auto& t : examples())
        units += t.size();
    for (auto _ : state) {
        for (const auto& t : examples())
            benchmark::DoNotOptimize(analyseFully(t));
    }
    reportRate(state, units);
}
BENCHMARK(BM_AnalyseAllExamples)->Unit(benchmark::kMicrosecond);

void BM_AnalyseWindow8000(benchmark::State& state) {
    const fl::ustring& text = window8000();
    for (auto _ : state)
        benchmark::DoNotOptimize(analyseFully(text));
    reportRate(state, text.size());
}
BENCHMARK(BM_AnalyseWindow8000)->Unit(benchmark::kMicrosecond);

// One analysis alone (what pruning repeats per trimmed line).
void BM_TreeOnlyWindow8000(benchmark::State& state) {
    const fl::ustring& text = window8000();
    auto analyser = ca::createSingleFileAnalyzer();
    for (auto _ : state)
        benchmark::DoNotOptimize(analyser->analyze(text)->hasParseErrors());
    reportRate(state, text.size());
}
BENCHMARK(BM_TreeOnlyWindow8000)->Unit(benchmark::kMicrosecond);

void BM_CompletionTokensWindow8000(benchmark::State& state) {
    const fl::ustring& text = window8000();
    auto analysis = ca::createSingleFileAnalyzer()->analyze(text);
    for (auto _ : state)
        benchmark::DoNotOptimize(ca::token::getAutoCompletionTokenInfo(analysis).getTokens().size());
    reportRate(state, text.size());
}
BENCHMARK(BM_CompletionTokensWindow8000)->Unit(benchmark::kMicrosecond);

void BM_MessagesWindow8000(benchmark::State& state) {
    const fl::ustring& text = window8000();
    ca::messages::SingleFileMessages messages{ca::RuntimeContextHandle{}};
    for (auto _ : state) {
        benchmark::DoNotOptimize(messages.getMessages(ca::CodeInput::createFromSourceCode(text),
                                                      ca::messages::getOptionsForErrorOnly()));
    }
    reportRate(state, text.size());
}
BENCHMARK(BM_MessagesWindow8000)->Unit(benchmark::kMicrosecond);

void BM_LexWindow8000(benchmark::State& state) {
    const fl::ustring& text = window8000();
    for (auto _ : state)
        benchmark::DoNotOptimize(ca::lexer::lex(text).size());
    reportRate(state, text.size());
}
BENCHMARK(BM_LexWindow8000)->Unit(benchmark::kMicrosecond);

}  // namespace
