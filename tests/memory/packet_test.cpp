// Runs under each policy in turn: `--policy=N`, and `--align=N` for the size that packets are
// rounded to.

#include "vesko/memory/packet.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>
#include <thread>

#include <vector>

#include "memory/packetinternal.h"
#include "support/capture.h"
#include "vesko/memory/packetmanager.h"

// The linker sends the library's calls of malloc here.
extern "C" void* __real_malloc(std::size_t size);
extern "C" void* __wrap_malloc(std::size_t size);

namespace {

using namespace Tovra::Memory;
using Tovra::Testing::printed;

constexpr unsigned int chunkSize = 1024;
constexpr unsigned int poolSize = 63 * chunkSize;

int s_policy = CPacketManager::policySystem;
unsigned int s_unit = 4;
thread_local bool s_heapIsShort = false;

std::atomic<int> s_blocks{0};  // of the replaced functions, in use
std::atomic<int> s_copies{0};
std::atomic<unsigned int> s_asked{0};  // by the last call

void* countedMalloc(unsigned int size) {
    ++s_blocks;
    s_asked = size;
    return std::malloc(size);
}
void countedFree(void* block) {
    if (block != nullptr) --s_blocks;
    std::free(block);
}
void* countedMemcpy(void* dst, const void* src, unsigned int size) {
    ++s_copies;
    return std::memcpy(dst, src, size);
}

/// What a packet's free function was called with, and how often.
struct Freed {
    int calls = 0;
    void* data = nullptr;
    unsigned int size = 0;
} s_freed;

void noteFree(void* data, unsigned int size) { s_freed = {s_freed.calls + 1, data, size}; }

bool inPolicies(std::initializer_list<int> policies) {
    return std::find(policies.begin(), policies.end(), s_policy) != policies.end();
}

std::size_t roundUp(std::size_t size) { return (size + s_unit - 1) / s_unit * s_unit; }

void fill(unsigned char* bytes, std::size_t size, int value) {
    if (size > 0) std::memset(bytes, value, size);
}

/// Any packet test. Nothing of the manager's memory may be in use at the end.
class Packet : public testing::Test {
protected:
    void SetUp() override { s_freed = {}; }
    void TearDown() override {
        CPacketManager* const manager = CPacketManager::instance();
        EXPECT_EQ(manager->getFreeSize(), manager->getBufferSize());
        EXPECT_EQ(s_blocks, inPolicies({2, 3}) ? 1 : 0);  // the pool itself
    }
    unsigned char m_memory[64] = {};
};

/// Tests of packets with memory of the manager, which policy 4 does not give.
class SizedPacket : public Packet {
protected:
    void SetUp() override {
        if (s_policy == CPacketManager::policyNoCreate) GTEST_SKIP();
        Packet::SetUp();
    }
};

TEST_F(Packet, AnswersEverythingWhenInvalid) {
    CPacket packet;
    char byte = 0;
    EXPECT_FALSE(packet.valid());
    EXPECT_EQ(packet.size() + packet.capacity() + packet.getExtraSize(), 0U);
    EXPECT_EQ(packet.getBuffer(), nullptr);
    EXPECT_EQ(packet.getExtraData(), nullptr);
    EXPECT_FALSE(packet.resize(0));
    EXPECT_FALSE(packet.resize(1));
    EXPECT_EQ(packet.putBuffer(&byte, 1), 0U);
    packet.reset();
    packet = CPacket(packet);
    EXPECT_FALSE(packet.valid());
}

TEST_F(Packet, CannotBeCreatedWithASizeUnderPolicyFour) {
    if (s_policy != CPacketManager::policyNoCreate) GTEST_SKIP();
    const auto create = [] { EXPECT_FALSE(CPacket(100, 0).valid()); };
    EXPECT_EQ(printed(5, create), "");
    EXPECT_EQ(printed(6, create), "tracepoint:\n");
}

TEST_F(SizedPacket, HasTheCapacityOfItsBlockLessItsHead) {
    // The least head that holds the record, wherever the unit lets it start, behind the extra data.
    const auto head = [](std::size_t extSize) {
        return roundUp(extSize + sizeof(OldPacketInternal) + alignof(OldPacketInternal) - 4);
    };
    for (const unsigned int size : {0U, 1U, 3U, 100U, 101U, 1023U, 1024U, 1500U, 5000U}) {
        for (const unsigned int extSize : {0U, 1U, 7U, 8U, 130U, 255U}) {
            SCOPED_TRACE(testing::Message() << size << " and " << extSize);
            CPacket packet(size, extSize);
            ASSERT_TRUE(packet.valid());
            EXPECT_EQ(packet.size(), size);
            EXPECT_EQ(packet.getExtraSize(), extSize);

            const std::size_t block = poolSize - CPacketManager::instance()->getFreeSize();
            if (s_policy == CPacketManager::policySystem) {
                EXPECT_EQ(packet.capacity(), roundUp(size));
                EXPECT_EQ(s_asked, roundUp(size) + head(extSize));
            } else if (s_policy == CPacketManager::policyPool) {
                EXPECT_EQ(packet.capacity() + head(extSize), block);
                EXPECT_TRUE(block == chunkSize || block / 2 < roundUp(size) + head(extSize));
            } else {
                EXPECT_EQ(packet.capacity(), size == 0 ? 0 : block);
                EXPECT_EQ(packet.getBuffer() == nullptr, size == 0);
            }
            EXPECT_GE(packet.capacity(), size);

            // All of both areas is usable, beside the record, which still works afterwards.
            auto* const extra = static_cast<unsigned char*>(packet.getExtraData());
            EXPECT_EQ(extra == nullptr, extSize == 0);
            if (extra != nullptr && s_policy != CPacketManager::policyPoolData) {
                EXPECT_EQ(extra, packet.getBuffer() + packet.capacity());
            }
            fill(packet.getBuffer(), packet.capacity(), 0xAA);
            fill(extra, extSize, 0x55);
            EXPECT_EQ(packet.getExtraSize(), extSize);
            EXPECT_TRUE(packet.resize(packet.capacity()));
        }
    }
}

TEST_F(SizedPacket, IsInvalidWithoutRoom) {
    const char* const second = s_policy == CPacketManager::policyPoolData ? "2 " : "";
    const auto message = [&](unsigned int size, unsigned int extSize) {
        return std::string(inPolicies({2, 3}) ? "CPacket No Free Space\n" : "") +
               "PacketInternal::create(): " + second + "NO enough, need size(" +
               std::to_string(size) + ") ext(" + std::to_string(extSize) + ")\n";
    };
    for (const unsigned int extSize : {0U, 9U}) {
        const auto create = [=] { EXPECT_FALSE(CPacket(0xFFFFFFFF, extSize).valid()); };
        EXPECT_EQ(printed(4, create), message(0xFFFFFFFF, extSize));
        EXPECT_EQ(printed(3, create), "");
    }
    if (s_policy == CPacketManager::policySystem) return;

    std::vector<CPacket> packets;
    while (packets.empty() || packets.back().valid()) packets.emplace_back(600, 0);
    EXPECT_EQ(packets.size(), 64U);
    EXPECT_EQ(printed(4, [] { CPacket(600, 1); }), message(600, 1));
}

TEST_F(SizedPacket, IsInvalidWithoutHeapForItsHead) {
    const CPacket parent(m_memory, 10, noteFree);
    const std::string failure = "PacketInternal::create(): malloc failured! size(";
    s_heapIsShort = true;
    const std::string window = printed(2, [&] { EXPECT_FALSE(CPacket(parent, 0, 1, 0).valid()); });
    std::string created;
    if (s_policy == CPacketManager::policyPoolData) {
        created = printed(2, [] { EXPECT_FALSE(CPacket(1, 0).valid()); });
        EXPECT_EQ(created.substr(created.rfind(failure)), window.substr(window.rfind(failure)));
    }
    s_heapIsShort = false;
    EXPECT_EQ(window.find("[src/memory/packetinternal.cpp:"), 0U);
    const std::size_t headSize = roundUp(sizeof(OldPacketInternal) + 4);
    EXPECT_EQ(window.substr(window.rfind("PacketInternal")),
              failure + std::to_string(headSize) + ")\n");
}

TEST_F(SizedPacket, IsFilledByAppending) {
    char text[] = "0123456789abcdefghij";
    CPacket packet(20, 0);
    const unsigned int capacity = packet.capacity();
    EXPECT_TRUE(packet.resize(capacity - 10));
    EXPECT_EQ(packet.putBuffer(text, 0), 0U);
    EXPECT_EQ(packet.putBuffer(text, 4), 4U);
    EXPECT_EQ(packet.putBuffer(text + 4, 16), 6U);
    EXPECT_EQ(packet.putBuffer(text, 1), 0U);
    EXPECT_EQ(packet.size(), capacity);
    EXPECT_EQ(std::memcmp(packet.getBuffer() + capacity - 10, text, 10), 0);

    EXPECT_FALSE(packet.resize(capacity + 1));
    EXPECT_FALSE(packet.resize(0xFFFFFFFF));
    EXPECT_EQ(packet.size(), capacity);
    EXPECT_TRUE(packet.resize(0));
    EXPECT_EQ(packet.putBuffer(text, 20), 20U);
    EXPECT_EQ(std::memcmp(packet.getBuffer(), text, 20), 0);
}

TEST_F(Packet, LivesAsLongAsItsHandles) {
    {
        CPacket first(m_memory, 10, noteFree);
        CPacket second(first);
        CPacket third;
        third = second;
        CPacket& same = first;
        first = same;
        first = third;  // the same record already
        EXPECT_EQ(third.getBuffer(), m_memory);
        first.reset();
        second = CPacket();
        EXPECT_FALSE(first.valid() || second.valid());
        EXPECT_EQ(s_freed.calls, 0);
        third = CPacket(m_memory + 1, 20, noteFree);
        EXPECT_EQ(s_freed.calls, 1);
        EXPECT_EQ(s_freed.data, m_memory);
    }
    EXPECT_EQ(s_freed.calls, 2);
    EXPECT_EQ(s_freed.data, m_memory + 1);
}

TEST_F(Packet, MayDropTheHandleItIsAssignedFrom) {
    static CPacket s_source;
    s_source = CPacket(m_memory, 10, noteFree);
    CPacket target(
        m_memory + 20, 10, +[](void*, unsigned int) { s_source.reset(); });
    target = s_source;  // ends the target's first record, and with it the source's handle
    EXPECT_FALSE(s_source.valid());
    EXPECT_EQ(target.getBuffer(), m_memory);
    EXPECT_EQ(s_freed.calls, 0);
}

TEST_F(Packet, WrapsMemoryOfItsCaller) {
    {
        CPacket packet(m_memory, 10, noteFree);
        EXPECT_EQ(packet.getBuffer(), m_memory);
        EXPECT_EQ(packet.size(), 10U);
        EXPECT_EQ(packet.capacity(), 10U);
        EXPECT_EQ(packet.getExtraData(), nullptr);
        EXPECT_EQ(packet.getExtraSize(), 0U);
        EXPECT_TRUE(packet.resize(2));
        char text[] = "text";
        EXPECT_EQ(packet.putBuffer(text, 4), 4U);
    }
    EXPECT_EQ(s_freed.data, m_memory);
    EXPECT_EQ(s_freed.size, 6U);
    EXPECT_EQ(std::memcmp(m_memory + 2, "text", 4), 0);
    EXPECT_EQ(CPacket(m_memory, 10, {}).size(), 10U);  // nothing is called
}

TEST_F(Packet, TakesAnAttachedBuffer) {
    int user = 0;
    {
        CPacket packet(100, noteFree, &user, 255);
        EXPECT_EQ(packet.getBuffer(), nullptr);
        EXPECT_EQ(packet.size(), 100U);
        EXPECT_EQ(packet.capacity(), 100U);
        EXPECT_EQ(packet.getExtraSize(), 255U);
        fill(static_cast<unsigned char*>(packet.getExtraData()), 255, 1);
        EXPECT_EQ(CPacket(packet, 10, 10, 0).getBuffer(), nullptr);

        EXPECT_EQ(packet.putBuffer(m_memory + 1, 5), 5U);
        EXPECT_EQ(packet.putBuffer(m_memory, 200), 200U);  // replaces it, beyond the capacity
        EXPECT_EQ(packet.getBuffer(), m_memory);
        EXPECT_EQ(packet.size(), 200U);
        EXPECT_EQ(packet.capacity(), 100U);
        EXPECT_FALSE(packet.resize(101));
    }
    EXPECT_EQ(s_freed.calls, 1);
    EXPECT_EQ(s_freed.data, &user);
    EXPECT_EQ(s_freed.size, 100U);

    CPacket(100, noteFree, &user, 0).reset();  // never attached: nothing is called
    EXPECT_EQ(s_freed.calls, 1);
    CPacket(100, {}, &user, 0).putBuffer(m_memory, 1);
}

TEST_F(Packet, OpensWindowsWithinItsSizeOnly) {
    constexpr unsigned int most = 0xFFFFFFFF;
    const struct {
        unsigned int offset, size;
        bool valid;
    } cases[] = {{0, 10, true},       {0, 0, true},     {9, 1, true},     {9, 0, true},
                 {3, 4, true},        {10, 0, false},   {1, 10, false},   {9, 2, false},
                 {0, 11, false},      {most, 0, false}, {most, 2, false}, {9, most, false},
                 {5, most - 3, false}};
    const CPacket parent(m_memory, 10, noteFree);
    const auto refusal = [](unsigned int parentSize, unsigned int offset, unsigned int size) {
        return "PacketInternal::create() offset or size is invalid!! huge_size(" +
               std::to_string(parentSize) + "), offset(" + std::to_string(offset) + "), size(" +
               std::to_string(size) + ")\n";
    };
    const auto tail = [](const std::string& text) {
        return text.substr(std::min(text.size(), text.find("PacketInternal")));
    };
    for (const auto& [offset, size, valid] : cases) {
        SCOPED_TRACE(testing::Message() << offset << ", " << size);
        CPacket window;
        const std::string text =
            printed(3, [&, o = offset, s = size] { window = CPacket(parent, o, s, 3); });
        EXPECT_EQ(window.valid(), valid);
        EXPECT_EQ(tail(text), valid ? "" : refusal(10, offset, size));
        EXPECT_EQ(window.getBuffer(), valid ? m_memory + offset : nullptr);
        EXPECT_EQ(window.size(), valid ? size : 0);
        EXPECT_EQ(window.capacity(), valid ? size : 0);
        EXPECT_EQ(window.getExtraSize(), valid ? 3U : 0U);
    }
    EXPECT_EQ(tail(printed(3, [] { CPacket(CPacket(), 0, 0, 0); })), refusal(0, 0, 0));
}

TEST_F(Packet, IsKeptAliveByItsWindows) {
    CPacket parent(m_memory, 20, noteFree);
    CPacket window(parent, 5, 10, 255);
    fill(static_cast<unsigned char*>(window.getExtraData()), 255, 1);
    CPacket inner(window, 2, 3, 0);
    EXPECT_TRUE(parent.resize(1));
    EXPECT_EQ(window.size(), 10U);
    char text[] = "abc";
    EXPECT_TRUE(inner.resize(0));
    EXPECT_EQ(inner.putBuffer(text, 4), 3U);
    EXPECT_EQ(std::memcmp(m_memory + 7, text, 3), 0);

    parent.reset();
    window.reset();
    EXPECT_EQ(s_freed.calls, 0);
    inner.reset();
    EXPECT_EQ(s_freed.calls, 1);
    EXPECT_EQ(s_freed.size, 1U);
}

TEST_F(SizedPacket, ReportsTheLowByteOfItsExtraSize) {
    const CPacket packet(100, 256 + 7);
    EXPECT_EQ(packet.getExtraSize(), 7U);
    fill(static_cast<unsigned char*>(packet.getExtraData()), 256 + 7, 1);  // the area has all of it
    EXPECT_EQ(CPacket(packet, 0, 1, 256).getExtraData(), nullptr);
    EXPECT_EQ(CPacket(1, {}, nullptr, 257).getExtraSize(), 1U);
}

TEST_F(SizedPacket, MayBeSharedByThreads) {
    std::atomic<unsigned int> sum{0};
    const auto work = [&sum](CPacket packet, std::size_t place) {
        for (int i = 0; i < 2000; ++i) {
            CPacket copy(packet);
            const CPacket own(static_cast<unsigned int>(i), 8);
            ++copy.getBuffer()[place];
            copy.reset();
        }
        packet.reset();  // either thread may be the last: it must see what the other wrote
        ++sum;
    };
    for (int round = 0; round < 20; ++round) {
        CPacket packet(2, 0);
        fill(packet.getBuffer(), 2, 0);
        CPacket window(packet, 1, 1, 0);
        std::thread first(work, packet, 0);
        std::thread second(work, window, 0);
        packet.reset();
        window.reset();
        first.join();
        second.join();
    }
    EXPECT_EQ(sum, 40U);
}

TEST_F(Packet, ManagerFollowsThePolicy) {
    CPacketManager* const manager = CPacketManager::instance();
    const bool pool = inPolicies({2, 3});
    EXPECT_EQ(manager->getBufferSize(), pool ? poolSize : 0);
    EXPECT_EQ(manager->getPoolBuffer() != nullptr, pool);
    void* const block = manager->malloc(1025);
    s_copies = 0;
    EXPECT_EQ(manager->memcpy(block, "bytes", 6), block);
    EXPECT_EQ(s_copies, pool ? 0 : 1);  // the pool's function is for copies within it
    EXPECT_STREQ(static_cast<char*>(block), "bytes");
    EXPECT_EQ(manager->getFreeSize(), pool ? poolSize - 2048 : 0);
    manager->free(block);

    CPacketManager::PoolParameter other;
    const std::string text =
        printed(3, [&] { CPacketManager::config(CPacketManager::policyPool, nullptr, &other); });
    EXPECT_NE(text.find("Packet Manager has been configured!\n"), std::string::npos);
    EXPECT_EQ(manager->getBufferSize(), pool ? poolSize : 0);

    const std::string dump = printed(4, [&] { manager->dumpNodes(); });
    const char* const starts[] = {"CPacketManager dump: SYS Policy\n",
                                  "CPacketManager: dump FreeList\nBufferList id:0, order(1) head(",
                                  "CPacketManager dump: SYS Policy\n", ""};
    EXPECT_EQ(dump.find(starts[s_policy - 1]), 0U);
    EXPECT_EQ(dump.empty(), s_policy == CPacketManager::policyNoCreate);
}

}  // namespace

void* __wrap_malloc(std::size_t size) { return s_heapIsShort ? nullptr : __real_malloc(size); }

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        const auto equals = argument.find('=');
        const int value = std::stoi(argument.substr(equals + 1));
        if (argument.substr(0, equals) == "--policy") s_policy = value;
        if (argument.substr(0, equals) == "--align") s_unit = static_cast<unsigned int>(value);
    }
    CPacketManager::MemoryOperator memop{countedMalloc, countedFree, countedMemcpy};
    CPacketManager::PoolParameter parameter{poolSize, chunkSize, s_unit};
    s_unit = std::bit_floor(s_unit);
    CPacketManager::config(static_cast<CPacketManager::Policy>(s_policy), &memop, &parameter);
    return RUN_ALL_TESTS();
}
