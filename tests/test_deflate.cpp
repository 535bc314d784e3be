// Deflate encoder: the state, the pairs each level makes, the block writers' bits, and whole
// zlib streams, gzip members and raw deflate built from our stages and read back by zlib.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "deflate/deflate_tables.h"
#include "deflate_stream.h"
#include "test_support.h"

#ifdef ZEBDC_HAVE_ZLIB
#include <zlib.h>
#endif

inline bool operator==(const ZebLZ77Pair& a, const ZebLZ77Pair& b)
{
    return a.length == b.length && a.offset == b.offset;
}

namespace {

using zebtest::kScale;

using namespace zebdeflate;

// All pairs of the data from the given state or a new one, in calls with room for `room` pairs
// (by default all of them): each call but the last fills its room exactly.
Pairs pairs_of(const Bytes& data, int level, ZebLZ77EncoderState* state = nullptr,
               ZebLZ77Flush flush = zebLZ77FlushNone, size_t room = 0)
{
    Encoder enc(level, zebLZ77ChecksumNone);
    Pairs out;
    Zeb8u* src = const_cast<Zeb8u*>(data.data());
    Zeb32s srcLen = (Zeb32s)data.size();
    ZebStatus st;
    do {
        Pairs made(room ? room : data.size() + 1);
        ZebLZ77Pair* dst = made.data();
        Zeb32s dstLen = (Zeb32s)made.size();
        st = zebsEncodeLZ77_8u(&src, &srcLen, &dst, &dstLen, flush, state ? state : enc.state);
        EXPECT_TRUE(srcLen ? st == zebStsDstFull && dstLen == 0 : st == zebStsOk) << srcLen;
        out.insert(out.end(), made.data(), dst);
    } while (st == zebStsDstFull && !::testing::Test::HasFailure());
    return out;
}

Pairs operator+(Pairs a, const Pairs& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// The literals of `before`, one match, then the literals of `after`.
Pairs literals(const std::string& before, ZebLZ77Pair match, const std::string& after)
{
    Pairs out;
    for (unsigned char c : before)
        out.push_back({c, 0});
    out.push_back(match);
    for (unsigned char c : after)
        out.push_back({c, 0});
    return out;
}

// Rebuilds the bytes of a pair list (checks every distance against what came before).
Bytes expand(const Pairs& pairs)
{
    Bytes out;
    EXPECT_TRUE(zebdeflate::expand(out, pairs.data(), pairs.size()));
    return out;
}

#ifdef ZEBDC_HAVE_ZLIB
// Inflates a whole stream with zlib; the stream must end exactly at its end.
bool zlib_restores(const Bytes& stream, const Bytes& want, int windowBits, size_t skip = 0)
{
    z_stream z{};
    if (inflateInit2(&z, windowBits) != Z_OK)
        return false;
    Bytes out(want.size() + 64);
    z.next_in = const_cast<Bytes::value_type*>(stream.data() + skip);
    z.avail_in = (uInt)(stream.size() - skip);
    z.next_out = out.data();
    z.avail_out = (uInt)out.size();
    int rc = inflate(&z, Z_FINISH);
    out.resize(z.total_out);
    bool whole = z.avail_in == 0;
    inflateEnd(&z);
    return rc == Z_STREAM_END && whole && out == want;
}

int window_bits(Framing f) { return f == kZlib ? 15 : f == kGzip ? 31 : -15; }

void check_round_trip(const Bytes& data, const Options& o, const char* what)
{
    Stream s = compress(data, o);
    ASSERT_TRUE(s.ok) << what;
    ASSERT_TRUE(zlib_restores(s.bytes, data, window_bits(o.framing)))
        << what << " level " << o.level << " mode " << o.mode << " chunk " << o.chunk
        << " pairs " << o.pairRoom << " room " << o.byteRoom;
    // After a full flush the rest of a raw stream stands alone: nothing refers back before it.
    for (size_t i = 0; o.framing == kRaw && i < s.fullFlushEnds.size(); ++i) {
        Bytes tail(data.begin() + (long)s.fullFlushInput[i], data.end());
        ASSERT_TRUE(zlib_restores(s.bytes, tail, -15, s.fullFlushEnds[i])) << what;
    }
}
#endif

// ---------------------------------------------------------------------------------------------
// State, life cycle and argument checks
// ---------------------------------------------------------------------------------------------

TEST(Deflate, StateSizeInitAtAnyAddressAndLifecycle)
{
    Zeb32s size = 0;
    ASSERT_EQ(zebsEncodeLZ77GetSize_8u(nullptr), zebStsNullPtr);
    ASSERT_EQ(zebsEncodeLZ77GetSize_8u(&size), zebStsOk);
    ASSERT_EQ(size, 598928);
    Bytes data = zebtest::text_like(100000 / kScale, 3);
    Pairs want = pairs_of(data, 2);
    for (size_t offset : {0, 1, 3, 7}) { // the block ends exactly at the documented size
        Zeb8u* mem = (Zeb8u*)malloc((size_t)size + offset);
        auto* state = (ZebLZ77EncoderState*)(mem + offset);
        ASSERT_EQ(zebsEncodeLZ77Init_8u(zebLZ77LevelBest, zebLZ77ChecksumCRC32, state), zebStsOk);
        ZebLZ77Pair* pairs;
        Zeb32s ind = -1, len = -1;
        ASSERT_EQ(zebsEncodeLZ77GetPairs_8u(&pairs, &ind, &len, state), zebStsOk);
        EXPECT_EQ(ind, 0);
        EXPECT_EQ(len, 65280);
        EXPECT_TRUE((Zeb8u*)pairs > mem && (Zeb8u*)(pairs + len) <= mem + offset + size);
        ZebLZ77Status stage;
        zebsEncodeLZ77GetStatus_8u(&stage, state);
        EXPECT_EQ(stage, zebLZ77StatusInit);
        for (int round = 0; round < 2; ++round) { // Reset gives the same pairs again
            EXPECT_TRUE(pairs_of(data, 2, state) == want);
            zebsEncodeLZ77GetPairs_8u(&pairs, &ind, &len, state); // index counts the pairs made
            EXPECT_EQ(ind, (Zeb32s)want.size());
            zebsEncodeLZ77SetStatus_8u(zebLZ77StatusHuffman, state);
            zebsEncodeLZ77GetPairs_8u(&pairs, &ind, &len, state);
            EXPECT_EQ(ind, 0);
            EXPECT_EQ(len, (Zeb32s)want.size());
            zebsEncodeLZ77Reset_8u(state);
        }
        free(mem);
    }
    zebtest::HookSwap hooks(zebtest::failing_malloc, free);
    ZebLZ77EncoderState* state = nullptr;
    EXPECT_EQ(zebsEncodeLZ77InitAlloc_8u(zebLZ77LevelFast, zebLZ77ChecksumNone, &state),
              zebStsNoMemory);
    EXPECT_EQ(zebsEncodeLZ77InitAlloc_8u(zebLZ77LevelFast, zebLZ77ChecksumNone, nullptr),
              zebStsNullPtr);
}

TEST(Deflate, EncodeArgumentChecksAndEmptyCalls)
{
    Encoder enc(1, zebLZ77ChecksumNone);
    Zeb8u bytes[4] = {1, 2, 3, 4};
    ZebLZ77Pair pairs[4];
    Zeb8u* src = bytes;
    ZebLZ77Pair *dst = pairs, *none = nullptr;
    Zeb32s srcLen = 4, dstLen = 4;
    auto encode = [&](Zeb8u** from, Zeb32s length, ZebLZ77Pair** to, Zeb32s room) {
        srcLen = length, dstLen = room;
        return zebsEncodeLZ77_8u(from, &srcLen, to, &dstLen, zebLZ77FlushNone, enc.state);
    };
    EXPECT_EQ(encode(nullptr, 4, &dst, 4), zebStsNullPtr);
    EXPECT_EQ(encode(&src, 4, &none, 4), zebStsNullPtr);
    EXPECT_EQ(encode(&src, -1, &dst, 4), zebStsBadSize);
    EXPECT_EQ(encode(&src, 0, &dst, 0), zebStsDstFull); // no room: reported before no source
    EXPECT_EQ(encode(&src, 0, &dst, 4), zebStsOk);
    EXPECT_TRUE(src == bytes && dst == pairs && dstLen == 4);

    // Writers and flush: bad sizes, wrong stage, pairs no writer can code.
    Zeb8u out[64];
    Zeb8u* o = out;
    Zeb32s room = 64;
    zebsEncodeLZ77SetStatus_8u(zebLZ77StatusLZ77, enc.state);
    EXPECT_EQ(zebsEncodeLZ77Flush_8u(&o, &room, enc.state), zebStsError);
    Zeb32s stored = 65536;
    EXPECT_EQ(zebsEncodeLZ77StoredBlock_8u(&src, &stored, &o, &room, zebLZ77FlushNone, enc.state),
              zebStsBadSize);
    for (ZebLZ77Pair bad : {ZebLZ77Pair{256, 0}, ZebLZ77Pair{2, 1}, ZebLZ77Pair{259, 1},
                            ZebLZ77Pair{3, 32769}}) {
        for (auto writer : {zebsEncodeLZ77FixedHuff_8u, zebsEncodeLZ77DynamicHuff_8u}) {
            zebsEncodeLZ77SetStatus_8u(zebLZ77StatusHuffman, enc.state);
            ZebLZ77Pair list[2] = {{'a', 0}, bad};
            ZebLZ77Pair* p = list;
            Zeb32s n = 2, mode;
            EXPECT_EQ(zebsEncodeLZ77SelectHuffMode_8u(list, 2, &mode, enc.state), zebStsError);
            EXPECT_EQ(writer(&p, &n, &o, &room, zebLZ77FlushNone, enc.state), zebStsError);
            // The fixed writer stops at the bad pair, the dynamic one before coding any.
            EXPECT_EQ(p, list + (writer == zebsEncodeLZ77FixedHuff_8u ? 1 : 0));
        }
    }

    // The dynamic writer codes with the counts of the selection: a literal, length code, near
    // or far distance code they lack stops it at that pair.
    for (ZebLZ77Pair uncounted : {ZebLZ77Pair{'b', 0}, ZebLZ77Pair{10, 1}, ZebLZ77Pair{3, 2},
                                  ZebLZ77Pair{3, 20000}}) {
        Encoder fresh(0, zebLZ77ChecksumNone);
        zebsEncodeLZ77SetStatus_8u(zebLZ77StatusHuffman, fresh.state);
        ZebLZ77Pair list[4] = {{'a', 0}, {3, 1}, {3, 300}, uncounted};
        Zeb32s mode;
        ASSERT_EQ(zebsEncodeLZ77SelectHuffMode_8u(list, 3, &mode, fresh.state), zebStsOk);
        ZebLZ77Pair* p = list;
        Zeb32s n = 4;
        Zeb8u block[512];
        o = block, room = (Zeb32s)sizeof block;
        EXPECT_EQ(zebsEncodeLZ77DynamicHuff_8u(&p, &n, &o, &room, zebLZ77FlushNone, fresh.state),
                  zebStsError);
        EXPECT_EQ(p, list + 3);
    }
}

// ---------------------------------------------------------------------------------------------
// Exact pairs and bits
// ---------------------------------------------------------------------------------------------

TEST(Deflate, ConstantTablesHoldTheRfcCodes)
{
    EXPECT_TRUE(cTable[0].code == 12 && cTable[0].len == 8);
    EXPECT_TRUE(cTable[144].code == 19 && cTable[144].len == 9);
    EXPECT_TRUE(lTable[0].code == 64 && lTable[0].len == 7);
    EXPECT_TRUE(lTable[8].code == 72 && lTable[8].len == 8);
    EXPECT_TRUE(lTable[254].code == 7715 && lTable[254].len == 13);
    EXPECT_TRUE(lTable[255].code == 163 && lTable[255].len == 8);
    EXPECT_TRUE(oTableL[0].code == 0 && oTableL[0].len == 5);
    EXPECT_TRUE(oTableL[4].code == 4 && oTableL[4].len == 6);
    EXPECT_TRUE(oTableL[255].code == 2046 && oTableL[255].len == 11);
    EXPECT_TRUE(oTableH[0].base == 257 && oTableH[0].code == 1 && oTableH[0].extra == 7);
    EXPECT_TRUE(oTableH[1].base == 385 && oTableH[1].code == 17 && oTableH[1].extra == 7);
    EXPECT_TRUE(oTableH[2].base == 513 && oTableH[2].code == 9 && oTableH[2].extra == 8);
    EXPECT_EQ(lCodeTab[0], 0);
    EXPECT_EQ(lCodeTab[255], 28);
    EXPECT_EQ(lCodeTab[254], 27);
    EXPECT_EQ(dCodeTab[0], 0);
    EXPECT_EQ(dCodeTab[256 + (32767 >> 7)], 29);
    EXPECT_EQ(revCodeTable[1], 128);
    EXPECT_EQ(sTreeOrder[0], 16);
    EXPECT_EQ(sTreeOrder[18], 15);
    EXPECT_TRUE(randVec[0] == 18845 && randVec[1] == 15810 && randVec[2] == 11527 &&
                randVec[3] == 28763 && randVec[256] == 23403 && randVec[257] == 25964 &&
                randVec[512] == 23616 && randVec[513] == 7640);
    for (size_t i = 0; i < randVec.size(); ++i)
        ASSERT_GE(randVec[i], 0); // 15-bit
}

TEST(Deflate, EachLevelMakesTheDocumentedPairs)
{
    Bytes abc = {'a', 'b', 'c', 'a', 'b', 'c', 'a', 'b', 'c'};
    Pairs greedy = literals("abc", {4, 3}, "bc"); // maxLen leaves the last two bytes to the tail
    EXPECT_TRUE(pairs_of(abc, 0) == greedy);
    EXPECT_TRUE(pairs_of(abc, 1) == greedy);
    EXPECT_TRUE(pairs_of(abc, 2) == literals("abc", {3, 3}, "abc")); // three bytes kept back
    for (int level : {0, 1, 2}) // too short for any match
        EXPECT_TRUE(pairs_of({'a', 'a', 'a'}, level) == literals("aa", {'a', 0}, ""));

    // Level 2 drops the 3-byte match at "abc" for the 5-byte one at "bcdef" one step later.
    std::string s = "abc#bcdef%abcdef!!!!!!";
    Bytes text(s.begin(), s.end());
    EXPECT_TRUE(pairs_of(text, 2) == literals("abc#bcdef%a", {5, 7}, "!!!!!!"));
    Pairs first = literals("abc#bcdef%", {3, 10}, "") + literals("", {3, 7}, "!") +
                  literals("", {3, 1}, "!!");
    EXPECT_TRUE(pairs_of(text, 0) == first);
    EXPECT_TRUE(pairs_of(text, 1) == first);

    // 3-byte matches farther than 4096 back: level 1 takes them, level 2 never does.
    Bytes noisy = zebtest::random_bytes(60000 / kScale, 24, 9);
    int farThree[3] = {0, 0, 0};
    for (int level : {1, 2}) {
        Pairs pairs = pairs_of(noisy, level);
        ASSERT_TRUE(expand(pairs) == noisy);
        for (ZebLZ77Pair p : pairs)
            farThree[level] += p.length == 3 && p.offset > 4096;
    }
    EXPECT_GT(farThree[1], 0);
    EXPECT_EQ(farThree[2], 0);
}

// A pairs destination of m entries: exactly m pairs per call, the same pairs as one call.
TEST(Deflate, SmallPairDestinationsGiveTheSamePairs)
{
    Bytes data = zebtest::text_like(150000 / kScale, 4);
    for (size_t i = 0; i < data.size(); i += 7919) // some far repeats and literals
        data[i] = (Zeb8u)i;
    for (int level : {0, 1, 2}) {
        Pairs want = pairs_of(data, level);
        ASSERT_TRUE(expand(want) == data);
        for (size_t m : {1, 7, 1000}) {
            if (m == 1 && kScale > 1 && level == 2)
                continue;
            ASSERT_TRUE(pairs_of(data, level, nullptr, zebLZ77FlushNone, m) == want)
                << "level " << level << " room " << m;
        }
    }
}

// After a full flush no match reaches before the flushed call's end; the flushed call itself
// still matches into the history before it.
TEST(Deflate, NoMatchReachesBackAcrossAFullFlush)
{
    Bytes part = zebtest::text_like(5000, 6);
    for (int level : {0, 1, 2}) {
        Encoder enc(level, zebLZ77ChecksumNone);
        pairs_of(part, level, enc.state);
        Pairs flushed = pairs_of(part, level, enc.state, zebLZ77FlushFull);
        EXPECT_TRUE(expand(pairs_of(part, level, enc.state)) == part); // every distance inside
        size_t at = 0;
        bool intoHistory = false;
        for (ZebLZ77Pair p : flushed) {
            intoHistory |= p.offset > at;
            at += p.offset ? p.length : 1;
        }
        EXPECT_TRUE(intoHistory) << "level " << level;
    }
}

TEST(Deflate, WritersGiveTheDocumentedBits)
{
    // A final fixed block of no pairs, written a byte at a time and ending the stream: 011
    // (final, fixed), then 0000000 (end of block).
    Encoder enc(1, zebLZ77ChecksumAdler32);
    Options byteByByte;
    byteByByte.byteRoom = 1;
    Stream out;
    write_block(enc, out, byteByByte, kFixed, {}, nullptr, 0, zebLZ77FlushFinal, true);
    EXPECT_TRUE(out.ok && out.bytes == (Bytes{0x03, 0x00}));
    // The zlib trailer of no input is Adler-32 1, most significant byte first; each byte is
    // followed by a stray 0 while room remains.
    zebsEncodeLZ77SetStatus_8u(zebLZ77StatusFinal, enc.state);
    Zeb8u trailer[16];
    memset(trailer, 0xEE, sizeof trailer);
    Zeb8u* t = trailer;
    Zeb32s room = 16;
    EXPECT_EQ(zebsEncodeLZ77Flush_8u(&t, &room, enc.state), zebStsOk);
    EXPECT_EQ(room, 12);
    EXPECT_EQ(0, memcmp(trailer, "\x00\x00\x00\x01\x00\xEE", 6));

    // gzip order: CRC-32 then ISIZE, least significant byte first; a full flush restarts ISIZE.
    // The call after a full flush is self-contained too, so only the third call counts.
    Encoder gz(0, zebLZ77ChecksumCRC32);
    Bytes nine = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    Zeb32u crc = 0;
    for (ZebLZ77Flush flush : {zebLZ77FlushFull, zebLZ77FlushNone, zebLZ77FlushNone}) {
        pairs_of(nine, 0, gz.state, flush);
        zebsCRC32_8u(nine.data(), 9, &crc);
    }
    zebsEncodeLZ77SetStatus_8u(zebLZ77StatusFinal, gz.state);
    Stream gzTrailer;
    EXPECT_EQ(drain(gzTrailer, 3, [&](Zeb8u** d, Zeb32s* dl) {
                  return zebsEncodeLZ77Flush_8u(d, dl, gz.state);
              }),
              zebStsOk);
    Bytes want = {(Zeb8u)crc, (Zeb8u)(crc >> 8), (Zeb8u)(crc >> 16), (Zeb8u)(crc >> 24), 9, 0, 0, 0};
    EXPECT_TRUE(gzTrailer.ok && gzTrailer.bytes == want);
}

// ---------------------------------------------------------------------------------------------
// Interop: zlib reads what the stages write
// ---------------------------------------------------------------------------------------------

#ifdef ZEBDC_HAVE_ZLIB

// Every level with each of the given block kinds, the framing (of the first `framings` of raw,
// zlib and gzip) and the pairs buffer rotating so that every level meets every framing.
void each_level(const Bytes& data, Options o, std::initializer_list<Mode> modes, const char* what,
                int framings = 3)
{
    int turn = 0;
    for (int level : {0, 1, 2})
        for (Mode mode : modes) {
            o.level = level, o.mode = mode, o.framing = (Framing)(turn % framings);
            o.ownPairs = turn++ % 2 == 0;
            check_round_trip(data, o, what);
        }
}

TEST(Deflate, ZlibRestoresStreamsOfEveryLevelBlockKindAndFraming)
{
    Options o;
    o.chunk = 20000; // block kinds rotate from chunk to chunk
    for (const Bytes& data : {zebtest::text_like(300000 / kScale, 1), zebtest::runs(200000 / kScale, 3),
                              zebtest::random_bytes(100000 / kScale, 256, 2),
                              zebtest::random_bytes(100000 / kScale, 4, 4)})
        each_level(data, o, {kAuto, kFixed, kDynamic, kStored, kRotate}, "kinds");
}

TEST(Deflate, ZlibRestoresStreamsWrittenInSmallPieces)
{
    Bytes data = zebtest::text_like(60000 / kScale, 11);
    data.insert(data.end(), 3000, 'x');
    Bytes noise = zebtest::random_bytes(5000, 256, 12);
    data.insert(data.end(), noise.begin(), noise.end());
    struct Case {
        size_t chunk;
        int pairRoom, byteRoom;
    } cases[] = {{1, 65280, 1 << 16}, {7, 3, 5}, {4096, 1, 1}, {1 << 20, 100, 1}, {65536, 65280, 2}};
    for (const Case& c : cases) {
        Options o;
        o.chunk = c.chunk, o.pairRoom = c.pairRoom, o.byteRoom = c.byteRoom;
        each_level(c.chunk == 1 ? Bytes(data.begin(), data.begin() + 3000) : data, o,
                   {kAuto, kRotate}, "pieces");
    }
}

TEST(Deflate, ZlibRestoresStreamsWithSyncAndFullFlushes)
{
    Bytes data = zebtest::text_like(200000 / kScale, 13);
    for (ZebLZ77Flush flush : {zebLZ77FlushSync, zebLZ77FlushFull})
        for (size_t chunk : {size_t(777), size_t(40000)}) {
            Options o;
            o.chunk = chunk, o.flushEvery = 2, o.midFlush = flush;
            o.byteRoom = chunk == 777 ? 1 : 4096; // the marker counted down through 1-byte rooms
            each_level(data, o, {kRotate, kAuto}, "flushes", 2); // gzip's ISIZE restarts at full flushes
        }
}

TEST(Deflate, ZlibRestoresEdgeInputs)
{
    Bytes noMatch; // 125,500 bytes with no repeated triple close by, more than 65535 literals
    for (int twice = 0; twice < 2; ++twice)
        for (int stride = 1; stride <= 250; ++stride)
            for (int multiple = 0; multiple <= 250; ++multiple)
                noMatch.push_back((Zeb8u)((stride * multiple) % 251));
    Options o;
    o.chunk = 1 << 17;
    for (const Bytes& data : {Bytes(), Bytes{42}, Bytes{42, 42}, Bytes((1 << 20) / kScale, 0),
                              Bytes(70000, 'q'), zebtest::random_bytes(65535, 256, 5),
                              zebtest::random_bytes(65537, 256, 6), noMatch})
        each_level(data, o, {kAuto, kFixed, kDynamic, kStored}, "edge");
}

TEST(Deflate, ZlibRestoresCorpusFiles)
{
    for (const std::string& path : zebtest::corpus_files()) {
        Bytes data = zebtest::read_file(path);
        data.resize(std::min(data.size(), kScale > 1 ? 200000 : data.size()));
        each_level(data, Options(), {kAuto}, path.c_str());
    }
}

#endif // ZEBDC_HAVE_ZLIB

} // namespace
