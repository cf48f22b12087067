#include "vesko/memory/packetmanager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>
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
        return block != nullptr ? chunkOf(block) : -1;
    }
    int take(std::size_t&& size) { return take(size); }
    void give(int chunk) { m_manager->free(addressOf(chunk)); }

    // Follows the lists both ways, and checks each element's links and words on the road.
    Lists lists() {
        Vesko::CGuard guard(m_manager->m_mutex);
        m_listed = 0;
        Lists result(static_cast<std::size_t>(m_manager->m_orderCount));
        for (int order = 0; order < m_manager->m_orderCount; ++order) {
            const BufferNode* const head = &m_manager->m_lists[order];
            EXPECT_EQ(head->order, order + 1);
            for (const BufferNode* node = head->next; node != head; node = node->next) {
                EXPECT_EQ(node->pre->next, node);
                EXPECT_EQ(node->next->pre, node);
                EXPECT_EQ(node->order, order + 1);
                EXPECT_EQ(node, &m_manager->m_nodes[node->realIdx]);
                EXPECT_EQ(node->addr, addressOf(node->realIdx));
                result[static_cast<std::size_t>(order)].push_back(node->realIdx);
                ++m_listed;
            }
        }
        return result;
    }

    // The orders of the blocks in use, by first chunk, as far as the chunks' words tell.
    std::map<int, int> used() {
        Vesko::CGuard guard(m_manager->m_mutex);
        std::map<int, int> result;
        int freeBlocks = 0;
        for (int i = 0; i < m_manager->m_blockCount; ++i) {
            const int word = m_manager->m_nodes[i].order;
            if (word < 0) result[i] = -word - 1;
            if (word > 0) ++freeBlocks;
        }
        EXPECT_EQ(freeBlocks, m_listed);  // no other chunk bears a word
        return result;
    }

private:
    std::uint8_t* addressOf(int chunk) const {
        return buffer() + (static_cast<std::ptrdiff_t>(chunk) << m_manager->m_chunkShift);
    }
    int chunkOf(void* block) const {
        return static_cast<int>((static_cast<std::uint8_t*>(block) - buffer()) >>
                                m_manager->m_chunkShift);
    }

    const CPacketManager::MemoryOperator m_defaultOperator = Internal::s_memoryOperator;
    std::unique_ptr<Internal> m_manager;
    int m_listed = 0;  // free blocks that lists() saw
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
        if (found > m_top) return -1;
        int chunk = list(found).front();
        list(found).pop_front();
        for (; found > want; chunk += 1 << found) list(--found).push_front(chunk);
        m_used[chunk] = want;
        size = m_chunkSize << want;
        return chunk;
    }

    void give(int chunk) {
        int order = m_used.at(chunk);
        m_used.erase(chunk);
        for (; order < m_top; ++order) {
            const int buddy = chunk ^ (1 << order);
            auto& peers = list(order);
            const auto found = std::find(peers.begin(), peers.end(), buddy);
            if (found == peers.end()) break;
            peers.erase(found);
            chunk = std::min(chunk, buddy);
        }
        list(order).push_front(chunk);
    }

    const Lists& lists() const { return m_free; }
    const std::map<int, int>& used() const { return m_used; }

private:
    std::list<int>& list(int order) { return m_free[static_cast<std::size_t>(order)]; }

    std::size_t m_chunkSize;
    int m_top = 0;
    Lists m_free;
    std::map<int, int> m_used;  // order by first chunk
};

TEST(Pool, StartsAsTheBinaryFormOfItsChunks) {
    const struct {
        unsigned int count;
        Lists lists;
    } cases[] = {{0, {{}}},
                 {1, {{0}}},
                 {2, {{}, {0}}},
                 {6, {{}, {4}, {0}}},
                 {7, {{6}, {4}, {0}}},
                 {11, {{10}, {8}, {}, {0}}},
                 {2048, {{}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {0}}}};
    for (const auto& [count, lists] : cases) {
        SCOPED_TRACE(count);
        PacketManagerPeer pool(CPacketManager::policyPool, chunks(count));
        EXPECT_EQ(pool.lists(), lists);
        EXPECT_EQ(pool->bufferSize(), count * 1024);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(pool.buffer()) % 1024, 0U);
    }
}

TEST(Pool, RoundsRequestsUpToAPowerOfTwoOfChunks) {
    constexpr std::size_t none = 0;
    const struct {
        std::size_t wanted, got;
    } cases[] = {{1, 1024},          {1024, 1024},      {1025, 2048},  {2048, 2048},
                 {2049, 4096},       {3072, 4096},      {4097, 8192},  {8192, 8192},
                 {8193, none},       {0, none},         {65536, none}, {0x80000000, none},
                 {0xFFFFFFFF, none}, {1ULL << 40, none}};
    PacketManagerPeer pool(CPacketManager::policyPool, chunks(8));
    for (const auto& [wanted, got] : cases) {
        SCOPED_TRACE(wanted);
        std::size_t size = wanted;
        int chunk = -1;
        const std::string text = printed(4, [&] { chunk = pool.take(size); });
        EXPECT_EQ(text, got == none ? "CPacket No Free Space\n" : "");
        EXPECT_EQ(chunk < 0, got == none);
        EXPECT_EQ(size, got == none ? wanted : got);  // untouched on failure
        EXPECT_EQ(pool->freeSize(), 8192 - got);
        if (chunk >= 0) pool.give(chunk);
    }
    EXPECT_EQ(pool.lists(), (Lists{{}, {}, {}, {0}}));
}

TEST(Pool, TakesTheHighestPartOfTheBlockItSplits) {
    PacketManagerPeer pool(CPacketManager::policyPool, chunks(8));
    EXPECT_EQ(pool.take(1), 7);
    EXPECT_EQ(pool.lists(), (Lists{{6}, {4}, {0}, {}}));
    EXPECT_EQ(pool.take(2048), 4);
    EXPECT_EQ(pool.take(2048), 2);
    pool.give(2);
    pool.give(4);  // stays apart from chunk 6: another order
    EXPECT_EQ(pool.lists(), (Lists{{6}, {4}, {0}, {}}));
    pool.give(7);
    EXPECT_EQ(pool.lists(), (Lists{{}, {}, {}, {0}}));
}

TEST(Pool, FollowsTheModelStepByStep) {
    std::mt19937 random(20261122);
    for (const unsigned int chunkSize : {1024U, 4096U}) {
        for (const int count : {1, 2, 3, 6, 7, 11, 64, 100}) {
            SCOPED_TRACE(testing::Message() << count << " chunks of " << chunkSize);
            PacketManagerPeer pool(CPacketManager::policyPool,
                                   chunks(static_cast<unsigned int>(count), chunkSize));
            Model model(count, chunkSize);
            const Lists start = model.lists();
            const auto giveOne = [&] {
                const auto used =
                    std::next(model.used().begin(),
                              static_cast<std::ptrdiff_t>(random() % model.used().size()));
                pool.give(used->first);
                model.give(used->first);
            };
            for (int step = 0; step < 2000; ++step) {
                if (!model.used().empty() && random() % 2 == 0) {
                    giveOne();
                } else {
                    // Mostly small, at times near the whole pool.
                    std::size_t size = 1 + random() % (chunkSize << random() % 8);
                    std::size_t expectedSize = size;
                    const int expected = model.take(expectedSize);
                    ASSERT_EQ(pool.take(size), expected);
                    ASSERT_EQ(size, expectedSize);
                }
                ASSERT_EQ(pool.lists(), model.lists());
                ASSERT_EQ(pool.used(), model.used());
            }
            while (!model.used().empty()) giveOne();
            EXPECT_EQ(pool.lists(), start);
        }
    }
}

TEST(Pool, IgnoresNullAndRefusesWhatLiesBelow) {
    PacketManagerPeer pool(CPacketManager::policyPool, chunks(2));
    pool->free(nullptr);
    EXPECT_EQ(pool.lists(), (Lists{{}, {0}}));
    EXPECT_DEATH(pool.give(-1), "assertion \\(id >= 0\\) failed");
}

TEST(Pool, SurvivesTwoThreads) {
    PacketManagerPeer pool(CPacketManager::policyPool, chunks(64));
    const auto work = [&pool](unsigned int seed) {
        std::mt19937 random(seed);
        std::vector<unsigned char*> blocks(8);
        for (int i = 0; i < 20000; ++i) {
            unsigned char*& block = blocks[random() % blocks.size()];
            if (block != nullptr) {
                EXPECT_EQ(*block, seed);  // nobody else had it
            }
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

/// What the replaced functions were asked for.
struct Calls {
    std::vector<unsigned int> malloced;
    std::vector<void*> freed;
    int copies = 0;
} s_calls;

alignas(1024) unsigned char s_memory[8 * 1024];
unsigned char* s_origin = s_memory;  // what the pool is given

void* countedMalloc(unsigned int size) {
    s_calls.malloced.push_back(size);
    return s_origin;
}
void countedFree(void* block) { s_calls.freed.push_back(block); }
void* countedMemcpy(void* dst, const void* src, unsigned int size) {
    ++s_calls.copies;
    return std::memcpy(dst, src, size);
}

class Operator : public testing::Test {
protected:
    Operator() {
        s_calls = {};
        s_origin = s_memory;
    }
    CPacketManager::MemoryOperator counted{countedMalloc, countedFree, countedMemcpy};
};

TEST_F(Operator, GivesThePoolOneBlockWithRoomToAlign) {
    for (const int shift : {0, 1, 16, 1023}) {
        s_calls = {};
        s_origin = s_memory + shift;
        {
            PacketManagerPeer pool(CPacketManager::policyPoolData, chunks(6), &counted);
            EXPECT_EQ(pool->poolBuffer(), s_origin);
            EXPECT_EQ(pool.buffer(), shift == 0 ? s_memory : s_memory + 1024);
        }
        EXPECT_EQ(s_calls.malloced, std::vector<unsigned int>{7 * 1024});
        EXPECT_EQ(s_calls.freed, std::vector<void*>{s_origin});
    }
}

TEST_F(Operator, MustGiveThePoolItsMemory) {
    s_origin = nullptr;
    EXPECT_DEATH(PacketManagerPeer(CPacketManager::policyPool, {}, &counted),
                 "NULL != m_pOriginBuffer");
}

TEST_F(Operator, CopiesWithinThePoolAlone) {
    PacketManagerPeer pool(CPacketManager::policyPool, chunks(2), &counted);
    char outside[16] = "outside";
    std::uint8_t* const first = pool.buffer();
    std::uint8_t* const last = first + 2047;
    EXPECT_EQ(pool->copy(first, outside, 8), first);
    EXPECT_EQ(pool->copy(outside, first, 8), outside);
    pool->copy(outside, outside + 8, 8);
    pool->copy(first, last + 1, 0);  // one beyond the end
    EXPECT_EQ(s_calls.copies, 0);
    *last = 'z';
    pool->copy(first, last, 1);
    EXPECT_EQ(*first, 'z');
    EXPECT_EQ(s_calls.copies, 1);
}

TEST(PacketManagerLog, TellsHowItWasBuilt) {
    EXPECT_EQ(printed(4, [] { PacketManagerPeer manager(CPacketManager::policySystem); }),
              "CPacketManager: System Policy\n");
    EXPECT_EQ(printed(6, [] { PacketManagerPeer manager(CPacketManager::policyNoCreate); }), "");
    std::string expected;
    const std::string text = printed(4, [&] {
        PacketManagerPeer pool(CPacketManager::policyPoolData, chunks(6));
        char line[256];
        std::snprintf(line, sizeof(line),
                      "CPacketManager: malloc total(6144) pagesize(1024)blockCount (6) "
                      "ManagermentSize(%zu)\n                AddrRange(%p-%p)\n",
                      9 * sizeof(BufferNode), static_cast<void*>(pool.buffer()),
                      static_cast<void*>(pool.buffer() + 6144));
        expected = line;
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
    const char* const system = "CPacketManager dump: SYS Policy\n";
    const struct {
        int policy;
        const char* text;
    } cases[] = {{1, system}, {3, system}, {4, ""}, {5, "CPacketManager: dump FreeList\n"}};
    for (const auto& [policy, text] : cases) {
        PacketManagerPeer manager(static_cast<CPacketManager::Policy>(policy), chunks(2));
        EXPECT_EQ(printed(4, [&] { manager->dumpNodes(); }), text) << policy;
    }

    PacketManagerPeer pool(CPacketManager::policyPool, chunks(3));
    const int taken = pool.take(1);
    const int other = pool.take(1);
    EXPECT_EQ(withNamedPointers(printed(4, [&] { pool->dumpNodes(); })),
              "CPacketManager: dump FreeList\n"
              "BufferList id:0, order(1) head(A), headpre(B)next(B)\n"
              "bufflist(0)id: 0, realIdx(0)self(B)order(1) pre(A), next(A)\n"
              "BufferList id:1, order(2) head(C), headpre(C)next(C)\n");
    pool.give(taken);
    EXPECT_EQ(withNamedPointers(printed(4, [&] { pool->dumpNodes(); })),
              "CPacketManager: dump FreeList\n"
              "BufferList id:0, order(1) head(A), headpre(B)next(C)\n"
              "bufflist(0)id: 0, realIdx(2)self(C)order(1) pre(A), next(B)\n"
              "bufflist(0)id: 1, realIdx(0)self(B)order(1) pre(C), next(A)\n"
              "BufferList id:1, order(2) head(D), headpre(D)next(D)\n");
    EXPECT_EQ(printed(3, [&] { pool->dumpNodes(); }), "");
    pool.give(other);
}

TEST(Config, TakesEachSettingByItself) {
    constexpr auto keep = CPacketManager::Policy{};
    {
        PacketManagerPeer pool(keep);
        EXPECT_EQ(PacketManagerInternal::policy(), CPacketManager::policySystem);
    }
    CPacketManager::config(CPacketManager::policyPool, nullptr, nullptr);
    CPacketManager::config(keep, nullptr, nullptr);
    PacketManagerPeer pool(keep);
    EXPECT_EQ(pool->bufferSize(), 2097152U);
    EXPECT_EQ(pool->freeSize(), 2097152U);
    const int chunk = pool.take(1);
    EXPECT_EQ(chunk, 2047);
    EXPECT_EQ(pool->freeSize(), 2097152U - 1024U);
    pool.give(chunk);

    const std::string text = printed(
        3, [] { CPacketManager::config(CPacketManager::policyNoCreate, nullptr, nullptr); });
    EXPECT_EQ(text.find("[src/memory/packetmanagerinternal.cpp:"), 0U);
    EXPECT_NE(text.find(", PacketManagerInternal::config() failured: "
                        "Packet Manager has been configured!\n"),
              std::string::npos);
    EXPECT_EQ(PacketManagerInternal::policy(), CPacketManager::policyPool);
}

TEST(Config, ChecksWhatItIsGiven) {
    const auto shape = [](unsigned int total, unsigned int chunk, unsigned int align) {
        CPacketManager::PoolParameter parameter{total, chunk, align};
        CPacketManager::config(CPacketManager::policyPool, nullptr, &parameter);
    };
    const char* const chunkText =
        "param->chunkSize >= 1024 && param->chunkSize > 0 && "
        "param->totalSize % param->chunkSize == 0\\) failed";
    EXPECT_DEATH(shape(4096, 512, 4), chunkText);
    EXPECT_DEATH(shape(4096, 0, 4), chunkText);
    EXPECT_DEATH(shape(4097, 1024, 4), chunkText);
    EXPECT_DEATH(shape(4096, 1024, 3), "\\(param->alignSize >= 4\\) failed");

    for (const int missing : {0, 1, 2}) {
        CPacketManager::MemoryOperator memop{countedMalloc, countedFree, countedMemcpy};
        if (missing == 0) memop.malloc = {};
        if (missing == 1) memop.free = {};
        if (missing == 2) memop.memcpy = {};
        EXPECT_DEATH(CPacketManager::config(CPacketManager::policyPool, &memop, nullptr),
                     "!memop->malloc.empty\\(\\) && !memop->free.empty\\(\\) && "
                     "!memop->memcpy.empty\\(\\)\\) failed");
    }
}

}  // namespace

}  // namespace Tovra::Memory
