#include <benchmark/benchmark.h>

#include <thread>

#include "vesko/vesko3/log.h"
#include "vesko/vesko3/thread.h"

namespace {

class EmptyThread : public Tovra::Vesko::CThread {
public:
    EmptyThread() : CThread("empty", 64, 0, 0) {}
    ~EmptyThread() override { join(); }
    void threadProc() override {}

    // It may end by itself just before it is stopped, which would be worth a line in the log.
    void join() {
        Tovra::Vesko::setPrintLogLevel(0);
        while (!isThreadOver()) destroyThread();
    }
};

void BM_ThreadStartAndJoin(benchmark::State& state) {
    for (auto _ : state) {
        EmptyThread thread;
        thread.createThread();
        thread.join();
    }
}
BENCHMARK(BM_ThreadStartAndJoin)->UseRealTime();

void BM_ThreadRestart(benchmark::State& state) {
    EmptyThread thread;
    for (auto _ : state) {
        thread.createThread();
        thread.join();
    }
}
BENCHMARK(BM_ThreadRestart)->UseRealTime();

void BM_StdThreadStartAndJoin(benchmark::State& state) {
    for (auto _ : state) std::thread([] {}).join();
}
BENCHMARK(BM_StdThreadStartAndJoin)->UseRealTime();

}  // namespace
