// zebsSet_8u, zebsSet_16s and zebsZero_8u.
//
// One fill kernel writes a repeating two-byte pattern: the byte fills use the same byte twice.
// Below the thresholds (20480 bytes; 10240 elements for 16-bit values) the stores are cached;
// from there on the destination bypasses the cache with non-temporal stores and a store fence.
// The destination is never read. The fill bodies (SSE2 here, AVX2 in vector_set_avx2.cpp) come
// from the dispatch point.
#include "core/zeb_common.h"

#include "core/core_internal.h"
#include "core/dispatch.h"

#include <emmintrin.h>

namespace {

enum {
    kStreamingSetMin = 20480,
    kStreamingSet16Min = 10240,
};

// Fills len bytes with the low byte of pattern, its high byte, the low byte, ... from dst.
template <bool kStreaming>
void fill_pattern(Zeb8u* dst, size_t len, Zeb16u pattern)
{
    const Zeb8u bytes[2] = {(Zeb8u)pattern, (Zeb8u)(pattern >> 8)};
    size_t head = (16 - ((uintptr_t)dst & 15)) & 15;
    if (head > len)
        head = len;
    for (size_t i = 0; i < head; ++i)
        dst[i] = bytes[i & 1];
    // The aligned part starts at offset head: its byte k holds bytes[(head + k) & 1].
    Zeb8u first = bytes[head & 1], second = bytes[(head + 1) & 1];
    __m128i v = _mm_set1_epi16((short)(first | (second << 8)));
    Zeb8u* p = dst + head;
    size_t left = len - head;
    for (; left >= 64; left -= 64, p += 64) {
        if (kStreaming) {
            _mm_stream_si128((__m128i*)p, v);
            _mm_stream_si128((__m128i*)(p + 16), v);
            _mm_stream_si128((__m128i*)(p + 32), v);
            _mm_stream_si128((__m128i*)(p + 48), v);
        } else {
            _mm_store_si128((__m128i*)p, v);
            _mm_store_si128((__m128i*)(p + 16), v);
            _mm_store_si128((__m128i*)(p + 32), v);
            _mm_store_si128((__m128i*)(p + 48), v);
        }
    }
    for (; left >= 16; left -= 16, p += 16)
        _mm_store_si128((__m128i*)p, v);
    for (size_t i = 0; i < left; ++i)
        p[i] = (i & 1) ? second : first;
}

Zeb16u byte_pattern(Zeb8u val)
{
    return (Zeb16u)(val | (val << 8));
}

} // namespace

void ownsFillBody_8u_sse2(Zeb8u* dst, size_t len, Zeb16u pattern)
{
    fill_pattern<false>(dst, len, pattern);
}

void ownsFillBodyNT_8u_sse2(Zeb8u* dst, size_t len, Zeb16u pattern)
{
    fill_pattern<true>(dst, len, pattern);
}

namespace {

void ownsSet_8u(Zeb8u val, Zeb8u* dst, size_t len)
{
    zebKernelFill(dst, len, byte_pattern(val));
}

void ownsSet_8u_A6(Zeb8u val, Zeb8u* dst, size_t len)
{
    zebKernelFillNT(dst, len, byte_pattern(val));
    _mm_sfence();
}

void ownsSet_16u(Zeb16u val, Zeb8u* dst, size_t count)
{
    zebKernelFill(dst, count * 2, val);
}

void ownsSet_16u_A6(Zeb16u val, Zeb8u* dst, size_t count)
{
    zebKernelFillNT(dst, count * 2, val);
    _mm_sfence();
}

void ownsZero_8u(Zeb8u* dst, size_t len) { ownsSet_8u(0, dst, len); }

void ownsZero_8u_A6(Zeb8u* dst, size_t len) { ownsSet_8u_A6(0, dst, len); }

} // namespace

extern "C" ZEBAPI ZebStatus zebsSet_8u(Zeb8u val, Zeb8u* pDst, int len)
{
    ZEB_CHECK(pDst != nullptr, zebStsNullPtr);
    ZEB_CHECK(len >= 1, zebStsBadSize);
    if (len < kStreamingSetMin)
        ownsSet_8u(val, pDst, (size_t)len);
    else
        ownsSet_8u_A6(val, pDst, (size_t)len);
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsZero_8u(Zeb8u* pDst, int len)
{
    ZEB_CHECK(pDst != nullptr, zebStsNullPtr);
    ZEB_CHECK(len >= 1, zebStsBadSize);
    if (len < kStreamingSetMin)
        ownsZero_8u(pDst, (size_t)len);
    else
        ownsZero_8u_A6(pDst, (size_t)len);
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsSet_16s(Zeb16s val, Zeb16s* pDst, int len)
{
    ZEB_CHECK(pDst != nullptr, zebStsNullPtr);
    ZEB_CHECK(len >= 1, zebStsBadSize);
    if (len < kStreamingSet16Min)
        ownsSet_16u((Zeb16u)val, (Zeb8u*)pDst, (size_t)len);
    else
        ownsSet_16u_A6((Zeb16u)val, (Zeb8u*)pDst, (size_t)len);
    return zebStsOk;
}
