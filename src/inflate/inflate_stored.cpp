// Stored blocks (RFC 1951, BTYPE 00): to bytes after GetBlockType read the header, and to literal
// pairs with a header reader of their own.
//
// A stored block is aligned to a byte boundary and begins with LEN and NLEN (its one's
// complement), least significant byte first. Bytes already held in the bit buffer when LEN and
// NLEN have been read are the block's first bytes (StoredBlock delivers them in phase 10) or,
// when the block is shorter, the start of what follows it.
#include "inflate/inflate_internal.h"

namespace {

// Reads LEN and NLEN from the bit buffer; zebStsBadSize when they disagree (bits kept).
ZebStatus read_stored_length(InflateInput& in, int& len)
{
    if (!pull_bits(in, 32))
        return zebStsSrcShort;
    unsigned value = (unsigned)(in.bits & 0xFFFF);
    unsigned check = (unsigned)((in.bits >> 16) & 0xFFFF);
    ZEB_CHECK(value == (check ^ 0xFFFFu), zebStsBadSize);
    drop_bits(in, 32);
    len = (int)value;
    return zebStsOk;
}

ZebStatus end_stored_block(ZebLZ77DecoderState* s, InflateInput& in)
{
    s->phase = kPhaseHeader;
    if (!s->finalBlock)
        return zebStsOk;
    end_stream_input(in);
    return zebStsStreamEnd;
}

// Phases 9 to 11 of StoredBlock; dst and room are advanced.
ZebStatus stored_block_steps(ZebLZ77DecoderState* s, InflateInput& in, Zeb8u*& dst, int& room)
{
    if (s->phase == kPhaseStoredAlign) {
        drop_bits(in, in.count & 7);
        s->phase = kPhaseStoredLen;
    }
    if (s->phase == kPhaseStoredLen) {
        int len = 0;
        ZebStatus st = read_stored_length(in, len);
        if (st != zebStsOk)
            return st;
        if (len == 0)
            return end_stored_block(s, in);
        s->storedLeft = len;
        s->phase = kPhaseStoredHeld;
    }
    if (s->phase == kPhaseStoredHeld) {
        Zeb8u* start = dst;
        while (in.count >= 8 && s->storedLeft > 0 && room > 0) {
            *dst++ = (Zeb8u)in.bits;
            drop_bits(in, 8);
            --room;
            --s->storedLeft;
        }
        ownHistoryPushRight(s, dst, (int)(dst - start));
        if (s->storedLeft == 0)
            return end_stored_block(s, in);
        if (in.count >= 8)
            return zebStsDstFull;
        s->phase = kPhaseStoredCopy;
    }
    int n = s->storedLeft;
    if (n > in.left)
        n = in.left;
    if (n > room)
        n = room;
    memcpy(dst, in.src, (size_t)n);
    dst += n;
    room -= n;
    in.src += n;
    in.left -= n;
    in.taken += n;
    ownHistoryPushRight(s, dst, n);
    s->storedLeft -= n;
    if (s->storedLeft == 0)
        return end_stored_block(s, in);
    return room > 0 ? zebStsSrcShort : zebStsDstFull;
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsDecodeLZ77StoredBlock_8u(Zeb8u** ppSrc, int* pSrcLen, Zeb8u** ppDst,
                                                         int* pDstLen, ZebLZ77DecoderState* pState)
{
    ZEB_CHECK(ppSrc != nullptr && pSrcLen != nullptr && ppDst != nullptr && pDstLen != nullptr &&
                  pState != nullptr && *ppSrc != nullptr && *ppDst != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(*pDstLen >= 1, zebStsBadSize);
    int phase = pState->phase;
    ZEB_CHECK(phase >= kPhaseStoredAlign && phase <= kPhaseStoredCopy, zebStsError);
    InflateInput in = load_input(pState, *ppSrc, *pSrcLen < 0 ? 0 : *pSrcLen);
    Zeb8u* dst = *ppDst;
    int room = *pDstLen;
    ZebStatus st = stored_block_steps(pState, in, dst, room);
    store_input(pState, in, ppSrc, pSrcLen);
    *ppDst = dst;
    *pDstLen = room;
    return st;
}

namespace {

ZebStatus stored_huff_steps(ZebLZ77DecoderState* s, InflateInput& in, ZebLZ77Pair*& dst, int& room)
{
    if (s->phase != kPhaseCounts && s->phase != kPhaseData) {
        if (!pull_bits(in, 3))
            return zebStsSrcShort;
        unsigned header = (unsigned)(in.bits & 7);
        ZEB_CHECK(header <= 1, zebStsError);
        s->finalBlock = (int)header;
        s->blockType = zebLZ77BlockStored;
        s->phase = kPhaseCounts;
        drop_bits(in, 3);
    }
    if (s->phase == kPhaseCounts) {
        drop_bits(in, in.count & 7);
        if (!pull_byte(in) && in.count < 32)
            return zebStsSrcShort;
        int len = 0;
        ZebStatus st = read_stored_length(in, len);
        if (st != zebStsOk)
            return st;
        if (len == 0)
            return end_stored_block(s, in);
        s->storedLeft = len;
        s->phase = kPhaseData;
    }
    if (in.left == 0 && in.count < 8)
        return zebStsSrcShort;
    if (room == 0)
        return zebStsDstFull;
    while (room > 0) {
        if (in.count < 8 && !pull_byte(in))
            return zebStsSrcShort;
        dst->length = (Zeb16u)(in.bits & 0xFF);
        dst->offset = 0;
        ++dst;
        --room;
        drop_bits(in, 8);
        if (--s->storedLeft == 0)
            return end_stored_block(s, in);
        if (in.left == 0 && in.count < 8)
            return zebStsSrcShort;
    }
    return zebStsDstFull;
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsDecodeLZ77StoredHuff_8u(Zeb8u** ppSrc, int* pSrcLen, ZebLZ77Pair** ppDst,
                                                        int* pDstLen, ZebLZ77DecoderState* pState)
{
    ZEB_CHECK(ppSrc != nullptr && ppDst != nullptr && pSrcLen != nullptr && pDstLen != nullptr &&
                  *ppSrc != nullptr && *ppDst != nullptr && pState != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(*pSrcLen >= 0 && *pDstLen >= 0, zebStsBadSize);
    InflateInput in = load_input(pState, *ppSrc, *pSrcLen);
    ZebLZ77Pair* dst = *ppDst;
    int room = *pDstLen;
    ZebStatus st = stored_huff_steps(pState, in, dst, room);
    store_input(pState, in, ppSrc, pSrcLen);
    *ppDst = dst;
    *pDstLen = room;
    return st;
}
