// Inverse Burrows-Wheeler transform (bzip2 convention: last column and primary index in, block
// out), with 32-bit counters and transformation vector in the caller's scratch.
//
// The walk over the vector is one dependent load per output byte, a cache miss on large blocks.
// Blocks below 2^24 bytes keep the byte of each step in the low 8 bits of its vector entry (the
// position above it), so that each step touches one entry instead of an entry and a source byte.
#include "core/zeb_common.h"

namespace
{

enum { kPackedLimit = 1 << 24 }; // positions that fit above the byte in a 32-bit entry

// Counts the bytes of src and turns the counts into the start of each byte's bucket.
void bucket_starts(const Zeb8u* src, int len, Zeb32u* start)
{
    memset(start, 0, 256 * sizeof start[0]);
    for (int i = 0; i < len; ++i)
        ++start[src[i]];
    Zeb32u sum = 0;
    for (int v = 0; v < 256; ++v) {
        Zeb32u n = start[v];
        start[v] = sum;
        sum += n;
    }
}

// Entry j of the vector: the position p it leads to, shifted up by 8, with src[p] below it.
void walk_packed(const Zeb8u* src, Zeb8u* dst, int len, int index, Zeb32u* start, Zeb8u* vector)
{
    for (int i = 0; i < len; ++i)
        zeb_store32(vector + 4 * (size_t)start[src[i]]++, (Zeb32u)i << 8 | src[i]);
    Zeb32u p = (Zeb32u)index;
    for (int k = 0; k < len; ++k) {
        Zeb32u entry = zeb_load32(vector + 4 * (size_t)p);
        dst[k] = (Zeb8u)entry;
        p = entry >> 8;
    }
}

void walk_plain(const Zeb8u* src, Zeb8u* dst, int len, int index, Zeb32u* start, Zeb8u* vector)
{
    for (int i = 0; i < len; ++i)
        zeb_store32(vector + 4 * (size_t)start[src[i]]++, (Zeb32u)i);
    Zeb32u p = (Zeb32u)index;
    for (int k = 0; k < len; ++k) {
        p = zeb_load32(vector + 4 * (size_t)p);
        dst[k] = src[p];
    }
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsBWTInvGetSize_8u(int len, int* pSize)
{
    ZEB_CHECK(pSize != nullptr, zebStsNullPtr);
    *pSize = 4 * len + 1024;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsBWTInv_8u(const Zeb8u* pSrc, Zeb8u* pDst, int len, int index,
                                          Zeb8u* pBuffer)
{
    if (len < 2)
        return zebsCopy_8u(pSrc, pDst, len);
    ZEB_CHECK(pSrc != nullptr && pDst != nullptr && pBuffer != nullptr, zebStsNullPtr);
    ZEB_CHECK(index >= 0 && index < len, zebStsBadSize);
    Zeb8u* vector = pBuffer + 1024; // len 32-bit entries after the 256 counters
    Zeb32u start[256];              // counted locally: the scratch need not be aligned
    bucket_starts(pSrc, len, start);
    memcpy(pBuffer, start, sizeof start);
    if (len < kPackedLimit)
        walk_packed(pSrc, pDst, len, index, start, vector);
    else
        walk_plain(pSrc, pDst, len, index, start, vector);
    return zebStsOk;
}
