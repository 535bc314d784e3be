// Decoding tables of inflate: the constant tables of the fixed code (RFC 1951, 3.2.6), built at
// compile time, and the builders of the two-level tables of a dynamic block.
//
// Every index is taken from the bit buffer in stream order, so the entry of a code c of length L
// sits at every index whose low L bits are c reversed over L bits (deflate sends Huffman codes
// most significant bit first). The dynamic tables resolve codes of up to 10 bits, together with
// their extra bits when these fit beside them ("folded" entries), in one look-up; a longer code
// finds a link entry (kind bits 0-3 = M, the longest code under that 10-bit prefix) that points
// at a second-level table of 2^(M-10) entries in the room behind the first level.
#include "inflate/inflate_internal.h"

namespace {

constexpr int kLengthBase[29] = {3,  4,  5,  6,  7,  8,  9,  10, 11,  13,  15,  17,  19,  23, 27,
                                 31, 35, 43, 51, 59, 67, 83, 99, 115, 131, 163, 195, 227, 258};
constexpr int kLengthExtra[29] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,
                                  2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
constexpr int kDistBase[30] = {1,    2,    3,    4,    5,    7,     9,     13,    17,  25,
                               33,   49,   65,   97,   129,  193,   257,   385,   513, 769,
                               1025, 1537, 2049, 3073, 4097, 6145, 8193, 12289, 16385, 24577};
constexpr int kDistExtra[30] = {0, 0, 0, 0, 1, 1, 2, 2,  3,  3,  4,  4,  5,  5,  6,
                                6, 7, 7, 8, 8, 9, 9, 10, 10, 11, 11, 12, 12, 13, 13};

constexpr unsigned reverse_bits(unsigned code, int len)
{
    unsigned r = 0;
    for (int i = 0; i < len; ++i)
        r |= ((code >> i) & 1u) << (len - 1 - i);
    return r;
}

// Fixed literal/length code: symbols 0-143 have 8 bits from 0x30, 144-255 9 bits from 0x190,
// 256-279 7 bits from 0, 280-287 8 bits from 0xC0.
constexpr void fixed_lit_code(int sym, unsigned& code, int& len)
{
    if (sym < 144) {
        code = 0x30u + (unsigned)sym;
        len = 8;
    } else if (sym < 256) {
        code = 0x190u + (unsigned)(sym - 144);
        len = 9;
    } else if (sym < 280) {
        code = (unsigned)(sym - 256);
        len = 7;
    } else {
        code = 0xC0u + (unsigned)(sym - 280);
        len = 8;
    }
}

constexpr unsigned lit_kind(int sym)
{
    if (sym < 256)
        return 0;
    if (sym == 256)
        return kKindEndOfBlock;
    if (sym > 285)
        return kKindInvalid;
    return kKindLength | (unsigned)(kLengthExtra[sym - 257] << 4);
}

constexpr unsigned lit_value(int sym)
{
    if (sym < 256)
        return (unsigned)sym;
    if (sym == 256 || sym > 285)
        return 0;
    return (unsigned)(kLengthBase[sym - 257] - 3);
}

constexpr ZebTable<Zeb8u, 512> make_fixed_lit(bool kinds)
{
    ZebTable<Zeb8u, 512> t{};
    for (int sym = 0; sym < 288; ++sym) {
        unsigned code = 0;
        int len = 0;
        fixed_lit_code(sym, code, len);
        unsigned entry = kinds ? (lit_kind(sym) | (unsigned)len) : lit_value(sym);
        for (unsigned i = reverse_bits(code, len); i < 512; i += 1u << len)
            t[(int)i] = (Zeb8u)entry;
    }
    return t;
}

constexpr ZebTable<Zeb16u, 32> make_fixed_dist_base()
{
    ZebTable<Zeb16u, 32> t{};
    for (int sym = 0; sym < 30; ++sym)
        t[(int)reverse_bits((unsigned)sym, 5)] = (Zeb16u)kDistBase[sym];
    return t;
}

constexpr ZebTable<Zeb8u, 32> make_fixed_dist_extra()
{
    ZebTable<Zeb8u, 32> t{};
    for (int sym = 0; sym < 32; ++sym)
        t[(int)reverse_bits((unsigned)sym, 5)] = (Zeb8u)(sym < 30 ? kDistExtra[sym] : 16);
    return t;
}

constexpr ZebTable<Zeb16u, 16> make_msk1()
{
    ZebTable<Zeb16u, 16> t{};
    for (int n = 0; n < 16; ++n)
        t[n] = (Zeb16u)((1u << n) - 1);
    return t;
}

constexpr ZebTable<Zeb8u, 32> make_tablofinv()
{
    ZebTable<Zeb8u, 32> t{};
    for (int i = 0; i < 32; ++i)
        t[i] = (Zeb8u)reverse_bits((unsigned)i, 5);
    return t;
}

constexpr ZebTable<Zeb32u, 33> make_table_mask()
{
    ZebTable<Zeb32u, 33> t{};
    for (int n = 0; n < 33; ++n)
        t[n] = (Zeb32u)((1ull << n) - 1);
    return t;
}

} // namespace

constexpr ZebTable<Zeb8u, 512> tabllv = make_fixed_lit(false);
constexpr ZebTable<Zeb8u, 512> tablle = make_fixed_lit(true);
constexpr ZebTable<Zeb16u, 32> tablov = make_fixed_dist_base();
constexpr ZebTable<Zeb8u, 32> tabloe = make_fixed_dist_extra();
constexpr ZebTable<Zeb16u, 16> msk1 = make_msk1();
constexpr ZebTable<Zeb8u, 32> tablofinv = make_tablofinv();
constexpr ZebTable<Zeb32u, 33> table_mask = make_table_mask();
constexpr ZebTable<Zeb8u, 19> sTreeOrder = {
    {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15}};

namespace {

// What a builder needs to know about its alphabet and its buffers.
struct TableShape {
    int room;     // second-level entries behind the first level
    bool lengths; // literal/length code (else distance)
};

// The value array (8-bit literal/length values or 16-bit distance values) and the kinds. Taken by
// value, so that its pointers stay in registers across the byte stores.
template <class Value>
struct TableOut {
    Value* values;
    Zeb8u* kinds;
    // Only in an over-subscribed set can two codes claim an index; then every entry is checked.
    bool checked;
    bool empty(int i) const { return kinds[i] == 0; }
    // Writes an entry that no code has taken yet: in an over-subscribed set the shorter (then the
    // lower) code keeps an index, so the entry a look-up finds on the low bits held never changes
    // when more bits arrive, and a stream decodes alike however its input is split.
    void put(int i, unsigned kind, unsigned value) const
    {
        if (checked && kinds[i] != 0)
            return;
        kinds[i] = (Zeb8u)kind;
        values[i] = (Value)value;
    }
};

// Kind (without the bit count), value and extra-bit count of a symbol; false when the symbol
// gets no entry (literal/length symbols above 285, distance symbols above 29).
bool symbol_entry(int sym, bool lengths, unsigned& kind, unsigned& value, int& extra)
{
    if (lengths) {
        if (sym > 285)
            return false;
        kind = sym > 256 ? (unsigned)kKindLength : lit_kind(sym);
        value = lit_value(sym);
        extra = sym > 256 ? kLengthExtra[sym - 257] : 0;
        return true;
    }
    if (sym > 29)
        return false;
    kind = 0;
    value = (unsigned)kDistBase[sym];
    extra = kDistExtra[sym];
    return true;
}

template <class Value>
void fill_first_level(const TableOut<Value> out, bool lengths, int sym, unsigned rev, int len)
{
    unsigned kind, value;
    int extra;
    if (!symbol_entry(sym, lengths, kind, value, extra))
        return;
    if (extra > 0 && len + extra <= kFirstBits) { // folded: one entry per extra value
        int width = len + extra;
        for (unsigned x = 0; x < (1u << extra); ++x)
            for (unsigned i = rev | (x << len); i < 1024; i += 1u << width)
                out.put((int)i, kind | (unsigned)width, value + x);
        return;
    }
    for (unsigned i = rev; i < 1024; i += 1u << len)
        out.put((int)i, kind | (unsigned)(extra << 4) | (unsigned)len, value);
}

// Refuses a code that the second-level room cannot hold: the entry decodes as an invalid symbol.
template <class Value>
void mark_overflow(const TableOut<Value> out, bool lengths, unsigned prefixIndex)
{
    unsigned kind = lengths ? (kKindInvalid | (unsigned)kFirstBits) : (0xE0u | (unsigned)kFirstBits);
    out.put((int)prefixIndex, kind, 0);
}

// A code of len bits (at most 10) reversed, with the table of five-bit reversals.
unsigned reverse_code(unsigned code, int len)
{
    unsigned r10 = ((unsigned)tablofinv[(int)(code & 31)] << 5) | tablofinv[(int)((code >> 5) & 31)];
    return r10 >> (kFirstBits - len);
}

// Symbols with a code (length 1 to 15), in canonical order: by length, then by symbol (a
// counting sort).
int canonical_order(const Zeb16u* pLens, int numSymbols, Zeb16u* order)
{
    int at[17] = {};
    for (int sym = 0; sym < numSymbols; ++sym)
        if (pLens[sym] >= 1 && pLens[sym] <= 15)
            ++at[pLens[sym] + 1];
    for (int len = 2; len <= 16; ++len)
        at[len] += at[len - 1];
    for (int sym = 0; sym < numSymbols; ++sym)
        if (pLens[sym] >= 1 && pLens[sym] <= 15)
            order[at[pLens[sym]]++] = (Zeb16u)sym;
    return at[15];
}

// True when the lengths claim more code space than there is.
bool over_subscribed(const Zeb16u* pCount)
{
    int left = 1;
    for (int len = 1; len <= 15; ++len) {
        left = 2 * left - pCount[len];
        if (left < 0)
            return true;
    }
    return false;
}

template <class Value>
void build_table(const Zeb16u* pLens, const Zeb16u* pCount, int numSymbols, TableOut<Value> out,
                 const TableShape& shape)
{
    out.checked = over_subscribed(pCount);
    if (numSymbols > kMaxLens)
        numSymbols = kMaxLens;
    unsigned next[16] = {}; // first code of each length
    unsigned code = 0;
    for (int len = 1; len <= 15; ++len) {
        next[len] = code;
        code = (code + pCount[len]) << 1;
    }
    Zeb16u order[kMaxLens];
    unsigned codes[kMaxLens];
    int n = canonical_order(pLens, numSymbols, order);
    int firstLong = n;
    for (int k = 0; k < n; ++k) {
        int len = pLens[order[k]];
        codes[k] = next[len]++ & ((1u << len) - 1);
        if (len <= kFirstBits)
            fill_first_level(out, shape.lengths, order[k], reverse_code(codes[k], len), len);
        else if (firstLong == n)
            firstLong = k;
    }
    // Second level: codes sharing a 10-bit prefix are neighbours in canonical order.
    int roomUsed = 0;
    for (int k = firstLong; k < n;) {
        int len = pLens[order[k]];
        unsigned prefix = codes[k] >> (len - kFirstBits);
        int end = k + 1, m = len;
        while (end < n && (codes[end] >> (pLens[order[end]] - kFirstBits)) == prefix)
            m = pLens[order[end++]];
        unsigned first = reverse_code(prefix, kFirstBits);
        int size = 1 << (m - kFirstBits);
        int base = (roomUsed + 1) & ~1;
        if (!out.empty((int)first)) { // taken by a shorter code of an over-subscribed set
            k = end;
            continue;
        }
        if (base + size > shape.room) {
            mark_overflow(out, shape.lengths, first);
            k = end;
            continue;
        }
        roomUsed = base + size;
        out.put((int)first, (unsigned)m, shape.lengths ? (unsigned)(base / 2) : (unsigned)base);
        for (; k < end; ++k) {
            int l = pLens[order[k]];
            unsigned kind, value;
            int extra;
            if (!symbol_entry(order[k], shape.lengths, kind, value, extra))
                continue;
            unsigned tail = codes[k] & ((1u << (l - kFirstBits)) - 1);
            int at = 1024 + base + (int)(tail << (m - l));
            for (int j = 0; j < (1 << (m - l)); ++j)
                out.put(at + j, kind | (unsigned)(extra << 4) | (unsigned)l, value);
        }
    }
}

} // namespace

void ownMakeLiterTabl(const Zeb16u* pLens, const Zeb16u* pCount, Zeb8u* pTables, int numSymbols)
{
    memset(pTables, 0, 2 * kLitTableLen + 3 * kDistTableLen);
    TableOut<Zeb8u> out{pTables, pTables + kLitTableLen, true};
    build_table(pLens, pCount, numSymbols, out, TableShape{kLitTableLen - 1024, true});
}

void ownMakeOffsetTabl(const Zeb16u* pLens, const Zeb16u* pCount, Zeb8u* pTables, int numSymbols)
{
    TableOut<Zeb16u> out{(Zeb16u*)(void*)pTables, pTables + 2 * kDistTableLen, true};
    build_table(pLens, pCount, numSymbols, out, TableShape{kDistTableLen - 1024, false});
}
