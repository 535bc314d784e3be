// Byte Huffman: the canonical code both directions derive from the 256 lengths, and the
// operations on the length table that do not depend on the direction of the state.
#include "coders/coders_internal.h"

void ownHuffAssignCodes(const Zeb32s codeLen[kHuffSymbols], Zeb32u code[kHuffSymbols])
{
    uint64_t counter = 0;
    for (int len = kHuffMaxLen; len >= 1; --len) {
        const uint64_t mask = ((uint64_t)1 << len) - 1;
        for (int sym = kHuffSymbols - 1; sym >= 0; --sym) {
            if (codeLen[sym] == len)
                code[sym] = (Zeb32u)(counter++ & mask);
        }
        counter >>= 1;
    }
    for (int sym = 0; sym < kHuffSymbols; ++sym) {
        if (codeLen[sym] == 0)
            code[sym] = 0;
    }
}

extern "C" ZEBAPI ZebStatus zebsHuffGetSize_8u(Zeb32s* pSize)
{
    ZEB_CHECK(pSize != nullptr, zebStsNullPtr);
    *pSize = kHuffStateSize;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsHuffGetLenCodeTable_8u(Zeb32s codeLenTable[256],
                                                       const ZebHuffState* pState)
{
    ZEB_CHECK(codeLenTable != nullptr && pState != nullptr, zebStsNullPtr);
    memcpy(codeLenTable, pState->codeLen, sizeof pState->codeLen);
    return zebStsOk;
}

// Worst cases: every symbol at the longest length for the encoder (plus one code of slack), and
// for the decoder 64 symbols per source byte of the shortest length. The sums are taken in
// 32-bit arithmetic as the figures are defined; they wrap for very large srcLen.
extern "C" ZEBAPI ZebStatus zebsHuffGetDstBuffSize_8u(const Zeb32s codeLenTable[256],
                                                      Zeb32s srcLen, Zeb32s* pEncDstLen,
                                                      Zeb32s* pDecDstLen)
{
    ZEB_CHECK(codeLenTable != nullptr, zebStsNullPtr);
    ZEB_CHECK(srcLen >= 1, zebStsBadSize);
    Zeb32s minLen = kHuffMaxLen, maxLen = 1;
    for (int sym = 0; sym < kHuffSymbols; ++sym) {
        Zeb32s len = codeLenTable[sym];
        if (len != 0 && len < minLen)
            minLen = len;
        if (len > maxLen)
            maxLen = len;
    }
    ZEB_CHECK(minLen >= 0 && maxLen <= kHuffMaxLen, zebStsCodeLenTableError);
    if (pEncDstLen != nullptr) {
        Zeb32u bits = (Zeb32u)srcLen * (Zeb32u)maxLen + (Zeb32u)maxLen + 7u;
        *pEncDstLen = (Zeb32s)bits >> 3;
    }
    if (pDecDstLen != nullptr)
        *pDecDstLen = (Zeb32s)((Zeb32u)srcLen * 64u) / minLen;
    return zebStsOk;
}

extern "C" ZEBAPI void zebsHuffFree_8u(ZebHuffState* pState)
{
    zebsFree(pState);
}
