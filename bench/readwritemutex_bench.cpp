#include <benchmark/benchmark.h>

#include <shared_mutex>

#include "vesko/vesko3/readwritemutex.h"

namespace {

using namespace Tovra::Vesko;

template <RWPriority priority>
void BM_ReadLock(benchmark::State& state) {
    static CReadWriteMutex s_lock(priority);
    for (auto _ : state) {
        s_lock.enterReading();
        s_lock.leave();
    }
}
BENCHMARK(BM_ReadLock<priorityDefault>)->ThreadRange(1, 2)->UseRealTime();
BENCHMARK(BM_ReadLock<priorityWriter>)->ThreadRange(1, 2)->UseRealTime();

void BM_StdSharedMutexReadLock(benchmark::State& state) {
    static std::shared_mutex s_lock;
    for (auto _ : state) {
        s_lock.lock_shared();
        s_lock.unlock_shared();
    }
}
BENCHMARK(BM_StdSharedMutexReadLock)->ThreadRange(1, 2)->UseRealTime();

}  // namespace
