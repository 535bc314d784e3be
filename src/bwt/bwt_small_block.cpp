// Burrows-Wheeler transform of blocks up to 32768 bytes with 16-bit positions, and its inverse.
//
// Forward scratch (4 * len + 2080 bytes): four arrays of 256 Zeb16u (type-A counts, type-B
// counts, bucket starts, bucket ends), the block twice in a row, then from the next 32-byte
// boundary the sorted array of len 16-bit rotation starts. Type A: s[i] > s[i + 1] (cyclic);
// type B otherwise. Only type-B rotations are sorted; type-A ones are induced in the output scan.
#include "core/zeb_common.h"

namespace {

enum { kMaxLen = 32768, kStackSize = 40, kSmallRange = 5 };

struct Range {
    int lo, hi, depth;
};

// Rotations a and b compared from offset depth to offset len - 1 (the first depth bytes agree).
inline bool rotation_greater(const Zeb8u* t, int a, int b, int depth, int len)
{
    const Zeb8u* x = t + a + depth;
    const Zeb8u* y = t + b + depth;
    int k = zeb_common_prefix(x, y, len - depth);
    return k < len - depth && x[k] > y[k];
}

// The first depth from r.depth at which the keys of r are not all equal, or len. A partition
// pass over equal keys moves nothing and hands the whole range on one byte deeper, so the passes
// up to that depth can be skipped.
int split_depth(const Zeb16u* sa, const Zeb8u* t, Range r, int len)
{
    const Zeb8u* first = t + sa[r.lo] + r.depth;
    int common = len - r.depth;
    for (int i = r.lo + 1; i <= r.hi && common > 0; ++i)
        common = zeb_common_prefix(first, t + sa[i] + r.depth, common);
    return r.depth + common;
}

inline void swap_entries(Zeb16u* sa, int a, int b)
{
    Zeb16u x = sa[a];
    sa[a] = sa[b];
    sa[b] = x;
}

// Exchange passes; the entry being carried up a pass stays in a register, and a pass that swaps
// nothing leaves the range sorted, which ends the sort.
void exchange_sort(Zeb16u* sa, const Zeb8u* t, Range r, int len)
{
    bool swapped = true;
    for (int end = r.hi; end > r.lo && swapped; --end) {
        swapped = false;
        Zeb16u carried = sa[r.lo];
        for (int i = r.lo; i < end; ++i) {
            Zeb16u next = sa[i + 1];
            bool greater = rotation_greater(t, carried, next, r.depth, len);
            sa[i] = greater ? next : carried;
            carried = greater ? carried : next;
            swapped |= greater;
        }
        sa[end] = carried;
    }
}

// Swaps sa[a] and sa[b] when move holds, without a branch: whether a key equals the pivot is
// not predictable.
inline void swap_if(Zeb16u* sa, int a, int b, bool move)
{
    Zeb16u x = sa[a], y = sa[b];
    Zeb16u diff = (Zeb16u)((x ^ y) & -(int)move);
    sa[a] = (Zeb16u)(x ^ diff);
    sa[b] = (Zeb16u)(y ^ diff);
}

inline void swap_stretch(Zeb16u* sa, int a, int b, int n)
{
    for (int k = 0; k < n; ++k)
        swap_entries(sa, a + k, b + k);
}

// Sorts sa[lo], sa[mid], sa[hi] by key and returns the median key.
int median_of_three(Zeb16u* sa, const Zeb8u* t, Range r)
{
    int mid = (r.lo + r.hi) >> 1;
    int d = r.depth;
    if (t[sa[r.lo] + d] > t[sa[mid] + d])
        swap_entries(sa, r.lo, mid);
    if (t[sa[mid] + d] > t[sa[r.hi] + d])
        swap_entries(sa, mid, r.hi);
    if (t[sa[r.lo] + d] > t[sa[mid] + d])
        swap_entries(sa, r.lo, mid);
    return t[sa[mid] + d];
}

// Bentley-McIlroy three-way partition of r around the median key; returns the bounds of the
// equal-key part in *eqLo, *eqHi.
void partition(Zeb16u* sa, const Zeb8u* t, Range r, int* eqLo, int* eqHi)
{
    int pivot = median_of_three(sa, t, r);
    const Zeb8u* key = t + r.depth;
    int a = r.lo, b = r.lo, c = r.hi, e = r.hi;
    for (;;) {
        for (int k; b <= c && (k = key[sa[b]]) <= pivot; ++b) {
            bool equal = k == pivot;
            swap_if(sa, a, b, equal);
            a += equal;
        }
        for (int k; b <= c && (k = key[sa[c]]) >= pivot; --c) {
            bool equal = k == pivot;
            swap_if(sa, c, e, equal);
            e -= equal;
        }
        if (b > c)
            break;
        swap_entries(sa, b++, c--);
    }
    int n = a - r.lo < b - a ? a - r.lo : b - a;
    swap_stretch(sa, r.lo, b - n, n);
    int m = e - c < r.hi - e ? e - c : r.hi - e;
    swap_stretch(sa, b, r.hi + 1 - m, m);
    *eqLo = r.lo + (b - a);
    *eqHi = r.hi - (e - c);
}

// Pushes the parts of two entries or more, the smallest on top, so that the stack stays
// logarithmic (the part taken next holds at most a third of the range, the one below at most half).
int push_parts(Range* stack, int top, Range r, int eqLo, int eqHi, int len)
{
    Range parts[3] = {
        {r.lo, eqLo - 1, r.depth}, {eqLo, eqHi, r.depth + 1}, {eqHi + 1, r.hi, r.depth}};
    int first = top;
    for (const Range& p : parts)
        if (p.hi - p.lo >= 1 && p.depth < len)
            stack[top++] = p;
    for (int i = first + 1; i < top; ++i) // largest deepest
        for (int j = i; j > first && stack[j - 1].hi - stack[j - 1].lo < stack[j].hi - stack[j].lo;
             --j) {
            Range x = stack[j];
            stack[j] = stack[j - 1];
            stack[j - 1] = x;
        }
    return top;
}

void rotation_sort(Zeb16u* sa, const Zeb8u* t, int lo, int hi, int len)
{
    Range stack[kStackSize];
    int top = 0;
    stack[top++] = Range{lo, hi, 1};
    while (top > 0) {
        Range r = stack[--top];
        if (r.hi - r.lo < kSmallRange) {
            exchange_sort(sa, t, r, len);
            continue;
        }
        r.depth = split_depth(sa, t, r, len);
        if (r.depth >= len)
            continue;
        int eqLo, eqHi;
        partition(sa, t, r, &eqLo, &eqHi);
        ZEB_ASSERT(top + 3 <= kStackSize);
        top = push_parts(stack, top, r, eqLo, eqHi, len);
    }
}

// Steps up to the sort: copies, classification, buckets, type-B areas; each type-B area sorted.
void sort_type_b(const Zeb8u* src, int len, Zeb16u* counts, Zeb8u* t, Zeb16u* sa)
{
    Zeb16u *countA = counts, *countB = counts + 256, *start = counts + 512, *end = counts + 768;
    memset(counts, 0, 512 * sizeof(Zeb16u));
    memcpy(t, src, (size_t)len);
    memcpy(t + len, src, (size_t)len);
    for (int i = 0; i < len; ++i) // type B counted 256 entries after type A
        ++counts[(t[i] <= t[i + 1]) << 8 | t[i]];
    int sum = 0;
    for (int c = 0; c < 256; ++c) {
        start[c] = (Zeb16u)sum;
        sum += countA[c] + countB[c];
        end[c] = (Zeb16u)sum; // 32768 fits a Zeb16u
    }
    // Without a branch: a type-A position writes to the next free type-B slot of its byte, which
    // a later type-B position overwrites, or else to the byte's type-A area, which the induction
    // fills (a type-A position has an A area in its own bucket, so the slot never leaves it).
    for (int i = 0; i < len; ++i) {
        sa[end[t[i]] - 1] = (Zeb16u)i;
        end[t[i]] = (Zeb16u)(end[t[i]] - (t[i] <= t[i + 1]));
    }
    for (int c = 0; c < 256; ++c)
        if (countB[c] >= 2)
            rotation_sort(sa, t, end[c], end[c] + countB[c] - 1, len);
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsBWTGetSize_SmallBlock_8u(int len, int* pSize)
{
    ZEB_CHECK(pSize != nullptr, zebStsNullPtr);
    ZEB_CHECK(len >= 1 && len <= kMaxLen, zebStsBadSize);
    *pSize = 4 * len + 2080;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsBWTFwd_SmallBlock_8u(const Zeb8u* pSrc, Zeb8u* pDst, int len,
                                                     int* pIndex, Zeb8u* pBuffer)
{
    ZEB_CHECK(pSrc != nullptr && pDst != nullptr && pIndex != nullptr && pBuffer != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(len >= 1 && len <= kMaxLen, zebStsBadSize);
    Zeb16u counts[1024]; // built here, then stored in the (possibly unaligned) scratch
    Zeb8u* t = pBuffer + sizeof counts;
    uintptr_t at = (uintptr_t)(t + 2 * len);
    Zeb16u* sa = (Zeb16u*)(void*)(t + 2 * len + ((32 - at % 32) % 32));
    sort_type_b(pSrc, len, counts, t, sa);
    Zeb16u* next = counts + 512; // next free type-A slot per byte
    for (int k = 0; k < len; ++k) {
        int j = sa[k];
        int p = j == 0 ? len - 1 : j - 1;
        pDst[k] = t[p];
        if (j == 0)
            *pIndex = k;
        if (t[p] > t[j])
            sa[next[t[p]]++] = (Zeb16u)p;
    }
    memcpy(pBuffer, counts, sizeof counts);
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsBWTInv_SmallBlock_8u(const Zeb8u* pSrc, Zeb8u* pDst, int len,
                                                     int index, Zeb8u* pBuffer)
{
    if (len < 2)
        return zebsCopy_8u(pSrc, pDst, len);
    ZEB_CHECK(pSrc != nullptr && pDst != nullptr && pBuffer != nullptr, zebStsNullPtr);
    ZEB_CHECK(index >= 0 && index < len && len <= kMaxLen, zebStsBadSize);
    Zeb16u counts[256] = {0};
    for (int i = 0; i < len; ++i)
        ++counts[pSrc[i]];
    int sum = 0;
    for (int v = 0; v < 256; ++v) {
        int n = counts[v];
        counts[v] = (Zeb16u)sum;
        sum += n;
    }
    Zeb8u* vector = pBuffer + sizeof counts; // len 16-bit entries
    for (int i = 0; i < len; ++i) {
        Zeb16u at = counts[pSrc[i]]++;
        memcpy(vector + 2 * (size_t)at, &i, 2); // little-endian: the low 16 bits
    }
    memcpy(pBuffer, counts, sizeof counts);
    int p = index;
    for (int k = 0; k < len; ++k) {
        Zeb16u next;
        memcpy(&next, vector + 2 * (size_t)p, 2);
        p = next;
        pDst[k] = pSrc[p];
    }
    return zebStsOk;
}
