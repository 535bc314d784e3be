// Byte Huffman encoder: code lengths from the byte frequencies, with no length limit, and the
// bit writer.
//
// The lengths come from the classic two-smallest merge over a list kept sorted by frequency.
// Each merge is recorded as the pair of the symbols that stand for the two nodes; the new node
// takes the identity of the first (smaller) one. Walking the records backwards then gives every
// symbol its depth without building the tree: the node a stands for is at len[a], and both
// children of a merge sit one level below it.
#include "coders/coders_internal.h"

namespace {

enum { kStackDepth = 32, kSelectionMax = 9 };

// A used symbol ordered by frequency, ties by byte value: (frequency << 8) | symbol.
typedef uint64_t SymbolKey;

inline Zeb32s key_freq(SymbolKey k) { return (Zeb32s)(k >> 8); }
inline int key_symbol(SymbolKey k) { return (int)(k & 0xFF); }

inline void swap_keys(SymbolKey* a, SymbolKey* b)
{
    SymbolKey t = *a;
    *a = *b;
    *b = t;
}

void sort_by_selection(SymbolKey* v, int lo, int hi)
{
    for (; hi > lo; --hi) {
        int maxAt = lo;
        for (int i = lo + 1; i <= hi; ++i)
            if (v[i] > v[maxAt])
                maxAt = i;
        swap_keys(&v[maxAt], &v[hi]);
    }
}

// Quicksort of distinct keys: pivot the median of first, middle and last; the larger side
// waits on an explicit stack; ranges of at most 9 keys are finished by selection.
void sort_keys(SymbolKey* v, int count)
{
    int stackLo[kStackDepth], stackHi[kStackDepth];
    int depth = 0, lo = 0, hi = count - 1;
    for (;;) {
        if (hi - lo + 1 <= kSelectionMax) {
            sort_by_selection(v, lo, hi);
            if (depth == 0)
                return;
            --depth;
            lo = stackLo[depth];
            hi = stackHi[depth];
            continue;
        }
        int mid = lo + ((hi - lo) >> 1);
        if (v[mid] < v[lo])
            swap_keys(&v[mid], &v[lo]);
        if (v[hi] < v[lo])
            swap_keys(&v[hi], &v[lo]);
        if (v[hi] < v[mid])
            swap_keys(&v[hi], &v[mid]);
        swap_keys(&v[mid], &v[hi - 1]);
        const SymbolKey pivot = v[hi - 1];
        int left = lo, right = hi - 1;
        for (;;) {
            while (v[++left] < pivot) {
            }
            while (v[--right] > pivot) {
            }
            if (left >= right)
                break;
            swap_keys(&v[left], &v[right]);
        }
        swap_keys(&v[left], &v[hi - 1]);
        // [lo, left - 1] < pivot < [left + 1, hi]: push the larger side, go on with the other.
        bool leftSmaller = left - lo < hi - left;
        ZEB_ASSERT(depth < kStackDepth);
        stackLo[depth] = leftSmaller ? left + 1 : lo;
        stackHi[depth] = leftSmaller ? hi : left - 1;
        ++depth;
        if (leftSmaller)
            hi = left - 1;
        else
            lo = left + 1;
    }
}

// Collects the used symbols in ascending byte order. Returns their number, or -1 when a
// frequency or the running total is negative.
int collect_symbols(const Zeb32s freqTable[kHuffSymbols], SymbolKey keys[kHuffSymbols])
{
    int count = 0;
    int64_t total = 0;
    for (int sym = 0; sym < kHuffSymbols; ++sym) {
        Zeb32s freq = freqTable[sym];
        total += freq;
        if (freq < 0 || total > INT32_MAX)
            return -1;
        if (freq > 0)
            keys[count++] = ((SymbolKey)freq << 8) | (SymbolKey)sym;
    }
    return count;
}

// Merges the sorted list down to one node, recording each merge as the pair of symbols that
// stand for its two nodes. A node goes behind every remaining entry of equal frequency.
void merge_nodes(SymbolKey* list, int count, Zeb8u mergeA[], Zeb8u mergeB[])
{
    int front = 0;
    for (int k = 0; count - front > 1; ++k) {
        SymbolKey a = list[front], b = list[front + 1];
        mergeA[k] = (Zeb8u)key_symbol(a);
        mergeB[k] = (Zeb8u)key_symbol(b);
        Zeb32s sum = key_freq(a) + key_freq(b); // at most the checked total
        front += 2;
        int at = front;
        while (at < count && key_freq(list[at]) <= sum)
            ++at;
        // The entries that stay in front of the node move down into the freed slot.
        --front;
        memmove(&list[front], &list[front + 1], (size_t)(at - front - 1) * sizeof *list);
        list[at - 1] = ((SymbolKey)sum << 8) | (SymbolKey)mergeA[k];
    }
}

// Depths from the merge records, last merge first. Returns false for a tree deeper than 32.
bool lengths_from_merges(const Zeb8u mergeA[], const Zeb8u mergeB[], int merges,
                         Zeb32s codeLen[kHuffSymbols])
{
    for (int k = merges - 1; k >= 0; --k) {
        Zeb32s depth = codeLen[mergeA[k]] + 1;
        if (depth > kHuffMaxLen)
            return false;
        codeLen[mergeA[k]] = depth;
        codeLen[mergeB[k]] = depth;
    }
    return true;
}

inline void store_be32(Zeb8u* p, Zeb32u v) { zeb_store32(p, __builtin_bswap32(v)); }

} // namespace

extern "C" ZEBAPI ZebStatus zebsEncodeHuffInit_8u(const Zeb32s freqTable[256], ZebHuffState* pState)
{
    ZEB_CHECK(freqTable != nullptr && pState != nullptr, zebStsNullPtr);
    SymbolKey list[kHuffSymbols];
    int count = collect_symbols(freqTable, list);
    ZEB_CHECK(count > 0, zebStsFreqTableError);

    Zeb32s codeLen[kHuffSymbols] = {0};
    if (count == 1) {
        codeLen[key_symbol(list[0])] = 1;
    } else {
        sort_keys(list, count);
        Zeb8u mergeA[kHuffSymbols], mergeB[kHuffSymbols];
        merge_nodes(list, count, mergeA, mergeB);
        ZEB_CHECK(lengths_from_merges(mergeA, mergeB, count - 1, codeLen), zebStsCodeTooLong);
    }

    memcpy(pState->codeLen, codeLen, sizeof codeLen);
    ownHuffAssignCodes(pState->codeLen, pState->code);
    Zeb32s maxLen = 0;
    for (int sym = 0; sym < kHuffSymbols; ++sym)
        maxLen = codeLen[sym] > maxLen ? codeLen[sym] : maxLen;
    pState->enc.maxLen = maxLen;
    pState->enc.acc = 0;
    pState->enc.nBits = 0;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsEncodeHuffInitAlloc_8u(const Zeb32s freqTable[256],
                                                       ZebHuffState** ppState)
{
    ZEB_CHECK(ppState != nullptr && freqTable != nullptr, zebStsNullPtr);
    *ppState = (ZebHuffState*)zebsMalloc_8u(kHuffStateSize);
    return zebsEncodeHuffInit_8u(freqTable, *ppState);
}

// The codes are gathered right-aligned in a 64-bit local accumulator; every whole 32-bit word
// is written out big-endian, so at most 31 bits are left over for the state, which keeps them
// at the top of its 32-bit accumulator.
extern "C" ZEBAPI ZebStatus zebsEncodeHuff_8u(const Zeb8u* pSrc, Zeb32s srcLen, Zeb8u* pDst,
                                              Zeb32s* pDstLen, ZebHuffState* pState)
{
    ZEB_CHECK(pSrc != nullptr && pDst != nullptr && pDstLen != nullptr && pState != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(srcLen >= 1, zebStsBadSize);
    const Zeb32s* codeLen = pState->codeLen;
    const Zeb32u* code = pState->code;
    int nBits = pState->enc.nBits;
    uint64_t acc = (uint64_t)pState->enc.acc >> (32 - nBits);
    Zeb8u* out = pDst;
    for (Zeb32s i = 0; i < srcLen; ++i) {
        const Zeb8u sym = pSrc[i];
        acc = (acc << codeLen[sym]) | code[sym];
        nBits += codeLen[sym];
        if (nBits >= 32) {
            nBits -= 32;
            store_be32(out, (Zeb32u)(acc >> nBits));
            out += 4;
        }
    }
    pState->enc.acc = (Zeb32u)(acc << (32 - nBits));
    pState->enc.nBits = nBits;
    *pDstLen = (Zeb32s)(out - pDst);
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsEncodeHuffFinal_8u(Zeb8u* pDst, Zeb32s* pDstLen,
                                                   ZebHuffState* pState)
{
    ZEB_CHECK(pDst != nullptr && pDstLen != nullptr && pState != nullptr, zebStsNullPtr);
    int bytes = (pState->enc.nBits + 7) >> 3;
    Zeb32u acc = pState->enc.acc;
    for (int i = 0; i < bytes; ++i)
        pDst[i] = (Zeb8u)(acc >> (24 - 8 * i));
    *pDstLen = bytes;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsEncodeHuffOne_8u(Zeb8u src, Zeb8u* pDst, Zeb32s dstOffsetBits,
                                                 const ZebHuffState* pState)
{
    ZEB_CHECK(pDst != nullptr && pState != nullptr, zebStsNullPtr);
    ZEB_CHECK(dstOffsetBits >= 0 && dstOffsetBits <= 7, zebStsBadSize);
    int len = pState->codeLen[src];
    ZEB_CHECK(len >= 1 && len <= kHuffMaxLen, zebStsCodeLenTableError);
    int end = dstOffsetBits + len; // at most 39 bits from the top of a 64-bit word
    uint64_t bits = (uint64_t)pState->code[src] << (64 - end);
    pDst[0] |= (Zeb8u)(bits >> 56);
    for (int i = 1; i < (end + 7) >> 3; ++i)
        pDst[i] = (Zeb8u)(bits >> (56 - 8 * i));
    return zebStsOk;
}
