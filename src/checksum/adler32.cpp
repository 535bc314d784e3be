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

// The sum of 8 bytes and the sum of their running sums (byte i counted 8 - i times), both
// started from zero so that the next 8 bytes need not wait for them.
inline void sum_run8(const Zeb8u* src, Zeb32u& sum, Zeb32u& running)
{
    sum = 0;
    running = 0;
    for (int i = 0; i < 8; ++i) {
        sum += src[i];
        running += sum;
    }
}

// s1 += byte; s2 += s1 for every byte. Per step of 16 bytes the running sums are formed from
// zero in two runs of 8 and then added: s2 gains 16 s1 before the step, 8 times the first run's
// bytes and both runs' running sums. The sums only wait on each other once per step.
inline void add_bytes(const Zeb8u* src, size_t len, Zeb32u& s1, Zeb32u& s2)
{
    for (; len >= 16; len -= 16, src += 16) {
        Zeb32u sum0, running0, sum1, running1;
        sum_run8(src, sum0, running0);
        sum_run8(src + 8, sum1, running1);
        s2 += (s1 << 4) + (sum0 << 3) + running0 + running1;
        s1 += sum0 + sum1;
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
