#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "ca/formatting/legacy/legacy_formatter.hpp"
#include "ca/lexer/token.hpp"
#include "fl/i18n.hpp"

namespace {

// 8,000 code units of real Ostrel: the long examples, repeated as needed and cut at a line end.
fl::ustring sampleText() {
    fl::ustring text;
    const char* names[] = {"inventory_report.ost", "signal_pipeline.ost", "BankAccount.ost"};
    while (text.size() < 8000)
        for (const char* name : names) {
            std::ifstream in(std::filesystem::path(OSTREL_SOURCE_DIR) / "examples" / name, std::ios::binary);
            std::ostringstream content;
            content << in.rdbuf();
            text += fl::i18n::to_ustring(content.str());
        }
    text.resize(8000);
    return text;
}

ca::formatting::legacy::Settings defaultSettings() {
    ca::formatting::legacy::Settings settings;
    settings.endLine = 10000000;
    return settings;
}

void BM_LexIndentPrint(benchmark::State& state) {
    const fl::ustring text = sampleText();
    const ca::formatting::legacy::LegacyFormatter formatter(defaultSettings());
    for (auto _ : state) {
        fl::ustring formatted = formatter.getFormattedText(formatter.indentCode(ca::lexer::lex(text)));
        benchmark::DoNotOptimize(formatted);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size() * sizeof(char16_t)));
}
BENCHMARK(BM_LexIndentPrint)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);

void BM_IndentOnly(benchmark::State& state) {
    const auto tokens = ca::lexer::lex(sampleText());
    const ca::formatting::legacy::LegacyFormatter formatter(defaultSettings());
    for (auto _ : state) {
        auto indented = formatter.indentCode(tokens);
        benchmark::DoNotOptimize(indented);
    }
}
BENCHMARK(BM_IndentOnly)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);

}  // namespace
