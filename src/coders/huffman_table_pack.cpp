// The packed byte-Huffman length table: 4-bit units, most significant first, the last byte
// padded with zero bits.
//
// A unit 0..12 carries a value at once; 13, 14 and 15 select the bank 0, 13 or 26 for it and
// for all later values, and the unit after them carries the value. A value is bank + unit
// (0..38). Values are the lengths of the symbols 0..255 in turn, except that after a length
// has equalled the one before it twice (the start value 0 counts as the one before symbol 0)
// the next value is a repeat count: that many further copies of the length follow, and the
// counting of equal lengths starts again. The writer cuts counts at 32 and never writes a count
// once the 256 lengths are complete.
#include "coders/coders_internal.h"

namespace {

enum {
    kBankUnit = 13, // units 13, 14, 15 select the banks 0, 13, 26
    kBankSize = 13,
    kMaxRepeat = 32,
    kEqualsBeforeRepeat = 2
};

// Appends units to a byte buffer while room lasts; remembers whether any unit was lost.
struct UnitWriter {
    Zeb8u* dst;
    int cap;
    int units;
    bool overflow;

    void put(int unit)
    {
        int byte = units >> 1;
        if (byte >= cap) {
            overflow = true;
        } else if ((units & 1) == 0) {
            dst[byte] = (Zeb8u)(unit << 4);
        } else {
            dst[byte] |= (Zeb8u)unit;
        }
        ++units;
    }
};

void write_value(UnitWriter* w, int* bank, int value)
{
    int needed = value / kBankSize * kBankSize;
    if (needed != *bank) {
        w->put(kBankUnit + needed / kBankSize);
        *bank = needed;
    }
    w->put(value - needed);
}

// Reads units from a byte buffer; reading past its end is reported, not performed.
struct UnitReader {
    const Zeb8u* src;
    int len;
    int units;

    bool get(int* unit)
    {
        int byte = units >> 1;
        if (byte >= len)
            return false;
        *unit = (units & 1) == 0 ? src[byte] >> 4 : src[byte] & 0xF;
        ++units;
        return true;
    }
};

bool read_value(UnitReader* r, int* bank, int* value)
{
    int unit;
    if (!r->get(&unit))
        return false;
    if (unit >= kBankUnit) {
        *bank = (unit - kBankUnit) * kBankSize;
        if (!r->get(&unit))
            return false;
    }
    *value = *bank + unit;
    return true;
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsHuffLenCodeTablePack_8u(const Zeb32s codeLenTable[256],
                                                        Zeb8u* pDst, Zeb32s* pDstLen)
{
    ZEB_CHECK(codeLenTable != nullptr && pDst != nullptr && pDstLen != nullptr, zebStsNullPtr);
    ZEB_CHECK(*pDstLen >= 1, zebStsBadSize);
    UnitWriter w = {pDst, *pDstLen, 0, false};
    bool badLength = false;
    int bank = 0, previous = 0, equals = 0;
    for (int sym = 0; sym < kHuffSymbols;) {
        int len = codeLenTable[sym];
        if (len < 0 || len > kHuffMaxLen) { // reported below; packed as 0
            badLength = true;
            len = 0;
        }
        write_value(&w, &bank, len);
        equals = len == previous ? equals + 1 : 0;
        previous = len;
        ++sym;
        if (equals == kEqualsBeforeRepeat && sym < kHuffSymbols) {
            int repeat = 0;
            while (repeat < kMaxRepeat && sym + repeat < kHuffSymbols &&
                   codeLenTable[sym + repeat] == len)
                ++repeat;
            write_value(&w, &bank, repeat);
            sym += repeat;
            equals = 0;
        }
    }
    int bytes = (w.units + 1) >> 1;
    *pDstLen = bytes < w.cap ? bytes : w.cap;
    ZEB_CHECK(!badLength, zebStsCodeLenTableError);
    ZEB_CHECK(!w.overflow, zebStsBadSize);
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsHuffLenCodeTableUnpack_8u(const Zeb8u* pSrc, Zeb32s* pSrcLen,
                                                          Zeb32s codeLenTable[256])
{
    ZEB_CHECK(pSrc != nullptr && pSrcLen != nullptr && codeLenTable != nullptr, zebStsNullPtr);
    ZEB_CHECK(*pSrcLen >= 1, zebStsBadSize);
    UnitReader r = {pSrc, *pSrcLen, 0};
    Zeb32s lengths[kHuffSymbols];
    int bank = 0, previous = 0, equals = 0;
    for (int sym = 0; sym < kHuffSymbols;) {
        int value;
        ZEB_CHECK(read_value(&r, &bank, &value), zebStsBadSize);
        lengths[sym++] = value;
        equals = value == previous ? equals + 1 : 0;
        previous = value;
        if (equals == kEqualsBeforeRepeat && sym < kHuffSymbols) {
            int repeat;
            ZEB_CHECK(read_value(&r, &bank, &repeat), zebStsBadSize);
            for (; repeat > 0 && sym < kHuffSymbols; --repeat)
                lengths[sym++] = value;
            equals = 0;
        }
    }
    memcpy(codeLenTable, lengths, sizeof lengths);
    *pSrcLen = (r.units + 1) >> 1;
    return zebStsOk;
}
