// ownsCRC32BZ2_8u_pclmul: the bzip2 CRC-32 (unreflected, polynomial 0x04C11DB7) by carry-less
// multiplication.
//
// The register runs most significant bit first, so each 16-byte block is loaded byte-reversed:
// its first byte becomes the highest 8 coefficients of a 128-bit polynomial. Folding a block
// forward by d bits multiplies its high half by x^(d+64) mod P and its low half by x^d mod P
// (products of at most 95 bits); four accumulators take 64 bytes per step (d = 512), then fold
// into one (d = 128). The CRC is R * x^32 mod P of the 128 bits R left: the high half times
// x^96 mod P joined to the low half shifted by 32 is reduced to 64 bits with x^64 mod P, then
// to 32 by Barrett reduction with mu = x^64 / P. The constants are computed at compile time.
//
// Inputs under 64 bytes and the last 0..15 bytes go to the portable kernel. The tail, from
// four accumulators on, is shared with the VPCLMULQDQ kernel.
#include "core/zeb_common.h"

#include "checksum/checksum_internal.h"

#include <immintrin.h>

namespace {

constexpr uint64_t kPoly = 0x104C11DB7ull;

// x^n mod P.
constexpr uint64_t xpow_mod(int n)
{
    uint64_t r = 1;
    for (int i = 0; i < n; ++i) {
        r <<= 1;
        if (r & (1ull << 32))
            r ^= kPoly;
    }
    return r;
}

// The quotient x^64 / P (33 bits), by long division over the bits of x^64.
constexpr uint64_t barrett_mu()
{
    uint64_t rem = 0, q = 0;
    for (int i = 64; i >= 0; --i) {
        rem = (rem << 1) | (i == 64 ? 1u : 0u);
        if (rem & (1ull << 32)) {
            rem ^= kPoly;
            q |= 1ull << i; // rem bit 32 is the coefficient of x^(i + 32)
        }
    }
    return q;
}

static_assert(xpow_mod(32) == 0x04C11DB7ull, "x^32 mod P is P without its top term");
static_assert(barrett_mu() == 0x104D101DFull, "x^64 / P");

alignas(16) const uint64_t kFold512[2] = {xpow_mod(512), xpow_mod(576)};
alignas(16) const uint64_t kFold128[2] = {xpow_mod(128), xpow_mod(192)};
alignas(16) const uint64_t kReduce[2] = {xpow_mod(64), xpow_mod(96)};
alignas(16) const uint64_t kBarrett[2] = {kPoly, barrett_mu()};

ZEB_TARGET_PCLMUL inline __m128i load_reversed(const __m128i* p)
{
    const __m128i reverse = _mm_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
    return _mm_shuffle_epi8(_mm_loadu_si128(p), reverse);
}

ZEB_TARGET_PCLMUL inline __m128i fold(__m128i acc, __m128i k, __m128i next)
{
    __m128i lo = _mm_clmulepi64_si128(acc, k, 0x00);
    __m128i hi = _mm_clmulepi64_si128(acc, k, 0x11);
    return _mm_xor_si128(_mm_xor_si128(lo, hi), next);
}

} // namespace

ZEB_TARGET_PCLMUL Zeb32u ownsCRC32BZ2_8u_pclmul(const Zeb8u* src, size_t len, Zeb32u crc)
{
    if (len < 64)
        return ownsCRC32BZ2_8u(src, len, crc);

    const __m128i* p = (const __m128i*)(const void*)src;
    __m128i x0 = _mm_xor_si128(load_reversed(p), _mm_setr_epi32(0, 0, 0, (int)~crc));
    __m128i x1 = load_reversed(p + 1);
    __m128i x2 = load_reversed(p + 2);
    __m128i x3 = load_reversed(p + 3);
    p += 4;
    len -= 64;

    __m128i k = _mm_load_si128((const __m128i*)(const void*)kFold512);
    for (; len >= 64; len -= 64, p += 4) {
        x0 = fold(x0, k, load_reversed(p));
        x1 = fold(x1, k, load_reversed(p + 1));
        x2 = fold(x2, k, load_reversed(p + 2));
        x3 = fold(x3, k, load_reversed(p + 3));
    }

    return ownsCRC32BZ2_8u_pclmul_tail(x0, x1, x2, x3, (const Zeb8u*)p, len);
}

ZEB_TARGET_PCLMUL Zeb32u ownsCRC32BZ2_8u_pclmul_tail(__m128i x0, __m128i x1, __m128i x2,
                                                     __m128i x3, const Zeb8u* src, size_t len)
{
    const __m128i* p = (const __m128i*)(const void*)src;
    __m128i k = _mm_load_si128((const __m128i*)(const void*)kFold128);
    x0 = fold(x0, k, x1);
    x0 = fold(x0, k, x2);
    x0 = fold(x0, k, x3);
    for (; len >= 16; len -= 16, ++p)
        x0 = fold(x0, k, load_reversed(p));

    // R * x^32 = high * x^96 + low * x^32: at most 96 bits.
    k = _mm_load_si128((const __m128i*)(const void*)kReduce);
    __m128i s = _mm_xor_si128(_mm_clmulepi64_si128(x0, k, 0x11),
                              _mm_slli_si128(_mm_move_epi64(x0), 4));
    // Bits 64..95 times x^64 mod P joined to bits 0..63: 64 bits.
    __m128i v = _mm_xor_si128(_mm_clmulepi64_si128(_mm_srli_si128(s, 8), k, 0x00),
                              _mm_move_epi64(s));
    // Barrett: q = ((v >> 32) * mu) >> 32, remainder = (v ^ q * P) mod x^32.
    k = _mm_load_si128((const __m128i*)(const void*)kBarrett);
    __m128i q = _mm_clmulepi64_si128(_mm_srli_epi64(v, 32), k, 0x10);
    q = _mm_clmulepi64_si128(_mm_srli_epi64(q, 32), k, 0x00);
    Zeb32u c = (Zeb32u)_mm_cvtsi128_si32(_mm_xor_si128(v, q));

    return ownsCRC32BZ2_8u((const Zeb8u*)p, len, ~c);
}
