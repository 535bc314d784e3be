// Symbol counting, the choice between fixed and dynamic codes, and the dynamic-code block
// writer of RFC 1951 (BTYPE 10).
//
// The dynamic writer codes the pairs with the counts of zebsEncodeLZ77SelectHuffMode_8u when it
// was called for this block, else it counts the pairs of its first call itself. Its header is
// built whole into a work area, then delivered like the coded pairs as room allows.
#include "deflate/deflate_internal.h"

namespace {

using deflate_rules::distExtra;
using deflate_rules::kDistBase;
using deflate_rules::kLenBase;
using deflate_rules::kLenExtra;

enum { kEndOfBlock = 256, kFirstLengthSymbol = 257 };

void reset_counts(OwnHuffEntry* entries, Zeb32s n)
{
    for (Zeb32s i = 0; i < n; ++i)
        entries[i] = OwnHuffEntry{0, 0, 0};
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

} // namespace

ZebStatus ownCountPairs(const ZebLZ77Pair* pairs, Zeb32s n, OwnDeflateWork* work,
                        Zeb32s* pDistinct)
{
    reset_counts(work->litLen, kLitLenCodes);
    reset_counts(work->dist, kDistCodes);
    work->litLen[kEndOfBlock].count = 1;
    Zeb32s distinct = 0;
    for (Zeb32s i = 0; i < n; ++i) {
        ZebLZ77Pair pair = pairs[i];
        ZEB_CHECK(ownPairValid(pair), zebStsError);
        Zeb32u symbol = pair.length;
        if (pair.offset != 0) {
            symbol = kFirstLengthSymbol + lCodeTab[pair.length - kLZ77MinMatch];
            ++work->dist[ownDistCode(pair.offset)].count;
        }
        if (work->litLen[symbol].count++ == 0)
            work->order[distinct++] = (Zeb16u)symbol;
    }
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
    s.acc = h.acc;
    s.count = h.count;
}

Zeb32s ownCodePairsDynamic(OwnBitSink& s, const ZebLZ77Pair* pairs, Zeb32s n,
                           const OwnDeflateWork* work, ZebStatus* pStatus)
{
    const OwnHuffEntry* litLen = work->litLen;
    const OwnHuffEntry* dist = work->dist;
    Zeb32s i = 0;
    for (; i < n; ++i) {
        ownDrainBits(s);
        if (s.count >= 8)
            break;
        ZebLZ77Pair pair = pairs[i];
        if (!ownPairValid(pair)) {
            *pStatus = zebStsError;
            break;
        }
        if (pair.offset == 0) {
            const OwnHuffEntry& literal = litLen[pair.length];
            if (literal.len == 0) { // not among the counted pairs
                *pStatus = zebStsError;
                break;
            }
            ownPutBits(s, literal.code, literal.len);
            continue;
        }
        Zeb32u lengthCode = lCodeTab[pair.length - kLZ77MinMatch];
        Zeb32u distCode = ownDistCode(pair.offset);
        const OwnHuffEntry& length = litLen[kFirstLengthSymbol + lengthCode];
        const OwnHuffEntry& distance = dist[distCode];
        if (length.len == 0 || distance.len == 0) {
            *pStatus = zebStsError;
            break;
        }
        ownPutBits(s, length.code, length.len);
        ownPutBits(s, pair.length - kLenBase[lengthCode], kLenExtra[lengthCode]);
        ownPutBits(s, distance.code, distance.len);
        ownPutBits(s, pair.offset - kDistBase[distCode], distExtra((int)distCode));
    }
    return i;
}

extern "C" ZEBAPI ZebStatus zebsEncodeLZ77DynamicHuff_8u(ZebLZ77Pair** ppSrc, Zeb32s* pSrcLen,
                                                         Zeb8u** ppDst, Zeb32s* pDstLen,
                                                         ZebLZ77Flush flush,
                                                         ZebLZ77EncoderState* pState)
{
    return ownEncodeHuffBlock(kBlockDynamic, ppSrc, pSrcLen, ppDst, pDstLen, flush, pState);
}
