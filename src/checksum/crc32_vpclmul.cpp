// ownsCRC32_8u_vpclmul: the reflected CRC-32 of zlib and gzip with VPCLMULQDQ on 512-bit
// vectors (AVX-512).
//
// The folding of the PCLMULQDQ kernel, four 128-bit lanes per vector: four vectors take 256
// bytes per step, each folded forward by 2048 bits; they are folded into one vector by 512-bit
// steps, which also take the remaining whole 64-byte groups. Its four lanes are then the four
// accumulators of the PCLMULQDQ kernel, which finishes. Inputs under 256 bytes go to that kernel.
//
// The constants: folding by d bits multiplies the low half of a lane by x^(d+32) mod P and the
// high half by x^(d-32) mod P, bit-reflected and shifted left by one.
#include "core/zeb_common.h"

#include "checksum/checksum_internal.h"

#include <immintrin.h>

namespace {

constexpr uint64_t kPoly = 0x104C11DB7ull;

// (x^n mod P) with its 32 bits reversed, times x.
constexpr uint64_t reflected_xpow(int n)
{
    uint64_t r = 1;
    for (int i = 0; i < n; ++i) {
        r <<= 1;
        if (r & (1ull << 32))
            r ^= kPoly;
    }
    uint64_t reversed = 0;
    for (int bit = 0; bit < 32; ++bit)
        if (r & (1ull << bit))
            reversed |= 1ull << (31 - bit);
    return reversed << 1;
}

static_assert(reflected_xpow(544) == 0x154442bd4ull && reflected_xpow(480) == 0x1c6e41596ull,
              "the 512-bit folding constants of the PCLMULQDQ kernel");

constexpr uint64_t kFold2048[2] = {reflected_xpow(2048 + 32), reflected_xpow(2048 - 32)};
constexpr uint64_t kFold512[2] = {reflected_xpow(512 + 32), reflected_xpow(512 - 32)};

// The constant pair {low, high} in every 128-bit lane.
ZEB_TARGET_VPCLMUL inline __m512i lanes(const uint64_t (&k)[2])
{
    return _mm512_set4_epi64((long long)k[1], (long long)k[0], (long long)k[1], (long long)k[0]);
}

ZEB_TARGET_VPCLMUL inline __m512i fold(__m512i acc, __m512i k, __m512i next)
{
    __m512i lo = _mm512_clmulepi64_epi128(acc, k, 0x00);
    __m512i hi = _mm512_clmulepi64_epi128(acc, k, 0x11);
    return _mm512_ternarylogic_epi64(lo, hi, next, 0x96);
}

ZEB_TARGET_VPCLMUL inline __m512i load(const Zeb8u* p) { return _mm512_loadu_si512(p); }

} // namespace

ZEB_TARGET_VPCLMUL Zeb32u ownsCRC32_8u_vpclmul(const Zeb8u* src, size_t len, Zeb32u crc)
{
    if (len < 256)
        return ownsCRC32_8u_pclmul(src, len, crc);

    __m512i z0 = _mm512_xor_si512(load(src), _mm512_zextsi128_si512(_mm_cvtsi32_si128((int)~crc)));
    __m512i z1 = load(src + 64);
    __m512i z2 = load(src + 128);
    __m512i z3 = load(src + 192);
    src += 256;
    len -= 256;

    __m512i k = lanes(kFold2048);
    for (; len >= 256; len -= 256, src += 256) {
        z0 = fold(z0, k, load(src));
        z1 = fold(z1, k, load(src + 64));
        z2 = fold(z2, k, load(src + 128));
        z3 = fold(z3, k, load(src + 192));
    }

    k = lanes(kFold512);
    z0 = fold(z0, k, z1);
    z0 = fold(z0, k, z2);
    z0 = fold(z0, k, z3);
    for (; len >= 64; len -= 64, src += 64)
        z0 = fold(z0, k, load(src));

    // The four lanes, in memory order, are the accumulators of the 128-bit kernel.
    alignas(64) __m128i lane[4];
    _mm512_store_si512(lane, z0);
    return ownsCRC32_8u_pclmul_tail(lane[0], lane[1], lane[2], lane[3], src, len);
}
