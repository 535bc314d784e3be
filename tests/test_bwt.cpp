// Burrows-Wheeler transforms: hand examples, a naive rotation sort as reference, round trips of
// periodic and repetitive blocks, the limits and the argument checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

#include "test_support.h"

namespace {

using zebtest::kScale;
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

// Both forward transforms, with the inverse that goes with each.
const struct {
    const char* name;
    Transform (*fwd)(const Bytes&);
    bool small;
    size_t limit;
} kForward[] = {{"small-block", small_fwd, true, 32768}, {"general", general_fwd, false, 1u << 30}};

TEST(BWT, HandExamples)
{
    for (const auto& f : kForward) {
        Transform t = f.fwd({'b', 'a', 'n', 'a', 'n', 'a'});
        EXPECT_EQ(t.out, (Bytes{'n', 'n', 'b', 'a', 'a', 'a'})) << f.name;
        EXPECT_EQ(t.index, 3);
        t = f.fwd({'x'});
        EXPECT_TRUE(t.out == Bytes{'x'} && t.index == 0) << f.name;
        t = f.fwd({'b', 'a'});
        EXPECT_TRUE(t.out == (Bytes{'b', 'a'}) && t.index == 1) << f.name;
        Bytes same(std::min<size_t>(f.limit, 100000), 0xC3);
        t = f.fwd(same);
        EXPECT_TRUE(t.out == same && (f.small || t.index == 0)) << f.name;
        EXPECT_EQ(inverse(t, f.small), same) << f.name;
    }
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

// Random blocks of every length 1..300 and selected longer ones: the output equals the naive
// sort's and the index too when the rotations are distinct; both inverses restore the block.
// Binary blocks of 200000 bytes fill one bucket with far more than 16384 rotations of each kind,
// so the merge takes its large path.
TEST(BWT, MatchesNaiveSort)
{
    std::vector<size_t> lengths = {32768};
    for (size_t len = 1; len <= 300; len += kScale)
        lengths.push_back(len);
    for (size_t len : {1000, 4096, 65536, 200000})
        lengths.push_back(len / kScale);
    for (unsigned alphabet : {1u, 2u, 4u, 256u}) {
        for (size_t len : lengths) {
            if (alphabet == 1 && len > 300) // the naive sort is quadratic there
                continue;
            Bytes s = zebtest::random_bytes(len, alphabet, 7 * alphabet + (uint32_t)len);
            Transform want = naive_bwt(s);
            for (const auto& f : kForward) {
                if (len > f.limit)
                    continue;
                Transform got = f.fwd(s);
                ASSERT_EQ(got.out, want.out) << f.name << " alphabet " << alphabet << " len " << len;
                if (rotations_distinct(s)) {
                    ASSERT_EQ(got.index, want.index) << f.name << " len " << len;
                }
                for (bool small : {false, true}) {
                    if (!small || len <= 32768) {
                        ASSERT_EQ(inverse(got, small), s) << f.name << " len " << len;
                    }
                }
            }
        }
    }
}

// Blocks that make a byte-by-byte sort deepen without end: periodic ones (both transforms on
// short ones, the general one through a period), Fibonacci words, two equal halves and halves that differ in one byte.
TEST(BWT, RepetitiveBlocks)
{
    for (const char* unit : {"ab", "abc", "abaab", "ba", "z"}) {
        Bytes small = periodic(unit, 2000);
        for (const auto& f : kForward) {
            Transform t = f.fwd(small);
            EXPECT_EQ(t.out, naive_bwt(small).out) << f.name << " " << unit;
            EXPECT_EQ(inverse(t, f.small), small) << f.name << " " << unit;
        }
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
