// Kernels shared inside the core family: the bodies of the bulk copy and fill, with an SSE2
// baseline and AVX2 variants that core/dispatch.cpp picks from.
#ifndef ZEB_CORE_INTERNAL_H
#define ZEB_CORE_INTERNAL_H

#include "core/zeb_common.h"

#include <immintrin.h>
#include <stddef.h>

// Copies len bytes forward from src to dst (not overlapping) with cached stores.
void ownsCopyBody_8u_sse2(const Zeb8u* src, Zeb8u* dst, size_t len);
void ownsCopyBody_8u_avx2(const Zeb8u* src, Zeb8u* dst, size_t len);

// As above, with non-temporal stores to the aligned part of dst. No store fence: the caller
// issues one after its last streaming body.
void ownsCopyBodyNT_8u_sse2(const Zeb8u* src, Zeb8u* dst, size_t len);
void ownsCopyBodyNT_8u_avx2(const Zeb8u* src, Zeb8u* dst, size_t len);

// Fills len bytes at dst with the two bytes of pattern, low byte first, repeated; cached stores.
void ownsFillBody_8u_sse2(Zeb8u* dst, size_t len, Zeb16u pattern);
void ownsFillBody_8u_avx2(Zeb8u* dst, size_t len, Zeb16u pattern);

// As above, with non-temporal stores to the aligned part of dst and no store fence.
void ownsFillBodyNT_8u_sse2(Zeb8u* dst, size_t len, Zeb16u pattern);
void ownsFillBodyNT_8u_avx2(Zeb8u* dst, size_t len, Zeb16u pattern);

// One aligned 32-byte store, cached or non-temporal, for the AVX2 bodies.
template <bool kNonTemporal>
ZEB_TARGET_AVX2 inline void store_aligned(Zeb8u* dst, __m256i v)
{
    if (kNonTemporal)
        _mm256_stream_si256((__m256i*)dst, v);
    else
        _mm256_store_si256((__m256i*)dst, v);
}

#endif
