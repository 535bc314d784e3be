// The inflate decoder state: size, life cycle, copy, preset dictionary, the descriptors kept for
// the caller, and the reading of the three-bit block header.
//
// The state is one block of 112876 bytes that holds all its buffers; its internal pointers point
// into the block itself, so a copy must go through zebsDecodeLZ77CopyState_8u, which rebases them.
#include "inflate/inflate_internal.h"

namespace {

enum { kAreaMarkStep = 1920 }; // the three marks split the 5760-byte area in thirds

void point_into_self(ZebLZ77DecoderState* s)
{
    s->history = s->historyBuf;
    s->lens = s->lensBuf;
    s->litValues = s->litValuesBuf;
    s->litKinds = s->litKindsBuf;
    s->distValues = s->distValuesBuf;
    s->distKinds = s->distKindsBuf;
    for (int i = 0; i < 3; ++i)
        s->areaMarks[i] = s->area + i * kAreaMarkStep;
}

void clear_progress(ZebLZ77DecoderState* s)
{
    s->bitBuffer = 0;
    s->bitCount = 0;
    s->historyLen = 0;
    s->phase = kPhaseHeader;
    s->storedLeft = 0;
    s->validLeft = 0;
    s->validRight = 0;
    s->finalBlock = 0;
    s->streamEnd = 0;
    s->numLitLen = 0;
    s->numDist = 0;
    s->numCodeLen = 0;
    s->numLensRead = 0;
    s->pendingLen = 0;
    s->pendingDist = 0;
}

} // namespace

void ownHistoryPushRight(ZebLZ77DecoderState* s, const Zeb8u* end, int n)
{
    if (n <= 0)
        return;
    Zeb8u* h = s->historyBuf;
    if (n >= kWindow) {
        memcpy(h, end - kWindow, kWindow);
    } else {
        memmove(h, h + n, (size_t)(kWindow - n));
        memcpy(h + kWindow - n, end - n, (size_t)n);
    }
    s->validRight = s->validRight + n < kWindow ? s->validRight + n : kWindow;
    // The left-aligned history coincides with this one only when it is full.
    s->validLeft = s->historyLen == kWindow ? s->validRight : 0;
}

extern "C" ZEBAPI ZebStatus zebsDecodeLZ77GetSize_8u(int* pSize)
{
    ZEB_CHECK(pSize != nullptr, zebStsNullPtr);
    *pSize = kStateSize;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsDecodeLZ77Init_8u(ZebLZ77Checksum checksumKind,
                                                  ZebLZ77DecoderState* pState)
{
    ZEB_CHECK(pState != nullptr, zebStsNullPtr);
    memset(pState->headerWords, 0, sizeof pState->headerWords);
    pState->checksum = 0;
    pState->checksumKind = checksumKind;
    memset(pState->headerTail, 0, sizeof pState->headerTail);
    clear_progress(pState);
    pState->stage = zebLZ77StatusInit;
    pState->blockType = 0;
    point_into_self(pState);
    pState->pairs = pState->pairsBuf;
    pState->pairsInd = 0;
    pState->pairsLen = kPairsRoom;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsDecodeLZ77InitAlloc_8u(ZebLZ77Checksum checksumKind,
                                                       ZebLZ77DecoderState** ppState)
{
    ZEB_CHECK(ppState != nullptr, zebStsNullPtr);
    ZebLZ77DecoderState* state = (ZebLZ77DecoderState*)(void*)zebsMalloc_8u(kStateSize);
    ZEB_CHECK(state != nullptr, zebStsNoMemory);
    zebsDecodeLZ77Init_8u(checksumKind, state);
    *ppState = state;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsDecodeLZ77Reset_8u(ZebLZ77DecoderState* pState)
{
    ZEB_CHECK(pState != nullptr, zebStsNullPtr);
    pState->pairsLen = kPairsRoom;
    pState->pairsInd = 0;
    clear_progress(pState);
    point_into_self(pState);
    memset(pState->lensBuf, 0, sizeof pState->lensBuf);
    memset(pState->lens288, 0, sizeof pState->lens288);
    memset(pState->area, 0, sizeof pState->area);
    memset(pState->litValuesBuf, 0, sizeof pState->litValuesBuf);
    memset(pState->litKindsBuf, 0, sizeof pState->litKindsBuf);
    memset(pState->distValuesBuf, 0, sizeof pState->distValuesBuf);
    memset(pState->distKindsBuf, 0, sizeof pState->distKindsBuf);
    return zebsDecodeLZ77SetStatus_8u(zebLZ77StatusInit, pState);
}

// Copies everything but the code-length code (its 19 lengths, codes and table): a copy made while
// a dynamic header is read cannot go on. The pairs records are copied only between the two
// internal buffers; a buffer the caller set with SetPairs is the caller's, of a size unknown here.
extern "C" ZEBAPI ZebStatus zebsDecodeLZ77CopyState_8u(const ZebLZ77DecoderState* pSrcState,
                                                       ZebLZ77DecoderState* pDstState)
{
    ZEB_CHECK(pSrcState != nullptr && pDstState != nullptr, zebStsNullPtr);
    const ZebLZ77DecoderState* s = pSrcState;
    ZebLZ77DecoderState* d = pDstState;
    memcpy(d->headerWords, s->headerWords, sizeof d->headerWords);
    d->checksum = s->checksum;
    d->checksumKind = s->checksumKind;
    memcpy(d->headerTail, s->headerTail, sizeof d->headerTail);
    d->bitBuffer = s->bitBuffer;
    d->bitCount = s->bitCount;
    memcpy(d->historyBuf, s->historyBuf, sizeof d->historyBuf);
    if (s->pairs == s->pairsBuf && d->pairs == d->pairsBuf)
        memcpy(d->pairsBuf, s->pairsBuf, sizeof d->pairsBuf);
    d->pairsInd = s->pairsInd;
    d->pairsLen = s->pairsLen;
    d->historyLen = s->historyLen;
    d->stage = s->stage;
    d->phase = s->phase;
    d->storedLeft = s->storedLeft;
    d->validLeft = s->validLeft;
    d->validRight = s->validRight;
    d->finalBlock = s->finalBlock;
    d->streamEnd = s->streamEnd;
    d->blockType = s->blockType;
    point_into_self(d);
    d->numLitLen = s->numLitLen;
    d->numDist = s->numDist;
    d->numCodeLen = s->numCodeLen;
    d->numLensRead = s->numLensRead;
    memcpy(d->lensBuf, s->lensBuf, sizeof d->lensBuf);
    memcpy(d->lens288, s->lens288, sizeof d->lens288);
    memcpy(d->area, s->area, sizeof d->area);
    memcpy(d->litValuesBuf, s->litValuesBuf, sizeof d->litValuesBuf);
    memcpy(d->litKindsBuf, s->litKindsBuf, sizeof d->litKindsBuf);
    memcpy(d->distValuesBuf, s->distValuesBuf, sizeof d->distValuesBuf);
    memcpy(d->distKindsBuf, s->distKindsBuf, sizeof d->distKindsBuf);
    d->pendingLen = s->pendingLen;
    d->pendingDist = s->pendingDist;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsDecodeLZ77SetDictionary_8u(const Zeb8u* pDict, int dictLen,
                                                           ZebLZ77DecoderState* pState)
{
    ZEB_CHECK(pDict != nullptr && pState != nullptr, zebStsNullPtr);
    ZEB_CHECK(dictLen >= 1, zebStsBadSize);
    int n = dictLen < kWindow ? dictLen : kWindow;
    memcpy(pState->historyBuf + kWindow - n, pDict, (size_t)n);
    pState->historyLen = kWindow;
    pState->validLeft = n;
    pState->validRight = n;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsDecodeLZ77GetPairs_8u(ZebLZ77Pair** ppPairs, int* pPairsInd,
                                                      int* pPairsLen, const ZebLZ77DecoderState* pState)
{
    ZEB_CHECK(ppPairs != nullptr && pPairsInd != nullptr && pPairsLen != nullptr && pState != nullptr,
              zebStsNullPtr);
    *ppPairs = pState->pairs;
    *pPairsInd = pState->pairsInd;
    *pPairsLen = pState->pairsLen;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsDecodeLZ77SetPairs_8u(ZebLZ77Pair* pPairs, int pairsInd, int pairsLen,
                                                      ZebLZ77DecoderState* pState)
{
    ZEB_CHECK(pPairs != nullptr && pState != nullptr, zebStsNullPtr);
    pState->pairs = pPairs;
    pState->pairsInd = pairsInd;
    pState->pairsLen = pairsLen;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsDecodeLZ77GetStatus_8u(ZebLZ77Status* pStatus,
                                                       const ZebLZ77DecoderState* pState)
{
    *pStatus = (ZebLZ77Status)pState->stage;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsDecodeLZ77SetStatus_8u(ZebLZ77Status status, ZebLZ77DecoderState* pState)
{
    pState->stage = status;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsDecodeLZ77GetBlockType_8u(Zeb8u** ppSrc, int* pSrcLen,
                                                          ZebLZ77BlockType* pBlockType,
                                                          ZebLZ77DecoderState* pState)
{
    ZEB_CHECK(ppSrc != nullptr && pSrcLen != nullptr && pBlockType != nullptr && pState != nullptr &&
                  *ppSrc != nullptr,
              zebStsNullPtr);
    if (pState->phase != kPhaseHeader) {
        *pBlockType = (ZebLZ77BlockType)pState->blockType;
        return zebStsOk;
    }
    InflateInput in = load_input(pState, *ppSrc, *pSrcLen);
    if (!pull_bits(in, 3))
        return zebStsSrcShort;
    pState->finalBlock = (int)(in.bits & 1);
    switch ((in.bits >> 1) & 3) {
    case 0:
        pState->blockType = zebLZ77BlockStored;
        pState->phase = kPhaseStoredAlign;
        break;
    case 1:
        pState->blockType = zebLZ77BlockFixed;
        pState->phase = kPhaseData;
        break;
    case 2:
        pState->blockType = zebLZ77BlockDynamic;
        pState->phase = kPhaseCounts;
        break;
    default: // BTYPE 11: consumed; the block decoder called next refuses what follows
        break;
    }
    if (pState->phase != kPhaseHeader)
        *pBlockType = (ZebLZ77BlockType)pState->blockType;
    drop_bits(in, 3);
    store_input(pState, in, ppSrc, pSrcLen);
    return zebStsOk;
}

ZebStatus ownReadOwnHeader(ZebLZ77DecoderState* s, InflateInput& in, int type)
{
    if (!pull_bits(in, 3))
        return zebStsSrcShort;
    unsigned header = (unsigned)(in.bits & 7);
    unsigned want = type == zebLZ77BlockFixed ? 2u : 4u;
    ZEB_CHECK((header & 6u) == want, zebStsError);
    s->finalBlock = (int)(header & 1);
    s->blockType = type;
    s->phase = type == zebLZ77BlockFixed ? kPhaseData : kPhaseCounts;
    drop_bits(in, 3);
    return zebStsOk;
}
