#include <benchmark/benchmark.h>

#include "vesko/vesko3/log.h"

namespace {

using namespace Tovra::Vesko;

// Both stand above the default threshold: nothing is printed.
void BM_LogBelowThreshold(benchmark::State& state) {
    for (auto _ : state) logInfo("value %d of %s\n", 42, "text");
}

void BM_LogFilterBelowThreshold(benchmark::State& state) {
    for (auto _ : state) {
        logFilter(4, "bench", "file", "function", 1, "1.0", "value %d of %s\n", 42, "text");
    }
}

BENCHMARK(BM_LogBelowThreshold);
BENCHMARK(BM_LogFilterBelowThreshold);

}  // namespace
