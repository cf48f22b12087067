#include "utils/des.h"

#include <algorithm>
#include <bit>
#include <cstddef>

namespace Tovra::Utils {

namespace {

// The tables of the standard, whose bits count from 1, the highest first.

constexpr std::uint8_t s_boxes[8][64] = {
    {14, 4,  13, 1, 2,  15, 11, 8, 3, 10, 6, 12, 5,  9,  0,  7,  0,  15, 7,  4,  14, 2,
     13, 1,  10, 6, 12, 11, 9,  5, 3, 8,  4, 1,  14, 8,  13, 6,  2,  11, 15, 12, 9,  7,
     3,  10, 5,  0, 15, 12, 8,  2, 4, 9,  1, 7,  5,  11, 3,  14, 10, 0,  6,  13},
    {15, 1,  8,  14, 6,  11, 3,  4, 9,  7,  2, 13, 12, 0,  5,  10, 3,  13, 4,  7, 15, 2,
     8,  14, 12, 0,  1,  10, 6,  9, 11, 5,  0, 14, 7,  11, 10, 4,  13, 1,  5,  8, 12, 6,
     9,  3,  2,  15, 13, 8,  10, 1, 3,  15, 4, 2,  11, 6,  7,  12, 0,  5,  14, 9},
    {10, 0,  9,  14, 6, 3,  15, 5,  1,  13, 12, 7, 11, 4,  2,  8,  13, 7, 0,  9, 3, 4,
     6,  10, 2,  8,  5, 14, 12, 11, 15, 1,  13, 6, 4,  9,  8,  15, 3,  0, 11, 1, 2, 12,
     5,  10, 14, 7,  1, 10, 13, 0,  6,  9,  8,  7, 4,  15, 14, 3,  11, 5, 2,  12},
    {7, 13, 14, 3, 0, 6,  9, 10, 1,  2, 8,  5, 11, 12, 4,  15, 13, 8,  11, 5, 6, 15,
     0, 3,  4,  7, 2, 12, 1, 10, 14, 9, 10, 6, 9,  0,  12, 11, 7,  13, 15, 1, 3, 14,
     5, 2,  8,  4, 3, 15, 0, 6,  10, 1, 13, 8, 9,  4,  5,  11, 12, 7,  2,  14},
    {2,  12, 4, 1,  7,  10, 11, 6, 8, 5,  3, 15, 13, 0,  14, 9,  14, 11, 2,  12, 4,  7,
     13, 1,  5, 0,  15, 10, 3,  9, 8, 6,  4, 2,  1,  11, 10, 13, 7,  8,  15, 9,  12, 5,
     6,  3,  0, 14, 11, 8,  12, 7, 1, 14, 2, 13, 6,  15, 0,  9,  10, 4,  5,  3},
    {12, 1,  10, 15, 9,  2,  6, 8,  0, 13, 3,  4,  14, 7,  5, 11, 10, 15, 4, 2, 7, 12,
     9,  5,  6,  1,  13, 14, 0, 11, 3, 8,  9,  14, 15, 5,  2, 8,  12, 3,  7, 0, 4, 10,
     1,  13, 11, 6,  4,  3,  2, 12, 9, 5,  15, 10, 11, 14, 1, 7,  6,  0,  8, 13},
    {4, 11, 2,  14, 15, 0,  8,  13, 3, 12, 9,  7, 5,  10, 6,  1,  13, 0,  11, 7,  4, 9,
     1, 10, 14, 3,  5,  12, 2,  15, 8, 6,  1,  4, 11, 13, 12, 3,  7,  14, 10, 15, 6, 8,
     0, 5,  9,  2,  6,  11, 13, 8,  1, 4,  10, 7, 9,  5,  0,  15, 14, 2,  3,  12},
    {13, 2, 8,  4, 6, 15, 11, 1,  10, 9,  3, 14, 5,  0,  12, 7,  1,  15, 13, 8, 10, 3,
     7,  4, 12, 5, 6, 11, 0,  14, 9,  2,  7, 11, 4,  1,  9,  12, 14, 2,  0,  6, 10, 13,
     15, 3, 5,  8, 2, 1,  14, 7,  4,  10, 8, 13, 15, 12, 9,  0,  3,  5,  6,  11},
};

constexpr std::uint8_t s_permutation[32] = {16, 7, 20, 21, 29, 12, 28, 17, 1,  15, 23,
                                            26, 5, 18, 31, 10, 2,  8,  24, 14, 32, 27,
                                            3,  9, 19, 13, 30, 6,  22, 11, 4,  25};

constexpr std::uint8_t s_keyChoice1[56] = {57, 49, 41, 33, 25, 17, 9,  1,  58, 50, 42, 34, 26, 18,
                                           10, 2,  59, 51, 43, 35, 27, 19, 11, 3,  60, 52, 44, 36,
                                           63, 55, 47, 39, 31, 23, 15, 7,  62, 54, 46, 38, 30, 22,
                                           14, 6,  61, 53, 45, 37, 29, 21, 13, 5,  28, 20, 12, 4};

constexpr std::uint8_t s_keyChoice2[48] = {
    14, 17, 11, 24, 1,  5,  3,  28, 15, 6,  21, 10, 23, 19, 12, 4,  26, 8,  16, 7,  27, 20, 13, 2,
    41, 52, 31, 37, 47, 55, 30, 40, 51, 45, 33, 48, 44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32};

constexpr std::uint8_t s_keyTurns[16] = {1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};

// S-box and permutation in one step. The halves are kept turned left by one, the results as well.
using BoxTable = std::array<std::uint32_t, 64>;

constexpr BoxTable makeBoxTable(int box) {
    BoxTable table{};
    for (unsigned int input = 0; input < 64; ++input) {
        const unsigned int row = (input >> 4 & 2) | (input & 1);
        const unsigned int nibble = s_boxes[box][row * 16 + (input >> 1 & 15)];
        std::uint32_t output = 0;
        for (int bit = 0; bit < 32; ++bit) {
            const int from = s_permutation[bit] - 1 - 4 * box;
            if (from >= 0 && from < 4 && (nibble >> (3 - from) & 1) != 0) {
                output |= std::uint32_t{1} << (31 - bit);
            }
        }
        table[input] = std::rotl(output, 1);
    }
    return table;
}

constexpr std::array<BoxTable, 8> s_boxTables = {makeBoxTable(0), makeBoxTable(1), makeBoxTable(2),
                                                 makeBoxTable(3), makeBoxTable(4), makeBoxTable(5),
                                                 makeBoxTable(6), makeBoxTable(7)};

// A permutation of up to 64 bits, looked up by groups of seven of its input bits.
using ChoiceTable = std::array<std::array<std::uint64_t, 128>, 8>;

// How far left each input bit goes when the highest `size` bits of the output are those of `choice`.
template <std::size_t size>
constexpr std::array<std::uint64_t, 65> targets(const std::uint8_t (&choice)[size],
                                                const std::array<std::uint8_t, size>& places) {
    std::array<std::uint64_t, 65> masks{};
    for (std::size_t i = 0; i < size; ++i) masks[choice[i]] = std::uint64_t{1} << places[i];
    return masks;
}

// `firstOf(group)` is the number of the group's highest input bit.
template <class First>
constexpr ChoiceTable makeChoice(const std::array<std::uint64_t, 65>& masks, First firstOf) {
    ChoiceTable table{};
    for (std::size_t group = 0; group < 8; ++group) {
        for (std::size_t value = 0; value < 128; ++value) {
            for (std::size_t bit = 0; bit < 7; ++bit) {
                if ((value >> (6 - bit) & 1) != 0)
                    table[group][value] |= masks[firstOf(group) + bit];
            }
        }
    }
    return table;
}

// The two halves of 28 bits, one behind the other.
constexpr std::array<std::uint8_t, 56> halfPlaces() {
    std::array<std::uint8_t, 56> places{};
    for (std::size_t i = 0; i < 56; ++i) places[i] = static_cast<std::uint8_t>(55 - i);
    return places;
}

// Eight groups of six bits: those of odd number in the bytes of the upper word, the others below.
constexpr std::array<std::uint8_t, 48> groupPlaces() {
    std::array<std::uint8_t, 48> places{};
    for (std::size_t i = 0; i < 48; ++i) {
        const std::size_t group = i / 6;
        const std::size_t lowest = (group % 2 == 0 ? 32 : 0) + 8 * (3 - group / 2);
        places[i] = static_cast<std::uint8_t>(lowest + 5 - i % 6);
    }
    return places;
}

constexpr ChoiceTable s_choice1 = makeChoice(targets(s_keyChoice1, halfPlaces()),
                                             [](std::size_t group) { return group * 8 + 1; });
constexpr ChoiceTable s_choice2 = makeChoice(targets(s_keyChoice2, groupPlaces()),
                                             [](std::size_t group) { return group * 7 + 1; });

std::uint32_t turned28(std::uint32_t half, int count) {
    return (half << count | half >> (28 - count)) & 0x0FFFFFFF;
}

void exchange(std::uint32_t& a, std::uint32_t& b, int shift, std::uint32_t mask) {
    const std::uint32_t difference = (a >> shift ^ b) & mask;
    b ^= difference;
    a ^= difference << shift;
}

// The initial permutation, as exchanges of ever finer pieces. The halves come out turned left by one.
DesBlock permuted(DesBlock block) {
    exchange(block.left, block.right, 4, 0x0F0F0F0F);
    exchange(block.left, block.right, 16, 0x0000FFFF);
    exchange(block.right, block.left, 2, 0x33333333);
    exchange(block.right, block.left, 8, 0x00FF00FF);
    exchange(block.left, block.right, 1, 0x55555555);
    return {std::rotl(block.left, 1), std::rotl(block.right, 1)};
}

// Its inverse, the final one.
DesBlock unpermuted(DesBlock block) {
    block = {std::rotr(block.left, 1), std::rotr(block.right, 1)};
    exchange(block.left, block.right, 1, 0x55555555);
    exchange(block.right, block.left, 8, 0x00FF00FF);
    exchange(block.right, block.left, 2, 0x33333333);
    exchange(block.left, block.right, 16, 0x0000FFFF);
    exchange(block.left, block.right, 4, 0x0F0F0F0F);
    return block;
}

// Each S-box takes four bits and their two neighbours: in a half that is turned left by one every
// second group lies in the lower six bits of a byte, and the others do so four bits further.
std::uint32_t mixed(std::uint32_t half, const std::uint32_t* key) {
    const std::uint32_t odd = std::rotr(half, 4) ^ key[0];
    const std::uint32_t even = half ^ key[1];
    return s_boxTables[0][odd >> 24 & 63] ^ s_boxTables[2][odd >> 16 & 63] ^
           s_boxTables[4][odd >> 8 & 63] ^ s_boxTables[6][odd & 63] ^
           s_boxTables[1][even >> 24 & 63] ^ s_boxTables[3][even >> 16 & 63] ^
           s_boxTables[5][even >> 8 & 63] ^ s_boxTables[7][even & 63];
}

// All rounds, with the exchange of the halves that ends them.
DesBlock rounds(const DesKeys& keys, DesBlock block) {
    for (std::size_t i = 0; i < keys.size(); i += 4) {
        block.left ^= mixed(block.right, &keys[i]);
        block.right ^= mixed(block.left, &keys[i + 2]);
    }
    return {block.right, block.left};
}

}  // namespace

DesKeys desKeysForward(const unsigned char* key) {
    std::uint64_t halves = 0;
    for (std::size_t i = 0; i < 8; ++i) halves |= s_choice1[i][key[i] >> 1];
    auto c = static_cast<std::uint32_t>(halves >> 28);
    auto d = static_cast<std::uint32_t>(halves & 0x0FFFFFFF);
    DesKeys keys;
    for (std::size_t round = 0; round < 16; ++round) {
        c = turned28(c, s_keyTurns[round]);
        d = turned28(d, s_keyTurns[round]);
        std::uint64_t groups = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            groups |= s_choice2[i][c >> (21 - 7 * i) & 127];
            groups |= s_choice2[i + 4][d >> (21 - 7 * i) & 127];
        }
        keys[2 * round] = static_cast<std::uint32_t>(groups >> 32);
        keys[2 * round + 1] = static_cast<std::uint32_t>(groups);
    }
    return keys;
}

DesKeys desKeysReversed(const unsigned char* key) {
    DesKeys keys = desKeysForward(key);
    for (std::size_t low = 0, high = keys.size() - 2; low < high; low += 2, high -= 2) {
        std::swap_ranges(&keys[low], &keys[low] + 2, &keys[high]);
    }
    return keys;
}

DesBlock desPass(const DesKeys& keys, DesBlock block) {
    return unpermuted(rounds(keys, permuted(block)));
}

DesBlock desPasses(const DesKeys& first, const DesKeys& second, const DesKeys& third,
                   DesBlock block) {
    return unpermuted(rounds(third, rounds(second, rounds(first, permuted(block)))));
}

}  // namespace Tovra::Utils
