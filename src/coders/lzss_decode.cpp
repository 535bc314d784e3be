// LZSS decoder: resumable at any byte of input and any size of destination.
//
// Tokens are read MSB first from a 32-bit accumulator refilled a byte at a time: a literal is a
// 1 bit and 8 bits, a match a 0 bit, a 15-bit distance and 8 bits of length - 3. A match cut
// short by a full destination is finished by the next call. The 32768 most recent output bytes
// stay in a ring inside the state, so a match may reach back into earlier calls' output; a
// distance of 0, or one reaching before the first byte ever produced, is corrupt input.
#include "coders/coders_internal.h"

namespace {

enum { kHistoryMask = kLZSSHistorySize - 1, kWideCopyMinDistance = 8 };

inline LZSSDecoderState* decoder_of(ZebLZSSState* state) { return (LZSSDecoderState*)state; }
inline Zeb8u* ring_of(ZebLZSSState* state) { return (Zeb8u*)state + kLZSSDecoderHistoryOffset; }

// The output of the current call and the history of the earlier ones.
struct Output {
    Zeb8u* start;
    Zeb8u* out;
    Zeb8u* end;
    const Zeb8u* ring;
    int ringFill, ringNext;

    bool reaches(int dist) const { return dist >= 1 && dist <= ringFill + (int)(out - start); }

    // Copies len bytes from dist back (checked by reaches), forward so that an overlapping
    // copy repeats its pattern. The part before this call's output comes from the ring.
    void copy_match(int dist, int len)
    {
        int inRing = dist - (int)(out - start);
        if (inRing > 0) {
            int from = ringNext - inRing;
            int n = inRing < len ? inRing : len;
            for (int i = 0; i < n; ++i)
                out[i] = ring[(from + i) & kHistoryMask];
            out += n;
            len -= n;
        }
        const Zeb8u* from = out - dist;
        int i = 0;
        if (dist >= kWideCopyMinDistance) {
            for (; i + 8 <= len; i += 8)
                zeb_store64(out + i, zeb_load64(from + i));
        }
        for (; i < len; ++i)
            out[i] = from[i];
        out += len;
    }
};

// Keeps the last 32768 bytes of the output in the ring.
void remember_output(LZSSDecoderState* dec, Zeb8u* ring, const Zeb8u* data, int len)
{
    if (len >= kLZSSHistorySize) {
        memcpy(ring, data + len - kLZSSHistorySize, kLZSSHistorySize);
        dec->historyNext = 0;
        dec->historyFill = kLZSSHistorySize;
        return;
    }
    int first = kLZSSHistorySize - dec->historyNext;
    if (first > len)
        first = len;
    memcpy(ring + dec->historyNext, data, (size_t)first);
    memcpy(ring, data + first, (size_t)(len - first));
    dec->historyNext = (dec->historyNext + len) & kHistoryMask;
    dec->historyFill += len;
    if (dec->historyFill > kLZSSHistorySize)
        dec->historyFill = kLZSSHistorySize;
}

// Copies as much of a match as fits; what does not fit is left pending in the state.
bool copy_or_defer(LZSSDecoderState* dec, Output* o, int dist, int len)
{
    int room = (int)(o->end - o->out);
    int now = len < room ? len : room;
    o->copy_match(dist, now);
    dec->matchLen = len - now;
    dec->matchDist = dec->matchLen > 0 ? dist : 0;
    return dec->matchLen == 0;
}

ZebStatus decode_tokens(LZSSDecoderState* dec, Output* o, const Zeb8u** pIn, const Zeb8u* inEnd)
{
    if (dec->matchLen > 0 && !copy_or_defer(dec, o, dec->matchDist, dec->matchLen))
        return zebStsDstFull;
    const Zeb8u* in = *pIn;
    Zeb32u acc = dec->acc;
    int nBits = dec->nBits;
    ZebStatus status = zebStsOk;
    for (;;) {
        if (o->out == o->end) {
            status = zebStsDstFull;
            break;
        }
        while (nBits < kLZSSMatchBits && in < inEnd && !(nBits >= kLZSSLiteralBits && acc >> 31)) {
            acc |= (Zeb32u)*in++ << (24 - nBits);
            nBits += 8;
        }
        if (acc >> 31) {
            if (nBits < kLZSSLiteralBits)
                break;
            *o->out++ = (Zeb8u)(acc >> 23);
            acc <<= kLZSSLiteralBits;
            nBits -= kLZSSLiteralBits;
            continue;
        }
        if (nBits < kLZSSMatchBits)
            break;
        int dist = (int)(acc >> 16) & 0x7FFF;
        int len = (int)((acc >> 8) & 0xFF) + kLZSSMinMatch;
        if (!o->reaches(dist)) { // the token stays pending: every later call fails on it too
            status = zebStsError;
            break;
        }
        acc <<= kLZSSMatchBits;
        nBits -= kLZSSMatchBits;
        if (!copy_or_defer(dec, o, dist, len)) {
            status = zebStsDstFull;
            break;
        }
    }
    dec->acc = acc;
    dec->nBits = nBits;
    *pIn = in;
    return status;
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsDecodeLZSSInit_8u(ZebLZSSState* pState)
{
    ZEB_CHECK(pState != nullptr, zebStsNullPtr);
    memset(pState, 0, kLZSSStateSize);
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsDecodeLZSSInitAlloc_8u(ZebLZSSState** ppState)
{
    ZEB_CHECK(ppState != nullptr, zebStsNullPtr);
    *ppState = (ZebLZSSState*)zebsMalloc_8u(kLZSSStateSize);
    ZEB_CHECK(*ppState != nullptr, zebStsNoMemory);
    return zebsDecodeLZSSInit_8u(*ppState);
}

extern "C" ZEBAPI ZebStatus zebsDecodeLZSS_8u(Zeb8u** ppSrc, Zeb32s* pSrcLen, Zeb8u** ppDst,
                                              Zeb32s* pDstLen, ZebLZSSState* pState)
{
    ZEB_CHECK(pDstLen != nullptr, zebStsNullPtr);
    ZEB_CHECK(*pDstLen >= 1, zebStsBadSize);
    ZEB_CHECK(ppSrc != nullptr && pSrcLen != nullptr && ppDst != nullptr && pState != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(*ppDst != nullptr && (*ppSrc != nullptr || *pSrcLen == 0), zebStsNullPtr);
    ZEB_CHECK(*pSrcLen >= 0, zebStsBadSize);

    LZSSDecoderState* dec = decoder_of(pState);
    Zeb8u* ring = ring_of(pState);
    Output o = {*ppDst, *ppDst, *ppDst + *pDstLen, ring, dec->historyFill, dec->historyNext};
    const Zeb8u* in = *ppSrc;
    ZebStatus status = decode_tokens(dec, &o, &in, in + *pSrcLen);
    int produced = (int)(o.out - o.start);
    remember_output(dec, ring, o.start, produced);

    *pSrcLen -= (Zeb32s)(in - *ppSrc);
    *ppSrc = (Zeb8u*)in;
    *ppDst = o.out;
    *pDstLen -= produced;
    return status;
}
