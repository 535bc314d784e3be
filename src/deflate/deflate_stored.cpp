// The stored-block writer of RFC 1951 (BTYPE 00), in three resumable phases: the 3 header bits
// with the padding to a byte and LEN, NLEN go through the bit buffer (phase 0 stages them,
// phase 1 delivers them), then phase 3 copies the bytes as room allows.
#include "deflate/deflate_internal.h"

namespace {

enum {
    kPhaseHeader = 0,
    kPhaseHeaderOut = 1,
    kPhaseCopy = 3,
    kMaxStoredLen = 65535,
};

void stage_header(ZebLZ77EncoderHeader* e, OwnBitSink& s, Zeb32u len, bool final)
{
    ownPutBits(s, final ? 1u : 0u, 3); // BFINAL, BTYPE 00
    s.count = (s.count + 7) & ~7;
    ownPutBits(s, len | (~len & 0xFFFFu) << 16, 32);
    e->storedLeft = (Zeb32s)len;
    e->storedPhase = kPhaseHeaderOut;
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsEncodeLZ77StoredBlock_8u(Zeb8u** ppSrc, Zeb32s* pSrcLen,
                                                         Zeb8u** ppDst, Zeb32s* pDstLen,
                                                         ZebLZ77Flush flush,
                                                         ZebLZ77EncoderState* pState)
{
    ZEB_CHECK(ppSrc != nullptr && pSrcLen != nullptr && ppDst != nullptr && pDstLen != nullptr &&
                  pState != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(*ppSrc != nullptr && *ppDst != nullptr, zebStsNullPtr);
    ZEB_CHECK(*pDstLen >= 0, zebStsBadSize);
    if (*pDstLen == 0)
        return zebStsDstFull;
    ZEB_CHECK(*pSrcLen >= 0 && *pSrcLen <= kMaxStoredLen, zebStsBadSize);
    ZebLZ77EncoderHeader* e = ownLZ77Header(pState);
    bool final = flush == zebLZ77FlushFinal;
    OwnBitSink s = ownLoadSink(e, *ppDst, *pDstLen);
    ownDrainBits(s);
    ZebStatus status = zebStsDstFull;
    Zeb32s copied = 0;
    if (e->storedPhase == kPhaseHeader && s.count < 8)
        stage_header(e, s, (Zeb32u)*pSrcLen, final);
    if (e->storedPhase == kPhaseHeaderOut) {
        ownDrainBits(s);
        if (s.count == 0)
            e->storedPhase = kPhaseCopy;
    }
    if (e->storedPhase == kPhaseCopy) {
        copied = e->storedLeft;
        if (copied > *pSrcLen)
            copied = *pSrcLen;
        if (copied > s.room)
            copied = s.room;
        memcpy(s.dst, *ppSrc, (size_t)copied);
        s.dst += copied;
        s.room -= copied;
        e->storedLeft -= copied;
        if (e->storedLeft == 0) {
            e->storedPhase = kPhaseHeader;
            e->subState = final ? kSubLastDone : kSubBlockDone;
            status = final ? zebStsStreamEnd : zebStsOk;
        } else if (s.room > 0) {
            status = zebStsSrcShort; // the caller gave fewer bytes than the block's LEN
        }
    }
    ownSaveSink(e, s);
    *ppSrc += copied;
    *pSrcLen -= copied;
    *ppDst = s.dst;
    *pDstLen = s.room;
    return status;
}
