// LZSS: the documented token streams, round trips with destinations and sources of every size,
// states moved between calls, the flush, corrupt distances, the argument checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "coder_stream.h"
#include "test_support.h"

namespace {

typedef std::vector<Zeb8u> Bytes;

struct TokenWriter : zebtest::MsbBitWriter {
    void literal(Zeb8u b) { put(0x100u | b, 9); }
    void match(int dist, int len) { put(((uint32_t)dist << 8) | (uint32_t)(len - 3), 24); }
};

// Decodes with source pieces and destinations of random sizes up to the given ones.
Bytes decode(const Bytes& coded, int maxPiece, int maxRoom, ZebStatus* last)
{
    std::mt19937 rng(maxPiece ^ maxRoom);
    ZebLZSSState* dec = nullptr;
    EXPECT_EQ(zebsDecodeLZSSInitAlloc_8u(&dec), zebStsOk);
    bool ok = true;
    Bytes out = zebcoder::lzss_decode(
        dec, coded.data(), coded.size(), [&] { return 1 + rng() % maxPiece; },
        [&] { return 1 + (int)(rng() % maxRoom); }, last, &ok);
    EXPECT_TRUE(ok);
    zebsLZSSFree_8u(dec);
    return out;
}

// Codes data with the given source pieces into destinations of the given size, then flushes
// into destinations of that size.
Bytes encode(const Bytes& data, size_t piece, int room)
{
    ZebLZSSState* enc = nullptr;
    EXPECT_EQ(zebsEncodeLZSSInitAlloc_8u(&enc), zebStsOk);
    bool ok = true;
    Bytes out = zebcoder::lzss_encode(enc, data.data(), data.size(), [=] { return piece; },
                                      [=] { return room; }, &ok);
    EXPECT_TRUE(ok);
    zebsLZSSFree_8u(enc);
    return out;
}

TEST(LZSS, DocumentedTokenStreams)
{
    TokenWriter w; // 1000 equal bytes: a literal, matches of distance 1, two tail literals
    w.literal('r');
    for (int len : {258, 258, 258, 223})
        w.match(1, len);
    w.literal('r');
    w.literal('r');
    EXPECT_EQ(encode(Bytes(1000, 'r'), 1000, 4096), w.out);
    ZebStatus st;
    EXPECT_EQ(decode(w.out, 1, 1, &st), Bytes(1000, 'r')); // matches split across calls
    EXPECT_EQ(st, zebStsOk);
    TokenWriter two;
    two.literal('a');
    two.literal('b');
    EXPECT_EQ(encode(Bytes{'a', 'b'}, 2, 16), two.out);
}

// One call with room, destinations of every size from 1 byte up (the same bytes), sources in
// pieces (another stream, which decodes back); the decoder splits the work differently again.
TEST(LZSS, RoundTripsWithEveryDestinationSize)
{
    const size_t kLen = 300000 / zebtest::kScale;
    std::vector<Bytes> inputs = {zebtest::random_bytes(kLen, 4, 1), zebtest::random_bytes(5000)};
    Bytes runs;
    for (size_t i = 0; runs.size() < kLen; ++i)
        runs.insert(runs.end(), 1 + i * 7 % 300, (Zeb8u)(i % 5));
    inputs.push_back(runs);
    for (const auto& path : zebtest::corpus_files())
        if (inputs.size() < 6)
            inputs.push_back(zebtest::read_file(path));
    ZebStatus st;
    for (const Bytes& data : inputs) {
        Bytes whole = encode(data, data.size(), (int)data.size() * 2);
        for (int room = 1; room < 5000; room += room < 32 ? 1 : 4067)
            ASSERT_TRUE(encode(data, data.size(), room) == whole) << room;
        ASSERT_TRUE(decode(whole, 7000, 1 << 20, &st) == data);
        ASSERT_TRUE(decode(encode(data, 777, 1000), 5000, 3000, &st) == data);
        ASSERT_EQ(st, zebStsOk);
    }
}

// Runs a coder over `in` in calls of 30000 source bytes, moving its state to other memory after
// every call: the state holds no address, so it goes on as before.
Bytes run_moving(bool encoding, Bytes in)
{
    std::vector<Zeb32u> mem[2] = {std::vector<Zeb32u>(327724 / 4), std::vector<Zeb32u>(327724 / 4)};
    ZebLZSSState* st[2] = {(ZebLZSSState*)(void*)mem[0].data(), (ZebLZSSState*)(void*)mem[1].data()};
    EXPECT_EQ((encoding ? zebsEncodeLZSSInit_8u : zebsDecodeLZSSInit_8u)(st[0]), zebStsOk);
    Bytes out(300000);
    Zeb8u* dst = out.data();
    Zeb32s room = (Zeb32s)out.size();
    int cur = 0;
    for (size_t pos = 0; pos < in.size(); pos += 30000, cur ^= 1) {
        Zeb8u* src = in.data() + pos;
        Zeb32s piece = (Zeb32s)std::min<size_t>(30000, in.size() - pos);
        EXPECT_EQ(encoding ? zebsEncodeLZSS_8u(&src, &piece, &dst, &room, st[cur])
                           : zebsDecodeLZSS_8u(&src, &piece, &dst, &room, st[cur]),
                  zebStsOk);
        mem[cur ^ 1] = mem[cur];
        memset(mem[cur].data(), 0x5A, 327724);
    }
    if (encoding) {
        EXPECT_EQ(zebsEncodeLZSSFlush_8u(&dst, &room, st[cur]), zebStsOk);
    }
    out.resize(dst - out.data());
    return out;
}

TEST(LZSS, StatesMayMoveBetweenCalls)
{
    Bytes data = zebtest::random_bytes(100000, 3, 8);
    Bytes coded = run_moving(true, data);
    EXPECT_TRUE(coded == encode(data, 30000, 1 << 20));
    EXPECT_TRUE(run_moving(false, coded) == data);
}

TEST(LZSS, FlushAndCorruptDistances)
{
    ZebLZSSState* enc = nullptr;
    ASSERT_EQ(zebsEncodeLZSSInitAlloc_8u(&enc), zebStsOk);
    Bytes buf(8, 0xEE);
    Zeb8u ab[2] = {'a', 'b'};
    Zeb8u *d = buf.data(), *src = ab;
    Zeb32s room = 8, n = 2, one = 1;
    EXPECT_EQ(zebsEncodeLZSSFlush_8u(&d, &room, enc), zebStsOk); // nothing pending
    ASSERT_EQ(zebsEncodeLZSS_8u(&src, &n, &d, &room, enc), zebStsOk); // 18 bits: 2 bytes out
    EXPECT_EQ(room, 6);
    EXPECT_EQ(zebsEncodeLZSSFlush_8u(&d, &one, enc), zebStsDstFull); // the last byte fills it
    EXPECT_EQ(zebsEncodeLZSSFlush_8u(&d, &room, enc), zebStsOk);     // nothing left
    EXPECT_EQ(d, buf.data() + 3);
    EXPECT_EQ(buf, (Bytes{0xB0, 0xD8, 0x80, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));
    zebsLZSSFree_8u(enc);

    for (int dist : {0, 42, 32767}) { // 41 bytes are produced before the bad token
        TokenWriter w;
        w.literal('a');
        w.match(1, 40);
        w.match(dist, 3);
        ZebStatus st;
        EXPECT_EQ(decode(w.out, 2, dist == 42 ? 10 : 100, &st), Bytes(41, 'a'));
        EXPECT_EQ(st, zebStsError) << dist;
    }
}

TEST(LZSS, SizesAndArgumentChecks)
{
    Zeb32s size = 0;
    ASSERT_EQ(zebsLZSSGetSize_8u(&size), zebStsOk);
    EXPECT_EQ(size, 327724);
    EXPECT_EQ(zebsLZSSGetSize_8u(nullptr), zebStsNullPtr);
    EXPECT_EQ(zebsEncodeLZSSInit_8u(nullptr), zebStsNullPtr);
    EXPECT_EQ(zebsDecodeLZSSInit_8u(nullptr), zebStsNullPtr);
    ZebLZSSState* st = nullptr;
    ASSERT_EQ(zebsEncodeLZSSInitAlloc_8u(&st), zebStsOk);
    Zeb8u buf[4] = {0xFF, 0xFF, 0xFF, 0xFF};
    Zeb8u *src = buf, *dst = buf;
    Zeb32s four = 4, zero = 0, minus = -1;
    EXPECT_EQ(zebsDecodeLZSS_8u(nullptr, nullptr, nullptr, &zero, nullptr), zebStsBadSize);
    EXPECT_EQ(zebsDecodeLZSS_8u(&src, &four, nullptr, &four, st), zebStsNullPtr);
    EXPECT_EQ(zebsDecodeLZSS_8u(&src, &minus, &dst, &four, st), zebStsBadSize);
    EXPECT_EQ(zebsEncodeLZSS_8u(&src, &four, &dst, &zero, nullptr), zebStsNullPtr);
    EXPECT_EQ(zebsEncodeLZSS_8u(&src, &minus, &dst, &four, st), zebStsBadSize);
    EXPECT_EQ(zebsEncodeLZSS_8u(&src, &four, &dst, &zero, st), zebStsDstFull);
    EXPECT_EQ(zebsEncodeLZSS_8u(&src, &zero, &dst, &four, st), zebStsOk);
    EXPECT_EQ(zebsEncodeLZSSFlush_8u(&dst, &zero, st), zebStsBadSize);
    EXPECT_TRUE(src == buf && dst == buf && four == 4 && buf[0] == 0xFF);
    zebsLZSSFree_8u(st);

    zebtest::HookSwap swap(zebtest::failing_malloc, free);
    EXPECT_EQ(zebsEncodeLZSSInitAlloc_8u(&st), zebStsNoMemory);
    EXPECT_EQ(zebsDecodeLZSSInitAlloc_8u(&st), zebStsNoMemory);
    EXPECT_EQ(st, nullptr);
    zebsLZSSFree_8u(nullptr);
}

} // namespace
