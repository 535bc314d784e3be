// Generic run-length coder with a three-byte run token.
//
// Token stream: a byte b not followed by another b is a literal; "b b n" is a run of n + 2
// bytes b (2..257). Each encoder call that stops for lack of room ends its output with one or
// two raw source bytes, and the decoder takes the last two bytes of its input raw, so the
// output of one encoder call is always decoded as one unit. There is no state: a call consumes
// what fits and advances the caller's source pointer.
//
// Decoding speed is decided by the runs: their lengths vary, so any loop over a run's stores
// mispredicts its exit once per token. While at least 272 bytes of room remain, a run is
// therefore written with a fixed number of 16-byte stores for its class of length (up to 16,
// 64 or 272 bytes), spilling past its end into room that later tokens overwrite. Near the end
// of the destination runs are written exactly: byte by byte, or from 15 bytes on with 8-byte
// stores after an unaligned head.
#include "core/zeb_common.h"

#include <emmintrin.h>

namespace {

enum {
    kMaxRunCount = 256, // bytes after the first that one run token covers
    kWideRunMin = 15,   // exact runs from this length on are written with 8-byte stores
    kSpillRoom = 272    // 17 16-byte blocks: room for the longest run (257) written in blocks
};

// Number of bytes equal to b at p[0..limit), stopping at the first that differs.
inline int count_equal(const Zeb8u* p, int limit, Zeb8u b)
{
    const uint64_t pattern = 0x0101010101010101ull * b;
    int n = 0;
    while (n + 8 <= limit) {
        uint64_t diff = zeb_load64(p + n) ^ pattern;
        if (diff != 0)
            return n + (__builtin_ctzll(diff) >> 3);
        n += 8;
    }
    while (n < limit && p[n] == b)
        ++n;
    return n;
}

// Writes len (>= 15) copies of b: one unaligned 8-byte store covers the head, aligned 8-byte
// stores the middle and one more unaligned store the tail, all inside dst[0..len).
inline void write_wide_run(Zeb8u* dst, int len, Zeb8u b)
{
    const uint64_t pattern = 0x0101010101010101ull * b;
    zeb_store64(dst, pattern);
    int i = 8 - (int)((uintptr_t)dst & 7);
    for (; i + 8 <= len; i += 8)
        zeb_store64(dst + i, pattern);
    zeb_store64(dst + len - 8, pattern);
}

// Writes len (<= 257) copies of b in whole 16-byte blocks: 1, 4 or 17 of them, so up to
// kSpillRoom bytes.
inline void write_run_spilling(Zeb8u* dst, int len, Zeb8u b)
{
    const __m128i pattern = _mm_set1_epi8((char)b);
    _mm_storeu_si128((__m128i*)(void*)dst, pattern);
    if (len <= 16)
        return;
    for (int i = 16; i < 64; i += 16)
        _mm_storeu_si128((__m128i*)(void*)(dst + i), pattern);
    if (len <= 64)
        return;
    for (int i = 64; i < kSpillRoom; i += 16)
        _mm_storeu_si128((__m128i*)(void*)(dst + i), pattern);
}

inline void write_run(Zeb8u* dst, int len, Zeb8u b)
{
    if (len >= kWideRunMin) {
        write_wide_run(dst, len, b);
        return;
    }
    for (int i = 0; i < len; ++i)
        dst[i] = b;
}

// Returns the number of bytes consumed; *written receives the bytes produced.
int encode_tokens(const Zeb8u* src, int srcLen, Zeb8u* dst, int cap, int* written)
{
    int in = 0, out = 0;
    while (out < cap - 2) {
        Zeb8u b = src[in++];
        dst[out++] = b;
        int limit = srcLen - in < kMaxRunCount ? srcLen - in : kMaxRunCount;
        int repeats = count_equal(src + in, limit, b);
        if (repeats > 0) {
            dst[out++] = b;
            dst[out++] = (Zeb8u)(repeats - 1);
            in += repeats;
        }
        if (in == srcLen)
            break;
    }
    // No room for a whole token: the rest of the destination takes raw bytes.
    while (in < srcLen && out < cap)
        dst[out++] = src[in++];
    *written = out;
    return in;
}

// Returns the number of bytes consumed; *written receives the bytes produced.
int decode_tokens(const Zeb8u* src, int srcLen, Zeb8u* dst, int cap, int* written)
{
    int in = 0, out = 0;
    bool full = false;
    while (in < srcLen - 2) {
        if (out >= cap) {
            full = true;
            break;
        }
        Zeb8u b = src[in];
        if (src[in + 1] != b) {
            dst[out++] = b;
            ++in;
            continue;
        }
        int count = src[in + 2];
        if (out + count + 1 >= cap) {
            full = true;
            break;
        }
        if (cap - out >= kSpillRoom)
            write_run_spilling(dst + out, count + 2, b);
        else
            write_run(dst + out, count + 2, b);
        out += count + 2;
        in += 3;
    }
    // The last one or two bytes of an encoder call's output are raw.
    if (!full) {
        while (in < srcLen && out < cap)
            dst[out++] = src[in++];
    }
    *written = out;
    return in;
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsEncodeRLE_8u(const Zeb8u** ppSrc, int* pSrcLen, Zeb8u* pDst,
                                             int* pDstLen)
{
    ZEB_CHECK(ppSrc != nullptr, zebStsNullPtr);
    ZEB_CHECK(pDst != nullptr && pSrcLen != nullptr, zebStsNullPtr);
    ZEB_CHECK(pDstLen != nullptr, zebStsNullPtr);
    ZEB_CHECK(*ppSrc != nullptr, zebStsNullPtr);
    ZEB_CHECK(*pSrcLen >= 1, zebStsBadSize);
    ZEB_CHECK(*pDstLen >= 1, zebStsBadSize);
    int written = 0;
    int consumed = encode_tokens(*ppSrc, *pSrcLen, pDst, *pDstLen, &written);
    *ppSrc += consumed;
    *pSrcLen -= consumed;
    *pDstLen = written;
    return *pSrcLen == 0 ? zebStsOk : zebStsDstFull;
}

extern "C" ZEBAPI ZebStatus zebsDecodeRLE_8u(const Zeb8u** ppSrc, int* pSrcLen, Zeb8u* pDst,
                                             int* pDstLen)
{
    ZEB_CHECK(ppSrc != nullptr && pDst != nullptr, zebStsNullPtr);
    ZEB_CHECK(pSrcLen != nullptr && pDstLen != nullptr, zebStsNullPtr);
    ZEB_CHECK(*ppSrc != nullptr, zebStsNullPtr);
    ZEB_CHECK(*pSrcLen >= 1, zebStsBadSize);
    ZEB_CHECK(*pDstLen >= 1, zebStsBadSize);
    int written = 0;
    int consumed = decode_tokens(*ppSrc, *pSrcLen, pDst, *pDstLen, &written);
    *ppSrc += consumed;
    *pSrcLen -= consumed;
    *pDstLen = written;
    return *pSrcLen == 0 ? zebStsOk : zebStsDstFull;
}
