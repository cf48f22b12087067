#include "vesko/utils/base64.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Tovra::Utils {

namespace {

constexpr char s_alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t s_noDigit = 64;

// Twelve bits are two characters.
using Pair = std::array<char, 2>;
constexpr auto s_pairs = [] {
    std::array<Pair, 4096> pairs{};
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        pairs[i] = {s_alphabet[i / 64], s_alphabet[i % 64]};
    }
    return pairs;
}();

constexpr auto s_digits = [] {
    std::array<std::uint8_t, 256> digits{};
    digits.fill(s_noDigit);
    for (std::uint8_t i = 0; i < 64; ++i) digits[static_cast<unsigned char>(s_alphabet[i])] = i;
    return digits;
}();

std::uint32_t digitOf(char letter) { return s_digits[static_cast<unsigned char>(letter)]; }

std::uint32_t byteAt(const char* data, std::ptrdiff_t at) {
    return static_cast<unsigned char>(data[at]);
}

void putPair(char* to, std::uint32_t bits) { std::memcpy(to, &s_pairs[bits], sizeof(Pair)); }

void putBytes(char* to, std::uint32_t bits, int count) {
    for (int i = 0; i < count; ++i) to[i] = static_cast<char>(bits >> (16 - 8 * i));
}

}  // namespace

int base64EncodeLen(int length) { return static_cast<int>((std::int64_t{length} + 2) / 3 * 4 + 1); }

int base64Encode(char* encoded, const char* data, int length) {
    char* to = encoded;
    for (; length >= 3; length -= 3, data += 3, to += 4) {
        const std::uint32_t bits = byteAt(data, 0) << 16 | byteAt(data, 1) << 8 | byteAt(data, 2);
        putPair(to, bits >> 12);
        putPair(to + 2, bits & 4095);
    }
    if (length > 0) {
        const std::uint32_t bits = byteAt(data, 0) << 16 | (length > 1 ? byteAt(data, 1) << 8 : 0);
        putPair(to, bits >> 12);
        putPair(to + 2, bits & 4095);
        if (length < 2) to[2] = '=';
        to[3] = '=';
        to += 4;
    }
    *to++ = '\0';
    return static_cast<int>(to - encoded);
}

int base64DecodeLen(const char* coded) {
    std::int64_t digits = 0;
    while (digitOf(coded[digits]) != s_noDigit) ++digits;
    return static_cast<int>((digits + 3) / 4 * 3 + 1);
}

int base64Decode(char* plain, const char* coded) {
    char* to = plain;
    for (;;) {
        // One by one: what lies behind the end is not the text's.
        std::uint32_t bits = 0;
        int count = 0;
        for (; count < 4; ++count) {
            const std::uint32_t digit = digitOf(coded[count]);
            if (digit == s_noDigit) break;
            bits |= digit << (18 - 6 * count);
        }
        const int bytes = count > 0 ? count - 1 : 0;
        putBytes(to, bits, bytes);
        to += bytes;
        if (count < 4) break;
        coded += 4;
    }
    *to = '\0';
    return static_cast<int>(to - plain);
}

}  // namespace Tovra::Utils
