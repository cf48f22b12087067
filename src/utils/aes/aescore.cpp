#include <algorithm>
#include <array>
#include <bit>

#include "utils/aes/aeskernels.h"
#include "utils/byteorder.h"
#include "utils/securezero.h"

namespace Tovra::Utils {

namespace {

using Bytes = std::array<std::uint8_t, 256>;
using Words = std::array<std::uint32_t, 256>;

// Multiplication in the field of 2^8, modulo x^8 + x^4 + x^3 + x + 1.
constexpr std::uint8_t doubled(std::uint8_t value) {
    return static_cast<std::uint8_t>((value << 1) ^ ((value & 0x80) != 0 ? 0x1B : 0));
}

constexpr std::uint8_t product(std::uint8_t a, std::uint8_t b) {
    std::uint8_t sum = 0;
    for (; b != 0; b = static_cast<std::uint8_t>(b >> 1), a = doubled(a)) {
        if ((b & 1) != 0) sum = static_cast<std::uint8_t>(sum ^ a);
    }
    return sum;
}

// Walks through the powers of 3, which generates the field, beside those of its inverse: so each
// value meets its own inverse.
constexpr Bytes makeSubstitution() {
    Bytes box{};
    box[0] = 0x63;
    std::uint8_t value = 1;
    std::uint8_t inverse = 1;
    do {
        std::uint8_t sum = 0x63;
        for (int turn = 0; turn < 5; ++turn) {
            sum = static_cast<std::uint8_t>(sum ^ std::rotl(inverse, turn));
        }
        box[value] = sum;
        value = product(value, 0x03);
        inverse = product(inverse, 0xF6);
    } while (value != 1);
    return box;
}

constexpr Bytes inverted(const Bytes& box) {
    Bytes inverse{};
    for (unsigned int i = 0; i < 256; ++i) inverse[box[i]] = static_cast<std::uint8_t>(i);
    return inverse;
}

constexpr Bytes s_box = makeSubstitution();
constexpr Bytes s_inverseBox = inverted(s_box);
static_assert(s_box[0x53] == 0xED && s_inverseBox[0xED] == 0x53);

// A column that has `value` in its first byte, multiplied by a column of the mixing matrix.
constexpr std::uint32_t mixedColumn(std::uint8_t value, const std::uint8_t (&factors)[4]) {
    std::uint32_t column = 0;
    for (int row = 0; row < 4; ++row) {
        column |= std::uint32_t{product(value, factors[row])} << (8 * row);
    }
    return column;
}

constexpr std::uint8_t s_mix[4] = {0x02, 0x01, 0x01, 0x03};
constexpr std::uint8_t s_inverseMix[4] = {0x0E, 0x09, 0x0D, 0x0B};

constexpr Words makeRoundTable(const Bytes& box, const std::uint8_t (&factors)[4]) {
    Words table{};
    for (unsigned int i = 0; i < 256; ++i) table[i] = mixedColumn(box[i], factors);
    return table;
}

// One step for a byte in the other rows turns the whole column.
using RoundTables = std::array<Words, 4>;
constexpr RoundTables turned(const Words& first) {
    RoundTables tables{};
    for (std::size_t row = 0; row < 4; ++row) {
        for (std::size_t i = 0; i < 256; ++i) {
            tables[row][i] = std::rotl(first[i], static_cast<int>(8 * row));
        }
    }
    return tables;
}

constexpr RoundTables s_rounds = turned(makeRoundTable(s_box, s_mix));
constexpr RoundTables s_inverseRounds = turned(makeRoundTable(s_inverseBox, s_inverseMix));

constexpr std::uint8_t byteOf(std::uint32_t word, int row) {
    return static_cast<std::uint8_t>(word >> (8 * row));
}

std::uint32_t substituted(std::uint32_t word) {
    std::uint32_t result = 0;
    for (int row = 0; row < 4; ++row) {
        result |= std::uint32_t{s_box[byteOf(word, row)]} << (8 * row);
    }
    return result;
}

// The tables take the substitution back before they mix: so it goes first.
std::uint32_t inverseMixed(std::uint32_t word) {
    std::uint32_t result = 0;
    for (std::size_t row = 0; row < 4; ++row) {
        result ^= s_inverseRounds[row][s_box[byteOf(word, static_cast<int>(row))]];
    }
    return result;
}

using State = std::array<std::uint32_t, 4>;

State load(const unsigned char* from, const std::uint32_t* key) {
    return {loadLittle32(from) ^ key[0], loadLittle32(from + 4) ^ key[1],
            loadLittle32(from + 8) ^ key[2], loadLittle32(from + 12) ^ key[3]};
}

// Rows move to the left by their number in the cipher (`direction` 1), to the right in its inverse
// (`direction` 3).
template <unsigned int direction>
std::uint32_t roundColumn(const RoundTables& tables, const State& s, unsigned int c) {
    return tables[0][byteOf(s[c], 0)] ^ tables[1][byteOf(s[(c + direction) % 4], 1)] ^
           tables[2][byteOf(s[(c + 2) % 4], 2)] ^ tables[3][byteOf(s[(c + 3 * direction) % 4], 3)];
}

template <unsigned int direction>
std::uint32_t lastColumn(const Bytes& box, const State& s, unsigned int c) {
    return std::uint32_t{box[byteOf(s[c], 0)]} |
           std::uint32_t{box[byteOf(s[(c + direction) % 4], 1)]} << 8 |
           std::uint32_t{box[byteOf(s[(c + 2) % 4], 2)]} << 16 |
           std::uint32_t{box[byteOf(s[(c + 3 * direction) % 4], 3)]} << 24;
}

template <unsigned int direction>
void runBlocks(const RoundTables& tables, const Bytes& box, const AesKey& key, unsigned char* dst,
               const unsigned char* src, std::size_t blockCount) {
    for (; blockCount > 0; --blockCount, src += aesBlockBytes, dst += aesBlockBytes) {
        const std::uint32_t* words = key.roundKeys;
        State s = load(src, words);
        for (int round = 1; round < key.rounds; ++round) {
            words += 4;
            s = {roundColumn<direction>(tables, s, 0) ^ words[0],
                 roundColumn<direction>(tables, s, 1) ^ words[1],
                 roundColumn<direction>(tables, s, 2) ^ words[2],
                 roundColumn<direction>(tables, s, 3) ^ words[3]};
        }
        words += 4;
        for (unsigned int c = 0; c < 4; ++c) {
            storeLittle32(dst + std::size_t{4} * c, lastColumn<direction>(box, s, c) ^ words[c]);
        }
    }
}

}  // namespace

AesKey::~AesKey() {
    rounds = 0;
    secureZero(words, sizeof(words));
}

bool AesKey::setForward(const unsigned char* key, int bits) {
    if (bits != 128 && bits != 192 && bits != 256) return false;
    const int keyWords = bits / 32;
    rounds = keyWords + 6;
    for (int i = 0; i < keyWords; ++i) words[i] = loadLittle32(key + std::ptrdiff_t{4} * i);
    std::uint8_t roundConstant = 1;
    for (int i = keyWords; i < 4 * (rounds + 1); ++i) {
        std::uint32_t word = words[i - 1];
        if (i % keyWords == 0) {
            word = substituted(std::rotr(word, 8)) ^ roundConstant;
            roundConstant = doubled(roundConstant);
        } else if (keyWords == 8 && i % keyWords == 4) {
            word = substituted(word);
        }
        words[i] = words[i - keyWords] ^ word;
    }
    return true;
}

bool AesKey::setBackward(const unsigned char* key, int bits) {
    if (!setForward(key, bits)) return false;
    for (int low = 0, high = 4 * rounds; low < high; low += 4, high -= 4) {
        std::swap_ranges(words + low, words + low + 4, words + high);
    }
    for (int i = 4; i < 4 * rounds; ++i) words[i] = inverseMixed(words[i]);
    return true;
}

void aesEncryptPortable(const AesKey& key, unsigned char* dst, const unsigned char* src,
                        std::size_t blockCount) {
    runBlocks<1>(s_rounds, s_box, key, dst, src, blockCount);
}

void aesDecryptPortable(const AesKey& key, unsigned char* dst, const unsigned char* src,
                        std::size_t blockCount) {
    runBlocks<3>(s_inverseRounds, s_inverseBox, key, dst, src, blockCount);
}

}  // namespace Tovra::Utils
