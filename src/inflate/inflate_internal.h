// Internals shared by the inflate decoder's stages: the decoder state, the constant tables of the
// fixed code, the table builders, the bit input and the history helpers.
//
// Bit order is that of RFC 1951: the next bit of the stream is bit 0 of bitBuffer, and bytes are
// added above the bits already held. Bits above bitCount are kept zero between calls, so a table
// look-up on fewer held bits than the index is wide sees zeros there (the careful decoder relies
// on it to tell a complete code from a truncated one).
#ifndef ZEB_INFLATE_INTERNAL_H
#define ZEB_INFLATE_INTERNAL_H

#include "core/zeb_common.h"

enum {
    kStateSize = 112876,
    kWindow = 32768,       // deflate's largest distance, and the size of the kept history
    kHistoryRoom = 65536,  // history region: left-aligned history plus room for one append
    kPairsRoom = 8192,     // internal pairs buffer, in records
    kMaxLens = 320,        // literal/length and distance code lengths (288 + 32)
    kLitTableLen = 1536,   // 1024 first-level entries, 512 of second-level room
    kDistTableLen = 1280,  // 1024 first-level entries, 256 of second-level room
    kFirstBits = 10,       // index width of the first level of the dynamic tables
    kCodeLenSymbols = 19,
    kCodeLenTable = 128,   // 7-bit look-up of the code-length code
    kNoCodeLenSymbol = 32, // marks the indices of the code-length table that no code reaches
};

// Phases (position in the stream). StoredHuff reuses 1 and 4 with its own meaning.
enum {
    kPhaseHeader = 0,
    kPhaseCounts = 1,
    kPhaseCodeLens = 2,
    kPhaseLens = 3,
    kPhaseData = 4,
    kPhaseStoredAlign = 8,
    kPhaseStoredLen = 9,
    kPhaseStoredHeld = 10,
    kPhaseStoredCopy = 11,
};

// Kind bytes of the decoding tables: bits 0-3 the bits to drop (above 10: a link to a second
// level of that many bits), bits 4-7 what the entry is.
enum {
    kKindLength = 0x80,    // bit 7: a length; bits 4-6 its extra-bit count
    kKindEndOfBlock = 0x60,
    kKindInvalid = 0x70,   // literal/length symbols 286 and 287
    kKindWhat = 0x70,
    kKindBits = 0x0F,
};

struct ZebLZ77DecoderState {
    // Common header, laid out like the head of the encoder's state.
    Zeb32u headerWords[3];
    Zeb32u checksum;
    Zeb32s checksumKind;
    Zeb32u headerTail[2];

    uint64_t bitBuffer;
    int bitCount;
    Zeb8u* history;
    ZebLZ77Pair* pairs;
    int pairsInd;
    int pairsLen;
    int historyLen;
    int stage;
    int phase;
    int storedLeft;
    // The two spare words: how many history bytes this stream has written (or the dictionary
    // preset), ending at history[historyLen - 1] for the pairs stage (left-aligned) and at
    // history[32767] for the stored and full-block decoders (right-aligned). Back-references
    // reaching further are refused, so that bytes the stream did not write are never read.
    int validLeft;
    int validRight;
    int finalBlock;
    int streamEnd;
    int blockType;

    // Dynamic block header: HLIT + 257, HDIST + 1, HCLEN + 4 and the lengths read so far.
    int numLitLen;
    int numDist;
    int numCodeLen;
    int numLensRead;
    Zeb32u codeLenLens[kCodeLenSymbols];
    Zeb32u codeLenCodes[kCodeLenSymbols]; // reversed over their lengths
    Zeb8u codeLenSymbol[kCodeLenTable];
    Zeb8u codeLenLength[kCodeLenTable];

    Zeb16u* lens;
    Zeb8u* litValues;
    Zeb8u* litKinds;
    Zeb16u* distValues;
    Zeb8u* distKinds;
    Zeb8u* areaMarks[3];

    int pendingLen;
    int pendingDist;

    Zeb8u historyBuf[kHistoryRoom];
    ZebLZ77Pair pairsBuf[kPairsRoom];
    Zeb8u unused[8];
    Zeb16u lensBuf[kMaxLens];
    Zeb16u lens288[288];
    Zeb8u area[5760];
    Zeb8u litValuesBuf[kLitTableLen];
    Zeb8u litKindsBuf[kLitTableLen];
    Zeb16u distValuesBuf[kDistTableLen];
    Zeb8u distKindsBuf[kDistTableLen];
};

static_assert(sizeof(ZebLZ77DecoderState) <= kStateSize, "decoder state outgrew its size");
// The hot loop's copies read up to 40 bytes past the newest history byte.
static_assert(kHistoryRoom - kWindow >= 40, "no room to read past the history");

// A constant table built at compile time.
template <class T, int N>
struct ZebTable {
    T v[N];
    constexpr T operator[](int i) const { return v[i]; }
    constexpr T& operator[](int i) { return v[i]; }
};

extern const ZebTable<Zeb8u, 512> tabllv;   // fixed literal/length: value
extern const ZebTable<Zeb8u, 512> tablle;   // fixed literal/length: kind
extern const ZebTable<Zeb16u, 32> tablov;   // fixed distance: base
extern const ZebTable<Zeb8u, 32> tabloe;    // fixed distance: extra bits
extern const ZebTable<Zeb16u, 16> msk1;     // 2^n - 1
extern const ZebTable<Zeb8u, 32> tablofinv; // five bits reversed
extern const ZebTable<Zeb32u, 33> table_mask;
extern const ZebTable<Zeb8u, 19> sTreeOrder;

void ownMakeLiterTabl(const Zeb16u* pLens, const Zeb16u* pCount, Zeb8u* pTables, int numSymbols);
void ownMakeOffsetTabl(const Zeb16u* pLens, const Zeb16u* pCount, Zeb8u* pTables, int numSymbols);

// The caller's source as the decoders see it: the pointer, the bytes left, the bytes taken by
// this call (which are the only ones that may be given back), and the bit buffer.
struct InflateInput {
    const Zeb8u* src;
    int left;
    int taken;
    uint64_t bits;
    int count;
};

inline InflateInput load_input(const ZebLZ77DecoderState* s, Zeb8u* src, int left)
{
    return InflateInput{src, left, 0, s->bitBuffer, s->bitCount};
}

inline void store_input(ZebLZ77DecoderState* s, const InflateInput& in, Zeb8u** ppSrc, int* pSrcLen)
{
    s->bitBuffer = in.bits;
    s->bitCount = in.count;
    *ppSrc = (Zeb8u*)in.src;
    *pSrcLen = in.left;
}

inline uint64_t low_bits(uint64_t bits, int n) { return bits & ((n >= 64) ? ~0ull : ((1ull << n) - 1)); }

// Takes one source byte into the bit buffer; false when the source is empty.
inline bool pull_byte(InflateInput& in)
{
    if (in.left <= 0)
        return false;
    in.bits |= (uint64_t)*in.src++ << in.count;
    in.count += 8;
    --in.left;
    ++in.taken;
    return true;
}

inline bool pull_bits(InflateInput& in, int need)
{
    while (in.count < need)
        if (!pull_byte(in))
            return false;
    return true;
}

inline void drop_bits(InflateInput& in, int n)
{
    in.bits >>= n;
    in.count -= n;
}

// Hands whole bytes held in the bit buffer back to the source, as many as this call took.
inline void give_back_bytes(InflateInput& in)
{
    int back = in.count >> 3;
    if (back > in.taken)
        back = in.taken;
    in.src -= back;
    in.left += back;
    in.taken -= back;
    in.count -= back * 8;
    in.bits = low_bits(in.bits, in.count);
}

// End of the final block: the rest of the partial byte is dropped and the whole bytes go back,
// so that the source pointer stands on the first byte after the deflate stream.
inline void end_stream_input(InflateInput& in)
{
    drop_bits(in, in.count & 7);
    give_back_bytes(in);
    in.bits = 0;
    in.count = 0;
}

// Enters n bytes just written (ending at end) into the right-aligned history.
void ownHistoryPushRight(ZebLZ77DecoderState* s, const Zeb8u* end, int n);

// Reads a block header of the given type for a decoder that was called without GetBlockType.
ZebStatus ownReadOwnHeader(ZebLZ77DecoderState* s, InflateInput& in, int type);

// Dynamic header phases 1 to 3 and the table build; returns zebStsOk in phase 4.
ZebStatus ownReadDynamicHeader(ZebLZ77DecoderState* s, InflateInput& in);

// One decoded symbol of a fixed or dynamic block.
enum SymbolKind { kSymLiteral, kSymMatch, kSymEnd, kSymBadLit, kSymBadDist, kSymNeedBits };
struct InflateSymbol {
    int kind;
    int value; // the literal, or the match length
    int dist;
};

// The two codes, as look-ups on the bit buffer. A look-up reports the entry's kind and value and
// how many bits it needs to be certain (for an entry no code reaches, the whole index width).
struct FixedCode {
    static inline void lit(uint64_t b, unsigned& kind, unsigned& value, int& need)
    {
        int i = (int)(b & 511);
        kind = tablle[i];
        value = tabllv[i];
        need = (int)(kind & kKindBits);
    }
    // The first level alone, and the second level of a link entry (the fixed code has none).
    static inline void first(uint64_t b, unsigned& kind, unsigned& value)
    {
        kind = tablle[(int)(b & 511)];
        value = tabllv[(int)(b & 511)];
    }
    static inline void second(uint64_t, unsigned&, unsigned&) {}
    static inline void dist(uint64_t b, unsigned& kind, unsigned& value, int& need)
    {
        int i = (int)(b & 31);
        kind = (unsigned)(tabloe[i] << 4) | 5u;
        value = tablov[i];
        need = 5;
    }
};

// The second-level index is kept inside the room by a mask that changes nothing for tables the
// builders made, and bounds the look-up for tables a state never built (after Init or a copy).
struct DynamicCode {
    const Zeb8u* litValues;
    const Zeb8u* litKinds;
    const Zeb16u* distValues;
    const Zeb8u* distKinds;

    static inline int second_index(uint64_t b, unsigned m)
    {
        unsigned sub = (unsigned)(b >> kFirstBits) & ((1u << (m - kFirstBits)) - 1);
        return (int)(tablofinv[(int)sub] >> (15 - m));
    }
    inline void first(uint64_t b, unsigned& kind, unsigned& value) const
    {
        kind = litKinds[(int)(b & 1023)];
        value = litValues[(int)(b & 1023)];
    }
    inline void second(uint64_t b, unsigned& kind, unsigned& value) const
    {
        unsigned m = kind & kKindBits;
        if (kind > kFirstBits && kind < 16) {
            int i = 1024 + (((int)value * 2 + second_index(b, m)) & 511);
            kind = litKinds[i];
            value = litValues[i];
        }
    }
    inline void lit(uint64_t b, unsigned& kind, unsigned& value, int& need) const
    {
        int i = (int)(b & 1023);
        kind = litKinds[i];
        value = litValues[i];
        unsigned m = kind & kKindBits;
        if (m > kFirstBits) {
            i = 1024 + (((int)value * 2 + second_index(b, m)) & 511);
            kind = litKinds[i];
            value = litValues[i];
        }
        need = (kind & kKindBits) ? (int)(kind & kKindBits) : (m > kFirstBits ? (int)m : kFirstBits);
    }
    inline void dist(uint64_t b, unsigned& kind, unsigned& value, int& need) const
    {
        int i = (int)(b & 1023);
        kind = distKinds[i];
        value = distValues[i];
        unsigned m = kind & kKindBits;
        if (m > kFirstBits) {
            i = 1024 + (((int)value + second_index(b, m)) & 255);
            kind = distKinds[i];
            value = distValues[i];
        }
        need = (kind & kKindBits) ? (int)(kind & kKindBits) : (m > kFirstBits ? (int)m : kFirstBits);
    }
};

inline DynamicCode dynamic_code(const ZebLZ77DecoderState* s)
{
    return DynamicCode{s->litValues, s->litKinds, s->distValues, s->distKinds};
}

// Decodes one symbol from the bits held. kCareful: every part is checked against the bits held,
// and nothing is consumed unless the whole symbol is there (kSymNeedBits otherwise). Without it
// the caller guarantees at least kMaxSymbolBits.
template <bool kCareful, class Code>
inline InflateSymbol decode_symbol(const Code& code, uint64_t& bits, int& count)
{
    uint64_t b = bits;
    int c = count;
    unsigned kind, value;
    int need;
    code.lit(b, kind, value, need);
    if (kCareful && need > c)
        return InflateSymbol{kSymNeedBits, 0, 0};
    int n = (int)(kind & kKindBits);
    b >>= n;
    c -= n;
    if (!(kind & kKindLength)) {
        unsigned what = kind & kKindWhat;
        InflateSymbol sym{what == 0 ? kSymLiteral : what == kKindEndOfBlock ? kSymEnd : kSymBadLit,
                          (int)value, 0};
        bits = b;
        count = c;
        return sym;
    }
    int extra = (int)((kind >> 4) & 7);
    if (kCareful && extra > c)
        return InflateSymbol{kSymNeedBits, 0, 0};
    int length = (int)value + 3 + (int)(b & msk1[extra]);
    b >>= extra;
    c -= extra;
    code.dist(b, kind, value, need);
    if (kCareful && need > c)
        return InflateSymbol{kSymNeedBits, 0, 0};
    n = (int)(kind & kKindBits);
    b >>= n;
    c -= n;
    extra = (int)(kind >> 4);
    if (extra > 13) {
        bits = b;
        count = c;
        return InflateSymbol{kSymBadDist, 0, 0};
    }
    if (kCareful && extra > c)
        return InflateSymbol{kSymNeedBits, 0, 0};
    int dist = (int)value + (int)(b & msk1[extra]);
    b >>= extra;
    c -= extra;
    bits = b;
    count = c;
    return InflateSymbol{dist == 0 ? kSymBadDist : kSymMatch, length, dist};
}

enum {
    kHotMargin = 24,     // source bytes a round of a hot loop may read (three 8-byte refills)
    // A round of a hot loop goes on with literals while this many bits are held: enough for one
    // more literal of the first level and the look-up after it, or for a literal of the second
    // level (15 bits) and that look-up.
    kHotLiteralBits = 15 + 10,
    // Literals a round may write: from at most 63 bits, a literal of the loop takes at least one.
    kHotLiterals = 63 - kHotLiteralBits + 1,
    // The most bits a symbol may take: 15 + 5 + 15 + 13 for a valid code, but a state whose
    // dynamic tables were never built (Init leaves their bytes as they were) may hold length
    // entries with up to 7 extra bits.
    kMaxSymbolBits = 15 + 7 + 15 + 13,
};

// The bit input of a hot loop, held in the loop's locals: a byte store through an output
// pointer could alias fields of the state or of InflateInput, and would force them to memory.
struct HotBits {
    const Zeb8u* src;
    uint64_t bits;
    int count;

    // At least 56 bits from an 8-byte load; bits above the count may be left set.
    // With count at most 63, 63 - count is count ^ 63: the whole bytes that fit go in.
    void refill()
    {
        bits |= zeb_load64(src) << count;
        src += ((unsigned)count ^ 63u) >> 3;
        count |= 56;
    }
    void drop(int n)
    {
        bits >>= n;
        count -= n;
    }
};

// The literal/length table entry of the next symbol, looked up ahead (see hot_round).
struct HotEntry {
    unsigned kind;
    unsigned value;
};

// One round of a hot loop, on at least kHotMargin source bytes, with e the first-level entry of
// the next symbol looked up on at least 10 bits held: a refill, then up to kHotLiterals literals
// (handed to put), or fewer literals and one other symbol, returned with its bits consumed (a
// match after a second refill when fewer than kMaxSymbolBits are left). kSymNeedBits when the
// round ends on a literal. Before a literal or a match returns, e is looked up for the next
// symbol (after a third refill when fewer than 10 bits are left), so that the look-up overlaps
// the copy and the next refill. A kind of at most 10 is a literal whole in the first level: its
// kind is also the count of bits to drop.
template <class Code, class Put>
inline InflateSymbol hot_round(const Code& code, HotBits& h, HotEntry& e, Put put)
{
    h.refill();
    unsigned kind = e.kind, value = e.value;
    int need;
    while (kind <= kFirstBits) {
        put(value);
        h.drop((int)kind);
        code.first(h.bits, kind, value);
        // The zero entry of an incomplete code takes no bits: one a round.
        if (h.count < kHotLiteralBits || kind == 0) {
            e = HotEntry{kind, value};
            return InflateSymbol{kSymNeedBits, 0, 0};
        }
    }
    if (!(kind & kKindLength)) { // a link, end of block or an invalid symbol
        code.second(h.bits, kind, value);
        if ((kind & 0xF0) == 0) { // a literal of more than 10 bits
            put(value);
            h.drop((int)(kind & kKindBits));
            code.first(h.bits, e.kind, e.value);
            return InflateSymbol{kSymNeedBits, 0, 0};
        }
        if (!(kind & kKindLength)) {
            h.drop((int)(kind & kKindBits));
            return InflateSymbol{(kind & kKindWhat) == kKindEndOfBlock ? kSymEnd : kSymBadLit, 0, 0};
        }
    }
    if (h.count < kMaxSymbolBits)
        h.refill();
    h.drop((int)(kind & kKindBits));
    int extra = (int)((kind >> 4) & 7);
    int length = (int)value + 3;
    // Most length entries have no extra bits left (none, or folded into the entry): a branch
    // keeps the shift off the way to the distance look-up.
    if (extra != 0) {
        length += (int)((Zeb32u)h.bits & ((1u << extra) - 1));
        h.drop(extra);
    }
    code.dist(h.bits, kind, value, need);
    h.drop((int)(kind & kKindBits));
    extra = (int)(kind >> 4);
    if (extra > 13)
        return InflateSymbol{kSymBadDist, 0, 0};
    int dist = (int)value + (int)((Zeb32u)h.bits & ((1u << extra) - 1));
    h.drop(extra);
    if (h.count < kFirstBits)
        h.refill();
    code.first(h.bits, e.kind, e.value);
    return InflateSymbol{dist == 0 ? kSymBadDist : kSymMatch, length, dist};
}

// The hot loop's first refill and look-up.
template <class Code>
inline HotEntry hot_start(const Code& code, HotBits& h)
{
    h.refill();
    HotEntry e;
    code.first(h.bits, e.kind, e.value);
    return e;
}

inline HotBits hot_bits(const InflateInput& in) { return HotBits{in.src, in.bits, in.count}; }

inline void end_hot_bits(InflateInput& in, const HotBits& h)
{
    int used = (int)(h.src - in.src);
    in.src = h.src;
    in.left -= used;
    in.taken += used;
    in.bits = h.bits;
    in.count = h.count;
}

// Fills the bit buffer to at least 56 bits from an 8-byte load; the caller guarantees 8 source
// bytes. Bits above the count may be left set; mask_input() cleans them when the loop ends.
inline void refill_fast(InflateInput& in)
{
    in.bits |= zeb_load64(in.src) << in.count;
    int bytes = (int)(((unsigned)in.count ^ 63u) >> 3);
    in.src += bytes;
    in.left -= bytes;
    in.taken += bytes;
    in.count |= 56;
}

inline void mask_input(InflateInput& in) { in.bits = low_bits(in.bits, in.count); }

// Copies len bytes forward, byte after byte in effect: when dst lies less than len bytes after
// src, the bytes just written are read again, repeating a pattern of period dst - src. Both
// pointers lie in the same buffer.
inline void D_COPY1(const Zeb8u* pSrc, Zeb8u* pDst, int len)
{
    ptrdiff_t gap = pDst - pSrc;
    if (gap >= 8) {
        for (; len >= 8; len -= 8, pSrc += 8, pDst += 8)
            zeb_store64(pDst, zeb_load64(pSrc));
    } else if (gap == 1 && len > 0) {
        memset(pDst, *pSrc, (size_t)len);
        return;
    }
    for (; len > 0; --len)
        *pDst++ = *pSrc++;
}

enum { kWideSlack = 40 }; // bytes that copy_words may write past the end of a copy

// Copies len bytes (len >= 1) in 8-byte words from a source that ends at least 8 bytes before
// each word written: five words whatever the length (most matches are shorter than 40 bytes),
// and a loop only for longer ones. Up to kWideSlack - 1 bytes past out + len are overwritten
// and as many past from + len are read, which the caller's buffers must hold.
inline void copy_words(Zeb8u* out, const Zeb8u* from, int len)
{
    Zeb8u* end = out + len;
    for (int i = 0; i < 40; i += 8)
        zeb_store64(out + i, zeb_load64(from + i));
    for (out += 40, from += 40; out < end; out += 8, from += 8)
        zeb_store64(out, zeb_load64(from));
}

// Copies a match of len bytes (len >= 1) whose source lies dist bytes back in the same buffer,
// in 8-byte words: the result is that of a forward byte copy, and up to kWideSlack - 1 bytes
// past the match are overwritten, which the caller's room must hold. From a distance of 8 on,
// every word read lies wholly before the word written.
inline void copy_match_wide(Zeb8u* out, int dist, int len)
{
    const Zeb8u* from = out - dist;
    Zeb8u* end = out + len;
    if (dist >= 8) {
        copy_words(out, from, len);
    } else if (dist == 1) {
        uint64_t v = 0x0101010101010101ull * *from;
        do {
            zeb_store64(out, v);
            zeb_store64(out + 8, v);
            out += 16;
        } while (out < end);
    } else {
        // Each word read ends inside what the previous word wrote, whose first dist bytes are
        // final: stepping by dist writes dist correct bytes per word.
        do {
            zeb_store64(out, zeb_load64(out - dist));
            out += dist;
        } while (out < end);
    }
}

// Copies a match of n bytes at distance dist to out, where start is the first byte written by
// this call and historyEnd the byte after the newest history byte; the caller has checked that
// dist reaches no further back than the valid history.
inline Zeb8u* copy_match(Zeb8u* out, const Zeb8u* start, const Zeb8u* historyEnd, int dist, int n)
{
    int written = (int)(out - start);
    if (dist > written) {
        int fromHistory = dist - written < n ? dist - written : n;
        memcpy(out, historyEnd - (dist - written), (size_t)fromHistory);
        out += fromHistory;
        n -= fromHistory;
    }
    D_COPY1(out - dist, out, n);
    return out + n;
}

// copy_match for callers with kWideSlack bytes of room past the match: the history part is
// also copied with copy_words, reading up to kWideSlack - 1 bytes past historyEnd (still inside
// the history region) and writing as many past that part, which the rest of the match or the
// slack covers; the rest reads only bytes already final (see copy_match_wide).
inline Zeb8u* copy_match_fast(Zeb8u* out, const Zeb8u* start, const Zeb8u* historyEnd, int dist,
                              int n)
{
    int written = (int)(out - start);
    if (dist > written) {
        const Zeb8u* from = historyEnd - (dist - written);
        int fromHistory = dist - written < n ? dist - written : n;
        copy_words(out, from, fromHistory);
        out += fromHistory;
        n -= fromHistory;
        if (n == 0)
            return out;
    }
    copy_match_wide(out, dist, n);
    return out + n;
}

#endif /* ZEB_INFLATE_INTERNAL_H */
