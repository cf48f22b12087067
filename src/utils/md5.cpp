#include "vesko/utils/md5.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <utility>

#include "utils/byteorder.h"
#include "utils/digest.h"
#include "utils/securezero.h"
#include "vesko3/logmacros.h"

namespace Tovra::Utils {

using BitCount = std::array<std::uint32_t, 2>;  // low word first

/// Everything a CMd5 knows.
struct Md5Internal {
    std::uint32_t state[4];
    BitCount count;
    unsigned char buffer[digestBlockBytes];
    unsigned char digest[16];
    bool finished;  // digest holds the result; state, count and buffer hold nothing
};

namespace {

constexpr std::uint32_t s_initialState[4] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};

// The integer part of 2^32 times the sine of 1, 2, 3 ... radians, without its sign.
constexpr std::uint32_t s_sines[64] = {
    0xD76AA478, 0xE8C7B756, 0x242070DB, 0xC1BDCEEE, 0xF57C0FAF, 0x4787C62A, 0xA8304613, 0xFD469501,
    0x698098D8, 0x8B44F7AF, 0xFFFF5BB1, 0x895CD7BE, 0x6B901122, 0xFD987193, 0xA679438E, 0x49B40821,
    0xF61E2562, 0xC040B340, 0x265E5A51, 0xE9B6C7AA, 0xD62F105D, 0x02441453, 0xD8A1E681, 0xE7D3FBC8,
    0x21E1CDE6, 0xC33707D6, 0xF4D50D87, 0x455A14ED, 0xA9E3E905, 0xFCEFA3F8, 0x676F02D9, 0x8D2A4C8A,
    0xFFFA3942, 0x8771F681, 0x6D9D6122, 0xFDE5380C, 0xA4BEEA44, 0x4BDECFA9, 0xF6BB4B60, 0xBEBFBC70,
    0x289B7EC6, 0xEAA127FA, 0xD4EF3085, 0x04881D05, 0xD9D4D039, 0xE6DB99E5, 0x1FA27CF8, 0xC4AC5665,
    0xF4292244, 0x432AFF97, 0xAB9423A7, 0xFC93A039, 0x655B59C3, 0x8F0CCC92, 0xFFEFF47D, 0x85845DD1,
    0x6FA87E4F, 0xFE2CE6E0, 0xA3014314, 0x4E0811A1, 0xF7537E82, 0xBD3AF235, 0x2AD7D2BB, 0xEB86D391,
};

// How the four rounds walk through the words of a block, and by how much their steps rotate.
struct Round {
    int firstWord;
    int wordStride;
    int shifts[4];
};
constexpr Round s_rounds[4] = {
    {0, 1, {7, 12, 17, 22}},
    {1, 5, {5, 9, 14, 20}},
    {5, 3, {4, 11, 16, 23}},
    {0, 7, {6, 10, 15, 21}},
};

// Each step waits for the one before it, which made b. So b enters the sum last, and as few
// operations as possible follow it; everything else is ready by then.
template <int round>
std::uint32_t mixed(std::uint32_t sum, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
    if constexpr (round == 0) return sum + (((c ^ d) & b) ^ d);
    // The two halves of the choice have no bit in common, so they can be added one by one.
    if constexpr (round == 1) return (sum + (c & ~d)) + (b & d);
    if constexpr (round == 2) return sum + (b ^ (c ^ d));
    if constexpr (round == 3) return sum + (c ^ (b | ~d));
}

template <int index>
void step(std::uint32_t (&state)[4], const unsigned char* block) {
    constexpr int round = index / 16;
    constexpr int word = (s_rounds[round].firstWord + s_rounds[round].wordStride * index) % 16;
    // The roles of the four words move on by one with each step.
    std::uint32_t& a = state[(64 - index) % 4];
    const std::uint32_t b = state[(65 - index) % 4];
    const std::uint32_t c = state[(66 - index) % 4];
    const std::uint32_t d = state[(67 - index) % 4];
    const std::uint32_t sum = a + loadLittle32(block + 4 * word) + s_sines[index];
    a = b + std::rotl(mixed<round>(sum, b, c, d), s_rounds[round].shifts[index % 4]);
}

// All steps stand in the loop itself, so that the running digest stays in registers.
template <int... index>
void runBlocks(std::uint32_t (&state)[4], const unsigned char* blocks, std::size_t blockCount,
               std::integer_sequence<int, index...>) {
    std::uint32_t sum[4] = {state[0], state[1], state[2], state[3]};
    for (; blockCount > 0; --blockCount, blocks += digestBlockBytes) {
        std::uint32_t work[4] = {sum[0], sum[1], sum[2], sum[3]};
        (step<index>(work, blocks), ...);
        for (int i = 0; i < 4; ++i) sum[i] += work[i];
    }
    std::copy_n(sum, 4, state);
}

void runBlocks(std::uint32_t (&state)[4], const unsigned char* blocks, std::size_t blockCount) {
    runBlocks(state, blocks, blockCount, std::make_integer_sequence<int, 64>{});
}

// Bytes waiting in the buffer.
std::size_t bufferUsed(const Md5Internal& record) { return record.count[0] / 8 % digestBlockBytes; }

constexpr BitCount longer(BitCount count, std::uint32_t lengthBytes) {
    const std::uint32_t low = count[0] + (lengthBytes << 3);
    const std::uint32_t carry = low < count[0] ? 1 : 0;
    return {low, count[1] + (lengthBytes >> 29) + carry};
}
static_assert(longer({0xFFFFFFF8, 0}, 1) == BitCount{0, 1});
static_assert(longer({0xFFFFFFF8, 0xFFFFFFF0}, 0xFFFFFFFF) == BitCount{0xFFFFFFF0, 0xFFFFFFF8});

void absorb(Md5Internal& record, const unsigned char* data, std::size_t length) {
    const std::size_t used = bufferUsed(record);
    record.count = longer(record.count, static_cast<std::uint32_t>(length));
    if (used != 0) {
        const std::size_t piece = std::min(length, digestBlockBytes - used);
        std::memcpy(record.buffer + used, data, piece);
        if (used + piece < digestBlockBytes) return;
        runBlocks(record.state, record.buffer, 1);
        data += piece;
        length -= piece;
    }
    runBlocks(record.state, data, length / digestBlockBytes);
    const std::size_t tail = length % digestBlockBytes;
    std::memcpy(record.buffer, data + (length - tail), tail);
}

void finish(Md5Internal& record) {
    if (record.finished) return;
    unsigned char length[digestLengthBytes];
    storeLittle32(length, record.count[0]);
    storeLittle32(length + 4, record.count[1]);
    padMessage(record.buffer, bufferUsed(record), length,
               [&record] { runBlocks(record.state, record.buffer, 1); });
    for (int i = 0; i < 4; ++i) storeLittle32(record.digest + 4 * i, record.state[i]);
    secureZero(record.state, sizeof(record.state));
    secureZero(record.count.data(), sizeof(record.count));
    secureZero(record.buffer, sizeof(record.buffer));
    record.finished = true;
}

}  // namespace

CMd5::CMd5() : m_internal(new Md5Internal()) { init(); }

CMd5::~CMd5() { delete m_internal; }

void CMd5::init() {
    Md5Internal& record = *m_internal;
    record.finished = false;
    std::copy_n(s_initialState, 4, record.state);
    record.count = {};
    std::fill_n(record.digest, sizeof(record.digest), static_cast<unsigned char>(0));
}

void CMd5::update(const unsigned char* data, unsigned int length) {
    if (data == nullptr || length == 0) return;
    if (m_internal->finished) init();
    absorb(*m_internal, data, length);
}

void CMd5::final(unsigned char* digest) {
    if (digest == nullptr) {
        VESKO_FILTERED(error, "digest is NULL\n");
        return;
    }
    finish(*m_internal);
    std::memcpy(digest, m_internal->digest, sizeof(m_internal->digest));
}

void CMd5::hex(char* hash) {
    if (hash == nullptr) {
        VESKO_FILTERED(error, "hash is NULL\n");
        return;
    }
    finish(*m_internal);
    writeHex(hash, m_internal->digest, sizeof(m_internal->digest));
}

}  // namespace Tovra::Utils
