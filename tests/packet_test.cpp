#include "vesko/packet.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "vesko/memory/sharepacket.h"

namespace {

namespace Memory = Tovra::Memory;

// The first test configures the one manager of the process.
TEST(OldPacketManager, SelectsThePoolOnceAndTheHeaderAlways) {
    IPacketManager::config(0x10000, 1024, 32);
    const CPacket packet(100UL);
    IPacketManager* const manager = IPacketManager::instance();
    EXPECT_EQ(manager->GetFreeSize(), 0x10000U - 1024U);
    IPacketManager::config(0x20000, 2048, 128);
    EXPECT_EQ(manager->GetBufferSize(), 0x10000U);
    EXPECT_EQ(CPacket(100UL).GetHeaderSize(), 128U);
    EXPECT_EQ(packet.GetHeaderSize(), 32U);
}

TEST(OldPacket, CountsInItsOwnWords) {
    CPacket packet(100UL);
    EXPECT_TRUE(packet.GetSize() == 1024 && packet.GetLeft() == 924);
    EXPECT_EQ(packet.SetLength(1025), 0U);
    EXPECT_EQ(packet.SetLength((1UL << 32) + 4), 0U) << "not cut to 32 bits";
    EXPECT_TRUE(packet.GetLength() == 100 && packet.SetLength(1020) == 1);
    char text[] = "abcdef";
    EXPECT_EQ(packet.PutBuffer(text, 6), 4U);
    EXPECT_EQ(std::memcmp(packet.GetBuffer() + 1020, "abcd", 4), 0);
    std::memset(packet.GetHeader(), 0xFF, packet.GetHeaderSize());
    packet.ClearHeader();
    EXPECT_EQ(std::count(packet.GetHeader(), packet.GetHeader() + packet.GetHeaderSize(), 0), 128);
}

TEST(OldPacket, IsInvalidWhenThereIsNoMemory) {
    CPacket packet;
    const CPacket& fixed = packet;
    for (int round = 0; round < 2; ++round) {  // one that never was valid, and one without memory
        EXPECT_FALSE(packet.Valid() || fixed.Valid());
        EXPECT_TRUE(packet.Invalid() && fixed.Invalid() && CPacket(fixed).Invalid());
        EXPECT_TRUE(fixed.GetBuffer() == nullptr && fixed.GetHeader() == nullptr);
        EXPECT_EQ(fixed.GetSize() + fixed.GetLength() + fixed.GetHeaderSize(), 0U);
        EXPECT_EQ(packet.SetLength(0) + packet.PutBuffer(nullptr, 0), 0U);
        EXPECT_FALSE(static_cast<Memory::CPacket>(packet).valid());
        packet = CPacket(100UL);
        packet = CPacket(1UL << 20);
    }
}

TEST(OldPacket, SharesItsBufferAndLetsItGo) {
    IPacketManager* const manager = IPacketManager::instance();
    const unsigned int free = manager->GetFreeSize();
    Memory::CPacket kept;
    CPacket target(200UL);
    {
        CPacket packet(100UL);
        packet.GetBuffer()[0] = 'x';
        kept = packet;
        target = packet;
        CPacket fresh;
        fresh = packet;
        packet = *&packet;
        for (const CPacket& copy : {CPacket(packet), CPacket(kept), target, fresh}) {
            EXPECT_EQ(copy.GetBuffer(), packet.GetBuffer());
        }
    }
    EXPECT_EQ(kept.getBuffer()[0], 'x');
    Memory::CSharePacketHelper* const helper = Memory::CSharePacketHelper::instance();
    EXPECT_EQ(helper->toDescribePacket(kept).getBuffer(), kept.getBuffer());
    EXPECT_EQ(helper->toOriginalPacket(kept).getBuffer(), kept.getBuffer());
    kept.reset();
    EXPECT_EQ(manager->GetFreeSize(), free - 1024);
    target = CPacket();
    EXPECT_EQ(manager->GetFreeSize(), free);
}

TEST(OldPacket, TakesABufferLater) {
    static std::pair<void*, unsigned int> s_freed;
    constexpr auto note = [](void* userData, unsigned int size) { s_freed = {userData, size}; };
    unsigned char text[] = "abc";
    CPacket packet(3U, Tovra::Vesko::TFunction2<void, void*, unsigned int>(+note), &s_freed);
    EXPECT_EQ(packet.GetBuffer(), nullptr);
    EXPECT_EQ(packet.PutBuffer(text, 3), 3U);
    EXPECT_EQ(packet.GetBuffer(), text);
    packet = CPacket();
    EXPECT_EQ(s_freed, (std::pair<void*, unsigned int>(&s_freed, 3)));
}

}  // namespace
