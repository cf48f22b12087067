#include "vesko/vesko3/string.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <iomanip>
#include <iterator>
#include <list>
#include <new>
#include <random>
#include <sstream>
#include <unordered_set>

#include "support/allocations.h"
#include "vesko/vesko3/detail/ministringstorage.h"

namespace {

using Tovra::Testing::allocationsOf;
using Tovra::Vesko::CString;
using Tovra::Vesko::Detail::AllocatorStringStorage;
using Tovra::Vesko::Detail::flex_string;
using Tovra::Vesko::Detail::MiniStringStorage;
using Tovra::Vesko::Detail::SmallStringOpt;
using Tovra::Vesko::Detail::StringData;

using MiniString =
    flex_string<char, std::char_traits<char>, std::allocator<char>, MiniStringStorage<char>>;
using BlockString = flex_string<char>;
using WideString = flex_string<
    wchar_t, std::char_traits<wchar_t>, std::allocator<wchar_t>,
    SmallStringOpt<AllocatorStringStorage<wchar_t, std::allocator<wchar_t>>, 7, wchar_t*>>;

static_assert(sizeof(CString) == 32 && alignof(CString) == alignof(char*));
static_assert(sizeof(MiniString) == sizeof(void*) && sizeof(BlockString) == sizeof(void*));
static_assert(offsetof(StringData<char>, pEndOfMem_) == sizeof(char*));
static_assert(offsetof(StringData<char>, buffer_) == 2 * sizeof(char*));
static_assert(std::is_nothrow_move_constructible_v<CString>);
static_assert(std::is_nothrow_move_assignable_v<CString>);
static_assert(std::is_nothrow_swappable_v<CString>);
static_assert(std::is_constructible_v<CString, std::string>);
static_assert(!std::is_convertible_v<std::string, CString>);
static_assert(std::is_convertible_v<CString, std::string_view>);
static_assert(!std::is_constructible_v<CString, std::nullptr_t>);

constexpr std::size_t s_lengths[] = {0, 1, 5, 30, 31, 32, 33, 64, 100};

// Volatile: compilers warn of such sizes where they see them.
volatile std::size_t s_most = PTRDIFF_MAX - sizeof(StringData<char>);
volatile std::size_t s_all = SIZE_MAX;

// No two neighbours alike, so that a character out of place shows.
std::string pattern(std::size_t length) {
    std::string text(length, ' ');
    for (std::size_t at = 0; at < length; ++at) text[at] = static_cast<char>('a' + at * 7 % 26);
    return text;
}

int lastByte(const CString& text) {
    return reinterpret_cast<const unsigned char*>(&text)[sizeof(CString) - 1];
}

template <class String>
std::string plain(const String& text) {
    EXPECT_EQ(text.c_str()[text.size()], '\0');
    EXPECT_GE(text.capacity(), text.size());
    return std::string(text.begin(), text.end());
}

// Hands out blocks, notes their sizes and refuses them on demand.
struct Blocks {
    static inline std::size_t lastSize = 0;
    static inline int held = 0;
    static inline bool refused = false;
};

template <class E>
struct TestAllocator {
    using value_type = E;
    E* allocate(std::size_t count) {
        if (Blocks::refused) throw std::bad_alloc();
        Blocks::lastSize = count;
        ++Blocks::held;
        return static_cast<E*>(::operator new(count * sizeof(E)));
    }
    void deallocate(E* block, std::size_t) {
        --Blocks::held;
        ::operator delete(block);
    }
    friend bool operator==(TestAllocator, TestAllocator) { return true; }
};

using WatchedString =
    flex_string<char, std::char_traits<char>, TestAllocator<char>,
                SmallStringOpt<AllocatorStringStorage<char, TestAllocator<char>>, 31, char*>>;

// Layout and capacity.

TEST(CString, TellsItsModeInTheLastByte) {
    for (const std::size_t length : s_lengths) {
        SCOPED_TRACE(length);
        const CString text(pattern(length));
        const bool small = length <= 31;
        EXPECT_EQ(lastByte(text), small ? 31 - static_cast<int>(length) : 32);
        EXPECT_EQ(text.capacity(), small ? 31 : length);
        EXPECT_EQ(plain(text), pattern(length));

        const char* inside = reinterpret_cast<const char*>(&text);
        EXPECT_EQ(text.begin() == inside, small);
        if (small) continue;
        const StringData<char>* block = nullptr;
        std::memcpy(&block, inside, sizeof(char*));
        EXPECT_EQ(block->buffer_, text.begin());
        EXPECT_EQ(block->pEnd_, text.end());
        EXPECT_EQ(block->pEndOfMem_, text.begin() + text.capacity());
    }
}

TEST(CString, AllocatesOnlyBeyond31Characters) {
    for (const std::size_t length : s_lengths) {
        SCOPED_TRACE(length);
        const std::string source = pattern(length);
        const auto use = [&] {
            CString made(source);
            CString taken(std::move(made));
            EXPECT_TRUE(made.empty());  // NOLINT(bugprone-use-after-move): empty is what it must be
            made = std::move(taken);
            made.clear();
        };
        EXPECT_EQ(allocationsOf(use), length <= 31 ? 0U : 1U);
    }
}

TEST(CString, GrowsToExactlyWhatIsAsked) {
    struct Case {
        std::size_t length, reserved, capacity;
    };
    constexpr Case cases[] = {{0, 0, 31},   {5, 31, 31},  {5, 32, 32},  {31, 32, 32},
                              {31, 77, 77}, {40, 10, 40}, {40, 41, 41}, {100, 101, 101}};
    for (const auto& [length, reserved, capacity] : cases) {
        SCOPED_TRACE(testing::Message() << length << " reserves " << reserved);
        CString text(pattern(length));
        text.reserve(reserved);
        EXPECT_EQ(text.capacity(), capacity);
        EXPECT_EQ(plain(text), pattern(length));
        text.append(capacity - length, '+');
        EXPECT_EQ(text.capacity(), capacity);
        text.push_back('!');
        EXPECT_EQ(text.capacity(), capacity + 1);
        EXPECT_EQ(plain(text), pattern(length) + std::string(capacity - length, '+') + '!');
    }
}

TEST(CString, IsSmallAgainWhenItIsCutTo31) {
    struct Case {
        const char* name;
        void (*cut)(CString&);
        std::size_t size;
    };
    const Case cases[] = {
        {"resize to 10", [](CString& s) { s.resize(10); }, 10},
        {"resize to 31", [](CString& s) { s.resize(31); }, 31},
        {"clear", [](CString& s) { s.clear(); }, 0},
        {"erase", [](CString& s) { s.erase(31); }, 31},
        {"pop_back",
         [](CString& s) {
             while (s.size() > 31) s.pop_back();
         },
         31},
        {"replace", [](CString& s) { s.replace(20, 20, "x"); }, 21},
        {"assign", [](CString& s) { s.assign(s.data(), 20); }, 20},
        {"shorter copy", [](CString& s) { s = CString(s, 0, 7).substr(0); }, 7},
    };
    for (const auto& [name, cut, size] : cases) {
        SCOPED_TRACE(name);
        CString text(pattern(40));
        cut(text);
        EXPECT_EQ(text.size(), size);
        EXPECT_EQ(text.capacity(), 31U);
        EXPECT_EQ(plain(text).substr(0, 3), pattern(40).substr(0, size < 3 ? size : 3));
    }
    CString text(pattern(40));
    text.resize(32);
    EXPECT_EQ(text.capacity(), 40U);
    text.resize(3);
    text.reserve(50);
    text.resize(8, '+');  // cut to few characters, though longer than before
    EXPECT_EQ(text.capacity(), 31U);
    EXPECT_EQ(plain(text), pattern(3) + "+++++");
}

TEST(CString, TakesBlocksOfItsCapacityAndTheHead) {
    for (const std::size_t length : {32U, 33U, 100U}) {
        WatchedString text(pattern(length).c_str());
        EXPECT_EQ(Blocks::lastSize, length + sizeof(StringData<char>));
        text.reserve(200);
        EXPECT_EQ(Blocks::lastSize, 200 + sizeof(StringData<char>));
        EXPECT_EQ(Blocks::held, 1);
        text.resize(31);
        EXPECT_EQ(Blocks::held, 0);
    }
}

TEST(CString, TerminatesWhenAskedAndNotInTheSharedBlock) {
    for (const std::size_t length : s_lengths) {
        SCOPED_TRACE(length);
        CString text(pattern(100));
        text.resize(length);
        EXPECT_EQ(text[length], '\0');
        *text.end() = length == 31 ? '\0' : '#';  // the last byte of a full small text is its size
        EXPECT_EQ(std::as_const(text)[length], '\0');
        EXPECT_EQ(std::strlen(text.c_str()), length);
        EXPECT_EQ(text.data(), text.c_str());
    }
    BlockString one;
    BlockString another;
    EXPECT_STREQ(one.c_str(), "");
    *one.begin() = '#';  // shows whether anybody writes the terminator of the shared block
    another = one;
    another.clear();
    const char found = *another.c_str();
    *one.begin() = '\0';
    EXPECT_EQ(found, '#');
    EXPECT_STREQ(MiniString().c_str(), "");
}

TEST(MiniString, IsNullOnceItIsEmpty) {
    using Action = void (*)(MiniString&);
    const Action actions[] = {
        [](MiniString& s) { s.clear(); },
        [](MiniString& s) { s.resize(0); },
        [](MiniString& s) { s.pop_back(); },
        [](MiniString& s) {
            MiniString empty;
            empty.reserve(5);
            s = std::as_const(empty);
        },
    };
    for (const Action action : actions) {
        MiniString text("x");
        action(text);
        const void* inside = &text;
        const void* word = inside;
        std::memcpy(&word, inside, sizeof(word));
        EXPECT_EQ(word, nullptr);
        EXPECT_STREQ(text.c_str(), "");
    }
}

TEST(CString, SwapsEveryPairOfModes) {
    for (const std::size_t left : s_lengths) {
        for (const std::size_t right : s_lengths) {
            SCOPED_TRACE(testing::Message() << left << " with " << right);
            CString a(pattern(left));
            CString b(std::string(right, '-'));
            swap(a, b);
            EXPECT_EQ(plain(a), std::string(right, '-'));
            EXPECT_EQ(plain(b), pattern(left));
            EXPECT_EQ(a.capacity(), right <= 31 ? 31 : right);
            EXPECT_EQ(b.capacity(), left <= 31 ? 31 : left);
            a.swap(a);
            a = std::move(*&a);
            EXPECT_EQ(plain(a), std::string(right, '-'));
        }
    }
}

// The same operations on ours and on the standard string must give the same text.

// One change: what is changed, and with what.
template <class String>
struct Change {
    String& s;
    std::size_t pos, n, pos2, n2;  // two ranges inside the string
    std::size_t count;
    char c;
    std::string other;

    auto at(std::size_t position) { return s.begin() + static_cast<std::ptrdiff_t>(position); }
    auto first() { return at(pos); }
    auto last() { return at(pos + n); }
    auto first2() { return at(pos2); }
    auto last2() { return at(pos2 + n2); }
    const char* own() { return s.data() + pos2; }  // a source inside the string that is changed
};

template <class String, class C = Change<String>&>
constexpr void (*s_changes[])(C) = {
    [](C c) { c.s.append(c.own(), c.n2); },
    [](C c) { c.s.append(c.s); },
    [](C c) { c.s.append(c.other); },
    [](C c) { c.s.append(c.count, c.c); },
    [](C c) { c.s.append(c.s.rbegin(), c.s.rend()); },
    [](C c) { c.s.append(c.first2(), c.last2()); },
    [](C c) { c.s.append(c.s, c.pos2, c.n2); },
    [](C c) { c.s += c.own(); },
    [](C c) { c.s += c.c; },
    [](C c) { c.s.assign(c.own(), c.n2); },
    [](C c) { c.s.assign(c.other); },
    [](C c) { c.s.assign(c.count, c.c); },
    [](C c) { c.s.assign(c.first2(), c.last2()); },
    [](C c) { c.s = c.own(); },
    [](C c) {
        const String source(c.other);
        c.s = source;
    },
    [](C c) { c.s = String(c.s, c.pos, c.n); },
    [](C c) { c.s.insert(c.pos, c.own(), c.n2); },
    [](C c) { c.s.insert(c.pos, c.s); },
    [](C c) { c.s.insert(c.pos, c.count, c.c); },
    [](C c) { c.s.insert(c.first(), c.first2(), c.last2()); },
    [](C c) { *c.s.insert(c.first(), c.c) = '!'; },
    [](C c) { c.s.insert(c.pos, c.other, 1, c.n2); },
    [](C c) { c.s.erase(c.pos, c.n); },
    [](C c) { c.s.insert(c.s.erase(c.first(), c.last()), c.c); },
    [](C c) { c.s.replace(c.pos, c.n, c.own(), c.n2); },
    [](C c) { c.s.replace(c.pos, c.n, c.s); },
    [](C c) { c.s.replace(c.pos, c.n, c.other); },
    [](C c) { c.s.replace(c.pos, c.n, c.count, c.c); },
    [](C c) { c.s.replace(c.first(), c.last(), c.first2(), c.last2()); },
    [](C c) { c.s.replace(c.first(), c.last(), c.s); },
    [](C c) {
        c.s.replace(c.first(), c.last(), {c.c, 'x'});
    },
    [](C c) { c.s.resize(c.count, c.c); },
    [](C c) { c.s.reserve(c.count); },
    [](C c) { c.s.shrink_to_fit(); },
    [](C c) { c.s = c.s.substr(c.pos, c.n) + c.s.substr(c.pos2, c.n2); },
    [](C c) { c.s.erase(c.pos).push_back(c.c); },
};

template <class String>
class AnyStorage : public testing::Test {};
using Storages = testing::Types<CString, BlockString, MiniString, WatchedString>;
TYPED_TEST_SUITE(AnyStorage, Storages);

TYPED_TEST(AnyStorage, ChangesAsTheStandardStringDoes) {
    std::mt19937 random(20221);
    const auto below = [&random](std::size_t end) { return random() % end; };
    for (int sequence = 0; sequence < 3000; ++sequence) {
        std::string expected = pattern(s_lengths[below(std::size(s_lengths))]);
        TypeParam actual(expected);
        for (int step = 0; step < 8 && expected.size() < 400; ++step) {
            const std::size_t pos = below(expected.size() + 1);
            const std::size_t n = below(expected.size() - pos + 1);
            const std::size_t pos2 = below(expected.size() + 1);
            const std::size_t n2 = below(expected.size() - pos2 + 1);
            const std::size_t count = s_lengths[below(std::size(s_lengths))];
            const std::string other = pattern(1 + below(40));
            const std::size_t which = below(std::size(s_changes<std::string>));

            Change<std::string> model{expected, pos, n, pos2, n2, count, '#', other};
            Change<TypeParam> ours{actual, pos, n, pos2, n2, count, '#', other};
            s_changes<std::string>[which](model);
            s_changes<TypeParam>[which](ours);
            ASSERT_EQ(plain(actual), expected)
                << "change " << which << ", pos " << pos << " n " << n << " pos2 " << pos2 << " n2 "
                << n2 << " count " << count << " in sequence " << sequence;
        }
    }
    EXPECT_EQ(Blocks::held, 0);
}

// The standard string is no model here: its implementations disagree.
TYPED_TEST(AnyStorage, CopiesItsOwnTerminatorLikeAnyCharacter) {
    for (const std::size_t length : s_lengths) {
        for (const std::size_t room : {std::size_t{0}, 2 * length + 1}) {
            SCOPED_TRACE(testing::Message() << length << " with room " << room);
            const TypeParam text(pattern(length));
            const std::string ended = pattern(length) + '\0';
            const auto changed = [&](auto change) {
                TypeParam copy(text);
                copy.reserve(room);
                change(copy);
                return plain(copy);
            };
            EXPECT_EQ(changed([](auto& s) { s.assign(s.c_str(), s.size() + 1); }), ended);
            EXPECT_EQ(changed([](auto& s) { s.append(s.c_str(), s.size() + 1); }),
                      pattern(length) + ended);
            EXPECT_EQ(changed([](auto& s) { s.insert(0, s.c_str(), s.size() + 1); }),
                      ended + pattern(length));
            EXPECT_EQ(changed([](auto& s) { s.append(s.c_str() + s.size(), 1); }), ended);
            EXPECT_EQ(changed([](auto& s) { s.insert(0, s.c_str() + s.size(), 1); }),
                      '\0' + pattern(length));
        }
    }
}

TYPED_TEST(AnyStorage, ReportsPositionsAndSizesThatCannotBe) {
    using Action = void (*)(TypeParam&);
    constexpr auto beyond = std::size_t{6};
    const Action outOfRange[] = {
        [](TypeParam& s) { s.at(5) = 'x'; },
        [](TypeParam& s) { s.erase(beyond); },
        [](TypeParam& s) { s.insert(beyond, "x"); },
        [](TypeParam& s) { s.insert(0, s, beyond, 1); },
        [](TypeParam& s) { s.replace(beyond, 0, "x"); },
        [](TypeParam& s) { s.replace(beyond, 0, 2, 'x'); },
        [](TypeParam& s) { s.append(s, beyond); },
        [](TypeParam& s) { s.assign(s, beyond); },
        [](TypeParam& s) { s = s.substr(beyond); },
        [](TypeParam& s) { s = TypeParam(s, beyond); },
        [](TypeParam& s) { s.compare(beyond, 1, "x"); },
        [](TypeParam& s) {
            char to[1];
            s.copy(to, 1, beyond);
        },
    };
    const Action tooLong[] = {
        [](TypeParam& s) { s.reserve(s_most + 1); },
        [](TypeParam& s) { s.resize(s_most + 1); },
        [](TypeParam& s) { s.append(s_most - 2, 'x'); },
        [](TypeParam& s) { s.append(s_all, 'x'); },
        [](TypeParam& s) { s.append("x", s_most); },
        [](TypeParam& s) { s.insert(0, s_most - 4, 'x'); },
        [](TypeParam& s) { s.insert(0, "x", s_all); },
        [](TypeParam& s) { s.replace(1, 1, s_most, 'x'); },
        [](TypeParam& s) { s.assign(s_most + 1, 'x'); },
    };
    EXPECT_EQ(TypeParam().max_size(), s_most);
    TypeParam text("Hello");
    const auto messageOf = [&text]<class Error>(Action action, std::type_identity<Error>) {
        try {
            action(text);
        } catch (const Error& error) {
            return std::string(error.what());
        }
        return std::string("nothing was thrown");
    };
    for (const Action action : outOfRange) {
        EXPECT_EQ(messageOf(action, std::type_identity<std::out_of_range>()), "");
    }
    for (const Action action : tooLong) {
        EXPECT_EQ(messageOf(action, std::type_identity<std::length_error>()), "");
    }
    EXPECT_EQ(plain(text), "Hello");
    EXPECT_EQ(text.substr(5), "");
}

TEST(CString, IsAsItWasWhenMemoryIsRefused) {
    using Action = void (*)(WatchedString&);
    const Action actions[] = {
        [](WatchedString& s) { s.reserve(500); },
        [](WatchedString& s) { s.resize(500, 'x'); },
        [](WatchedString& s) { s.append(s).append(s); },
        [](WatchedString& s) { s.assign(500, 'x'); },
        [](WatchedString& s) { s.replace(1, 3, 500, 'x'); },
        [](WatchedString& s) { s.replace(1, 3, pattern(500)); },
        [](WatchedString& s) { s.insert(s.begin() + 1, 500, 'x'); },
    };
    for (const std::size_t length : {31U, 60U}) {
        for (const Action action : actions) {
            WatchedString text(pattern(length));
            Blocks::refused = true;
            EXPECT_THROW(action(text), std::bad_alloc);
            Blocks::refused = false;
            EXPECT_EQ(plain(text), pattern(length));
        }
    }
    EXPECT_EQ(Blocks::held, 0);
}

// The rest of the standard's interface.

TEST(CString, IsMadeFromEveryKindOfSource) {
    const std::string standard = "abcdef";
    const std::list<char> letters(standard.begin(), standard.end());
    std::istringstream stream(standard);
    const CString whole("abcdef");
    const CString made[] = {CString("abcdefgh", 6),
                            CString({"abcdefgh", 6}),
                            CString(standard),
                            CString(std::string_view(standard)),
                            CString(letters.begin(), letters.end()),
                            {'a', 'b', 'c', 'd', 'e', 'f'},
                            CString(std::istreambuf_iterator<char>(stream), {}),
                            CString("xabcdefx", 1, 6),
                            CString(standard, 0, 99),
                            CString(whole, 0),
                            CString(whole, std::allocator<char>()),
                            CString(whole.begin(), whole.end()),
                            CString(whole.rbegin(), whole.rend())};
    for (std::size_t at = 0; at + 1 < std::size(made); ++at) EXPECT_EQ(made[at], whole) << at;
    EXPECT_EQ(made[std::size(made) - 1], "fedcba");
    EXPECT_EQ(CString(3, 'x'), "xxx");
    EXPECT_EQ(std::string(whole), standard);
    CString assigned;
    EXPECT_EQ(assigned = standard, whole);
    EXPECT_EQ(assigned = 'c', "c");
    EXPECT_EQ((assigned = {'i', 'l'}), "il");
}

TEST(CString, TakesAZeroForAPosition) {
    CString text("abc");
    EXPECT_EQ(text.insert(0, 2, 'x'), "xxabc");
    EXPECT_EQ(text.insert(0, "12", 1), "1xxabc");
    EXPECT_EQ(text.replace(0, 0, "<"), "<1xxabc");
    EXPECT_EQ(text.replace(0, 0, 1, '-'), "-<1xxabc");
    EXPECT_EQ(text.erase(0, 2), "1xxabc");
    EXPECT_EQ(text.erase(0), "");
}

TEST(CString, SearchesAsTheStandardStringDoes) {
    const std::string standard = "the cat sat on the mat, the end";
    const CString ours(standard);
    for (const std::string wanted : {"the", "", "t", "zz", "the end", "at,", "xyz the"}) {
        for (std::size_t pos = 0; pos <= standard.size() + 1; ++pos) {
            SCOPED_TRACE(testing::Message() << '"' << wanted << "\" at " << pos);
            const CString our(wanted);
            EXPECT_EQ(ours.find(our, pos), standard.find(wanted, pos));
            EXPECT_EQ(ours.rfind(wanted.c_str(), pos), standard.rfind(wanted, pos));
            EXPECT_EQ(ours.find_first_of(our, pos), standard.find_first_of(wanted, pos));
            EXPECT_EQ(ours.find_last_of(wanted, pos), standard.find_last_of(wanted, pos));
            EXPECT_EQ(ours.find_first_not_of(our, pos), standard.find_first_not_of(wanted, pos));
            EXPECT_EQ(ours.find_last_not_of(our, pos), standard.find_last_not_of(wanted, pos));
            EXPECT_EQ(ours.find("the", pos, 2), standard.find("th", pos));
            EXPECT_EQ(ours.rfind('t', pos), standard.rfind('t', pos));
        }
        EXPECT_EQ(ours.compare(wanted) < 0, standard.compare(wanted) < 0);
        EXPECT_EQ(ours.compare(0, 3, wanted), standard.compare(0, 3, wanted));
    }
    EXPECT_EQ(ours.compare(4, 3, "a cat", 2, 3), 0);
    EXPECT_LT(ours.compare({"the cats", 8}), 0);
    EXPECT_EQ(ours.find({"cats", 3}), 4U);
    EXPECT_EQ(ours.rfind({"these", 3}), 24U);
    EXPECT_EQ(ours.find_first_of({"can", 2}), 4U);
    EXPECT_EQ(ours.find_last_of({"cane", 2}), 20U);
    EXPECT_EQ(ours.find_first_not_of({"the ", 2}), 2U);
    EXPECT_EQ(ours.find_last_not_of({"dnt", 2}), 28U);
    EXPECT_TRUE(ours.starts_with("the ") && ours.starts_with('t') && !ours.starts_with("cat"));
    EXPECT_TRUE(ours.ends_with(CString("end")) && ours.ends_with('d') && !CString().ends_with('d'));
    EXPECT_TRUE(ours.contains("mat,") && ours.contains(',') && !ours.contains("dog"));
}

TEST(CString, OrdersLikeTheStandardString) {
    const std::string texts[] = {"", "a", "ab", "b", "\xff", std::string("a\0b", 3), pattern(40)};
    for (const std::string& left : texts) {
        for (const std::string& right : texts) {
            const CString a(left);
            const CString b(right);
            EXPECT_TRUE((a == b) == (left == right) && (a != right) == (left != right));
            EXPECT_TRUE((a < b) == (left < right) && (left > b) == (left > right));
            EXPECT_TRUE((a <= std::string_view(right)) == (left <= right));
            EXPECT_TRUE((a >= b) == (left >= right));
            EXPECT_EQ(std::hash<CString>()(a), std::hash<std::string>()(left));
        }
    }
    EXPECT_TRUE("b" > CString("a") && CString("a") == "a" && "a" != CString("b"));
    EXPECT_EQ((std::unordered_set<CString>{"a", "b", "a"}.size()), 2U);
}

TEST(CString, ConcatenatesEveryPair) {
    for (const std::size_t length : {3U, 20U, 31U, 40U}) {
        const std::string l = pattern(length);
        const CString left(l);
        const CString right("-right");
        const auto given = [](const CString& text) { return CString(text); };  // an rvalue
        for (const CString& sum :
             {left + right, left + "-right", given(left) + right, left + given(right),
              given(left) + given(right), given(left) + "-right", l.c_str() + right,
              l.c_str() + given(right)}) {
            EXPECT_EQ(plain(sum), l + "-right");
        }
        for (const CString& sum : {left + '!', given(left) + '!'}) EXPECT_EQ(plain(sum), l + '!');
        for (const CString& sum : {'!' + left, '!' + given(left)}) EXPECT_EQ(plain(sum), '!' + l);
    }
    CString roomy("b");
    roomy.reserve(100);
    EXPECT_EQ(allocationsOf([&] { roomy = CString(40, 'a') + std::move(roomy); }), 1U);
    EXPECT_EQ(plain(roomy), std::string(40, 'a') + 'b');
}

TEST(CString, StreamsLikeTheStandardString) {
    std::ostringstream out;
    out << std::setw(6) << std::left << std::setfill('.') << CString("abc") << CString("|");
    EXPECT_EQ(out.str(), "abc...|");

    std::istringstream in("  one " + pattern(50) + "\nrest of the line\nlast;end");
    CString text("old");
    EXPECT_EQ((in >> text, text), "one");
    EXPECT_EQ((in >> text, text), pattern(50));
    EXPECT_EQ((getline(in, text), text), "");
    EXPECT_EQ((getline(in, text), text), "rest of the line");
    EXPECT_EQ((getline(in, text, ';'), text), "last");
    EXPECT_EQ((in >> std::setw(2) >> text, text), "en");
    EXPECT_TRUE(in >> text && !(in >> text));
}

TEST(CString, KeepsWhatWasReadWhenTheStreamThrows) {
    using Read = void (*)(std::istream&, CString&);
    const Read reads[] = {
        [](std::istream& in, CString& s) { in >> s; },
        [](std::istream& in, CString& s) { getline(in, s); },
    };
    for (const Read read : reads) {
        std::istringstream in("last");
        in.exceptions(std::ios::eofbit);
        CString text("old");
        EXPECT_THROW(read(in, text), std::ios_base::failure);
        EXPECT_EQ(text, "last");
    }
}

TEST(CString, ErasesByValueAndPredicate) {
    CString text("a-b-c--");
    EXPECT_EQ(erase(text, '-'), 4U);
    EXPECT_EQ(text, "abc");
    EXPECT_EQ(erase_if(text, [](char c) { return c != 'b'; }), 2U);
    EXPECT_EQ(text, "b");
}

TEST(WideCharacters, MoveFromTheObjectToABlock) {
    WideString text(L"1234567");
    EXPECT_EQ(text.capacity(), 7U);
    text += L'8';
    text.insert(0, text);
    EXPECT_TRUE(text == L"1234567812345678");
    text.resize(2);
    EXPECT_TRUE(text == L"12" && text.capacity() == 7 && text.c_str()[2] == 0);
}

// Broken preconditions.

TEST(StringDeathTest, StopsAtRangesOutsideTheString) {
    CString text("abc");
    const CString other("xyz");
    EXPECT_DEATH(text.erase(text.begin() + 2, text.begin() + 1), "i1 <= i2");
    EXPECT_DEATH(text.erase(text.begin() - 1, text.end()), "begin\\(\\) <= i1 && i1 <= end\\(\\)");
    EXPECT_DEATH(text.erase(text.begin(), text.end() + 1), "begin\\(\\) <= i2 && i2 <= end\\(\\)");
    EXPECT_DEATH(text.replace(text.end() + 1, text.end() + 2, "x"), "begin\\(\\) <= i1");
    EXPECT_DEATH(text.insert(text.end(), other.end(), other.begin()), "n2 >= 0");
    EXPECT_DEATH(text.insert(text.end() + 1, 'x'), "pos <= size\\(\\)");
}

TEST(StringDeathTest, StopsAtAStorageThatAppendsItselfWithoutRoom) {
    const char* message = "!\\(le\\(begin\\(\\), &\\*b\\) && le\\(&\\*b, end\\(\\)\\)\\)";
    AllocatorStringStorage<char, std::allocator<char>> block("abc", 3);
    EXPECT_DEATH(block.append(block.begin(), block.end()), message);
    MiniStringStorage<char> mini("abc", 3);
    EXPECT_DEATH(mini.append(mini.begin(), mini.end()), message);
}

TEST(StringDeathTest, StopsAtALastByteThatNoModeHas) {
    CString text("abc");
    reinterpret_cast<char*>(&text)[31] = 33;
    EXPECT_DEATH(text.push_back('x'),
                 "!Small\\(\\) \\|\\| maxSmallString >= buf_\\[maxSmallString\\]");
    reinterpret_cast<char*>(&text)[31] = 28;
}

}  // namespace
