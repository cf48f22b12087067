#include <benchmark/benchmark.h>

#include <functional>

#include "vesko/vesko3/function.h"

namespace {

using namespace Tovra::Vesko;

[[gnu::noinline]] int plain(int value) {
    benchmark::DoNotOptimize(value);
    return value;
}

struct Target {
    [[gnu::noinline]] int member(int value) {
        benchmark::DoNotOptimize(value);
        return value;
    }
};

// What is called is hidden from the optimiser, as it is where callbacks are stored.
template <class Callable>
void callAll(benchmark::State& state, Callable callable) {
    benchmark::DoNotOptimize(callable);
    for (auto _ : state) benchmark::DoNotOptimize(callable(1));
}

void BM_PointerCall(benchmark::State& state) { callAll(state, &plain); }
void BM_DelegateCallPlain(benchmark::State& state) { callAll(state, TFunction1<int, int>(&plain)); }
void BM_StdFunctionCallPlain(benchmark::State& state) {
    callAll(state, std::function<int(int)>(&plain));
}
void BM_DelegateCallMember(benchmark::State& state) {
    Target target;
    callAll(state, TFunction1<int, int>(&Target::member, &target));
}
void BM_StdFunctionCallMember(benchmark::State& state) {
    Target target;
    callAll(state, std::function<int(int)>([&target](int value) { return target.member(value); }));
}

BENCHMARK(BM_PointerCall);
BENCHMARK(BM_DelegateCallPlain);
BENCHMARK(BM_StdFunctionCallPlain);
BENCHMARK(BM_DelegateCallMember);
BENCHMARK(BM_StdFunctionCallMember);

}  // namespace
