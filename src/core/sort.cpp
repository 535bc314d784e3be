// zebsSortAscend_32s_I: a non-recursive quicksort of signed 32-bit values in place.
//
// Ranges are inclusive index pairs on an explicit stack. The larger side of every partition is
// pushed and the smaller one sorted next, so the stack never holds more than log2(len) < 32
// ranges. Ranges of at most 9 elements are finished by selection of the maximum.
#include "core/zeb_common.h"

namespace {

enum { kStackDepth = 32, kSelectionMax = 9 };

inline void swap_values(Zeb32s* a, Zeb32s* b)
{
    Zeb32s t = *a;
    *a = *b;
    *b = t;
}

// Repeatedly moves the maximum (its first occurrence) to the top of [lo, hi] and shrinks it.
void sort_by_selection(Zeb32s* v, int lo, int hi)
{
    for (; hi > lo; --hi) {
        int maxAt = lo;
        for (int i = lo + 1; i <= hi; ++i)
            if (v[i] > v[maxAt])
                maxAt = i;
        swap_values(&v[maxAt], &v[hi]);
    }
}

// Orders v[lo], v[mid], v[hi] ascending after putting the larger of the first two at lo; the
// median at mid is the pivot.
Zeb32s median_of_three(Zeb32s* v, int lo, int mid, int hi)
{
    if (v[lo] < v[lo + 1])
        swap_values(&v[lo], &v[lo + 1]);
    if (v[mid] < v[lo])
        swap_values(&v[mid], &v[lo]);
    if (v[hi] < v[lo])
        swap_values(&v[hi], &v[lo]);
    if (v[hi] < v[mid])
        swap_values(&v[hi], &v[mid]);
    return v[mid];
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsSortAscend_32s_I(Zeb32s* pSrcDst, int len)
{
    ZEB_CHECK(pSrcDst != nullptr, zebStsNullPtr);
    ZEB_CHECK(len >= 1, zebStsBadSize);
    if (len == 1)
        return zebStsOk;

    Zeb32s* v = pSrcDst;
    int stackLo[kStackDepth], stackHi[kStackDepth];
    int depth = 0;
    int lo = 0, hi = len - 1;
    for (;;) {
        if (hi - lo + 1 <= kSelectionMax) {
            sort_by_selection(v, lo, hi);
            if (depth == 0)
                return zebStsOk;
            --depth;
            lo = stackLo[depth];
            hi = stackHi[depth];
            continue;
        }
        int mid = lo + ((hi - lo + 1) >> 1);
        Zeb32s pivot = median_of_three(v, lo, mid, hi);

        // Partition lo+1..hi: values not greater than the pivot go left.
        int left = lo + 1, right = hi;
        for (;;) {
            while (left <= right && v[left] <= pivot)
                ++left;
            while (right >= left && v[right] > pivot)
                --right;
            if (left >= right)
                break;
            swap_values(&v[left], &v[right]);
        }
        // [lo, right] is <= pivot, [left, hi] is > pivot. Values equal to the pivot at the top
        // of the left side are in place already.
        int leftHi = right;
        while (leftHi > lo && v[leftHi] == pivot)
            --leftHi;
        int rightLo = left;

        int leftCount = leftHi - lo + 1, rightCount = hi - rightLo + 1;
        bool leftIsSmaller = leftCount <= rightCount;
        int bigLo = leftIsSmaller ? rightLo : lo, bigHi = leftIsSmaller ? hi : leftHi;
        int smallLo = leftIsSmaller ? lo : rightLo, smallHi = leftIsSmaller ? leftHi : hi;
        if (bigHi > bigLo) {
            ZEB_ASSERT(depth < kStackDepth);
            stackLo[depth] = bigLo;
            stackHi[depth] = bigHi;
            ++depth;
        }
        if (smallHi > smallLo) {
            lo = smallLo;
            hi = smallHi;
        } else {
            if (depth == 0)
                return zebStsOk;
            --depth;
            lo = stackLo[depth];
            hi = stackHi[depth];
        }
    }
}
