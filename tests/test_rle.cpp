// Generic run-length coder: the documented tokens, streams coded into destinations of every
// small size, the argument checks (arbitrary bytes: fuzz/rle_decode.cpp).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "coder_stream.h"
#include "test_support.h"

namespace {

typedef std::vector<Zeb8u> Bytes;

// One encoder call; returns its status and appends its output to *coded.
ZebStatus encode_once(const Zeb8u** src, int* srcLen, int cap, Bytes* coded)
{
    Bytes dst(cap); // exact size: the sanitizers see any write past the capacity
    int dstLen = cap;
    ZebStatus st = zebsEncodeRLE_8u(src, srcLen, dst.data(), &dstLen);
    coded->insert(coded->end(), dst.begin(), dst.begin() + dstLen);
    return st;
}

// Decodes one encoder call's output in calls with the given capacity.
Bytes decode_unit(const Bytes& unit, int cap)
{
    bool ok = true;
    Bytes out = zebcoder::rle_decode_unit(unit.data(), (int)unit.size(), [=] { return cap; }, &ok);
    EXPECT_TRUE(ok) << "a call failed, made no progress or wrote past the length it reports";
    return out;
}

Bytes encode_all(const Bytes& data)
{
    const Zeb8u* src = data.data();
    int srcLen = (int)data.size();
    Bytes coded;
    EXPECT_EQ(encode_once(&src, &srcLen, (int)data.size() * 2 + 3, &coded), zebStsOk);
    return coded;
}

TEST(RLE, DocumentedTokens)
{
    EXPECT_EQ(encode_all(Bytes(4, 'a')), (Bytes{'a', 'a', 2}));
    EXPECT_EQ(encode_all(Bytes{'a', 'b'}), (Bytes{'a', 'b'}));
    EXPECT_EQ(encode_all(Bytes(258, 'a')), (Bytes{'a', 'a', 255, 'a'}));
    EXPECT_EQ(encode_all(Bytes(259, 'a')), (Bytes{'a', 'a', 255, 'a', 'a', 0}));

    // Four equal bytes into two bytes of room: both raw, two consumed, +33.
    Bytes four(4, 'a'), coded;
    const Zeb8u* src = four.data();
    int srcLen = 4;
    EXPECT_EQ(encode_once(&src, &srcLen, 2, &coded), zebStsDstFull);
    EXPECT_EQ(coded, (Bytes{'a', 'a'}));
    EXPECT_EQ(srcLen, 2);
    EXPECT_EQ(src, four.data() + 2);
    EXPECT_EQ(decode_unit(coded, 8), (Bytes{'a', 'a'}));

    // "a a 5" needs 7 bytes of room; with 6 nothing is consumed.
    const Bytes run = {'a', 'a', 5};
    Bytes dst(7);
    for (int cap : {7, 6}) {
        const Zeb8u* in = run.data();
        int inLen = 3, dstLen = cap;
        ZebStatus st = zebsDecodeRLE_8u(&in, &inLen, dst.data(), &dstLen);
        EXPECT_EQ(st, cap == 7 ? zebStsOk : zebStsDstFull);
        EXPECT_EQ(dstLen, cap == 7 ? 7 : 0);
        EXPECT_EQ(inLen, cap == 7 ? 0 : 3);
    }
    EXPECT_EQ(dst, Bytes(7, 'a'));
}

// Every run length at every alignment of the destination: exactly the run and nothing beyond,
// whether the destination ends right there or later.
TEST(RLE, EveryRunLengthIsWrittenExactly)
{
    Bytes buf(16 + 257 + 8);
    for (int len = 2; len <= 257; ++len) {
        const Bytes unit = {'r', 'r', (Zeb8u)(len - 2)};
        for (int offset = 0; offset < 16; ++offset) {
            for (int slack : {0, 8}) {
                std::fill(buf.begin(), buf.end(), zebcoder::kGuard);
                const Zeb8u* src = unit.data();
                int srcLen = 3, dstLen = len + slack;
                ASSERT_EQ(zebsDecodeRLE_8u(&src, &srcLen, &buf[offset], &dstLen), zebStsOk);
                ASSERT_EQ(dstLen, len);
                ASSERT_EQ(std::count(buf.begin() + offset, buf.begin() + offset + len, 'r'), len);
                ASSERT_EQ(std::count(buf.begin(), buf.end(), zebcoder::kGuard), (long)buf.size() - len)
                    << "run of " << len << " at offset " << offset;
            }
        }
    }
}

// Every destination size from 1 byte up: each call's output decodes on its own, in
// destinations of any size that holds the longest run (257), and the pieces add up to the
// stream.
TEST(RLE, RoundTripsWithEveryDestinationSize)
{
    const size_t kLen = 20000 / zebtest::kScale;
    std::vector<Bytes> inputs = {zebtest::random_bytes(kLen), zebtest::runs(kLen),
                                 zebtest::random_bytes(kLen, 2, 3), Bytes(kLen, 0x5A)};
    auto corpus = zebtest::corpus_files();
    if (!corpus.empty())
        inputs.push_back(zebtest::read_file(corpus[0]));
    std::mt19937 rng(7);
    for (size_t which = 0; which < inputs.size(); ++which) {
        const Bytes& data = inputs[which];
        for (int cap = 1; cap <= 600; cap += cap < 24 ? 1 : 97) {
            bool ok = true;
            Bytes back = zebcoder::rle_round_trip(
                data, [=] { return cap; }, [&] { return 257 + (int)(rng() % 400); }, &ok);
            ASSERT_TRUE(ok && back == data) << "input " << which << " capacity " << cap;
        }
        // The whole stream as one unit, decoded with room to spare or in pieces.
        const Bytes unit = encode_all(data);
        for (int cap : {(int)data.size() + 1000, 300 + (int)(rng() % 3000)})
            ASSERT_TRUE(decode_unit(unit, cap) == data) << "input " << which << " room " << cap;
    }
}

TEST(RLE, ArgumentChecksComeFirstAndChangeNothing)
{
    Zeb8u src[4] = {1, 1, 1, 1}, dst[8] = {0};
    const Zeb8u* p = src;
    const Zeb8u* none = nullptr;
    int srcLen = 4, dstLen = 8, zero = 0;
    for (auto fn : {zebsEncodeRLE_8u, zebsDecodeRLE_8u}) {
        EXPECT_EQ(fn(nullptr, &zero, dst, &zero), zebStsNullPtr);
        EXPECT_EQ(fn(&p, nullptr, dst, &dstLen), zebStsNullPtr);
        EXPECT_EQ(fn(&p, &srcLen, nullptr, &dstLen), zebStsNullPtr);
        EXPECT_EQ(fn(&p, &srcLen, dst, nullptr), zebStsNullPtr);
        EXPECT_EQ(fn(&none, &srcLen, dst, &dstLen), zebStsNullPtr);
        EXPECT_EQ(fn(&p, &zero, dst, &dstLen), zebStsBadSize);
        EXPECT_EQ(fn(&p, &srcLen, dst, &zero), zebStsBadSize);
        EXPECT_TRUE(p == src && srcLen == 4 && dstLen == 8 && zero == 0 && dst[0] == 0);
    }
}

} // namespace
