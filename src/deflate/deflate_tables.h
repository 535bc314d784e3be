// Constant tables of the deflate encoder, built by the compiler from the rules of RFC 1951.
//
// Codes are stored bit-reversed, ready for output least significant bit first; where extra bits
// follow a code they are folded in above it. The header needs only <stdint.h>, so the tests can
// check entries against the RFC.
#ifndef ZEB_DEFLATE_TABLES_H
#define ZEB_DEFLATE_TABLES_H

#include <stddef.h>
#include <stdint.h>

template <class T, size_t N>
struct OwnTable {
    T v[N];
    constexpr const T& operator[](size_t i) const { return v[i]; }
    constexpr size_t size() const { return N; }
};

struct OwnCodeLen {
    uint16_t code; // bits to write: the code, then any extra bits above it
    uint16_t len;  // number of bits
};
struct OwnFarDistance {
    uint32_t base;  // first distance of the code
    uint16_t code;  // reversed 5-bit distance code
    uint16_t extra; // count of extra bits after it (distance - base)
};

namespace deflate_rules {

constexpr uint32_t reverse(uint32_t code, int len)
{
    uint32_t r = 0;
    for (int i = 0; i < len; ++i)
        r |= ((code >> i) & 1u) << (len - 1 - i);
    return r;
}

constexpr uint16_t kLenBase[29] = {3,  4,  5,  6,  7,  8,  9,  10, 11,  13,  15,  17,  19,  23, 27,
                                   31, 35, 43, 51, 59, 67, 83, 99, 115, 131, 163, 195, 227, 258};
constexpr uint8_t kLenExtra[29] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,
                                   2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
constexpr uint16_t kDistBase[30] = {1,    2,    3,    4,    5,    7,     9,     13,    17,  25,
                                    33,   49,   65,   97,   129,  193,   257,   385,   513, 769,
                                    1025, 1537, 2049, 3073, 4097, 6145, 8193, 12289, 16385, 24577};

constexpr uint8_t distExtra(int code) { return (uint8_t)(code < 4 ? 0 : code / 2 - 1); }

// Length code - 257 of a match length (258 has a code of its own).
constexpr int lengthCode(int length)
{
    if (length == 258)
        return 28;
    int code = 0;
    while (code < 27 && kLenBase[code + 1] <= length)
        ++code;
    return code;
}

constexpr int distanceCode(uint32_t distance)
{
    int code = 0;
    while (code < 29 && kDistBase[code + 1] <= distance)
        ++code;
    return code;
}

// The fixed literal/length code of RFC 1951 3.2.6, reversed.
constexpr OwnCodeLen fixedSymbol(int symbol)
{
    if (symbol < 144)
        return {(uint16_t)reverse(0x30 + symbol, 8), 8};
    if (symbol < 256)
        return {(uint16_t)reverse(0x190 + symbol - 144, 9), 9};
    if (symbol < 280)
        return {(uint16_t)reverse(symbol - 256, 7), 7};
    return {(uint16_t)reverse(0xC0 + symbol - 280, 8), 8};
}

template <class T, size_t N, class F>
constexpr OwnTable<T, N> build(F entry)
{
    OwnTable<T, N> t{};
    for (size_t i = 0; i < N; ++i)
        t.v[i] = entry((int)i);
    return t;
}

constexpr OwnCodeLen fixedLength(int index)
{
    int length = index + 3, code = lengthCode(length);
    OwnCodeLen sym = fixedSymbol(257 + code);
    return {(uint16_t)(sym.code | (length - kLenBase[code]) << sym.len),
            (uint16_t)(sym.len + kLenExtra[code])};
}

constexpr OwnCodeLen fixedNearDistance(int index)
{
    uint32_t distance = (uint32_t)index + 1;
    int code = distanceCode(distance);
    return {(uint16_t)(reverse(code, 5) | (distance - kDistBase[code]) << 5),
            (uint16_t)(5 + distExtra(code))};
}

constexpr OwnFarDistance farDistance(int index)
{
    if (index == 14) // end entry: no distance reaches it
        return {32769, 0, 0};
    int code = 16 + index;
    return {kDistBase[code], (uint16_t)reverse(code, 5), distExtra(code)};
}

// zlib's layout: codes of d = distance - 1 below 256, then of d >> 7 (entries 256, 257 unused).
constexpr uint8_t distanceCodeEntry(int i)
{
    if (i < 256)
        return (uint8_t)distanceCode((uint32_t)i + 1);
    int high = i - 256;
    return (uint8_t)(high < 2 ? 0 : distanceCode(((uint32_t)high << 7) + 1));
}

// 15-bit values from a fixed-seed xorshift generator, behind the leading values of each row.
constexpr OwnTable<int16_t, 768> randomTable()
{
    OwnTable<int16_t, 768> t{};
    uint32_t x = 0x2545F491u;
    for (int i = 0; i < 768; ++i) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        t.v[i] = (int16_t)(x >> 17);
    }
    t.v[0] = 18845, t.v[1] = 15810, t.v[2] = 11527, t.v[3] = 28763;
    t.v[256] = 23403, t.v[257] = 25964;
    t.v[512] = 23616, t.v[513] = 7640;
    return t;
}

} // namespace deflate_rules

// Fixed literal codes: {reversed code, length}.
inline constexpr auto cTable = deflate_rules::build<OwnCodeLen, 256>(deflate_rules::fixedSymbol);
// Fixed length codes with their extra bits, index length - 3.
inline constexpr auto lTable = deflate_rules::build<OwnCodeLen, 256>(deflate_rules::fixedLength);
// Fixed distance codes with their extra bits, index distance - 1, distances 1..256.
inline constexpr auto oTableL =
    deflate_rules::build<OwnCodeLen, 256>(deflate_rules::fixedNearDistance);
// Distance codes 16..29 for distances above 256, and an end entry.
inline constexpr auto oTableH =
    deflate_rules::build<OwnFarDistance, 15>(deflate_rules::farDistance);
// Length code - 257, index length - 3.
inline constexpr auto lCodeTab = deflate_rules::build<uint8_t, 256>(
    [](int i) { return (uint8_t)deflate_rules::lengthCode(i + 3); });
// Distance code of d = distance - 1: dCodeTab[d] for d < 256, else dCodeTab[256 + (d >> 7)].
inline constexpr auto dCodeTab =
    deflate_rules::build<uint8_t, 512>(deflate_rules::distanceCodeEntry);
// Bit reversal of a byte.
inline constexpr auto revCodeTable =
    deflate_rules::build<uint8_t, 256>([](int i) { return (uint8_t)deflate_rules::reverse(i, 8); });
// RFC 1951 order of the code-length-code lengths.
inline constexpr OwnTable<uint8_t, 19> sTreeOrder = {
    {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15}};
// Hash randomisation of the LZ77 encoder: rows for the first, second and third byte of a triple.
inline constexpr auto randVec = deflate_rules::randomTable();

#endif
