#include "vesko/vesko3/string.h"

#include <gtest/gtest.h>

#include <cstring>
#include <iomanip>
#include <new>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/allocations.h"
#include "vesko/vesko3/detail/ministringstorage.h"

namespace {

using Tovra::Testing::allocationsOf;
using Tovra::Vesko::CString;
using namespace Tovra::Vesko::Detail;

// Notes the blocks it hands out, and refuses them on demand.
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

template <class E, unsigned int threshold, class A = std::allocator<E>>
using SmallString = flex_string<E, std::char_traits<E>, A,
                                SmallStringOpt<AllocatorStringStorage<E, A>, threshold, E*>>;
using WatchedString = SmallString<char, 31, TestAllocator<char>>;
using BlockString = flex_string<char>;
using MiniString =
    flex_string<char, std::char_traits<char>, std::allocator<char>, MiniStringStorage<char>>;

static_assert(sizeof(CString) == 32 && alignof(CString) == alignof(char*));
static_assert(sizeof(MiniString) == sizeof(void*) && sizeof(BlockString) == sizeof(void*));
static_assert(offsetof(StringData<char>, pEndOfMem_) == sizeof(char*));
static_assert(offsetof(StringData<char>, buffer_) == 2 * sizeof(char*));
static_assert(std::is_nothrow_move_constructible_v<CString>);
static_assert(std::is_nothrow_move_assignable_v<CString> && std::is_nothrow_swappable_v<CString>);
static_assert(!std::is_convertible_v<std::string, CString>);
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

template <class String>
std::string plain(const String& text) {
    EXPECT_EQ(text.c_str()[text.size()], '\0');
    EXPECT_GE(text.capacity(), text.size());
    return std::string(text.begin(), text.end());
}

// The same operations on ours and on the standard string must give the same.

// One operation: on what, and with what. Positions may be just beyond the end.
template <class String>
struct Call {
    String& s;
    String& t;
    std::size_t pos, n, pos2, n2;
    std::size_t count;
    char c;
    std::string other;
    std::vector<std::size_t> told = {};  // results that are not text
    char room[8] = {};

    auto at(std::size_t p) {
        return s.begin() + static_cast<std::ptrdiff_t>(std::min(p, s.size()));
    }
    void tell(auto... results) { told = {static_cast<std::size_t>(results)...}; }
    std::size_t index(auto position) { return static_cast<std::size_t>(position - s.begin()); }
    auto first() { return at(pos); }
    auto last() { return at(pos + n); }
    auto first2() { return at(pos2); }
    auto last2() { return at(pos2 + n2); }
    const char* own() { return s.data() + std::min(pos2, s.size()); }  // inside what is changed
    String part() { return String(own(), std::min<std::size_t>(n2, 3)); }
};

template <class String, class C = Call<String>&>
constexpr void (*s_operations[])(C) = {
    [](C c) { swap(c.s, c.t); },
    [](C c) { c.t = c.s; },
    [](C c) { c.s.append(String(std::move(c.s))); },  // what was moved from is empty
    [](C c) { c.s = String(c.s.rbegin(), c.s.rend()); },
    [](C c) { c.s = String(c.s, c.pos) + String(c.s, c.pos2, c.n2); },
    [](C c) { c.s = String(std::string_view(c.other)) + String(c.other, c.pos, c.n); },
    [](C c) {
        c.s = String(c.own(), c.n2) + String(c.count, c.c) + String{'i', c.c};
    },
    [](C c) { c.s = c.own(); },
    [](C c) { c.s = c.c; },
    [](C c) { c.s = c.other; },
    [](C c) { c.s.assign(c.own(), c.n2); },
    [](C c) { c.s.assign(c.s, c.pos2, c.n2); },
    [](C c) { c.s.assign(c.count, c.c); },
    [](C c) { c.s.assign(c.first2(), c.last2()); },
    [](C c) { c.s.append(c.own(), c.n2); },
    [](C c) { c.s.append(c.s).append(c.other); },
    [](C c) { c.s.append(c.count, c.c); },
    [](C c) { c.s.append(c.s.rbegin(), c.s.rend()); },
    [](C c) { c.s.append(c.first2(), c.last2()); },
    [](C c) { c.s.append(c.s, c.pos2, c.n2); },
    [](C c) { (c.s += c.own()) += c.c; },
    [](C c) { c.s.insert(c.pos, c.own(), c.n2); },
    [](C c) { c.s.insert(c.pos, c.s, c.pos2, c.n2); },
    [](C c) { c.s.insert(c.pos, c.s); },
    [](C c) { c.s.insert(c.pos, c.count, c.c); },
    [](C c) { c.s.insert(c.pos, c.other, 1, c.n2); },
    [](C c) { c.tell(c.index(c.s.insert(c.first(), c.first2(), c.last2()))); },
    [](C c) { c.tell(c.index(c.s.insert(c.first(), c.c))); },
    [](C c) { c.s.insert(0, 2, c.c).insert(0, "12", 1).replace(0, 0, 1, '-').erase(0, 2); },
    [](C c) { c.s.erase(c.pos, c.n); },
    [](C c) { c.s.insert(c.s.erase(c.first(), c.last()), c.c); },
    [](C c) { c.s.replace(c.pos, c.n, c.own(), c.n2); },
    [](C c) { c.s.replace(c.pos, c.n, c.t, c.pos2, c.n2); },
    [](C c) { c.s.replace(c.pos, c.n, c.count, c.c); },
    [](C c) { c.s.replace(c.first(), c.last(), c.first2(), c.last2()); },
    [](C c) { c.s.replace(c.first(), c.last(), c.s); },
    [](C c) {
        c.s.replace(c.first(), c.last(), {c.c, 'x'});
    },
    [](C c) { c.s.resize(c.count, c.c); },
    [](C c) { c.s.reserve(c.count); },
    [](C c) { c.s.shrink_to_fit(); },
    [](C c) { c.s.erase(c.pos).push_back(c.c); },
    [](C c) { c.s.at(c.pos) = c.c; },
    [](C c) { c.s.append(c.room, c.s.copy(c.room, 8, c.pos)); },
    [](C c) { c.s = c.s + c.s + c.c + c.own(); },
    [](C c) { c.s = (c.s + c.own()) + (c.s + c.c); },
    [](C c) { c.s = c.own() + c.s + c.s; },
    [](C c) { c.s = c.s + (c.c + c.s.substr(c.pos, c.n)); },
    [](C c) { c.s = c.c + (c.own() + String(c.other)); },
    [](C c) { std::stringstream(c.other) >> std::setw(3) >> c.s; },
    [](C c) { getline(std::stringstream(c.other + '\n'), c.s); },
    [](C c) { getline(std::stringstream(c.other), c.s, 'h'); },
    [](C c) { c.t = (std::ostringstream() << std::setw(9) << c.s << c.c).str(); },
    [](C c) { c.tell(c.s.find(c.part(), c.pos), c.s.rfind(c.own(), c.pos)); },
    [](C c) { c.tell(c.s.rfind(c.part(), c.pos), c.s.find(c.own(), c.pos, 2)); },
    [](C c) { c.tell(c.s.find_first_of(c.own(), c.pos), c.s.find_last_of(c.part(), c.pos)); },
    [](C c) { c.tell(c.s.find_first_not_of(c.c), c.s.find_last_not_of(c.part(), c.pos)); },
    [](C c) { c.tell(c.s.starts_with(c.part()), c.s.ends_with(c.part()), c.s.ends_with(c.c)); },
    [](C c) { c.tell(c.s.compare(c.part()) < 0, c.s.compare(c.pos, c.n, c.other) < 0); },
    [](C c) { c.tell(c.s.compare(c.pos, c.n, c.t, c.pos2, c.n2) < 0, c.s.starts_with(c.c)); },
    [](C c) { c.tell(c.s > c.t, c.s == c.t, c.s >= c.t, c.s != c.t, c.s <= c.t, c.s < c.t); },
    [](C c) { c.tell(c.s == c.own(), c.other != c.s, c.s < c.other, c.own() >= c.s); },
    [](C c) { c.tell(std::hash<String>()(c.s), erase(c.s, 'a')); },
    [](C c) { c.tell(erase_if(c.s, [](char each) { return each < 'd'; })); },
};

// Ours report what cannot be without a message.
template <class String>
bool isDone(std::size_t operation, Call<String>& call) {
    try {
        s_operations<String>[operation](call);
        return true;
    } catch (const std::out_of_range& error) {
        EXPECT_TRUE((std::is_same_v<String, std::string>) || *error.what() == '\0');
        return false;
    }
}

template <class String>
class AnyStorage : public testing::Test {};
using Storages = testing::Types<CString, BlockString, MiniString, WatchedString>;
TYPED_TEST_SUITE(AnyStorage, Storages);

TYPED_TEST(AnyStorage, DoesWhatTheStandardStringDoes) {
    std::mt19937 random(20221);
    const auto below = [&random](std::size_t end) { return random() % end; };
    for (int sequence = 0; sequence < 4000; ++sequence) {
        std::string expected = pattern(s_lengths[below(std::size(s_lengths))]);
        std::string expected2 = pattern(s_lengths[below(std::size(s_lengths))]);
        TypeParam actual(expected);
        TypeParam actual2(expected2);
        for (int step = 0; step < 12 && expected.size() < 400; ++step) {
            const std::size_t size = expected.size();
            const std::size_t pos = below(size + 2);  // at times just beyond
            const std::size_t n = below(size + 2 - pos);
            const std::size_t pos2 = below(size + 2);
            const std::size_t n2 = pos2 < size ? below(size - pos2 + 1) : 0;
            const std::size_t count = s_lengths[below(std::size(s_lengths))];
            const char c = "#a\xff"[below(3)];
            const std::string other = pattern(1 + below(40));
            const std::size_t which = below(std::size(s_operations<std::string>));
            SCOPED_TRACE(testing::Message() << "operation " << which << " in " << sequence);

            Call<std::string> model{expected, expected2, pos, n, pos2, n2, count, c, other};
            Call<TypeParam> ours{actual, actual2, pos, n, pos2, n2, count, c, other};
            ASSERT_EQ(isDone(which, ours), isDone(which, model));
            ASSERT_EQ(plain(actual), expected);
            ASSERT_EQ(plain(actual2), expected2);
            ASSERT_EQ(ours.told, model.told);
        }
    }
    EXPECT_EQ(Blocks::held, 0);
}

// The standard string is no model here: its implementations disagree.
TYPED_TEST(AnyStorage, CopiesItsOwnTerminatorLikeAnyCharacter) {
    for (const std::size_t length : s_lengths) {
        for (const std::size_t room : {std::size_t{0}, 2 * length + 1}) {
            SCOPED_TRACE(testing::Message() << length << " with room " << room);
            const std::string ended = pattern(length) + '\0';
            TypeParam text(pattern(length));
            text.reserve(room);
            EXPECT_EQ(plain(text.assign(text.c_str(), length + 1)), ended);
            text = pattern(length);
            text.reserve(room);
            EXPECT_EQ(plain(text.append(text.c_str() + length, 1)), ended);
            EXPECT_EQ(plain(text.append(text.c_str(), length + 2)), ended + ended + '\0');
            text = pattern(length);
            EXPECT_EQ(plain(text.insert(0, text.c_str() + length, 1)), '\0' + pattern(length));
        }
    }
}

// A string that throws is as it was before.
template <class Error, class String>
void expectThrows(const std::string& before, std::initializer_list<void (*)(String&)> actions) {
    for (const auto action : actions) {
        String text(before);
        try {
            Blocks::refused = std::is_same_v<Error, std::bad_alloc>;
            action(text);
            ADD_FAILURE() << "nothing was thrown";
        } catch (const Error& error) {
            EXPECT_TRUE(Blocks::refused || *error.what() == '\0');
        }
        Blocks::refused = false;
        EXPECT_EQ(plain(text), before);
    }
}

TYPED_TEST(AnyStorage, ReportsSizesBeyondTheGreatest) {
    using S = TypeParam&;
    EXPECT_EQ(TypeParam().max_size(), s_most);
    expectThrows<std::length_error, TypeParam>(
        "Hello",
        {[](S s) { s.reserve(s_most + 1); }, [](S s) { s.resize(s_most + 1); },
         [](S s) { s.append(s_all, 'x'); }, [](S s) { s.insert(0, "x", s_all); },
         [](S s) { s.append(s_most - 4, 'x'); }, [](S s) { s.append("x", s_most); },
         [](S s) { s.replace(1, 1, s_most, 'x'); }, [](S s) { s.assign(s_most + 1, 'x'); }});
}

TEST(CString, IsAsItWasWhenMemoryIsRefused) {
    using S = WatchedString&;
    for (const std::size_t length : {31U, 60U}) {
        expectThrows<std::bad_alloc, WatchedString>(
            pattern(length),
            {[](S s) { s.reserve(500); }, [](S s) { s.append(s).append(s); },
             [](S s) { s.assign(500, 'x'); }, [](S s) { s.replace(1, 3, 500, 'x'); },
             [](S s) { s.insert(2, pattern(500)); }});
    }
}

// Layout and capacity.

TEST(CString, TellsItsModeInTheLastByte) {
    for (const std::size_t length : s_lengths) {
        SCOPED_TRACE(length);
        CString text(pattern(length));
        text.swap(text);
        text = std::move(*&text);
        EXPECT_EQ(plain(text), pattern(length));
        const char* const inside = reinterpret_cast<const char*>(&text);
        if (length <= 31) {
            EXPECT_EQ(inside[31], static_cast<char>(31 - length));
            EXPECT_EQ(text.begin(), inside);
            EXPECT_EQ(text.capacity(), 31U);
        } else {
            EXPECT_EQ(inside[31], 32);
            const StringData<char>* block = nullptr;
            std::memcpy(&block, inside, sizeof(char*));
            EXPECT_EQ(block->buffer_, text.begin());
            EXPECT_EQ(block->pEnd_, text.end());
            EXPECT_EQ(block->pEndOfMem_, text.begin() + text.capacity());
            EXPECT_EQ(text.capacity(), length);
        }
    }
}

TEST(CString, AllocatesOnlyBeyond31Characters) {
    for (const std::size_t length : s_lengths) {
        SCOPED_TRACE(length);
        const std::string source = pattern(length);
        const auto use = [&] {
            CString made(source);
            CString taken(std::move(made));
            made = std::move(taken);
            made.clear();
        };
        EXPECT_EQ(allocationsOf(use), length <= 31 ? 0U : 1U);
    }
    CString roomy("b");
    roomy.reserve(100);
    EXPECT_EQ(allocationsOf([&] { roomy = CString(40, 'a') + std::move(roomy); }), 1U);
}

TEST(CString, GrowsToExactlyWhatIsAsked) {
    const struct {
        std::size_t length, reserved, capacity;
    } cases[] = {{0, 0, 31},   {5, 31, 31},  {5, 32, 32},    {31, 77, 77},
                 {40, 10, 40}, {40, 41, 41}, {100, 101, 101}};
    for (const auto& [length, reserved, capacity] : cases) {
        SCOPED_TRACE(testing::Message() << length << " reserves " << reserved);
        WatchedString text(pattern(length));
        text.reserve(reserved);
        EXPECT_EQ(text.capacity(), capacity);
        text.append(capacity - length, '+');
        EXPECT_EQ(text.capacity(), capacity);
        text.push_back('!');
        EXPECT_EQ(text.capacity(), capacity + 1);
        EXPECT_EQ(Blocks::lastSize, capacity + 1 + sizeof(StringData<char>));
        EXPECT_EQ(Blocks::held, 1);
        text.resize(32);
        EXPECT_EQ(text.capacity(), capacity + 1);
        text.resize(31);
        EXPECT_EQ(text.capacity(), 31U);
        EXPECT_EQ(Blocks::held, 0);
    }
}

TEST(CString, IsSmallAgainWhenItIsCutTo31) {
    using S = CString&;
    const std::initializer_list<void (*)(S)> cuts = {
        [](S s) { s.clear(); },
        [](S s) { s.erase(31); },
        [](S s) { s.pop_back(); },
        [](S s) { s.replace(20, 12, "x"); },
        [](S s) { s.assign(s.data(), 20); },
        [](S s) { s = CString(s, 0, 31).substr(0); },
        [](S s) { s.assign("abc").reserve(50), s.resize(8, '+'); },  // longer, but few
    };
    for (const auto cut : cuts) {
        CString text(pattern(32));
        cut(text);
        EXPECT_EQ(text.capacity(), 31U) << text;
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
    }
    BlockString one;
    BlockString another;
    *one.begin() = '#';  // shows whether anybody writes the terminator of the shared block
    another = one;
    another.clear();
    const char found = *another.c_str();
    *one.begin() = '\0';
    EXPECT_EQ(found, '#');
}

TEST(MiniString, IsNullOnceItIsEmpty) {
    using S = MiniString&;
    const std::initializer_list<void (*)(S)> actions = {
        [](S s) { s.clear(); },
        [](S s) { s.resize(0); },
        [](S s) { s.pop_back(); },
        [](S s) { s = static_cast<const MiniString&>(MiniString()); },
    };
    for (const auto action : actions) {
        MiniString text("x");
        action(text);
        const char none[sizeof(text)] = {};
        EXPECT_EQ(std::memcmp(static_cast<void*>(&text), none, sizeof(text)), 0);
        EXPECT_STREQ(text.c_str(), "");
    }
}

TEST(CString, KeepsWhatWasReadWhenTheStreamThrows) {
    using Stream = std::istream&;
    const std::initializer_list<void (*)(Stream, CString&)> reads = {
        [](Stream in, CString& s) { in >> s; }, [](Stream in, CString& s) { getline(in, s); }};
    for (const auto read : reads) {
        std::istringstream in("last");
        in.exceptions(std::ios::eofbit);
        CString text("old");
        EXPECT_THROW(read(in, text), std::ios_base::failure);
        EXPECT_EQ(text, "last");
    }
}

TEST(CString, TakesTextsInBraces) {
    const CString text({"the cat sat", 7});
    EXPECT_LT(text.compare({"the cats", 8}), 0);
    EXPECT_EQ(text.find({"cats", 3}), 4U);
    EXPECT_EQ(text.rfind({"these", 1}), 6U);
    EXPECT_EQ(text.find_first_of({"can", 2}), 4U);
    EXPECT_EQ(text.find_last_of({"the", 2}), 6U);
    EXPECT_EQ(text.find_first_not_of({"the ", 2}), 2U);
    EXPECT_EQ(text.find_last_not_of({"tan", 2}), 4U);
}

TEST(WideCharacters, MoveFromTheObjectToABlock) {
    SmallString<wchar_t, 7> text(L"1234567");
    EXPECT_EQ(text.capacity(), 7U);
    text += L'8';
    text.insert(0, text);
    EXPECT_TRUE(text == L"1234567812345678" && text.contains(L"781") && !text.contains(L'9'));
    text.resize(2);
    EXPECT_TRUE(text == L"12" && text.capacity() == 7 && text.c_str()[2] == 0);
}

// Broken preconditions.

TEST(StringDeathTest, StopsAtBrokenPreconditions) {
    CString text("abc");
    const CString other("xyz");
    EXPECT_DEATH(text.erase(text.begin() + 2, text.begin() + 1), "i1 <= i2");
    EXPECT_DEATH(text.erase(text.begin() - 1, text.end()), "begin\\(\\) <= i1 && i1 <= end\\(\\)");
    EXPECT_DEATH(text.erase(text.begin(), text.end() + 1), "begin\\(\\) <= i2 && i2 <= end\\(\\)");
    EXPECT_DEATH(text.insert(text.end(), other.end(), other.begin()), "n2 >= 0");
    EXPECT_DEATH(text.insert(text.end() + 1, 'x'), "pos <= size\\(\\)");
    reinterpret_cast<char*>(&text)[31] = 33;  // no mode has this
    EXPECT_DEATH(text.push_back('x'),
                 "!Small\\(\\) \\|\\| maxSmallString >= buf_\\[maxSmallString\\]");
    reinterpret_cast<char*>(&text)[31] = 28;

    // A storage appends nothing of its own without room.
    const char* const message = "!\\(le\\(begin\\(\\), &\\*b\\) && le\\(&\\*b, end\\(\\)\\)\\)";
    AllocatorStringStorage<char, std::allocator<char>> block("abc", 3);
    EXPECT_DEATH(block.append(block.begin(), block.end()), message);
    MiniStringStorage<char> mini("abc", 3);
    EXPECT_DEATH(mini.append(mini.begin(), mini.end()), message);
}

}  // namespace
