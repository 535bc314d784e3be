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

// A transform and its inverse, with the scratch sizes they report.
struct Kind {
    const char* name;
    ZebStatus (*fwdSize)(int, int*);
    ZebStatus (*fwd)(const Zeb8u*, Zeb8u*, int, int*, Zeb8u*);
    ZebStatus (*invSize)(int, int*);
    ZebStatus (*inv)(const Zeb8u*, Zeb8u*, int, int, Zeb8u*);
    size_t limit;
};
const Kind kSmall = {"small-block", zebsBWTGetSize_SmallBlock_8u, zebsBWTFwd_SmallBlock_8u,
                     zebsBWTGetSize_SmallBlock_8u, zebsBWTInv_SmallBlock_8u, 32768};
const Kind kGeneral = {"general", zebsBWTFwdGetSize_8u, zebsBWTFwd_8u, zebsBWTInvGetSize_8u,
                       zebsBWTInv_8u, 1u << 30};
const Kind kKinds[] = {kSmall, kGeneral};

// The forward transform in a scratch of exactly the reported size, at an odd address.
Transform forward(const Kind& k, const Bytes& s)
{
    int size = 0;
    EXPECT_EQ(k.fwdSize((int)s.size(), &size), zebStsOk);
    Bytes scratch(size + 5);
    Transform t;
    t.out.resize(s.size());
    EXPECT_EQ(k.fwd(s.data(), t.out.data(), (int)s.size(), &t.index, scratch.data() + 5), zebStsOk);
    return t;
}

Bytes inverse(const Kind& k, const Transform& t)
{
    int len = (int)t.out.size(), size = 0;
    EXPECT_EQ(k.invSize(len, &size), zebStsOk);
    Bytes scratch(size + 3), out(len);
    EXPECT_EQ(k.inv(t.out.data(), out.data(), len, t.index, scratch.data() + 3), zebStsOk);
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

TEST(BWT, HandExamples)
{
    for (const Kind& f : kKinds) {
        Transform t = forward(f, {'b', 'a', 'n', 'a', 'n', 'a'});
        EXPECT_EQ(t.out, (Bytes{'n', 'n', 'b', 'a', 'a', 'a'})) << f.name;
        EXPECT_EQ(t.index, 3);
        t = forward(f, {'x'});
        EXPECT_TRUE(t.out == Bytes{'x'} && t.index == 0) << f.name;
        Bytes same(std::min<size_t>(f.limit, 100000), 0xC3);
        t = forward(f, same);
        EXPECT_TRUE(t.out == same && (f.fwd != zebsBWTFwd_8u || t.index == 0)) << f.name;
        EXPECT_EQ(inverse(f, t), same) << f.name;
    }
}

// Pointers are checked before lengths; a refused call writes nothing.
TEST(BWT, ArgumentChecks)
{
    int size = -1;
    EXPECT_EQ(zebsBWTGetSize_SmallBlock_8u(32768, nullptr), zebStsNullPtr);
    EXPECT_EQ(zebsBWTGetSize_SmallBlock_8u(32768, &size), zebStsOk);
    EXPECT_EQ(size, 4 * 32768 + 2080);
    EXPECT_EQ(zebsBWTGetSize_SmallBlock_8u(32769, &size), zebStsBadSize);
    EXPECT_EQ(zebsBWTGetSize_SmallBlock_8u(0, &size), zebStsBadSize);
    EXPECT_EQ(zebsBWTFwdGetSize_8u(10, nullptr), zebStsNullPtr);
    EXPECT_EQ(zebsBWTFwdGetSize_8u(0, &size), zebStsBadSize);
    EXPECT_EQ(size, 4 * 32768 + 2080); // as the refused calls left it
    EXPECT_EQ(zebsBWTFwdGetSize_8u(1, &size), zebStsOk);
    EXPECT_EQ(size, 6 + 70145);
    EXPECT_EQ(zebsBWTFwdGetSize_8u(900000, &size), zebStsOk);
    EXPECT_EQ(size, 6 * 900000 + 70145);
    EXPECT_EQ(zebsBWTFwdGetSize_8u(0x7FFFFFFF, &size), zebStsBadSize); // size beyond an int
    EXPECT_EQ(zebsBWTInvGetSize_8u(0, &size), zebStsOk);
    EXPECT_EQ(size, 1024);
    EXPECT_EQ(zebsBWTInvGetSize_8u(0, nullptr), zebStsNullPtr);

    Bytes src(32769, 1), dst(32769, 0xEE), scratch(4 * 32769 + 2080);
    int index = -5;
    Zeb8u* b = scratch.data();
    for (const Kind& k : kKinds) {
        EXPECT_EQ(k.fwd(nullptr, dst.data(), 8, &index, b), zebStsNullPtr) << k.name;
        EXPECT_EQ(k.fwd(src.data(), dst.data(), 8, nullptr, b), zebStsNullPtr) << k.name;
        EXPECT_EQ(k.fwd(src.data(), dst.data(), 8, &index, nullptr), zebStsNullPtr) << k.name;
        EXPECT_EQ(k.fwd(src.data(), nullptr, 8, &index, b), zebStsNullPtr) << k.name;
        EXPECT_EQ(k.fwd(src.data(), dst.data(), 0, &index, b), zebStsBadSize) << k.name;
        EXPECT_EQ(k.fwd(nullptr, dst.data(), 0, &index, b), zebStsNullPtr) << k.name;
    }
    EXPECT_EQ(zebsBWTFwd_SmallBlock_8u(src.data(), dst.data(), 32769, &index, b), zebStsBadSize);
    EXPECT_TRUE(index == -5 && dst[0] == 0xEE);
    for (const Kind& k : kKinds) {
        EXPECT_EQ(k.inv(src.data(), dst.data(), 1, 77, nullptr), zebStsOk); // copy rule
        EXPECT_EQ(dst[0], 1);
        EXPECT_EQ(k.inv(nullptr, dst.data(), 1, 0, nullptr), zebStsNullPtr);
        EXPECT_EQ(k.inv(src.data(), dst.data(), 0, 0, b), zebStsBadSize);
        EXPECT_EQ(k.inv(src.data(), dst.data(), 8, 0, nullptr), zebStsNullPtr);
        EXPECT_EQ(k.inv(src.data(), dst.data(), 8, 8, b), zebStsBadSize);
        EXPECT_EQ(k.inv(src.data(), dst.data(), 8, -1, b), zebStsBadSize);
        EXPECT_EQ(k.inv(src.data(), dst.data(), 8, 7, b), zebStsOk);
    }
    EXPECT_EQ(zebsBWTInv_SmallBlock_8u(src.data(), dst.data(), 32769, 0, b), zebStsBadSize);
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
            for (const Kind& f : kKinds) {
                if (len > f.limit)
                    continue;
                Transform got = forward(f, s);
                ASSERT_EQ(got.out, want.out) << f.name << " alphabet " << alphabet << " len " << len;
                ASSERT_TRUE(!rotations_distinct(s) || got.index == want.index)
                    << f.name << " " << len;
                for (const Kind& k : kKinds)
                    ASSERT_TRUE(len > k.limit || inverse(k, got) == s)
                        << f.name << " " << k.name << " " << len;
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
        for (const Kind& f : kKinds) {
            Transform t = forward(f, small);
            EXPECT_EQ(t.out, naive_bwt(small).out) << f.name << " " << unit;
            EXPECT_EQ(inverse(f, t), small) << f.name << " " << unit;
        }
        Bytes big = periodic(unit, 900000 / kScale);
        EXPECT_EQ(inverse(kGeneral, forward(kGeneral, big)), big) << unit;
    }
    Bytes fib = zebtest::fibonacci_word(5000);
    Transform t = forward(kGeneral, fib), want = naive_bwt(fib);
    EXPECT_TRUE(t.out == want.out && t.index == want.index);
    fib = zebtest::fibonacci_word(900000 / kScale);
    EXPECT_EQ(inverse(kGeneral, forward(kGeneral, fib)), fib);
    Bytes half = zebtest::random_bytes(450000 / kScale, 256, 3);
    Bytes halves = half;
    halves.insert(halves.end(), half.begin(), half.end());
    EXPECT_EQ(inverse(kGeneral, forward(kGeneral, halves)), halves);
    halves.back() ^= 1;
    EXPECT_EQ(inverse(kGeneral, forward(kGeneral, halves)), halves);
    Bytes runs;
    for (int r = 1; runs.size() < 300000 / kScale; ++r)
        runs.insert(runs.end(), (size_t)(r % 700 + 1), (Zeb8u)(r % 3));
    EXPECT_EQ(inverse(kGeneral, forward(kGeneral, runs)), runs);
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
            EXPECT_EQ(inverse(kGeneral, t), want) << len << " " << alphabet;
        }
}

// On real data (the first 32 KiB of the corpus files; random blocks: MatchesNaiveSort) the
// general and the small-block transforms agree.
TEST(BWT, GeneralEqualsSmallBlockOnCorpusFiles)
{
    for (const std::string& path : zebtest::corpus_files()) {
        Bytes s = zebtest::read_file(path);
        s.resize(std::min<size_t>(s.size(), 32768));
        if (!rotations_distinct(s))
            continue;
        Transform a = forward(kGeneral, s), b = forward(kSmall, s);
        EXPECT_TRUE(a.out == b.out && a.index == b.index) << path;
    }
}

} // namespace
