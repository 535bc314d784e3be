// ownsCopyBody_8u_avx2 and ownsCopyBodyNT_8u_avx2: the forward copy on 32-byte vectors.
//
// From 32 bytes on: one unaligned vector, then both pointers advance so that the destination is
// 32-byte aligned; 128 bytes per iteration, then single vectors, and the last 1..31 bytes as the
// unaligned vector that ends the copy (it rewrites bytes already copied, with the same values).
// Shorter copies use two overlapping pieces of 16, 8 or 4 bytes, or single bytes.
#include "core/zeb_common.h"

#include "core/core_internal.h"

#include <immintrin.h>

namespace {

// Copies 0..31 bytes.
ZEB_TARGET_AVX2 inline void copy_short(const Zeb8u* src, Zeb8u* dst, size_t len)
{
    if (len >= 16) {
        __m128i first = _mm_loadu_si128((const __m128i*)src);
        __m128i last = _mm_loadu_si128((const __m128i*)(src + len - 16));
        _mm_storeu_si128((__m128i*)dst, first);
        _mm_storeu_si128((__m128i*)(dst + len - 16), last);
    } else if (len >= 8) {
        uint64_t first = zeb_load64(src), last = zeb_load64(src + len - 8);
        zeb_store64(dst, first);
        zeb_store64(dst + len - 8, last);
    } else if (len >= 4) {
        uint32_t first = zeb_load32(src), last = zeb_load32(src + len - 4);
        zeb_store32(dst, first);
        zeb_store32(dst + len - 4, last);
    } else {
        for (size_t i = 0; i < len; ++i)
            dst[i] = src[i];
    }
}

template <bool kNonTemporal>
ZEB_TARGET_AVX2 inline void copy_forward(const Zeb8u* src, Zeb8u* dst, size_t len)
{
    if (len < 32) {
        copy_short(src, dst, len);
        return;
    }
    _mm256_storeu_si256((__m256i*)dst, _mm256_loadu_si256((const __m256i*)src));
    size_t skip = 32 - ((uintptr_t)dst & 31);
    src += skip;
    dst += skip;
    len -= skip;
    for (; len >= 128; len -= 128, src += 128, dst += 128) {
        __m256i a = _mm256_loadu_si256((const __m256i*)src);
        __m256i b = _mm256_loadu_si256((const __m256i*)(src + 32));
        __m256i c = _mm256_loadu_si256((const __m256i*)(src + 64));
        __m256i d = _mm256_loadu_si256((const __m256i*)(src + 96));
        store_aligned<kNonTemporal>(dst, a);
        store_aligned<kNonTemporal>(dst + 32, b);
        store_aligned<kNonTemporal>(dst + 64, c);
        store_aligned<kNonTemporal>(dst + 96, d);
    }
    for (; len >= 32; len -= 32, src += 32, dst += 32)
        store_aligned<kNonTemporal>(dst, _mm256_loadu_si256((const __m256i*)src));
    if (len > 0)
        _mm256_storeu_si256((__m256i*)(dst + len - 32),
                            _mm256_loadu_si256((const __m256i*)(src + len - 32)));
}

} // namespace

ZEB_TARGET_AVX2 void ownsCopyBody_8u_avx2(const Zeb8u* src, Zeb8u* dst, size_t len)
{
    copy_forward<false>(src, dst, len);
}

ZEB_TARGET_AVX2 void ownsCopyBodyNT_8u_avx2(const Zeb8u* src, Zeb8u* dst, size_t len)
{
    copy_forward<true>(src, dst, len);
}
