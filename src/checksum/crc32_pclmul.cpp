// ownsCRC32_8u_pclmul: the reflected CRC-32 of zlib and gzip by carry-less multiplication.
//
// Folding, as in Intel's "Fast CRC Computation Using PCLMULQDQ": four 128-bit accumulators
// take 64 bytes per step; each is multiplied forward by 512 bits (its two 64-bit halves by
// x^(512+32) and x^(512-32) mod P, bit-reflected) and the next 64 bytes are XORed in. The four
// are then folded into one by 128-bit steps, further 16-byte blocks likewise, and the 128 bits
// left are reduced to 64, then to the 32-bit CRC by Barrett reduction. In the reflected domain
// the lowest bit is the highest power of x, so the products come out shifted by one bit; the
// constants carry the compensating factor x.
//
// Inputs under 64 bytes and the last 0..15 bytes go to the portable kernel. The tail, from
// four accumulators on, is shared with the VPCLMULQDQ kernel.
#include "core/zeb_common.h"

#include "checksum/checksum_internal.h"

#include <immintrin.h>

namespace {

alignas(16) const uint64_t kFold512[2] = {0x154442bd4ull, 0x1c6e41596ull};
alignas(16) const uint64_t kFold128[2] = {0x1751997d0ull, 0x0ccaa009eull};
alignas(16) const uint64_t kFold64[2] = {0x163cd6124ull, 0};
// P (0x1DB710641: 0xEDB88320 with the x^32 term, shifted) and mu = x^64 / P, both reflected.
alignas(16) const uint64_t kBarrett[2] = {0x1db710641ull, 0x1f7011641ull};

ZEB_TARGET_PCLMUL inline __m128i fold(__m128i acc, __m128i k, __m128i next)
{
    __m128i lo = _mm_clmulepi64_si128(acc, k, 0x00);
    __m128i hi = _mm_clmulepi64_si128(acc, k, 0x11);
    return _mm_xor_si128(_mm_xor_si128(lo, hi), next);
}

} // namespace

ZEB_TARGET_PCLMUL Zeb32u ownsCRC32_8u_pclmul(const Zeb8u* src, size_t len, Zeb32u crc)
{
    if (len < 64)
        return ownsCRC32_8u(src, len, crc);

    const __m128i* p = (const __m128i*)(const void*)src;
    __m128i x0 = _mm_xor_si128(_mm_loadu_si128(p), _mm_cvtsi32_si128((int)~crc));
    __m128i x1 = _mm_loadu_si128(p + 1);
    __m128i x2 = _mm_loadu_si128(p + 2);
    __m128i x3 = _mm_loadu_si128(p + 3);
    p += 4;
    len -= 64;

    __m128i k = _mm_load_si128((const __m128i*)(const void*)kFold512);
    for (; len >= 64; len -= 64, p += 4) {
        x0 = fold(x0, k, _mm_loadu_si128(p));
        x1 = fold(x1, k, _mm_loadu_si128(p + 1));
        x2 = fold(x2, k, _mm_loadu_si128(p + 2));
        x3 = fold(x3, k, _mm_loadu_si128(p + 3));
    }

    return ownsCRC32_8u_pclmul_tail(x0, x1, x2, x3, (const Zeb8u*)p, len);
}

ZEB_TARGET_PCLMUL Zeb32u ownsCRC32_8u_pclmul_tail(__m128i x0, __m128i x1, __m128i x2, __m128i x3,
                                                  const Zeb8u* src, size_t len)
{
    const __m128i* p = (const __m128i*)(const void*)src;
    __m128i k = _mm_load_si128((const __m128i*)(const void*)kFold128);
    x0 = fold(x0, k, x1);
    x0 = fold(x0, k, x2);
    x0 = fold(x0, k, x3);
    for (; len >= 16; len -= 16, ++p)
        x0 = fold(x0, k, _mm_loadu_si128(p));

    // 128 -> 96 bits: the low half times x^64 (reflected) into the high half.
    const __m128i low32 = _mm_setr_epi32(-1, 0, -1, 0);
    x0 = _mm_xor_si128(_mm_clmulepi64_si128(x0, k, 0x10), _mm_srli_si128(x0, 8));
    // 96 -> 64 bits.
    k = _mm_loadl_epi64((const __m128i*)(const void*)kFold64);
    x0 = _mm_xor_si128(_mm_clmulepi64_si128(_mm_and_si128(x0, low32), k, 0x00),
                       _mm_srli_si128(x0, 4));
    // Barrett: q = (low 32 bits * mu) low 32 bits; crc = (x0 ^ q * P) bits 32..63.
    k = _mm_load_si128((const __m128i*)(const void*)kBarrett);
    __m128i q = _mm_clmulepi64_si128(_mm_and_si128(x0, low32), k, 0x10);
    q = _mm_clmulepi64_si128(_mm_and_si128(q, low32), k, 0x00);
    Zeb32u c = (Zeb32u)_mm_extract_epi32(_mm_xor_si128(x0, q), 1);

    return ownsCRC32_8u((const Zeb8u*)p, len, ~c);
}
