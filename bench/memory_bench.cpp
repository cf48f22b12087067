// The packet pool beside the runtime library's heap, and packets beside shared arrays.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <vector>

#include "vesko/memory/packet.h"
#include "vesko/memory/packetmanager.h"

namespace {

using Tovra::Memory::CPacket;
using Tovra::Memory::CPacketManager;

// The policy is chosen before anything else in this program can make a packet.
const bool s_configured = [] {
    CPacketManager::PoolParameter parameter;
    parameter.totalSize = 64U << 20;
    CPacketManager::config(CPacketManager::policyPool, nullptr, &parameter);
    return true;
}();

struct Pool {
    static void* take(unsigned int size) { return CPacketManager::instance()->malloc(size); }
    static void give(void* block) { CPacketManager::instance()->free(block); }
};

struct Heap {
    static void* take(unsigned int size) { return std::malloc(size); }
    static void give(void* block) { std::free(block); }
};

// One block at a time: the block is split off and merged back in each round.
template <class Memory>
void takeAndGive(benchmark::State& state) {
    const auto size = static_cast<unsigned int>(state.range(0));
    for (auto _ : state) {
        void* const block = Memory::take(size);
        benchmark::DoNotOptimize(block);
        Memory::give(block);
    }
    state.SetItemsProcessed(state.iterations());
}

// A standing stock of 64 blocks, each replaced in turn: the way buffers in flight behave.
template <class Memory>
void replaceInStock(benchmark::State& state) {
    const auto size = static_cast<unsigned int>(state.range(0));
    std::vector<void*> stock(64);
    for (void*& block : stock) block = Memory::take(size);
    std::size_t place = 0;
    for (auto _ : state) {
        void*& block = stock[place++ % stock.size()];
        Memory::give(block);
        block = Memory::take(size);
        benchmark::DoNotOptimize(block);
    }
    for (void* block : stock) Memory::give(block);
    state.SetItemsProcessed(state.iterations());
}

void BM_PoolMallocFree(benchmark::State& state) { takeAndGive<Pool>(state); }
void BM_MallocFree(benchmark::State& state) { takeAndGive<Heap>(state); }
void BM_PoolStock(benchmark::State& state) { replaceInStock<Pool>(state); }
void BM_MallocStock(benchmark::State& state) { replaceInStock<Heap>(state); }

void BM_PacketCreate(benchmark::State& state) {
    const auto size = static_cast<unsigned int>(state.range(0));
    for (auto _ : state) {
        const CPacket packet(size, 0);
        benchmark::DoNotOptimize(packet.getBuffer());
    }
}

// Uninitialised, as a packet is.
void BM_SharedPtrCreate(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        const auto buffer = std::make_shared_for_overwrite<std::byte[]>(size);
        benchmark::DoNotOptimize(buffer.get());
    }
}

void BM_PacketCopy(benchmark::State& state) {
    const CPacket packet(1500, 0);
    for (auto _ : state) {
        CPacket copy(packet);
        benchmark::DoNotOptimize(copy);
    }
}

void BM_SharedPtrCopy(benchmark::State& state) {
    const auto buffer = std::make_shared_for_overwrite<std::byte[]>(1500);
    for (auto _ : state) {
        std::shared_ptr<std::byte[]> copy(buffer);
        benchmark::DoNotOptimize(copy);
    }
}

void sizes(benchmark::internal::Benchmark* entry) {
    entry->Arg(1024)->Arg(1500)->Arg(64 << 10)->Threads(1)->Threads(2);
}

BENCHMARK(BM_PoolMallocFree)->Apply(sizes);
BENCHMARK(BM_MallocFree)->Apply(sizes);
BENCHMARK(BM_PoolStock)->Apply(sizes);
BENCHMARK(BM_MallocStock)->Apply(sizes);
BENCHMARK(BM_PacketCreate)->Apply(sizes);
BENCHMARK(BM_SharedPtrCreate)->Apply(sizes);
BENCHMARK(BM_PacketCopy);
BENCHMARK(BM_SharedPtrCopy);

}  // namespace
