// ownsFillBody_8u_avx2 and ownsFillBodyNT_8u_avx2: the two-byte pattern fill on 32-byte vectors.
//
// The pattern repeats every two bytes, so a piece stored at an even offset from the start holds
// it as given and a piece at an odd offset holds its two bytes swapped. From 32 bytes on: one
// unaligned vector at the start, aligned vectors (128 bytes per iteration) from the first 32-byte
// boundary, and the unaligned vector that ends the fill. Shorter fills use two overlapping pieces
// of 16, 8 or 4 bytes, or single bytes. The destination is never read.
#include "core/zeb_common.h"

#include "core/core_internal.h"

#include <immintrin.h>

namespace {

// The pattern as it appears at an even and at an odd offset from the start of the fill.
struct FillPhases {
    Zeb16u even, odd;
};

ZEB_TARGET_AVX2 inline void fill_short(Zeb8u* dst, size_t len, FillPhases phases)
{
    Zeb16u last = (len & 1) ? phases.odd : phases.even;
    if (len >= 16) {
        _mm_storeu_si128((__m128i*)dst, _mm_set1_epi16((short)phases.even));
        _mm_storeu_si128((__m128i*)(dst + len - 16), _mm_set1_epi16((short)last));
    } else if (len >= 8) {
        zeb_store64(dst, phases.even * 0x0001000100010001ull);
        zeb_store64(dst + len - 8, last * 0x0001000100010001ull);
    } else if (len >= 4) {
        zeb_store32(dst, phases.even * 0x00010001u);
        zeb_store32(dst + len - 4, last * 0x00010001u);
    } else {
        for (size_t i = 0; i < len; ++i)
            dst[i] = (Zeb8u)(phases.even >> (8 * (i & 1)));
    }
}

template <bool kNonTemporal>
ZEB_TARGET_AVX2 inline void fill_pattern(Zeb8u* dst, size_t len, Zeb16u pattern)
{
    FillPhases phases = {pattern, (Zeb16u)((pattern >> 8) | (pattern << 8))};
    if (len < 32) {
        fill_short(dst, len, phases);
        return;
    }
    __m256i even = _mm256_set1_epi16((short)phases.even);
    __m256i odd = _mm256_set1_epi16((short)phases.odd);
    _mm256_storeu_si256((__m256i*)dst, even);
    size_t skip = 32 - ((uintptr_t)dst & 31);
    __m256i v = (skip & 1) ? odd : even;
    Zeb8u* p = dst + skip;
    size_t left = len - skip;
    for (; left >= 128; left -= 128, p += 128) {
        store_aligned<kNonTemporal>(p, v);
        store_aligned<kNonTemporal>(p + 32, v);
        store_aligned<kNonTemporal>(p + 64, v);
        store_aligned<kNonTemporal>(p + 96, v);
    }
    for (; left >= 32; left -= 32, p += 32)
        store_aligned<kNonTemporal>(p, v);
    if (left > 0) // at offset len - 32 from the start
        _mm256_storeu_si256((__m256i*)(dst + len - 32), (len & 1) ? odd : even);
}

} // namespace

ZEB_TARGET_AVX2 void ownsFillBody_8u_avx2(Zeb8u* dst, size_t len, Zeb16u pattern)
{
    fill_pattern<false>(dst, len, pattern);
}

ZEB_TARGET_AVX2 void ownsFillBodyNT_8u_avx2(Zeb8u* dst, size_t len, Zeb16u pattern)
{
    fill_pattern<true>(dst, len, pattern);
}
