// zebsAdler32_8u: Adler-32 of zlib. s1 is the sum of the bytes plus 1, s2 the sum of the s1
// values, both modulo 65521 (the largest prime below 2^16).
//
// The sums are reduced once per block of 5552 bytes, the largest count for which s2 cannot
// overflow 32 bits between reductions, and without division: 65521 * 2^k is subtracted for
// k = 16 down to 0 wherever it fits. Bytes go 16 per step while the block has 16 left.
#include "core/zeb_common.h"

namespace {

constexpr Zeb32u kAdlerBase = 65521;
constexpr size_t kAdlerBlock = 5552;

inline Zeb32u reduce_mod_base(Zeb32u value)
{
    for (int k = 16; k >= 0; --k) {
        Zeb32u multiple = kAdlerBase << k;
        if (value >= multiple)
            value -= multiple;
    }
    return value;
}

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

extern "C" ZEBAPI ZebStatus zebsAdler32_8u(const Zeb8u* pSrc, int len, Zeb32u* pAdler32)
{
    // Deliberately unlike the CRCs: a null source clears the value and is a size error, an
    // empty or negative length is a successful no-op, and the value pointer is not checked.
    if (pSrc == nullptr) {
        *pAdler32 = 0;
        return zebStsBadSize;
    }
    Zeb32u s1 = *pAdler32 & 0xFFFF, s2 = *pAdler32 >> 16;
    for (size_t left = len > 0 ? (size_t)len : 0; left > 0;) {
        size_t block = left < kAdlerBlock ? left : kAdlerBlock;
        add_bytes(pSrc, block, s1, s2);
        s1 = reduce_mod_base(s1);
        s2 = reduce_mod_base(s2);
        pSrc += block;
        left -= block;
    }
    *pAdler32 = (s2 << 16) | s1;
    return zebStsOk;
}
