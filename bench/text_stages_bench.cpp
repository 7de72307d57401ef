// Times the stages that work on text alone, on the sizes a completion sees: a prefix and a suffix of
// 4000 code units and a reply of 40 lines.
#include <benchmark/benchmark.h>

#include <string>

#include "fl/i18n.hpp"
#include "mtcc/autocompletion/context_limits.hpp"
#include "mtcc/postprocessing/code_extractor.hpp"
#include "mtcc/postprocessing/deduplicator.hpp"
#include "mtcc/prompt/prompt_data.hpp"

namespace {

fl::ustring codeLines(int count, const char* name) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += "    " + std::string(name) + std::to_string(i) + " = compute(data(" + std::to_string(i) +
                ", :), \"text\", 'chars');\n";
    }
    return fl::i18n::to_ustring(text);
}

fl::ustring ofLength(const fl::ustring& text, std::size_t n) {
    fl::ustring out;
    while (out.size() < n)
        out += text;
    return out.substr(0, n);
}

const fl::ustring kPrefix = ofLength(codeLines(200, "before"), 4000);
const fl::ustring kSuffix = ofLength(codeLines(200, "after"), 4000);
const fl::ustring kCode = codeLines(40, "value");
const fl::ustring kReply = u"Here is the completion:\n```ostrel\n" + kCode + u"```\nIt computes the values.";

void BM_Limiting(benchmark::State& state) {
    const fl::ustring file = kPrefix + kPrefix + kSuffix + kSuffix;
    const std::size_t cursor = kPrefix.size() * 2;
    for (auto _ : state) {
        benchmark::DoNotOptimize(mtcc::AutoCompletion::hasNonWhitespace(file));
        const fl::ustring before = mtcc::AutoCompletion::splitCodeToCursor(file, cursor, false);
        const fl::ustring after = mtcc::AutoCompletion::suffixFromCursor(file, cursor);
        benchmark::DoNotOptimize(mtcc::AutoCompletion::keepLast(before, 4000));
        benchmark::DoNotOptimize(mtcc::AutoCompletion::keepFirst(after, 4000));
    }
}
BENCHMARK(BM_Limiting);

void BM_PromptContent(benchmark::State& state) {
    mtcc::Tokens::TokenCategories categories;
    for (int i = 0; i < 30; ++i)
        categories.userVariables.insert(u"value" + fl::i18n::to_ustring(std::to_string(i)));
    categories.userFunctions = {u"compute", u"data"};
    categories.OSTRELFunctions = {u"zeros", u"numel", u"sprintf", u"fprintf"};
    for (auto _ : state) {
        const auto data =
            mtcc::Prompt::makePromptData(u"ostrel-autocompletion", u"v1", kPrefix, kSuffix, categories);
        benchmark::DoNotOptimize(mtcc::Prompt::buildUserContent(data));
    }
}
BENCHMARK(BM_PromptContent);

void BM_Extraction(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(mtcc::postprocessing::extractCode(kReply));
}
BENCHMARK(BM_Extraction);

void BM_DeduplicationNoOverlap(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(mtcc::postprocessing::deduplicateGeneratedCode(kCode, kPrefix, kSuffix));
}
BENCHMARK(BM_DeduplicationNoOverlap);

void BM_DeduplicationRepeatedPrefix(benchmark::State& state) {
    // The reply starts with the prefix's last 20 lines: the longest head that is still searched.
    const fl::ustring lines = codeLines(200, "before");
    const fl::ustring prefix = lines.substr(lines.size() - 4000);
    const fl::ustring repeated = codeLines(200, "before").substr(lines.size() - 1000) + kCode;
    for (auto _ : state)
        benchmark::DoNotOptimize(mtcc::postprocessing::deduplicateGeneratedCode(repeated, prefix, kSuffix));
}
BENCHMARK(BM_DeduplicationRepeatedPrefix);

}  // namespace
