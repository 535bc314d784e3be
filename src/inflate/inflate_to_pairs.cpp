// Fixed and dynamic blocks (RFC 1951, BTYPE 01 and 10) decoded to literal/match pairs.
//
// Two bit-input tiers: while at least 12 source bytes remain, the fast loop tops the bit buffer
// up to 56 bits or more with one 8-byte load and decodes a whole symbol (50 bits at most) without
// checks; below that, the careful loop decodes from the bits held, checking every part of the
// symbol, and takes one more byte whenever the symbol is incomplete. A symbol is never half
// consumed, so a call may stop on an empty source at any bit. When a call stops other than on an
// empty source, the whole bytes the fast loop read ahead go back to the source; at the end of
// the final block this leaves the source pointer on the first byte after the deflate stream.
#include "inflate/inflate_internal.h"

namespace {

enum { kFastMargin = 12 };

ZebStatus end_block(ZebLZ77DecoderState* s, InflateInput& in)
{
    s->phase = kPhaseHeader;
    if (!s->finalBlock)
        return zebStsOk;
    s->streamEnd = 1;
    end_stream_input(in);
    return zebStsStreamEnd;
}

// Looks for the empty stored block 00 00 FF FF that sync and full flushes leave, at a byte
// boundary; the phase is not changed.
ZebStatus find_flush_marker(InflateInput& in)
{
    drop_bits(in, in.count & 7);
    for (;;) {
        if (!pull_bits(in, 32))
            return zebStsSrcShort;
        if ((in.bits & 0xFFFFFFFFu) == 0xFFFF0000u && (in.bits >> 32) == 0) {
            in.bits = 0;
            in.count = 0;
            return zebStsOk;
        }
        drop_bits(in, 8);
    }
}

// Decodes while at least kHotMargin source bytes and room for kHotLiterals pairs are left; returns the
// first symbol that is not a literal or a match, or kSymNeedBits when a margin ran out.
template <class Code>
InflateSymbol hot_loop(const Code& code, InflateInput& in, ZebLZ77Pair*& dst, int& room)
{
    HotBits h = hot_bits(in);
    const Zeb8u* srcLast = in.src + (in.left - kHotMargin);
    ZebLZ77Pair* out = dst;
    ZebLZ77Pair* const outLast = dst + (room - kHotLiterals);
    InflateSymbol stop{kSymNeedBits, 0, 0};
    HotEntry e = hot_start(code, h);
    while (h.src <= srcLast && out <= outLast) {
        InflateSymbol sym =
            hot_round(code, h, e, [&out](unsigned v) { *out++ = ZebLZ77Pair{(Zeb16u)v, 0}; });
        if (sym.kind == kSymMatch) {
            *out++ = ZebLZ77Pair{(Zeb16u)sym.value, (Zeb16u)sym.dist};
        } else if (sym.kind != kSymNeedBits) {
            stop = sym;
            break;
        }
    }
    end_hot_bits(in, h);
    room -= (int)(out - dst);
    dst = out;
    return stop;
}

template <class Code>
ZebStatus decode_to_pairs(ZebLZ77DecoderState* s, const Code& code, InflateInput& in,
                          ZebLZ77Pair*& dst, int& room)
{
    for (;;) {
        InflateSymbol sym;
        if (in.left >= kHotMargin && room >= kHotLiterals) {
            sym = hot_loop(code, in, dst, room);
            if (room == 0)
                return zebStsDstFull;
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
        if (sym.kind == kSymLiteral) {
            *dst++ = ZebLZ77Pair{(Zeb16u)sym.value, 0};
        } else if (sym.kind == kSymMatch) {
            *dst++ = ZebLZ77Pair{(Zeb16u)sym.value, (Zeb16u)sym.dist};
        } else {
            ZEB_CHECK(sym.kind == kSymEnd, zebStsBadSize); // an invalid symbol or distance code
            return end_block(s, in);
        }
        if (--room == 0)
            return zebStsDstFull;
    }
}

ZebStatus block_to_pairs(ZebLZ77DecoderState* s, InflateInput& in, ZebLZ77Pair*& dst, int& room,
                         int type)
{
    if (type == zebLZ77BlockFixed) {
        if (s->phase != kPhaseData) {
            ZebStatus st = ownReadOwnHeader(s, in, type);
            if (st != zebStsOk)
                return st;
        }
        return decode_to_pairs(s, FixedCode{}, in, dst, room);
    }
    if (s->phase < kPhaseCounts || s->phase > kPhaseData) {
        ZebStatus st = ownReadOwnHeader(s, in, type);
        if (st != zebStsOk)
            return st;
    }
    ZebStatus st = ownReadDynamicHeader(s, in);
    if (st != zebStsOk)
        return st;
    return decode_to_pairs(s, dynamic_code(s), in, dst, room);
}

ZebStatus decode_pairs_call(Zeb8u** ppSrc, int* pSrcLen, ZebLZ77Pair** ppDst, int* pDstLen,
                            ZebLZ77Flush flush, ZebLZ77DecoderState* pState, int type)
{
    ZEB_CHECK(ppSrc != nullptr && pSrcLen != nullptr && ppDst != nullptr && pDstLen != nullptr &&
                  pState != nullptr && *ppSrc != nullptr && *ppDst != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(*pSrcLen >= 0 && *pDstLen >= 0, zebStsBadSize);
    InflateInput in = load_input(pState, *ppSrc, *pSrcLen);
    ZebStatus st;
    if (flush == zebLZ77FlushSync || flush == zebLZ77FlushFull) {
        st = find_flush_marker(in);
    } else {
        ZEB_CHECK(*pDstLen > 0, zebStsDstFull);
        ZebLZ77Pair* dst = *ppDst;
        int room = *pDstLen;
        st = block_to_pairs(pState, in, dst, room, type);
        if (st != zebStsSrcShort)
            give_back_bytes(in);
        *ppDst = dst;
        *pDstLen = room;
    }
    mask_input(in);
    store_input(pState, in, ppSrc, pSrcLen);
    return st;
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsDecodeLZ77FixedHuff_8u(Zeb8u** ppSrc, int* pSrcLen, ZebLZ77Pair** ppDst,
                                                       int* pDstLen, ZebLZ77Flush flush,
                                                       ZebLZ77DecoderState* pState)
{
    return decode_pairs_call(ppSrc, pSrcLen, ppDst, pDstLen, flush, pState, zebLZ77BlockFixed);
}

extern "C" ZEBAPI ZebStatus zebsDecodeLZ77DynamicHuff_8u(Zeb8u** ppSrc, int* pSrcLen,
                                                         ZebLZ77Pair** ppDst, int* pDstLen,
                                                         ZebLZ77Flush flush, ZebLZ77DecoderState* pState)
{
    return decode_pairs_call(ppSrc, pSrcLen, ppDst, pDstLen, flush, pState, zebLZ77BlockDynamic);
}
