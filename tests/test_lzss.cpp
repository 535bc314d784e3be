// LZSS: the documented token streams, round trips with destinations and sources of every size,
// the flush, corrupt distances, the argument checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "test_support.h"

namespace {

typedef std::vector<Zeb8u> Bytes;

// Writes tokens MSB first, as the format lays them out.
struct TokenWriter {
    Bytes out;
    int nBits = 0;
    void bits(uint32_t value, int n)
    {
        for (int i = n - 1; i >= 0; --i) {
            if (nBits % 8 == 0)
                out.push_back(0);
            out.back() |= (Zeb8u)(((value >> i) & 1) << (7 - nBits % 8));
            ++nBits;
        }
    }
    void literal(Zeb8u b) { bits(0x100u | b, 9); }
    void match(int dist, int len) { bits(((uint32_t)dist << 8) | (uint32_t)(len - 3), 24); }
};

struct LZSSState {
    ZebLZSSState* st = nullptr;
    LZSSState() { EXPECT_EQ(zebsDecodeLZSSInitAlloc_8u(&st), zebStsOk); }
    ~LZSSState() { zebsLZSSFree_8u(st); }
};

// Decodes coded with source pieces and destination sizes drawn from the given ranges;
// returns the output and stores the last status.
Bytes decode(const Bytes& coded, int maxPiece, int maxRoom, uint32_t seed, ZebStatus* last)
{
    std::mt19937 rng(seed);
    LZSSState dec;
    Bytes out;
    size_t pos = 0;
    ZebStatus st = zebStsOk;
    for (int guard = 0; guard < 10000000; ++guard) {
        Zeb32s piece = (Zeb32s)std::min<size_t>(1 + rng() % maxPiece, coded.size() - pos);
        Zeb32s room = 1 + (Zeb32s)(rng() % maxRoom);
        Bytes dst(room);
        Zeb8u* src = const_cast<Zeb8u*>(coded.data()) + pos;
        Zeb8u* d = dst.data();
        Zeb32s left = piece, roomLeft = room;
        st = zebsDecodeLZSS_8u(&src, &left, &d, &roomLeft, dec.st);
        EXPECT_EQ(d - dst.data(), room - roomLeft);
        EXPECT_EQ(src - coded.data(), (ptrdiff_t)(pos + piece - left));
        out.insert(out.end(), dst.data(), d);
        pos += piece - left;
        if (st < 0 || (st == zebStsOk && pos == coded.size()))
            break;
    }
    *last = st;
    return out;
}

TEST(LZSS, DecodesRunsThroughOverlappingCopies)
{
    TokenWriter w; // 1000 equal bytes: a literal, then matches of distance 1
    w.literal('r');
    for (int len : {258, 258, 258, 225})
        w.match(1, len);
    ZebStatus st;
    for (int room : {1, 2, 7, 300, 5000}) {
        for (int piece : {1, 3, 1000}) {
            Bytes got = decode(w.out, piece, room, room * piece, &st);
            ASSERT_EQ(st, zebStsOk);
            ASSERT_EQ(got, Bytes(1000, 'r')) << room << " " << piece;
        }
    }
}

// Random literals and matches reaching up to 32767 back, across calls, decoded with every
// small destination size and source chunking; the reference output is built alongside.
TEST(LZSS, MatchesAcrossCallsAndHistory)
{
    std::mt19937 rng(21);
    TokenWriter w;
    Bytes want;
#if defined(__i386__) || defined(__SANITIZE_ADDRESS__)
    const size_t kLen = 60000;
#else
    const size_t kLen = 300000;
#endif
    while (want.size() < kLen) {
        if (want.size() < 3 || rng() % 3 == 0) {
            want.push_back((Zeb8u)rng());
            w.literal(want.back());
            continue;
        }
        int dist = 1 + (int)(rng() % std::min<size_t>(want.size(), 32767));
        int len = 3 + (int)(rng() % 256);
        w.match(dist, len);
        for (int i = 0; i < len; ++i)
            want.push_back(want[want.size() - dist]);
    }
    ZebStatus st;
    for (int room : {1, 3, 97, 70000}) {
        Bytes got = decode(w.out, room == 1 ? 5 : 40000, room, room, &st);
        ASSERT_EQ(st, zebStsOk);
        ASSERT_TRUE(got == want) << room;
    }
}

// Codes data with the given source pieces into destinations of the given size, then flushes
// into destinations of the same size.
Bytes encode(const Bytes& data, size_t piece, int room)
{
    ZebLZSSState* enc = nullptr;
    EXPECT_EQ(zebsEncodeLZSSInitAlloc_8u(&enc), zebStsOk);
    Bytes out;
    for (size_t pos = 0; pos < data.size(); pos += piece) {
        Zeb8u* src = const_cast<Zeb8u*>(data.data()) + pos;
        Zeb32s left = (Zeb32s)std::min(piece, data.size() - pos);
        ZebStatus st = zebStsDstFull;
        while (st == zebStsDstFull && left > 0) {
            Bytes dst(room);
            Zeb8u* d = dst.data();
            Zeb32s roomLeft = room;
            st = zebsEncodeLZSS_8u(&src, &left, &d, &roomLeft, enc);
            EXPECT_EQ(d - dst.data(), room - roomLeft);
            out.insert(out.end(), dst.data(), d);
        }
        EXPECT_EQ(left, 0);
    }
    ZebStatus st = zebStsDstFull;
    for (int guard = 0; st == zebStsDstFull && guard < 100; ++guard) {
        Bytes dst(room);
        Zeb8u* d = dst.data();
        Zeb32s roomLeft = room;
        st = zebsEncodeLZSSFlush_8u(&d, &roomLeft, enc);
        out.insert(out.end(), dst.data(), d);
    }
    EXPECT_EQ(st, zebStsOk);
    zebsLZSSFree_8u(enc);
    return out;
}

TEST(LZSS, EncodesRunsAndShortInputs)
{
    TokenWriter w; // 1000 equal bytes: a literal, matches of distance 1, two tail literals
    w.literal('r');
    for (int len : {258, 258, 258, 223})
        w.match(1, len);
    w.literal('r');
    w.literal('r');
    EXPECT_EQ(encode(Bytes(1000, 'r'), 1000, 4096), w.out);
    TokenWriter two;
    two.literal('a');
    two.literal('b');
    EXPECT_EQ(encode(Bytes{'a', 'b'}, 2, 16), two.out);
    EXPECT_EQ(encode(Bytes{'a', 'a', 'a', 'a'}, 2, 1).size(), 5u); // four literals: 36 bits
}

// One call with room, destinations of every size from 1 byte up (the bytes must be the same),
// and sources in pieces (the stream differs but decodes back); the decoder splits the work
// differently again.
TEST(LZSS, RoundTripsWithEveryDestinationSize)
{
#if defined(__i386__) || defined(__SANITIZE_ADDRESS__)
    const size_t kLen = 70000;
#else
    const size_t kLen = 300000;
#endif
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
        for (int room = 1; room < 5000; room += room < 12 ? 1 : 4087)
            ASSERT_TRUE(encode(data, data.size(), room) == whole) << room;
        ASSERT_TRUE(decode(whole, 7000, 1 << 20, 1, &st) == data);
        ASSERT_EQ(st, zebStsOk);
        Bytes pieces = encode(data, 777, 1000);
        ASSERT_TRUE(decode(pieces, 5000, 3000, 2, &st) == data);
    }
}

TEST(LZSS, FlushWritesPendingBits)
{
    ZebLZSSState* enc = nullptr;
    ASSERT_EQ(zebsEncodeLZSSInitAlloc_8u(&enc), zebStsOk);
    Bytes buf(8, 0xEE);
    Zeb8u* d = buf.data();
    Zeb32s room = 8;
    EXPECT_EQ(zebsEncodeLZSSFlush_8u(&d, &room, enc), zebStsOk); // nothing pending
    EXPECT_EQ(room, 8);
    Zeb8u ab[2] = {'a', 'b'};
    Zeb8u* src = ab;
    Zeb32s n = 2;
    ASSERT_EQ(zebsEncodeLZSS_8u(&src, &n, &d, &room, enc), zebStsOk); // 18 bits: 2 bytes out
    EXPECT_EQ(room, 6);
    Zeb32s one = 1;
    EXPECT_EQ(zebsEncodeLZSSFlush_8u(&d, &one, enc), zebStsDstFull); // the last byte fills it
    EXPECT_EQ(d, buf.data() + 3);
    EXPECT_EQ(zebsEncodeLZSSFlush_8u(&d, &room, enc), zebStsOk); // nothing left
    EXPECT_EQ(d, buf.data() + 3);
    EXPECT_EQ(buf[2], 0x80); // the last bit of 'b' (0x62), zero padding
    EXPECT_EQ(buf[3], 0xEE);
    zebsLZSSFree_8u(enc);
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

TEST(LZSS, CorruptDistancesAreErrors)
{
    for (int dist : {0, 2, 32767}) {
        TokenWriter w;
        w.literal('a');
        w.match(1, 40); // 41 bytes produced
        w.match(dist == 2 ? 42 : dist, 3);
        ZebStatus st;
        Bytes got = decode(w.out, 2, dist == 2 ? 10 : 100, dist, &st);
        EXPECT_EQ(st, zebStsError) << dist;
        EXPECT_EQ(got, Bytes(41, 'a')); // what came before the bad token is delivered
    }
}

TEST(LZSS, SizesAndArgumentChecks)
{
    Zeb32s size = 0;
    ASSERT_EQ(zebsLZSSGetSize_8u(&size), zebStsOk);
    EXPECT_EQ(size, 327724);
    EXPECT_EQ(zebsLZSSGetSize_8u(nullptr), zebStsNullPtr);
    EXPECT_EQ(zebsDecodeLZSSInit_8u(nullptr), zebStsNullPtr);
    EXPECT_EQ(zebsDecodeLZSSInitAlloc_8u(nullptr), zebStsNullPtr);

    LZSSState dec;
    Zeb8u buf[4] = {0xFF, 0xFF, 0xFF, 0xFF};
    Zeb8u *src = buf, *dst = buf;
    Zeb32s srcLen = 4, dstLen = 0;
    EXPECT_EQ(zebsDecodeLZSS_8u(nullptr, nullptr, nullptr, &dstLen, nullptr), zebStsBadSize);
    dstLen = 4;
    EXPECT_EQ(zebsDecodeLZSS_8u(nullptr, &srcLen, &dst, &dstLen, dec.st), zebStsNullPtr);
    EXPECT_EQ(zebsDecodeLZSS_8u(&src, &srcLen, nullptr, &dstLen, dec.st), zebStsNullPtr);
    EXPECT_EQ(zebsDecodeLZSS_8u(&src, &srcLen, &dst, &dstLen, nullptr), zebStsNullPtr);
    srcLen = -1;
    EXPECT_EQ(zebsDecodeLZSS_8u(&src, &srcLen, &dst, &dstLen, dec.st), zebStsBadSize);
    EXPECT_TRUE(src == buf && dst == buf && dstLen == 4 && buf[0] == 0xFF);

    ZebLZSSState* enc = nullptr;
    ASSERT_EQ(zebsEncodeLZSSInitAlloc_8u(&enc), zebStsOk);
    srcLen = 4;
    dstLen = 0;
    EXPECT_EQ(zebsEncodeLZSS_8u(&src, &srcLen, &dst, nullptr, enc), zebStsNullPtr);
    EXPECT_EQ(zebsEncodeLZSS_8u(&src, &srcLen, &dst, &dstLen, nullptr), zebStsNullPtr);
    EXPECT_EQ(zebsEncodeLZSS_8u(&src, &srcLen, &dst, &dstLen, enc), zebStsDstFull);
    dstLen = 4;
    srcLen = 0;
    EXPECT_EQ(zebsEncodeLZSS_8u(&src, &srcLen, &dst, &dstLen, enc), zebStsOk);
    srcLen = -1;
    EXPECT_EQ(zebsEncodeLZSS_8u(&src, &srcLen, &dst, &dstLen, enc), zebStsBadSize);
    dstLen = 0;
    EXPECT_EQ(zebsEncodeLZSSFlush_8u(&dst, &dstLen, enc), zebStsBadSize);
    EXPECT_EQ(zebsEncodeLZSSFlush_8u(&dst, &dstLen, nullptr), zebStsNullPtr);
    EXPECT_EQ(zebsEncodeLZSSInit_8u(nullptr), zebStsNullPtr);
    EXPECT_TRUE(src == buf && dst == buf && buf[0] == 0xFF);
    zebsLZSSFree_8u(enc);

    zebtest::HookSwap swap(zebtest::failing_malloc, free);
    ZebLZSSState* none = (ZebLZSSState*)(void*)&size;
    EXPECT_EQ(zebsEncodeLZSSInitAlloc_8u(&none), zebStsNoMemory);
    EXPECT_EQ(zebsDecodeLZSSInitAlloc_8u(&none), zebStsNoMemory);
    EXPECT_EQ(none, nullptr);
    zebsLZSSFree_8u(nullptr);
}

} // namespace
