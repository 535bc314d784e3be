// bzip2's first run-length stage: a run of 4..259 equal bytes B is written B B B B (n - 4).
//
// The encoder keeps the last literal and the length of the run that ends its output, so a run
// may straddle calls; it flags in `inUse` every byte value it writes (literals and count bytes),
// which is the symbol dictionary of the block. The decoder is stateless and expects whole blocks.
#include "bzip2/bzip2_internal.h"

#include <emmintrin.h>

struct ZebEncodeRLEState_BZ2 {
    Zeb8u inUse[256];
    Zeb32s lastByte; // last literal written; -1 after Init so that no byte equals it
    Zeb32s runCount; // equal bytes ending the output (1..4), a pending run (4..259), or 0
};
static_assert(sizeof(ZebEncodeRLEState_BZ2) == 264, "the documented state size");

namespace {

enum { kRunStart = 4, kRunMax = 259 };

// The end of the decoder's copy step over src[from, end): just past the first byte that
// completes four equal bytes within the step, or `end`. Sixteen candidate ends per compare.
int group_end(const Zeb8u* src, int from, int end)
{
    int k = from;
    for (; k + kRunStart - 1 + 16 <= end; k += 16) {
        __m128i b0 = _mm_loadu_si128((const __m128i*)(src + k));
        __m128i b1 = _mm_loadu_si128((const __m128i*)(src + k + 1));
        __m128i b2 = _mm_loadu_si128((const __m128i*)(src + k + 2));
        __m128i b3 = _mm_loadu_si128((const __m128i*)(src + k + 3));
        __m128i same = _mm_and_si128(_mm_and_si128(_mm_cmpeq_epi8(b0, b1), _mm_cmpeq_epi8(b1, b2)),
                                     _mm_cmpeq_epi8(b2, b3));
        unsigned hits = (unsigned)_mm_movemask_epi8(same);
        if (hits != 0)
            return k + kRunStart + __builtin_ctz(hits);
    }
    for (; k + kRunStart <= end; ++k)
        if (src[k] == src[k + 1] && src[k + 1] == src[k + 2] && src[k + 2] == src[k + 3])
            return k + kRunStart;
    return end;
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsRLEGetSize_BZ2_8u(int* pSize)
{
    ZEB_CHECK(pSize != nullptr, zebStsNullPtr);
    *pSize = (int)sizeof(ZebEncodeRLEState_BZ2);
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsEncodeRLEInit_BZ2_8u(ZebEncodeRLEState_BZ2* pState)
{
    ZEB_CHECK(pState != nullptr, zebStsNullPtr);
    memset(pState->inUse, 0, sizeof pState->inUse);
    pState->lastByte = -1;
    pState->runCount = 0;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsEncodeRLEInitAlloc_BZ2_8u(ZebEncodeRLEState_BZ2** ppState)
{
    ZEB_CHECK(ppState != nullptr, zebStsNullPtr);
    *ppState = (ZebEncodeRLEState_BZ2*)zebsMalloc_8u((int)sizeof(ZebEncodeRLEState_BZ2));
    return zebsEncodeRLEInit_BZ2_8u(*ppState); // a failed allocation reaches the null check
}

extern "C" ZEBAPI void zebsRLEFree_BZ2_8u(ZebEncodeRLEState_BZ2* pState)
{
    zebsFree(pState);
}

extern "C" ZEBAPI ZebStatus zebsEncodeRLE_BZ2_8u(Zeb8u** ppSrc, int* pSrcLen, Zeb8u* pDst,
                                                 int* pDstLen, ZebEncodeRLEState_BZ2* pState)
{
    ZEB_CHECK(ppSrc != nullptr && pDst != nullptr && pSrcLen != nullptr && pDstLen != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(*ppSrc != nullptr && pState != nullptr, zebStsNullPtr);
    ZEB_CHECK(*pSrcLen > 0 && *pDstLen > 0, zebStsBadSize);
    const Zeb8u* src = *ppSrc;
    const int srcLen = *pSrcLen, dstLen = *pDstLen;
    Zeb8u* inUse = pState->inUse;
    int last = pState->lastByte, run = pState->runCount;
    int in = 0, out = 0;
    for (;;) {
        if (run < kRunStart) {
            int step = dstLen - out < srcLen - in ? dstLen - out : srcLen - in;
            for (int end = in + step; in < end;) {
                int b = src[in++];
                run = b == last ? run + 1 : 1;
                pDst[out++] = (Zeb8u)b;
                last = b;
                inUse[b] = 1;
                if (run == kRunStart)
                    break;
            }
        }
        if (out == dstLen)
            break; // a run of four may go on: its length comes with the next call
        while (in < srcLen && src[in] == last && run < kRunMax) {
            ++in;
            ++run;
        }
        if (in == srcLen)
            break; // a pending run keeps its count for the next call or Flush
        if (run >= kRunStart) {
            pDst[out++] = (Zeb8u)(run - kRunStart);
            inUse[run - kRunStart] = 1;
            run = 0;
        }
    }
    pState->lastByte = last;
    pState->runCount = run;
    *ppSrc += in;
    *pSrcLen -= in;
    *pDstLen = out;
    return *pSrcLen == 0 ? zebStsOk : zebStsDstFull;
}

extern "C" ZEBAPI ZebStatus zebsEncodeRLEFlush_BZ2_8u(Zeb8u* pDst, int* pDstLen,
                                                      ZebEncodeRLEState_BZ2* pState)
{
    ZEB_CHECK(pDst != nullptr && pDstLen != nullptr && pState != nullptr, zebStsNullPtr);
    ZEB_CHECK(*pDstLen > 0, zebStsBadSize);
    *pDstLen = 0;
    if (pState->runCount >= kRunStart) {
        int count = pState->runCount - kRunStart;
        pDst[0] = (Zeb8u)count;
        pState->inUse[count] = 1;
        pState->runCount = 0;
        *pDstLen = 1;
    }
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsRLEGetInUseTable_8u(Zeb8u inUse[256], ZebEncodeRLEState_BZ2* pState)
{
    ZEB_CHECK(inUse != nullptr && pState != nullptr, zebStsNullPtr);
    memmove(inUse, pState->inUse, 256); // the two tables may overlap
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsDecodeRLE_BZ2_8u(Zeb8u** ppSrc, int* pSrcLen, Zeb8u* pDst,
                                                 int* pDstLen)
{
    ZEB_CHECK(ppSrc != nullptr && pDst != nullptr && pSrcLen != nullptr && pDstLen != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(*ppSrc != nullptr, zebStsNullPtr);
    ZEB_CHECK(*pDstLen > 0, zebStsBadSize);
    ZEB_CHECK(*pSrcLen >= 0, zebStsBadSize);
    if (*pSrcLen == 0) {
        *pDstLen = 0;
        return zebStsOk;
    }
    const Zeb8u* src = *ppSrc;
    const int srcLen = *pSrcLen, dstLen = *pDstLen;
    int in = 0, out = 0;
    ZebStatus status = zebStsOk;
    for (;;) {
        // Each step copies bytes until four equal ones have been copied within it.
        int step = dstLen - out < srcLen - in ? dstLen - out : srcLen - in;
        int stop = group_end(src, in, in + step);
        memcpy(pDst + out, src + in, (size_t)(stop - in));
        out += stop - in;
        in = stop;
        if (in == srcLen) {
            status = out == dstLen ? zebStsDstFull : zebStsOk;
            break;
        }
        int count = src[in++]; // also after a stop at a full destination
        if (count > dstLen - out) {
            status = zebStsDstFull;
            break;
        }
        memset(pDst + out, pDst[out - 1], (size_t)count);
        out += count;
    }
    *ppSrc += in;
    *pSrcLen -= in;
    *pDstLen = out;
    return status;
}
