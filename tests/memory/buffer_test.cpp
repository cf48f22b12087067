#include "vesko/memory/buffer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "support/capture.h"

extern "C" void* __real_malloc(std::size_t size);

namespace {

using Tovra::Memory::CBuffer;

constexpr std::size_t most = ~std::size_t{0};
std::size_t s_heapLimit = most;  // makes the heap short

unsigned int put(CBuffer& buffer, std::string text) {
    return buffer.putBuffer(reinterpret_cast<unsigned char*>(text.data()),
                            static_cast<unsigned int>(text.size()));
}

std::string contents(const CBuffer& buffer) {
    const auto* const bytes = reinterpret_cast<const char*>(buffer.getBuffer());
    return bytes != nullptr ? std::string(bytes, buffer.size()) : "";
}

TEST(Buffer, GrowsByItsRules) {
    struct Case {
        const char* what;
        void (*work)(CBuffer&);
        unsigned int size, capacity;
    };
    const Case cases[] = {
        {"nothing", [](CBuffer& b) { EXPECT_EQ(b.putBuffer(nullptr, 0), 0U); }, 0, 0},
        {"grows exactly", [](CBuffer& b) { put(b, "abc"), put(b, "de"); }, 5, 5},
        {"step", [](CBuffer& b) { b.setIncreasedSize(1024); }, 0, 1024},
        {"no step", [](CBuffer& b) { b.setIncreasedSize(0); }, 0, 0},
        {"steps", [](CBuffer& b) { b.setIncreasedSize(4), put(b, "abcde"), put(b, "fghi"); }, 9,
         12},
        {"step later", [](CBuffer& b) { put(b, "abc"), b.setIncreasedSize(9), put(b, "d"); }, 4, 9},
        {"resized", [](CBuffer& b) { b.resize(150); }, 150, 150},
        {"resized by steps", [](CBuffer& b) { b.setIncreasedSize(99), b.resize(150); }, 198, 198},
        {"resized within", [](CBuffer& b) { b.setIncreasedSize(100), b.resize(50); }, 50, 100},
        {"resized to 0", [](CBuffer& b) { b.resize(9), b.resize(0); }, 0, 9},
        {"reserved", [](CBuffer& b) { b.reserve(100); }, 0, 100},
        {"reserved anew", [](CBuffer& b) { b.setIncreasedSize(100), b.reserve(101); }, 0, 101},
        {"reserved less", [](CBuffer& b) { put(b, "abc"), b.reserve(2); }, 3, 3},
        {"reset", [](CBuffer& b) { b.setIncreasedSize(9), b.reset(), put(b, "d"); }, 1, 1},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        CBuffer buffer;
        one.work(buffer);
        EXPECT_EQ(buffer.size(), one.size);
        EXPECT_EQ(buffer.capacity(), one.capacity);
        EXPECT_EQ(buffer.getBuffer() == nullptr, one.size == 0);
    }
}

TEST(Buffer, KeepsItsBytesAsItMoves) {
    CBuffer buffer;
    std::string expected;
    for (unsigned int i = 0; i < 100; ++i) {
        const std::string piece(i, static_cast<char>('a' + i % 26));
        EXPECT_EQ(put(buffer, piece), i);
        expected += piece;
        if (i == 30) buffer.reserve(2000);
        if (i == 60) buffer.setIncreasedSize(512);
        ASSERT_EQ(contents(buffer), expected) << i;
    }
}

TEST(Buffer, StaysAsItIsWhenThereIsNoMemory) {
    struct Case {
        void (*work)(CBuffer&);
        const char* onNew;   // what an empty buffer says
        const char* onUsed;  // what one with bytes says
    };
    const Case cases[] = {
        {[](CBuffer& b) { EXPECT_EQ(put(b, std::string(5000, 'x')), 0U); },
         " CBuffer putbuffer Malloc fail:\n", "CBuffer putbuffer ReMalloc fail:\n"},
        {[](CBuffer& b) { b.resize(5000); }, " CBuffer resize Malloc fail:\n",
         " CBuffer resize ReMalloc fail:\n"},
        {[](CBuffer& b) { b.reserve(5000); }, " CBuffer resize Malloc fail:\n",
         " CBuffer reserve Malloc fail:\n"},
        {[](CBuffer& b) { b.setIncreasedSize(5000); }, " CBuffer setIncreasedSize Malloc fail:\n",
         ""},
        {[](CBuffer& b) { b.setIncreasedSize(0xFFFFFFFF), b.resize(0x80000000); }, nullptr,
         " CBuffer resize ReMalloc fail:\n"}};
    for (const Case& one : cases) {
        for (const std::string text : {"", "abc"}) {
            const char* const message = text.empty() ? one.onNew : one.onUsed;
            if (message == nullptr) continue;
            CBuffer buffer;
            if (!text.empty()) put(buffer, text);
            const auto work = [&] {
                s_heapLimit = 4000;
                one.work(buffer);
                s_heapLimit = most;
            };
            EXPECT_EQ(Tovra::Testing::printed(4, work), message);
            EXPECT_EQ(contents(buffer), text);
            EXPECT_EQ(buffer.capacity(), text.size());
        }
    }
}

}  // namespace

extern "C" void* __wrap_malloc(std::size_t size) {
    return size < s_heapLimit ? __real_malloc(size) : nullptr;
}
