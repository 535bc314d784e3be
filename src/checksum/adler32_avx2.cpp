// ownsAdler32_8u_avx2: Adler-32 with AVX2, 64 bytes per step.
//
// As the SSSE3 kernel, on 256-bit vectors: over 64 bytes entered with sums s1, s2, s1 grows by
// the sum of the bytes (vpsadbw) and s2 by 64 * s1 plus sum (64 - i) * b[i] (vpmaddubsw with the
// weights 64..1 over two vectors, then vpmaddwd). The blocks are the portable kernel's 5552
// bytes, reduced after each; the bytes of a block beyond its last whole step go singly.
#include "core/zeb_common.h"

#include "checksum/checksum_internal.h"

#include <immintrin.h>

namespace {

ZEB_TARGET_AVX2 inline Zeb32u sum_lanes(__m256i v)
{
    __m128i x = _mm_add_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
    x = _mm_add_epi32(x, _mm_shuffle_epi32(x, 0x4E));
    x = _mm_add_epi32(x, _mm_shuffle_epi32(x, 0xB1));
    return (Zeb32u)_mm_cvtsi128_si32(x);
}

} // namespace

ZEB_TARGET_AVX2 Zeb32u ownsAdler32_8u_avx2(const Zeb8u* src, size_t len, Zeb32u adler)
{
    const __m256i zero = _mm256_setzero_si256();
    const __m256i ones = _mm256_set1_epi16(1);
    const __m256i weights_hi = _mm256_setr_epi8(64, 63, 62, 61, 60, 59, 58, 57, 56, 55, 54, 53, 52,
                                                51, 50, 49, 48, 47, 46, 45, 44, 43, 42, 41, 40, 39,
                                                38, 37, 36, 35, 34, 33);
    const __m256i weights_lo = _mm256_setr_epi8(32, 31, 30, 29, 28, 27, 26, 25, 24, 23, 22, 21, 20,
                                                19, 18, 17, 16, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6,
                                                5, 4, 3, 2, 1);
    Zeb32u s1 = adler & 0xFFFF, s2 = adler >> 16;
    while (len > 0) {
        size_t block = len < kAdlerBlock ? len : kAdlerBlock;
        size_t steps = block / 64;
        if (steps > 0) {
            s2 += s1 * (Zeb32u)(steps * 64);
            __m256i v1 = zero, vprev = zero, v2a = zero, v2b = zero;
            for (size_t i = 0; i < steps; ++i, src += 64) {
                __m256i a = _mm256_loadu_si256((const __m256i*)(const void*)src);
                __m256i b = _mm256_loadu_si256((const __m256i*)(const void*)(src + 32));
                vprev = _mm256_add_epi32(vprev, v1);
                v1 = _mm256_add_epi32(
                    v1, _mm256_add_epi32(_mm256_sad_epu8(a, zero), _mm256_sad_epu8(b, zero)));
                __m256i weighted_a = _mm256_madd_epi16(_mm256_maddubs_epi16(a, weights_hi), ones);
                __m256i weighted_b = _mm256_madd_epi16(_mm256_maddubs_epi16(b, weights_lo), ones);
                v2a = _mm256_add_epi32(v2a, weighted_a);
                v2b = _mm256_add_epi32(v2b, weighted_b);
            }
            __m256i v2 = _mm256_add_epi32(v2a, v2b);
            s1 += sum_lanes(v1);
            s2 += sum_lanes(_mm256_add_epi32(v2, _mm256_slli_epi32(vprev, 6)));
        }
        for (size_t i = steps * 64; i < block; ++i) {
            s1 += *src++;
            s2 += s1;
        }
        s1 = zebAdlerReduce(s1);
        s2 = zebAdlerReduce(s2);
        len -= block;
    }
    return (s2 << 16) | s1;
}
