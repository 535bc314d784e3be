// ownsAdler32_8u_ssse3: Adler-32 with SSSE3, 32 bytes per step.
//
// Over a step of 32 bytes b[0..31] entered with sums s1, s2: s1 grows by the sum of the bytes
// (psadbw against zero) and s2 by 32 * s1 plus sum (32 - i) * b[i] (pmaddubsw with the weights
// 32..1, then pmaddwd to 32 bits). The 32 * s1 terms are gathered as the sum of the s1 vector
// before each step and multiplied once per block. The blocks are those of the portable kernel
// (5552 bytes, reduced after each), so every intermediate sum is the exact one and fits 32 bits;
// the bytes of a block beyond its last whole step go singly.
#include "core/zeb_common.h"

#include "checksum/checksum_internal.h"

#include <immintrin.h>

namespace {

ZEB_TARGET_SSSE3 inline Zeb32u sum_lanes(__m128i v)
{
    v = _mm_add_epi32(v, _mm_shuffle_epi32(v, 0x4E));
    v = _mm_add_epi32(v, _mm_shuffle_epi32(v, 0xB1));
    return (Zeb32u)_mm_cvtsi128_si32(v);
}

} // namespace

ZEB_TARGET_SSSE3 Zeb32u ownsAdler32_8u_ssse3(const Zeb8u* src, size_t len, Zeb32u adler)
{
    const __m128i zero = _mm_setzero_si128();
    const __m128i ones = _mm_set1_epi16(1);
    const __m128i weights_hi = _mm_setr_epi8(32, 31, 30, 29, 28, 27, 26, 25, 24, 23, 22, 21, 20,
                                             19, 18, 17);
    const __m128i weights_lo = _mm_setr_epi8(16, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1);
    Zeb32u s1 = adler & 0xFFFF, s2 = adler >> 16;
    while (len > 0) {
        size_t block = len < kAdlerBlock ? len : kAdlerBlock;
        size_t steps = block / 32;
        if (steps > 0) {
            s2 += s1 * (Zeb32u)(steps * 32);
            __m128i v1 = zero, vprev = zero, v2 = zero;
            for (size_t i = 0; i < steps; ++i, src += 32) {
                __m128i a = _mm_loadu_si128((const __m128i*)(const void*)src);
                __m128i b = _mm_loadu_si128((const __m128i*)(const void*)(src + 16));
                vprev = _mm_add_epi32(vprev, v1);
                v1 = _mm_add_epi32(v1, _mm_add_epi32(_mm_sad_epu8(a, zero), _mm_sad_epu8(b, zero)));
                __m128i wa = _mm_madd_epi16(_mm_maddubs_epi16(a, weights_hi), ones);
                __m128i wb = _mm_madd_epi16(_mm_maddubs_epi16(b, weights_lo), ones);
                v2 = _mm_add_epi32(v2, _mm_add_epi32(wa, wb));
            }
            s1 += sum_lanes(v1);
            s2 += sum_lanes(_mm_add_epi32(v2, _mm_slli_epi32(vprev, 5)));
        }
        for (size_t i = steps * 32; i < block; ++i) {
            s1 += *src++;
            s2 += s1;
        }
        s1 = zebAdlerReduce(s1);
        s2 = zebAdlerReduce(s2);
        len -= block;
    }
    return (s2 << 16) | s1;
}
