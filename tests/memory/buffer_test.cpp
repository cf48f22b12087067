#include "vesko/memory/buffer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "support/capture.h"

extern "C" void* __real_malloc(std::size_t size);

namespace {

using Tovra::Memory::CBuffer;

bool s_heapIsShort = false;

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
        {"grows exactly", [](CBuffer& b) { put(b, "abc"), put(b, "de"); }, 5, 5},
        {"steps", [](CBuffer& b) { b.setIncreasedSize(2), put(b, "abc"), put(b, "de"); }, 5, 6},
        {"step later", [](CBuffer& b) { put(b, "abc"), b.setIncreasedSize(9), put(b, "d"); }, 4, 9},
        {"resized by steps", [](CBuffer& b) { b.setIncreasedSize(99), b.resize(150); }, 198, 198},
        {"resized within", [](CBuffer& b) { b.setIncreasedSize(100), b.resize(50); }, 50, 100},
        {"resized to 0", [](CBuffer& b) { b.resize(9), b.resize(0); }, 0, 9},
        {"reserved anew", [](CBuffer& b) { b.setIncreasedSize(100), b.reserve(101); }, 0, 101},
        {"reset", [](CBuffer& b) { b.setIncreasedSize(9), b.reset(), put(b, "d"); }, 1, 1}};
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        CBuffer buffer;
        one.work(buffer);
        EXPECT_EQ(std::pair(buffer.size(), buffer.capacity()), std::pair(one.size, one.capacity));
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
        ASSERT_EQ(contents(buffer), expected) << i;
    }
}

TEST(Buffer, StaysAsItIsWhenThereIsNoMemory) {
    using Case = std::pair<void (*)(CBuffer&), const char*>;
    const Case onNew[] = {
        {[](CBuffer& b) { put(b, std::string(5000, 'x')); }, " CBuffer putbuffer Malloc fail:\n"},
        {[](CBuffer& b) { b.resize(5000); }, " CBuffer resize Malloc fail:\n"},
        {[](CBuffer& b) { b.reserve(5000); }, " CBuffer resize Malloc fail:\n"},
        {[](CBuffer& b) { b.setIncreasedSize(5000); }, " CBuffer setIncreasedSize Malloc fail:\n"}};
    const Case onUsed[] = {
        {[](CBuffer& b) { put(b, std::string(5000, 'x')); }, "CBuffer putbuffer ReMalloc fail:\n"},
        {[](CBuffer& b) { b.setIncreasedSize(0xFFFFFFFF), b.resize(0x80000000); },
         " CBuffer resize ReMalloc fail:\n"},
        {[](CBuffer& b) { b.reserve(5000); }, " CBuffer reserve Malloc fail:\n"}};
    const auto check = [](const Case& one, const std::string& text) {
        CBuffer buffer;
        if (!text.empty()) put(buffer, text);
        const auto work = [&] {
            s_heapIsShort = true;
            one.first(buffer);
            s_heapIsShort = false;
        };
        EXPECT_EQ(Tovra::Testing::printed(4, work), one.second);
        EXPECT_EQ(contents(buffer), text);
        EXPECT_EQ(buffer.capacity(), text.size());
    };
    for (const Case& one : onNew) check(one, "");
    for (const Case& one : onUsed) check(one, "abc");
}

}  // namespace

extern "C" void* __wrap_malloc(std::size_t size) {
    return size < 4000 || !s_heapIsShort ? __real_malloc(size) : nullptr;
}
