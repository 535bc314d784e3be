// Inflate: streams written by zlib decoded both ways (one-stage and pairs), with any split of
// source and destination, wrappers, dictionaries, the format's edge cases and hostile streams.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "../fuzz/inflate_driver.h"
#include "deflate_stream.h"
#include "test_support.h"

#ifdef ZEBDC_HAVE_ZLIB
#include <zlib.h>
#endif

namespace {

using Bytes = std::vector<Zeb8u>;

using zebtest::kScale;

struct StateDeleter {
    void operator()(ZebLZ77DecoderState* s) const { zebsFree(s); } // as zebsLZ77Free_8u
};
using State = std::unique_ptr<ZebLZ77DecoderState, StateDeleter>;

State new_state()
{
    ZebLZ77DecoderState* s = nullptr;
    EXPECT_EQ(zebsDecodeLZ77InitAlloc_8u(zebLZ77ChecksumNone, &s), zebStsOk);
    return State(s);
}

// Deflate fields are LSB first; Huffman codes go MSB first.
struct BitWriter {
    Bytes out;
    int used = 0;
    void put(unsigned value, int n)
    {
        for (int i = 0; i < n; ++i, ++used) {
            if (used % 8 == 0)
                out.push_back(0);
            out.back() |= (Zeb8u)(((value >> i) & 1) << (used % 8));
        }
    }
    void code(unsigned c, int n)
    {
        for (int i = n - 1; i >= 0; --i)
            put((c >> i) & 1, 1);
    }
    void fixed_literal(int b) { b < 144 ? code(0x30 + b, 8) : code(0x190 + b - 144, 9); }
    void fixed_match3(int distCode) // length 3, distance code with no extra bits
    {
        code(1, 7);
        code(distCode, 5);
    }
};

using Decoded = inflate_fuzz::Result;

// The stream decoded one-stage or two-stage (tests/../fuzz/inflate_driver.h) with the given
// chunks, from the given state or a fresh one, after the dictionary if any.
Decoded decode(bool twoStage, const Bytes& s, size_t srcChunk, size_t dstChunk, const Bytes& dict = {},
               ZebLZ77DecoderState* state = nullptr)
{
    state = state ? state : inflate_fuzz::new_state(0);
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

void expect_both_ways_in_chunks(const Bytes& stream, const Bytes& want,
                                std::initializer_list<size_t> srcChunks, size_t dstChunk)
{
    for (size_t chunk : srcChunks)
        expect_both_ways(stream, want, chunk, dstChunk, {}, ("chunk " + std::to_string(chunk)).c_str(), 4);
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
    size_t piece = o.piece ? o.piece : data.size() + 1;
    for (size_t pos = 0;;) {
        size_t n = std::min(piece, data.size() - pos);
        z.next_in = (Bytef*)data.data() + pos;
        z.avail_in = (uInt)n;
        pos += n;
        bool last = pos == data.size();
        int st = deflate(&z, last ? Z_FINISH : o.flush);
        if (last) {
            EXPECT_EQ(st, Z_STREAM_END);
            break;
        }
    }
    out.resize(z.total_out);
    deflateEnd(&z);
    return out;
}

TEST(Inflate, ZlibLevelsStrategiesWindowsAndFlushes)
{
    std::vector<ZlibOptions> cases;
    auto add = [&](int level, int strategy, int windowBits, int memLevel, int flush) {
        cases.emplace_back();
        ZlibOptions& o = cases.back();
        o.level = level, o.strategy = strategy, o.windowBits = windowBits, o.memLevel = memLevel;
        o.flush = flush, o.piece = flush == Z_NO_FLUSH ? 0 : 777;
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
        size_t head = gzip ? 10 : 2, tail = gzip ? 8 : 4;
        for (size_t chunk : {(size_t)1, framed.size()}) {
            Bytes body(framed.begin() + head, framed.end()); // the trailer stays in the source
            expect_both_ways(body, data, chunk, data.size() + 1, {}, "wrapped", tail);
            const Zeb8u* t = body.data() + body.size() - tail;
            Zeb32u sum = gzip ? 0 : 1;
            if (gzip) {
                ASSERT_EQ(zebsCRC32_8u(data.data(), (int)data.size(), &sum), zebStsOk);
                uint32_t stored[2];
                memcpy(stored, t, 8);
                EXPECT_EQ(stored[0], sum);
                EXPECT_EQ(stored[1], (uint32_t)data.size());
            } else {
                ASSERT_EQ(zebsAdler32_8u(data.data(), (int)data.size(), &sum), zebStsOk);
                EXPECT_EQ((uint32_t)t[0] << 24 | t[1] << 16 | t[2] << 8 | t[3], sum);
            }
        }
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
            State a = new_state();
            Bytes head(z.begin(), z.begin() + cut);
            Decoded first = decode(false, head, 64, room, {}, a.get());
            ASSERT_EQ(first.status, zebStsSrcShort);
            State b = new_state();
            ASSERT_EQ(zebsDecodeLZ77CopyState_8u(a.get(), b.get()), zebStsOk);
            Bytes rest(z.begin() + first.end, z.end());
            Decoded fromA = decode(false, rest, 64, room, {}, a.get());
            Decoded fromB = decode(false, rest, 64, room, {}, b.get());
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
    {
        zebtest::HookSwap hooks(zebtest::failing_malloc, free);
        ZebLZ77DecoderState* s = (ZebLZ77DecoderState*)1;
        EXPECT_EQ(zebsDecodeLZ77InitAlloc_8u(zebLZ77ChecksumNone, &s), zebStsNoMemory);
        EXPECT_EQ(s, (ZebLZ77DecoderState*)1);
    }
    State s = new_state();
    ZebLZ77Pair* pairs;
    int ind, len;
    ASSERT_EQ(zebsDecodeLZ77GetPairs_8u(&pairs, &ind, &len, s.get()), zebStsOk);
    EXPECT_EQ(ind, 0);
    EXPECT_EQ(len, 8192);
    ZebLZ77Pair mine[4];
    ASSERT_EQ(zebsDecodeLZ77SetPairs_8u(mine, 3, -7, s.get()), zebStsOk);
    zebsDecodeLZ77SetStatus_8u(zebLZ77StatusHuffman, s.get());
    ASSERT_EQ(zebsDecodeLZ77Reset_8u(s.get()), zebStsOk);
    ZebLZ77Pair* after;
    zebsDecodeLZ77GetPairs_8u(&after, &ind, &len, s.get());
    EXPECT_TRUE(after == mine && ind == 0 && len == 8192); // Reset keeps a caller's buffer
    ZebLZ77Status stage;
    zebsDecodeLZ77GetStatus_8u(&stage, s.get());
    EXPECT_EQ(stage, zebLZ77StatusInit);
    EXPECT_EQ(zebsDecodeLZ77SetDictionary_8u(nullptr, 1, s.get()), zebStsNullPtr);
    EXPECT_EQ(zebsDecodeLZ77SetDictionary_8u((const Zeb8u*)mine, 0, s.get()), zebStsBadSize);
}

// A stored block split at every byte, LEN/NLEN checks, and the BTYPE 11 leniency.
TEST(Inflate, StoredBlocksAndHeaders)
{
    Bytes data = zebtest::random_bytes(300, 256, 4);
    BitWriter w;
    w.put(0, 3); // not final, stored, then a final fixed block that refers back into it
    w.put(0, 5);
    w.put(300, 16);
    w.put(300 ^ 0xFFFF, 16);
    for (Zeb8u b : data)
        w.put(b, 8);
    w.put(3, 3);
    w.fixed_match3(2); // length 3, distance 3
    w.code(0, 7);
    Bytes want = data;
    want.insert(want.end(), data.end() - 3, data.end());
    for (size_t chunk = 1; chunk <= 8; ++chunk)
        expect_both_ways(w.out, want, chunk, chunk * 5, {}, "stored");

    expect_both_ways({0x01, 0x00, 0x00, 0xFF, 0xFF}, {}, 100, 100, {}, "empty stored block");
    State s = new_state();

    // The flush-marker search skips to the byte after 00 00 FF FF.
    Bytes marked = {0x12, 0x00, 0x34, 0x00, 0x00, 0xFF, 0xFF, 0x99};
    zebsDecodeLZ77Reset_8u(s.get());
    Zeb8u* m = marked.data();
    int mLen = 6;
    ZebLZ77Pair pair;
    ZebLZ77Pair* pp = &pair;
    int pRoom = 1;
    EXPECT_EQ(zebsDecodeLZ77FixedHuff_8u(&m, &mLen, &pp, &pRoom, zebLZ77FlushSync, s.get()), zebStsSrcShort);
    mLen = 8 - (int)(m - marked.data());
    EXPECT_EQ(zebsDecodeLZ77FixedHuff_8u(&m, &mLen, &pp, &pRoom, zebLZ77FlushFull, s.get()), zebStsOk);
    EXPECT_TRUE(m == marked.data() + 7 && mLen == 1);

    Bytes btype3 = {0x07, 0x00};
    ZebLZ77BlockType type = zebLZ77BlockDynamic;
    zebsDecodeLZ77Reset_8u(s.get());
    Zeb8u* p = btype3.data();
    int n = 2;
    ASSERT_EQ(zebsDecodeLZ77GetBlockType_8u(&p, &n, &type, s.get()), zebStsOk);
    EXPECT_EQ(type, zebLZ77BlockDynamic);
    Zeb8u out[4];
    Zeb8u* d = out;
    int room = 4;
    EXPECT_EQ(zebsDecodeLZ77StoredBlock_8u(&p, &n, &d, &room, s.get()), zebStsError);
    room = 0;
    EXPECT_EQ(zebsDecodeLZ77StoredBlock_8u(&p, &n, &d, &room, s.get()), zebStsBadSize);
}

// Hand-made fixed blocks: references before the start of the stream or the dictionary, invalid
// symbols, and the 258-at-distance-1 match carried over a small destination.
TEST(Inflate, RefusesFarDistancesAndInvalidSymbols)
{
    auto fixed = [](std::function<void(BitWriter&)> body) {
        BitWriter w;
        w.put(3, 3);
        body(w);
        w.code(0, 7);
        w.put(0, 32); // room for the fast paths
        return w.out;
    };
    const struct {
        Bytes stream;
        ZebStatus want;
    } refused[] = {{fixed([](BitWriter& w) { w.fixed_match3(0); }), zebStsError},
                   {fixed([](BitWriter& w) { w.fixed_literal('x'); w.fixed_match3(1); }), zebStsError},
                   {fixed([](BitWriter& w) { w.code(0xC6, 8); }), zebStsBadSize}, // literal 286
                   {fixed([](BitWriter& w) { w.fixed_literal('x'); w.code(1, 7); w.code(30, 5); }),
                    zebStsBadSize}, // distance code 30
                   {{0x01, 0x05, 0x00, 0x05, 0x00}, zebStsBadSize}}; // LEN and NLEN disagree
    for (const auto& c : refused)
        for (size_t chunk : {(size_t)1, (size_t)1000}) {
            EXPECT_EQ(decode(false, c.stream, chunk, 100).status, c.want) << chunk;
            EXPECT_EQ(decode(true, c.stream, chunk, 100).status, c.want) << chunk;
        }

    // A decoder called without GetBlockType reads the header itself and refuses another type.
    Bytes fixedHeader = {0x03, 0x00, 0x00, 0x00}, dynamicHeader = {0x05, 0x00, 0x00, 0x00};
    auto first_call = [](const Bytes& stream, int which) {
        State s = new_state();
        Bytes buf = stream;
        Zeb8u* p = buf.data();
        int n = (int)buf.size();
        Zeb8u out[8];
        Zeb8u* d = out;
        ZebLZ77Pair pairs[8];
        ZebLZ77Pair* pd = pairs;
        int room = 8;
        switch (which) {
        case 0: return zebsDecodeLZ77FixedHuffFull_8u(&p, &n, &d, &room, zebLZ77FlushNone, s.get());
        case 1: return zebsDecodeLZ77FixedHuff_8u(&p, &n, &pd, &room, zebLZ77FlushNone, s.get());
        case 2: return zebsDecodeLZ77DynamicHuffFull_8u(&p, &n, &d, &room, zebLZ77FlushNone, s.get());
        case 3: return zebsDecodeLZ77DynamicHuff_8u(&p, &n, &pd, &room, zebLZ77FlushNone, s.get());
        default: return zebsDecodeLZ77StoredHuff_8u(&p, &n, &pd, &room, s.get());
        }
    };
    for (int which = 0; which < 5; ++which)
        EXPECT_EQ(first_call(which < 2 ? dynamicHeader : fixedHeader, which), zebStsError) << which;

    // A D-byte dictionary makes distance D the furthest allowed.
    Bytes d4 = fixed([](BitWriter& w) { w.fixed_match3(3); });
    Bytes d3 = fixed([](BitWriter& w) { w.fixed_match3(2); });
    Bytes dict = {'a', 'b', 'c'};
    EXPECT_EQ(decode(false, d4, 1000, 100, dict).status, zebStsError);
    EXPECT_EQ(decode(true, d4, 1000, 100, dict).status, zebStsError);
    Decoded ok = decode(false, d3, 1000, 100, dict);
    EXPECT_TRUE(ok.status == zebStsStreamEnd && ok.out == dict);
    EXPECT_TRUE(decode(true, d3, 1000, 100, dict).out == dict);

    // A caller's pairs of any value stay in bounds; a match cut by the room is carried over.
    ZebLZ77Pair* ps = nullptr;
    int np = 0, room = 0;
    auto to_bytes = [&](ZebLZ77DecoderState* st, Bytes& out) { // room: what is left of out
        Zeb8u* d = out.data();
        room = (int)out.size();
        ZebStatus status = zebsDecodeLZ77_8u(&ps, &np, &d, &room, zebLZ77FlushNone, st);
        EXPECT_EQ(d, out.data() + out.size() - room);
        return status;
    };
    State s = new_state();
    ZebLZ77Pair pairs[] = {{'a', 0}, {258, 1}, {0xFFFF, 0xFFFF}};
    ps = pairs, np = 3;
    Bytes out(100);
    ASSERT_EQ(to_bytes(s.get(), out), zebStsDstFull);
    EXPECT_EQ(np, 1);
    EXPECT_TRUE(std::all_of(out.begin(), out.end(), [](Zeb8u b) { return b == 'a'; }));
    ASSERT_EQ(to_bytes(s.get(), out), zebStsDstFull);
    EXPECT_EQ(np, 1); // 100 more of the pending 159
    EXPECT_EQ(to_bytes(s.get(), out), zebStsError);
    EXPECT_EQ(room, 41); // the rest of the pending match, then the far pair refused

    // With a large room (the word-copy path): an empty match, a match reaching exactly the
    // first byte written, one byte further (refused, not consumed), a length beyond the room.
    State t = new_state();
    ZebLZ77Pair more[] = {{'x', 0}, {'y', 0}, {0, 2}, {40, 2}, {5, 42}, {3, 48}};
    ps = more, np = 6;
    Bytes big(4096, 0xEE), want;
    ASSERT_EQ(to_bytes(t.get(), big), zebStsError);
    EXPECT_TRUE(np == 1 && ps == more + 5 && room == 4096 - 47);
    for (int i = 0; i < 47; ++i)
        want.push_back(i % 2 ? 'y' : 'x');
    EXPECT_TRUE(Bytes(big.begin(), big.begin() + 47) == want);
    ZebLZ77Pair huge[] = {{0xFFFF, 1}};
    ps = huge, np = 1;
    EXPECT_EQ(to_bytes(t.get(), big), zebStsDstFull);
    EXPECT_TRUE(np == 0 && room == 0 && big[4095] == 'x');
}

// Dynamic headers built by hand: a single distance code, over-subscribed codes, a stream cut
// after all-zero codes, a code-length code without codes.
TEST(Inflate, DynamicHeadersWithOddCodes)
{
    // The code-length code gives 4 bits to every symbol but 14, 15 and 16 (a complete code).
    auto header = [](BitWriter& w, int hlit, int hdist, const std::vector<int>& lens) {
        w.put(5, 3); // final, dynamic
        w.put(hlit - 257, 5);
        w.put(hdist - 1, 5);
        w.put(15, 4);
        static const int kOrder[19] = {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};
        auto has = [](int sym) { return sym != 14 && sym != 15 && sym != 16; };
        for (int i = 0; i < 19; ++i)
            w.put(has(kOrder[i]) ? 4 : 0, 3);
        int codeOf[19], rank = 0;
        for (int sym = 0; sym < 19; ++sym)
            codeOf[sym] = has(sym) ? rank++ : -1;
        for (int v : lens) { // values 0..15 as lengths; 100 + n as "18 with n" zeros
            if (v >= 100) {
                w.code(codeOf[18], 4);
                w.put(v - 100 - 11, 7);
            } else {
                w.code(codeOf[v], 4);
            }
        }
    };
    // Literals 'a' and 'b' and end of block with 2-bit codes, one distance code of 1 bit.
    std::vector<int> lens;
    for (int i = 0; i < 257; ++i)
        lens.push_back(i == 'a' || i == 'b' ? 2 : i == 256 ? 2 : 0);
    lens.push_back(2); // length 3
    lens.push_back(1); // distance 1: the single code
    BitWriter w;
    header(w, 258, 1, lens);
    w.code(0, 2);     // 'a'
    w.code(1, 2);     // 'b'
    w.code(3, 2);     // length 3
    w.code(0, 1);     // distance 1
    w.code(2, 2);     // end
    w.put(0, 32);
    Bytes want = {'a', 'b', 'b', 'b', 'b'};
    expect_both_ways_in_chunks(w.out, want, {1, 3, 1000}, 2);
    // An over-subscribed code: 'a' has the 1-bit code 0, end of block 10, 'b' to 'd' the 3-bit
    // codes 110, 111 and (wrapped) 000. The shorter code keeps its patterns: were 'd' to take
    // 000, three 'a' in a row would decode as 'd' from a whole buffer.
    BitWriter o;
    header(o, 257, 1, {100 + 97, 1, 3, 3, 3, 100 + 138, 100 + 17, 2, 0});
    for (int i = 0; i < 3; ++i)
        o.code(0, 1); // 'a'
    o.code(6, 3);     // 'b'
    o.code(2, 2);     // end of block
    o.put(0, 32);
    expect_both_ways_in_chunks(o.out, {'a', 'a', 'a', 'b'}, {1, 1000}, 1000);
    // A stream cut inside a block whose literal 'a' has the all-zero code 0: the zero bits above
    // those held are no input, so the decoders stop for more source after the 'a' that are
    // there (at most 7 more from the last byte's padding), never producing zeros for ever.
    BitWriter cut;
    header(cut, 257, 1, {100 + 97, 1, 2, 100 + 138, 100 + 19, 2, 0});
    for (int i = 0; i < 5; ++i)
        cut.code(0, 1);
    for (size_t chunk : {(size_t)1, (size_t)1000})
        for (bool twoStage : {false, true}) {
            Decoded r = decode(twoStage, cut.out, chunk, 1000);
            EXPECT_TRUE(r.status == zebStsSrcShort && r.out.size() >= 5 && r.out.size() <= 12 &&
                        std::all_of(r.out.begin(), r.out.end(), [](Zeb8u b) { return b == 'a'; }))
                << chunk << ": " << r.out.size();
    }
    // A code-length code without codes: every length symbol is the 16-bit escape and a run of
    // zeros (23 bits). With 22 bits held the decoder must take another byte, not report a short
    // source that it has not used up; every bit alignment of the header is tried.
    for (int hclen = 4; hclen < 12; ++hclen) {
        BitWriter e;
        e.put(5, 3);
        e.put(0, 10);
        e.put(hclen - 4, 4);
        for (int i = 0; i < hclen + 40; ++i) // code-length code lengths of 0, then zero bytes
            e.put(0, i < hclen ? 3 : 8);
        State s = new_state();
        Zeb8u* p = e.out.data();
        int left = (int)e.out.size();
        Bytes out(100);
        Zeb8u* d = out.data();
        int room = (int)out.size();
        ZebStatus st = zebsDecodeLZ77DynamicHuffFull_8u(&p, &left, &d, &room, zebLZ77FlushNone, s.get());
        EXPECT_TRUE(st != zebStsSrcShort || left == 0) << hclen << ": " << left << " bytes left";
    }
}

} // namespace
