// Inflate: streams written by zlib decoded both ways (one-stage and pairs), with any split of
// source and destination, wrappers, dictionaries, the format's edge cases and hostile streams.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <vector>

#include "../fuzz/inflate_driver.h"
#include "deflate_stream.h"
#include "test_support.h"

#ifdef ZEBDC_HAVE_ZLIB
#include <zlib.h>
#endif

namespace {

using Bytes = std::vector<Zeb8u>;

using inflate_fuzz::new_state;
using zebtest::kScale;

// Deflate fields are LSB first; Huffman codes go MSB first.
struct BitWriter {
    Bytes out;
    int used = 0;
    BitWriter& put(unsigned value, int n)
    {
        for (int i = 0; i < n; ++i, ++used) {
            if (used % 8 == 0)
                out.push_back(0);
            out.back() |= (Zeb8u)(((value >> i) & 1) << (used % 8));
        }
        return *this;
    }
    BitWriter& code(unsigned c, int n)
    {
        for (int i = n - 1; i >= 0; --i)
            put((c >> i) & 1, 1);
        return *this;
    }
    BitWriter& fixed_literal(int b) { return code(0x30 + b, 8); } // b < 144
    // Length 3 and a distance code of no extra bits.
    BitWriter& fixed_match3(int distCode) { return code(1, 7).code(distCode, 5); }
};

using Decoded = inflate_fuzz::Result;

// The stream decoded one-stage or two-stage (tests/../fuzz/inflate_driver.h) with the given
// chunks, from the given state or a fresh one, after the dictionary if any.
Decoded decode(bool twoStage, const Bytes& s, size_t srcChunk, size_t dstChunk, const Bytes& dict = {},
               ZebLZ77DecoderState* state = nullptr)
{
    state = state ? state : new_state(0);
    if (!dict.empty())
        zebsDecodeLZ77SetDictionary_8u(dict.data(), (int)dict.size(), state);
    const size_t maxOut = 1 << 26;
    return twoStage ? inflate_fuzz::two_stage(s.data(), s.size(), srcChunk, dstChunk, 8192, maxOut, state)
                    : inflate_fuzz::one_stage(s.data(), s.size(), srcChunk, dstChunk, maxOut, state);
}

// Both ways decode the stream to want and stop `after` bytes before the end of the source.
void expect_both_ways(const Bytes& stream, const Bytes& want, size_t srcChunk, size_t dstChunk,
                      const Bytes& dict = {}, const char* what = "", size_t after = 0)
{
    for (bool twoStage : {false, true}) {
        Decoded r = decode(twoStage, stream, srcChunk, dstChunk, dict);
        EXPECT_EQ(r.status, zebStsStreamEnd) << what << ", two-stage " << twoStage;
        EXPECT_TRUE(r.out == want) << what << ", two-stage " << twoStage << ": " << r.out.size()
                                   << " of " << want.size();
        EXPECT_EQ(r.end, stream.size() - after) << what << ", two-stage " << twoStage;
    }
}

// Random, runs, text-like, or long matches at distance 1 and 32768.
Bytes sample(int kind, size_t len)
{
    if (kind < 3)
        return kind == 0 ? zebtest::random_bytes(len)
                         : kind == 1 ? zebtest::runs(len) : zebtest::text_like(len);
    Bytes d(40000, 'a'), r = zebtest::random_bytes(32768, 256, 9);
    d.insert(d.end(), r.begin(), r.end());
    d.insert(d.end(), r.begin(), r.end());
    d.resize(len);
    return d;
}

#ifdef ZEBDC_HAVE_ZLIB
struct ZlibOptions {
    int level = 6, strategy = Z_DEFAULT_STRATEGY, windowBits = -15, memLevel = 8;
    int flush = Z_NO_FLUSH;
    size_t piece = 0; // flush after every piece of this size
    Bytes dict;
};

Bytes zlib_deflate(const Bytes& data, const ZlibOptions& o)
{
    z_stream z{};
    EXPECT_EQ(deflateInit2(&z, o.level, Z_DEFLATED, o.windowBits, o.memLevel, o.strategy), Z_OK);
    if (!o.dict.empty())
        deflateSetDictionary(&z, o.dict.data(), (uInt)o.dict.size());
    Bytes out(deflateBound(&z, (uLong)data.size()) * 2 + 1024);
    z.next_out = out.data();
    z.avail_out = (uInt)out.size();
    z.next_in = (Bytef*)data.data(); // the room takes all of each piece
    size_t left = data.size();
    for (; o.piece && left > o.piece; left -= o.piece) {
        z.avail_in = (uInt)o.piece;
        deflate(&z, o.flush);
    }
    z.avail_in = (uInt)left;
    EXPECT_EQ(deflate(&z, Z_FINISH), Z_STREAM_END);
    out.resize(z.total_out);
    deflateEnd(&z);
    return out;
}

TEST(Inflate, ZlibLevelsStrategiesWindowsAndFlushes)
{
    std::vector<ZlibOptions> cases;
    auto add = [&](int level, int strategy, int windowBits, int memLevel, int flush) {
        size_t piece = flush == Z_NO_FLUSH ? 0 : 777;
        cases.push_back({level, strategy, windowBits, memLevel, flush, piece, {}});
    };
    for (int level = 0; level <= 9; ++level)
        add(level, Z_DEFAULT_STRATEGY, -15, 8, Z_NO_FLUSH);
    for (int strategy : {Z_FILTERED, Z_HUFFMAN_ONLY, Z_RLE, Z_FIXED})
        add(6, strategy, -15, 8, Z_NO_FLUSH);
    for (int i = 0; i < 9; ++i) // every windowBits 9..15 and every memLevel 1..9
        add(6, Z_DEFAULT_STRATEGY, -(9 + i * 6 / 8), 1 + i, Z_NO_FLUSH);
    for (int flush : {Z_SYNC_FLUSH, Z_FULL_FLUSH, Z_PARTIAL_FLUSH, Z_BLOCK})
        for (int level : {0, 1, 6})
            add(level, Z_DEFAULT_STRATEGY, -15, 8, flush);
    for (int kind = 0; kind < 4; ++kind) {
        Bytes data = sample(kind, (kind == 3 ? 110000 : 30000) / kScale);
        for (size_t i = 0; i < (kind == 1 || kind == 2 ? cases.size() : 10); ++i) // 10 levels
            expect_both_ways(zlib_deflate(data, cases[i]), data, data.size(), data.size() + 1, {},
                             ("kind " + std::to_string(kind) + " case " + std::to_string(i)).c_str());
    }
}

// Every split of source and destination: one byte per call, random sizes, and exact fits.
TEST(Inflate, AnySplitOfSourceAndDestination)
{
    for (int kind = 0; kind < 4; ++kind) {
        Bytes data = sample(kind, kind == 3 ? 100000 / kScale : 3000);
        for (int level : {0, 1, 9}) {
            ZlibOptions o;
            o.level = level;
            Bytes z = zlib_deflate(data, o);
            if (data.size() <= 3000) {
                expect_both_ways(z, data, 1, 1, {}, "byte by byte");
                expect_both_ways(z, data, 1, data.size() + 1, {}, "source byte by byte");
            }
            expect_both_ways(z, data, 13, 259, {}, "odd chunks");
            expect_both_ways(z, data, z.size(), 100, {}, "small room");
        }
    }
}

TEST(Inflate, ZlibAndGzipWrappersEndOnTheTrailer)
{
    Bytes data = sample(2, 50000);
    for (int gzip = 0; gzip < 2; ++gzip) {
        ZlibOptions o;
        o.windowBits = gzip ? 31 : 15;
        Bytes framed = zlib_deflate(data, o);
        Bytes body(framed.begin() + (gzip ? 10 : 2), framed.end()); // the trailer stays
        for (size_t chunk : {(size_t)1, body.size()})
            expect_both_ways(body, data, chunk, data.size() + 1, {}, "wrapped", gzip ? 8 : 4);
    }
}

TEST(Inflate, PresetDictionary)
{
    Bytes dict = sample(2, 40000);
    Bytes data(dict.begin() + 5000, dict.begin() + 20000);
    Bytes more = sample(0, 3000);
    data.insert(data.end(), more.begin(), more.end());
    for (size_t dictLen : {(size_t)10, (size_t)300, (size_t)32768}) {
        ZlibOptions o;
        o.dict.assign(dict.end() - dictLen, dict.end());
        expect_both_ways(zlib_deflate(data, o), data, data.size(), data.size() + 1, o.dict, "dictionary");
        expect_both_ways(zlib_deflate(data, o), data, 7, 61, o.dict, "dictionary, chunks");
    }
    // Of a dictionary longer than 32768 bytes the first 32768 are kept, not the last.
    ZlibOptions o;
    o.dict.assign(dict.begin(), dict.begin() + 32768);
    expect_both_ways(zlib_deflate(data, o), data, data.size(), data.size() + 1, dict, "long dictionary");
}

TEST(Inflate, CorpusFilesLevels1And6)
{
    auto files = zebtest::corpus_files();
    if (files.empty())
        GTEST_SKIP() << "corpus absent";
    for (const auto& path : files) {
        Bytes data = zebtest::read_file(path);
        data.resize(std::min(data.size(), (size_t)(1 << 20) / kScale / kScale));
        for (int level : {1, 6}) {
            ZlibOptions o;
            o.level = level;
            expect_both_ways(zlib_deflate(data, o), data, data.size(), data.size() + 1, {}, path.c_str());
        }
    }
}

// CopyState inside compressed data and between blocks (just after a sync flush's empty stored
// block): both states finish the stream alike, with the history the later blocks refer to.
TEST(Inflate, CopyStateContinuesIdentically)
{
    Bytes data = sample(2, 20000);
    ZlibOptions o;
    o.flush = Z_SYNC_FLUSH;
    o.piece = 5000;
    Bytes z = zlib_deflate(data, o);
    const Zeb8u kMarker[] = {0, 0, 0xFF, 0xFF};
    size_t between = std::search(z.begin(), z.end(), kMarker, kMarker + 4) - z.begin() + 4;
    for (size_t cut : {z.size() / 3, z.size() / 2, between}) {
        for (size_t room : {(size_t)1, data.size() + 1}) {
            ZebLZ77DecoderState *a = new_state(0), *b = new_state(1);
            Bytes head(z.begin(), z.begin() + cut);
            Decoded first = decode(false, head, 64, room, {}, a);
            ASSERT_EQ(first.status, zebStsSrcShort);
            ASSERT_EQ(zebsDecodeLZ77CopyState_8u(a, b), zebStsOk);
            Bytes rest(z.begin() + first.end, z.end());
            Decoded fromA = decode(false, rest, 64, room, {}, a);
            Decoded fromB = decode(false, rest, 64, room, {}, b);
            ASSERT_EQ(fromB.status, zebStsStreamEnd);
            EXPECT_TRUE(fromA.out == fromB.out);
            first.out.insert(first.out.end(), fromB.out.begin(), fromB.out.end());
            EXPECT_TRUE(first.out == data);
        }
    }
}
#endif // ZEBDC_HAVE_ZLIB

// Raw streams of this library's own encoder: fixed, dynamic or stored blocks.
TEST(Inflate, OurEncoderStreamsBothWays)
{
    for (int kind = 0; kind < 4; ++kind) {
        Bytes data = sample(kind, 100000 / kScale);
        for (int level = 0; level <= 2; ++level)
            for (zebdeflate::Mode mode : {zebdeflate::kFixed, zebdeflate::kDynamic, zebdeflate::kStored}) {
                zebdeflate::Options o;
                o.level = level, o.framing = zebdeflate::kRaw, o.mode = mode;
                zebdeflate::Stream s = zebdeflate::compress(data, o);
                ASSERT_TRUE(s.ok);
                const Bytes& z = s.bytes;
                expect_both_ways(z, data, z.size(), data.size() + 1, {}, "our encoder");
                expect_both_ways(z, data, 29, 301, {}, "our encoder, chunks");
            }
    }
}

TEST(Inflate, StateLifeCycleAndDescriptors)
{
    int size = 0;
    ASSERT_EQ(zebsDecodeLZ77GetSize_8u(&size), zebStsOk);
    EXPECT_EQ(size, 112876);
    EXPECT_EQ(zebsDecodeLZ77GetSize_8u(nullptr), zebStsNullPtr);
    ZebLZ77DecoderState* s = (ZebLZ77DecoderState*)1;
    {
        zebtest::HookSwap hooks(zebtest::failing_malloc, free);
        EXPECT_EQ(zebsDecodeLZ77InitAlloc_8u(zebLZ77ChecksumNone, &s), zebStsNoMemory);
        EXPECT_EQ(s, (ZebLZ77DecoderState*)1);
    }
    ASSERT_EQ(zebsDecodeLZ77InitAlloc_8u(zebLZ77ChecksumNone, &s), zebStsOk);
    ZebLZ77Pair* pairs;
    int ind, len;
    ASSERT_EQ(zebsDecodeLZ77GetPairs_8u(&pairs, &ind, &len, s), zebStsOk);
    EXPECT_EQ(ind, 0);
    EXPECT_EQ(len, 8192);
    ZebLZ77Pair mine[4];
    ASSERT_EQ(zebsDecodeLZ77SetPairs_8u(mine, 3, -7, s), zebStsOk);
    zebsDecodeLZ77SetStatus_8u(zebLZ77StatusHuffman, s);
    ASSERT_EQ(zebsDecodeLZ77Reset_8u(s), zebStsOk);
    ZebLZ77Pair* after;
    zebsDecodeLZ77GetPairs_8u(&after, &ind, &len, s);
    EXPECT_TRUE(after == mine && ind == 0 && len == 8192); // Reset keeps a caller's buffer
    ZebLZ77Status stage;
    zebsDecodeLZ77GetStatus_8u(&stage, s);
    EXPECT_EQ(stage, zebLZ77StatusInit);
    EXPECT_EQ(zebsDecodeLZ77SetDictionary_8u(nullptr, 1, s), zebStsNullPtr);
    EXPECT_EQ(zebsDecodeLZ77SetDictionary_8u((const Zeb8u*)mine, 0, s), zebStsBadSize);
    zebsLZ77Free_8u(s);
}

// A stored block split at every byte, LEN/NLEN checks, and the BTYPE 11 leniency.
TEST(Inflate, StoredBlocksAndHeaders)
{
    Bytes data = zebtest::random_bytes(300, 256, 4);
    BitWriter w;
    w.put(0, 3).put(0, 5).put(300, 16).put(300 ^ 0xFFFF, 16); // stored: pad, LEN, NLEN
    for (Zeb8u b : data)
        w.put(b, 8);
    w.put(3, 3).fixed_match3(2).code(0, 7); // final, fixed: length 3 at distance 3, end of block
    Bytes want = data;
    want.insert(want.end(), data.end() - 3, data.end());
    for (size_t chunk = 1; chunk <= 8; ++chunk)
        expect_both_ways(w.out, want, chunk, chunk * 5, {}, "stored");

    expect_both_ways({0x01, 0x00, 0x00, 0xFF, 0xFF}, {}, 100, 100, {}, "empty stored block");
    ZebLZ77DecoderState* s = new_state(0);

    // The flush-marker search skips to the byte after 00 00 FF FF.
    Bytes marked = {0x12, 0x00, 0x34, 0x00, 0x00, 0xFF, 0xFF, 0x99};
    Zeb8u* m = marked.data();
    int mLen = 6;
    ZebLZ77Pair pair;
    ZebLZ77Pair* pp = &pair;
    int pRoom = 1;
    EXPECT_EQ(zebsDecodeLZ77FixedHuff_8u(&m, &mLen, &pp, &pRoom, zebLZ77FlushSync, s), zebStsSrcShort);
    mLen = 8 - (int)(m - marked.data());
    EXPECT_EQ(zebsDecodeLZ77FixedHuff_8u(&m, &mLen, &pp, &pRoom, zebLZ77FlushFull, s), zebStsOk);
    EXPECT_TRUE(m == marked.data() + 7 && mLen == 1);

    Bytes btype3 = {0x07, 0x00};
    ZebLZ77BlockType type = zebLZ77BlockDynamic;
    zebsDecodeLZ77Reset_8u(s);
    Zeb8u* p = btype3.data();
    int n = 2;
    ASSERT_EQ(zebsDecodeLZ77GetBlockType_8u(&p, &n, &type, s), zebStsOk);
    EXPECT_EQ(type, zebLZ77BlockDynamic);
    Zeb8u out[4];
    Zeb8u* d = out;
    int room = 4;
    EXPECT_EQ(zebsDecodeLZ77StoredBlock_8u(&p, &n, &d, &room, s), zebStsError);
    room = 0;
    EXPECT_EQ(zebsDecodeLZ77StoredBlock_8u(&p, &n, &d, &room, s), zebStsBadSize);
}

// Hand-made fixed blocks: references before the start of the stream or the dictionary, invalid
// symbols, and the 258-at-distance-1 match carried over a small destination.
TEST(Inflate, RefusesFarDistancesAndInvalidSymbols)
{
    auto fixed = [](std::function<void(BitWriter&)> body) {
        BitWriter w;
        body(w.put(3, 3)); // final, fixed
        return w.code(0, 7).put(0, 32).out; // end of block and room for the fast paths
    };
    const Bytes abc = {'a', 'b', 'c'}; // a D-byte dictionary makes distance D the furthest allowed
    const struct {
        Bytes stream, dict;
        ZebStatus want;
    } refused[] = {
        {fixed([](BitWriter& w) { w.fixed_match3(0); }), {}, zebStsError},
        {fixed([](BitWriter& w) { w.fixed_literal('x').fixed_match3(1); }), {}, zebStsError},
        {fixed([](BitWriter& w) { w.fixed_match3(3); }), abc, zebStsError},
        {fixed([](BitWriter& w) { w.code(0xC6, 8); }), {}, zebStsBadSize}, // literal 286
        {fixed([](BitWriter& w) { w.fixed_literal('x').fixed_match3(30); }), {}, zebStsBadSize},
        {{0x01, 0x05, 0x00, 0x05, 0x00}, {}, zebStsBadSize}}; // LEN and NLEN disagree
    for (const auto& c : refused)
        for (size_t chunk : {(size_t)1, (size_t)1000})
            for (bool twoStage : {false, true})
                EXPECT_EQ(decode(twoStage, c.stream, chunk, 100, c.dict).status, c.want) << chunk;
    expect_both_ways(fixed([](BitWriter& w) { w.fixed_match3(2); }), abc, 1000, 100, abc,
                     "distance 3 into the dictionary", 4);

    // A decoder called without GetBlockType reads the header itself and refuses another type.
    auto first_call = [](Bytes stream, int which) {
        ZebLZ77DecoderState* s = new_state(0);
        Zeb8u* p = stream.data();
        int n = (int)stream.size(), room = 8;
        Zeb8u out[8];
        Zeb8u* d = out;
        ZebLZ77Pair pairs[8];
        ZebLZ77Pair* pd = pairs;
        switch (which) {
        case 0: return zebsDecodeLZ77FixedHuffFull_8u(&p, &n, &d, &room, zebLZ77FlushNone, s);
        case 1: return zebsDecodeLZ77FixedHuff_8u(&p, &n, &pd, &room, zebLZ77FlushNone, s);
        case 2: return zebsDecodeLZ77DynamicHuffFull_8u(&p, &n, &d, &room, zebLZ77FlushNone, s);
        case 3: return zebsDecodeLZ77DynamicHuff_8u(&p, &n, &pd, &room, zebLZ77FlushNone, s);
        default: return zebsDecodeLZ77StoredHuff_8u(&p, &n, &pd, &room, s);
        }
    };
    for (int which = 0; which < 5; ++which) // dynamic to the fixed decoders, fixed to the others
        EXPECT_EQ(first_call(which < 2 ? Bytes{5, 0, 0, 0} : Bytes{3, 0, 0, 0}, which), zebStsError)
            << which;

    // A caller's pairs of any value stay in bounds; a match cut by the room is carried over.
    ZebLZ77DecoderState* s = new_state(0);
    ZebLZ77Pair* ps = nullptr;
    int np = 0;
    Bytes got;
    auto to_bytes = [&](size_t room) {
        Bytes out(room);
        Zeb8u* d = out.data();
        int left = (int)room;
        ZebStatus status = zebsDecodeLZ77_8u(&ps, &np, &d, &left, zebLZ77FlushNone, s);
        EXPECT_EQ(d, out.data() + room - left);
        got.insert(got.end(), out.data(), d);
        return status;
    };
    ZebLZ77Pair pairs[] = {{'a', 0}, {258, 1}, {0xFFFF, 0xFFFF}};
    ps = pairs, np = 3;
    ASSERT_EQ(to_bytes(100), zebStsDstFull);
    EXPECT_EQ(np, 1); // the match is taken, 159 bytes of it pending
    ASSERT_EQ(to_bytes(100), zebStsDstFull);
    EXPECT_EQ(np, 1);
    EXPECT_EQ(to_bytes(100), zebStsError); // the rest of the match, then the far pair refused
    EXPECT_TRUE(got == Bytes(259, 'a')) << got.size();

    // With a large room (the word-copy path): an empty match, a match reaching exactly the
    // first byte written, one byte further (refused, not consumed), a length beyond the room.
    s = new_state(0);
    ZebLZ77Pair more[] = {{'x', 0}, {'y', 0}, {0, 2}, {40, 2}, {5, 42}, {3, 48}};
    ps = more, np = 6;
    got.clear();
    ASSERT_EQ(to_bytes(4096), zebStsError);
    EXPECT_TRUE(np == 1 && ps == more + 5);
    Bytes want;
    for (int i = 0; i < 47; ++i)
        want.push_back(i % 2 ? 'y' : 'x');
    EXPECT_TRUE(got == want);
    ZebLZ77Pair huge[] = {{0xFFFF, 1}};
    ps = huge, np = 1;
    EXPECT_EQ(to_bytes(4096), zebStsDstFull);
    want.resize(want.size() + 4096, 'x');
    EXPECT_TRUE(np == 0 && got == want);
}

// Dynamic headers built by hand: a single distance code, over-subscribed codes, a stream cut
// after all-zero codes. (A code-length code without codes, at every bit alignment of the header,
// is among the one- and two-stage fuzz seeds.)
TEST(Inflate, DynamicHeadersWithOddCodes)
{
    // The code-length code gives 4 bits to every symbol but 14, 15 and 16 (a complete code), so
    // lengths 0..13 code as themselves and 18 as 15. In lens, 100 + n stands for 18 with n zeros.
    auto header = [](int hlit, int hdist, const std::vector<int>& lens) {
        static const int kOrder[19] = {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};
        BitWriter w;
        w.put(5, 3).put(hlit - 257, 5).put(hdist - 1, 5).put(15, 4); // final, dynamic; HCLEN 19
        for (int sym : kOrder)
            w.put(sym < 14 || sym > 16 ? 4 : 0, 3);
        for (int v : lens) {
            w.code(v < 100 ? v : 15, 4);
            if (v >= 100)
                w.put(v - 100 - 11, 7);
        }
        return w;
    };
    // 'a', 'b', end of block and length 3 with 2-bit codes, one distance code of 1 bit.
    BitWriter w = header(258, 1, {100 + 97, 2, 2, 100 + 138, 100 + 19, 2, 2, 1});
    w.code(0, 2).code(1, 2).code(3, 2).code(0, 1).code(2, 2).put(0, 32); // a b, 3 at 1, end
    for (size_t chunk : {1, 3, 1000})
        expect_both_ways(w.out, {'a', 'b', 'b', 'b', 'b'}, chunk, 2, {}, "one distance code", 4);
    // An over-subscribed code: 'a' has the 1-bit code 0, end of block 10, 'b' to 'd' the 3-bit
    // codes 110, 111 and (wrapped) 000. The shorter code keeps its patterns: were 'd' to take
    // 000, three 'a' in a row would decode as 'd' from a whole buffer.
    BitWriter o = header(257, 1, {100 + 97, 1, 3, 3, 3, 100 + 138, 100 + 17, 2, 0});
    o.code(0, 1).code(0, 1).code(0, 1).code(6, 3).code(2, 2).put(0, 32); // a a a b, end
    for (size_t chunk : {1, 1000})
        expect_both_ways(o.out, {'a', 'a', 'a', 'b'}, chunk, 1000, {}, "over-subscribed", 4);
    // A stream cut inside a block whose literal 'a' has the all-zero code 0: the zero bits above
    // those held are no input, so the decoders stop for more source after the 'a' that are
    // there (at most 7 more from the last byte's padding), never producing zeros for ever.
    BitWriter cut = header(257, 1, {100 + 97, 1, 2, 100 + 138, 100 + 19, 2, 0});
    cut.code(0, 5); // five 'a'
    for (size_t chunk : {(size_t)1, (size_t)1000})
        for (bool twoStage : {false, true}) {
            Decoded r = decode(twoStage, cut.out, chunk, 1000);
            EXPECT_TRUE(r.status == zebStsSrcShort && r.out.size() >= 5 && r.out.size() <= 12 &&
                        std::all_of(r.out.begin(), r.out.end(), [](Zeb8u b) { return b == 'a'; }))
                << chunk << ": " << r.out.size();
        }
}

} // namespace
