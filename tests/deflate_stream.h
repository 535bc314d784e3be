// A whole deflate compressor assembled from the library's stages, as a host would write it:
// raw deflate, zlib streams or gzip members, with any chunking, pair and byte room, block kind
// and mid-stream flushes. Shared by the encoder and the decoder tests.
#ifndef ZEBDC_DEFLATE_STREAM_H
#define ZEBDC_DEFLATE_STREAM_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "coder_stream.h"
#include "zebdc.h"

namespace zebdeflate
{

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

inline ZebLZ77Checksum kind_of(Framing f)
{
    return f == kZlib ? zebLZ77ChecksumAdler32 : f == kGzip ? zebLZ77ChecksumCRC32
                                                            : zebLZ77ChecksumNone;
}

// Calls a writer with byteRoom bytes at a time until it stops asking for room.
template <class Call>
inline ZebStatus drain(Bytes& out, int byteRoom, Call&& call)
{
    bool ok = true;
    ZebStatus st = zebcoder::drain(out, [byteRoom] { return byteRoom; }, call, &ok, false);
    EXPECT_TRUE(ok);
    return st;
}

inline void write_block(Encoder& enc, Stream& s, const Options& o, Pairs::const_iterator pairsBegin,
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

inline Stream compress(const Bytes& data, const Options& o)
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

} // namespace zebdeflate

#endif
