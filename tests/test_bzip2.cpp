// bzip2 stages: the documented examples, resumption at every split, hostile headers, and whole
// .bz2 streams assembled from the stages (framing in bzip2_stream.h) against the bzip2 program.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

#include "bzip2_stream.h"
#include "test_support.h"

namespace {

using namespace zebbz2;

// ---- run-length stage and dictionary -------------------------------------------------------

Bytes rle_encode(const Bytes& in, size_t piece, Bytes* inUse = nullptr)
{
    Bytes state(264), out(in.size() * 5 / 4 + 8);
    auto* st = (ZebEncodeRLEState_BZ2*)(void*)state.data();
    zebsEncodeRLEInit_BZ2_8u(st);
    int done = 0;
    for (size_t pos = 0; pos < in.size(); pos += piece) {
        Zeb8u* src = (Zeb8u*)in.data() + pos;
        int srcLen = (int)std::min(piece, in.size() - pos), dstLen = (int)out.size() - done;
        EXPECT_EQ(zebsEncodeRLE_BZ2_8u(&src, &srcLen, &out[done], &dstLen, st), zebStsOk);
        done += dstLen;
    }
    int dstLen = 1;
    zebsEncodeRLEFlush_BZ2_8u(&out[done], &dstLen, st);
    out.resize(done + dstLen);
    if (inUse) {
        inUse->resize(256);
        zebsRLEGetInUseTable_8u(inUse->data(), st);
    }
    return out;
}

TEST(Bzip2RLE, RunsAtTheBoundariesAndAcrossCalls)
{
    const Zeb8u B = 'B';
    const std::vector<std::pair<int, Bytes>> cases = {{3, {B, B, B}},
                                                      {4, {B, B, B, B, 0}},
                                                      {259, {B, B, B, B, 255}},
                                                      {260, {B, B, B, B, 255, B}},
                                                      {263, {B, B, B, B, 255, B, B, B, B, 0}}};
    for (const auto& c : cases)
        for (size_t piece : {1, 2, 3, 1000}) // runs straddling every kind of call boundary
            EXPECT_EQ(rle_encode(Bytes(c.first, B), piece), c.second) << c.first << "/" << piece;
    Bytes inUse;
    rle_encode({'A', 'A', 'A', 'A', 'B'}, 2, &inUse);
    for (int v = 0; v < 256; ++v)
        EXPECT_EQ(inUse[v], v == 'A' || v == 'B' || v == 0) << v;

    // A destination of 4 for B x 6: BBBB and 33, then the rest pending, then Flush writes 2.
    Bytes state(264), six(6, B), out(8, 0xEE);
    auto* st = (ZebEncodeRLEState_BZ2*)(void*)state.data();
    zebsEncodeRLEInit_BZ2_8u(st);
    Zeb8u* src = six.data();
    int srcLen = 6, dstLen = 4;
    EXPECT_EQ(zebsEncodeRLE_BZ2_8u(&src, &srcLen, out.data(), &dstLen, st), zebStsDstFull);
    EXPECT_EQ(srcLen, 2);
    EXPECT_EQ(dstLen, 4);
    dstLen = 4;
    EXPECT_EQ(zebsEncodeRLE_BZ2_8u(&src, &srcLen, &out[4], &dstLen, st), zebStsOk);
    EXPECT_EQ(dstLen, 0);
    dstLen = 4;
    EXPECT_EQ(zebsEncodeRLEFlush_BZ2_8u(&out[4], &dstLen, st), zebStsOk);
    EXPECT_EQ(dstLen, 1);
    EXPECT_EQ(out, (Bytes{B, B, B, B, 2, 0xEE, 0xEE, 0xEE}));
}

TEST(Bzip2RLE, DecodeRestoresAndReportsASmallDestination)
{
    auto data = zebtest::runs(20000, 7); // runs of up to 300, some beyond 259
    Bytes coded = rle_encode(data, 777), back(data.size());
    Zeb8u* src = coded.data();
    int srcLen = (int)coded.size(), dstLen = (int)back.size();
    EXPECT_EQ(zebsDecodeRLE_BZ2_8u(&src, &srcLen, back.data(), &dstLen), zebStsDstFull); // exact
    EXPECT_EQ(srcLen, 0);
    EXPECT_TRUE(back == data);
    Bytes small(100, 0xEE), ch255 = {9, 9, 9, 9, 255, 7};
    src = ch255.data(), srcLen = 6, dstLen = 99;
    EXPECT_EQ(zebsDecodeRLE_BZ2_8u(&src, &srcLen, small.data(), &dstLen), zebStsDstFull);
    EXPECT_EQ(dstLen, 4);
    EXPECT_EQ(small[4], 0xEE);
    srcLen = 0;
    EXPECT_EQ(zebsDecodeRLE_BZ2_8u(&src, &srcLen, small.data(), &dstLen), zebStsOk);
    EXPECT_EQ(dstLen, 0);
}

TEST(Bzip2Dictionary, ReducesAndExpands)
{
    Zeb8u inUse[256] = {};
    inUse['a'] = inUse['c'] = inUse['z'] = 1;
    Bytes text = {'z', 'a', 'c', 'a'};
    int size = 0;
    ASSERT_EQ(zebsReduceDictionary_8u_I(inUse, text.data(), 4, &size), zebStsOk);
    EXPECT_EQ(size, 3);
    EXPECT_EQ(text, (Bytes{2, 0, 1, 0}));
    ASSERT_EQ(zebsExpandDictionary_8u_I(inUse, text.data(), 3, 3), zebStsOk);
    EXPECT_EQ(text, (Bytes{'z', 'a', 'c', 0})); // len 3 leaves the last byte
    EXPECT_EQ(zebsExpandDictionary_8u_I(inUse, text.data(), 4, 0), zebStsBadSize);
    EXPECT_EQ(zebsReduceDictionary_8u_I(inUse, nullptr, 0, &size), zebStsNullPtr);
}

// ---- zero-run coding ------------------------------------------------------------------------

TEST(Bzip2ZeroRun, DocumentedExamplesAndCutOffs)
{
    Bytes src = {0, 0, 0, 5, 0};
    Symbols dst(8, 0xEEEE);
    Zeb32u freq[258] = {};
    Zeb8u* in = src.data();
    int srcLen = 5, dstLen = 8;
    ASSERT_EQ(zebsEncodeZ1Z2_BZ2_8u16u(&in, &srcLen, dst.data(), &dstLen, freq), zebStsOk);
    EXPECT_EQ(Symbols(dst.begin(), dst.begin() + dstLen), (Symbols{0, 0, 6, 0}));
    EXPECT_EQ(freq[0], 3u);
    EXPECT_EQ(freq[6], 1u);

    Bytes zeros(10, 0); // a destination of 2: B B codes 6 zeros, 4 stay
    in = zeros.data(), srcLen = 10, dstLen = 2;
    EXPECT_EQ(zebsEncodeZ1Z2_BZ2_8u16u(&in, &srcLen, dst.data(), &dstLen, freq), zebStsDstFull);
    EXPECT_EQ(srcLen, 4);
    EXPECT_EQ(Symbols(dst.begin(), dst.begin() + dstLen), (Symbols{1, 1}));

    Symbols coded = {0, 0, 6, 0};
    for (int cap : {5, 4}) {
        Bytes out(6, 0xEE);
        Zeb16u* s = coded.data();
        int sLen = 4, oLen = cap;
        EXPECT_EQ(zebsDecodeZ1Z2_BZ2_16u8u(&s, &sLen, out.data(), &oLen), cap == 5 ? 0 : 33);
        EXPECT_EQ(sLen, 0);
        EXPECT_EQ(Bytes(out.begin(), out.begin() + oLen),
                  cap == 5 ? (Bytes{0, 0, 0, 5, 0}) : (Bytes{0, 0, 0, 5}));
        EXPECT_EQ(out[cap], 0xEE);
    }
    Symbols digits(40, 1); // 2^41 - 2 zeros would wrap any 32-bit counter
    Bytes out(64, 0xEE);
    Zeb16u* s = digits.data();
    int sLen = 40, oLen = 64;
    EXPECT_EQ(zebsDecodeZ1Z2_BZ2_16u8u(&s, &sLen, out.data(), &oLen), zebStsDstFull);
    EXPECT_EQ(out[0], 0xEE);
}

// Every destination size from 1 up: the encoder never writes past it, its output decodes to
// the consumed prefix, and a destination of the source length codes everything.
TEST(Bzip2ZeroRun, EveryDestinationSizeStaysInsideAndRoundTrips)
{
    auto data = zebtest::random_bytes(3000, 4, 3);
    std::fill(data.begin() + 100, data.begin() + 800, 0); // a run of 700 zeros and shorter ones
    for (int cap = 1; cap <= (int)data.size() + 1; cap += cap < 64 ? 1 : 37) {
        Symbols dst(cap + 1, 0xEEEE);
        Zeb32u freq[258] = {};
        Zeb8u* in = data.data();
        int srcLen = (int)data.size(), dstLen = cap;
        ZebStatus st = zebsEncodeZ1Z2_BZ2_8u16u(&in, &srcLen, dst.data(), &dstLen, freq);
        ASSERT_EQ(dst[cap], 0xEEEE) << cap;
        ASSERT_EQ(st, srcLen == 0 ? zebStsOk : zebStsDstFull);
        int consumed = (int)data.size() - srcLen;
        Bytes back(consumed + 1, 0xEE); // what is decoded is exactly what was consumed
        Zeb16u* s = dst.data();
        int sLen = dstLen, oLen = dstLen ? consumed + 1 : 0;
        ASSERT_TRUE(dstLen == 0 ||
                    zebsDecodeZ1Z2_BZ2_16u8u(&s, &sLen, back.data(), &oLen) == zebStsOk)
            << cap;
        ASSERT_EQ(oLen, consumed) << cap;
        ASSERT_TRUE(std::equal(data.begin(), data.begin() + consumed, back.begin())) << cap;
        ASSERT_TRUE(cap < (int)data.size() || srcLen == 0) << cap;
    }
}

// ---- Huffman coding -------------------------------------------------------------------------

// Header and codes of a block through the shared accumulator, with a 9-bit prefix of our own
// and 4 bytes after it (the decoder looks 20 bits ahead).
Bytes huff_encode(const Block& b)
{
    ZebEncodeHuffState_BZ2* st = nullptr;
    EXPECT_EQ(zebsEncodeHuffInitAlloc_BZ2_16u8u((int)b.syms.size(), b.alphabet, b.freq.data(),
                                                b.syms.data(), (int)b.syms.size(), &st),
              zebStsOk);
    StreamWriter w;
    w.put(0x1FF, 9);
    EXPECT_TRUE(put_huffman(w, b, st));
    zebsEncodeHuffFree_BZ2_16u8u(st);
    return w.finish(4, 0xA5);
}

// Unpack and DecodeHuff with a state for blocks of maxBlock symbols, fed `piece` bytes per call
// from a copy of the source allocated to the byte (after our 9-bit prefix); returns the
// last status and leaves the symbols before end-of-block in *out.
ZebStatus huff_decode(const Bytes& in, int alphabet, size_t piece, Symbols* out,
                      int maxBlock = 900000)
{
    ZebDecodeHuffState_BZ2* st = nullptr;
    EXPECT_EQ(zebsDecodeHuffInitAlloc_BZ2_8u16u(maxBlock, alphabet, &st), zebStsOk);
    std::unique_ptr<Zeb8u[]> exact(new Zeb8u[in.size()]);
    std::copy(in.begin(), in.end(), exact.get());
    StreamReader source(exact.get(), in.size());
    EXPECT_EQ(source.get(9), 0x1FFu);
    int len = (int)out->size();
    ZebStatus unpacked, s = source.huffman(st, piece, out->data(), &len, &unpacked);
    if (s == zebStsOk)
        out->resize(len);
    zebsDecodeHuffFree_BZ2_8u16u(st);
    return s;
}

// The code lengths of every table in a header written after our 9-bit prefix.
std::vector<std::vector<int>> header_lengths(const Bytes& in, int alphabet, int* selectors)
{
    StreamReader b(in.data(), in.size());
    b.get(9);
    int tables = (int)b.get(3);
    *selectors = (int)b.get(15);
    for (int g = 0; g < *selectors; ++g)
        while (b.get(1))
            ;
    std::vector<std::vector<int>> lengths(tables);
    for (auto& table : lengths) {
        int current = (int)b.get(5);
        for (int s = 0; s < alphabet; ++s) {
            while (b.get(1))
                current += b.get(1) ? -1 : 1;
            table.push_back(current);
        }
    }
    return lengths;
}

Block random_block(int count, int alphabet, uint32_t seed)
{
    std::mt19937 rng(seed);
    std::geometric_distribution<int> skew(0.2);
    Block b;
    b.alphabet = alphabet;
    for (int i = 0; i + 1 < count; ++i)
        b.add((Zeb16u)(skew(rng) % (alphabet - 1)));
    b.add((Zeb16u)(alphabet - 1));
    return b;
}

TEST(Bzip2Huffman, TableCountsSelectorsAndResumptionAtEverySplit)
{
    const int counts[][2] = {{120, 2},  {199, 2},  {200, 3},  {599, 3},   {600, 4}, {1199, 4},
                             {1200, 5}, {2399, 5}, {2400, 6}, {30001, 6}, {2, 2}};
    for (const auto& c : counts) {
        for (int alphabet : {3, 40, 258}) {
            Block b = random_block(c[0], alphabet, (uint32_t)c[0] + alphabet);
            Bytes coded = huff_encode(b);
            int selectors = 0;
            auto lengths = header_lengths(coded, alphabet, &selectors);
            EXPECT_EQ((int)lengths.size(), c[1]) << c[0];
            EXPECT_EQ(selectors, (c[0] + 49) / 50);
            for (size_t piece : {(size_t)1, (size_t)7, coded.size()}) {
                if (piece == 1 && c[0] > 2400)
                    continue;
                Symbols out(c[0] + 5);
                ASSERT_EQ(huff_decode(coded, alphabet, piece, &out), zebStsOk) << c[0];
                ASSERT_EQ(out, Symbols(b.syms.begin(), b.syms.end() - 1));
            }
            Bytes cut(coded.begin(), coded.end() - 4); // no bits after the last code
            Symbols out(c[0] + 5);
            if (c[0] > 2) {
                EXPECT_EQ(huff_decode(cut, alphabet, 1000, &out), zebStsSrcShort);
            }
        }
    }
}

// Weights growing like Fibonacci numbers make trees deeper than 17: every length must still be
// at most 17 and every table a complete code (Kraft sum exactly 1).
TEST(Bzip2Huffman, LengthsStayWithinSeventeenAndComplete)
{
    int longest = 0;
    for (uint32_t seed : {1u, 2u}) { // each of the 6 tables sees about 50000 symbols
        Block b;
        b.alphabet = 32;
        std::mt19937 rng(seed);
        long long fa = 1, fb = 1;
        for (int s = 0; s < 26; ++s, fb = fa + fb, fa = fb - fa)
            b.syms.insert(b.syms.end(), (size_t)fa, (Zeb16u)(25 - s));
        std::shuffle(b.syms.begin(), b.syms.end(), rng);
        b.syms.push_back(31);
        for (Zeb16u s : b.syms)
            ++b.freq[s];
        int selectors = 0;
        for (const auto& table : header_lengths(huff_encode(b), 32, &selectors)) {
            double kraft = 0;
            for (int len : table) {
                ASSERT_GE(len, 1);
                ASSERT_LE(len, 17);
                kraft += std::ldexp(1.0, -len);
                longest = std::max(longest, len);
            }
            EXPECT_EQ(kraft, 1.0);
        }
    }
    EXPECT_EQ(longest, 17); // the limit was reached
}

// Headers and blocks written by hand: what must be refused, and codes of 20 bits.
TEST(Bzip2Huffman, HostileHeadersAreRefusedAndLongCodesDecode)
{
    // Without bytes after it, a header read in full reports zebStsSrcShort (codes need 20 bits).
    auto unpack = [](StreamWriter w, int alphabet = 3, int maxBlockLen = 50, int tail = 0) {
        const Bytes in = w.finish(tail);
        Symbols out(200);
        return huff_decode(in, alphabet, in.size(), &out, maxBlockLen);
    };
    // tables, selectors, [selector runs], start length, per symbol [deltas], 0
    auto header = [](int tables, int selectors, int start, std::vector<int> lengths,
                     int selector = 0) {
        StreamWriter w;
        w.put(0x1FF, 9); // what huff_decode skips
        w.put(tables, 3), w.put(selectors, 15);
        for (int g = 0; g < selectors; ++g)
            w.put(((1u << selector) - 1) << 1, selector + 1);
        for (int t = 0; t < tables; ++t) {
            int cur = start;
            w.put(start, 5);
            for (int len : lengths) {
                for (; cur < len; ++cur)
                    w.put(2, 2);
                for (; cur > len; --cur)
                    w.put(3, 2);
                w.put(0, 1);
            }
        }
        return w;
    };
    const std::vector<int> three = {1, 2, 2};
    for (int tables : {0, 1, 7})
        EXPECT_EQ(unpack(header(tables, 1, 2, three)), zebStsBadContext);
    EXPECT_EQ(unpack(header(2, 0, 2, three)), zebStsBadContext);
    EXPECT_EQ(unpack(header(2, 21, 2, three), 3, 1000), zebStsBadContext); // 20 groups
    EXPECT_EQ(unpack(header(2, 1, 0, three)), zebStsBadContext);
    EXPECT_EQ(unpack(header(2, 1, 21, {21, 21, 21})), zebStsBadContext);
    EXPECT_EQ(unpack(header(2, 1, 20, {20, 21, 20})), zebStsBadContext);
    const std::vector<int> over(258, 8); // over-subscribed
    EXPECT_EQ(unpack(header(2, 1, 8, over), 258), zebStsBadContext);
    EXPECT_EQ(unpack(header(2, 1, 2, three, 1)), zebStsSrcShort); // a selector run of one one
    EXPECT_EQ(unpack(header(2, 1, 2, three, 2)), zebStsBadContext); // and of two

    // Lengths 2, 2, 2 leave the code 11 unassigned; one selector for 51 symbols is too few.
    StreamWriter gap = header(2, 1, 2, {2, 2, 2});
    gap.put(3, 2);
    EXPECT_EQ(unpack(gap, 3, 50, 4), zebStsBadContext);
    StreamWriter few = header(2, 1, 1, three);
    for (int i = 0; i < 51; ++i)
        few.put(0, 1);
    EXPECT_EQ(unpack(few, 3, 50, 4), zebStsBadContext);

    std::vector<int> deep; // lengths 1..19, 20, 20: codes 0, 10, 110, ..., 1^19 0, 1^20
    for (int len = 1; len <= 20; ++len)
        deep.push_back(len);
    deep.push_back(20);
    for (int piece = 1; piece <= 2; ++piece) {
        StreamWriter w = header(2, 1, 1, deep);
        for (int s : {19, 0, 5, 18, 20})
            w.put(s < 20 ? ((1u << s) - 1) << 1 : 0xFFFFF, s < 20 ? s + 1 : 20);
        Symbols out(8);
        ASSERT_EQ(huff_decode(w.finish(4), 21, (size_t)piece, &out), zebStsOk);
        EXPECT_EQ(out, (Symbols{19, 0, 5, 18}));
    }
    // A group of 20-bit codes that ends near the end of the source: the decoder reads nothing
    // past it (a source of exactly the stream's bytes), whatever the padding after the codes
    // and their bit offset (each selector shifts them by one bit).
    for (int tail = 3; tail <= 24; ++tail)
        for (int selectors = 2; selectors <= 9; ++selectors) {
            StreamWriter w = header(2, selectors, 1, deep);
            for (int i = 0; i < 50; ++i)
                w.put(((1u << 19) - 1) << 1, 20);
            w.put(0xFFFFF, 20);
            const Bytes in = w.finish(tail);
            Symbols out(100);
            ASSERT_EQ(huff_decode(in, 21, in.size(), &out, 500), zebStsOk);
            EXPECT_EQ(out, Symbols(50, 19)) << tail << " " << selectors;
        }
}

TEST(Bzip2Huffman, SizesCapacitiesAndArgumentOrder)
{
    int size = 0;
    EXPECT_EQ(zebsEncodeHuffGetSize_BZ2_16u8u(900000, &size), zebStsOk);
    EXPECT_EQ(size, 18000 * 2 + 7764);
    EXPECT_EQ(zebsDecodeHuffGetSize_BZ2_8u16u(900000, &size), zebStsOk);
    EXPECT_EQ(size, 18000 + 8176);
    EXPECT_EQ(zebsDecodeHuffGetSize_BZ2_8u16u(0, nullptr), zebStsNullPtr);
    EXPECT_EQ(zebsDecodeHuffGetSize_BZ2_8u16u(0, &size), zebStsBadSize);
    EXPECT_EQ(zebsDecodeHuffInit_BZ2_8u16u(259, (ZebDecodeHuffState_BZ2*)(void*)&size),
              zebStsBadSize);

    Block b = random_block(101, 5, 9); // 3 groups
    ZebEncodeHuffState_BZ2* st = nullptr;
    EXPECT_EQ(zebsEncodeHuffInitAlloc_BZ2_16u8u(100, 5, b.freq.data(), b.syms.data(), 101, &st),
              zebStsBadSize);
    EXPECT_EQ(zebsEncodeHuffInit_BZ2_16u8u(5, b.freq.data(), b.syms.data(), 100, st), zebStsOk);
    EXPECT_EQ(zebsEncodeHuffInit_BZ2_16u8u(5, b.freq.data(), b.syms.data(), 101, st),
              zebStsBadSize);
    Symbols bad = b.syms;
    bad[10] = 5;
    EXPECT_EQ(zebsEncodeHuffInit_BZ2_16u8u(5, b.freq.data(), bad.data(), 100, st), zebStsBadSize);
    EXPECT_EQ(zebsEncodeHuffInit_BZ2_16u8u(0, nullptr, b.syms.data(), 0, st), zebStsNullPtr);
    Zeb32u code = 0;
    int bits = 0, len = 0;
    Zeb16u* src = nullptr;
    EXPECT_EQ(zebsEncodeHuff_BZ2_16u8u(&code, &bits, &src, &len, nullptr, &len, st), zebStsNullPtr);
    EXPECT_EQ(zebsPackHuffContext_BZ2_16u8u(&code, &bits, (Zeb8u*)&size, &len, st), zebStsBadSize);
    Zeb8u one = 0;
    len = 1; // a destination of one byte: the header is lost
    EXPECT_EQ(zebsPackHuffContext_BZ2_16u8u(&code, &bits, &one, &len, st), zebStsDstFull);
    zebsEncodeHuffFree_BZ2_16u8u(st);
    zebtest::HookSwap swap(zebtest::failing_malloc, free);
    EXPECT_EQ(zebsEncodeHuffInitAlloc_BZ2_16u8u(100, 5, b.freq.data(), b.syms.data(), 100, &st),
              zebStsNullPtr);
    ZebEncodeRLEState_BZ2* rle = nullptr;
    EXPECT_EQ(zebsEncodeRLEInitAlloc_BZ2_8u(&rle), zebStsNullPtr);
    EXPECT_EQ(rle, nullptr);
}

// ---- .bz2 streams: our framing around the stages, and the peer -------------------------------

// The peer: the bzip2 program (libbz2) with these arguments, from and to files.
Bytes run_bzip2(const Bytes& in, const std::string& args)
{
    char path[] = "/tmp/zebdc_bz2_XXXXXX";
    int fd = mkstemp(path);
    EXPECT_TRUE(fd >= 0 && write(fd, in.data(), in.size()) == (ssize_t)in.size());
    close(fd);
    std::string file = path, cmd = "bzip2 " + args + " < " + file + " > " + file + ".out";
    EXPECT_EQ(std::system(cmd.c_str()), 0) << cmd;
    Bytes out = zebtest::read_file(file + ".out");
    std::remove(file.c_str());
    std::remove((file + ".out").c_str());
    return out;
}

const size_t kMultiBlock = zebtest::kScale > 1 ? 1000000 : 1900000;

// Our streams restore through the peer, the peer's streams through our stages.
void check_both_ways(const Bytes& data, int level, size_t piece, const std::string& what)
{
    ASSERT_TRUE(run_bzip2(bz2_compress(data, level, piece), "-dc") == data) << what;
    Bytes back;
    ASSERT_TRUE(bz2_decompress(run_bzip2(data, "-c -" + std::to_string(level)), &back)) << what;
    ASSERT_TRUE(back == data) << what;
}

TEST(Bzip2Chain, EdgeInputsBothWaysAtEveryLevel)
{
    // Edge sizes, every byte value, runs at the run-length boundaries.
    std::vector<Bytes> inputs = {{'x'},         {'x', 'y'},    Bytes(3, 7),   Bytes(4, 7),
                                 Bytes(259, 7), Bytes(260, 7), Bytes(263, 7), Bytes(100000, 0)};
    Bytes every;
    for (int round = 0; round < 40; ++round)
        for (int v = 0; v < 256; ++v)
            every.insert(every.end(), 1 + (v * round) % 7, (Zeb8u)v);
    inputs.push_back(every);
    Bytes ladder; // runs of 4 to 255 bytes: every count byte the run-length stage writes
    for (int v = 0; v < 252; ++v)
        ladder.insert(ladder.end(), 4 + (size_t)v, (Zeb8u)v);
    inputs.push_back(ladder);
    for (size_t len : {300, 1500}) // 3 and 5 tables (the others: 2, 4 and 6)
        inputs.push_back(zebtest::random_bytes(len, 64, 6));
    inputs.push_back(zebtest::random_bytes(70000, 256, 4));
    inputs.push_back(zebtest::random_bytes(70000, 2, 5));
    int level = 0;
    for (const Bytes& data : inputs)
        check_both_ways(data, 1 + level++ % 9, 1 + data.size() / 3, std::to_string(data.size()));
    check_both_ways({}, 9, 1, "empty");
    Bytes many; // the corpus files: several blocks at level 1, and at level 9
    for (const auto& path : zebtest::corpus_files()) {
        Bytes f = zebtest::read_file(path);
        many.insert(many.end(), f.begin(), f.end());
    }
    many.resize(std::max(many.size(), kMultiBlock), 'q');
    check_both_ways(Bytes(many.begin(), many.begin() + 250000), 1, 4099, "level 1");
    check_both_ways(many, 9, 65536, "multi-block");
}

} // namespace
