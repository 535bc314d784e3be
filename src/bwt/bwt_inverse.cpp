// Inverse Burrows-Wheeler transform (bzip2 convention: last column and primary index in, block
// out), with 32-bit counters and transformation vector in the caller's scratch.
#include "core/zeb_common.h"

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
    Zeb32u local[256] = {0};        // counted locally: the scratch need not be aligned
    for (int i = 0; i < len; ++i)
        ++local[pSrc[i]];
    Zeb32u sum = 0;
    for (int v = 0; v < 256; ++v) {
        Zeb32u n = local[v];
        local[v] = sum;
        sum += n;
    }
    memcpy(pBuffer, local, sizeof local);
    for (int i = 0; i < len; ++i)
        zeb_store32(vector + 4 * (size_t)local[pSrc[i]]++, (uint32_t)i);
    Zeb32u p = (Zeb32u)index;
    for (int k = 0; k < len; ++k) {
        p = zeb_load32(vector + 4 * (size_t)p);
        pDst[k] = pSrc[p];
    }
    return zebStsOk;
}
