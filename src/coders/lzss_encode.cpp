// LZSS encoder: the deflate encoder's chained-hash match finder (16 probes, greedy) over a 32 KiB
// window, tokens written MSB first through a 64-bit accumulator.
//
// A call that fills the destination stops after the token in hand; its unwritten bits wait in
// the state, and the next call writes them out before it takes a new token. The parse depends
// only on the history and on where the source ends, so a stream coded into destinations of any
// size gives the same bytes as one call with room.
#include "coders/coders_internal.h"
#include "deflate/deflate_internal.h"

namespace {

enum { kProbes = 16 };

// A fixed table of 3 x 256 random 15-bit values that spreads byte triples over the head table:
// xorshift32 from a fixed seed, top 15 bits of each draw.
struct RandVec {
    Zeb16s v[3 * 256];
};
constexpr RandVec make_rand_vec()
{
    RandVec t{};
    Zeb32u x = 0x2545F491u;
    for (int i = 0; i < 3 * 256; ++i) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        t.v[i] = (Zeb16s)(x >> 17);
    }
    return t;
}
constexpr RandVec randVecLZSS = make_rand_vec();

inline LZSSEncoderHeader* header_of(ZebLZSSState* s) { return (LZSSEncoderHeader*)(void*)s; }
inline Zeb32s* prev_of(ZebLZSSState* s) { return (Zeb32s*)(void*)((Zeb8u*)s + kLZSSPrevOffset); }
inline Zeb32s* head_of(ZebLZSSState* s) { return (Zeb32s*)(void*)((Zeb8u*)s + kLZSSHeadOffset); }
inline Zeb8u* window_of(ZebLZSSState* s) { return (Zeb8u*)s + kLZSSWindowOffset; }

// Token bits, left-aligned in 64 bits, and the destination they go to.
struct TokenSink {
    uint64_t acc;
    Zeb32s nBits;
    Zeb8u* dst;
    Zeb32s room;

    // Moves whole bytes out while there is room.
    void drain()
    {
        Zeb32s bytes = nBits >> 3;
        if (bytes > room)
            bytes = room;
        for (Zeb32s i = 0; i < bytes; ++i)
            dst[i] = (Zeb8u)(acc >> (56 - 8 * i));
        dst += bytes;
        room -= bytes;
        acc <<= 8 * bytes; // at most 3 bytes: fewer than 32 bits are ever pending
        nBits -= 8 * bytes;
    }

    // Appends a token (fewer than 8 bits are pending) and writes what it can.
    void put(Zeb32u token, Zeb32s bits)
    {
        acc |= (uint64_t)token << (64 - nBits - bits);
        nBits += bits;
        drain();
    }
    void literal(Zeb8u b) { put(0x100u | b, kLZSSLiteralBits); }
    void match(Zeb32s dist, Zeb32s len)
    {
        put(((Zeb32u)dist << 8) | (Zeb32u)(len - kLZSSMinMatch), kLZSSMatchBits);
    }
};

// Parses src[0 .. n) greedily behind the history of f until the source ends or the
// destination is full after a token. @return the bytes consumed.
Zeb32s parse(const OwnLZ77Finder& f, Zeb32s n, TokenSink& out)
{
    const Zeb32s end = f.position + n;
    Zeb32s p = f.position;
    bool literal = false;
    while (p < end - 2 && out.room > 0) {
        Zeb32s bestPos = 0;
        Zeb32s best = ownLZ77FindGreedy(f, p, end, kProbes, &bestPos, literal);
        literal = best < kLZSSMinMatch;
        if (!literal) {
            out.match(p - bestPos, best);
            ownLZ77InsertRange(f, p + 1, p + best);
            p += best;
        } else {
            out.literal(f.src[p - f.position]);
            ++p;
        }
    }
    for (; p < end && out.room > 0; ++p)
        out.literal(f.src[p - f.position]);
    return p - f.position;
}

// Codes one piece of at most kLZ77MaxCallBytes source bytes; keeps the history.
Zeb32s encode_piece(ZebLZSSState* pState, const Zeb8u* src, Zeb32s n, TokenSink& out)
{
    LZSSEncoderHeader* e = header_of(pState);
    Zeb8u* window = window_of(pState);
    if (e->position >= kLZ77RebaseAt)
        ownLZ77Rebase(prev_of(pState), head_of(pState), &e->windowStart, &e->position);
    ownLZ77LoadSource(window, e->windowStart, e->position, src, n);
    OwnLZ77Finder f = {prev_of(pState), head_of(pState), randVecLZSS.v, window,
                       e->windowStart,  e->position,     src,           e->windowStart};
    Zeb32s consumed = parse(f, n, out);
    ownLZ77KeepHistory(window, &e->windowStart, &e->position, src, consumed);
    return consumed;
}

inline uint64_t pending_bits(const LZSSEncoderHeader* e)
{
    return ((uint64_t)e->bitsHigh << 32) | e->bitsLow;
}
inline void store_pending(LZSSEncoderHeader* e, uint64_t acc, Zeb32s nBits)
{
    e->bitsHigh = (Zeb32u)(acc >> 32);
    e->bitsLow = (Zeb32u)acc;
    e->nBits = nBits;
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsEncodeLZSSInit_8u(ZebLZSSState* pState)
{
    ZEB_CHECK(pState != nullptr, zebStsNullPtr);
    memset(pState, 0, kLZSSStateSize);
    ownLZ77ClearTable(prev_of(pState), kLZ77LinkSize);
    ownLZ77ClearTable(head_of(pState), kLZ77HashSize);
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsEncodeLZSSInitAlloc_8u(ZebLZSSState** ppState)
{
    ZEB_CHECK(ppState != nullptr, zebStsNullPtr);
    *ppState = (ZebLZSSState*)zebsMalloc_8u(kLZSSStateSize);
    ZEB_CHECK(*ppState != nullptr, zebStsNoMemory);
    return zebsEncodeLZSSInit_8u(*ppState);
}

extern "C" ZEBAPI ZebStatus zebsEncodeLZSS_8u(Zeb8u** ppSrc, Zeb32s* pSrcLen, Zeb8u** ppDst,
                                              Zeb32s* pDstLen, ZebLZSSState* pState)
{
    ZEB_CHECK(ppSrc != nullptr && pSrcLen != nullptr && ppDst != nullptr && pDstLen != nullptr &&
                  pState != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(*pSrcLen >= 0 && *pDstLen >= 0, zebStsBadSize);
    ZEB_CHECK((*ppSrc != nullptr || *pSrcLen == 0) && (*ppDst != nullptr || *pDstLen == 0),
              zebStsNullPtr);
    if (*pDstLen == 0)
        return zebStsDstFull;
    if (*pSrcLen == 0)
        return zebStsOk;

    LZSSEncoderHeader* e = header_of(pState);
    Zeb32s pendingBits = e->nBits > 0 ? e->nBits : 0; // a flush may leave a negative count
    TokenSink out = {pending_bits(e), pendingBits, *ppDst, *pDstLen};
    out.drain(); // bits a full destination held back go first
    const Zeb8u* src = *ppSrc;
    Zeb32s left = *pSrcLen;
    while (left > 0 && out.nBits < 8 && out.room > 0) {
        Zeb32s piece = left < kLZ77MaxCallBytes ? left : kLZ77MaxCallBytes;
        Zeb32s consumed = encode_piece(pState, src, piece, out);
        src += consumed;
        left -= consumed;
    }
    store_pending(e, out.acc, out.nBits);
    *ppDst = out.dst;
    *pDstLen = out.room;
    *ppSrc += *pSrcLen - left;
    *pSrcLen = left;
    return left == 0 ? zebStsOk : zebStsDstFull;
}

extern "C" ZEBAPI ZebStatus zebsEncodeLZSSFlush_8u(Zeb8u** ppDst, Zeb32s* pDstLen,
                                                   ZebLZSSState* pState)
{
    ZEB_CHECK(ppDst != nullptr && pDstLen != nullptr && pState != nullptr, zebStsNullPtr);
    ZEB_CHECK(*pDstLen >= 1, zebStsBadSize);
    ZEB_CHECK(*ppDst != nullptr, zebStsNullPtr);
    LZSSEncoderHeader* e = header_of(pState);
    if (e->nBits < 1)
        return zebStsOk;
    uint64_t acc = pending_bits(e);
    Zeb32s nBits = e->nBits, bytes = (nBits + 7) >> 3;
    Zeb8u* dst = *ppDst;
    for (Zeb32s i = 0; i < bytes; ++i) {
        *dst++ = (Zeb8u)(acc >> 56);
        acc <<= 8;
        nBits -= 8;
        if (dst - *ppDst == *pDstLen) { // full after this byte, even if it was the last
            store_pending(e, acc, nBits);
            *ppDst = dst;
            *pDstLen = 0;
            return zebStsDstFull;
        }
    }
    *pDstLen -= (Zeb32s)(dst - *ppDst);
    *ppDst = dst;
    return zebStsOk;
}
