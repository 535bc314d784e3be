// bzip2's multi-table Huffman encoder: 2..6 code tables for one block, a table chosen per group
// of 50 symbols, lengths limited to 17 bits, and the header ("context") that describes them.
//
// Init refines the tables in five passes: every group picks the table that codes it cheapest,
// then every table is rebuilt from the symbols of the groups that picked it. The costs of all
// tables for one group are summed at once: a symbol's six code lengths sit in the 16-bit lanes
// of one SSE2 register, and a group's cost is the lane-wise sum of its symbols' registers.
#include "bzip2/bzip2_internal.h"

#include <emmintrin.h>

using namespace zeb_bzip2;

// The 24 bytes of fields; the code and length tables follow at fixed offsets, then the
// selectors (two bytes per group: the table indices, then the same move-to-front coded).
struct ZebEncodeHuffState_BZ2 {
    Zeb32s alphabetSize;
    Zeb32s numSelectors;
    Zeb32s numTables;
    Zeb32u selectorsOffset;  // from the start of the state
    Zeb32u selectorCapacity; // groups an InitAlloc-made state holds (valid under the seal)
    Zeb32u capacitySeal;
};

namespace {

enum {
    kFieldsSize = 24,
    kCodesOffset = kFieldsSize,
    kLengthsOffset = kCodesOffset + kMaxTables * kMaxAlphabet * 4,
    kSelectorsOffset = kLengthsOffset + kMaxTables * kMaxAlphabet,
    kPasses = 5,
    kMaxSelectors = 32767 // the selector count is a 15-bit field
};
static_assert(sizeof(ZebEncodeHuffState_BZ2) == kFieldsSize, "24 bytes of fields on every target");
static_assert(kSelectorsOffset == 7764, "the documented fixed part of the state");

inline Zeb32u* code_tables(ZebEncodeHuffState_BZ2* s)
{
    return (Zeb32u*)(void*)((Zeb8u*)s + kCodesOffset);
}
inline Zeb8u* length_tables(ZebEncodeHuffState_BZ2* s)
{
    return (Zeb8u*)s + kLengthsOffset;
}
inline Zeb8u* selectors(ZebEncodeHuffState_BZ2* s)
{
    return (Zeb8u*)s + s->selectorsOffset;
}

inline int groups_of(int symbols)
{
    return (int)(((long long)symbols + kGroupSize - 1) / kGroupSize);
}

int table_count(int blockLen)
{
    if (blockLen < 200)
        return 2;
    if (blockLen < 600)
        return 3;
    if (blockLen < 1200)
        return 4;
    return blockLen < 2400 ? 5 : 6;
}

inline void swap_entries(Zeb32u* weight, Zeb16u* symbol, int a, int b)
{
    Zeb32u w = weight[a];
    weight[a] = weight[b];
    weight[b] = w;
    Zeb16u s = symbol[a];
    symbol[a] = symbol[b];
    symbol[b] = s;
}

// Sorts (weight, symbol) pairs by ascending weight over [lo, hi]: quicksort with a median of
// three for ranges longer than 9, straight insertion below.
void sort_by_weight(Zeb32u* weight, Zeb16u* symbol, int lo, int hi)
{
    while (hi - lo + 1 > 9) {
        int mid = lo + ((hi - lo) >> 1);
        if (weight[mid] < weight[lo])
            swap_entries(weight, symbol, mid, lo);
        if (weight[hi] < weight[lo])
            swap_entries(weight, symbol, hi, lo);
        if (weight[hi] < weight[mid])
            swap_entries(weight, symbol, hi, mid);
        Zeb32u pivot = weight[mid];
        int i = lo, j = hi;
        while (i <= j) {
            while (weight[i] < pivot)
                ++i;
            while (weight[j] > pivot)
                --j;
            if (i <= j)
                swap_entries(weight, symbol, i++, j--);
        }
        if (j - lo < hi - i) { // recurse into the smaller side, loop on the larger
            sort_by_weight(weight, symbol, lo, j);
            lo = i;
        } else {
            sort_by_weight(weight, symbol, i, hi);
            hi = j;
        }
    }
    for (int i = lo + 1; i <= hi; ++i) {
        Zeb32u w = weight[i];
        Zeb16u s = symbol[i];
        int j = i - 1;
        for (; j >= lo && weight[j] > w; --j) {
            weight[j + 1] = weight[j];
            symbol[j + 1] = symbol[j];
        }
        weight[j + 1] = w;
        symbol[j + 1] = s;
    }
}

// Moves the deepest codes up to kMaxCodeLen keeping the Kraft sum, then hands the new lengths
// out again from the least weighted symbol on.
void limit_code_lengths(int* count, int maxLen, const Zeb16u* sortedOrder, int n, Zeb8u* lengths)
{
    int smallestSplit = kMaxCodeLen;
    for (int depth = maxLen; depth > kMaxCodeLen; --depth) {
        for (int k = count[depth]; k > 0; k -= 2) {
            int j = kMaxCodeLen - 1;
            while (j > 0 && count[j] == 0)
                --j;
            if (j == 0)
                break;
            --count[j];
            count[j + 1] += 2;
            ++count[depth - 1];
            if (j < smallestSplit)
                smallestSplit = j;
        }
    }
    int len = kMaxCodeLen, left = count[kMaxCodeLen];
    for (int i = 0; i < n; ++i) {
        while (left == 0 && len > smallestSplit)
            left = count[--len];
        if (left == 0)
            break;
        lengths[sortedOrder[i]] = (Zeb8u)len;
        --left;
    }
}

// Huffman code lengths (at most 17) for the n symbols with the given counts; an absent symbol
// weighs 1, so every symbol gets a code. The sorted list is merged in place: entries i and i+1
// merge into a node that takes entry i+1's symbol as its name and moves behind the entries of
// equal weight; entry i keeps its symbol and records that name as its parent.
void make_code_lengths(const Zeb32u* counts, int n, Zeb8u* lengths)
{
    Zeb32u weight[kMaxAlphabet];
    Zeb16u symbol[kMaxAlphabet], sortedOrder[kMaxAlphabet], parent[kMaxAlphabet];
    int depthOf[kMaxAlphabet] = {};
    int count[kMaxAlphabet + 2] = {};
    for (int s = 0; s < n; ++s) {
        weight[s] = counts[s] != 0 ? counts[s] : 1;
        symbol[s] = (Zeb16u)s;
    }
    sort_by_weight(weight, symbol, 0, n - 1);
    memcpy(sortedOrder, symbol, (size_t)n * sizeof symbol[0]);
    for (int i = 0; i + 1 < n; ++i) {
        Zeb32u merged = weight[i] + weight[i + 1];
        Zeb16u name = symbol[i + 1];
        parent[i] = name;
        int j = i + 2;
        for (; j < n && weight[j] <= merged; ++j) {
            weight[j - 1] = weight[j];
            symbol[j - 1] = symbol[j];
        }
        weight[j - 1] = merged;
        symbol[j - 1] = name;
    }
    for (int i = n - 2; i >= 0; --i) { // the node named P splits into P and symbol[i]
        int d = ++depthOf[parent[i]];
        depthOf[symbol[i]] = d;
        count[d] += 2;
        count[d - 1] -= 1;
    }
    for (int s = 0; s < n; ++s)
        lengths[s] = (Zeb8u)depthOf[s];
    int maxLen = n > 1 ? depthOf[symbol[0]] : 0;
    if (maxLen > kMaxCodeLen)
        limit_code_lengths(count, maxLen, sortedOrder, n, lengths);
}

// Canonical codes: shorter codes first, equal lengths in symbol order.
void make_codes(const Zeb8u* lengths, int n, Zeb32u* codes)
{
    Zeb32u count[kMaxCodeLen + 2] = {}, next[kMaxCodeLen + 2] = {};
    for (int s = 0; s < n; ++s)
        ++count[lengths[s]];
    count[0] = 0;
    for (int len = 1; len <= kMaxCodeLen; ++len)
        next[len + 1] = (next[len] + count[len]) << 1;
    for (int s = 0; s < n; ++s)
        codes[s] = next[lengths[s]]++;
}

// The six tables' lengths of every symbol as the 16-bit lanes of one register.
void load_lanes(const Zeb8u* lengths, int n, int numTables, __m128i* lanes)
{
    for (int s = 0; s < n; ++s) {
        alignas(16) Zeb16u lane[8] = {};
        for (int t = 0; t < numTables; ++t)
            lane[t] = lengths[t * kMaxAlphabet + s];
        lanes[s] = _mm_load_si128((const __m128i*)(void*)lane);
    }
}

// Picks each group's cheapest table (the lowest index among equal costs) and counts the
// symbols of the groups per chosen table. Two cost sums and two sets of counters (even and odd
// positions) keep the repeated additions to one register or one counter apart.
void select_groups(const Zeb16u* src, int srcLen, int numTables, const __m128i* lanes, Zeb8u* sel,
                   Zeb32u (*freq)[kMaxAlphabet])
{
    Zeb32u odd[kMaxTables][kMaxAlphabet];
    memset(odd, 0, sizeof odd);
    for (int g = 0, start = 0; start < srcLen; ++g, start += kGroupSize) {
        int end = start + kGroupSize < srcLen ? start + kGroupSize : srcLen;
        __m128i even = _mm_setzero_si128(), other = _mm_setzero_si128();
        int i = start;
        for (; i + 2 <= end; i += 2) {
            even = _mm_add_epi16(even, lanes[src[i]]);
            other = _mm_add_epi16(other, lanes[src[i + 1]]);
        }
        if (i < end)
            even = _mm_add_epi16(even, lanes[src[i]]);
        alignas(16) Zeb16u cost[8];
        _mm_store_si128((__m128i*)(void*)cost, _mm_add_epi16(even, other));
        int best = 0;
        for (int t = 1; t < numTables; ++t)
            if (cost[t] < cost[best])
                best = t;
        sel[g] = (Zeb8u)best;
        for (i = start; i + 2 <= end; i += 2) {
            ++freq[best][src[i]];
            ++odd[best][src[i + 1]];
        }
        if (i < end)
            ++freq[best][src[i]];
    }
    for (int t = 0; t < numTables; ++t)
        for (int x = 0; x < kMaxAlphabet; ++x)
            freq[t][x] += odd[t][x];
}

// First lengths: the alphabet cut into bands of growing frequency, one band per table, each
// table free (length 0) on its band and 15 elsewhere. The bands are (n + 4024) / numTables
// wide, so the last tables may stay empty.
void initial_lengths(const Zeb32u* pFreqTable, int alphabetSize, int srcLen, int numTables,
                     Zeb8u* lengths)
{
    memset(lengths, 15, (size_t)numTables * kMaxAlphabet);
    const long long step = ((long long)srcLen + 4024) / numTables;
    long long target = step, sum = 0;
    for (int s = 0, t = 0; s < alphabetSize; ++s) {
        lengths[t * kMaxAlphabet + s] = 0;
        sum += pFreqTable[s];
        if (sum > target && t + 1 < numTables) {
            target += step;
            ++t;
        }
    }
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsEncodeHuffGetSize_BZ2_16u8u(int maxBlockLen, int* pSize)
{
    ZEB_CHECK(pSize != nullptr, zebStsNullPtr);
    ZEB_CHECK(maxBlockLen >= 1, zebStsBadSize);
    *pSize = groups_of(maxBlockLen) * 2 + kSelectorsOffset;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsEncodeHuffInit_BZ2_16u8u(int alphabetSize, const Zeb32u* pFreqTable,
                                                         const Zeb16u* pSrc, int srcLen,
                                                         ZebEncodeHuffState_BZ2* pState)
{
    ZEB_CHECK(pFreqTable != nullptr && pSrc != nullptr && pState != nullptr, zebStsNullPtr);
    ZEB_CHECK(alphabetSize >= 1 && srcLen >= 1, zebStsBadSize);
    ZEB_CHECK(alphabetSize <= kMaxAlphabet, zebStsBadSize);
    const int numSelectors = groups_of(srcLen);
    ZEB_CHECK(numSelectors <= kMaxSelectors, zebStsBadSize);
    const bool sealed = pState->capacitySeal == capacity_seal(pState, pState->selectorCapacity);
    ZEB_CHECK(!sealed || (Zeb32u)numSelectors <= pState->selectorCapacity, zebStsBadSize);
    for (int i = 0; i < srcLen; ++i)
        ZEB_CHECK(pSrc[i] < alphabetSize, zebStsBadSize);

    const int numTables = table_count(srcLen);
    pState->alphabetSize = alphabetSize;
    pState->numSelectors = numSelectors;
    pState->numTables = numTables;
    pState->selectorsOffset = kSelectorsOffset;
    Zeb8u* lengths = length_tables(pState);
    Zeb32u* codes = code_tables(pState);
    Zeb8u* sel = selectors(pState);
    initial_lengths(pFreqTable, alphabetSize, srcLen, numTables, lengths);

    __m128i lanes[kMaxAlphabet];
    Zeb32u freq[kMaxTables][kMaxAlphabet];
    for (int pass = 0; pass < kPasses; ++pass) {
        load_lanes(lengths, alphabetSize, numTables, lanes);
        memset(freq, 0, sizeof freq);
        select_groups(pSrc, srcLen, numTables, lanes, sel, freq);
        for (int t = 0; t < numTables; ++t) {
            make_code_lengths(freq[t], alphabetSize, lengths + t * kMaxAlphabet);
            make_codes(lengths + t * kMaxAlphabet, alphabetSize, codes + t * kMaxAlphabet);
        }
    }
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsEncodeHuffInitAlloc_BZ2_16u8u(int maxBlockLen, int alphabetSize,
                                                              const Zeb32u* pFreqTable,
                                                              const Zeb16u* pSrc, int srcLen,
                                                              ZebEncodeHuffState_BZ2** ppState)
{
    ZEB_CHECK(ppState != nullptr, zebStsNullPtr);
    int size = 0;
    ZebStatus status = zebsEncodeHuffGetSize_BZ2_16u8u(maxBlockLen, &size);
    if (status != zebStsOk)
        return status;
    ZebEncodeHuffState_BZ2* state = (ZebEncodeHuffState_BZ2*)(void*)zebsMalloc_8u(size);
    *ppState = state;
    if (state != nullptr) {
        state->selectorCapacity = (Zeb32u)groups_of(maxBlockLen);
        state->capacitySeal = capacity_seal(state, state->selectorCapacity);
    }
    return zebsEncodeHuffInit_BZ2_16u8u(alphabetSize, pFreqTable, pSrc, srcLen, state);
}

extern "C" ZEBAPI void zebsEncodeHuffFree_BZ2_16u8u(ZebEncodeHuffState_BZ2* pState)
{
    zebsFree(pState);
}

extern "C" ZEBAPI ZebStatus zebsPackHuffContext_BZ2_16u8u(Zeb32u* pCode, int* pCodeLenBits,
                                                          Zeb8u* pDst, int* pDstLen,
                                                          ZebEncodeHuffState_BZ2* pState)
{
    ZEB_CHECK(pCode != nullptr && pCodeLenBits != nullptr && pDst != nullptr &&
                  pDstLen != nullptr && pState != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(*pDstLen >= 1, zebStsBadSize);
    ZEB_CHECK(*pCodeLenBits >= 0 && *pCodeLenBits <= 32, zebStsBadSize);
    BitWriter out{*pCode, *pCodeLenBits, pDst, 0, *pDstLen};
    out.flush();
    const int numTables = pState->numTables, numSelectors = pState->numSelectors;
    out.put((Zeb32u)numTables, 3);
    out.put((Zeb32u)numSelectors, 15);

    Zeb8u* sel = selectors(pState);
    Zeb8u* coded = sel + numSelectors;
    alignas(8) Zeb8u mtfMemory[256];
    ZebMTFState_8u* mtf = (ZebMTFState_8u*)(void*)mtfMemory;
    zebsMTFInit_8u(mtf);
    zebsMTFFwd_8u(sel, coded, numSelectors, mtf);
    for (int g = 0; g < numSelectors; ++g) // v as v one-bits and a zero-bit
        out.put(((1u << coded[g]) - 1u) << 1, coded[g] + 1);

    const int alphabetSize = pState->alphabetSize;
    for (int t = 0; t < numTables; ++t) {
        const Zeb8u* lengths = length_tables(pState) + t * kMaxAlphabet;
        int current = lengths[0];
        out.put((Zeb32u)current, 5);
        for (int s = 0; s < alphabetSize; ++s) {
            for (; current < lengths[s]; ++current)
                out.put(2, 2); // 1 0: one longer
            for (; current > lengths[s]; --current)
                out.put(3, 2); // 1 1: one shorter
            out.put(0, 1);
        }
    }
    *pDstLen = out.pos;
    *pCode = out.code;
    *pCodeLenBits = out.bits;
    return out.lost() ? zebStsDstFull : zebStsOk;
}

namespace {

// Codes symbols [from, to) of the block with 64-bit stores of the accumulator while the
// destination has room for a whole group; returns the first symbol not coded. The accumulator
// is handed back with fewer than 8 bits pending, as the byte-wise writer would leave it.
int encode_groups_fast(ZebEncodeHuffState_BZ2* s, const Zeb16u* src, int to, BitWriter& out)
{
    const Zeb8u* sel = selectors(s);
    const Zeb32u* codes = code_tables(s);
    const Zeb8u* lengths = length_tables(s);
    // Room for up to 48 pending bits and a group of 50 codes of 17 bits.
    enum { kGroupRoom = (48 + kGroupSize * kMaxCodeLen) / 8 + 8 };
    if (out.bits >= 8 || out.cap - out.pos < kGroupRoom)
        return 0;
    uint64_t acc = (uint64_t)out.code << 32;
    int bits = out.bits;
    int i = 0;
    while (i + kGroupSize <= to && out.cap - out.pos >= kGroupRoom) {
        const int t = sel[i / kGroupSize] * kMaxAlphabet;
        for (int end = i + kGroupSize; i < end; ++i) {
            if (bits >= 32) {
                Zeb32u word = (Zeb32u)(acc >> 32);
                out.dst[out.pos] = (Zeb8u)(word >> 24);
                out.dst[out.pos + 1] = (Zeb8u)(word >> 16);
                out.dst[out.pos + 2] = (Zeb8u)(word >> 8);
                out.dst[out.pos + 3] = (Zeb8u)word;
                out.pos += 4;
                acc <<= 32;
                bits -= 32;
            }
            const int x = t + src[i];
            acc |= (uint64_t)codes[x] << (64 - bits - lengths[x]);
            bits += lengths[x];
        }
    }
    for (; bits >= 8; bits -= 8, acc <<= 8)
        out.dst[out.pos++] = (Zeb8u)(acc >> 56);
    out.code = (Zeb32u)(acc >> 32);
    out.bits = bits;
    return i;
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsEncodeHuff_BZ2_16u8u(Zeb32u* pCode, int* pCodeLenBits,
                                                     Zeb16u** ppSrc, int* pSrcLen, Zeb8u* pDst,
                                                     int* pDstLen, ZebEncodeHuffState_BZ2* pState)
{
    ZEB_CHECK(pCode != nullptr && pCodeLenBits != nullptr && ppSrc != nullptr && pSrcLen != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(*ppSrc != nullptr && pDst != nullptr && pDstLen != nullptr && pState != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(*pDstLen >= 1, zebStsBadSize);
    ZEB_CHECK(*pCodeLenBits >= 0 && *pCodeLenBits <= 32, zebStsBadSize);
    const int srcLen = *pSrcLen;
    const Zeb16u* src = *ppSrc;
    ZEB_CHECK(srcLen >= 0 && srcLen <= pState->numSelectors * kGroupSize, zebStsBadSize);
    for (int i = 0; i < srcLen; ++i)
        ZEB_CHECK(src[i] < pState->alphabetSize, zebStsBadSize);

    BitWriter out{*pCode, *pCodeLenBits, pDst, 0, *pDstLen};
    out.flush();
    int i = srcLen > 1 ? encode_groups_fast(pState, src, srcLen - 1, out) : 0;
    const Zeb8u* sel = selectors(pState);
    const Zeb32u* codes = code_tables(pState);
    const Zeb8u* lengths = length_tables(pState);
    for (; i < srcLen && !out.lost(); ++i) { // the last symbol always comes this way
        const int x = sel[i / kGroupSize] * kMaxAlphabet + src[i];
        out.put(codes[x], lengths[x]);
    }
    *ppSrc += srcLen;
    *pSrcLen = 0;
    *pDstLen = out.pos;
    *pCode = out.code;
    *pCodeLenBits = out.bits;
    return out.lost() ? zebStsDstFull : zebStsOk;
}
