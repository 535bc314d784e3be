// LZSS: token streams built here and decoded with destinations and sources of every size,
// corrupt distances, the argument checks.
#include <gtest/gtest.h>

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

    zebtest::HookSwap swap(zebtest::failing_malloc, free);
    ZebLZSSState* none = (ZebLZSSState*)(void*)&size;
    EXPECT_EQ(zebsDecodeLZSSInitAlloc_8u(&none), zebStsNoMemory);
    EXPECT_EQ(none, nullptr);
    zebsLZSSFree_8u(nullptr);
}

} // namespace
