// zebsCopy_8u and zebsMove_8u.
//
// Copies below 8192 bytes use cached stores (ownsCopy_8u). From 8192 on the destination is not
// worth keeping in cache: ownsCopy_8u_A6 writes it with non-temporal stores, and from 16384 on
// ownsPrefetchCopy_8u_A6 also prefetches each 4096-byte page of the source before copying it.
// Every copy runs strictly forward; each streaming copy ends with a store fence so that its
// stores are visible when the function returns. The copy bodies (SSE2 here, AVX2 in
// vector_copy_avx2.cpp) come from the dispatch point.
#include "core/zeb_common.h"

#include "core/core_internal.h"
#include "core/dispatch.h"

#include <emmintrin.h>

namespace {

enum {
    kStreamingCopyMin = 8192,
    kPrefetchCopyMin = 16384,
    kPrefetchChunkMin = 20480,
    kPageSize = 4096,
};

// Copies the last 0..15 bytes in pieces of 8, 4, 2 and 1.
inline void copy_tail(const Zeb8u*& src, Zeb8u*& dst, size_t len)
{
    if (len & 8) { zeb_store64(dst, zeb_load64(src)); src += 8; dst += 8; }
    if (len & 4) { zeb_store32(dst, zeb_load32(src)); src += 4; dst += 4; }
    if (len & 2) { memcpy(dst, src, 2); src += 2; dst += 2; }
    if (len & 1) { *dst++ = *src++; }
}

// One copy body, instantiated with cached or non-temporal stores to the aligned destination.
// For 64 bytes or more: one unaligned 16-byte piece, then advance both pointers so that the
// destination is 16-byte aligned; 64 bytes per iteration; then 16-byte pieces and the tail.
template <bool kStreaming>
inline void copy_forward(const Zeb8u* src, Zeb8u* dst, size_t len)
{
    if (len >= 64) {
        _mm_storeu_si128((__m128i*)dst, _mm_loadu_si128((const __m128i*)src));
        size_t skip = 16 - ((uintptr_t)dst & 15);
        src += skip;
        dst += skip;
        len -= skip;
        for (; len >= 64; len -= 64, src += 64, dst += 64) {
            __m128i a = _mm_loadu_si128((const __m128i*)src);
            __m128i b = _mm_loadu_si128((const __m128i*)(src + 16));
            __m128i c = _mm_loadu_si128((const __m128i*)(src + 32));
            __m128i d = _mm_loadu_si128((const __m128i*)(src + 48));
            if (kStreaming) {
                _mm_stream_si128((__m128i*)dst, a);
                _mm_stream_si128((__m128i*)(dst + 16), b);
                _mm_stream_si128((__m128i*)(dst + 32), c);
                _mm_stream_si128((__m128i*)(dst + 48), d);
            } else {
                _mm_store_si128((__m128i*)dst, a);
                _mm_store_si128((__m128i*)(dst + 16), b);
                _mm_store_si128((__m128i*)(dst + 32), c);
                _mm_store_si128((__m128i*)(dst + 48), d);
            }
        }
    }
    for (; len >= 16; len -= 16, src += 16, dst += 16)
        _mm_storeu_si128((__m128i*)dst, _mm_loadu_si128((const __m128i*)src));
    copy_tail(src, dst, len);
}

} // namespace

void ownsCopyBody_8u_sse2(const Zeb8u* src, Zeb8u* dst, size_t len)
{
    copy_forward<false>(src, dst, len);
}

void ownsCopyBodyNT_8u_sse2(const Zeb8u* src, Zeb8u* dst, size_t len)
{
    copy_forward<true>(src, dst, len);
}

namespace {

void ownsCopy_8u(const Zeb8u* src, Zeb8u* dst, size_t len)
{
    zebKernelCopy(src, dst, len);
}

void ownsCopy_8u_A6(const Zeb8u* src, Zeb8u* dst, size_t len)
{
    zebKernelCopyNT(src, dst, len);
    _mm_sfence();
}

void ownsPrefetchnta_A6(const Zeb8u* page)
{
    for (int offset = 0; offset < kPageSize; offset += 32)
        _mm_prefetch((const char*)(page + offset), _MM_HINT_NTA);
}

void ownsPrefetchCopy_8u_A6(const Zeb8u* src, Zeb8u* dst, size_t len)
{
    while (len > 0 && ((uintptr_t)dst & 7) != 0) {
        *dst++ = *src++;
        --len;
    }
    if (len < kPrefetchChunkMin) {
        ownsCopy_8u_A6(src, dst, len);
        return;
    }
    size_t lead = (kPageSize - ((uintptr_t)src & 0xFF8)) & 0xFFF;
    zebKernelCopyNT(src, dst, lead);
    src += lead;
    dst += lead;
    len -= lead;
    for (; len >= kPageSize; len -= kPageSize, src += kPageSize, dst += kPageSize) {
        ownsPrefetchnta_A6(src);
        zebKernelCopyNT(src, dst, kPageSize);
    }
    zebKernelCopyNT(src, dst, len);
    _mm_sfence();
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsCopy_8u(const Zeb8u* pSrc, Zeb8u* pDst, int len)
{
    ZEB_CHECK(pSrc != nullptr && pDst != nullptr, zebStsNullPtr);
    ZEB_CHECK(len >= 1, zebStsBadSize);
    if (len < kStreamingCopyMin)
        ownsCopy_8u(pSrc, pDst, (size_t)len);
    else if (len < kPrefetchCopyMin)
        ownsCopy_8u_A6(pSrc, pDst, (size_t)len);
    else
        ownsPrefetchCopy_8u_A6(pSrc, pDst, (size_t)len);
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsMove_8u(const Zeb8u* pSrc, Zeb8u* pDst, int len)
{
    ZEB_CHECK(pSrc != nullptr && pDst != nullptr, zebStsNullPtr);
    ZEB_CHECK(len >= 1, zebStsBadSize);
    memmove(pDst, pSrc, (size_t)len);
    return zebStsOk;
}
