// Pairs to bytes: the second stage of two-stage inflate. Literals are written, matches copied
// from this call's output or, further back, from the history, which this stage keeps
// left-aligned: history[0 .. historyLen) is the most recent output, oldest first, and the output
// of each call is appended behind it (the region's upper half is the room for that append).
//
// The pairs may come from the caller, so nothing about them is trusted: a match reaching before
// what this stream wrote (plus a preset dictionary) is refused, any length is cut to the room
// left and carried over as a pending match.
#include "inflate/inflate_internal.h"

namespace {

// Appends the last min(n, 32768) bytes written by the call (ending at end) to the history.
void append_history(ZebLZ77DecoderState* s, const Zeb8u* end, int n)
{
    if (n <= 0)
        return;
    int keep = n < kWindow ? n : kWindow;
    Zeb8u* h = s->historyBuf;
    memcpy(h + s->historyLen, end - keep, (size_t)keep);
    s->historyLen += keep;
    if (s->historyLen > kWindow) {
        memmove(h, h + s->historyLen - kWindow, kWindow);
        s->historyLen = kWindow;
    }
    s->validLeft = s->validLeft + n < s->historyLen ? s->validLeft + n : s->historyLen;
    s->validRight = s->historyLen == kWindow ? s->validLeft : 0;
}

struct PairsOutput {
    Zeb8u* out;
    const Zeb8u* start;
    int room;
};

// Copies up to the room left of a match; the rest becomes the pending match.
ZebStatus emit_match(ZebLZ77DecoderState* s, PairsOutput& o, int dist, int len)
{
    int valid = s->validLeft < s->historyLen ? s->validLeft : s->historyLen;
    ZEB_CHECK(dist >= 1 && dist <= (int)(o.out - o.start) + valid, zebStsError);
    int n = len < o.room ? len : o.room;
    o.out = copy_match(o.out, o.start, s->historyBuf + s->historyLen, dist, n);
    o.room -= n;
    s->pendingLen = len - n;
    s->pendingDist = len > n ? dist : 0;
    return len > n ? zebStsDstFull : zebStsOk;
}

// Turns pairs into bytes while the room holds any match and its wide-copy slack, with the
// pointers in locals (a byte store could alias them); stops at the first pair that needs care:
// a match past the room, or an offset to refuse.
void pairs_fast(const ZebLZ77DecoderState* s, ZebLZ77Pair*& src, int& left, PairsOutput& o)
{
    if (o.room < kWideSlack)
        return;
    ZebLZ77Pair* p = src;
    ZebLZ77Pair* const end = src + left;
    Zeb8u* out = o.out;
    Zeb8u* const last = o.out + o.room - kWideSlack;
    const Zeb8u* historyEnd = s->historyBuf + s->historyLen;
    int valid = s->validLeft < s->historyLen ? s->validLeft : s->historyLen;
    for (; p < end; ++p) {
        int len = p->length, dist = p->offset;
        if (dist == 0) {
            if (out >= last)
                break;
            *out++ = (Zeb8u)len;
            continue;
        }
        if (dist > (out - o.start) + valid || len > last - out)
            break;
        out = copy_match_fast(out, o.start, historyEnd, dist, len);
    }
    left -= (int)(p - src);
    src = p;
    o.room -= (int)(out - o.out);
    o.out = out;
}

ZebStatus pairs_to_bytes(ZebLZ77DecoderState* s, ZebLZ77Pair*& src, int& left, PairsOutput& o)
{
    if (s->pendingLen > 0) {
        ZebStatus st = emit_match(s, o, s->pendingDist, s->pendingLen);
        if (st != zebStsOk)
            return st;
    }
    while (left > 0) {
        pairs_fast(s, src, left, o);
        if (left == 0)
            break;
        if (o.room == 0)
            return zebStsDstFull;
        ZebStatus st = zebStsOk;
        if (src->offset == 0) {
            *o.out++ = (Zeb8u)src->length;
            --o.room;
        } else {
            st = emit_match(s, o, src->offset, src->length);
            if (st == zebStsError) // refused: the pair is not consumed
                return st;
        }
        ++src;
        --left;
        if (st != zebStsOk) // the rest of the match is pending
            return st;
    }
    return s->streamEnd ? zebStsStreamEnd : zebStsOk;
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsDecodeLZ77_8u(ZebLZ77Pair** ppSrc, int* pSrcLen, Zeb8u** ppDst,
                                              int* pDstLen, ZebLZ77Flush flush,
                                              ZebLZ77DecoderState* pState)
{
    (void)flush;
    ZEB_CHECK(ppSrc != nullptr && ppDst != nullptr && pState != nullptr && pSrcLen != nullptr &&
                  pDstLen != nullptr && *ppSrc != nullptr && *ppDst != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(*pDstLen >= 0 && *pSrcLen >= 0, zebStsBadSize);
    if (*pSrcLen == 0)
        return zebStsOk;
    ZEB_CHECK(*pDstLen > 0, zebStsDstFull);
    PairsOutput o{*ppDst, *ppDst, *pDstLen};
    ZebLZ77Pair* src = *ppSrc;
    int left = *pSrcLen;
    ZebStatus st = pairs_to_bytes(pState, src, left, o);
    append_history(pState, o.out, (int)(o.out - o.start));
    *ppSrc = src;
    *pSrcLen = left;
    *ppDst = o.out;
    *pDstLen = o.room;
    return st;
}
