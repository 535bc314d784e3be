// Deflate encoder: the state, the pairs each level makes, the block writers' bits, and whole
// zlib streams, gzip members and raw deflate built from our stages and read back by zlib.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "deflate/deflate_tables.h"
#include "test_support.h"

#ifdef ZEBDC_HAVE_ZLIB
#include <zlib.h>
#endif

inline bool operator==(const ZebLZ77Pair& a, const ZebLZ77Pair& b)
{
    return a.length == b.length && a.offset == b.offset;
}

namespace {

#if defined(__i386__) || defined(__SANITIZE_ADDRESS__)
constexpr size_t kScale = 4; // qemu and the sanitizers run the same cases on smaller data
#else
constexpr size_t kScale = 1;
#endif

using Pairs = std::vector<ZebLZ77Pair>;
using Bytes = std::vector<Zeb8u>;

struct Encoder {
    ZebLZ77EncoderState* state = nullptr;
    Encoder(int level, ZebLZ77Checksum kind)
    {
        EXPECT_EQ(zebsEncodeLZ77InitAlloc_8u((ZebLZ77Level)level, kind, &state), zebStsOk);
    }
    ~Encoder() { zebsLZ77Free_8u(state); }
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;
};

Bytes text_like(size_t len, uint32_t seed)
{
    static const char* const kWords[] = {"the ", "compression ", "of ", "data ", "and ",
                                         "window ", "match ", "a ", "literal ", "deflate\n"};
    std::mt19937 rng(seed);
    Bytes out;
    while (out.size() < len)
        for (const char* c = kWords[rng() % 10]; *c && out.size() < len; ++c)
            out.push_back((Zeb8u)*c);
    return out;
}

Bytes runs(size_t len, uint32_t seed)
{
    std::mt19937 rng(seed);
    Bytes out;
    while (out.size() < len)
        out.insert(out.end(), std::min<size_t>(1 + rng() % 300, len - out.size()),
                   (Zeb8u)(rng() % 4));
    return out;
}

// All pairs of one call with room for all of them.
Pairs pairs_of(const Bytes& data, int level, ZebLZ77Flush flush = zebLZ77FlushNone)
{
    Encoder enc(level, zebLZ77ChecksumNone);
    Pairs out(data.size() + 1);
    Zeb8u* src = const_cast<Zeb8u*>(data.data());
    Zeb32s srcLen = (Zeb32s)data.size(), dstLen = (Zeb32s)out.size();
    ZebLZ77Pair* dst = out.data();
    EXPECT_EQ(zebsEncodeLZ77_8u(&src, &srcLen, &dst, &dstLen, flush, enc.state), zebStsOk);
    out.resize(dst - out.data());
    return out;
}

Pairs literals(const std::string& s)
{
    Pairs out;
    for (unsigned char c : s)
        out.push_back({c, 0});
    return out;
}

// Rebuilds the bytes of a pair list (checks every distance against what came before).
Bytes expand(const Pairs& pairs)
{
    Bytes out;
    for (const ZebLZ77Pair& p : pairs) {
        if (p.offset == 0) {
            out.push_back((Zeb8u)p.length);
            continue;
        }
        EXPECT_TRUE(p.length >= 3 && p.length <= 258 && p.offset <= out.size());
        for (int i = 0; i < p.length && p.offset <= out.size(); ++i)
            out.push_back(out[out.size() - p.offset]);
    }
    return out;
}

// ---------------------------------------------------------------------------------------------
// A whole compressor assembled from the stages, as a host would write it.
// ---------------------------------------------------------------------------------------------

enum Framing { kRaw, kZlib, kGzip };
enum Mode { kAuto = -1, kFixed = 0, kDynamic = 1, kStored = 2, kRotate = 3 };

struct Options {
    int level = 1;
    Framing framing = kZlib;
    Mode mode = kAuto;
    size_t chunk = 1 << 16;
    int pairRoom = 65280; // pairs per LZ77 call
    int byteRoom = 1 << 16; // destination bytes per writer call
    bool ownPairs = true;   // the state's pairs buffer, or one of ours
    int flushEvery = 0;     // chunks between mid-stream flushes
    ZebLZ77Flush midFlush = zebLZ77FlushSync;
};

struct Stream {
    Bytes bytes;
    std::vector<size_t> fullFlushEnds; // stream offsets just after each full-flush marker,
    std::vector<size_t> fullFlushInput; // with the input offsets they correspond to
};

ZebLZ77Checksum kind_of(Framing f)
{
    return f == kZlib ? zebLZ77ChecksumAdler32 : f == kGzip ? zebLZ77ChecksumCRC32
                                                            : zebLZ77ChecksumNone;
}

// Calls a writer with o.byteRoom bytes at a time until it stops asking for room.
template <class Call>
ZebStatus drain(Bytes& out, int byteRoom, Call&& call)
{
    ZebStatus st;
    do {
        Bytes room((size_t)byteRoom);
        Zeb8u* dst = room.data();
        Zeb32s dstLen = byteRoom;
        st = call(&dst, &dstLen);
        EXPECT_EQ(dst - room.data(), byteRoom - dstLen);
        out.insert(out.end(), room.data(), dst);
    } while (st == zebStsDstFull);
    return st;
}

void write_block(Encoder& enc, Stream& s, const Options& o, Pairs::const_iterator pairsBegin,
                 Zeb32s n, const Zeb8u* raw, Zeb32s rawLen, ZebLZ77Flush flush, int block,
                 bool expectEnd)
{
    ASSERT_EQ(zebsEncodeLZ77SetStatus_8u(zebLZ77StatusHuffman, enc.state), zebStsOk);
    int mode = o.mode == kRotate ? block % 3 : (int)o.mode;
    if (mode == kAuto && n > 0) {
        Zeb32s chosen = -1;
        ASSERT_EQ(zebsEncodeLZ77SelectHuffMode_8u(&*pairsBegin, n, &chosen, enc.state), zebStsOk);
        ASSERT_TRUE(chosen == 0 || chosen == 1);
        mode = chosen;
    }
    ZebStatus st = zebStsOk;
    if (mode == kStored) { // LEN is at most 65535: longer sources go in several blocks
        if (!expectEnd && flush == zebLZ77FlushFinal) // BFINAL follows the flush alone here
            flush = zebLZ77FlushNone;
        Zeb32s done = 0;
        do {
            Zeb32s piece = std::min<Zeb32s>(rawLen - done, 65535);
            bool last = done + piece == rawLen;
            static Zeb8u none;
            Zeb8u* src = raw ? const_cast<Zeb8u*>(raw + done) : &none;
            Zeb32s left = piece;
            st = drain(s.bytes, o.byteRoom, [&](Zeb8u** d, Zeb32s* dl) {
                return zebsEncodeLZ77StoredBlock_8u(&src, &left, d, dl,
                                                    last ? flush : zebLZ77FlushNone, enc.state);
            });
            ASSERT_EQ(left, 0);
            done += piece;
        } while (done < rawLen);
    } else {
        Pairs copy(pairsBegin, pairsBegin + n); // the writers take pairs through a pointer
        ZebLZ77Pair* src = copy.data();
        Zeb32s left = n;
        st = drain(s.bytes, o.byteRoom, [&](Zeb8u** d, Zeb32s* dl) {
            return mode == kFixed
                       ? zebsEncodeLZ77FixedHuff_8u(&src, &left, d, dl, flush, enc.state)
                       : zebsEncodeLZ77DynamicHuff_8u(&src, &left, d, dl, flush, enc.state);
        });
        ASSERT_EQ(left, 0);
    }
    ASSERT_EQ(st, expectEnd ? zebStsStreamEnd : zebStsOk);
    if (mode != kStored && (flush == zebLZ77FlushSync || flush == zebLZ77FlushFull)) {
        ASSERT_GE(s.bytes.size(), 4u);
        ASSERT_EQ(0, memcmp(&s.bytes[s.bytes.size() - 4], "\x00\x00\xFF\xFF", 4));
    }
}

Stream compress(const Bytes& data, const Options& o)
{
    Stream s;
    if (o.framing == kZlib)
        s.bytes = {0x78, 0x9C};
    if (o.framing == kGzip)
        s.bytes = {0x1F, 0x8B, 8, 0, 0, 0, 0, 0, 0, 0xFF};
    Encoder enc(o.level, kind_of(o.framing));
    Pairs own((size_t)o.pairRoom);
    size_t chunks = data.empty() ? 1 : (data.size() + o.chunk - 1) / o.chunk;
    int block = 0;
    for (size_t c = 0; c < chunks; ++c) {
        size_t begin = c * o.chunk, len = std::min(o.chunk, data.size() - begin);
        bool lastChunk = c + 1 == chunks;
        ZebLZ77Flush chunkFlush = lastChunk ? zebLZ77FlushFinal
                                  : o.flushEvery && (c + 1) % o.flushEvery == 0 ? o.midFlush
                                                                               : zebLZ77FlushNone;
        Zeb8u* src = const_cast<Zeb8u*>(data.data() + begin);
        Zeb32s srcLen = (Zeb32s)len;
        do {
            zebsEncodeLZ77SetStatus_8u(zebLZ77StatusLZ77, enc.state);
            ZebLZ77Pair* buf = own.data();
            Zeb32s ind = 0, bufLen = 0, room = o.pairRoom;
            if (o.ownPairs) {
                zebsEncodeLZ77GetPairs_8u(&buf, &ind, &bufLen, enc.state);
                room = std::min(room, bufLen);
            }
            ZebLZ77Pair* dst = buf;
            const Zeb8u* before = src;
            ZebStatus st = zebsEncodeLZ77_8u(&src, &srcLen, &dst, &room, chunkFlush, enc.state);
            EXPECT_EQ(st, srcLen == 0 ? zebStsOk : zebStsDstFull);
            Zeb32s made = (Zeb32s)(dst - buf);
            // The writers ask for a final block on every call of the last chunk: only the one
            // after which the LZ77 stage holds no input may carry BFINAL.
            ZebLZ77Flush flush = lastChunk ? zebLZ77FlushFinal
                                 : srcLen == 0 ? chunkFlush
                                               : zebLZ77FlushNone;
            Pairs made_pairs(buf, buf + made);
            write_block(enc, s, o, made_pairs.begin(), made, before, (Zeb32s)(src - before),
                        flush, block++, lastChunk && srcLen == 0);
            if (o.ownPairs) { // the pairs made become the block: pairs length = index
                Zeb32s len2 = -1;
                zebsEncodeLZ77GetPairs_8u(&buf, &ind, &len2, enc.state);
                EXPECT_EQ(len2, made);
            }
        } while (srcLen > 0);
        if (chunkFlush == zebLZ77FlushFull) {
            s.fullFlushEnds.push_back(s.bytes.size());
            s.fullFlushInput.push_back(begin + len);
        }
    }
    zebsEncodeLZ77SetStatus_8u(zebLZ77StatusFinal, enc.state);
    if (o.framing != kRaw) {
        ZebStatus st = drain(s.bytes, o.byteRoom, [&](Zeb8u** d, Zeb32s* dl) {
            return zebsEncodeLZ77Flush_8u(d, dl, enc.state);
        });
        EXPECT_EQ(st, zebStsOk);
    }
    return s;
}

#ifdef ZEBDC_HAVE_ZLIB
// Inflates a whole stream with zlib; the stream must end exactly at its end.
bool zlib_restores(const Bytes& stream, const Bytes& want, int windowBits, size_t skip = 0)
{
    z_stream z;
    memset(&z, 0, sizeof z);
    if (inflateInit2(&z, windowBits) != Z_OK)
        return false;
    Bytes out(want.size() + 64);
    z.next_in = const_cast<Bytes::value_type*>(stream.data() + skip);
    z.avail_in = (uInt)(stream.size() - skip);
    z.next_out = out.data();
    z.avail_out = (uInt)out.size();
    int rc = inflate(&z, Z_FINISH);
    size_t got = out.size() - z.avail_out;
    bool whole = z.avail_in == 0;
    inflateEnd(&z);
    EXPECT_EQ(rc, Z_STREAM_END) << "windowBits " << windowBits;
    EXPECT_TRUE(whole) << "bytes after the stream";
    return rc == Z_STREAM_END && whole && got == want.size() &&
           std::equal(want.begin(), want.end(), out.begin());
}

int window_bits(Framing f) { return f == kZlib ? 15 : f == kGzip ? 31 : -15; }

void check_round_trip(const Bytes& data, const Options& o, const char* what)
{
    Stream s = compress(data, o);
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
    Bytes data = text_like(100000 / kScale, 3);
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
            Pairs got(want.size());
            Zeb8u* src = data.data();
            Zeb32s srcLen = (Zeb32s)data.size(), dstLen = (Zeb32s)got.size();
            ZebLZ77Pair* dst = got.data();
            ASSERT_EQ(zebsEncodeLZ77_8u(&src, &srcLen, &dst, &dstLen, zebLZ77FlushNone, state),
                      zebStsOk);
            EXPECT_TRUE(got == want);
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
    ZebLZ77Pair* dst = pairs;
    Zeb32s srcLen = 4, dstLen = 4;
    EXPECT_EQ(zebsEncodeLZ77_8u(nullptr, &srcLen, &dst, &dstLen, zebLZ77FlushNone, enc.state),
              zebStsNullPtr);
    ZebLZ77Pair* none = nullptr;
    EXPECT_EQ(zebsEncodeLZ77_8u(&src, &srcLen, &none, &dstLen, zebLZ77FlushNone, enc.state),
              zebStsNullPtr);
    srcLen = -1;
    EXPECT_EQ(zebsEncodeLZ77_8u(&src, &srcLen, &dst, &dstLen, zebLZ77FlushNone, enc.state),
              zebStsBadSize);
    srcLen = 0, dstLen = 0; // no room is reported before an empty source
    EXPECT_EQ(zebsEncodeLZ77_8u(&src, &srcLen, &dst, &dstLen, zebLZ77FlushNone, enc.state),
              zebStsDstFull);
    dstLen = 4;
    EXPECT_EQ(zebsEncodeLZ77_8u(&src, &srcLen, &dst, &dstLen, zebLZ77FlushNone, enc.state),
              zebStsOk);
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
        for (bool dynamic : {false, true}) {
            zebsEncodeLZ77SetStatus_8u(zebLZ77StatusHuffman, enc.state);
            ZebLZ77Pair list[2] = {{'a', 0}, bad};
            ZebLZ77Pair* p = list;
            Zeb32s n = 2;
            Zeb32s mode;
            EXPECT_EQ(zebsEncodeLZ77SelectHuffMode_8u(list, 2, &mode, enc.state), zebStsError);
            ZebStatus st = dynamic ? zebsEncodeLZ77DynamicHuff_8u(&p, &n, &o, &room,
                                                                 zebLZ77FlushNone, enc.state)
                                   : zebsEncodeLZ77FixedHuff_8u(&p, &n, &o, &room,
                                                                zebLZ77FlushNone, enc.state);
            EXPECT_EQ(st, zebStsError);
            EXPECT_EQ(p, list + (dynamic ? 0 : 1)); // the fixed writer stops at the bad pair
        }
    }

    // The dynamic writer codes with the counts of the selection: a literal, length code, near
    // or far distance code they lack stops it at that pair.
    const ZebLZ77Pair counted[3] = {{'a', 0}, {3, 1}, {3, 300}};
    for (ZebLZ77Pair uncounted : {ZebLZ77Pair{'b', 0}, ZebLZ77Pair{10, 1}, ZebLZ77Pair{3, 2},
                                  ZebLZ77Pair{3, 20000}}) {
        Encoder fresh(0, zebLZ77ChecksumNone);
        zebsEncodeLZ77SetStatus_8u(zebLZ77StatusHuffman, fresh.state);
        Zeb32s mode;
        ASSERT_EQ(zebsEncodeLZ77SelectHuffMode_8u(counted, 3, &mode, fresh.state), zebStsOk);
        ZebLZ77Pair list[4] = {counted[0], counted[1], counted[2], uncounted};
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
    Pairs greedy = literals("abc");
    greedy.push_back({4, 3}); // maxLen leaves the last two bytes to the tail
    for (ZebLZ77Pair p : literals("bc"))
        greedy.push_back(p);
    EXPECT_TRUE(pairs_of(abc, 0) == greedy);
    EXPECT_TRUE(pairs_of(abc, 1) == greedy);
    Pairs lazy = literals("abc");
    lazy.push_back({3, 3}); // level 2 keeps three bytes back from the end
    for (ZebLZ77Pair p : literals("abc"))
        lazy.push_back(p);
    EXPECT_TRUE(pairs_of(abc, 2) == lazy);
    for (int level : {0, 1, 2}) // too short for any match
        EXPECT_TRUE(pairs_of({'a', 'a', 'a'}, level) == literals("aaa"));

    // Level 2 drops the 3-byte match at "abc" for the 5-byte one at "bcdef" one step later.
    std::string s = "abc#bcdef%abcdef!!!!!!";
    Bytes text(s.begin(), s.end());
    Pairs best = literals("abc#bcdef%a");
    best.push_back({5, 7});
    for (ZebLZ77Pair p : literals("!!!!!!"))
        best.push_back(p);
    EXPECT_TRUE(pairs_of(text, 2) == best);
    Pairs first = literals("abc#bcdef%");
    for (ZebLZ77Pair p : {ZebLZ77Pair{3, 10}, ZebLZ77Pair{3, 7}, ZebLZ77Pair{'!', 0},
                          ZebLZ77Pair{3, 1}, ZebLZ77Pair{'!', 0}, ZebLZ77Pair{'!', 0}})
        first.push_back(p);
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
    Bytes data = text_like(150000 / kScale, 4);
    for (size_t i = 0; i < data.size(); i += 7919) // some far repeats and literals
        data[i] = (Zeb8u)i;
    for (int level : {0, 1, 2}) {
        Pairs want = pairs_of(data, level);
        ASSERT_TRUE(expand(want) == data);
        for (Zeb32s m : {1, 7, 1000}) {
            if (m == 1 && kScale > 1 && level == 2)
                continue;
            Encoder enc(level, zebLZ77ChecksumNone);
            Pairs got;
            Zeb8u* src = data.data();
            Zeb32s srcLen = (Zeb32s)data.size();
            ZebStatus st;
            do {
                Pairs room((size_t)m);
                ZebLZ77Pair* dst = room.data();
                Zeb32s dstLen = m;
                st = zebsEncodeLZ77_8u(&src, &srcLen, &dst, &dstLen, zebLZ77FlushNone, enc.state);
                ASSERT_EQ(st, srcLen ? zebStsDstFull : zebStsOk);
                ASSERT_TRUE(st == zebStsOk || dstLen == 0);
                got.insert(got.end(), room.data(), dst);
            } while (st == zebStsDstFull);
            ASSERT_TRUE(got == want) << "level " << level << " room " << m;
        }
    }
}

// After a full flush no match reaches before the flushed call's end.
TEST(Deflate, NoMatchReachesBackAcrossAFullFlush)
{
    Bytes part = text_like(5000, 6);
    for (int level : {0, 1, 2}) {
        Encoder enc(level, zebLZ77ChecksumNone);
        Pairs out(20000);
        ZebLZ77Pair* dst = out.data();
        Zeb32s dstLen = (Zeb32s)out.size();
        size_t starts[3];
        for (int call = 0; call < 3; ++call) { // streaming, full flush, then streaming again
            starts[call] = (size_t)(dst - out.data());
            Zeb8u* src = part.data();
            Zeb32s srcLen = (Zeb32s)part.size();
            ZebLZ77Flush flush = call == 1 ? zebLZ77FlushFull : zebLZ77FlushNone;
            ASSERT_EQ(zebsEncodeLZ77_8u(&src, &srcLen, &dst, &dstLen, flush, enc.state), zebStsOk);
        }
        Pairs first(out.begin(), out.begin() + (long)starts[2]);
        Pairs after(out.begin() + (long)starts[2], out.begin() + (dst - out.data()));
        Bytes twice = part;
        twice.insert(twice.end(), part.begin(), part.end());
        EXPECT_TRUE(expand(first) == twice);
        EXPECT_TRUE(expand(after) == part); // expand checks every distance stays inside
        // The flushed call itself still matches into the history before it.
        size_t at = 0;
        bool intoHistory = false;
        for (size_t i = starts[1]; i < starts[2]; ++i) {
            intoHistory |= out[i].offset > at;
            at += out[i].offset ? out[i].length : 1;
        }
        EXPECT_TRUE(intoHistory) << "level " << level;
    }
}

TEST(Deflate, WritersGiveTheDocumentedBits)
{
    // A final fixed block of no pairs: 011 (final, fixed), then 0000000 (end of block).
    Encoder enc(1, zebLZ77ChecksumAdler32);
    zebsEncodeLZ77SetStatus_8u(zebLZ77StatusHuffman, enc.state);
    Bytes out;
    ZebLZ77Pair* none = nullptr;
    Zeb32s zero = 0;
    EXPECT_EQ(drain(out, 1, [&](Zeb8u** d, Zeb32s* dl) {
                  return zebsEncodeLZ77FixedHuff_8u(&none, &zero, d, dl, zebLZ77FlushFinal,
                                                    enc.state);
              }),
              zebStsStreamEnd);
    EXPECT_TRUE(out == (Bytes{0x03, 0x00}));
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
    for (ZebLZ77Flush flush : {zebLZ77FlushFull, zebLZ77FlushNone, zebLZ77FlushNone}) {
        Pairs pairs(16);
        Zeb8u* src = nine.data();
        Zeb32s srcLen = 9, dstLen = 16;
        ZebLZ77Pair* dst = pairs.data();
        ASSERT_EQ(zebsEncodeLZ77_8u(&src, &srcLen, &dst, &dstLen, flush, gz.state), zebStsOk);
    }
    zebsEncodeLZ77SetStatus_8u(zebLZ77StatusFinal, gz.state);
    Bytes gzTrailer;
    EXPECT_EQ(drain(gzTrailer, 3, [&](Zeb8u** d, Zeb32s* dl) {
                  return zebsEncodeLZ77Flush_8u(d, dl, gz.state);
              }),
              zebStsOk);
    Bytes all;
    for (int i = 0; i < 3; ++i)
        all.insert(all.end(), nine.begin(), nine.end());
    Zeb32u crc = 0;
    zebsCRC32_8u(all.data(), 27, &crc);
    Bytes want = {(Zeb8u)crc, (Zeb8u)(crc >> 8), (Zeb8u)(crc >> 16), (Zeb8u)(crc >> 24), 9, 0, 0, 0};
    EXPECT_TRUE(gzTrailer == want);

    // A sync flush ends on a byte boundary with 00 00 FF FF, through 1-byte destinations too;
    // a block asked to be final while the LZ77 stage holds input is not final.
    for (int room1 : {1, 64}) {
        Encoder sync(1, zebLZ77ChecksumNone);
        Bytes data = text_like(3000, 8);
        Pairs pairs(10);
        Zeb8u* src = data.data();
        Zeb32s srcLen = (Zeb32s)data.size(), dstLen = 10;
        ZebLZ77Pair* dst = pairs.data();
        ASSERT_EQ(zebsEncodeLZ77_8u(&src, &srcLen, &dst, &dstLen, zebLZ77FlushNone, sync.state),
                  zebStsDstFull);
        zebsEncodeLZ77SetStatus_8u(zebLZ77StatusHuffman, sync.state);
        Bytes block;
        ZebLZ77Pair* p = pairs.data();
        Zeb32s n = 10;
        EXPECT_EQ(drain(block, room1, [&](Zeb8u** d, Zeb32s* dl) {
                      return zebsEncodeLZ77FixedHuff_8u(&p, &n, d, dl, zebLZ77FlushFinal,
                                                        sync.state);
                  }),
                  zebStsOk);
        EXPECT_EQ(block[0] & 1, 0); // BFINAL clear
        zebsEncodeLZ77SetStatus_8u(zebLZ77StatusHuffman, sync.state);
        p = pairs.data(), n = 10;
        EXPECT_EQ(drain(block, room1, [&](Zeb8u** d, Zeb32s* dl) {
                      return zebsEncodeLZ77DynamicHuff_8u(&p, &n, d, dl, zebLZ77FlushSync,
                                                          sync.state);
                  }),
                  zebStsOk);
        ASSERT_GE(block.size(), 4u);
        EXPECT_EQ(0, memcmp(&block[block.size() - 4], "\x00\x00\xFF\xFF", 4));
    }
}

// ---------------------------------------------------------------------------------------------
// Interop: zlib reads what the stages write
// ---------------------------------------------------------------------------------------------

#ifdef ZEBDC_HAVE_ZLIB

TEST(Deflate, ZlibRestoresStreamsAtEveryLevelModeAndFraming)
{
    struct Data {
        const char* name;
        Bytes bytes;
    } kinds[] = {{"text", text_like(300000 / kScale, 1)},
                 {"random", zebtest::random_bytes(100000 / kScale, 256, 2)},
                 {"runs", runs(200000 / kScale, 3)},
                 {"alphabet4", zebtest::random_bytes(100000 / kScale, 4, 4)}};
    for (const Data& d : kinds)
        for (int level : {0, 1, 2})
            for (Mode mode : {kAuto, kFixed, kDynamic, kStored, kRotate}) {
                for (Framing f : {kRaw, kZlib, kGzip}) {
                    if (f != (Framing)((level + mode + 1) % 3) && mode != kAuto)
                        continue; // every framing meets every level, all of them in auto mode
                    Options o;
                    o.level = level, o.framing = f, o.mode = mode;
                    o.chunk = mode == kRotate ? 20000 : 1 << 16;
                    o.ownPairs = f != kGzip;
                    check_round_trip(d.bytes, o, d.name);
                }
            }
}

TEST(Deflate, ZlibRestoresStreamsWrittenInSmallPieces)
{
    Bytes data = text_like(60000 / kScale, 11);
    data.insert(data.end(), 3000, 'x');
    Bytes noise = zebtest::random_bytes(5000, 256, 12);
    data.insert(data.end(), noise.begin(), noise.end());
    struct Case {
        size_t chunk;
        int pairRoom, byteRoom;
    } cases[] = {{1, 65280, 1 << 16}, {7, 3, 5}, {4096, 1, 1}, {1 << 20, 100, 1}, {65536, 65280, 2}};
    for (const Case& c : cases)
        for (int level : {0, 1, 2})
            for (Mode mode : {kAuto, kRotate}) {
                if (c.chunk == 1 && mode == kRotate)
                    continue;
                Options o;
                o.level = level, o.mode = mode, o.chunk = c.chunk;
                o.pairRoom = c.pairRoom, o.byteRoom = c.byteRoom;
                o.framing = level == 1 ? kGzip : kZlib;
                check_round_trip(c.chunk == 1 ? Bytes(data.begin(), data.begin() + 3000) : data,
                                 o, "pieces");
            }
}

TEST(Deflate, ZlibRestoresStreamsWithSyncAndFullFlushes)
{
    Bytes data = text_like(200000 / kScale, 13);
    for (int level : {0, 1, 2})
        for (ZebLZ77Flush flush : {zebLZ77FlushSync, zebLZ77FlushFull})
            for (size_t chunk : {size_t(777), size_t(40000)}) {
                Options o;
                o.level = level, o.framing = kRaw, o.mode = kRotate, o.chunk = chunk;
                o.flushEvery = 2, o.midFlush = flush;
                o.byteRoom = chunk == 777 ? 3 : 4096;
                check_round_trip(data, o, "flushes");
                o.framing = kZlib;
                check_round_trip(data, o, "flushes");
            }
}

TEST(Deflate, ZlibRestoresEdgeInputs)
{
    Bytes noMatch; // 125,500 bytes with no repeated triple close by, more than 65535 literals
    for (int twice = 0; twice < 2; ++twice)
        for (int stride = 1; stride <= 250; ++stride)
            for (int multiple = 0; multiple <= 250; ++multiple)
                noMatch.push_back((Zeb8u)((stride * multiple) % 251));
    struct Data {
        const char* name;
        Bytes bytes;
    } inputs[] = {{"empty", {}},
                  {"one", {42}},
                  {"two", {42, 42}},
                  {"zeros", Bytes((1 << 20) / kScale, 0)},
                  {"single", Bytes(70000, 'q')},
                  {"stored65535", zebtest::random_bytes(65535, 256, 5)},
                  {"stored65537", zebtest::random_bytes(65537, 256, 6)},
                  {"nomatch", noMatch}};
    for (const Data& d : inputs)
        for (int level : {0, 1, 2})
            for (Framing f : {kRaw, kZlib, kGzip})
                for (Mode mode : {kAuto, kFixed, kDynamic, kStored}) {
                    Options o;
                    o.level = level, o.framing = f, o.mode = mode, o.chunk = 1 << 17;
                    o.ownPairs = false;
                    check_round_trip(d.bytes, o, d.name);
                }
}

TEST(Deflate, ZlibRestoresCorpusFiles)
{
    auto files = zebtest::corpus_files();
    if (files.empty())
        GTEST_SKIP() << "corpus not present";
    for (const std::string& path : files) {
        Bytes data = zebtest::read_file(path);
        if (kScale > 1 && data.size() > 200000)
            data.resize(200000);
        for (int level : {0, 1, 2}) {
            Options o;
            o.level = level, o.framing = level == 1 ? kGzip : kZlib;
            Stream s = compress(data, o);
            ASSERT_TRUE(zlib_restores(s.bytes, data, window_bits(o.framing))) << path;
        }
    }
}

#endif // ZEBDC_HAVE_ZLIB

} // namespace
