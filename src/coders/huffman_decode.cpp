// Byte Huffman decoder.
//
// The code is canonical with the longest codes numerically smallest, so, with every code read
// as maxLen bits (left-aligned), the first codes of the lengths grow as the lengths shrink. A
// code is decoded by comparing its next maxLen bits with the first codes from the shortest
// length on: the first length whose first code is not above them is its length, and the
// distance from that first code gives the symbol. firstCode[maxLen] is 0, so the scan ends
// there at the latest.
//
// The accumulator is 32 bits wide and holds at most 24 pending bits. Codes may be up to 32 bits
// long, but a code of length L is numerically below 256 as an L-bit number (at most 256 codes
// are as long or longer), so all but its last 8 bits are leading zeros. Whole zero bytes at the
// top of the accumulator are therefore shifted out and only counted; the count stands for the
// leading zeros of the next code. Runs of the all-zero code (maxLen zero bits) are emitted from
// the count alone.
//
// Calls with at least 4 KiB of source first tabulate, on the stack, the codes that the next 11
// bits decide by themselves (for text nearly all), and the pairs of codes that they decide
// together. The loop over those codes reads the stream through a 64-bit window refilled 8
// bytes at a time and takes up to four codes per refill. It hands over to the code search for
// everything else (a zero byte, a code the 11 bits do not decide, the last 8 source bytes, the
// last symbol of the destination), first settling the state where the byte-wise refill would
// have left it: the refill before each code tops the accumulator up to 17..24 bits, so after q
// bits of the stream it has taken exactly the bytes that hold the first q + 17 bits. A call
// thus decodes the same symbols and leaves the same state whether it uses the tables or not.
//
// Length tables from outside may be incomplete, over-subscribed or otherwise odd. Every table
// index the decoder forms is checked against the symbols of its length, and a bit pattern that
// matches no code ends the call, so no table leads it outside its state or buffers.
#include "coders/coders_internal.h"

namespace {

enum {
    kFastBits = 11,
    kFastEntries = 1 << kFastBits,
    kFastTableMinSrc = 4096 // calls this long build a table for the codes of up to 11 bits
};

struct CodeMatch {
    int symbol; // -1 when the bits match no code
    int len;
};

// Finds the code among the maxLen-bit value bits.
inline CodeMatch match_code(const HuffDecoderTail& dec, Zeb32u bits)
{
    int len = dec.minLen;
    while (dec.firstCode[len] > bits)
        ++len;
    Zeb32u offset = (bits - dec.firstCode[len]) >> (dec.maxLen - len);
    if (offset >= (Zeb32u)(dec.firstIndex[len - 1] - dec.firstIndex[len]))
        return CodeMatch{-1, len};
    return CodeMatch{dec.symbols[dec.firstIndex[len] + (int)offset], len};
}

// Fills the decoder tables from valid lengths (0..32).
void build_decoder(const Zeb32s codeLen[kHuffSymbols], HuffDecoderTail* dec)
{
    int count[kHuffMaxLen + 1] = {0};
    for (int sym = 0; sym < kHuffSymbols; ++sym)
        ++count[codeLen[sym]];
    int maxLen = kHuffMaxLen, minLen = 1;
    while (maxLen > 0 && count[maxLen] == 0)
        --maxLen;
    while (minLen < maxLen && count[minLen] == 0)
        ++minLen;
    dec->maxLen = maxLen;
    dec->minLen = maxLen == 0 ? 0 : minLen;

    // Symbols in code order; firstIndex[len] counts the codes longer than len, so the codes of
    // length len sit at [firstIndex[len], firstIndex[len - 1]).
    int index = 0;
    uint64_t counter = 0;
    for (int len = kHuffMaxLen; len >= 1; --len) {
        dec->firstIndex[len] = index;
        for (int sym = kHuffSymbols - 1; sym >= 0; --sym) {
            if (codeLen[sym] == len)
                dec->symbols[index++] = (Zeb8u)sym;
        }
        bool fits = counter < ((uint64_t)1 << len);
        dec->firstCode[len] = count[len] > 0 && fits ? (Zeb32u)(counter << (maxLen - len))
                                                     : (Zeb32u)kHuffNoCode;
        counter = (counter + (uint64_t)count[len]) >> 1;
    }
    dec->firstIndex[0] = index;
    dec->zeroSymbol = maxLen > 0 ? dec->symbols[0] : 0;
    dec->acc = 0;
    dec->nBits = 0;
    dec->zeroBits = 0;
}

// Codes of up to 11 bits decoded from the top 11 bits of the accumulator: length << 8 |
// symbol, 0 where those bits do not decide a code by themselves, and for a zero top byte,
// which is counted as zero bits instead.
void build_fast_table(const HuffDecoderTail& dec, Zeb16u table[kFastEntries])
{
    const int shift = dec.maxLen - kFastBits;
    for (Zeb32u b = 0; b < kFastEntries; ++b) {
        Zeb32u low = shift >= 0 ? b << shift : b >> -shift;
        Zeb32u high = shift > 0 ? low | ((1u << shift) - 1) : low;
        CodeMatch m = match_code(dec, low);
        bool decided = m.symbol >= 0 && m.len <= kFastBits && (b >> (kFastBits - 8)) != 0 &&
                       match_code(dec, high).symbol == m.symbol;
        table[b] = decided ? (Zeb16u)(m.len << 8 | m.symbol) : 0;
    }
}

// Extends the table to pairs of codes that the same 11 bits decide: sym1 | sym2 << 8 | len1 <<
// 16 | (len1 + len2) << 24, with len1 + len2 = len1 when only one code is decided. The second
// code is taken when every filling of the bits behind the window decodes to it (the ends of that
// range suffice: the code search is monotone in the bits).
void build_pair_table(const Zeb16u single[kFastEntries], Zeb32u pair[kFastEntries])
{
    for (Zeb32u b = 0; b < kFastEntries; ++b) {
        Zeb32u first = single[b], len1 = first >> 8;
        pair[b] = first == 0 ? 0 : (first & 0xFF) | len1 << 16 | len1 << 24;
        if (first == 0)
            continue;
        Zeb32u rest = (b << len1) & (kFastEntries - 1);
        Zeb32u second = single[rest], len2 = second >> 8;
        if (second != 0 && len1 + len2 <= kFastBits &&
            single[rest | ((1u << len1) - 1)] == second)
            pair[b] = (first & 0xFF) | (second & 0xFF) << 8 | len1 << 16 | (len1 + len2) << 24;
    }
}

// Adds source bytes while at most 16 bits are pending (the accumulator then holds 17..24).
// With four source bytes at hand this takes (24 - nBits) / 8 of them without a branch.
inline void refill(const Zeb8u* src, Zeb32s srcLen, Zeb32s* in, Zeb32u* acc, int* nBits)
{
    if (srcLen - *in >= 4) {
        int bytes = (24 - *nBits) >> 3; // 0 when more than 16 bits are pending
        Zeb32u word = __builtin_bswap32(zeb_load32(src + *in)) & ~(~0u >> (8 * bytes));
        *acc |= word >> *nBits;
        *in += bytes;
        *nBits += 8 * bytes;
        return;
    }
    while (*nBits <= 16 && *in < srcLen) {
        *acc |= (Zeb32u)src[(*in)++] << (24 - *nBits);
        *nBits += 8;
    }
}

// Where the fast loop stands: the stream is the nBits pending bits of the accumulator, then
// src[in ..). The loop leaves acc, nBits and in as the byte-wise refill would hold them.
struct StreamPos {
    const Zeb8u* src;
    Zeb32s srcLen;
    Zeb32s in;
    Zeb32u acc;
    int nBits;
};

// The state after `taken` bits of the stream have been decoded, the last refill having topped
// the accumulator up to 17 bits or to the end of the source.
void settle(StreamPos* s, int64_t taken)
{
    const int64_t need = taken + 17 - s->nBits; // source bits the refill has taken
    Zeb32s bytes = need <= 0 ? 0 : (Zeb32s)((need + 7) >> 3);
    if (bytes > s->srcLen - s->in)
        bytes = s->srcLen - s->in;
    Zeb32u acc = 0;
    int nBits = 0;
    Zeb32s k = 0; // next source byte, counted from in
    if (taken < s->nBits) {
        acc = s->acc << taken;
        nBits = s->nBits - (int)taken;
    } else {
        const int64_t skip = taken - s->nBits;
        k = (Zeb32s)(skip >> 3);
        if (k < bytes) {
            const int drop = (int)(skip & 7);
            acc = (Zeb32u)s->src[s->in + k++] << (24 + drop);
            nBits = 8 - drop;
        }
    }
    for (; k < bytes; ++k, nBits += 8)
        acc |= (Zeb32u)s->src[s->in + k] << (24 - nBits);
    s->in += bytes;
    s->acc = acc;
    s->nBits = nBits;
}

inline uint64_t load_be64(const Zeb8u* p) { return __builtin_bswap64(zeb_load64(p)); }

// One table step: the one or two codes the top 11 bits of the window decide, written at
// dst[*out] (a lone code rewrites the byte after it with its own value). False when the bits
// decide no code.
inline bool take_codes(const Zeb32u pairTable[kFastEntries], uint64_t* window, int* avail,
                       Zeb8u* dst, Zeb32s* out)
{
    const Zeb32u entry = pairTable[*window >> (64 - kFastBits)];
    if (entry == 0)
        return false;
    const int both = (int)(entry >> 24);
    const bool pair = both > (int)((entry >> 16) & 0xFF);
    dst[*out] = (Zeb8u)entry;
    dst[*out + 1] = pair ? (Zeb8u)(entry >> 8) : dst[*out + 1];
    *out += pair ? 2 : 1;
    *window <<= both;
    *avail -= both;
    return true;
}

// Decodes the codes the pair table decides while at least 8 source bytes remain and more than
// four symbols of room: two table steps of up to two codes (22 bits) per refill of 56 or more.
// Returns the symbols written; the state is settled behind the last of them.
Zeb32s decode_fast(const Zeb32u pairTable[kFastEntries], StreamPos* s, Zeb8u* dst, Zeb32s room)
{
    const Zeb8u* p = s->src + s->in;
    const Zeb8u* const start = p;
    const Zeb8u* const lastLoad = s->src + s->srcLen - 8;
    uint64_t window = (uint64_t)s->acc << 32;
    int avail = s->nBits;
    Zeb32s out = 0;
    while (p <= lastLoad && room - out > 4) {
        window |= load_be64(p) >> avail;
        p += (63 - avail) >> 3;
        avail |= 56;
        if (!take_codes(pairTable, &window, &avail, dst, &out) ||
            !take_codes(pairTable, &window, &avail, dst, &out))
            break;
    }
    settle(s, (int64_t)s->nBits + 8 * (int64_t)(p - start) - avail);
    return out;
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsDecodeHuffInit_8u(const Zeb32s codeLenTable[256],
                                                  ZebHuffState* pState)
{
    ZEB_CHECK(codeLenTable != nullptr && pState != nullptr, zebStsNullPtr);
    for (int sym = 0; sym < kHuffSymbols; ++sym)
        ZEB_CHECK(codeLenTable[sym] >= 0 && codeLenTable[sym] <= kHuffMaxLen,
                  zebStsCodeLenTableError);
    memcpy(pState->codeLen, codeLenTable, sizeof pState->codeLen);
    ownHuffAssignCodes(pState->codeLen, pState->code);
    build_decoder(pState->codeLen, &pState->dec);
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsDecodeHuffInitAlloc_8u(const Zeb32s codeLenTable[256],
                                                       ZebHuffState** ppState)
{
    ZEB_CHECK(codeLenTable != nullptr && ppState != nullptr, zebStsNullPtr);
    *ppState = (ZebHuffState*)zebsMalloc_8u(kHuffStateSize);
    return zebsDecodeHuffInit_8u(codeLenTable, *ppState);
}

extern "C" ZEBAPI ZebStatus zebsDecodeHuff_8u(const Zeb8u* pSrc, Zeb32s srcLen, Zeb8u* pDst,
                                              Zeb32s* pDstLen, ZebHuffState* pState)
{
    ZEB_CHECK(pSrc != nullptr && pDst != nullptr && pDstLen != nullptr && pState != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(srcLen >= 1 && *pDstLen >= 1, zebStsBadSize);
    HuffDecoderTail& dec = pState->dec;
    const int maxLen = dec.maxLen;
    if (maxLen == 0) { // no symbol has a code
        *pDstLen = 0;
        return zebStsOk;
    }
    const Zeb32s cap = *pDstLen;
    Zeb16u fastTable[kFastEntries];
    Zeb32u pairTable[kFastEntries];
    const bool useTable = srcLen >= kFastTableMinSrc;
    if (useTable) {
        build_fast_table(dec, fastTable);
        build_pair_table(fastTable, pairTable);
    }
    Zeb32u acc = dec.acc;
    int nBits = dec.nBits, zeroBits = dec.zeroBits;
    Zeb32s in = 0, out = 0;
    while (out < cap) {
        if (useTable && zeroBits == 0) {
            StreamPos pos = {pSrc, srcLen, in, acc, nBits};
            out += decode_fast(pairTable, &pos, pDst + out, cap - out);
            in = pos.in;
            acc = pos.acc;
            nBits = pos.nBits;
        }
        if (zeroBits >= maxLen) {
            pDst[out++] = (Zeb8u)dec.zeroSymbol;
            zeroBits -= maxLen;
            continue;
        }
        refill(pSrc, srcLen, &in, &acc, &nBits);
        if (nBits >= 8 && (acc >> 24) == 0) {
            acc <<= 8;
            nBits -= 8;
            zeroBits += 8;
            continue;
        }
        // The next maxLen bits: zeroBits counted zeros, then the top of the accumulator.
        Zeb32u bits = acc >> (32 - (maxLen - zeroBits));
        CodeMatch match = match_code(dec, bits);
        int fromAcc = match.len - zeroBits;
        if (match.symbol < 0 || fromAcc > nBits)
            break;
        if (fromAcc > 0) {
            acc <<= fromAcc;
            nBits -= fromAcc;
            zeroBits = 0;
        } else {
            zeroBits -= match.len;
        }
        pDst[out++] = (Zeb8u)match.symbol;
    }
    dec.acc = acc;
    dec.nBits = nBits;
    dec.zeroBits = zeroBits;
    *pDstLen = out;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsDecodeHuffOne_8u(const Zeb8u* pSrc, Zeb32s srcOffsetBits,
                                                 Zeb8u* pDst, const ZebHuffState* pState)
{
    ZEB_CHECK(pSrc != nullptr && pDst != nullptr && pState != nullptr, zebStsNullPtr);
    ZEB_CHECK(srcOffsetBits >= 0 && srcOffsetBits <= 7, zebStsBadSize);
    const HuffDecoderTail& dec = pState->dec;
    ZEB_CHECK(dec.maxLen >= 1 && dec.maxLen <= kHuffMaxLen, zebStsBadSize);
    int bytes = (srcOffsetBits + dec.maxLen + 7) >> 3; // 1..5
    uint64_t window = 0;
    for (int i = 0; i < bytes; ++i)
        window |= (uint64_t)pSrc[i] << (56 - 8 * i);
    Zeb32u bits = (Zeb32u)((window << srcOffsetBits) >> (64 - dec.maxLen));
    CodeMatch match = match_code(dec, bits);
    ZEB_CHECK(match.symbol >= 0, zebStsBadSize);
    *pDst = (Zeb8u)match.symbol;
    return zebStsOk;
}
