#include "vesko/memory/packetmanager.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <list>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "memory/packetmanagerinternal.h"
#include "support/capture.h"
#include "support/lines.h"

namespace Tovra::Memory {

using Testing::printed;
using Lists = std::array<std::list<int>, 8>;  // first chunks of the free blocks, by order
using Taken = std::pair<int, std::size_t>;    // a block's first chunk, -1 for none, and its size
using Pool = CPacketManager::PoolParameter;

/// Builds managers of its own beside the process-wide one, and looks inside them. Settings that the
/// constructor took are put back when it ends.
class PacketManagerPeer {
public:
    using Internal = PacketManagerInternal;

    explicit PacketManagerPeer(CPacketManager::Policy policy, std::optional<Pool> shape = {},
                               CPacketManager::MemoryOperator* memop = nullptr) {
        Internal::config(policy, memop, shape ? &*shape : nullptr);
        m_manager.reset(new Internal);  // the constructor is this class's friend alone
    }
    ~PacketManagerPeer() {
        EXPECT_EQ(m_manager->freeSize(), m_manager->bufferSize());  // all blocks came back
        m_manager.reset();
        Internal::s_policy = CPacketManager::policySystem;
        Internal::s_parameter = {};
        Internal::s_memoryOperator = s_default;
        Internal::s_configurable = true;
    }

    Internal* operator->() { return m_manager.get(); }
    std::uint8_t* chunk(int number) const {
        return m_manager->m_buffer + (std::ptrdiff_t{number} << m_manager->m_chunkShift);
    }
    Taken take(std::size_t size) {
        void* const block = m_manager->allocate(size);
        if (block == nullptr) return {-1, size};
        const std::ptrdiff_t offset = static_cast<std::uint8_t*>(block) - chunk(0);
        return {static_cast<int>(offset >> m_manager->m_chunkShift), size};
    }
    void give(int number) { m_manager->free(chunk(number)); }

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
    static inline const CPacketManager::MemoryOperator s_default = Internal::s_memoryOperator;
    std::unique_ptr<Internal> m_manager;
};

namespace {

/// The pool as a list of rules, slow and plain.
struct Model {
    Model(int count, std::size_t chunk) : chunkSize(chunk) {
        for (int i = 0; i < count; ++i) put(i, 0);
    }
    void put(int chunk, std::size_t order) {
        freeSize += chunkSize << order;
        for (; std::erase(free[order], chunk ^ 1 << order) > 0; ++order) chunk &= ~(1 << order);
        free[order].push_front(chunk);
    }
    Taken take(std::size_t size) {
        std::size_t want = 0;
        while ((chunkSize << want) < size) ++want;
        std::size_t found = want;
        while (found < free.size() && free[found].empty()) ++found;
        if (size == 0 || found >= free.size()) return {-1, size};  // untouched on failure
        int chunk = free[found].front();
        free[found].pop_front();
        for (; found > want; chunk += 1 << found) free[--found].push_front(chunk);
        used[chunk] = want;
        freeSize -= chunkSize << want;
        return {chunk, chunkSize << want};
    }
    // Gives back one of the blocks in use.
    int give(std::size_t number) {
        const auto block = std::next(used.begin(), static_cast<long>(number % used.size()));
        const auto [chunk, order] = *block;
        used.erase(block);
        put(chunk, order);
        return chunk;
    }

    std::size_t chunkSize;
    std::size_t freeSize = 0;
    Lists free;
    std::map<int, std::size_t> used;  // order by first chunk
};

TEST(Pool, FollowsTheModelStepByStep) {
    EXPECT_EQ(Model(11, 1024).free, (Lists{{{10}, {8}, {}, {0}}}));
    constexpr std::size_t extremes[] = {0, 0x80000000, 0xFFFFFFFF, 1ULL << 40};
    std::mt19937 random(20261122);
    for (const int count : {0, 1, 2, 3, 6, 7, 11, 64, 100}) {
        const unsigned int chunkSize = count % 2 == 0 ? 1024 : 4096;
        SCOPED_TRACE(testing::Message() << count << " chunks of " << chunkSize);
        PacketManagerPeer pool(CPacketManager::policyPool,
                               Pool{static_cast<unsigned int>(count) * chunkSize, chunkSize});
        Model model(count, chunkSize);
        const std::string start = pool.dumpOf(model.free);
        for (int step = 0; step < 1000 || !model.used.empty(); ++step) {
            ASSERT_EQ(pool.dump(), pool.dumpOf(model.free));
            ASSERT_EQ(pool->freeSize(), model.freeSize);
            if (!model.used.empty() && (step >= 1000 || random() % 2 == 0)) {
                pool.give(model.give(random()));
                continue;
            }
            // Often just a boundary, at times near the whole pool.
            const std::size_t most = chunkSize << random() % 8;
            std::size_t size = random() % 2 == 0 ? most + 1 - random() % 3 : 1 + random() % most;
            if (step % 16 == 0) size = extremes[random() % 4];
            const Taken expected = model.take(size);
            const char* const told = expected.first < 0 ? "CPacket No Free Space\n" : "";
            ASSERT_EQ(printed(4, [&] { EXPECT_EQ(pool.take(size), expected); }), told);
        }
        EXPECT_EQ(pool.dump(), start);
    }
}

TEST(Pool, SurvivesTwoThreads) {
    PacketManagerPeer pool(CPacketManager::policyPool, Pool{64 * 1024});
    const auto work = [&pool](unsigned int seed) {
        std::mt19937 random(seed);
        unsigned char* blocks[8] = {};
        for (int i = 0; i < 20000; ++i) {
            unsigned char*& block = blocks[random() % 8];
            EXPECT_TRUE(block == nullptr || *block == seed);  // nobody else had it
            pool->free(block);
            std::size_t size = 1 + random() % 4096;
            block = static_cast<unsigned char*>(pool->allocate(size));
            if (block != nullptr) std::memset(block, static_cast<int>(seed), size);
            EXPECT_LE(pool->freeSize(), 64 * 1024U);
        }
        for (unsigned char* block : blocks) pool->free(block);
    };
    std::thread other(work, 1);
    work(2);
    other.join();
    EXPECT_EQ(pool.dump(), pool.dumpOf(Model(64, 1024).free));
}

// What the replaced functions were asked for: the block given, the destination or the block freed.
alignas(1024) unsigned char s_memory[8 * 1024];
unsigned char* s_origin = s_memory;  // what the pool is given
using Calls = std::vector<std::pair<void*, unsigned int>>;
Calls s_calls;

CPacketManager::MemoryOperator s_noted{
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
        std::optional<PacketManagerPeer> pool;
        const auto build = [&] {
            pool.emplace(CPacketManager::policyPoolData, Pool{6 * 1024}, &s_noted);
        };
        std::ostringstream range;
        range << static_cast<void*>(first) << '-' << static_cast<void*>(first + 6144) << ")\n";
        const std::string tables = std::to_string(9 * sizeof(BufferNode));
        EXPECT_EQ(
            printed(4, build),
            "CPacketManager: malloc total(6144) pagesize(1024)blockCount (6) ManagermentSize(" +
                tables + ")\n                AddrRange(" + range.str());
        EXPECT_EQ((*pool)->poolBuffer(), s_origin);
        EXPECT_EQ(pool->dump(), "CPacketManager dump: SYS Policy\n");
        char outside[16] = "outside";
        EXPECT_EQ((*pool)->copy(first, outside, 8), first);
        EXPECT_EQ((*pool)->copy(outside, first, 8), outside);
        (*pool)->copy(first, first + 6144, 0);  // one beyond the end
        first[6143] = 'z';
        (*pool)->copy(first, first + 6143, 1);
        EXPECT_EQ(*first, 'z');
        pool.reset();
        EXPECT_EQ(s_calls, (Calls{{s_origin, 7 * 1024}, {first, 1}, {s_origin, 0}}));
    }
}

// When set, the next call of operator new takes a chunk of this pool before anything else.
PacketManagerPeer* s_drawnOn = nullptr;
Taken s_drawn;

TEST(PacketManagerLog, DumpsAPoolThatOperatorNewDrawsOn) {
    PacketManagerPeer pool(CPacketManager::policyPool, Pool{4 * 1024});
    const std::string text = printed(4, [&] {
        s_drawnOn = &pool;
        pool->dumpNodes();
    });
    EXPECT_EQ(s_drawn, Taken(3, 1024));
    EXPECT_EQ(text, pool.dumpOf({{{2}, {0}}}));  // with the block that split off
    pool.give(3);
}

TEST(Config, TakesEachSettingByItselfUntilThereIsAManager) {
    s_calls.clear();
    Pool shape{2048};
    CPacketManager::config(CPacketManager::policyPool, nullptr, nullptr);
    CPacketManager::config({}, nullptr, &shape);
    s_origin = s_memory;
    CPacketManager::config({}, &s_noted, nullptr);
    PacketManagerPeer pool({});
    EXPECT_EQ(s_calls, (Calls{{s_origin, 3072}}));
    const auto late = [] {
        CPacketManager::config(CPacketManager::policySystem, nullptr, nullptr);
    };
    Testing::expectLines(
        printed(3, late), "src/memory/packetmanagerinternal.cpp",
        {"<thread> PacketManagerInternal::config() failured: Packet Manager has been configured!"});
    EXPECT_EQ(PacketManagerInternal::policy(), CPacketManager::policyPool);
}

TEST(PacketManagerLog, NamesTheSystemPolicyAndNoOther) {
    const std::string told = printed(6, [] {
        PacketManagerPeer(CPacketManager::policySystem)->dumpNodes();
        PacketManagerPeer(CPacketManager::policyNoCreate)->dumpNodes();
    });
    EXPECT_EQ(told, "CPacketManager: System Policy\nCPacketManager dump: SYS Policy\n");
}

TEST(PacketManagerDeathTest, StopsAtBrokenPreconditions) {
    const std::string shape =
        "param->chunkSize >= 1024 && param->chunkSize > 0 && "
        "param->totalSize % param->chunkSize == 0\\) failed";
    std::pair<Pool, std::string> refused[] = {
        {{4096, 512}, shape}, {{4097, 1024}, shape}, {{4096, 1024, 3}, "alignSize >= 4\\) failed"}};
    for (auto& [parameter, complaint] : refused) {
        EXPECT_DEATH(CPacketManager::config({}, nullptr, &parameter), complaint);
    }
    CPacketManager::MemoryOperator incomplete[] = {{{}, s_noted.free, s_noted.memcpy},
                                                   {s_noted.malloc, {}, s_noted.memcpy},
                                                   {s_noted.malloc, s_noted.free, {}}};
    for (CPacketManager::MemoryOperator& memop : incomplete) {
        EXPECT_DEATH(CPacketManager::config({}, &memop, nullptr),
                     "!memop->malloc.empty\\(\\) && !memop->free.empty\\(\\) && "
                     "!memop->memcpy.empty\\(\\)\\) failed");
    }
    s_origin = nullptr;
    EXPECT_DEATH(PacketManagerPeer(CPacketManager::policyPool, {}, &s_noted), "m_pOriginBuffer");
    PacketManagerPeer pool(CPacketManager::policyPool);
    EXPECT_DEATH(pool.give(-1), "assertion \\(id >= 0\\) failed");
}

}  // namespace

}  // namespace Tovra::Memory

// None is inlined: the compiler would take the pairs of malloc and free for faults.
[[gnu::noinline]] void* operator new(std::size_t size) {
    using namespace Tovra::Memory;
    if (PacketManagerPeer* const pool = std::exchange(s_drawnOn, nullptr)) s_drawn = pool->take(1);
    if (void* memory = std::malloc(size)) return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return std::malloc(size);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
