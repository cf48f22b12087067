#include "platform/tls.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace Tovra::Platform;

TEST(Tls, RunsOutAndComesBackEmpty) {
    std::vector<std::uint32_t> slots;
    for (std::uint32_t index; (index = TlsAlloc()) != TLS_OUT_OF_INDEXES; slots.push_back(index)) {
        ASSERT_TRUE(TlsSetValue(index, &slots));
        ASSERT_LT(slots.size(), 1'000'000U);
    }
    ASSERT_FALSE(slots.empty());
    for (const std::uint32_t index : slots) EXPECT_TRUE(TlsFree(index));
    const std::uint32_t again = TlsAlloc();
    ASSERT_NE(again, TLS_OUT_OF_INDEXES);
    EXPECT_EQ(TlsGetValue(again), nullptr);
    EXPECT_TRUE(TlsFree(again));
}

TEST(Tls, RefusesWhatIsNoSlot) {
    EXPECT_FALSE(TlsSetValue(TLS_OUT_OF_INDEXES, nullptr));
    EXPECT_EQ(TlsGetValue(TLS_OUT_OF_INDEXES), nullptr);
    EXPECT_FALSE(TlsFree(TLS_OUT_OF_INDEXES));
}

}  // namespace
