// Runs under each policy in turn. Arguments: the policy, and the unit that sizes are rounded to.

#include "vesko/memory/packet.h"

#include <gtest/gtest.h>

#include <atomic>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "memory/packetinternal.h"
#include "support/capture.h"
#include "support/lines.h"
#include "vesko/memory/packetmanager.h"

// The linker sends the library's calls of malloc here.
extern "C" void* __real_malloc(std::size_t size);
extern "C" void* __wrap_malloc(std::size_t size);

namespace {

using namespace Tovra::Memory;
using Tovra::Testing::printed;

constexpr unsigned int poolSize = 63 * 1024;
constexpr unsigned int most = 0xFFFFFFFF;

int s_policy = CPacketManager::policySystem;
unsigned int s_unit = 4;
thread_local bool s_heapIsShort = false;

// What the replaced functions did.
std::atomic<int> s_blocks{0};  // in use
int s_copies = 0;
std::atomic<unsigned int> s_asked{0};  // by the last call

/// The calls of packets' free functions.
using Freed = std::vector<std::pair<void*, unsigned int>>;
Freed s_freed;
void noteFree(void* data, unsigned int size) { s_freed.emplace_back(data, size); }

bool usesPool() {
    return s_policy == CPacketManager::policyPool || s_policy == CPacketManager::policyPoolData;
}
bool givesSizes() { return s_policy != CPacketManager::policyNoCreate; }
std::size_t roundUp(std::size_t size) { return (size + s_unit - 1) / s_unit * s_unit; }

void fill(void* bytes, std::size_t size) {
    if (bytes != nullptr) std::memset(bytes, '#', size);
}

// Expects one line from the packets' record at this level, and none for the empty text.
template <class Action>
void expectTold(int level, const std::string& message, Action&& action) {
    std::vector<std::string> lines;
    if (!message.empty()) lines.push_back("<thread> PacketInternal::create()" + message);
    Tovra::Testing::expectLines(printed(level, action), "src/memory/packetinternal.cpp", lines);
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
    for (const unsigned int size : {0U, 1U, 3U, 101U, 1023U, 1024U, 5000U}) {
        for (const unsigned int extSize : {0U, 1U, 8U, 130U, 255U, 256U, 263U}) {
            SCOPED_TRACE(testing::Message() << size << " and " << extSize);
            CPacket packet(size, extSize);
            EXPECT_EQ(packet.size(), size);

            const std::size_t head = roundUp(extSize + sizeof(OldPacketInternal));
            const std::size_t block = poolSize - CPacketManager::instance()->getFreeSize();
            if (s_policy == CPacketManager::policySystem) {
                EXPECT_EQ(packet.capacity(), roundUp(size));
                // What the record's alignment costs is not taken from the capacity.
                EXPECT_EQ(s_asked, (roundUp(size) + head + 7) / 8 * 8);
            } else if (s_policy == CPacketManager::policyPool) {
                EXPECT_EQ(packet.capacity() + head, block);
                EXPECT_TRUE(block == 1024 || block / 2 < roundUp(size) + head);
            } else {
                EXPECT_EQ(packet.capacity(), block);  // 0 for no bytes
                EXPECT_EQ(packet.getBuffer() == nullptr, size == 0);
            }

            // All of both areas is usable, beside the record, which still works afterwards.
            void* const extra = packet.getExtraData();
            EXPECT_EQ(extra == nullptr, extSize % 256 == 0);
            const bool isBehind = extra == packet.getBuffer() + packet.capacity();
            EXPECT_TRUE(isBehind || extra == nullptr || s_policy == CPacketManager::policyPoolData);
            fill(packet.getBuffer(), packet.capacity());
            fill(extra, extSize);
            EXPECT_EQ(packet.getExtraSize(), extSize % 256);
            EXPECT_TRUE(packet.resize(packet.capacity()));
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
    const int level = givesSizes() ? 4 : 6;
    EXPECT_EQ(printed(level, create), told[s_policy - 1]);
    EXPECT_EQ(printed(level - 1, create), "");

    const CPacket parent(m_memory, 10, {});
    const std::string failure =
        ": malloc failured! size(" + std::to_string(roundUp(1 + sizeof(OldPacketInternal))) + ")";
    s_heapIsShort = true;
    expectTold(2, failure, [&] { EXPECT_FALSE(CPacket(parent, 0, 1, 1).valid()); });
    if (s_policy == CPacketManager::policyPoolData) {
        expectTold(2, failure, [] { EXPECT_FALSE(CPacket(1, 1).valid()); });
    }
    s_heapIsShort = false;
}

TEST_F(Packet, TakesWhatFitsBehindItsBytes) {
    char text[] = "0123456789";
    const CPacket parent(m_memory, 64, {});
    std::vector<CPacket> packets = {parent, CPacket(parent, 10, 30, 0)};
    if (givesSizes()) packets.emplace_back(100, 0);
    for (CPacket& packet : packets) {
        s_copies = 0;
        const unsigned int capacity = packet.capacity();
        EXPECT_TRUE(packet.resize(capacity - 6));
        EXPECT_FALSE(packet.resize(capacity + 1) || packet.resize(most));
        EXPECT_EQ(packet.putBuffer(text, 0), 0U);
        EXPECT_EQ(packet.putBuffer(text, 4), 4U);
        EXPECT_EQ(packet.putBuffer(text + 4, 6), 2U);
        EXPECT_EQ(packet.putBuffer(text, 1), 0U);
        EXPECT_EQ(std::memcmp(packet.getBuffer() + capacity - 6, text, 6), 0);
        EXPECT_TRUE(packet.resize(capacity) && packet.resize(0));
        EXPECT_EQ(packet.putBuffer(text, 10), 10U);
        EXPECT_EQ(std::memcmp(packet.getBuffer(), text, 10), 0);
        EXPECT_EQ(s_copies, usesPool() ? 0 : 3);  // the pool's function is for copies within it
    }
}

TEST_F(Packet, LivesAsLongAsItsHandlesAndWindows) {
    {
        CPacket first(m_memory, 20, noteFree);
        CPacket second(first);
        CPacket third;
        third = second;
        third = first;  // the same record already
        CPacket window(third, 5, 10, 255);
        fill(window.getExtraData(), 255);
        CPacket inner(window, 2, 3, 0);
        EXPECT_TRUE(first.resize(6));
        EXPECT_EQ(window.size(), 10U);  // later changes do not reach it
        for (CPacket* handle : {&first, &second, &third, &window}) handle->reset();
        EXPECT_EQ(inner.getBuffer(), m_memory + 7);
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
    EXPECT_FALSE(s_source.valid());
    EXPECT_EQ(target.getBuffer(), m_memory);
    EXPECT_EQ(s_freed, Freed());
}

TEST_F(Packet, TakesAnAttachedBuffer) {
    int user = 0;
    {
        CPacket packet(100, noteFree, &user, 255);
        fill(packet.getExtraData(), packet.getExtraSize());
        EXPECT_EQ(packet.size() + packet.getExtraSize(), 355U);
        CPacket early(packet, 10, 10, 1);
        EXPECT_TRUE(early.resize(0));
        EXPECT_TRUE(packet.getBuffer() == nullptr && early.getBuffer() == nullptr);
        EXPECT_EQ(early.putBuffer(m_memory, 10), 0U);
        EXPECT_EQ(packet.putBuffer(m_memory + 1, 5), 5U);
        EXPECT_EQ(packet.putBuffer(m_memory, 200), 200U);  // replaces it, beyond the capacity
        EXPECT_EQ(packet.getBuffer(), m_memory);
        EXPECT_EQ(packet.size(), 200U);
        EXPECT_EQ(packet.capacity(), 100U);
        EXPECT_FALSE(packet.resize(101));
    }
    CPacket(100, noteFree, &user, 0).reset();  // never attached: nothing is called
    CPacket(100, {}, &user, 257).putBuffer(m_memory, 1);
    EXPECT_EQ(s_freed, (Freed{{&user, 100}}));
}

TEST_F(Packet, OpensWindowsWithinItsSizeOnly) {
    const struct {
        unsigned int offset, size;
        bool valid;
    } cases[] = {{0, 10, true},    {0, 0, true},     {9, 1, true},        {9, 0, true},
                 {10, 0, false},   {9, 2, false},    {0, 11, false},      {most, 0, false},
                 {most, 2, false}, {9, most, false}, {5, most - 3, false}};
    CPacket parent(m_memory, 20, {});
    EXPECT_TRUE(parent.resize(10));
    const auto refusal = [](unsigned int size, unsigned int offset, unsigned int wanted) {
        return " offset or size is invalid!! huge_size(" + std::to_string(size) + "), offset(" +
               std::to_string(offset) + "), size(" + std::to_string(wanted) + ")";
    };
    for (const auto& one : cases) {
        CPacket window;
        expectTold(3, one.valid ? "" : refusal(10, one.offset, one.size),
                   [&] { window = CPacket(parent, one.offset, one.size, 3); });
        EXPECT_EQ(window.getBuffer(), one.valid ? m_memory + one.offset : nullptr);
        EXPECT_EQ(window.size(), one.valid ? one.size : 0);
        EXPECT_EQ(window.capacity(), window.size());
        EXPECT_EQ(window.getExtraSize(), one.valid ? 3U : 0U);
    }
    expectTold(3, refusal(0, 0, 0), [] { EXPECT_FALSE(CPacket(CPacket(), 0, 0, 0).valid()); });
}

TEST_F(Packet, MayBeSharedByThreads) {
    if (!givesSizes()) GTEST_SKIP();
    const auto work = [](CPacket packet, std::size_t place) {
        for (unsigned int i = 0; i < 2000; ++i) {
            const CPacket copy(packet);
            const CPacket own(i, 8);
            ++copy.getBuffer()[place];
        }
        packet.reset();  // either thread may be the last: it must see what the other wrote
    };
    for (int round = 0; round < 20; ++round) {
        CPacket packet(2, 0);
        fill(packet.getBuffer(), 2);
        CPacket window(packet, 1, 1, 0);
        std::thread first(work, packet, 0);
        std::thread second(work, window, 0);
        packet.reset();
        window.reset();
        first.join();
        second.join();
    }
}

}  // namespace

void* __wrap_malloc(std::size_t size) { return s_heapIsShort ? nullptr : __real_malloc(size); }

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (argc > 1) s_policy = std::atoi(argv[1]);
    if (argc > 2) s_unit = static_cast<unsigned int>(std::atoi(argv[2]));
    CPacketManager::MemoryOperator memop{+[](unsigned int size) {
                                             ++s_blocks;
                                             s_asked = size;
                                             return std::malloc(size);
                                         },
                                         +[](void* block) {
                                             if (block != nullptr) --s_blocks;
                                             std::free(block);
                                         },
                                         +[](void* dst, const void* src, unsigned int size) {
                                             ++s_copies;
                                             return std::memcpy(dst, src, size);
                                         }};
    CPacketManager::PoolParameter parameter{poolSize, 1024, s_unit};
    s_unit = std::bit_floor(s_unit);
    CPacketManager::config(static_cast<CPacketManager::Policy>(s_policy), &memop, &parameter);
    return RUN_ALL_TESTS();
}
