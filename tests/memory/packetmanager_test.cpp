#include "vesko/memory/packetmanager.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <list>
#include <memory>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "memory/packetmanagerinternal.h"
#include "support/capture.h"
#include "support/crowd.h"
#include "support/lines.h"

namespace Tovra::Memory {

using Testing::printed;
using Manager = CPacketManager;
using Lists = std::array<std::list<int>, 8>;  // first chunks of the free blocks, by order
using Pool = Manager::PoolParameter;

/// A manager beside the process-wide one, to look inside. At its end the settings are put back.
class PacketManagerPeer {
public:
    explicit PacketManagerPeer(Manager::Policy policy, std::optional<Pool> shape = {},
                               Manager::MemoryOperator* memop = nullptr) {
        PacketManagerInternal::config(policy, memop, shape ? &*shape : nullptr);
        m_manager.reset(new PacketManagerInternal);  // the constructor is this class's friend alone
    }
    ~PacketManagerPeer() {
        EXPECT_EQ(m_manager->freeSize(), m_manager->bufferSize());  // all blocks came back
        m_manager.reset();
        PacketManagerInternal::s_policy = Manager::policySystem;
        PacketManagerInternal::s_parameter = {};
        PacketManagerInternal::s_memoryOperator = s_default;
        PacketManagerInternal::s_configurable = true;
    }

    PacketManagerInternal* operator->() { return m_manager.get(); }
    std::uint8_t* chunk(int number) const {
        return m_manager->m_buffer + (std::ptrdiff_t{number} << m_manager->m_chunkShift);
    }

    std::string dump() {
        return printed(4, [this] { m_manager->dumpNodes(); });
    }
    // What the pool prints when these blocks are free and every list is well linked.
    std::string dumpOf(const Lists& free) const {
        std::ostringstream text("CPacketManager: dump FreeList\n", std::ios::ate);
        Vesko::CGuard guard(m_manager->m_mutex);
        const BufferNode* const nodes = m_manager->m_nodes;
        for (int order = 0; order < m_manager->m_orderCount; ++order) {
            std::vector<const BufferNode*> ring{&m_manager->m_lists[order]};
            for (const int i : free.at(static_cast<std::size_t>(order))) ring.push_back(nodes + i);
            text << "BufferList id:" << order << ", order(" << order + 1 << ") head(" << ring[0]
                 << "), headpre(" << ring.back() << ")next(" << ring[1 % ring.size()] << ")\n";
            for (std::size_t i = 1; i < ring.size(); ++i) {
                text << "bufflist(" << order << ")id: " << i - 1 << ", realIdx(" << ring[i] - nodes
                     << ")self(" << ring[i] << ")order(" << order + 1 << ") pre(" << ring[i - 1]
                     << "), next(" << ring[(i + 1) % ring.size()] << ")\n";
            }
        }
        return text.str();
    }

private:
    static inline const auto s_default = PacketManagerInternal::s_memoryOperator;
    std::unique_ptr<PacketManagerInternal> m_manager;
};

namespace {

/// The pool as a list of rules, slow and plain.
struct Model {
    explicit Model(unsigned int count) {
        for (int i = 0; i < static_cast<int>(count); ++i) give(i, 0);
    }
    void give(int chunk, std::size_t order) {
        for (; std::erase(free[order], chunk ^ 1 << order) > 0; ++order) chunk &= ~(1 << order);
        free[order].push_front(chunk);
    }
    // The first chunk of the block; -1 for none.
    int take(std::size_t order) {
        std::size_t found = order;
        while (found < free.size() && free[found].empty()) ++found;
        if (found >= free.size()) return -1;
        int chunk = free[found].front();
        free[found].pop_front();
        for (; found > order; chunk += 1 << found) free[--found].push_front(chunk);
        return chunk;
    }

    Lists free;
};

TEST(Pool, FollowsTheModelStepByStep) {
    constexpr std::size_t extremes[] = {0, 0x80000000, 0xFFFFFFFF, 1ULL << 40};
    std::mt19937 random(20261122);
    for (const unsigned int count : {0U, 1U, 2U, 3U, 6U, 7U, 11U, 64U, 100U}) {
        const unsigned int chunkSize = count % 2 == 0 ? 1024 : 4096;
        SCOPED_TRACE(testing::Message() << count << " chunks of " << chunkSize);
        PacketManagerPeer pool(Manager::policyPool, Pool{count * chunkSize, chunkSize});
        Model model(count);
        std::vector<std::pair<int, std::size_t>> used;  // first chunks and orders
        for (int step = 0; step < 1000 || !used.empty(); ++step) {
            ASSERT_EQ(pool.dump(), pool.dumpOf(model.free));
            if (!used.empty() && (step >= 1000 || random() % 2 == 0)) {
                std::swap(used[random() % used.size()], used.back());
                model.give(used.back().first, used.back().second);
                pool->free(pool.chunk(used.back().first));
                used.pop_back();
                continue;
            }
            // Often just a boundary, at times near the whole pool.
            const std::size_t most = std::size_t{chunkSize} << random() % 8;
            std::size_t size = random() % 2 == 0 ? most + 1 - random() % 3 : 1 + random() % most;
            if (step % 16 == 0) size = extremes[random() % 4];
            std::size_t order = 0;
            while ((std::size_t{chunkSize} << order) < size) ++order;
            const int chunk = size > 0 ? model.take(order) : -1;
            if (chunk >= 0) used.emplace_back(chunk, order);
            const std::size_t rounded = chunk < 0 ? size : std::size_t{chunkSize} << order;
            void* const expected = chunk < 0 ? nullptr : pool.chunk(chunk);
            ASSERT_EQ(printed(4, [&] { EXPECT_EQ(pool->allocate(size), expected); }),
                      chunk < 0 ? "CPacket No Free Space\n" : "");
            ASSERT_EQ(size, rounded);
        }
    }
}

TEST(Pool, SurvivesTwoThreads) {
    PacketManagerPeer pool(Manager::policyPool, Pool{64 * 1024});
    Testing::together(2, [&pool](int seed) {
        std::mt19937 random(static_cast<unsigned int>(seed));
        unsigned char* blocks[8] = {};
        for (int i = 0; i < 1000000; ++i) {
            unsigned char*& block = blocks[random() % 8];
            EXPECT_TRUE(block == nullptr || *block == seed);  // nobody else had it
            pool->free(block);
            std::size_t size = 1 + random() % 4096;
            block = static_cast<unsigned char*>(pool->allocate(size));
            if (block != nullptr) std::memset(block, seed, size);
            EXPECT_LE(pool->freeSize(), 64 * 1024U);
        }
        for (unsigned char* block : blocks) pool->free(block);
    });
    EXPECT_EQ(pool.dump(), pool.dumpOf(Model(64).free));
}

// What the replaced functions were asked for: the block given, the destination or the block freed.
alignas(1024) unsigned char s_memory[8 * 1024];
unsigned char* s_origin = s_memory;  // what the pool is given
using Calls = std::vector<std::pair<void*, unsigned int>>;
Calls s_calls;

Manager::MemoryOperator s_noted{
    +[](unsigned int size) { return s_calls.emplace_back(s_origin, size).first; },
    +[](void* block) { s_calls.emplace_back(block, 0); },
    +[](void* dst, const void* src, unsigned int size) {
        s_calls.emplace_back(dst, size);
        return std::memcpy(dst, src, size);
    }};

TEST(Operator, GivesThePoolOneBlockWithRoomToAlignAndCopiesWithinItAlone) {
    for (const int shift : {0, 1, 1023}) {
        s_calls.clear();
        s_origin = s_memory + shift;
        unsigned char* const first = shift == 0 ? s_memory : s_memory + 1024;
        std::ostringstream told;
        told << "CPacketManager: malloc total(6144) pagesize(1024)blockCount (6) ManagermentSize("
             << 9 * sizeof(BufferNode) << ")\n                AddrRange("
             << static_cast<void*>(first) << '-' << static_cast<void*>(first + 6144)
             << ")\nCPacketManager dump: SYS Policy\n";
        const auto work = [first] {
            PacketManagerPeer pool(Manager::policyPoolData, Pool{6 * 1024}, &s_noted);
            pool->dumpNodes();
            EXPECT_EQ(pool->poolBuffer(), s_origin);
            char outside[16] = "outside";
            EXPECT_EQ(pool->copy(first, outside, 8), first);
            EXPECT_EQ(pool->copy(outside, first, 8), outside);
            pool->copy(first, first + 6144, 0);  // one beyond the end
            first[6143] = 'z';
            pool->copy(first, first + 6143, 1);
            EXPECT_EQ(*first, 'z');
        };
        EXPECT_EQ(printed(4, work), told.str());
        EXPECT_EQ(s_calls, (Calls{{s_origin, 7 * 1024}, {first, 1}, {s_origin, 0}}));
    }
}

TEST(Config, TakesEachSettingByItselfUntilThereIsAManager) {
    s_calls.clear();
    s_origin = s_memory;
    Pool shape{2048};
    Manager::config(Manager::policyPool, nullptr, nullptr);
    Manager::config({}, nullptr, &shape);
    Manager::config({}, &s_noted, nullptr);
    PacketManagerPeer pool({});
    EXPECT_EQ(s_calls, (Calls{{s_origin, 3072}}));
    Testing::expectLines(
        printed(3, [] { Manager::config(Manager::policySystem, nullptr, nullptr); }),
        "src/memory/packetmanagerinternal.cpp",
        {"<thread> PacketManagerInternal::config() failured: Packet Manager has been configured!"});
    EXPECT_EQ(PacketManagerInternal::policy(), Manager::policyPool);
}

TEST(PacketManagerLog, NamesTheSystemPolicyAndNoOther) {
    const auto work = [] {
        PacketManagerPeer(Manager::policySystem)->dumpNodes();
        PacketManagerPeer(Manager::policyNoCreate)->dumpNodes();
    };
    EXPECT_EQ(printed(6, work), "CPacketManager: System Policy\nCPacketManager dump: SYS Policy\n");
}

// The texts are the conditions themselves.
TEST(PacketManagerDeathTest, StopsAtBrokenPreconditions) {
    Pool uneven{4097, 1024};
    EXPECT_DEATH(Manager::config({}, nullptr, &uneven),
                 "param->chunkSize >= 1024 && param->chunkSize > 0 && "
                 "param->totalSize % param->chunkSize == 0\\) failed");
    Pool packed{4096, 1024, 3};
    EXPECT_DEATH(Manager::config({}, nullptr, &packed), "param->alignSize >= 4\\) failed");
    Manager::MemoryOperator incomplete{s_noted.malloc, s_noted.free, {}};
    EXPECT_DEATH(Manager::config({}, &incomplete, nullptr),
                 "!memop->malloc.empty\\(\\) && !memop->free.empty\\(\\) && "
                 "!memop->memcpy.empty\\(\\)\\) failed");
    s_origin = nullptr;
    EXPECT_DEATH(PacketManagerPeer(Manager::policyPool, {}, &s_noted), "m_pOriginBuffer");
}

}  // namespace

}  // namespace Tovra::Memory
