// The fixed-code block writer of RFC 1951 (BTYPE 01).
//
// Every code comes from the constant tables with its extra bits already folded in: a literal is
// one cTable entry, a match one lTable entry and one distance entry (oTableL up to 256, else the
// oTableH entry of its distance code and the offset from that code's base).
#include "deflate/deflate_internal.h"

Zeb32s ownCodePairsFixed(OwnBitSink& sink, const ZebLZ77Pair* pairs, Zeb32s n,
                         const OwnDeflateWork*, ZebStatus* pStatus)
{
    OwnBitSink s = sink; // a local copy: stores through s.dst cannot alias it
    Zeb32s i = 0;
    for (; i < n; ++i) {
        ownDrainBits(s);
        if (s.count >= 8)
            break;
        ZebLZ77Pair pair = pairs[i];
        if (!ownPairValid(pair)) {
            *pStatus = zebStsError;
            break;
        }
        if (pair.offset == 0) {
            ownPutBits(s, cTable[pair.length].code, cTable[pair.length].len);
            continue;
        }
        const OwnCodeLen& length = lTable[pair.length - kLZ77MinMatch];
        ownPutBits(s, length.code, length.len);
        if (pair.offset <= 256) {
            const OwnCodeLen& distance = oTableL[pair.offset - 1];
            ownPutBits(s, distance.code, distance.len);
        } else {
            const OwnFarDistance& far = oTableH[ownDistCode(pair.offset) - 16];
            ownPutBits(s, far.code | (pair.offset - far.base) << 5, 5 + far.extra);
        }
    }
    sink = s;
    return i;
}

extern "C" ZEBAPI ZebStatus zebsEncodeLZ77FixedHuff_8u(ZebLZ77Pair** ppSrc, Zeb32s* pSrcLen,
                                                       Zeb8u** ppDst, Zeb32s* pDstLen,
                                                       ZebLZ77Flush flush,
                                                       ZebLZ77EncoderState* pState)
{
    return ownEncodeHuffBlock(kBlockFixed, ppSrc, pSrcLen, ppDst, pDstLen, flush, pState);
}
