// zebsAdler32_8u: Adler-32 of zlib. s1 is the sum of the bytes plus 1, s2 the sum of the s1
// values, both modulo 65521 (the largest prime below 2^16).
//
// The sums are reduced once per block of 5552 bytes, the largest count for which s2 cannot
// overflow 32 bits between reductions, and without division: 65521 * 2^k is subtracted for
// k = 16 down to 0 wherever it fits. Bytes go 16 per step while the block has 16 left.
#include "core/zeb_common.h"

#include "checksum/checksum_internal.h"
#include "core/dispatch.h"

namespace {

inline void add_bytes(const Zeb8u* src, size_t len, Zeb32u& s1, Zeb32u& s2)
{
    for (; len >= 16; len -= 16, src += 16)
        for (int i = 0; i < 16; ++i) {
            s1 += src[i];
            s2 += s1;
        }
    for (size_t i = 0; i < len; ++i) {
        s1 += src[i];
        s2 += s1;
    }
}

} // namespace

Zeb32u ownsAdler32_8u(const Zeb8u* src, size_t len, Zeb32u adler)
{
    Zeb32u s1 = adler & 0xFFFF, s2 = adler >> 16;
    while (len > 0) {
        size_t block = len < kAdlerBlock ? len : kAdlerBlock;
        add_bytes(src, block, s1, s2);
        s1 = zebAdlerReduce(s1);
        s2 = zebAdlerReduce(s2);
        src += block;
        len -= block;
    }
    return (s2 << 16) | s1;
}

extern "C" ZEBAPI ZebStatus zebsAdler32_8u(const Zeb8u* pSrc, int len, Zeb32u* pAdler32)
{
    // Deliberately unlike the CRCs: a null source clears the value and is a size error, an
    // empty or negative length is a successful no-op, and the value pointer is not checked.
    if (pSrc == nullptr) {
        *pAdler32 = 0;
        return zebStsBadSize;
    }
    if (len > 0)
        *pAdler32 = zebKernelAdler32(pSrc, (size_t)len, *pAdler32);
    return zebStsOk;
}
