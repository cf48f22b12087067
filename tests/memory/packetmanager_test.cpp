#include "vesko/memory/packetmanager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <list>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "memory/packetmanagerinternal.h"
#include "support/capture.h"

namespace Tovra::Memory {

using Testing::printed;
using Lists = std::vector<std::list<int>>;  // first chunks of the free blocks, by order

/// Builds managers of its own beside the process-wide one, and looks inside them. Settings that the
/// constructor took are put back when it ends.
class PacketManagerPeer {
public:
    using Internal = PacketManagerInternal;
    using Shape = std::optional<CPacketManager::PoolParameter>;

    explicit PacketManagerPeer(CPacketManager::Policy policy, Shape shape = {},
                               CPacketManager::MemoryOperator* memop = nullptr) {
        Internal::config(policy, memop, shape ? &*shape : nullptr);
        m_manager.reset(new Internal);  // the constructor is this class's friend alone
    }
    ~PacketManagerPeer() {
        EXPECT_EQ(m_manager->freeSize(), m_manager->bufferSize());  // all blocks came back
        m_manager.reset();
        Internal::s_policy = CPacketManager::policySystem;
        Internal::s_parameter = {};
        Internal::s_memoryOperator = m_defaultOperator;
        Internal::s_configurable = true;
    }

    Internal* operator->() { return m_manager.get(); }
    std::uint8_t* buffer() const { return m_manager->m_buffer; }

    // The first chunk of the block that a request gets; -1 when there is none.
    int take(std::size_t& size) {
        void* const block = m_manager->allocate(size);
        if (block == nullptr) return -1;
        return static_cast<int>((static_cast<std::uint8_t*>(block) - buffer()) >>
                                m_manager->m_chunkShift);
    }
    int take(std::size_t&& size) { return take(size); }
    void give(int chunk) { m_manager->free(addressOf(chunk)); }

    // Follows the lists both ways, and checks each element's links and words on the road.
    Lists lists() {
        Vesko::CGuard guard(m_manager->m_mutex);
        Lists result(static_cast<std::size_t>(m_manager->m_orderCount));
        std::ptrdiff_t listed = 0;
        for (int order = 0; order < m_manager->m_orderCount; ++order) {
            const BufferNode* const head = &m_manager->m_lists[order];
            for (const BufferNode* node = head->next; node != head; node = node->next) {
                EXPECT_TRUE(node->pre->next == node && node->next->pre == node);
                EXPECT_EQ(node->order, order + 1);
                EXPECT_EQ(node, &m_manager->m_nodes[node->realIdx]);
                EXPECT_EQ(node->addr, addressOf(node->realIdx));
                result[static_cast<std::size_t>(order)].push_back(node->realIdx);
                ++listed;
            }
        }
        const BufferNode* const nodes = m_manager->m_nodes;
        EXPECT_EQ(std::count_if(nodes, nodes + m_manager->m_blockCount,
                                [](const BufferNode& node) { return node.order > 0; }),
                  listed);  // no other chunk bears such a word
        return result;
    }

private:
    std::uint8_t* addressOf(int chunk) const {
        return buffer() + (static_cast<std::ptrdiff_t>(chunk) << m_manager->m_chunkShift);
    }

    const CPacketManager::MemoryOperator m_defaultOperator = Internal::s_memoryOperator;
    std::unique_ptr<Internal> m_manager;
};

namespace {

CPacketManager::PoolParameter chunks(unsigned int count, unsigned int chunkSize = 1024) {
    return {count * chunkSize, chunkSize, 4};
}

/// The pool as a list of rules, slow and plain.
class Model {
public:
    Model(int count, std::size_t chunkSize) : m_chunkSize(chunkSize) {
        while ((2 << m_top) <= count) ++m_top;
        m_free.resize(static_cast<std::size_t>(m_top) + 1);
        for (int order = m_top, at = 0; order >= 0; --order) {
            if ((count - at) >> order == 0) continue;
            list(order).push_front(at);
            at += 1 << order;
        }
    }

    int take(std::size_t& size) {
        int want = 0;
        while ((m_chunkSize << want) < size) ++want;
        int found = want;
        while (found <= m_top && list(found).empty()) ++found;
        if (size == 0 || found > m_top) return -1;
        int chunk = list(found).front();
        list(found).pop_front();
        for (; found > want; chunk += 1 << found) list(--found).push_front(chunk);
        m_used[chunk] = want;
        size = m_chunkSize << want;
        return chunk;
    }

    // Gives back the block in use with this number.
    int give(std::size_t number) {
        const auto block = std::next(m_used.begin(), static_cast<std::ptrdiff_t>(number));
        const int given = block->first;
        int chunk = given;
        int order = block->second;
        m_used.erase(block);
        for (; order < m_top; ++order) {
            const int buddy = chunk ^ (1 << order);
            if (std::erase(list(order), buddy) == 0) break;
            chunk = std::min(chunk, buddy);
        }
        list(order).push_front(chunk);
        return given;
    }

    const Lists& lists() const { return m_free; }
    std::size_t usedCount() const { return m_used.size(); }
    std::size_t usedSize() const {
        std::size_t size = 0;
        for (const auto& [chunk, order] : m_used) size += m_chunkSize << order;
        return size;
    }

private:
    std::list<int>& list(int order) { return m_free[static_cast<std::size_t>(order)]; }

    std::size_t m_chunkSize;
    int m_top = 0;
    Lists m_free;
    std::map<int, int> m_used;  // order by first chunk
};

void followModel(PacketManagerPeer& pool, Model& model, std::size_t chunkSize) {
    constexpr std::size_t extremes[] = {0, 0x80000000, 0xFFFFFFFF, 1ULL << 40};
    std::mt19937 random(20261122);
    std::string told;
    const auto run = [&] {
        for (int step = 0; step < 2000 || model.usedCount() > 0; ++step) {
            if (model.usedCount() > 0 && (step >= 2000 || random() % 2 == 0)) {
                pool.give(model.give(random() % model.usedCount()));
            } else {
                // Often just a boundary, at times near the whole pool.
                const std::size_t most = chunkSize << random() % 8;
                std::size_t size =
                    random() % 2 == 0 ? most + 1 - random() % 3 : 1 + random() % most;
                if (step % 16 == 0) size = extremes[random() % 4];
                std::size_t expectedSize = size;  // untouched on failure
                const int expected = model.take(expectedSize);
                if (expected < 0) told += "CPacket No Free Space\n";
                ASSERT_EQ(pool.take(size), expected);
                ASSERT_EQ(size, expectedSize);
            }
            ASSERT_EQ(pool.lists(), model.lists());
            ASSERT_EQ(pool->freeSize(), pool->bufferSize() - model.usedSize());
        }
    };
    EXPECT_EQ(printed(4, run), told);
}

TEST(Pool, FollowsTheModelStepByStep) {
    EXPECT_EQ(Model(11, 1024).lists(), (Lists{{10}, {8}, {}, {0}}));
    for (const unsigned int chunkSize : {1024U, 4096U}) {
        for (const int count : {0, 1, 2, 3, 6, 7, 11, 64, 100}) {
            SCOPED_TRACE(testing::Message() << count << " chunks of " << chunkSize);
            PacketManagerPeer pool(CPacketManager::policyPool,
                                   chunks(static_cast<unsigned int>(count), chunkSize));
            Model model(count, chunkSize);
            const Lists start = model.lists();
            ASSERT_EQ(pool.lists(), start);
            followModel(pool, model, chunkSize);
            EXPECT_EQ(pool.lists(), start);
        }
    }
}

TEST(Pool, SurvivesTwoThreads) {
    PacketManagerPeer pool(CPacketManager::policyPool, chunks(64));
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
    EXPECT_EQ(pool.lists(), (Lists{{}, {}, {}, {}, {}, {}, {0}}));
}

// What the replaced functions were asked for.
alignas(1024) unsigned char s_memory[8 * 1024];
unsigned char* s_origin = s_memory;  // what the pool is given
std::vector<unsigned int> s_malloced;
std::vector<void*> s_freed;
int s_copies = 0;

CPacketManager::MemoryOperator s_counted{+[](unsigned int size) -> void* {
                                             s_malloced.push_back(size);
                                             return s_origin;
                                         },
                                         +[](void* block) { s_freed.push_back(block); },
                                         +[](void* dst, const void* src, unsigned int size) {
                                             ++s_copies;
                                             return std::memcpy(dst, src, size);
                                         }};

TEST(Operator, GivesThePoolOneBlockWithRoomToAlign) {
    for (const int shift : {0, 1, 1023}) {
        s_malloced.clear();
        s_freed.clear();
        s_origin = s_memory + shift;
        {
            PacketManagerPeer pool(CPacketManager::policyPoolData, chunks(6), &s_counted);
            EXPECT_EQ(pool->poolBuffer(), s_origin);
            EXPECT_EQ(pool.buffer(), shift == 0 ? s_memory : s_memory + 1024);
        }
        EXPECT_EQ(s_malloced, std::vector<unsigned int>{7 * 1024});
        EXPECT_EQ(s_freed, std::vector<void*>{s_origin});
    }
    s_origin = s_memory;
}

TEST(Operator, CopiesWithinThePoolAlone) {
    PacketManagerPeer pool(CPacketManager::policyPool, chunks(2), &s_counted);
    char outside[16] = "outside";
    std::uint8_t* const first = pool.buffer();
    std::uint8_t* const last = first + 2047;
    EXPECT_EQ(pool->copy(first, outside, 8), first);
    EXPECT_EQ(pool->copy(outside, first, 8), outside);
    pool->copy(first, last + 1, 0);  // one beyond the end
    EXPECT_EQ(s_copies, 0);
    *last = 'z';
    pool->copy(first, last, 1);
    EXPECT_EQ(*first, 'z');
    EXPECT_EQ(s_copies, 1);
}

TEST(PacketManagerLog, TellsHowItWasBuilt) {
    EXPECT_EQ(printed(4, [] { PacketManagerPeer manager(CPacketManager::policySystem); }),
              "CPacketManager: System Policy\n");
    EXPECT_EQ(printed(6, [] { PacketManagerPeer manager(CPacketManager::policyNoCreate); }), "");
    char expected[256];
    const std::string text = printed(4, [&] {
        PacketManagerPeer pool(CPacketManager::policyPoolData, chunks(6));
        std::snprintf(expected, sizeof(expected),
                      "CPacketManager: malloc total(6144) pagesize(1024)blockCount (6) "
                      "ManagermentSize(%zu)\n                AddrRange(%p-%p)\n",
                      9 * sizeof(BufferNode), static_cast<void*>(pool.buffer()),
                      static_cast<void*>(pool.buffer() + 6144));
    });
    EXPECT_EQ(text, expected);
}

// Each address becomes a letter, in the order of their first places.
std::string withNamedPointers(std::string text) {
    char name = 'A';
    for (auto at = text.find("0x"); at != std::string::npos; at = text.find("0x"), ++name) {
        const std::string address = text.substr(at, text.find(')', at) - at);
        for (; at != std::string::npos; at = text.find(address)) {
            text.replace(at, address.size(), 1, name);
        }
    }
    return text;
}

TEST(PacketManagerLog, DumpsByPolicy) {
    const std::string system = "CPacketManager dump: SYS Policy\n";
    const std::string dumps[] = {system, "", system, "", "CPacketManager: dump FreeList\n"};
    for (const int policy : {1, 3, 4, 5}) {
        PacketManagerPeer manager(static_cast<CPacketManager::Policy>(policy), chunks(2));
        EXPECT_EQ(printed(4, [&] { manager->dumpNodes(); }), dumps[policy - 1]) << policy;
    }
    PacketManagerPeer pool(CPacketManager::policyPool, chunks(3));
    const int first = pool.take(1);
    const int second = pool.take(1);
    pool.give(first);
    const auto dump = [&] { pool->dumpNodes(); };
    EXPECT_EQ(printed(3, dump), "");
    EXPECT_EQ(withNamedPointers(printed(4, dump)),
              "CPacketManager: dump FreeList\n"
              "BufferList id:0, order(1) head(A), headpre(B)next(C)\n"
              "bufflist(0)id: 0, realIdx(2)self(C)order(1) pre(A), next(B)\n"
              "bufflist(0)id: 1, realIdx(0)self(B)order(1) pre(C), next(A)\n"
              "BufferList id:1, order(2) head(D), headpre(D)next(D)\n");
    pool.give(second);
}

// When set, the next call of operator new takes a chunk of this pool before anything else.
PacketManagerPeer* s_drawnOn = nullptr;
int s_drawn = -1;

TEST(PacketManagerLog, DumpsAPoolThatOperatorNewDrawsOn) {
    PacketManagerPeer pool(CPacketManager::policyPool, chunks(4));
    const std::string text = printed(4, [&] {
        s_drawnOn = &pool;
        pool->dumpNodes();
    });
    EXPECT_EQ(s_drawn, 3);
    EXPECT_EQ(pool.lists(), (Lists{{2}, {0}, {}}));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 6);  // with the block that split off
    pool.give(s_drawn);
}

TEST(Config, TakesEachSettingByItself) {
    constexpr auto keep = CPacketManager::Policy{};
    {
        PacketManagerPeer system(keep);
        EXPECT_EQ(PacketManagerInternal::policy(), CPacketManager::policySystem);
    }
    CPacketManager::config(CPacketManager::policyPool, nullptr, nullptr);
    PacketManagerPeer pool(keep);
    EXPECT_EQ(pool->bufferSize(), 2097152U);
    EXPECT_EQ(pool->freeSize(), 2097152U);
    const std::string text = printed(
        3, [] { CPacketManager::config(CPacketManager::policyNoCreate, nullptr, nullptr); });
    EXPECT_EQ(text.find("[src/memory/packetmanagerinternal.cpp:"), 0U);
    EXPECT_TRUE(
        text.ends_with(", PacketManagerInternal::config() failured: "
                       "Packet Manager has been configured!\n"));
    EXPECT_EQ(PacketManagerInternal::policy(), CPacketManager::policyPool);
}

TEST(PacketManagerDeathTest, StopsAtBrokenPreconditions) {
    using Pool = CPacketManager::PoolParameter;
    const std::string shape =
        "param->chunkSize >= 1024 && param->chunkSize > 0 && "
        "param->totalSize % param->chunkSize == 0\\) failed";
    for (Pool parameter : {Pool{4096, 512, 4}, Pool{4096, 0, 4}, Pool{4097, 1024, 4}}) {
        EXPECT_DEATH(CPacketManager::config({}, nullptr, &parameter), shape);
    }
    Pool unaligned{4096, 1024, 3};
    EXPECT_DEATH(CPacketManager::config({}, nullptr, &unaligned),
                 "\\(param->alignSize >= 4\\) failed");

    CPacketManager::MemoryOperator incomplete[] = {s_counted, s_counted, s_counted};
    incomplete[0].malloc = {};
    incomplete[1].free = {};
    incomplete[2].memcpy = {};
    for (CPacketManager::MemoryOperator& memop : incomplete) {
        EXPECT_DEATH(CPacketManager::config({}, &memop, nullptr),
                     "!memop->malloc.empty\\(\\) && !memop->free.empty\\(\\) && "
                     "!memop->memcpy.empty\\(\\)\\) failed");
    }
    CPacketManager::MemoryOperator empty = s_counted;
    empty.malloc = +[](unsigned int) -> void* { return nullptr; };
    EXPECT_DEATH(PacketManagerPeer(CPacketManager::policyPool, {}, &empty),
                 "NULL != m_pOriginBuffer");
    PacketManagerPeer pool(CPacketManager::policyPool, chunks(2));
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
