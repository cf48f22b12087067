#include "vesko/utils/sha1.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "utils/byteorder.h"
#include "utils/digest.h"
#include "utils/securezero.h"
#include "utils/sha1kernels.h"
#include "vesko3/logmacros.h"

namespace Tovra::Utils {

/// Everything a CSha1 knows.
struct Sha1Internal {
    std::uint64_t count;  // message length in bits
    std::uint32_t state[5];
    std::uint32_t bufferUsed;
    unsigned char buffer[digestBlockBytes];
    unsigned char digest[20];
    bool finished;  // digest holds the result
};

namespace {

constexpr std::uint32_t s_initialState[5] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476,
                                             0xC3D2E1F0};
constexpr std::uint32_t s_roundConstants[4] = {0x5A827999, 0x6ED9EBA1, 0x8F1BBCDC, 0xCA62C1D6};

template <int round>
std::uint32_t mixed(std::uint32_t b, std::uint32_t c, std::uint32_t d) {
    if constexpr (round == 0) return ((c ^ d) & b) ^ d;
    if constexpr (round == 2) return (b & c) + (d & (b ^ c));  // no bit in common: + serves as |
    return b ^ c ^ d;
}

// The schedule keeps its last 16 words only; word `index` takes the place of word `index` - 16.
template <int index>
std::uint32_t scheduled(std::uint32_t (&words)[16], const unsigned char* block) {
    std::uint32_t& word = words[index % 16];
    if constexpr (index < 16) {
        word = loadBig32(block + 4 * index);
    } else {
        word = std::rotl(
            words[(index - 3) % 16] ^ words[(index - 8) % 16] ^ words[(index - 14) % 16] ^ word, 1);
    }
    return word;
}

template <int index>
void step(std::uint32_t (&state)[5], std::uint32_t (&words)[16], const unsigned char* block) {
    constexpr int round = index / 20;
    // The roles of the five words move on by one with each step.
    const std::uint32_t a = state[(80 - index) % 5];
    std::uint32_t& b = state[(81 - index) % 5];
    const std::uint32_t c = state[(82 - index) % 5];
    const std::uint32_t d = state[(83 - index) % 5];
    std::uint32_t& e = state[(84 - index) % 5];
    e += scheduled<index>(words, block) + s_roundConstants[round];
    e += mixed<round>(b, c, d);
    e += std::rotl(a, 5);
    b = std::rotl(b, 30);
}

template <int... index>
void runBlock(std::uint32_t* state, const unsigned char* block,
              std::integer_sequence<int, index...>) {
    std::uint32_t words[16];
    std::uint32_t work[5] = {state[0], state[1], state[2], state[3], state[4]};
    (step<index>(work, words, block), ...);
    for (int i = 0; i < 5; ++i) state[i] += work[i];
}

void runBlocks(Sha1Internal& record, const unsigned char* blocks, std::size_t blockCount) {
    static Sha1Blocks* const s_run = fastest(sha1Kernels());
    s_run(record.state, record.buffer, blocks, blockCount);
}

// Lies where a block function that has returned kept its working values. 368 bytes hold all that
// the block function of an optimised build puts on the stack; they are cleared in whole steps.
[[gnu::noinline]] void forgetWorkingValues() {
    constexpr std::size_t stepBytes = 128;
    unsigned char values[3 * stepBytes];
    for (std::size_t at = 0; at < sizeof(values); at += stepBytes) {
        secureZero(values + at, stepBytes);
    }
}

void setUp(Sha1Internal& record) {
    record = Sha1Internal{};
    std::copy_n(s_initialState, 5, record.state);
}

// Adds bytes to the partial block. Returns how many it took: as many as found room.
std::size_t fill(Sha1Internal& record, const unsigned char* data, std::size_t length) {
    const std::size_t piece = std::min(length, digestBlockBytes - record.bufferUsed);
    std::memcpy(record.buffer + record.bufferUsed, data, piece);
    record.bufferUsed += static_cast<std::uint32_t>(piece);
    return piece;
}

void absorb(Sha1Internal& record, const unsigned char* data, std::size_t length) {
    record.count += std::uint64_t{length} * 8;
    const bool fillsBlock = record.bufferUsed + length >= digestBlockBytes;
    if (record.bufferUsed != 0) {
        const std::size_t piece = fill(record, data, length);
        if (!fillsBlock) return;
        runBlocks(record, record.buffer, 1);
        record.bufferUsed = 0;
        data += piece;
        length -= piece;
    }
    const std::size_t tail = length % digestBlockBytes;
    runBlocks(record, data, length / digestBlockBytes);
    fill(record, data + (length - tail), tail);
    if (fillsBlock) forgetWorkingValues();
}

void finish(Sha1Internal& record) {
    if (record.finished) return;
    unsigned char length[digestLengthBytes];
    storeBig32(length, static_cast<std::uint32_t>(record.count >> 32));
    storeBig32(length + 4, static_cast<std::uint32_t>(record.count));
    padMessage(record.buffer, record.bufferUsed, length,
               [&record] { runBlocks(record, record.buffer, 1); });
    forgetWorkingValues();
    for (int i = 0; i < 5; ++i) storeBig32(record.digest + 4 * i, record.state[i]);
    record.finished = true;
}

bool isRoomFor(unsigned int needed, unsigned int length) {
    if (length >= needed) return true;
    VESKO_FILTERED(error, "len(%d) is invalid!\n", static_cast<int>(length));
    return false;
}

}  // namespace

void sha1BlocksPortable(std::uint32_t* state, unsigned char* buffer, const unsigned char* blocks,
                        std::size_t blockCount) {
    for (; blockCount > 0; --blockCount, blocks += digestBlockBytes) {
        std::memmove(buffer, blocks, digestBlockBytes);
        runBlock(state, buffer, std::make_integer_sequence<int, 80>{});
    }
}

CSha1::CSha1() : m_internal(new Sha1Internal()) { setUp(*m_internal); }

CSha1::~CSha1() { delete m_internal; }

void CSha1::update(const unsigned char* data, unsigned int length) {
    if (data == nullptr || length == 0) return;
    if (m_internal->finished) setUp(*m_internal);
    absorb(*m_internal, data, length);
}

void CSha1::final(unsigned char* hash, unsigned int length) {
    if (hash == nullptr) {
        VESKO_FILTERED(error, "hash is NULL!\n");
        return;
    }
    if (!isRoomFor(sizeof(m_internal->digest), length)) return;
    finish(*m_internal);
    std::memcpy(hash, m_internal->digest, sizeof(m_internal->digest));
}

void CSha1::hex(char* str, unsigned int length) {
    if (str == nullptr) {
        VESKO_FILTERED(error, "str is NULL!\n");
        return;
    }
    constexpr unsigned int textLength = 2 * sizeof(Sha1Internal::digest);
    if (!isRoomFor(textLength, length)) return;
    finish(*m_internal);
    writeHex(str, m_internal->digest, sizeof(m_internal->digest));
    if (length > textLength) str[textLength] = '\0';
}

}  // namespace Tovra::Utils
