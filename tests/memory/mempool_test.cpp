#include "vesko/memory/mempool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <random>
#include <thread>
#include <vector>

#include "support/allocations.h"

namespace {

using Pool = Tovra::Memory::Detail::CMemPool;

TEST(MemPool, HandsOutAChunkInTheOrderOfItsAddresses) {
    for (const unsigned int size : {0U, 1U, 4U, 5U, 7U, 8U, 12U, 16U, 1000U}) {
        Pool pool(size, 8);
        auto* last = static_cast<unsigned char*>(pool.malloc());
        const std::size_t distance = std::max(size, 4U);
        for (int i = 1; i < 8; ++i) {
            auto* const block = static_cast<unsigned char*>(pool.malloc());
            ASSERT_EQ(block, last + distance) << size;
            last = block;
        }
    }
}

TEST(MemPool, TakesMemoryByTheChunkAlone) {
    Pool pool(16, 4);
    const auto taken = [&pool] {
        const std::size_t before = Tovra::Testing::allocationCount();
        static_cast<void>(pool.malloc());
        return Tovra::Testing::allocationCount() - before;
    };
    EXPECT_EQ(taken(), 1U);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(taken(), 0U);
    EXPECT_EQ(taken(), 1U);
}

TEST(MemPool, ReusesTheLatestBlockFirst) {
    std::mt19937 random(1);
    for (const unsigned int size : {4U, 6U, 8U, 40U}) {
        Pool pool(size, 3);
        std::vector<void*> used;
        std::vector<void*> given;  // back, the latest last
        for (int turn = 0; turn < 5000; ++turn) {
            if (random() % 5 < 3 || used.empty()) {
                void* const block = pool.malloc();
                if (!given.empty()) {
                    ASSERT_EQ(block, given.back());
                    given.pop_back();
                }
                ASSERT_EQ(std::count(used.begin(), used.end(), block), 0);
                std::memset(block, 0xAA, size);
                used.push_back(block);
                continue;
            }
            const auto at = used.begin() + static_cast<std::ptrdiff_t>(random() % used.size());
            pool.free(*at);
            given.push_back(*at);
            used.erase(at);
        }
    }
}

TEST(MemPool, CanBeUsedAfterAChunkWasRefused) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer ends the process instead";
#endif
    constexpr unsigned int tooMany = 0xFFFFFFFF;
    Pool pool(tooMany, tooMany);
    for (int i = 0; i < 2; ++i) EXPECT_THROW(static_cast<void>(pool.malloc()), std::bad_alloc);
}

TEST(MemPool, ServesManyThreads) {
    Pool pool(5, 16);
    const auto work = [&pool](unsigned char mark) {
        for (int turn = 0; turn < 300; ++turn) {
            std::vector<unsigned char*> blocks;
            for (int i = 0; i < 20; ++i) {
                blocks.push_back(static_cast<unsigned char*>(pool.malloc()));
                std::memset(blocks.back(), mark, 5);
            }
            for (unsigned char* block : blocks) {
                ASSERT_EQ(std::count(block, block + 5, mark), 5);
                pool.free(block);
            }
        }
    };
    std::thread threads[] = {std::thread(work, 1), std::thread(work, 2), std::thread(work, 3)};
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
