// Burrows-Wheeler transforms: hand examples, a naive rotation sort as reference, round trips of
// periodic and repetitive blocks, the limits and the argument checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

#include "test_support.h"

namespace {

#if defined(__i386__) || defined(__SANITIZE_ADDRESS__)
const int kScale = 4;
#else
const int kScale = 1;
#endif

using Bytes = std::vector<Zeb8u>;

struct Transform {
    Bytes out;
    int index = -1;
};

// Reference: all rotations sorted by a plain cyclic comparison.
Transform naive_bwt(const Bytes& s)
{
    size_t n = s.size();
    std::vector<size_t> rows(n);
    std::iota(rows.begin(), rows.end(), 0);
    std::stable_sort(rows.begin(), rows.end(), [&](size_t a, size_t b) {
        for (size_t k = 0; k < n; ++k) {
            Zeb8u x = s[(a + k) % n], y = s[(b + k) % n];
            if (x != y)
                return x < y;
        }
        return false;
    });
    Transform t;
    for (size_t r = 0; r < n; ++r) {
        t.out.push_back(s[(rows[r] + n - 1) % n]);
        if (rows[r] == 0)
            t.index = (int)r;
    }
    return t;
}

Transform small_fwd(const Bytes& s)
{
    int size = 0;
    EXPECT_EQ(zebsBWTGetSize_SmallBlock_8u((int)s.size(), &size), zebStsOk);
    Bytes scratch(size + 1);
    Transform t;
    t.out.resize(s.size());
    EXPECT_EQ(zebsBWTFwd_SmallBlock_8u(s.data(), t.out.data(), (int)s.size(), &t.index,
                                       scratch.data() + 1), // unaligned on purpose
              zebStsOk);
    return t;
}

// The general transform in a scratch of exactly the reported size, at an odd address.
Transform general_fwd(const Bytes& s)
{
    int size = 0;
    EXPECT_EQ(zebsBWTFwdGetSize_8u((int)s.size(), &size), zebStsOk);
    Bytes scratch(size + 5);
    Transform t;
    t.out.resize(s.size());
    EXPECT_EQ(zebsBWTFwd_8u(s.data(), t.out.data(), (int)s.size(), &t.index, scratch.data() + 5),
              zebStsOk);
    return t;
}

Bytes inverse(const Transform& t, bool small)
{
    int len = (int)t.out.size();
    int size = 0;
    if (small)
        zebsBWTGetSize_SmallBlock_8u(len, &size);
    else
        zebsBWTInvGetSize_8u(len, &size);
    Bytes scratch(size + 3), out(len);
    ZebStatus st =
        small ? zebsBWTInv_SmallBlock_8u(t.out.data(), out.data(), len, t.index, scratch.data() + 3)
              : zebsBWTInv_8u(t.out.data(), out.data(), len, t.index, scratch.data() + 3);
    EXPECT_EQ(st, zebStsOk);
    return out;
}

Bytes periodic(const char* unit, size_t len)
{
    Bytes s(len);
    size_t n = strlen(unit);
    for (size_t i = 0; i < len; ++i)
        s[i] = (Zeb8u)unit[i % n];
    return s;
}

TEST(BWT, SmallBlockHandExamples)
{
    Transform t = small_fwd({'b', 'a', 'n', 'a', 'n', 'a'});
    EXPECT_EQ(t.out, (Bytes{'n', 'n', 'b', 'a', 'a', 'a'}));
    EXPECT_EQ(t.index, 3);
    t = small_fwd({'x'});
    EXPECT_EQ(t.out, Bytes{'x'});
    EXPECT_EQ(t.index, 0);
    Bytes same(1000, 7);
    t = small_fwd(same);
    EXPECT_EQ(t.out, same);
    EXPECT_EQ(inverse(t, true), same);
}

// Every length 1..300 over alphabets of 1, 2, 4 and 256 symbols: the output equals the naive
// sort's, the index equals it when the rotations are distinct, and both inverses restore.
TEST(BWT, SmallBlockMatchesNaiveSort)
{
    for (unsigned alphabet : {1u, 2u, 4u, 256u}) {
        for (int len = 1; len <= 300; len += kScale) {
            Bytes s = zebtest::random_bytes(len, alphabet, 100 * alphabet + len);
            Transform want = naive_bwt(s), got = small_fwd(s);
            ASSERT_EQ(got.out, want.out) << "alphabet " << alphabet << " len " << len;
            ASSERT_EQ(inverse(got, true), s) << len;
            ASSERT_EQ(inverse(got, false), s) << len;
            if (alphabet > 2) { // rotations of such blocks are distinct here
                ASSERT_EQ(got.index, want.index) << len;
            }
        }
    }
}

TEST(BWT, SmallBlockPeriodicAndLimitBlocks)
{
    for (const char* unit : {"ab", "abc", "z", "abaab"}) {
        Bytes s = periodic(unit, 1500 / kScale);
        Transform t = small_fwd(s);
        EXPECT_EQ(t.out, naive_bwt(s).out) << unit;
        EXPECT_EQ(inverse(t, true), s) << unit;
    }
    Bytes s = zebtest::random_bytes(32768, 256, 9);
    Transform t = small_fwd(s);
    EXPECT_EQ(inverse(t, true), s);
    EXPECT_EQ(inverse(t, false), s);
}

TEST(BWT, SmallBlockArgumentChecks)
{
    int size = 0;
    EXPECT_EQ(zebsBWTGetSize_SmallBlock_8u(32768, nullptr), zebStsNullPtr);
    EXPECT_EQ(zebsBWTGetSize_SmallBlock_8u(32768, &size), zebStsOk);
    EXPECT_EQ(size, 4 * 32768 + 2080);
    EXPECT_EQ(zebsBWTGetSize_SmallBlock_8u(32769, &size), zebStsBadSize);
    EXPECT_EQ(zebsBWTGetSize_SmallBlock_8u(0, &size), zebStsBadSize);
    Bytes src(32769, 1), dst(32769, 0xEE), scratch(4 * 32769 + 2080);
    int index = -5;
    Zeb8u* b = scratch.data();
    EXPECT_EQ(zebsBWTFwd_SmallBlock_8u(nullptr, dst.data(), 8, &index, b), zebStsNullPtr);
    EXPECT_EQ(zebsBWTFwd_SmallBlock_8u(src.data(), dst.data(), 8, nullptr, b), zebStsNullPtr);
    EXPECT_EQ(zebsBWTFwd_SmallBlock_8u(src.data(), dst.data(), 8, &index, nullptr), zebStsNullPtr);
    EXPECT_EQ(zebsBWTFwd_SmallBlock_8u(src.data(), dst.data(), 32769, &index, b), zebStsBadSize);
    EXPECT_EQ(zebsBWTFwd_SmallBlock_8u(src.data(), dst.data(), 0, &index, b), zebStsBadSize);
    EXPECT_EQ(index, -5);
    EXPECT_EQ(dst[0], 0xEE);
    for (bool small : {true, false}) {
        auto inv = small ? zebsBWTInv_SmallBlock_8u : zebsBWTInv_8u;
        EXPECT_EQ(inv(src.data(), dst.data(), 1, 77, nullptr), zebStsOk); // copy rule
        EXPECT_EQ(dst[0], 1);
        EXPECT_EQ(inv(nullptr, dst.data(), 1, 0, nullptr), zebStsNullPtr);
        EXPECT_EQ(inv(src.data(), dst.data(), 0, 0, b), zebStsBadSize);
        EXPECT_EQ(inv(src.data(), dst.data(), 8, 0, nullptr), zebStsNullPtr);
        EXPECT_EQ(inv(src.data(), dst.data(), 8, 8, b), zebStsBadSize);
        EXPECT_EQ(inv(src.data(), dst.data(), 8, -1, b), zebStsBadSize);
        EXPECT_EQ(inv(src.data(), dst.data(), 8, 7, b), zebStsOk);
    }
    EXPECT_EQ(zebsBWTInv_SmallBlock_8u(src.data(), dst.data(), 32769, 0, b), zebStsBadSize);
    EXPECT_EQ(zebsBWTInvGetSize_8u(0, &size), zebStsOk);
    EXPECT_EQ(size, 1024);
    EXPECT_EQ(zebsBWTInvGetSize_8u(0, nullptr), zebStsNullPtr);
}

Bytes fibonacci_word(size_t len)
{
    std::string a = "a", b = "ab";
    while (b.size() < len) {
        std::string c = b + a;
        a = b;
        b = c;
    }
    return Bytes(b.begin(), b.begin() + (long)len);
}

bool rotations_distinct(const Bytes& s)
{
    for (size_t p = 1; p < s.size(); ++p)
        if (s.size() % p == 0 && std::equal(s.begin() + (long)p, s.end(), s.begin()))
            return false;
    return true;
}

TEST(BWT, GeneralHandExamples)
{
    Transform t = general_fwd({'b', 'a', 'n', 'a', 'n', 'a'});
    EXPECT_EQ(t.out, (Bytes{'n', 'n', 'b', 'a', 'a', 'a'}));
    EXPECT_EQ(t.index, 3);
    t = general_fwd({'x'});
    EXPECT_EQ(t.out, Bytes{'x'});
    EXPECT_EQ(t.index, 0);
    t = general_fwd({'b', 'a'});
    EXPECT_EQ(t.out, (Bytes{'b', 'a'}));
    EXPECT_EQ(t.index, 1);
    Bytes same(100000, 0xC3);
    t = general_fwd(same);
    EXPECT_EQ(t.out, same);
    EXPECT_EQ(t.index, 0);
}

// Random blocks of every length 1..300 and selected longer ones: the output equals the naive
// sort's and the index too when the rotations are distinct; the inverse restores the block.
// Binary blocks of 200000 bytes fill one bucket with far more than 16384 rotations of each kind,
// so the merge takes its large path.
TEST(BWT, GeneralMatchesNaiveSort)
{
    std::vector<size_t> lengths;
    for (size_t len = 1; len <= 300; len += kScale)
        lengths.push_back(len);
    for (size_t len : {1000, 4096, 65536, 200000})
        lengths.push_back(len / kScale);
    for (unsigned alphabet : {1u, 2u, 4u, 256u}) {
        for (size_t len : lengths) {
            if (alphabet == 1 && len > 300) // the naive sort is quadratic there
                continue;
            Bytes s = zebtest::random_bytes(len, alphabet, 7 * alphabet + (uint32_t)len);
            Transform want = naive_bwt(s), got = general_fwd(s);
            ASSERT_EQ(got.out, want.out) << "alphabet " << alphabet << " len " << len;
            if (rotations_distinct(s)) {
                ASSERT_EQ(got.index, want.index) << "alphabet " << alphabet << " len " << len;
            }
            ASSERT_EQ(inverse(got, false), s) << "alphabet " << alphabet << " len " << len;
        }
    }
}

// Blocks that make a byte-by-byte sort deepen without end: periodic ones (transformed through
// one period), Fibonacci words, two equal halves and halves that differ in one byte.
TEST(BWT, GeneralRepetitiveBlocks)
{
    for (const char* unit : {"ab", "abc", "abaab", "ba", "z"}) {
        Bytes small = periodic(unit, 2000);
        Transform t = general_fwd(small);
        EXPECT_EQ(t.out, naive_bwt(small).out) << unit;
        EXPECT_EQ(inverse(t, false), small) << unit;
        Bytes big = periodic(unit, 900000 / kScale);
        EXPECT_EQ(inverse(general_fwd(big), false), big) << unit;
    }
    Bytes fib = fibonacci_word(5000);
    Transform t = general_fwd(fib);
    EXPECT_EQ(t.out, naive_bwt(fib).out);
    EXPECT_EQ(t.index, naive_bwt(fib).index);
    fib = fibonacci_word(900000 / kScale);
    EXPECT_EQ(inverse(general_fwd(fib), false), fib);
    Bytes half = zebtest::random_bytes(450000 / kScale, 256, 3);
    Bytes halves = half;
    halves.insert(halves.end(), half.begin(), half.end());
    EXPECT_EQ(inverse(general_fwd(halves), false), halves);
    halves.back() ^= 1;
    EXPECT_EQ(inverse(general_fwd(halves), false), halves);
    Bytes runs;
    for (int r = 1; runs.size() < 300000 / kScale; ++r)
        runs.insert(runs.end(), (size_t)(r % 700 + 1), (Zeb8u)(r % 3));
    EXPECT_EQ(inverse(general_fwd(runs), false), runs);
}

// Any last column and index give the walk of the transformation vector from the index: large
// random columns are not one cycle, and the output then repeats the cycle of the index.
TEST(BWT, InverseOfArbitraryColumns)
{
    for (size_t len : {65535, 65536, 100003, 300000})
        for (unsigned alphabet : {2u, 256u}) {
            Transform t{zebtest::random_bytes(len, alphabet, (uint32_t)(len + alphabet)),
                        (int)(len / 3)};
            std::vector<size_t> start(257), vector(len);
            for (Zeb8u b : t.out)
                ++start[b + 1];
            for (int v = 0; v < 256; ++v)
                start[v + 1] += start[v];
            for (size_t i = 0; i < len; ++i)
                vector[start[t.out[i]]++] = i;
            Bytes want(len);
            for (size_t k = 0, p = (size_t)t.index; k < len; ++k) {
                p = vector[p];
                want[k] = t.out[p];
            }
            EXPECT_EQ(inverse(t, false), want) << len << " " << alphabet;
        }
}

// The general and the small-block transforms agree on blocks with distinct rotations.
TEST(BWT, GeneralEqualsSmallBlock)
{
    std::vector<Bytes> blocks;
    for (unsigned alphabet : {3u, 256u})
        for (size_t len : {2, 17, 1000, 32768})
            blocks.push_back(zebtest::random_bytes(len, alphabet, (uint32_t)len));
    for (const std::string& path : zebtest::corpus_files()) {
        Bytes file = zebtest::read_file(path);
        blocks.emplace_back(file.begin(),
                            file.begin() + (long)std::min<size_t>(file.size(), 32768));
    }
    for (const Bytes& s : blocks) {
        if (!rotations_distinct(s))
            continue;
        Transform a = general_fwd(s), b = small_fwd(s);
        EXPECT_EQ(a.out, b.out) << s.size();
        EXPECT_EQ(a.index, b.index) << s.size();
    }
}

// Corpus files cut into 900000-byte blocks: the inverse restores every block.
TEST(BWT, GeneralCorpusRoundTrip)
{
    std::vector<std::string> files = zebtest::corpus_files();
    if (files.empty())
        GTEST_SKIP() << "corpus not present";
    Bytes all;
    for (const std::string& path : files) {
        Bytes file = zebtest::read_file(path);
        all.insert(all.end(), file.begin(), file.end());
    }
    size_t block = 900000 / kScale;
    for (size_t at = 0; at < all.size(); at += block) {
        Bytes s(all.begin() + (long)at, all.begin() + (long)std::min(all.size(), at + block));
        EXPECT_EQ(inverse(general_fwd(s), false), s) << at;
    }
}

TEST(BWT, GeneralArgumentChecks)
{
    int size = -1;
    EXPECT_EQ(zebsBWTFwdGetSize_8u(10, nullptr), zebStsNullPtr);
    EXPECT_EQ(zebsBWTFwdGetSize_8u(0, &size), zebStsBadSize);
    EXPECT_EQ(size, -1);
    EXPECT_EQ(zebsBWTFwdGetSize_8u(1, &size), zebStsOk);
    EXPECT_EQ(size, 6 + 70145);
    EXPECT_EQ(zebsBWTFwdGetSize_8u(900000, &size), zebStsOk);
    EXPECT_EQ(size, 6 * 900000 + 70145);
    EXPECT_EQ(zebsBWTFwdGetSize_8u(0x7FFFFFFF, &size), zebStsBadSize); // size beyond an int
    Bytes src(8, 1), dst(8, 0xEE), scratch(6 * 8 + 70145);
    int index = -5;
    Zeb8u* b = scratch.data();
    EXPECT_EQ(zebsBWTFwd_8u(nullptr, dst.data(), 8, &index, b), zebStsNullPtr);
    EXPECT_EQ(zebsBWTFwd_8u(src.data(), nullptr, 8, &index, b), zebStsNullPtr);
    EXPECT_EQ(zebsBWTFwd_8u(src.data(), dst.data(), 8, nullptr, b), zebStsNullPtr);
    EXPECT_EQ(zebsBWTFwd_8u(src.data(), dst.data(), 8, &index, nullptr), zebStsNullPtr);
    EXPECT_EQ(zebsBWTFwd_8u(nullptr, dst.data(), 0, &index, b), zebStsNullPtr);
    EXPECT_EQ(zebsBWTFwd_8u(src.data(), dst.data(), 0, &index, b), zebStsBadSize);
    EXPECT_EQ(index, -5);
    EXPECT_EQ(dst[0], 0xEE);
}

} // namespace
