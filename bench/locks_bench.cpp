#include <benchmark/benchmark.h>
#include <pthread.h>
#include <semaphore.h>

#include <mutex>

#include "vesko/vesko3/locks.h"

namespace {

using namespace Tovra::Vesko;

template <class Mutex>
Mutex& shared() {
    static Mutex s_mutex;
    return s_mutex;
}

void BM_Mutex(benchmark::State& state) {
    CMutex& mutex = shared<CMutex>();
    for (auto _ : state) {
        mutex.enter();
        mutex.leave();
    }
}

void BM_StdMutex(benchmark::State& state) {
    auto& mutex = shared<std::mutex>();
    for (auto _ : state) {
        mutex.lock();
        mutex.unlock();
    }
}

void BM_RecursiveMutex(benchmark::State& state) {
    CRecursiveMutex& mutex = shared<CRecursiveMutex>();
    for (auto _ : state) {
        mutex.enter();
        mutex.leave();
    }
}

void BM_StdRecursiveMutex(benchmark::State& state) {
    auto& mutex = shared<std::recursive_mutex>();
    for (auto _ : state) {
        mutex.lock();
        mutex.unlock();
    }
}

void BM_RecursiveMutexNested(benchmark::State& state) {
    CRecursiveMutex mutex;
    mutex.enter();
    for (auto _ : state) {
        mutex.enter();
        mutex.leave();
    }
    mutex.leave();
}

void BM_StdRecursiveMutexNested(benchmark::State& state) {
    std::recursive_mutex mutex;
    mutex.lock();
    for (auto _ : state) {
        mutex.lock();
        mutex.unlock();
    }
    mutex.unlock();
}

void BM_Semaphore(benchmark::State& state) {
    CSemaphore semaphore;
    for (auto _ : state) {
        semaphore.post();
        semaphore.pend();
    }
}

void BM_PosixSemaphore(benchmark::State& state) {
    sem_t semaphore;
    sem_init(&semaphore, 0, 0);
    for (auto _ : state) {
        sem_post(&semaphore);
        sem_wait(&semaphore);
    }
    sem_destroy(&semaphore);
}

void BM_SlotRead(benchmark::State& state) {
    CThreadSpecific slot;
    slot.setValue(&slot);
    for (auto _ : state) {
        void* value = nullptr;
        slot.getValue(&value);
        benchmark::DoNotOptimize(value);
    }
}

void BM_PthreadSlotRead(benchmark::State& state) {
    pthread_key_t key{};
    pthread_key_create(&key, nullptr);
    pthread_setspecific(key, &key);
    for (auto _ : state) benchmark::DoNotOptimize(pthread_getspecific(key));
    pthread_key_delete(key);
}

BENCHMARK(BM_Mutex)->Threads(1)->Threads(2);
BENCHMARK(BM_StdMutex)->Threads(1)->Threads(2);
BENCHMARK(BM_RecursiveMutex)->Threads(1)->Threads(2);
BENCHMARK(BM_StdRecursiveMutex)->Threads(1)->Threads(2);
BENCHMARK(BM_RecursiveMutexNested);
BENCHMARK(BM_StdRecursiveMutexNested);
BENCHMARK(BM_Semaphore);
BENCHMARK(BM_PosixSemaphore);
BENCHMARK(BM_SlotRead);
BENCHMARK(BM_PthreadSlotRead);

}  // namespace
