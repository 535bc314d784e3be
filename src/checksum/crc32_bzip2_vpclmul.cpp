// ownsCRC32BZ2_8u_vpclmul: the bzip2 CRC-32 with VPCLMULQDQ on 512-bit vectors (AVX-512).
//
// The folding of the PCLMULQDQ kernel (byte-reversed 16-byte lanes, most significant bit first),
// four lanes per vector: four vectors take 256 bytes per step, each folded forward by 2048 bits
// (x^(2048+64) and x^2048 mod P); they are folded into one vector by 512-bit steps, which also
// take the remaining whole 64-byte groups. Its four lanes are then the four accumulators of the
// PCLMULQDQ kernel, which finishes. Inputs under 256 bytes go to that kernel.
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

constexpr uint64_t kFold2048[2] = {xpow_mod(2048), xpow_mod(2048 + 64)};
constexpr uint64_t kFold512[2] = {xpow_mod(512), xpow_mod(512 + 64)};

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

ZEB_TARGET_VPCLMUL inline __m512i load_reversed(const Zeb8u* p)
{
    const __m512i reverse = _mm512_set4_epi64(0x0001020304050607ll, 0x08090A0B0C0D0E0Fll,
                                              0x0001020304050607ll, 0x08090A0B0C0D0E0Fll);
    return _mm512_shuffle_epi8(_mm512_loadu_si512(p), reverse);
}

} // namespace

ZEB_TARGET_VPCLMUL Zeb32u ownsCRC32BZ2_8u_vpclmul(const Zeb8u* src, size_t len, Zeb32u crc)
{
    if (len < 256)
        return ownsCRC32BZ2_8u_pclmul(src, len, crc);

    __m512i z0 = _mm512_xor_si512(load_reversed(src),
                                  _mm512_zextsi128_si512(_mm_setr_epi32(0, 0, 0, (int)~crc)));
    __m512i z1 = load_reversed(src + 64);
    __m512i z2 = load_reversed(src + 128);
    __m512i z3 = load_reversed(src + 192);
    src += 256;
    len -= 256;

    __m512i k = lanes(kFold2048);
    for (; len >= 256; len -= 256, src += 256) {
        z0 = fold(z0, k, load_reversed(src));
        z1 = fold(z1, k, load_reversed(src + 64));
        z2 = fold(z2, k, load_reversed(src + 128));
        z3 = fold(z3, k, load_reversed(src + 192));
    }

    k = lanes(kFold512);
    z0 = fold(z0, k, z1);
    z0 = fold(z0, k, z2);
    z0 = fold(z0, k, z3);
    for (; len >= 64; len -= 64, src += 64)
        z0 = fold(z0, k, load_reversed(src));

    // The four lanes, in memory order, are the accumulators of the 128-bit kernel.
    alignas(64) __m128i lane[4];
    _mm512_store_si512(lane, z0);
    return ownsCRC32BZ2_8u_pclmul_tail(lane[0], lane[1], lane[2], lane[3], src, len);
}
