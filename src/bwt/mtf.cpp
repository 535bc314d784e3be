// Move-to-front coding over a 256-entry recency list (entry 0 = most recently used byte).
//
// The state is the list itself: 256 bytes, no header and no alignment requirement, carried over
// between calls so that a stream may be coded in pieces of any size. Each output byte is written
// after its input byte has been read, so the source and destination may be the same buffer.
#include "core/zeb_common.h"

#include <emmintrin.h>

struct ZebMTFState_8u {
    Zeb8u list[256];
};

namespace {

enum { kListSize = 256 };

// Moves list[position] to the front, shifting entries 0..position-1 up by one. Positions below
// 16, by far the most common after a Burrows-Wheeler transform, shift inside one register.
// The decoder reads those 16 entries back for its next symbol, so it puts the value in lane 0
// before the one store (a separate byte store would keep the next load from being served by
// the store); the encoder, which mostly reads entry 0 only, measured faster with the byte store.
template <bool kValueInRegister> inline void move_to_front(Zeb8u* list, int position, Zeb8u value)
{
    if (position < 16) {
        __m128i entries = _mm_loadu_si128((const __m128i*)list);
        __m128i shifted = _mm_slli_si128(entries, 1);
        if (kValueInRegister)
            shifted = _mm_or_si128(shifted, _mm_cvtsi32_si128(value));
        const __m128i lane = _mm_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
        __m128i moves = _mm_cmplt_epi8(lane, _mm_set1_epi8((char)(position + 1)));
        entries = _mm_or_si128(_mm_and_si128(moves, shifted), _mm_andnot_si128(moves, entries));
        _mm_storeu_si128((__m128i*)list, entries);
        if (kValueInRegister)
            return;
    } else {
        memmove(list + 1, list, (size_t)position);
    }
    list[0] = value;
}

// The position of value in list[1..255], 16 entries per compare; kListSize if absent.
inline int find_in_list(const Zeb8u* list, Zeb8u value)
{
    const __m128i wanted = _mm_set1_epi8((char)value);
    for (int base = 0; base < kListSize; base += 16) {
        __m128i entries = _mm_loadu_si128((const __m128i*)(list + base));
        unsigned hits = (unsigned)_mm_movemask_epi8(_mm_cmpeq_epi8(entries, wanted));
        if (base == 0)
            hits &= ~1u;
        if (hits != 0)
            return base + __builtin_ctz(hits);
    }
    return kListSize;
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsMTFGetSize_8u(int* pSize)
{
    ZEB_CHECK(pSize != nullptr, zebStsNullPtr);
    *pSize = (int)sizeof(ZebMTFState_8u);
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsMTFInit_8u(ZebMTFState_8u* pMTFState)
{
    ZEB_CHECK(pMTFState != nullptr, zebStsNullPtr);
    for (int i = 0; i < kListSize; ++i)
        pMTFState->list[i] = (Zeb8u)i;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsMTFInitAlloc_8u(ZebMTFState_8u** ppMTFState)
{
    ZEB_CHECK(ppMTFState != nullptr, zebStsNullPtr);
    *ppMTFState = (ZebMTFState_8u*)zebsMalloc_8u((int)sizeof(ZebMTFState_8u));
    ZEB_CHECK(*ppMTFState != nullptr, zebStsNoMemory);
    return zebsMTFInit_8u(*ppMTFState);
}

extern "C" ZEBAPI ZebStatus zebsMTFFwd_8u(const Zeb8u* pSrc, Zeb8u* pDst, int len,
                                          ZebMTFState_8u* pMTFState)
{
    ZEB_CHECK(pSrc != nullptr && pDst != nullptr && pMTFState != nullptr, zebStsNullPtr);
    ZEB_CHECK(len >= 1, zebStsBadSize);
    Zeb8u* list = pMTFState->list;
    for (int k = 0; k < len; ++k) {
        Zeb8u value = pSrc[k];
        if (value == list[0]) {
            pDst[k] = 0;
            continue;
        }
        int position = find_in_list(list, value);
        if (ZEB_UNLIKELY(position == kListSize)) {
            // Not a permutation (the state was changed outside this family): the byte is not in
            // the list. Report the bound and leave the list as it is.
            pDst[k] = (Zeb8u)(kListSize - 1);
            continue;
        }
        move_to_front<false>(list, position, value);
        pDst[k] = (Zeb8u)position;
    }
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsMTFInv_8u(const Zeb8u* pSrc, Zeb8u* pDst, int len,
                                          ZebMTFState_8u* pMTFState)
{
    ZEB_CHECK(pSrc != nullptr && pDst != nullptr && pMTFState != nullptr, zebStsNullPtr);
    ZEB_CHECK(len >= 1, zebStsBadSize);
    Zeb8u* list = pMTFState->list;
    for (int k = 0; k < len; ++k) {
        int position = pSrc[k];
        Zeb8u value = list[position];
        pDst[k] = value;
        if (position != 0)
            move_to_front<true>(list, position, value);
    }
    return zebStsOk;
}

extern "C" ZEBAPI void zebsMTFFree_8u(ZebMTFState_8u* pMTFState)
{
    zebsFree(pMTFState);
}
