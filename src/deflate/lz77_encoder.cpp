// The LZ77 encoder state: its life cycle, accessors, and zebsEncodeLZ77_8u, which turns source
// bytes into pairs and keeps the history and the running checksum.
//
// A call takes the streaming path (the history grows, matches reach up to 32767 bytes back into
// earlier calls) or, with zebLZ77FlushFull and on the call after one, the self-contained path:
// the call still sees the history it starts with, but the history is dropped after it, so no
// later match reaches back across the flush.
#include "deflate/deflate_internal.h"

namespace {

Zeb32s map_level(ZebLZ77Level level)
{
    return level == zebLZ77LevelFast || level == zebLZ77LevelBest ? (Zeb32s)level : 1;
}

Zeb32u new_checksum(Zeb32s kind) { return kind == zebLZ77ChecksumAdler32 ? 1u : 0u; }

// Forgets the history: positions restart at 0 with an empty window.
void drop_history(ZebLZ77EncoderHeader* e)
{
    e->position = 0;
    e->windowStart = 0;
    e->streamBytes = 0;
}

OwnLZ77Finder make_finder(ZebLZ77EncoderHeader* e, const Zeb8u* src, bool selfContained)
{
    OwnLZ77Regions* r = ownLZ77Regions(e);
    OwnLZ77Finder f;
    f.prev = r->prev;
    f.head = r->head;
    f.randVec = randVec.v;
    f.window = r->window;
    f.windowStart = e->windowStart;
    f.position = e->position;
    f.src = src;
    // After a full flush the first position is not offered as a candidate either.
    f.lowest = selfContained && e->windowStart < 1 ? 1 : e->windowStart;
    return f;
}

ZebStatus update_checksum(ZebLZ77EncoderHeader* e, const Zeb8u* src, Zeb32s len)
{
    if (e->checksumKind == zebLZ77ChecksumAdler32)
        return zebsAdler32_8u(src, len, &e->checksum);
    if (e->checksumKind == zebLZ77ChecksumCRC32)
        return zebsCRC32_8u(src, len, &e->checksum);
    return zebStsOk;
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsEncodeLZ77GetSize_8u(Zeb32s* pSize)
{
    ZEB_CHECK(pSize != nullptr, zebStsNullPtr);
    *pSize = kLZ77StateSize;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsEncodeLZ77Init_8u(ZebLZ77Level level, ZebLZ77Checksum checksum,
                                                  ZebLZ77EncoderState* pState)
{
    ZEB_CHECK(pState != nullptr, zebStsNullPtr);
    ZebLZ77EncoderHeader* e = ownLZ77Header(pState);
    OwnLZ77Regions* r = ownLZ77Regions(e);
    memset(e, 0, sizeof *e);
    e->checksumKind = checksum;
    e->level = map_level(level);
    e->checksum = new_checksum(checksum);
    ownLZ77ClearTable(r->prev, kLZ77LinkSize);
    ownLZ77ClearTable(r->head, kLZ77HashSize);
    e->pairs = r->pairs;
    e->pairsLen = kLZ77PairsLen;
    memset(&r->work, 0, sizeof r->work);
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsEncodeLZ77InitAlloc_8u(ZebLZ77Level level,
                                                       ZebLZ77Checksum checksum,
                                                       ZebLZ77EncoderState** ppState)
{
    ZEB_CHECK(ppState != nullptr, zebStsNullPtr);
    ZebLZ77EncoderState* state = (ZebLZ77EncoderState*)zebsMalloc_8u(kLZ77StateSize);
    ZEB_CHECK(state != nullptr, zebStsNoMemory);
    zebsEncodeLZ77Init_8u(level, checksum, state);
    *ppState = state;
    return zebStsOk;
}

extern "C" ZEBAPI void zebsLZ77Free_8u(void* pState) { zebsFree(pState); }

extern "C" ZEBAPI ZebStatus zebsEncodeLZ77GetStatus_8u(ZebLZ77Status* pStatus,
                                                       const ZebLZ77EncoderState* pState)
{
    *pStatus = (ZebLZ77Status)ownLZ77Header(pState)->stage;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsEncodeLZ77SetStatus_8u(ZebLZ77Status status,
                                                       ZebLZ77EncoderState* pState)
{
    ZebLZ77EncoderHeader* e = ownLZ77Header(pState);
    e->stage = status;
    if (status == zebLZ77StatusHuffman) {
        e->subState = kSubHeaderDue;
        e->freqCounted = 0;
        e->pairsLen = e->pairsInd;
        e->pairsInd = 0;
    } else if (status == zebLZ77StatusLZ77) {
        e->pairsInd = 0;
        e->pairsLen = kLZ77PairsLen;
    }
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsEncodeLZ77GetPairs_8u(ZebLZ77Pair** ppPairs, Zeb32s* pPairsInd,
                                                      Zeb32s* pPairsLen,
                                                      const ZebLZ77EncoderState* pState)
{
    ZEB_CHECK(ppPairs != nullptr && pPairsInd != nullptr && pPairsLen != nullptr &&
                  pState != nullptr,
              zebStsNullPtr);
    const ZebLZ77EncoderHeader* e = ownLZ77Header(pState);
    *ppPairs = e->pairs;
    *pPairsInd = e->pairsInd;
    *pPairsLen = e->pairsLen;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsEncodeLZ77SetPairs_8u(ZebLZ77Pair* pPairs, Zeb32s pairsInd,
                                                      Zeb32s pairsLen, ZebLZ77EncoderState* pState)
{
    ZEB_CHECK(pPairs != nullptr && pState != nullptr, zebStsNullPtr);
    ZebLZ77EncoderHeader* e = ownLZ77Header(pState);
    e->pairs = pPairs;
    e->pairsInd = pairsInd;
    e->pairsLen = pairsLen;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsEncodeLZ77Reset_8u(ZebLZ77EncoderState* pState)
{
    ZebLZ77EncoderHeader* e = ownLZ77Header(pState);
    ownLZ77ClearTable(ownLZ77Regions(e)->head, kLZ77HashSize);
    e->pairsInd = 0;
    e->pairsLen = kLZ77PairsLen;
    drop_history(e);
    e->checksum = new_checksum(e->checksumKind);
    e->srcLeft = 0;
    e->prevFlush = 0;
    e->bitBuf = 0;
    e->bitCount = 0;
    e->storedPhase = 0;
    e->storedLeft = 0;
    e->markerLeft = 0;
    e->headerLen = e->headerPos = 0;
    e->trailerLen = e->trailerPos = 0;
    e->huffMode = 0;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsEncodeLZ77_8u(Zeb8u** ppSrc, Zeb32s* pSrcLen, ZebLZ77Pair** ppDst,
                                              Zeb32s* pDstLen, ZebLZ77Flush flush,
                                              ZebLZ77EncoderState* pState)
{
    ZEB_CHECK(ppSrc != nullptr && pSrcLen != nullptr && ppDst != nullptr && pDstLen != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(*ppDst != nullptr && pState != nullptr, zebStsNullPtr);
    ZEB_CHECK(*pDstLen >= 0, zebStsBadSize);
    ZEB_CHECK(*pSrcLen >= 0, zebStsBadSize);
    ZEB_CHECK(*pSrcLen == 0 || *ppSrc != nullptr, zebStsNullPtr);
    ZebLZ77EncoderHeader* e = ownLZ77Header(pState);
    e->srcLeft = *pSrcLen;
    if (*pDstLen == 0)
        return zebStsDstFull;
    if (*pSrcLen == 0)
        return zebStsOk;

    const Zeb8u* src = *ppSrc;
    Zeb32s srcLen = *pSrcLen;
    Zeb32s n = srcLen < kLZ77MaxCallBytes ? srcLen : kLZ77MaxCallBytes;
    bool selfContained = flush == zebLZ77FlushFull || e->prevFlush == zebLZ77FlushFull;
    e->prevFlush = flush;

    OwnLZ77Regions* r = ownLZ77Regions(e);
    if (e->position > kLZ77RebaseAt)
        ownLZ77Rebase(r->prev, r->head, &e->windowStart, &e->position);
    ownLZ77LoadSource(r->window, e->windowStart, e->position, src, n);
    OwnLZ77Finder f = make_finder(e, src, selfContained);
    OwnLZ77Sink out = {*ppDst, *pDstLen, 0};
    Zeb32s consumed = ownLZ77Parse(f, e->level, e->position + n, out) - e->position;

    if (selfContained) {
        drop_history(e);
    } else {
        ownLZ77KeepHistory(r->window, &e->windowStart, &e->position, src, consumed);
        e->streamBytes += (Zeb32u)consumed;
    }
    ZebStatus status = update_checksum(e, src, consumed);

    *ppSrc += consumed;
    *pSrcLen -= consumed;
    *ppDst += out.made;
    *pDstLen -= out.made;
    e->pairsInd += out.made;
    e->srcLeft -= consumed;
    return consumed < srcLen ? zebStsDstFull : status;
}
