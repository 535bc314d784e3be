// Generic run-length coder with a three-byte run token.
//
// Token stream: a byte b not followed by another b is a literal; "b b n" is a run of n + 2
// bytes b (2..257). Each encoder call that stops for lack of room ends its output with one or
// two raw source bytes, and the decoder takes the last two bytes of its input raw, so the
// output of one encoder call is always decoded as one unit. There is no state: a call consumes
// what fits and advances the caller's source pointer.
//
// Decoding speed is decided by the runs: their lengths vary, so a loop over a run's stores
// mispredicts its exit once per token. Where the tokens that follow are sure to write over it,
// a run is written with a fixed number of 16-byte stores for its class of length (up to 16, 64
// or 272 bytes), spilling past its end. They are sure to when 784 bytes of room are left before
// the run (after it and its spill every later run still fits, so no token stops the call) and
// 512 input bytes (every input byte gives at least two thirds of an output byte). Elsewhere a
// run is written exactly, with overlapping stores. Either way the destination beyond the bytes
// reported written is left as it was.
#include "core/zeb_common.h"

#include <emmintrin.h>

namespace {

enum {
    kMaxRunCount = 256,  // bytes after the first that one run token covers
    kSpillSize = 272,    // 17 16-byte blocks: the longest run (257) written in blocks
    kSpillRoom = 784,    // room for a run, its spill and any later run: 257 + 270 + 257
    kSpillInput = 512    // input left at a run token: what follows writes over the spill
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

// Writes len (2..257) copies of b in whole 16-byte blocks: 1, 4 or 17 of them, so up to
// kSpillSize bytes.
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
    for (int i = 64; i < kSpillSize; i += 16)
        _mm_storeu_si128((__m128i*)(void*)(dst + i), pattern);
}

// Writes len (2..257) copies of b with stores of the replicated byte that overlap rather than
// reach past the run: a loop over a run would mispredict its exit once per token. A run longer
// than 32 bytes takes sixteen 16-byte stores, the k-th at min(16 k, len - 16) (those beyond the
// run's end all land on its last 16 bytes); shorter ones two stores of 16, 8 or 4 bytes.
inline void write_run(Zeb8u* dst, int len, Zeb8u b)
{
    if (len > 32) {
        const __m128i pattern = _mm_set1_epi8((char)b);
        const int last = len - 16;
        for (int k = 0; k < 16; ++k)
            _mm_storeu_si128((__m128i*)(void*)(dst + (16 * k < last ? 16 * k : last)), pattern);
        if (len > 256) // 257: the stores cover 256 bytes
            dst[256] = b;
        return;
    }
    if (len >= 16) {
        const __m128i pattern = _mm_set1_epi8((char)b);
        _mm_storeu_si128((__m128i*)(void*)dst, pattern);
        _mm_storeu_si128((__m128i*)(void*)(dst + len - 16), pattern);
        return;
    }
    if (len >= 8) {
        const uint64_t pattern = 0x0101010101010101ull * b;
        zeb_store64(dst, pattern);
        zeb_store64(dst + len - 8, pattern);
        return;
    }
    if (len >= 4) {
        const uint32_t pattern = 0x01010101u * b;
        zeb_store32(dst, pattern);
        zeb_store32(dst + len - 4, pattern);
        return;
    }
    dst[0] = b;
    dst[1] = b;
    dst[len - 1] = b;
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
        if (cap - out >= kSpillRoom && srcLen - in >= kSpillInput)
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
