// Fixed and dynamic blocks decoded straight to bytes, without the pairs stage.
//
// Back-references are resolved against this call's output and the history, which these decoders
// keep right-aligned (the newest byte at history[32767]) and update at the end of each call. A
// match that does not fit the room left is cut and finished by the next call (pendingLen,
// pendingDist). Distances reaching before what this stream wrote plus a preset dictionary are
// refused with zebStsError, so the history never yields bytes of another stream.
//
// While kHotMargin source bytes and kHotRoom bytes of room are left, the hot loop decodes without
// per-symbol checks of input or room (a round's literals and a match of 258 bytes, plus what a
// wide copy may write past it); the loops below it handle the edges of both buffers.
#include "inflate/inflate_internal.h"

namespace {

enum {
    kFastMargin = 12,                // source bytes for one 8-byte refill per symbol
    kHotRoom = kHotLiterals - 1 + 258 + kWideSlack, // room for a round of the hot loop
};

// Not a status of the interface: the symbol loop goes on.
constexpr ZebStatus kGoOn = (ZebStatus)1;

struct FullOutput {
    Zeb8u* out;
    Zeb8u* start;
    int room;
};

ZebStatus end_block(ZebLZ77DecoderState* s, InflateInput& in)
{
    s->phase = kPhaseHeader;
    if (!s->finalBlock)
        return zebStsOk;
    s->streamEnd = 1;
    end_stream_input(in);
    return zebStsStreamEnd;
}

// Writes a match of len at dist, cutting it to the room left; zebStsOk when it fitted.
ZebStatus emit_match(ZebLZ77DecoderState* s, FullOutput& o, int dist, int len)
{
    ZEB_CHECK(dist <= (int)(o.out - o.start) + s->validRight, zebStsError);
    int n = len < o.room ? len : o.room;
    o.out = copy_match(o.out, o.start, s->historyBuf + kWindow, dist, n);
    o.room -= n;
    s->pendingLen = len - n;
    s->pendingDist = len > n ? dist : 0;
    return len > n ? zebStsDstFull : zebStsOk;
}

// Acts on one symbol; kGoOn, or the status that ends the call.
ZebStatus emit_symbol(ZebLZ77DecoderState* s, const InflateSymbol& sym, InflateInput& in, FullOutput& o)
{
    if (sym.kind == kSymLiteral) {
        *o.out++ = (Zeb8u)sym.value;
        return --o.room > 0 ? kGoOn : zebStsDstFull;
    }
    if (sym.kind == kSymMatch) {
        ZebStatus st = emit_match(s, o, sym.dist, sym.value);
        if (st != zebStsOk)
            return st;
        return o.room > 0 ? kGoOn : zebStsDstFull;
    }
    ZEB_CHECK(sym.kind == kSymEnd, zebStsBadSize); // an invalid symbol or distance code
    return end_block(s, in);
}

// The hot loop: decodes while the margins hold and returns the first symbol it does not handle
// itself (end of block, an invalid symbol, a far distance), or kSymNeedBits when a margin ran out.
// The code is taken by value: a copy the output's byte stores cannot alias stays in registers.
template <class Code>
InflateSymbol hot_loop(const Code code, InflateInput& in, FullOutput& o, const Zeb8u* historyEnd,
                       int valid)
{
    HotBits h = hot_bits(in);
    const Zeb8u* srcLast = in.src + (in.left - kHotMargin);
    Zeb8u* out = o.out;
    Zeb8u* const start = o.start;
    Zeb8u* const outLast = o.out + (o.room - kHotRoom);
    InflateSymbol stop{kSymNeedBits, 0, 0};
    HotEntry e = hot_start(code, h);
    while (h.src <= srcLast && out <= outLast) {
        InflateSymbol sym = hot_round(code, h, e, [&out](unsigned v) { *out++ = (Zeb8u)v; });
        if (sym.kind == kSymNeedBits)
            continue;
        if (sym.kind == kSymMatch && sym.dist <= (int)(out - start) + valid) {
            out = copy_match_fast(out, start, historyEnd, sym.dist, sym.value);
        } else {
            stop = sym;
            break;
        }
    }
    end_hot_bits(in, h);
    o.room -= (int)(out - o.out);
    o.out = out;
    return stop;
}

// The hot loop of the dynamic decoder, kept out of line and on a cache-line boundary so that its
// code placement does not move with the code around it.
__attribute__((noinline, aligned(64))) InflateSymbol
ownDecodeLZ77DHF_HotSpot(const DynamicCode code, InflateInput& in, FullOutput& o,
                         const Zeb8u* historyEnd, int valid)
{
    return hot_loop(code, in, o, historyEnd, valid);
}

InflateSymbol fast_symbols(const FixedCode& code, InflateInput& in, FullOutput& o,
                           const Zeb8u* historyEnd, int valid)
{
    return hot_loop(code, in, o, historyEnd, valid);
}

InflateSymbol fast_symbols(const DynamicCode& code, InflateInput& in, FullOutput& o,
                           const Zeb8u* historyEnd, int valid)
{
    return ownDecodeLZ77DHF_HotSpot(code, in, o, historyEnd, valid);
}

template <class Code>
ZebStatus decode_to_bytes(ZebLZ77DecoderState* s, const Code& code, InflateInput& in, FullOutput& o)
{
    for (;;) {
        InflateSymbol sym;
        if (in.left >= kHotMargin && o.room >= kHotRoom) {
            sym = fast_symbols(code, in, o, s->historyBuf + kWindow, s->validRight);
            if (sym.kind == kSymNeedBits)
                continue;
        } else if (in.left >= kFastMargin) {
            refill_fast(in);
            sym = decode_symbol<false>(code, in.bits, in.count);
        } else {
            mask_input(in);
            sym = decode_symbol<true>(code, in.bits, in.count);
            if (sym.kind == kSymNeedBits) {
                if (!pull_byte(in))
                    return zebStsSrcShort;
                continue;
            }
        }
        ZebStatus st = emit_symbol(s, sym, in, o);
        if (st != kGoOn)
            return st;
    }
}

// The match cut short by the previous call, first.
ZebStatus finish_pending(ZebLZ77DecoderState* s, FullOutput& o)
{
    if (s->pendingLen <= 0)
        return zebStsOk;
    ZEB_CHECK(s->pendingDist >= 1, zebStsError);
    ZebStatus st = emit_match(s, o, s->pendingDist, s->pendingLen);
    return st == zebStsOk && o.room == 0 ? zebStsDstFull : st;
}

ZebStatus block_to_bytes(ZebLZ77DecoderState* s, InflateInput& in, FullOutput& o, int type)
{
    ZebStatus st = finish_pending(s, o);
    if (st != zebStsOk)
        return st;
    if (type == zebLZ77BlockFixed) {
        if (s->phase != kPhaseData) {
            st = ownReadOwnHeader(s, in, type);
            if (st != zebStsOk)
                return st;
        }
        return decode_to_bytes(s, FixedCode{}, in, o);
    }
    if (s->phase < kPhaseCounts || s->phase > kPhaseData) {
        st = ownReadOwnHeader(s, in, type);
        if (st != zebStsOk)
            return st;
    }
    st = ownReadDynamicHeader(s, in);
    if (st != zebStsOk)
        return st;
    return decode_to_bytes(s, dynamic_code(s), in, o);
}

ZebStatus decode_full_call(Zeb8u** ppSrc, int* pSrcLen, Zeb8u** ppDst, int* pDstLen,
                           ZebLZ77DecoderState* pState, int type)
{
    ZEB_CHECK(ppSrc != nullptr && ppDst != nullptr && pState != nullptr && pSrcLen != nullptr &&
                  pDstLen != nullptr && *ppSrc != nullptr && *ppDst != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(*pSrcLen >= 0 && *pDstLen >= 0, zebStsBadSize);
    ZEB_CHECK(*pDstLen > 0, zebStsDstFull);
    InflateInput in = load_input(pState, *ppSrc, *pSrcLen);
    FullOutput o{*ppDst, *ppDst, *pDstLen};
    ZebStatus st = block_to_bytes(pState, in, o, type);
    if (st != zebStsSrcShort)
        give_back_bytes(in);
    mask_input(in);
    if (st != zebStsStreamEnd)
        ownHistoryPushRight(pState, o.out, (int)(o.out - o.start));
    store_input(pState, in, ppSrc, pSrcLen);
    *ppDst = o.out;
    *pDstLen = o.room;
    return st;
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsDecodeLZ77FixedHuffFull_8u(Zeb8u** ppSrc, int* pSrcLen, Zeb8u** ppDst,
                                                           int* pDstLen, ZebLZ77Flush flush,
                                                           ZebLZ77DecoderState* pState)
{
    (void)flush;
    return decode_full_call(ppSrc, pSrcLen, ppDst, pDstLen, pState, zebLZ77BlockFixed);
}

extern "C" ZEBAPI ZebStatus zebsDecodeLZ77DynamicHuffFull_8u(Zeb8u** ppSrc, int* pSrcLen,
                                                             Zeb8u** ppDst, int* pDstLen,
                                                             ZebLZ77Flush flush,
                                                             ZebLZ77DecoderState* pState)
{
    (void)flush;
    return decode_full_call(ppSrc, pSrcLen, ppDst, pDstLen, pState, zebLZ77BlockDynamic);
}
