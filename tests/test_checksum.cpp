// CRC-32 (zlib and bzip2 conventions) and Adler-32 against bitwise references written here and
// against zlib, with the argument rules where the three differ.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "test_support.h"

#ifdef ZEBDC_HAVE_ZLIB
#include <zlib.h>
#endif

namespace {

Zeb32u reference_crc32(const Zeb8u* p, size_t n, Zeb32u crc)
{
    Zeb32u c = ~crc;
    for (size_t i = 0; i < n; ++i) {
        c ^= p[i];
        for (int b = 0; b < 8; ++b)
            c = (c & 1) ? (c >> 1) ^ 0xEDB88320u : c >> 1;
    }
    return ~c;
}

Zeb32u reference_crc32_bzip2(const Zeb8u* p, size_t n, Zeb32u crc)
{
    Zeb32u c = ~crc;
    for (size_t i = 0; i < n; ++i) {
        c ^= (Zeb32u)p[i] << 24;
        for (int b = 0; b < 8; ++b)
            c = (c & 0x80000000u) ? (c << 1) ^ 0x04C11DB7u : c << 1;
    }
    return ~c;
}

Zeb32u reference_adler32(const Zeb8u* p, size_t n, Zeb32u adler)
{
    unsigned long long s1 = adler & 0xFFFF, s2 = adler >> 16;
    for (size_t i = 0; i < n; ++i) {
        s1 = (s1 + p[i]) % 65521;
        s2 = (s2 + s1) % 65521;
    }
    return (Zeb32u)(s2 << 16 | s1);
}

// Runs one of the library's checksums over p[0..n) from `start` (nothing for n == 0).
Zeb32u ours(ZebStatus (*fn)(const Zeb8u*, int, Zeb32u*), const Zeb8u* p, size_t n, Zeb32u start)
{
    Zeb32u value = start;
    if (n > 0) {
        EXPECT_EQ(fn(p, (int)n, &value), zebStsOk);
    }
    return value;
}

// Each checksum with its reference, its initial value and a running value that is not it.
struct Kind {
    const char* name;
    ZebStatus (*fn)(const Zeb8u*, int, Zeb32u*);
    Zeb32u (*reference)(const Zeb8u*, size_t, Zeb32u);
    Zeb32u initial, running, ofDigits;
};
const Kind kKinds[] = {
    {"CRC-32", zebsCRC32_8u, reference_crc32, 0, 0x9E3779B9u, 0xCBF43926u},
    {"bzip2 CRC-32", zebsCRC32_BZ2_8u, reference_crc32_bzip2, 0, 0x12345678u, 0xFC891918u},
    {"Adler-32", zebsAdler32_8u, reference_adler32, 1, 0xFFF0FFF0u, 0x091E01DEu}};

const Zeb8u kDigits[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};

// The check values of "123456789"; 300 bytes split into two calls at every point; a large
// buffer through the folding loops in one call and in uneven pieces.
TEST(Checksum, KnownValuesAndCallsInPieces)
{
    const size_t kShort = 300, kLen = (1 << 18) + 77;
    auto data = zebtest::random_bytes(kLen, 256, 12);
    for (const Kind& k : kKinds) {
        EXPECT_EQ(ours(k.fn, kDigits, 9, k.initial), k.ofDigits) << k.name;
        Zeb32u whole = k.reference(data.data(), kShort, k.initial);
        for (size_t cut = 0; cut <= kShort; ++cut)
            EXPECT_EQ(ours(k.fn, data.data() + cut, kShort - cut,
                           ours(k.fn, data.data(), cut, k.initial)),
                      whole)
                << k.name << " cut " << cut;
        Zeb32u want = k.reference(data.data(), kLen, k.initial);
        EXPECT_EQ(ours(k.fn, data.data(), kLen, k.initial), want) << k.name;
        Zeb32u value = k.initial;
        for (size_t at = 0, piece = 1; at < kLen; at += piece, piece = piece * 3 + 5)
            value = ours(k.fn, data.data() + at, std::min(piece, kLen - at), value);
        EXPECT_EQ(value, want) << k.name;
    }
}

// Slicing-by-8 starts at 15 bytes after reaching 8-byte alignment; the carry-less-multiply and
// vector kernels take 16, 32 or 64 bytes per step from 64 bytes on and hand shorter inputs and
// tails to the portable code: every length across those steps, and lengths straddling the steps
// and entry sizes (16 to 256 bytes) around the 256- and 512-byte thresholds, at every alignment
// of a 32-byte vector, from running values that are not the starting ones. Each input ends
// exactly at the end of its own allocation, so a vector kernel that reads past the last byte is
// caught under AddressSanitizer.
TEST(Checksum, EveryLengthAtEveryAlignmentEndingAtItsAllocation)
{
    auto data = zebtest::random_bytes(1100, 256, 11);
    std::vector<size_t> lengths = {319, 511, 512, 513, 575, 767, 1023, 1087};
    for (size_t len = 0; len <= 300; ++len)
        lengths.push_back(len);
    for (size_t len : lengths)
        for (size_t align = 0; align < 32; ++align) {
            zebtest::Block exact(len, align);
            std::copy_n(data.begin(), len, exact.at);
            for (const Kind& k : kKinds)
                ASSERT_EQ(ours(k.fn, exact.at, len, k.running),
                          k.reference(exact.at, len, k.running))
                    << k.name << " align " << align << " len " << len;
        }
}

// Adler-32 reduces once per 5552-byte block and the vector kernels keep exact 32-bit sums over
// a whole block: with all bytes 0xFF and running sums at their 16-bit maximum (not reduced, as a
// caller may pass them) the sums come closest to overflowing. Lengths end on both sides of block
// multiples and of the 32- and 64-byte steps inside the last block.
TEST(Checksum, AdlerBlockBoundariesWithMaximalBytesAndUnreducedSums)
{
    std::vector<Zeb8u> ff(100000, 0xFF);
    std::vector<size_t> lengths = {5551, 5552, 5553, 11104, 100000};
    for (size_t blocks = 1; blocks <= 3; ++blocks)
        for (size_t extra : {0u, 1u, 31u, 32u, 33u, 63u, 64u, 65u, 127u})
            lengths.push_back(blocks * 5552 + extra - 64);
    for (size_t n : lengths)
        for (Zeb32u start : {1u, 0xFFFFFFFFu, 0xFFF0FFF0u, 0x0000FFFFu})
            EXPECT_EQ(ours(zebsAdler32_8u, ff.data(), n, start),
                      reference_adler32(ff.data(), n, start))
                << n << " from " << std::hex << start;
}

#ifdef ZEBDC_HAVE_ZLIB
TEST(Checksum, EqualsZlibOnRandomBuffers)
{
    const size_t kMax = (1 << 20) / zebtest::kScale;
    auto data = zebtest::random_bytes(kMax + 7, 256, 2);
    std::mt19937 rng(3);
    for (size_t len : {(size_t)1, (size_t)15, (size_t)4096, (size_t)65537, kMax}) {
        const Zeb8u* p = data.data() + rng() % 8;
        EXPECT_EQ(ours(zebsCRC32_8u, p, len, 0), (Zeb32u)crc32(0, p, (uInt)len)) << len;
        EXPECT_EQ(ours(zebsAdler32_8u, p, len, 1), (Zeb32u)adler32(1, p, (uInt)len)) << len;
    }
}
#endif

TEST(Checksum, ArgumentRulesDifferForAdler)
{
    Zeb32u value = 0xABCDEF01u;
    EXPECT_EQ(zebsCRC32_8u(nullptr, 0, &value), zebStsNullPtr);
    EXPECT_EQ(zebsCRC32_8u(kDigits, 9, nullptr), zebStsNullPtr);
    EXPECT_EQ(zebsCRC32_BZ2_8u(nullptr, 0, &value), zebStsNullPtr);
    EXPECT_EQ(zebsCRC32_8u(kDigits, 0, &value), zebStsBadSize);
    EXPECT_EQ(zebsCRC32_BZ2_8u(kDigits, -1, &value), zebStsBadSize);
    EXPECT_EQ(value, 0xABCDEF01u);
    EXPECT_EQ(zebsAdler32_8u(kDigits, 0, &value), zebStsOk);
    EXPECT_EQ(zebsAdler32_8u(kDigits, -5, &value), zebStsOk);
    EXPECT_EQ(value, 0xABCDEF01u);
    EXPECT_EQ(zebsAdler32_8u(nullptr, 9, &value), zebStsBadSize);
    EXPECT_EQ(value, 0u);
}

} // namespace
