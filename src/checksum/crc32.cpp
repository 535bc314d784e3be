// zebsCRC32_8u: the reflected CRC-32 of zlib and gzip (polynomial 0xEDB88320).
//
// Slicing by 8: with the source aligned to 8 bytes, each step folds the running CRC into the
// first four bytes of an 8-byte group and looks all eight bytes up at once in the tables
// crc_table_il8_o32..o88, where crc_table_il8_o(32 + 8k)[n] is the effect of byte n followed by
// k zero bytes. Inputs below 15 bytes, the alignment prefix and the tail go byte by byte.
#include "core/zeb_common.h"

#include "checksum/checksum_internal.h"
#include "core/dispatch.h"

namespace {

enum { kSlicingMin = 15 };

struct CrcSlicingTables {
    Zeb32u t[8][256];
};

constexpr CrcSlicingTables make_slicing_tables()
{
    CrcSlicingTables tables{};
    for (Zeb32u n = 0; n < 256; ++n) {
        Zeb32u c = n;
        for (int bit = 0; bit < 8; ++bit)
            c = (c & 1) ? (c >> 1) ^ 0xEDB88320u : c >> 1;
        tables.t[0][n] = c;
    }
    for (int k = 1; k < 8; ++k)
        for (int n = 0; n < 256; ++n) {
            Zeb32u prev = tables.t[k - 1][n];
            tables.t[k][n] = (prev >> 8) ^ tables.t[0][prev & 0xFF];
        }
    return tables;
}

constexpr CrcSlicingTables kSlicing = make_slicing_tables();

} // namespace

const Zeb32u (&crc_table_il8_o32)[256] = kSlicing.t[0];
const Zeb32u (&crc_table_il8_o40)[256] = kSlicing.t[1];
const Zeb32u (&crc_table_il8_o48)[256] = kSlicing.t[2];
const Zeb32u (&crc_table_il8_o56)[256] = kSlicing.t[3];
const Zeb32u (&crc_table_il8_o64)[256] = kSlicing.t[4];
const Zeb32u (&crc_table_il8_o72)[256] = kSlicing.t[5];
const Zeb32u (&crc_table_il8_o80)[256] = kSlicing.t[6];
const Zeb32u (&crc_table_il8_o88)[256] = kSlicing.t[7];

static_assert(kSlicing.t[0][1] == 0x77073096u, "reflected CRC-32 byte table");

namespace {

// Keeps a partial XOR as it is. GCC's generic tuning rewrites a tree of XORs into one serial
// chain; the loop-carried path of the 8-byte step must stay a table load and three XORs.
inline Zeb32u keep_partial(Zeb32u value)
{
    __asm__("" : "+r"(value));
    return value;
}

inline Zeb32u crc32_byte(Zeb32u c, Zeb8u byte)
{
    return (c >> 8) ^ crc_table_il8_o32[(c ^ byte) & 0xFF];
}

// The four look-ups of the second word of a group: they do not depend on the running CRC.
inline Zeb32u crc32_second_word(Zeb32u second)
{
    return crc_table_il8_o56[second & 0xFF] ^ crc_table_il8_o48[(second >> 8) & 0xFF] ^
           crc_table_il8_o40[(second >> 16) & 0xFF] ^ crc_table_il8_o32[second >> 24];
}

// The CRC after a group whose first word, XORed with the running CRC, is first; ahead holds
// everything of the group that does not depend on the CRC (the second word's look-ups, and the
// next group's first word when the caller folds it in early).
inline Zeb32u crc32_first_word(Zeb32u first, Zeb32u ahead)
{
    Zeb32u outer = keep_partial(crc_table_il8_o88[first & 0xFF] ^ crc_table_il8_o64[first >> 24]);
    Zeb32u inner = keep_partial(crc_table_il8_o80[(first >> 8) & 0xFF] ^ keep_partial(ahead));
    return (outer ^ inner) ^ crc_table_il8_o72[(first >> 16) & 0xFF];
}

// Slicing by 8 over whole groups, two groups per iteration. The value carried from group to
// group is the next group's first word with the running CRC already folded in: each group's
// CRC-independent look-ups and the following group's first word are XORed together before the
// CRC arrives, so the loop-carried path is one table load and three XORs per group.
Zeb32u crc32_slicing(const Zeb8u* src, size_t groups, Zeb32u c)
{
    if (groups == 0)
        return c;
    Zeb32u x = zeb_load32(src) ^ c;
    for (; groups > 2; groups -= 2, src += 16) {
        Zeb32u ahead0 = crc32_second_word(zeb_load32(src + 4));
        Zeb32u ahead1 = crc32_second_word(zeb_load32(src + 12));
        x = crc32_first_word(x, zeb_load32(src + 8) ^ ahead0);
        x = crc32_first_word(x, zeb_load32(src + 16) ^ ahead1);
    }
    if (groups == 2) {
        x = crc32_first_word(x, zeb_load32(src + 8) ^ crc32_second_word(zeb_load32(src + 4)));
        src += 8;
    }
    return crc32_first_word(x, crc32_second_word(zeb_load32(src + 4)));
}

} // namespace

Zeb32u ownsCRC32_8u(const Zeb8u* src, size_t len, Zeb32u crc)
{
    Zeb32u c = ~crc;
    if (len >= kSlicingMin) {
        for (; ((uintptr_t)src & 7) != 0; ++src, --len)
            c = crc32_byte(c, *src);
        c = crc32_slicing(src, len / 8, c);
        src += len & ~(size_t)7;
        len &= 7;
    }
    for (; len > 0; --len)
        c = crc32_byte(c, *src++);
    return ~c;
}

extern "C" ZEBAPI ZebStatus zebsCRC32_8u(const Zeb8u* pSrc, int len, Zeb32u* pCRC32)
{
    ZEB_CHECK(pSrc != nullptr && pCRC32 != nullptr, zebStsNullPtr);
    ZEB_CHECK(len >= 1, zebStsBadSize);
    *pCRC32 = zebKernelCRC32(pSrc, (size_t)len, *pCRC32);
    return zebStsOk;
}
