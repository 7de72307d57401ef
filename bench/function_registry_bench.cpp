#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

#include "quorvanta/function_registry.hpp"

namespace {

using Quorvanta::functionRegistry;

const std::filesystem::path kUserLib = std::filesystem::path(OSTREL_SOURCE_DIR) / "examples" / "userlib";

void lookupLoop(benchmark::State& state, std::u16string_view name) {
    functionRegistry::setSearchPath({kUserLib});
    functionRegistry::lookup(name);  // warm the caches
    for (auto _ : state)
        benchmark::DoNotOptimize(functionRegistry::lookup(name));
    functionRegistry::setSearchPath({});
}

void BM_LookupBuiltIn(benchmark::State& state) {
    lookupLoop(state, u"regexprep");
}
void BM_LookupLibrary(benchmark::State& state) {
    lookupLoop(state, u"movmean");
}
void BM_LookupUserCached(benchmark::State& state) {
    lookupLoop(state, u"normalize_rows");
}
void BM_LookupUnknownCached(benchmark::State& state) {
    lookupLoop(state, u"someLocalVariable");
}

// The first look-up after clearing everything lists the search path again.
void BM_LookupAfterClearingAll(benchmark::State& state) {
    functionRegistry::setSearchPath({kUserLib});
    for (auto _ : state) {
        functionRegistry::clearCaches(true);
        benchmark::DoNotOptimize(functionRegistry::lookup(u"clamp"));
    }
    functionRegistry::setSearchPath({});
}

BENCHMARK(BM_LookupBuiltIn);
BENCHMARK(BM_LookupLibrary);
BENCHMARK(BM_LookupUserCached);
BENCHMARK(BM_LookupUnknownCached);
BENCHMARK(BM_LookupAfterClearingAll);
BENCHMARK(BM_LookupUserCached)->Threads(2);

}  // namespace
