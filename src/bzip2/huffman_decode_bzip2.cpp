// bzip2's multi-table Huffman decoder: reads the coding-table header (table count, selectors,
// delta-coded code lengths), then the codes of one block up to its end-of-block symbol.
//
// Both readers take bits most significant first from the caller's 32-bit accumulator and stop
// with zebStsSrcShort at any byte boundary of the source; the state records where they were.
// Each table decodes codes of up to 8 bits with one look-up of the next 8 bits; longer codes
// (9..20 bits) are found by comparing the next 20 bits with the left-aligned start of each
// length. Code sets whose Kraft sum exceeds 1 are refused, so every comparison stays in range;
// incomplete sets are accepted and a bit pattern that matches no code is refused when met.
#include "bzip2/bzip2_internal.h"

using namespace zeb_bzip2;

namespace {

enum {
    kFastBits = 8,
    kLongLevels = kMaxDecodeLen - kFastBits, // lengths 9..20
    kPeekBits = 20,                          // bits buffered before each symbol
    kStateFixedSize = 8176,
    kPhaseCounts = 0,
    kPhaseSelectors = 1,
    kPhaseLengths = 2
};

struct DecodeTable {
    Zeb16u fast[1 << kFastBits];   // symbol | length << 12, for codes of at most 8 bits
    Zeb16u sorted[kMaxAlphabet];   // symbols of 9 bits or more in canonical order
    Zeb32u limit[kLongLevels + 1]; // limit[k]: first code of length 9 + k, in 20-bit units
    Zeb16u base[kLongLevels + 1];  // index in `sorted` of the first code of length 9 + k
    Zeb16u levels;                 // long lengths used: the codes end at limit[levels]
};

} // namespace

// The selectors (one byte per group) follow the fixed part at kStateFixedSize.
struct ZebDecodeHuffState_BZ2 {
    Zeb32s phase; // header reader: 0 counts, 1 selectors, 2 code lengths
    Zeb32s numTables;
    Zeb32s numSelectors;
    Zeb32s index;  // selector or table being read
    Zeb32s symbol; // symbol whose length is being read; -1 before the start length
    Zeb32s currentLen;
    Zeb32s groupIndex; // group of 50 being decoded
    Zeb32s alphabetSize;
    Zeb32s groupPos;    // symbols already decoded in that group
    Zeb32s tablesReady; // 1 once a whole header has been read
    Zeb32u selectorCapacity;
    Zeb32u capacitySeal;
    Zeb8u lengths[kMaxAlphabet + 2]; // of the table being read
    DecodeTable tables[kMaxTables];
};
static_assert(sizeof(ZebDecodeHuffState_BZ2) <= kStateFixedSize, "the documented state size");

namespace {

inline Zeb8u* selectors(ZebDecodeHuffState_BZ2* s)
{
    return (Zeb8u*)s + kStateFixedSize;
}

inline int groups_of(int symbols)
{
    return (int)(((long long)symbols + kGroupSize - 1) / kGroupSize);
}

struct BitReader {
    Zeb32u code;
    int bits;
    const Zeb8u* src;
    int left;

    void refill()
    {
        while (bits <= 24 && left > 0) {
            code |= (Zeb32u)*src++ << (24 - bits);
            bits += 8;
            --left;
        }
    }
    void skip(int n)
    {
        code = n < 32 ? code << n : 0;
        bits -= n;
    }
};

// Builds a table's decoding arrays from its code lengths (1..20) by the canonical rule.
ZebStatus build_table(const Zeb8u* lengths, int n, DecodeTable* table)
{
    int count[kMaxDecodeLen + 1] = {};
    for (int s = 0; s < n; ++s)
        ++count[lengths[s]];
    Zeb32u kraft = 0;
    for (int len = 1; len <= kMaxDecodeLen; ++len)
        kraft += (Zeb32u)count[len] << (kMaxDecodeLen - len);
    ZEB_CHECK(kraft <= (1u << kMaxDecodeLen), zebStsBadContext);

    Zeb32u next[kMaxDecodeLen + 2] = {};
    int maxLen = 1;
    for (int len = 1; len <= kMaxDecodeLen; ++len) {
        next[len + 1] = (next[len] + (Zeb32u)count[len]) << 1;
        if (count[len] != 0)
            maxLen = len;
    }
    memset(table->fast, 0, sizeof table->fast);
    table->levels = (Zeb16u)(maxLen > kFastBits ? maxLen - kFastBits : 0);
    for (int k = 0; k <= kLongLevels; ++k) { // end of the codes of length 8 + k
        int len = kFastBits + k;
        table->limit[k] = (next[len] + (Zeb32u)count[len]) << (kMaxDecodeLen - len);
    }
    int sortedCount = 0;
    for (int len = 1; len <= maxLen; ++len) {
        if (len > kFastBits)
            table->base[len - kFastBits - 1] = (Zeb16u)sortedCount;
        for (int s = 0; s < n; ++s) {
            if (lengths[s] != len)
                continue;
            Zeb32u code = next[len]++;
            if (len <= kFastBits) {
                int span = 1 << (kFastBits - len);
                for (int i = 0; i < span; ++i)
                    table->fast[(code << (kFastBits - len)) + i] = (Zeb16u)(s | len << 12);
            } else {
                table->sorted[sortedCount++] = (Zeb16u)s;
            }
        }
    }
    return zebStsOk;
}

// Reads the unary-coded selectors; a run of ones must stay below the table count.
ZebStatus read_selectors(BitReader& in, ZebDecodeHuffState_BZ2* s)
{
    Zeb8u* sel = selectors(s);
    while (s->index < s->numSelectors) {
        in.refill();
        int ones = ~in.code == 0 ? 32 : __builtin_clz(~in.code);
        if (ones > in.bits)
            ones = in.bits;
        ZEB_CHECK(ones < s->numTables, zebStsBadContext);
        if (ones == in.bits)
            return zebStsSrcShort;
        sel[s->index++] = (Zeb8u)ones;
        in.skip(ones + 1);
    }
    alignas(8) Zeb8u mtfMemory[256];
    ZebMTFState_8u* mtf = (ZebMTFState_8u*)(void*)mtfMemory;
    zebsMTFInit_8u(mtf);
    return zebsMTFInv_8u(sel, sel, s->numSelectors, mtf);
}

// Reads the delta-coded lengths of every table and builds its decoding arrays.
ZebStatus read_lengths(BitReader& in, ZebDecodeHuffState_BZ2* s)
{
    while (s->index < s->numTables) {
        in.refill();
        if (s->symbol < 0) {
            if (in.bits < 5)
                return zebStsSrcShort;
            s->currentLen = (Zeb32s)(in.code >> 27);
            ZEB_CHECK(s->currentLen >= 1 && s->currentLen <= kMaxDecodeLen, zebStsBadContext);
            in.skip(5);
            s->symbol = 0;
        }
        while (s->symbol < s->alphabetSize) {
            in.refill();
            if (in.bits < 1 || (in.bits < 2 && (in.code >> 31) != 0))
                return zebStsSrcShort;
            if ((in.code >> 31) == 0) {
                s->lengths[s->symbol++] = (Zeb8u)s->currentLen;
                in.skip(1);
                continue;
            }
            int len = s->currentLen + (((in.code >> 30) & 1) != 0 ? -1 : 1);
            ZEB_CHECK(len >= 1 && len <= kMaxDecodeLen, zebStsBadContext);
            s->currentLen = len;
            in.skip(2);
        }
        ZebStatus status = build_table(s->lengths, s->alphabetSize, &s->tables[s->index]);
        if (status != zebStsOk)
            return status;
        ++s->index;
        s->symbol = -1;
    }
    return zebStsOk;
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsDecodeHuffGetSize_BZ2_8u16u(int maxBlockLen, int* pSize)
{
    ZEB_CHECK(pSize != nullptr, zebStsNullPtr);
    ZEB_CHECK(maxBlockLen >= 1, zebStsBadSize);
    *pSize = groups_of(maxBlockLen) + kStateFixedSize;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsDecodeHuffInit_BZ2_8u16u(int alphabetSize,
                                                         ZebDecodeHuffState_BZ2* pState)
{
    ZEB_CHECK(pState != nullptr, zebStsNullPtr);
    ZEB_CHECK(alphabetSize >= 1 && alphabetSize <= kMaxAlphabet, zebStsBadSize);
    if (pState->capacitySeal != capacity_seal(pState, pState->selectorCapacity)) {
        pState->selectorCapacity = kMaxBlockGroups; // caller memory: the largest bzip2 block
        pState->capacitySeal = capacity_seal(pState, kMaxBlockGroups);
    }
    pState->phase = kPhaseCounts;
    pState->numTables = 0;
    pState->numSelectors = 0;
    pState->index = 0;
    pState->symbol = -1;
    pState->currentLen = 0;
    pState->groupIndex = 0;
    pState->alphabetSize = alphabetSize;
    pState->groupPos = 0;
    pState->tablesReady = 0;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsDecodeHuffInitAlloc_BZ2_8u16u(int maxBlockLen, int alphabetSize,
                                                              ZebDecodeHuffState_BZ2** ppState)
{
    ZEB_CHECK(ppState != nullptr, zebStsNullPtr);
    int size = 0;
    ZebStatus status = zebsDecodeHuffGetSize_BZ2_8u16u(maxBlockLen, &size);
    if (status != zebStsOk)
        return status;
    ZebDecodeHuffState_BZ2* state = (ZebDecodeHuffState_BZ2*)(void*)zebsMalloc_8u(size);
    *ppState = state;
    if (state != nullptr) {
        state->selectorCapacity = (Zeb32u)groups_of(maxBlockLen);
        state->capacitySeal = capacity_seal(state, state->selectorCapacity);
    }
    return zebsDecodeHuffInit_BZ2_8u16u(alphabetSize, state);
}

extern "C" ZEBAPI void zebsDecodeHuffFree_BZ2_8u16u(ZebDecodeHuffState_BZ2* pState)
{
    zebsFree(pState);
}

extern "C" ZEBAPI ZebStatus zebsUnpackHuffContext_BZ2_8u16u(Zeb32u* pCode, int* pCodeLenBits,
                                                            Zeb8u** ppSrc, int* pSrcLen,
                                                            ZebDecodeHuffState_BZ2* pState)
{
    ZEB_CHECK(pCode != nullptr && pCodeLenBits != nullptr, zebStsNullPtr);
    ZEB_CHECK(ppSrc != nullptr && pSrcLen != nullptr && pState != nullptr, zebStsNullPtr);
    ZEB_CHECK(*ppSrc != nullptr, zebStsNullPtr);
    ZEB_CHECK(*pSrcLen > 0, zebStsBadSize);
    ZEB_CHECK(*pCodeLenBits >= 0 && *pCodeLenBits <= 32, zebStsBadSize);
    ZEB_CHECK(pState->phase >= kPhaseCounts && pState->phase <= kPhaseLengths, zebStsError);
    BitReader in{*pCode, *pCodeLenBits, *ppSrc, *pSrcLen};
    ZebStatus status = zebStsOk;
    if (pState->phase == kPhaseCounts) {
        pState->tablesReady = 0;
        in.refill();
        if (in.bits < 18) {
            status = zebStsSrcShort;
        } else {
            int numTables = (int)(in.code >> 29);
            int numSelectors = (int)((in.code >> 14) & 0x7FFF);
            ZEB_CHECK(numTables >= 2 && numTables <= kMaxTables, zebStsBadContext);
            ZEB_CHECK(numSelectors >= 1 && (Zeb32u)numSelectors <= pState->selectorCapacity,
                      zebStsBadContext);
            in.skip(18);
            pState->numTables = numTables;
            pState->numSelectors = numSelectors;
            pState->index = 0;
            pState->phase = kPhaseSelectors;
        }
    }
    if (status == zebStsOk && pState->phase == kPhaseSelectors) {
        status = read_selectors(in, pState);
        if (status == zebStsOk) {
            pState->phase = kPhaseLengths;
            pState->index = 0;
            pState->symbol = -1;
        }
    }
    if (status == zebStsOk && pState->phase == kPhaseLengths) {
        status = read_lengths(in, pState);
        if (status == zebStsOk) {
            pState->phase = kPhaseCounts;
            pState->index = 0;
            pState->symbol = -1;
            pState->currentLen = 0;
            pState->groupIndex = 0;
            pState->groupPos = 0;
            pState->tablesReady = 1;
        }
    }
    if (status < 0)
        return status; // the state must be initialised again
    *pCode = in.code;
    *pCodeLenBits = in.bits;
    *pSrcLen -= (int)(in.src - *ppSrc);
    *ppSrc = (Zeb8u*)in.src;
    return status;
}

namespace {

// Decodes one symbol from the 20 buffered bits; -1 for a pattern that matches no code.
inline int decode_symbol(const DecodeTable* table, Zeb32u code, int* len)
{
    Zeb32u peek = code >> (32 - kPeekBits);
    if (peek < table->limit[0]) {
        Zeb16u entry = table->fast[code >> (32 - kFastBits)];
        *len = entry >> 12;
        return entry & 0x1FF;
    }
    int k = 0;
    while (k < table->levels && peek >= table->limit[k + 1])
        ++k;
    if (k == table->levels)
        return -1;
    *len = kFastBits + 1 + k;
    return table->sorted[table->base[k] + ((peek - table->limit[k]) >> (kLongLevels - 1 - k))];
}

// Whole groups with a 64-bit bit buffer topped up to 56 or more bits before each symbol, while
// the destination has room for a group and the source holds more than a group's codes and an
// 8-byte load. The byte-wise reader loads a byte only while fewer than kPeekBits bits are
// pending; on leaving, the bytes loaded beyond that are handed back, so the accumulator, the
// source position and every decoded symbol are exactly those of the byte-wise reader.
struct FastGroups {
    // Loaded during a group: its codes and up to 64 bits ahead of them; then one more load.
    enum { kSourceMargin = (64 + kGroupSize * kMaxDecodeLen) / 8 + 8 };
    uint64_t acc; // pending bits at the top; the bits below them are the source's next bits
    int bits;
    int loaded; // bytes taken from the source by this reader
    const Zeb8u* src;
    int left;

    FastGroups(const BitReader& in)
        : acc((uint64_t)in.code << 32), bits(in.bits), loaded(0), src(in.src), left(in.left)
    {
    }

    void refill()
    {
        acc |= __builtin_bswap64(zeb_load64(src)) >> bits;
        const int taken = (63 - bits) >> 3;
        src += taken, left -= taken, loaded += taken, bits += taken * 8;
    }
    // Back to the byte-wise reader's state before the next symbol.
    void hand_back(BitReader& in)
    {
        for (; loaded > 0 && bits - 8 >= kPeekBits; --loaded, bits -= 8)
            --src, ++left;
        acc &= ~(uint64_t)0 << (64 - bits);
        in.code = (Zeb32u)(acc >> 32);
        in.bits = bits;
        in.src = src;
        in.left = left;
    }
};

enum { kWideBits = 11 }; // the fast reader's first look-up

// The fast reader's look-up of the next kWideBits bits: symbol | length << 12 for codes of at
// most kWideBits bits, 0 where a longer code starts or no code does.
void build_wide(const DecodeTable* table, Zeb16u* wide)
{
    for (int i = 0; i < 1 << kWideBits; ++i)
        wide[i] = table->fast[i >> (kWideBits - kFastBits)];
    const int step = 1 << (kPeekBits - kWideBits); // codes of 9..11 bits lie on these steps
    for (int k = 0; k < table->levels && kFastBits + 1 + k <= kWideBits; ++k)
        for (Zeb32u peek = table->limit[k]; peek < table->limit[k + 1]; peek += step) {
            int symbol =
                table->sorted[table->base[k] + ((peek - table->limit[k]) >> (kLongLevels - 1 - k))];
            wide[peek / step] = (Zeb16u)(symbol | (kFastBits + 1 + k) << 12);
        }
}

// Decodes whole groups from *groupIndex on (*groupPos being 0) while both buffers surely hold
// a group. The end-of-block symbol and a pattern that matches no code are left to the
// byte-wise loop: the reader stops right before them, *groupPos symbols into their group.
void decode_groups_fast(ZebDecodeHuffState_BZ2* s, BitReader& in, Zeb16u* dst, int capacity,
                        int* groupIndex, int* groupPos)
{
    if (in.left < FastGroups::kSourceMargin || *groupPos != 0)
        return;
    Zeb16u wide[kMaxTables][1 << kWideBits];
    for (int t = 0; t < s->numTables; ++t)
        build_wide(&s->tables[t], wide[t]);
    FastGroups fast(in);
    const Zeb8u* sel = selectors(s);
    const int endOfBlock = s->alphabetSize - 1;
    int g = *groupIndex;
    for (; g < s->numSelectors && fast.left >= FastGroups::kSourceMargin &&
           capacity - g * kGroupSize >= kGroupSize;
         ++g) {
        const DecodeTable* table = &s->tables[sel[g]];
        const Zeb16u* look = wide[sel[g]];
        Zeb16u* out = dst + g * kGroupSize;
        for (int i = 0; i < kGroupSize; ++i) {
            fast.refill();
            Zeb16u entry = look[fast.acc >> (64 - kWideBits)];
            int len = entry >> 12;
            int symbol = entry & 0xFFF;
            if (entry == 0)
                symbol = decode_symbol(table, (Zeb32u)(fast.acc >> 32), &len);
            if (ZEB_UNLIKELY(symbol < 0 || symbol == endOfBlock)) {
                *groupPos = i;
                *groupIndex = g;
                fast.hand_back(in);
                return;
            }
            fast.acc <<= len;
            fast.bits -= len;
            out[i] = (Zeb16u)symbol;
        }
    }
    *groupIndex = g;
    fast.hand_back(in);
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsDecodeHuff_BZ2_8u16u(Zeb32u* pCode, int* pCodeLenBits,
                                                     Zeb8u** ppSrc, int* pSrcLen, Zeb16u* pDst,
                                                     int* pDstLen, ZebDecodeHuffState_BZ2* pState)
{
    ZEB_CHECK(pCode != nullptr && pCodeLenBits != nullptr && ppSrc != nullptr && pSrcLen != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(*ppSrc != nullptr && pDst != nullptr && pDstLen != nullptr && pState != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(*pDstLen >= 1, zebStsBadSize);
    ZEB_CHECK(*pSrcLen >= 0, zebStsBadSize);
    ZEB_CHECK(*pCodeLenBits >= 0 && *pCodeLenBits <= 32, zebStsBadSize);
    ZEB_CHECK(pState->tablesReady == 1, zebStsBadContext);
    BitReader in{*pCode, *pCodeLenBits, *ppSrc, *pSrcLen};
    const Zeb8u* sel = selectors(pState);
    const int endOfBlock = pState->alphabetSize - 1, capacity = *pDstLen;
    int groupIndex = pState->groupIndex, groupPos = pState->groupPos;
    ZebStatus status = zebStsOk;
    for (;;) {
        decode_groups_fast(pState, in, pDst, capacity, &groupIndex, &groupPos);
        ZEB_CHECK(groupIndex < pState->numSelectors, zebStsBadContext);
        const DecodeTable* table = &pState->tables[sel[groupIndex]];
        int pos = groupIndex * kGroupSize + groupPos;
        for (; groupPos < kGroupSize; ++groupPos, ++pos) {
            if (pos >= capacity) {
                status = in.left == 0 ? zebStsSrcShort : zebStsDstFull;
                break;
            }
            while (in.bits < kPeekBits && in.left > 0) {
                in.code |= (Zeb32u)*in.src++ << (24 - in.bits);
                in.bits += 8;
                --in.left;
            }
            if (in.bits < kPeekBits) {
                status = zebStsSrcShort;
                break;
            }
            int len = 0;
            int symbol = decode_symbol(table, in.code, &len);
            ZEB_CHECK(symbol >= 0, zebStsBadContext);
            in.skip(len);
            pDst[pos] = (Zeb16u)symbol;
            if (symbol == endOfBlock) {
                *pDstLen = pos;
                groupIndex = groupPos = 0;
                pState->tablesReady = 0;
                break;
            }
        }
        if (status != zebStsOk || pState->tablesReady == 0)
            break;
        ++groupIndex;
        groupPos = 0;
    }
    pState->groupIndex = groupIndex;
    pState->groupPos = groupPos;
    *pCode = in.code;
    *pCodeLenBits = in.bits;
    *pSrcLen -= (int)(in.src - *ppSrc);
    *ppSrc = (Zeb8u*)in.src;
    return status;
}
