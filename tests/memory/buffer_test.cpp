#include "vesko/memory/buffer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <string>

#include "support/capture.h"

extern "C" void* __real_malloc(std::size_t size);

namespace {

using Tovra::Memory::CBuffer;

std::size_t s_heapLimit = ~std::size_t{0};

// Makes the heap short.
struct ShortHeap {
    explicit ShortHeap(std::size_t largest) { s_heapLimit = largest; }
    ~ShortHeap() { s_heapLimit = ~std::size_t{0}; }
};

unsigned int put(CBuffer& buffer, std::string text) {
    return buffer.putBuffer(reinterpret_cast<unsigned char*>(text.data()),
                            static_cast<unsigned int>(text.size()));
}

std::string contents(const CBuffer& buffer) {
    return {reinterpret_cast<const char*>(buffer.getBuffer()), buffer.size()};
}

TEST(Buffer, GrowsByItsRules) {
    struct Case {
        const char* what;
        std::function<void(CBuffer&)> work;
        unsigned int size;
        unsigned int capacity;
    };
    const Case cases[] = {
        {"new", [](CBuffer&) {}, 0, 0},
        {"fits exactly", [](CBuffer& b) { put(b, "abc"); }, 3, 3},
        {"grows exactly", [](CBuffer& b) { put(b, "abc"), put(b, "de"); }, 5, 5},
        {"nothing", [](CBuffer& b) { EXPECT_EQ(b.putBuffer(nullptr, 0), 0U); }, 0, 0},
        {"step", [](CBuffer& b) { b.setIncreasedSize(1024); }, 0, 1024},
        {"no step", [](CBuffer& b) { b.setIncreasedSize(0); }, 0, 0},
        {"in steps", [](CBuffer& b) { b.setIncreasedSize(1024), put(b, std::string(1500, 'x')); },
         1500, 2048},
        {"two steps", [](CBuffer& b) { b.setIncreasedSize(4), put(b, "abcd"), put(b, "e"); }, 5, 8},
        {"step later", [](CBuffer& b) { put(b, "abc"), b.setIncreasedSize(10), put(b, "d"); }, 4,
         10},
        {"resized", [](CBuffer& b) { b.resize(150); }, 150, 150},
        {"resized in steps", [](CBuffer& b) { b.setIncreasedSize(100), b.resize(150); }, 200, 200},
        {"resized within", [](CBuffer& b) { b.setIncreasedSize(100), b.resize(50); }, 50, 100},
        {"shrunk", [](CBuffer& b) { b.resize(100), b.resize(10); }, 10, 100},
        {"resized to 0", [](CBuffer& b) { b.resize(0); }, 0, 0},
        {"reserved", [](CBuffer& b) { b.reserve(100); }, 0, 100},
        {"reserved without steps", [](CBuffer& b) { b.setIncreasedSize(100), b.reserve(101); }, 0,
         101},
        {"reserved less", [](CBuffer& b) { put(b, "abc"), b.reserve(2); }, 3, 3},
        {"reset",
         [](CBuffer& b) { b.setIncreasedSize(100), b.reset(), put(b, "abc"), put(b, "d"); }, 4, 4},
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
        ASSERT_TRUE(expected.empty() || contents(buffer) == expected) << i;
    }
}

TEST(Buffer, StaysAsItIsWhenThereIsNoMemory) {
    const std::pair<std::function<void(CBuffer&)>, const char*> onNew[] = {
        {[](CBuffer& b) { EXPECT_EQ(put(b, std::string(5000, 'x')), 0U); },
         " CBuffer putbuffer Malloc fail:\n"},
        {[](CBuffer& b) { b.resize(5000); }, " CBuffer resize Malloc fail:\n"},
        {[](CBuffer& b) { b.reserve(5000); }, " CBuffer resize Malloc fail:\n"},
        {[](CBuffer& b) { b.setIncreasedSize(5000); }, " CBuffer setIncreasedSize Malloc fail:\n"}};
    const std::pair<std::function<void(CBuffer&)>, const char*> onUsed[] = {
        {[](CBuffer& b) { EXPECT_EQ(put(b, std::string(5000, 'x')), 0U); },
         "CBuffer putbuffer ReMalloc fail:\n"},
        {[](CBuffer& b) { b.resize(5000); }, " CBuffer resize ReMalloc fail:\n"},
        {[](CBuffer& b) { b.reserve(5000); }, " CBuffer reserve Malloc fail:\n"},
        {[](CBuffer& b) { b.setIncreasedSize(5000); }, ""},
        {[](CBuffer& b) { b.setIncreasedSize(0xFFFFFFFF), b.resize(0x80000000); },
         " CBuffer resize ReMalloc fail:\n"}};
    const auto expectFailure = [](CBuffer& buffer, const auto& work, const char* message) {
        EXPECT_EQ(Tovra::Testing::printed(4,
                                          [&] {
                                              const ShortHeap heap(4000);
                                              work(buffer);
                                          }),
                  message);
    };
    for (const auto& [work, message] : onNew) {
        CBuffer buffer;
        expectFailure(buffer, work, message);
        EXPECT_EQ(buffer.capacity(), 0U);
        EXPECT_EQ(buffer.getBuffer(), nullptr);
    }
    for (const auto& [work, message] : onUsed) {
        CBuffer buffer;
        put(buffer, "abc");
        expectFailure(buffer, work, message);
        EXPECT_EQ(contents(buffer), "abc");
        EXPECT_EQ(buffer.capacity(), 3U);
    }
}

}  // namespace

extern "C" void* __wrap_malloc(std::size_t size) {
    return size < s_heapLimit ? __real_malloc(size) : nullptr;
}
