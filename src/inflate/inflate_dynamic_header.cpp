// The header of a dynamic block (RFC 1951, 3.2.7): HLIT, HDIST and HCLEN, the code-length code,
// the run-length coded literal/length and distance code lengths, and the build of the tables.
//
// Every step can stop on an empty source at any bit and resume: the counts, the lengths read so
// far and the code-length code live in the state, and a half-read field stays in the bit buffer.
// The lengths are not checked (no refusal of over-subscribed or incomplete codes, of a repeat
// with nothing before it, or of HLIT above 286); they are only kept inside their 320 entries.
#include "inflate/inflate_internal.h"

namespace {

// Enough for any code-length symbol with its extra bits, and for the 16-bit escape taken when
// no code matches, followed by the 7 extra bits of a run as for 18.
enum { kLensBits = 16 + 7 };

void build_code_length_code(ZebLZ77DecoderState* s)
{
    int count[8] = {};
    for (int i = 0; i < kCodeLenSymbols; ++i)
        ++count[s->codeLenLens[i]];
    unsigned next[8] = {};
    unsigned code = 0;
    for (int len = 1; len < 8; ++len) {
        next[len] = code;
        code = (code + (unsigned)count[len]) << 1;
    }
    memset(s->codeLenSymbol, kNoCodeLenSymbol, sizeof s->codeLenSymbol);
    memset(s->codeLenLength, 0, sizeof s->codeLenLength);
    // Canonical order (by length, then symbol), and an index once taken is kept: in an
    // over-subscribed code the shorter code wins, whatever bits follow it.
    for (int len = 1; len < 8; ++len) {
        for (int sym = 0; sym < kCodeLenSymbols; ++sym) {
            if ((int)s->codeLenLens[sym] != len)
                continue;
            unsigned c = next[len]++ & ((1u << len) - 1);
            // Reversed over len bits (up to 7): the 10-bit reversal shifted right by 10 - len.
            unsigned rev = ((unsigned)tablofinv[(int)(c & 31)] * 32u + tablofinv[(int)(c >> 5)]) >> (10 - len);
            s->codeLenCodes[sym] = rev;
            for (unsigned i = rev; i < kCodeLenTable; i += 1u << len) {
                if (s->codeLenSymbol[i] != kNoCodeLenSymbol)
                    continue;
                s->codeLenSymbol[i] = (Zeb8u)sym;
                s->codeLenLength[i] = (Zeb8u)len;
            }
        }
    }
}

void build_tables(ZebLZ77DecoderState* s)
{
    Zeb16u count[16] = {};
    for (int i = 0; i < s->numLitLen; ++i)
        ++count[s->lens[i] & 15];
    ownMakeLiterTabl(s->lens, count, s->litValues, s->numLitLen);
    memset(count, 0, sizeof count);
    for (int i = 0; i < s->numDist; ++i)
        ++count[s->lens[s->numLitLen + i] & 15];
    ownMakeOffsetTabl(s->lens + s->numLitLen, count, (Zeb8u*)(void*)s->distValues, s->numDist);
}

// Stores n copies of value from the current position, never past the array.
void repeat_length(ZebLZ77DecoderState* s, Zeb16u value, int n)
{
    int at = s->numLensRead;
    int end = at + n < kMaxLens ? at + n : kMaxLens;
    for (; at < end; ++at)
        s->lens[at] = value;
    s->numLensRead = end;
}

// Reads one code-length symbol with its extra bits; zebStsSrcShort when they are not all held.
ZebStatus read_one_length(ZebLZ77DecoderState* s, InflateInput& in)
{
    if (in.count < kLensBits && in.left >= 8)
        refill_fast(in);
    while (in.count < kLensBits && pull_byte(in)) {
    }
    int index = (int)(in.bits & (kCodeLenTable - 1));
    int sym = s->codeLenSymbol[index];
    int len = s->codeLenLength[index];
    if (sym >= kCodeLenSymbols || len == 0 || len > 7) { // no code of up to 7 bits (the table
        // of a copied state may hold anything): 16 bits go, then a run as for 18
        if (in.count < kLensBits)
            return zebStsSrcShort;
        drop_bits(in, 16);
        sym = 18;
        len = 0;
    }
    static const int kExtra[3] = {2, 3, 7};
    int extra = sym < 16 ? 0 : kExtra[sym - 16];
    if (in.count < len + extra)
        return zebStsSrcShort;
    drop_bits(in, len);
    int bits = (int)(in.bits & msk1[extra]);
    drop_bits(in, extra);
    if (sym < 16) {
        repeat_length(s, (Zeb16u)sym, 1);
    } else if (sym == 16) {
        Zeb16u previous = s->numLensRead > 0 ? s->lens[s->numLensRead - 1] : 0;
        repeat_length(s, previous, 3 + bits);
    } else {
        repeat_length(s, 0, (sym == 17 ? 3 : 11) + bits);
    }
    return zebStsOk;
}

} // namespace

ZebStatus ownReadDynamicHeader(ZebLZ77DecoderState* s, InflateInput& in)
{
    if (s->phase == kPhaseCounts) {
        if (!pull_bits(in, 14))
            return zebStsSrcShort;
        s->numLitLen = (int)(in.bits & 31) + 257;
        s->numDist = (int)((in.bits >> 5) & 31) + 1;
        s->numCodeLen = (int)((in.bits >> 10) & 15) + 4;
        s->numLensRead = 0;
        s->phase = kPhaseCodeLens;
        drop_bits(in, 14);
    }
    if (s->phase == kPhaseCodeLens) {
        if (!pull_bits(in, 3 * s->numCodeLen))
            return zebStsSrcShort;
        for (int i = 0; i < kCodeLenSymbols; ++i) {
            Zeb32u len = 0;
            if (i < s->numCodeLen) {
                len = (Zeb32u)(in.bits & 7);
                drop_bits(in, 3);
            }
            s->codeLenLens[sTreeOrder[i]] = len;
        }
        build_code_length_code(s);
        s->phase = kPhaseLens;
    }
    if (s->phase == kPhaseLens) {
        int total = s->numLitLen + s->numDist;
        while (s->numLensRead < total) {
            ZebStatus st = read_one_length(s, in);
            if (st != zebStsOk)
                return st;
        }
        build_tables(s);
        s->phase = kPhaseData;
    }
    return zebStsOk;
}
