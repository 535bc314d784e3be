// bzip2's zero-run coding between move-to-front and the Huffman coder: a run of n zero values
// becomes the digits of n in bijective base 2, least significant first (RUNA = 0 for 1 x 2^i,
// RUNB = 1 for 2 x 2^i), and a non-zero value v becomes the symbol v + 1.
//
// The encoder codes with a margin of 20 free elements and no room checks; only near the end of
// the destination does it measure each run against `boundTab`, the longest run k digits reach.
#include "bzip2/bzip2_internal.h"

namespace {

enum { kRunA = 0, kRunB = 1, kMargin = 20 };

// boundTab[k] = 2^(k+1) - 2: the longest zero run that k digits can code.
constexpr Zeb32s boundTab[20] = {0,     2,     6,      14,     30,     62,     126,
                                 254,   510,   1022,   2046,   4094,   8190,   16382,
                                 32766, 65534, 131070, 262142, 524286, 1048574};

// The longest run that `room` digits code (boundTab, extended for a wide room).
inline Zeb32s run_bound(int room)
{
    if (room < 20)
        return boundTab[room];
    return room >= 30 ? 0x7FFFFFFF : (Zeb32s)((2u << room) - 2u);
}

// Digits needed for a run of n zeros: floor(log2(n + 1)).
inline int run_digits(Zeb32s n)
{
    return 31 - __builtin_clz((Zeb32u)n + 1u);
}

// Writes the digits of a run of n >= 0 zeros and counts them.
inline Zeb16u* put_run(Zeb16u* dst, Zeb32s n, Zeb32u* freq)
{
    Zeb32u run = (Zeb32u)n;
    while (run > 0) {
        Zeb16u digit = (Zeb16u)((run - 1) & 1);
        *dst++ = digit;
        ++freq[digit];
        run = (run - 1) >> 1;
    }
    return dst;
}

// Counts zero bytes from src[in] on; returns the index of the first non-zero byte or srcLen.
inline int skip_zeros(const Zeb8u* src, int in, int srcLen)
{
    while (in + 8 <= srcLen && zeb_load64(src + in) == 0)
        in += 8;
    while (in < srcLen && src[in] == 0)
        ++in;
    return in;
}

// The zeros of a run, most of them short: below 16, two overlapping stores cover them.
inline void zero_fill(Zeb8u* dst, int n)
{
    if (n >= 16) {
        memset(dst, 0, (size_t)n);
    } else if (n >= 8) {
        zeb_store64(dst, 0);
        zeb_store64(dst + n - 8, 0);
    } else if (n >= 4) {
        zeb_store32(dst, 0);
        zeb_store32(dst + n - 4, 0);
    } else if (n > 0) {
        dst[0] = 0;
        dst[n / 2] = 0;
        dst[n - 1] = 0;
    }
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsEncodeZ1Z2_BZ2_8u16u(Zeb8u** ppSrc, int* pSrcLen, Zeb16u* pDst,
                                                     int* pDstLen, Zeb32u* pFreqTable)
{
    ZEB_CHECK(ppSrc != nullptr && pDst != nullptr && pSrcLen != nullptr && pDstLen != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(*ppSrc != nullptr && pFreqTable != nullptr, zebStsNullPtr);
    ZEB_CHECK(*pSrcLen > 0, zebStsBadSize);
    ZEB_CHECK(*pDstLen > 0, zebStsBadSize);
    const Zeb8u* src = *ppSrc;
    const int srcLen = *pSrcLen, dstLen = *pDstLen;
    Zeb16u* out = pDst;
    Zeb16u* const fastEnd = dstLen > kMargin ? pDst + (dstLen - kMargin) : pDst;
    Zeb32s zeros = 0;
    int in = 0;
    bool cut = false;
    while (in < srcLen && out < pDst + dstLen) {
        int next = skip_zeros(src, in, srcLen);
        zeros += next - in;
        in = next;
        if (in == srcLen)
            break;
        int room = (int)(pDst + dstLen - out);
        if (ZEB_LIKELY(out < fastEnd && zeros <= boundTab[19])) {
            // At most 20 digits and the symbol: the margin holds them.
        } else if (zeros > run_bound(room)) {
            in -= zeros - run_bound(room); // the surplus zeros stay in the source
            out = put_run(out, run_bound(room), pFreqTable);
            zeros = 0;
            cut = true;
            break;
        } else if (run_digits(zeros) == room) {
            out = put_run(out, zeros, pFreqTable); // the value after them waits for room
            zeros = 0;
            break;
        }
        out = put_run(out, zeros, pFreqTable);
        zeros = 0;
        Zeb16u symbol = (Zeb16u)(src[in++] + 1);
        *out++ = symbol;
        ++pFreqTable[symbol];
    }
    if (zeros > 0 && !cut) {
        int room = (int)(pDst + dstLen - out);
        if (zeros > run_bound(room)) {
            in -= zeros - run_bound(room);
            zeros = run_bound(room);
        }
        out = put_run(out, zeros, pFreqTable);
    }
    *ppSrc += in;
    *pSrcLen -= in;
    *pDstLen = (int)(out - pDst);
    return *pSrcLen == 0 ? zebStsOk : zebStsDstFull;
}

extern "C" ZEBAPI ZebStatus zebsDecodeZ1Z2_BZ2_16u8u(Zeb16u** ppSrc, int* pSrcLen, Zeb8u* pDst,
                                                     int* pDstLen)
{
    ZEB_CHECK(ppSrc != nullptr && pDst != nullptr && pSrcLen != nullptr && pDstLen != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(*ppSrc != nullptr, zebStsNullPtr);
    ZEB_CHECK(*pSrcLen > 0, zebStsBadSize);
    ZEB_CHECK(*pDstLen > 0, zebStsBadSize);
    const Zeb16u* src = *ppSrc;
    const int srcLen = *pSrcLen, dstLen = *pDstLen;
    int in = 0, out = 0;
    ZebStatus status = zebStsOk;
    for (;;) {
        while (in < srcLen && out < dstLen && src[in] >= 2) // values with no run before them
            pDst[out++] = (Zeb8u)(src[in++] - 1);
        // Collect the run's digits; the value of d digits grows as 2^d, so it is computed in
        // 64 bits and saturates long before it could wrap.
        uint64_t run = 0, weight = 1;
        int digitsEnd = in;
        while (digitsEnd < srcLen && src[digitsEnd] < 2) {
            if (weight <= (uint64_t)dstLen) {
                run += (src[digitsEnd] + 1) * weight;
                weight <<= 1;
            } else {
                run = (uint64_t)dstLen + 1;
            }
            ++digitsEnd;
        }
        if (digitsEnd == srcLen) {
            in = digitsEnd; // digits at the end of the source count as consumed
            if (run > (uint64_t)(dstLen - out)) {
                status = zebStsDstFull;
            } else {
                memset(pDst + out, 0, (size_t)run);
                out += (int)run;
            }
            break;
        }
        if (run >= (uint64_t)(dstLen - out)) { // no room for the run and the value after it
            in = digitsEnd;
            if (run == (uint64_t)(dstLen - out)) {
                memset(pDst + out, 0, (size_t)run);
                out += (int)run;
            }
            status = zebStsDstFull;
            break;
        }
        zero_fill(pDst + out, (int)run);
        out += (int)run;
        pDst[out++] = (Zeb8u)(src[digitsEnd] - 1);
        in = digitsEnd + 1;
    }
    *ppSrc += in;
    *pSrcLen -= in;
    *pDstLen = out;
    return in < srcLen ? zebStsDstFull : status;
}
