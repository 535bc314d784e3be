// zebsCRC32_BZ2_8u: the unreflected CRC-32 of bzip2 (polynomial 0x04C11DB7, most significant
// bit first), one table lookup per byte.
#include "core/zeb_common.h"

#include "checksum/checksum_internal.h"
#include "core/dispatch.h"

namespace {

struct CrcTable {
    Zeb32u t[256];
};

constexpr CrcTable make_crc_table()
{
    CrcTable table{};
    for (Zeb32u n = 0; n < 256; ++n) {
        Zeb32u c = n << 24;
        for (int bit = 0; bit < 8; ++bit)
            c = (c & 0x80000000u) ? (c << 1) ^ 0x04C11DB7u : c << 1;
        table.t[n] = c;
    }
    return table;
}

constexpr CrcTable kCrcTable = make_crc_table();
static_assert(kCrcTable.t[1] == 0x04C11DB7u, "bzip2 CRC byte table");

} // namespace

const Zeb32u (&crcTab)[256] = kCrcTable.t;

Zeb32u ownsCRC32BZ2_8u(const Zeb8u* src, size_t len, Zeb32u crc)
{
    Zeb32u c = ~crc;
    for (size_t i = 0; i < len; ++i)
        c = (c << 8) ^ crcTab[(c >> 24) ^ src[i]];
    return ~c;
}

extern "C" ZEBAPI ZebStatus zebsCRC32_BZ2_8u(const Zeb8u* pSrc, int len, Zeb32u* pCRC32)
{
    ZEB_CHECK(pSrc != nullptr && pCRC32 != nullptr, zebStsNullPtr);
    ZEB_CHECK(len >= 1, zebStsBadSize);
    *pCRC32 = zebKernelCRC32BZ2(pSrc, (size_t)len, *pCRC32);
    return zebStsOk;
}
