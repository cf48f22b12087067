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

// Of the blocks that TestAllocator hands out.
std::size_t s_lastSize = 0;
int s_held = 0;
bool s_refused = false;

template <class E>
struct TestAllocator : std::allocator<E> {
    E* allocate(std::size_t count) {
        if (s_refused) throw std::bad_alloc();
        ++s_held;
        return std::allocator<E>::allocate(s_lastSize = count);
    }
    void deallocate(E* block, std::size_t count) {
        --s_held;
        std::allocator<E>::deallocate(block, count);
    }
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
    return std::string(text.begin(), text.end());
}

void doOneOf(std::size_t which, auto... actions) {
    std::size_t left = which % sizeof...(actions);
    ((left-- == 0 ? actions() : void()), ...);
}

// One operation on a string, and with what. The same random numbers make the same operation.
template <class String>
struct Call {
    String& s;
    String& t;
    std::minstd_rand random;
    std::size_t which = below(1000);
    std::size_t pos = below(s.size() + 2), n = below(s.size() + 2 - pos);  // at times just beyond
    std::size_t pos2 = below(s.size() + 2);
    std::size_t n2 = pos2 < s.size() ? below(s.size() - pos2 + 1) : 0;
    std::size_t count = s_lengths[below(std::size(s_lengths))];
    char c = "#a\xff"[below(3)];
    std::string other = pattern(1 + below(40));
    std::vector<std::size_t> told = {};  // results that are not text

    std::size_t below(std::size_t end) { return random() % end; }
    auto at(std::size_t p) {
        return s.end() - std::max(s.end() - s.begin() - static_cast<long>(p), 0L);
    }
    void tell(auto... results) { told = {static_cast<std::size_t>(results)...}; }

    void operator()() {
        const auto first = at(pos), last = at(pos + n), first2 = at(pos2), last2 = at(pos2 + n2);
        const char* const own = s.data() + std::min(pos2, s.size());  // inside what is changed
        const std::size_t few = std::min<std::size_t>(n2, 3);
        const std::initializer_list<char> two = {c, 'x'};
        char room[8] = {};
        doOneOf(
            which, [&] { swap(s, t); }, [&] { t = s; }, [&] { s = own; }, [&] { s = c; },
            [&] { s = other; }, [&] { s.append(String(std::move(s))); },
            [&] { s.append(s).append(other); }, [&] { s.append(own, n2).append(count, c); },
            [&] { s.append(s, pos2, n2); }, [&] { (s += own) += c; },
            [&] { s.append(s.rbegin(), s.rend()); }, [&] { s.assign(own, n2); },
            [&] { s.assign(count, c); }, [&] { s.assign(first2, last2); },
            [&] { s.insert(pos, s).insert(pos, s, pos2, n2); },
            [&] { s.insert(pos, other, 1, n2).insert(pos, count, c); },
            [&] { s.insert(s.insert(first, c), '-'); }, [&] { s.erase(pos, n); },
            [&] { s.insert(s.erase(first, last), c); }, [&] { s.replace(pos, n, own, n2); },
            [&] { s.replace(first, last, two); }, [&] { s.replace(first, last, first2, last2); },
            [&] { s.replace(pos, n, count, c).replace(0, n, t, pos2, n2); },
            [&] { s.resize(count, c); }, [&] { s.reserve(count); }, [&] { s.shrink_to_fit(); },
            [&] { s.at(pos) = c; }, [&] { s.erase(pos).push_back(c); },
            [&] { s.append(room, s.copy(room, 8, pos)); }, [&] { s = s + s + c + own; },
            [&] { s = (s + own) + (s + c); }, [&] { s = own + s + s; },
            [&] { s = s + (c + s.substr(pos, n)); },
            [&] { s = String(s, pos) + String(s, pos2, n2) + String(other, pos, n); },
            [&] { s = String(own, n2) + String(count, c) + String(two); },
            [&] { std::stringstream(other) >> std::setw(3) >> s; },
            [&] { getline(std::stringstream(other), s, 'h'); },
            [&] { t = (std::ostringstream() << std::setw(9) << s << c).str(); },
            [&] { tell(s.compare(pos, n, other) < 0, s.compare(pos, n, t, pos2, n2) < 0); },
            [&] { tell(s > t, s == t, s >= t, s != t, s <= t, s < t, s == own, other != s); },
            [&] { tell(std::hash<String>()(s), erase(s, 'a')); },
            [&] {
                tell(s.find(own, pos, few), s.rfind(own, pos), s.starts_with(c),
                     s.find_first_not_of(c), s.ends_with(c), s.compare({own, few}) < 0,
                     s.find_first_of({own, few}), s.find_last_of({own, few}, pos),
                     s.find_first_not_of({own, few}), s.find_last_not_of({own, few}, pos),
                     s.starts_with({own, few}), s.ends_with({own, few}));
            });
    }
};

std::string thrownBy(auto& action, auto&... arguments) {
    try {
        return action(arguments...), "nothing";
    } catch (const std::exception& error) {
        return typeid(error).name();
    }
}

template <class String>
class AnyStorage : public testing::Test {};
using Storages = testing::Types<CString, BlockString, MiniString, WatchedString>;
TYPED_TEST_SUITE(AnyStorage, Storages);

TYPED_TEST(AnyStorage, DoesWhatTheStandardStringDoes) {
    std::minstd_rand random(20221);
    for (int sequence = 0; sequence < 4000; ++sequence) {
        std::string expected = pattern(s_lengths[random() % std::size(s_lengths)]);
        std::string expected2 = pattern(s_lengths[random() % std::size(s_lengths)]);
        TypeParam actual(expected);
        TypeParam actual2(expected2);
        for (int step = 0; step < 12 && expected.size() < 400; ++step) {
            Call<std::string> model{expected, expected2, random};
            Call<TypeParam> ours{actual, actual2, random};
            SCOPED_TRACE(testing::Message() << "operation " << model.which << " in " << sequence);
            ASSERT_EQ(thrownBy(model), thrownBy(ours));
            ASSERT_EQ(plain(actual), expected);
            ASSERT_EQ(plain(actual2), expected2);
            ASSERT_EQ(ours.told, model.told);
            random = model.random;
        }
    }
    EXPECT_EQ(s_held, 0);
}

// The standard string is no model here: its implementations disagree.
TYPED_TEST(AnyStorage, CopiesItsOwnTerminatorLikeAnyCharacter) {
    for (const std::size_t length : s_lengths) {
        for (const std::size_t room : {std::size_t{0}, 2 * length + 1}) {
            const std::string ended = pattern(length) + '\0';
            TypeParam a, b, c;
            for (TypeParam* text : {&a, &b, &c}) text->assign(pattern(length)).reserve(room);
            EXPECT_EQ(plain(a.assign(a.c_str(), length + 1)), ended);
            EXPECT_EQ(plain(b.append(b.c_str(), length + 1)), pattern(length) + ended);
            EXPECT_EQ(plain(c.insert(0, c.c_str() + length, 1)), '\0' + pattern(length));
        }
    }
}

// A string that throws is as it was before.
template <class Error, class String>
void expectThrows(std::size_t length, std::initializer_list<void (*)(String&)> actions) {
    for (const auto action : actions) {
        String text(pattern(length));
        s_refused = std::is_same_v<Error, std::bad_alloc>;
        EXPECT_EQ(thrownBy(action, text), typeid(Error).name());
        s_refused = false;
        EXPECT_EQ(plain(text), pattern(length));
    }
}

TYPED_TEST(AnyStorage, ReportsSizesBeyondTheGreatest) {
    using S = TypeParam&;
    EXPECT_EQ(TypeParam().max_size(), s_most);
    expectThrows<std::length_error, TypeParam>(
        5, {[](S s) { s.reserve(s_most + 1); }, [](S s) { s.append(s_all, 'x'); },
            [](S s) { s.append(s_most - 4, 'x'); }, [](S s) { s.append("x", s_most); },
            [](S s) { s.replace(1, 1, s_most, 'x'); }, [](S s) { s.assign(s_most + 1, 'x'); }});
}

TEST(CString, IsAsItWasWhenMemoryIsRefused) {
    using S = WatchedString&;
    for (const std::size_t length : {31U, 60U}) {
        expectThrows<std::bad_alloc, WatchedString>(
            length, {[](S s) { s.reserve(500); }, [](S s) { s.append(s).append(s); },
                     [](S s) { s.assign(500, 'x'); }, [](S s) { s.replace(1, 3, 500, 'x'); },
                     [](S s) { s.insert(2, pattern(500)); }});
    }
}

TEST(CString, TellsItsModeInTheLastByteAndAllocatesOnlyBeyond31) {
    for (const std::size_t length : s_lengths) {
        SCOPED_TRACE(length);
        const std::string source = pattern(length);
        CString text, taken;
        EXPECT_EQ(allocationsOf([&] { taken = CString(source); }), length <= 31 ? 0U : 1U);
        EXPECT_EQ(allocationsOf([&] { (text = std::move(taken)).swap(text); }), 0U);
        text = std::move(*&text);
        EXPECT_EQ(plain(text), source);
        EXPECT_EQ(text.capacity(), std::max<std::size_t>(length, 31));
        const char* const inside = reinterpret_cast<const char*>(&text);
        EXPECT_EQ(inside[31], length <= 31 ? static_cast<char>(31 - length) : 32);
        const StringData<char>* block = nullptr;
        std::memcpy(&block, inside, sizeof(char*));
        EXPECT_EQ(text.begin(), length <= 31 ? inside : block->buffer_);
        EXPECT_TRUE(length <= 31 || block->pEndOfMem_ == text.end());
    }
}

TEST(CString, GrowsToExactlyWhatIsAsked) {
    constexpr std::size_t cases[][3] = {{5, 31, 31}, {5, 32, 32}, {40, 10, 40}, {100, 101, 101}};
    for (const auto& [length, reserved, capacity] : cases) {
        WatchedString text(pattern(length));
        text.reserve(reserved);
        EXPECT_EQ(text.capacity(), capacity);
        text.append(capacity - length, '+');
        text.push_back('!');
        EXPECT_EQ(s_lastSize, capacity + 1 + sizeof(StringData<char>));
        EXPECT_EQ(s_held, 1);
    }
}

TEST(CString, GivesItsBlockBackWhenItIsCutTo31AndMiniStringWhenItIsEmpty) {
    const std::initializer_list<void (*)(WatchedString&)> cuts = {
        [](auto& s) { s.pop_back(); }, [](auto& s) { s.resize(31); },
        [](auto& s) { s.assign("abc").reserve(50), s.resize(8, '+'); }};
    for (const auto cut : cuts) {
        WatchedString text(pattern(32));
        cut(text);
        EXPECT_TRUE(text.capacity() == 31 && s_held == 0) << text;
    }
    MiniString mini("a");
    mini.pop_back();
    EXPECT_EQ(mini.capacity(), 0U);
}

TEST(BlockString, WritesNothingToTheSharedBlock) {
    BlockString one, another;
    *one.begin() = '#';  // shows whether anybody writes the terminator of the shared block
    another = one;
    another.clear();
    const char found = *another.c_str();
    *one.begin() = '\0';
    EXPECT_EQ(found, '#');
}

TEST(WideCharacters, MoveFromTheObjectToABlock) {
    SmallString<wchar_t, 7> text(L"1234567");
    (text += L'8').insert(0, text);
    EXPECT_TRUE(text == L"1234567812345678" && text.contains(L"781"));
}

TEST(StringDeathTest, StopsAtARangeThatEndsBeforeItBegins) {
    CString text("abc");
    EXPECT_DEATH(text.erase(text.begin() + 2, text.begin() + 1), "i1 <= i2");
}

}  // namespace
