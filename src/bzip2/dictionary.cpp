// The symbol dictionary of a bzip2 block: bytes become their ranks 0..n-1 among the n values
// flagged in the in-use table, and ranks become bytes again. The map is monotonic, so the
// reduction commutes with the Burrows-Wheeler transform.
#include "bzip2/bzip2_internal.h"

namespace {

// Translates pSrcDst through map, two bytes per iteration.
void translate(const Zeb8u map[256], Zeb8u* pSrcDst, int len)
{
    int i = 0;
    for (; i + 2 <= len; i += 2) {
        Zeb8u a = map[pSrcDst[i]], b = map[pSrcDst[i + 1]];
        pSrcDst[i] = a;
        pSrcDst[i + 1] = b;
    }
    if (i < len)
        pSrcDst[i] = map[pSrcDst[i]];
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsReduceDictionary_8u_I(const Zeb8u inUse[256], Zeb8u* pSrcDst,
                                                      int len, int* pSizeDictionary)
{
    ZEB_CHECK(inUse != nullptr && pSrcDst != nullptr && pSizeDictionary != nullptr, zebStsNullPtr);
    ZEB_CHECK(len > 0, zebStsBadSize);
    Zeb8u map[256];
    int total = 0;
    for (int v = 0; v < 256; ++v) {
        map[v] = (Zeb8u)total;
        total += inUse[v]; // flags are added as numbers: the table holds 0 and 1
    }
    translate(map, pSrcDst, len);
    *pSizeDictionary = total;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsExpandDictionary_8u_I(const Zeb8u inUse[256], Zeb8u* pSrcDst,
                                                      int len, int sizeDictionary)
{
    ZEB_CHECK(inUse != nullptr && pSrcDst != nullptr, zebStsNullPtr);
    ZEB_CHECK(len > 0, zebStsBadSize);
    ZEB_CHECK(sizeDictionary > 0, zebStsBadSize);
    Zeb8u map[256] = {}; // ranks beyond the flagged values decode as 0
    int rank = 0;
    for (int v = 0; v < 256 && rank < sizeDictionary; ++v)
        if (inUse[v] != 0)
            map[rank++] = (Zeb8u)v;
    translate(map, pSrcDst, len);
    return zebStsOk;
}
