// Symbol counting, the choice between fixed and dynamic codes, and the dynamic-code block
// writer of RFC 1951 (BTYPE 10).
//
// The dynamic writer codes the pairs with the counts of zebsEncodeLZ77SelectHuffMode_8u when it
// was called for this block, else it counts the pairs of its first call itself. Its header is
// built whole into a work area, then delivered like the coded pairs as room allows.
#include "deflate/deflate_internal.h"

namespace
{

using deflate_rules::distExtra;
using deflate_rules::kDistBase;
using deflate_rules::kLenBase;
using deflate_rules::kLenExtra;

enum { kEndOfBlock = 256, kFirstLengthSymbol = 257 };

// The codes of the pair coder: every match length with its extra bits, and the distance codes.
void merge_codes(OwnDeflateWork* work)
{
    for (Zeb32s length = kLZ77MinMatch; length <= kLZ77MaxMatch; ++length) {
        Zeb32u code = lCodeTab[length - kLZ77MinMatch];
        const OwnHuffEntry& entry = work->litLen[kFirstLengthSymbol + code];
        Zeb32u extra = (Zeb32u)(length - kLenBase[code]);
        Zeb32u count = (Zeb32u)(entry.len + kLenExtra[code]);
        work->merged.length[length - kLZ77MinMatch] =
            entry.len == 0 ? 0 : (entry.code | extra << entry.len) | count << 24;
    }
    for (Zeb32s code = 0; code < kDistCodes; ++code) {
        const OwnHuffEntry& entry = work->dist[code];
        Zeb32s extra = distExtra(code);
        work->merged.distance[code] = OwnDistanceCode{entry.code, (Zeb16u)((1u << extra) - 1),
                                                      (Zeb8u)entry.len, (Zeb8u)(entry.len + extra)};
    }
}

// The mode rule: list the literal/length symbols by first appearance with counts c1..cn, take
// the count-weighted mean position q; dynamic when the largest count exceeds c(q) by N / 4.
Zeb32s choose_mode(const OwnDeflateWork* work, Zeb32s distinct, Zeb32s pairs)
{
    if (pairs == 0 || distinct == 0)
        return kBlockFixed;
    uint64_t weighted = 0;
    Zeb32u largest = 0;
    for (Zeb32s k = 0; k < distinct; ++k) {
        Zeb32u count = work->litLen[work->order[k]].count;
        weighted += (uint64_t)(k + 1) * count;
        if (count > largest)
            largest = count;
    }
    uint64_t q = weighted / (uint64_t)pairs;
    if (q < 1)
        q = 1;
    if (q > (uint64_t)distinct)
        q = (uint64_t)distinct;
    Zeb32u atMean = work->litLen[work->order[q - 1]].count;
    return largest - atMean >= (Zeb32u)(pairs >> 2) ? kBlockDynamic : kBlockFixed;
}

// Whether every pair is one the writers can code. Branch-free, so the compiler can vectorise it.
bool all_pairs_valid(const ZebLZ77Pair* pairs, Zeb32s n)
{
    Zeb32u invalid = 0;
    for (Zeb32s i = 0; i < n; ++i) {
        Zeb16u length = pairs[i].length, offset = pairs[i].offset;
        Zeb16u badLiteral = length > 255;
        // length 3..258 and distance 1..32768 leave both terms within a byte
        Zeb16u badMatch = ((Zeb16u)(length - kLZ77MinMatch) | (Zeb16u)(offset - 1) >> 7) > 255;
        invalid |= offset == 0 ? badLiteral : badMatch;
    }
    return invalid == 0;
}

} // namespace

// The counts go to local arrays first and reach the work areas only when every pair is valid.
// A pair takes no branch: a literal counts as a distance of 32768 too, taken back at the end,
// and first appearances are told by a flag array that is rarely written, so the loop never
// waits for a count it has just stored.
ZebStatus ownCountPairs(const ZebLZ77Pair* pairs, Zeb32s n, OwnDeflateWork* work, Zeb32s* pDistinct)
{
    ZEB_CHECK(all_pairs_valid(pairs, n), zebStsError);
    Zeb32u litLenCount[kLitLenCodes] = {0};
    Zeb32u distCount[kDistCodes] = {0};
    Zeb8u seen[kLitLenCodes] = {0};
    Zeb32s distinct = 0;
    for (Zeb32s i = 0; i < n; ++i) {
        Zeb32u length = pairs[i].length, offset = pairs[i].offset;
        Zeb32u literalMask = 0u - (Zeb32u)(offset == 0); // selects without a branch
        Zeb32u lengthSymbol = kFirstLengthSymbol + lCodeTab[(Zeb8u)(length - kLZ77MinMatch)];
        Zeb32u symbol = lengthSymbol ^ ((length ^ lengthSymbol) & literalMask);
        ++litLenCount[symbol];
        Zeb32u d = (offset - 1u) & 0x7FFF; // distance - 1, 32767 for a literal
        ++distCount[dCodeTab[d < 256 ? d : 256 + (d >> 7)]];
        if (!seen[symbol]) {
            seen[symbol] = 1;
            work->order[distinct++] = (Zeb16u)symbol;
        }
    }
    for (Zeb32s k = 0; k < 256; ++k)
        distCount[kDistCodes - 1] -= litLenCount[k];
    litLenCount[kEndOfBlock] = 1;
    for (Zeb32s k = 0; k < kLitLenCodes; ++k)
        work->litLen[k] = OwnHuffEntry{0, 0, litLenCount[k]};
    for (Zeb32s k = 0; k < kDistCodes; ++k)
        work->dist[k] = OwnHuffEntry{0, 0, distCount[k]};
    *pDistinct = distinct;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsEncodeLZ77SelectHuffMode_8u(const ZebLZ77Pair* pSrc, Zeb32s srcLen,
                                                            Zeb32s* pHuffMode,
                                                            ZebLZ77EncoderState* pState)
{
    ZEB_CHECK(pSrc != nullptr && pHuffMode != nullptr && pState != nullptr, zebStsNullPtr);
    ZEB_CHECK(srcLen >= 0, zebStsBadSize);
    ZebLZ77EncoderHeader* e = ownLZ77Header(pState);
    if (e->subState == kSubHeaderDue) {
        OwnDeflateWork* work = &ownLZ77Regions(e)->work;
        Zeb32s distinct = 0;
        e->freqCounted = 0;
        ZebStatus status = ownCountPairs(pSrc, srcLen, work, &distinct);
        if (status != zebStsOk)
            return status;
        e->huffMode = choose_mode(work, distinct, srcLen);
        e->freqCounted = 1;
    }
    *pHuffMode = e->huffMode;
    return zebStsOk;
}

void ownStageDynamicHeader(ZebLZ77EncoderHeader* e, OwnBitSink& s, bool final)
{
    OwnDeflateWork* work = &ownLZ77Regions(e)->work;
    ownLenCalculate(work->litLen, kLitLenCodes, kMaxCodeLen, work);
    ownLenCalculate(work->dist, kDistCodes, kMaxCodeLen, work);
    Zeb32s hlit = kLitLenCodes, hdist = kDistCodes, hclen = kCodeLenCodes;
    while (hlit > kFirstLengthSymbol && work->litLen[hlit - 1].len == 0)
        --hlit;
    while (hdist > 1 && work->dist[hdist - 1].len == 0)
        --hdist;

    Zeb32u clCount[kCodeLenCodes] = {0};
    ownCodeCalculate1(work->litLen, hlit, clCount);
    ownCodeCalculate1(work->dist, hdist, clCount);
    for (Zeb32s i = 0; i < kCodeLenCodes; ++i)
        work->codeLen[i] = OwnHuffEntry{0, 0, clCount[i]};
    ownLenCalculate(work->codeLen, kCodeLenCodes, kMaxCodeLenCodeLen, work);
    Zeb32u ignored[kCodeLenCodes] = {0};
    ownCodeCalculate1(work->codeLen, kCodeLenCodes, ignored);
    while (hclen > 4 && work->codeLen[sTreeOrder[hclen - 1]].len == 0)
        --hclen;

    OwnBitSink h = {s.acc, s.count, work->header, kDynHeaderBytes};
    ownPutBits(h, final ? 5u : 4u, 3); // BFINAL, BTYPE 10
    ownPutBits(h, (Zeb32u)(hlit - 257), 5);
    ownPutBits(h, (Zeb32u)(hdist - 1), 5);
    ownPutBits(h, (Zeb32u)(hclen - 4), 4);
    for (Zeb32s i = 0; i < hclen; ++i) {
        ownDrainBits(h);
        ownPutBits(h, work->codeLen[sTreeOrder[i]].len, 3);
    }
    auto put_length = [&h, work](Zeb32s symbol, Zeb32u extra, Zeb32s extraBits) {
        ownDrainBits(h);
        ownPutBits(h, work->codeLen[symbol].code, work->codeLen[symbol].len);
        ownPutBits(h, extra, extraBits);
    };
    ownRunLengths(work->litLen, hlit, put_length);
    ownRunLengths(work->dist, hdist, put_length);
    ownDrainBits(h);
    ZEB_ASSERT(h.count < 8);
    e->headerLen = (Zeb32s)(h.dst - work->header);
    merge_codes(work);
    s.acc = h.acc;
    s.count = h.count;
}

Zeb32s ownCodePairsDynamic(OwnBitSink& sink, const ZebLZ77Pair* pairs, Zeb32s n,
                           const OwnDeflateWork* work, ZebStatus* pStatus)
{
    const OwnHuffEntry* litLen = work->litLen;
    const OwnMergedCodes& merged = work->merged;
    OwnBitSink s = sink; // a local copy: stores through s.dst cannot alias it
    Zeb32s i = 0;
    for (; i < n; ++i) {
        ownDrainBits(s);
        if (s.count >= 8)
            break;
        ZebLZ77Pair pair = pairs[i];
        if (pair.offset == 0) {
            // a literal not among the counted pairs has no code
            if (pair.length > 255 || litLen[pair.length].len == 0) {
                *pStatus = zebStsError;
                break;
            }
            ownPutBits(s, litLen[pair.length].code, litLen[pair.length].len);
            continue;
        }
        Zeb32u lengthIndex = (Zeb32u)pair.length - kLZ77MinMatch;
        if (lengthIndex > kLZ77MaxMatch - kLZ77MinMatch || pair.offset > 32768) {
            *pStatus = zebStsError;
            break;
        }
        Zeb32u length = merged.length[lengthIndex];
        Zeb32u d = pair.offset - 1u; // no branch on near or far: it would mispredict
        const OwnDistanceCode& distance = merged.distance[dCodeTab[d < 256 ? d : 256 + (d >> 7)]];
        if ((length >> 24) == 0 || distance.len == 0) {
            *pStatus = zebStsError;
            break;
        }
        ownPutBits(s, length & 0xFFFFFF, (Zeb32s)(length >> 24));
        ownPutBits(s, distance.code | (d & distance.extraMask) << distance.len, distance.bits);
    }
    sink = s;
    return i;
}

extern "C" ZEBAPI ZebStatus zebsEncodeLZ77DynamicHuff_8u(ZebLZ77Pair** ppSrc, Zeb32s* pSrcLen,
                                                         Zeb8u** ppDst, Zeb32s* pDstLen,
                                                         ZebLZ77Flush flush,
                                                         ZebLZ77EncoderState* pState)
{
    return ownEncodeHuffBlock(kBlockDynamic, ppSrc, pSrcLen, ppDst, pDstLen, flush, pState);
}
