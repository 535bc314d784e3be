// The stream trailer: Adler-32 most significant byte first after a zlib stream, or CRC-32 and
// the input size least significant byte first, in gzip member order. Resumable at any byte.
#include "deflate/deflate_internal.h"

namespace {

enum { kZlibTrailer = 4, kGzipTrailer = 8 };

void store_le32(Zeb8u* p, Zeb32u v)
{
    for (int i = 0; i < 4; ++i)
        p[i] = (Zeb8u)(v >> (8 * i));
}

void stage_trailer(ZebLZ77EncoderHeader* e)
{
    Zeb8u* t = ownLZ77Regions(e)->work.trailer;
    if (e->checksumKind == zebLZ77ChecksumAdler32) {
        for (int i = 0; i < 4; ++i)
            t[i] = (Zeb8u)(e->checksum >> (24 - 8 * i));
        e->trailerLen = kZlibTrailer;
    } else {
        store_le32(t, e->checksumKind == zebLZ77ChecksumCRC32 ? e->checksum : 0);
        store_le32(t + 4, e->streamBytes);
        e->trailerLen = kGzipTrailer;
    }
    e->trailerPos = 0;
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsEncodeLZ77Flush_8u(Zeb8u** ppDst, Zeb32s* pDstLen,
                                                   ZebLZ77EncoderState* pState)
{
    ZEB_CHECK(ppDst != nullptr && pDstLen != nullptr && pState != nullptr, zebStsNullPtr);
    ZEB_CHECK(*ppDst != nullptr, zebStsNullPtr);
    ZebLZ77EncoderHeader* e = ownLZ77Header(pState);
    ZEB_CHECK(e->stage == zebLZ77StatusFinal, zebStsError);
    ZEB_CHECK(e->checksumKind >= zebLZ77ChecksumNone && e->checksumKind <= zebLZ77ChecksumCRC32,
              zebStsError);
    ZEB_CHECK(*pDstLen >= 0, zebStsBadSize);
    if (*pDstLen == 0)
        return zebStsDstFull;

    // Bits a block left behind (none after a final block) go out first, padded to a byte.
    OwnBitSink s = ownLoadSink(e, *ppDst, *pDstLen);
    s.count = (s.count + 7) & ~7;
    ownDrainBits(s);
    ownSaveSink(e, s);
    ZebStatus status = zebStsDstFull;
    if (s.count == 0) {
        if (e->trailerLen == 0)
            stage_trailer(e);
        const Zeb8u* t = ownLZ77Regions(e)->work.trailer;
        while (e->trailerPos < e->trailerLen && s.room > 0) {
            *s.dst++ = t[e->trailerPos++];
            if (--s.room > 0)
                *s.dst = 0; // stray byte, overwritten by the next one or left behind
        }
        if (e->trailerPos == e->trailerLen) {
            e->trailerLen = e->trailerPos = 0;
            e->subState = kSubLastDone;
            status = zebStsOk;
        }
    }
    *ppDst = s.dst;
    *pDstLen = s.room;
    return status;
}
