#include <immintrin.h>

#include "utils/crckernels.h"

// Built for instructions that not every processor has: nothing here may be shared with other files.
//
// A register of 16 message bytes is a polynomial, the first bit its highest power. Moving it n bits
// towards the message's end multiplies it by x^n; only the remainder counts, so its two halves are
// multiplied by the remainders of x^n and x^(n + 64) and added to the bytes that stand there.
namespace Tovra::Utils {

namespace {

// x^exponent modulo the polynomial, reflected.
constexpr std::uint32_t powerOfX(std::uint32_t polynomial, int exponent) {
    std::uint32_t power = 0x80000000;
    for (; exponent > 0; --exponent) {
        power = (power >> 1) ^ ((power & 1) != 0 ? polynomial : 0U);
    }
    return power;
}
static_assert(powerOfX(crc32Polynomial, 31) == 1 &&
              powerOfX(crc32Polynomial, 32) == crc32Polynomial);
static_assert(powerOfX(crc16Polynomial, 32) == crc16Polynomial);

struct Factors {
    std::uint64_t first;   // for the first 8 bytes, which are 64 bits further from the end
    std::uint64_t second;  // for the other 8
};

// The product of two reflected factors comes out shifted by one bit, which is one power of x too
// many: the factors carry one less.
constexpr Factors factors(std::uint32_t polynomial, int distanceBits) {
    return {std::uint64_t{powerOfX(polynomial, distanceBits + 63)} << 32,
            std::uint64_t{powerOfX(polynomial, distanceBits - 1)} << 32};
}

__m128i loaded(const unsigned char* data) {
    const void* from = data;
    return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

__m128i asRegister(const Factors& factors) {
    return _mm_set_epi64x(static_cast<long long>(factors.second),
                          static_cast<long long>(factors.first));
}

__m128i moved(__m128i value, __m128i factors) {
    return _mm_xor_si128(_mm_clmulepi64_si128(value, factors, 0x00),
                         _mm_clmulepi64_si128(value, factors, 0x11));
}

// Four registers side by side hide the latency of the multiplication.
constexpr std::size_t s_stepBytes = 64;

template <std::uint32_t polynomial>
std::uint32_t folded(std::uint32_t state, const unsigned char* data, std::size_t sizeBytes,
                     CrcRun* portable) {
    if (sizeBytes < s_stepBytes) return portable(state, data, sizeBytes);

    __m128i part[4];
    for (int i = 0; i < 4; ++i) part[i] = loaded(data + 16 * i);
    part[0] = _mm_xor_si128(part[0], _mm_cvtsi32_si128(static_cast<int>(state)));
    data += s_stepBytes;
    sizeBytes -= s_stepBytes;

    constexpr Factors farFactors = factors(polynomial, 512);
    const __m128i far = asRegister(farFactors);
    for (; sizeBytes >= s_stepBytes; sizeBytes -= s_stepBytes, data += s_stepBytes) {
        for (int i = 0; i < 4; ++i) {
            part[i] = _mm_xor_si128(moved(part[i], far), loaded(data + 16 * i));
        }
    }

    constexpr Factors nearFactors = factors(polynomial, 128);
    const __m128i near = asRegister(nearFactors);
    __m128i rest = part[0];
    for (int i = 1; i < 4; ++i) rest = _mm_xor_si128(moved(rest, near), part[i]);
    for (; sizeBytes >= 16; sizeBytes -= 16, data += 16) {
        rest = _mm_xor_si128(moved(rest, near), loaded(data));
    }

    // What is left is a message of 16 bytes with the same checksum from state 0.
    unsigned char last[16];
    void* const lastAt = last;
    _mm_storeu_si128(static_cast<__m128i*>(lastAt), rest);
    return portable(portable(0, last, sizeof(last)), data, sizeBytes);
}

}  // namespace

std::uint32_t crc16X86(std::uint32_t state, const unsigned char* data, std::size_t sizeBytes) {
    return folded<crc16Polynomial>(state, data, sizeBytes, crc16Portable);
}

std::uint32_t crc32X86(std::uint32_t state, const unsigned char* data, std::size_t sizeBytes) {
    return folded<crc32Polynomial>(state, data, sizeBytes, crc32Portable);
}

}  // namespace Tovra::Utils
