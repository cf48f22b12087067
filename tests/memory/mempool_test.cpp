#include "vesko/memory/mempool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <random>
#include <vector>

#include "support/allocations.h"
#include "support/crowd.h"

namespace {

using Pool = Tovra::Memory::Detail::CMemPool;

TEST(MemPool, TakesMemoryByTheChunkAlone) {
    Pool pool(16, 4);
    const auto take = [&pool] { static_cast<void>(pool.malloc()); };
    for (const std::size_t expected : {1U, 0U, 0U, 0U, 1U}) {
        EXPECT_EQ(Tovra::Testing::allocationsOf(take), expected);
    }
}

TEST(MemPool, ReusesTheLatestBlockFirst) {
    std::mt19937 random(1);
    for (const unsigned int size : {1U, 4U, 5U, 6U, 7U, 8U, 40U}) {
        Pool pool(size, 3);
        std::vector<void*> used;
        std::vector<void*> given;  // back, the latest last
        for (int turn = 0; turn < 5000; ++turn) {
            if (random() % 5 < 3 || used.empty()) {
                void* const block = pool.malloc();
                ASSERT_EQ(reinterpret_cast<std::uintptr_t>(block) % (size & -size), 0U);
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
    Tovra::Testing::together(3, [&pool](int mark) {
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
    });
}

}  // namespace
