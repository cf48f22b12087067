// Runs under each policy in turn. Arguments: the policy, and the unit that sizes are rounded to.

#include "vesko/memory/packet.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "memory/packetinternal.h"
#include "support/capture.h"
#include "support/crowd.h"
#include "support/lines.h"
#include "vesko/memory/packetmanager.h"

// The linker sends the library's calls of malloc here.
extern "C" void* __real_malloc(std::size_t size);

namespace {

using namespace Tovra::Memory;
using enum CPacketManager::Policy;
using Tovra::Testing::printed;

constexpr unsigned int poolSize = 63 * 1024;
constexpr unsigned int most = 0xFFFFFFFF;

int s_policy = policySystem;
unsigned int s_unit = 4;
thread_local bool s_heapIsShort = false;
std::atomic<int> s_blocks{0};  // of the replaced functions, in use

using Freed = std::vector<std::pair<void*, unsigned int>>;
Freed s_freed;  // the calls of packets' free functions
void* allocate(unsigned int size) {
    ++s_blocks;
    return std::malloc(size);
}
void release(void* block) {
    if (block != nullptr) --s_blocks;
    std::free(block);
}
void* copy(void* dst, const void* src, unsigned int size) { return std::memcpy(dst, src, size); }
void noteFree(void* data, unsigned int size) { s_freed.emplace_back(data, size); }

bool usesPool() { return s_policy == policyPool || s_policy == policyPoolData; }
bool givesSizes() { return s_policy != policyNoCreate; }
std::size_t roundUp(std::size_t size) { return (size + s_unit - 1) / s_unit * s_unit; }

void fill(void* bytes, std::size_t size) { std::fill_n(static_cast<char*>(bytes), size, '#'); }

void expectTold(int level, const std::string& message, auto&& action) {
    Tovra::Testing::expectLines(printed(level, action), "src/memory/packetinternal.cpp",
                                {"<thread> PacketInternal::create()" + message});
}

/// Any packet test. Nothing of the manager's memory may be in use at the end.
class Packet : public testing::Test {
protected:
    Packet() { s_freed = {}; }
    ~Packet() override {
        EXPECT_EQ(CPacketManager::instance()->getFreeSize(), usesPool() ? poolSize : 0);
        EXPECT_EQ(s_blocks, usesPool() ? 1 : 0);  // the pool itself
    }
    unsigned char m_memory[64] = {};
};

TEST_F(Packet, HasTheCapacityOfItsBlockLessItsHead) {
    if (!givesSizes()) GTEST_SKIP();
    for (const unsigned int size : {0U, 1U, 3U, 1023U, 1024U, 5000U}) {
        for (const unsigned int extSize : {0U, 1U, 8U, 255U, 256U, 263U}) {
            SCOPED_TRACE(testing::Message() << size << " and " << extSize);
            CPacket packet(size, extSize);
            const std::size_t head = roundUp(extSize + sizeof(OldPacketInternal));
            const std::size_t block = poolSize - CPacketManager::instance()->getFreeSize();
            if (s_policy == policySystem) {
                EXPECT_EQ(packet.capacity(), roundUp(size));
            } else if (s_policy == policyPool) {
                EXPECT_EQ(packet.capacity() + head, block);
            } else {
                EXPECT_EQ(packet.capacity(), block);  // 0 for no bytes
                EXPECT_EQ(packet.getBuffer() == nullptr, size == 0);
            }
            // All of both areas is usable, beside the record, which still works afterwards.
            void* const extra = packet.getExtraData();
            EXPECT_EQ(extra == nullptr, extSize % 256 == 0);
            fill(packet.getBuffer(), packet.capacity());
            fill(extra, packet.getExtraSize());
            EXPECT_EQ(packet.getExtraSize(), extSize % 256);
        }
    }
}

TEST_F(Packet, IsInvalidWithoutRoomOrHeapForItsHead) {
    const std::string need = "NO enough, need size(4294967295) ext(9)\n";
    const std::string told[] = {"PacketInternal::create(): " + need,
                                "CPacket No Free Space\nPacketInternal::create(): " + need,
                                "CPacket No Free Space\nPacketInternal::create(): 2 " + need,
                                "tracepoint:\n"};
    const auto create = [this] {
        CPacket packet(most, 9);
        packet = CPacket(packet);
        EXPECT_FALSE(packet.valid() || packet.resize(0) || packet.putBuffer(m_memory, 1) > 0);
        EXPECT_EQ(packet.size() + packet.capacity() + packet.getExtraSize(), 0U);
        EXPECT_TRUE(packet.getBuffer() == nullptr && packet.getExtraData() == nullptr);
    };
    EXPECT_EQ(printed(givesSizes() ? 4 : 6, create), told[s_policy - 1]);

    const CPacket parent(m_memory, 10, {});
    const std::string failure =
        ": malloc failured! size(" + std::to_string(roundUp(1 + sizeof(OldPacketInternal))) + ")";
    s_heapIsShort = true;
    expectTold(2, failure, [&] { EXPECT_FALSE(CPacket(parent, 0, 1, 1).valid()); });
    if (s_policy == policyPoolData) {
        expectTold(2, failure, [] { EXPECT_FALSE(CPacket(1, 1).valid()); });
    }
    s_heapIsShort = false;
}

TEST_F(Packet, LivesAsLongAsItsHandlesAndWindows) {
    {
        CPacket first(m_memory, 20, noteFree);
        CPacket second(first);
        second = first;  // the same record already
        CPacket window(second, 5, 10, 255);
        fill(window.getExtraData(), 255);
        CPacket inner(window, 2, 3, 0);
        EXPECT_TRUE(first.resize(6));
        EXPECT_EQ(window.size(), 10U);  // later changes do not reach it
        for (CPacket* handle : {&first, &second, &window}) handle->reset();
        EXPECT_EQ(s_freed, Freed());
        inner = CPacket(m_memory + 1, 20, noteFree);
        EXPECT_EQ(s_freed, (Freed{{m_memory, 6}}));
    }
    EXPECT_EQ(s_freed, (Freed{{m_memory, 6}, {m_memory + 1, 20}}));
}

TEST_F(Packet, MayDropTheHandleItIsAssignedFrom) {
    static CPacket s_source;
    s_source = CPacket(m_memory, 10, noteFree);
    CPacket target(
        m_memory + 20, 10, +[](void*, unsigned int) { s_source.reset(); });
    target = s_source;  // ends the target's first record, and with it the source's handle
    EXPECT_EQ(target.getBuffer(), m_memory);
    EXPECT_EQ(s_freed, Freed());
}

TEST_F(Packet, TakesAnAttachedBuffer) {
    int user = 0;
    {
        CPacket packet(100, noteFree, &user, 255);
        fill(packet.getExtraData(), 255);
        CPacket early(packet, 10, 10, 1);
        EXPECT_TRUE(early.resize(0) && early.getBuffer() == nullptr);
        EXPECT_EQ(early.putBuffer(m_memory, 10), 0U);
        EXPECT_EQ(packet.putBuffer(m_memory + 1, 5), 5U);
        EXPECT_EQ(packet.putBuffer(m_memory, 200), 200U);  // replaces it, beyond the capacity
        EXPECT_EQ(packet.getBuffer(), m_memory);
        EXPECT_TRUE(packet.size() == 200 && packet.capacity() == 100);
    }
    CPacket(100, noteFree, &user, 0).reset();  // never attached: nothing is called
    CPacket(100, {}, &user, 257).putBuffer(m_memory, 1);
    EXPECT_EQ(s_freed, (Freed{{&user, 100}}));
}

TEST_F(Packet, OpensWindowsWithinItsSizeOnly) {
    CPacket parent(m_memory, 20, {});
    EXPECT_TRUE(parent.resize(10));
    const CPacket window(parent, 9, 1, 3);
    EXPECT_EQ(window.getBuffer(), m_memory + 9);
    EXPECT_TRUE(window.size() == 1 && window.capacity() == 1 && window.getExtraSize() == 3);
    EXPECT_TRUE(CPacket(parent, 0, 10, 0).valid() && CPacket(parent, 9, 0, 0).valid());
    expectTold(3, " offset or size is invalid!! huge_size(10), offset(5), size(4294967292)",
               [&] { EXPECT_FALSE(CPacket(parent, 5, most - 3, 0).valid()); });
    EXPECT_FALSE(CPacket(parent, 10, 0, 0).valid() || CPacket(parent, 9, 2, 0).valid());
}

TEST_F(Packet, MayBeSharedByThreads) {
    if (!givesSizes()) GTEST_SKIP();
    for (int round = 0; round < 20; ++round) {
        CPacket packets[] = {CPacket(2, 0), CPacket()};
        packets[1] = CPacket(packets[0], 1, 1, 0);
        Tovra::Testing::together(2, [&packets](int place) {
            for (unsigned int i = 0; i < 2000; ++i) {
                const CPacket other(packets[place]);
                const CPacket own(i, 8);
                ++other.getBuffer()[0];
            }
            packets[place].reset();  // either may be the last: it must see what the other wrote
        });
    }
}

}  // namespace

extern "C" void* __wrap_malloc(std::size_t size) {
    return s_heapIsShort ? nullptr : __real_malloc(size);
}

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (argc > 1) s_policy = std::atoi(argv[1]);
    if (argc > 2) s_unit = static_cast<unsigned int>(std::atoi(argv[2]));
    CPacketManager::MemoryOperator memop{allocate, release, copy};
    CPacketManager::PoolParameter parameter{poolSize, 1024, s_unit};
    s_unit = std::bit_floor(s_unit);
    CPacketManager::config(static_cast<CPacketManager::Policy>(s_policy), &memop, &parameter);
    return RUN_ALL_TESTS();
}
