// The frame shared by the fixed and dynamic block writers.
//
// A block goes through the steps of OwnBlockStep: header, pairs, end-of-block code, then for a
// sync or full flush an empty stored block (3 bits, padding, 00 00 FF FF) and for the final
// block padding to a byte. A block is final when the caller asks for it with zebLZ77FlushFinal
// and the LZ77 stage consumed all of its last source. Each step starts with fewer than 8 bits in the accumulator; when whole bytes
// remain for lack of room the call returns zebStsDstFull and the next call resumes at the same
// step with the remaining pairs.
#include "deflate/deflate_internal.h"

namespace {

enum {
    kMarkerBytes = 4, // 00 00 FF FF: LEN and NLEN of an empty stored block
    kEndOfBlock = 256,
};

bool is_flush_marker(ZebLZ77Flush flush)
{
    return flush == zebLZ77FlushSync || flush == zebLZ77FlushFull;
}

void start_block(ZebLZ77EncoderHeader* e, OwnBlockKind kind, ZebLZ77Flush flush)
{
    e->subState = kSubInBlock;
    e->blockKind = kind;
    e->blockStep = kStepHeader;
    e->blockFinal = flush == zebLZ77FlushFinal && e->srcLeft == 0;
}

void put_header(ZebLZ77EncoderHeader* e, OwnBitSink& s, OwnBlockKind kind, const ZebLZ77Pair* pairs,
                Zeb32s n, ZebStatus* pStatus)
{
    if (kind == kBlockFixed) {
        ownPutBits(s, e->blockFinal ? 3u : 2u, 3); // BFINAL, BTYPE 01
        e->blockStep = kStepPairs;
        return;
    }
    OwnDeflateWork* work = &ownLZ77Regions(e)->work;
    if (!e->freqCounted) {
        Zeb32s distinct = 0;
        *pStatus = ownCountPairs(pairs, n, work, &distinct);
        if (*pStatus != zebStsOk)
            return;
        e->freqCounted = 1;
    }
    ownStageDynamicHeader(e, s, e->blockFinal != 0);
    e->freqCounted = 0; // the counts are spent: a later block counts its own pairs
    e->headerPos = 0;
    e->blockStep = kStepHeaderOut;
}

// Delivers staged header bytes. @return whether all are out.
bool put_staged_header(ZebLZ77EncoderHeader* e, OwnBitSink& s)
{
    const Zeb8u* header = ownLZ77Regions(e)->work.header;
    Zeb32s left = e->headerLen - e->headerPos;
    Zeb32s n = left < s.room ? left : s.room;
    memcpy(s.dst, header + e->headerPos, (size_t)n);
    s.dst += n;
    s.room -= n;
    e->headerPos += n;
    return e->headerPos == e->headerLen;
}

void put_end_of_block(ZebLZ77EncoderHeader* e, OwnBitSink& s, OwnBlockKind kind,
                      ZebLZ77Flush flush)
{
    if (kind == kBlockFixed) {
        ownPutBits(s, 0, 7);
    } else {
        const OwnHuffEntry& eob = ownLZ77Regions(e)->work.litLen[kEndOfBlock];
        ownPutBits(s, eob.code, eob.len);
    }
    e->blockStep = kStepDone;
    if (is_flush_marker(flush)) {
        ownPutBits(s, 0, 3); // BFINAL 0, BTYPE 00, then to the byte boundary
        s.count = (s.count + 7) & ~7;
        e->markerLeft = kMarkerBytes;
        e->blockStep = kStepMarker;
    } else if (e->blockFinal) {
        s.count = (s.count + 7) & ~7;
    }
}

// Writes the rest of 00 00 FF FF. @return whether all of it is out.
bool put_marker(ZebLZ77EncoderHeader* e, OwnBitSink& s)
{
    while (e->markerLeft > 0 && s.room > 0) {
        *s.dst++ = e->markerLeft > 2 ? 0x00 : 0xFF;
        --s.room;
        --e->markerLeft;
    }
    return e->markerLeft == 0;
}

// A block asked to be final while the LZ77 stage still held input is an ordinary block: it
// keeps its partial byte, so the stream goes on with the next block.
ZebStatus finish_block(ZebLZ77EncoderHeader* e)
{
    if (!e->blockFinal) {
        e->subState = kSubBlockDone;
        return zebStsOk;
    }
    e->subState = kSubLastDone;
    return zebStsStreamEnd;
}

} // namespace

ZebStatus ownEncodeHuffBlock(OwnBlockKind kind, ZebLZ77Pair** ppSrc, Zeb32s* pSrcLen,
                             Zeb8u** ppDst, Zeb32s* pDstLen, ZebLZ77Flush flush,
                             ZebLZ77EncoderState* pState)
{
    ZEB_CHECK(ppSrc != nullptr && pSrcLen != nullptr && ppDst != nullptr && pDstLen != nullptr &&
                  pState != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(*ppDst != nullptr, zebStsNullPtr);
    ZEB_CHECK(*pDstLen >= 0 && *pSrcLen >= 0, zebStsBadSize);
    ZEB_CHECK(*pSrcLen == 0 || *ppSrc != nullptr, zebStsNullPtr);
    ZebLZ77EncoderHeader* e = ownLZ77Header(pState);
    // A block started by the other writer cannot be continued by this one.
    ZEB_CHECK(e->subState != kSubInBlock || e->blockKind == kind, zebStsError);
    if (*pDstLen == 0)
        return zebStsDstFull;
    if (e->subState != kSubInBlock)
        start_block(e, kind, flush);

    const ZebLZ77Pair* pairs = *ppSrc;
    Zeb32s pairsLeft = *pSrcLen, used = 0;
    const OwnDeflateWork* work = &ownLZ77Regions(e)->work;
    OwnBitSink s = ownLoadSink(e, *ppDst, *pDstLen);
    ZebStatus status = zebStsOk;
    for (bool going = true; going;) {
        ownDrainBits(s);
        if (s.count >= 8) {
            status = zebStsDstFull;
            break;
        }
        switch (e->blockStep) {
        case kStepHeader:
            put_header(e, s, kind, pairs, pairsLeft, &status);
            going = status == zebStsOk;
            break;
        case kStepHeaderOut:
            if (!put_staged_header(e, s)) {
                status = zebStsDstFull;
                going = false;
            } else {
                e->blockStep = kStepPairs;
            }
            break;
        case kStepPairs:
            used += kind == kBlockFixed
                        ? ownCodePairsFixed(s, pairs + used, pairsLeft - used, work, &status)
                        : ownCodePairsDynamic(s, pairs + used, pairsLeft - used, work, &status);
            if (status != zebStsOk)
                going = false;
            else if (used == pairsLeft)
                e->blockStep = kStepEnd;
            break;
        case kStepEnd:
            put_end_of_block(e, s, kind, flush);
            break;
        case kStepMarker:
            if (!put_marker(e, s)) {
                status = zebStsDstFull;
                going = false;
            } else {
                e->blockStep = kStepDone;
            }
            break;
        default: // kStepDone, with nothing but a partial byte left
            status = finish_block(e);
            going = false;
            break;
        }
    }
    ownSaveSink(e, s);
    *ppSrc += used;
    *pSrcLen -= used;
    *ppDst = s.dst;
    *pDstLen = s.room;
    e->pairsInd += used;
    return status;
}
