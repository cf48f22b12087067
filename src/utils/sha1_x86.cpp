#include <immintrin.h>

#include <utility>

#include "utils/sha1kernels.h"

// Built for instructions that not every processor has: nothing here may be shared with other files.
namespace Tovra::Utils {

namespace {

// Four rounds: `abcd` goes four rounds on, and `before` becomes what it was.
template <int group>
void fourRounds(__m128i& abcd, __m128i& before, __m128i (&words)[4]) {
    __m128i& next = words[group % 4];
    if constexpr (group >= 4) {
        const __m128i mixed =
            _mm_xor_si128(_mm_sha1msg1_epu32(next, words[(group + 1) % 4]), words[(group + 2) % 4]);
        next = _mm_sha1msg2_epu32(mixed, words[(group + 3) % 4]);
    }
    // In the first group `before` is the plain e; later e has to be drawn from the older a.
    const __m128i e = group == 0 ? _mm_add_epi32(before, next) : _mm_sha1nexte_epu32(before, next);
    before = abcd;
    abcd = _mm_sha1rnds4_epu32(abcd, e, group / 5);
}

template <int... group>
void allRounds(__m128i& abcd, __m128i& before, __m128i (&words)[4],
               std::integer_sequence<int, group...>) {
    (fourRounds<group>(abcd, before, words), ...);
}

}  // namespace

void sha1BlocksX86(std::uint32_t* state, unsigned char* buffer, const unsigned char* blocks,
                   std::size_t blockCount) {
    const __m128i reversed = _mm_set_epi64x(0x0001020304050607, 0x08090A0B0C0D0E0F);
    void* const abcdAt = state;
    // The instructions want a and e in the highest lane.
    __m128i abcd = _mm_shuffle_epi32(_mm_loadu_si128(static_cast<const __m128i*>(abcdAt)), 0x1B);
    __m128i e = _mm_slli_si128(_mm_cvtsi32_si128(static_cast<int>(state[4])), 12);
    for (; blockCount > 0; --blockCount, blocks += 64) {
        __m128i words[4];
        for (int i = 0; i < 4; ++i) {
            const void* from = blocks + 16 * i;
            void* to = buffer + 16 * i;
            const __m128i bytes = _mm_loadu_si128(static_cast<const __m128i*>(from));
            _mm_storeu_si128(static_cast<__m128i*>(to), bytes);
            words[i] = _mm_shuffle_epi8(bytes, reversed);
        }
        const __m128i abcdSum = abcd;
        __m128i before = e;
        allRounds(abcd, before, words, std::make_integer_sequence<int, 20>{});
        e = _mm_sha1nexte_epu32(before, e);
        abcd = _mm_add_epi32(abcd, abcdSum);
    }
    _mm_storeu_si128(static_cast<__m128i*>(abcdAt), _mm_shuffle_epi32(abcd, 0x1B));
    state[4] = static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(e, 12)));
}

}  // namespace Tovra::Utils
