// A whole deflate compressor assembled from the library's stages, as a host would write it:
// raw deflate, zlib streams or gzip members, with any chunking, pair and byte room, block kind
// and mid-stream flushes. Every call is checked for its documented status, the pairs of every
// LZ77 call must rebuild the bytes it took (no match reaching before a full flush) and the
// writers must stay inside their room; a failed check clears Stream::ok. Shared by the encoder
// and decoder tests and the deflate_compress fuzz target.
#ifndef ZEBDC_DEFLATE_STREAM_H
#define ZEBDC_DEFLATE_STREAM_H

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
        zebsEncodeLZ77InitAlloc_8u((ZebLZ77Level)level, kind, &state);
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
    // Per-chunk choices (a fuzzer's bytes), when given: chunk c ends with the flush plan[c] % 3
    // and its blocks are as SelectHuffMode says, fixed, dynamic or stored by (plan[c] >> 2) % 4.
    Bytes plan;
};

struct Stream {
    Bytes bytes;
    bool ok = true;
    std::vector<size_t> fullFlushEnds; // stream offsets just after each full-flush marker,
    std::vector<size_t> fullFlushInput; // with the input offsets they correspond to
};

inline ZebLZ77Checksum kind_of(Framing f)
{
    return f == kZlib ? zebLZ77ChecksumAdler32 : f == kGzip ? zebLZ77ChecksumCRC32
                                                            : zebLZ77ChecksumNone;
}

// Appends the bytes of n pairs to out, the history they refer to; false on a pair that is no
// literal or match of 3..258 bytes reaching at most 32767 bytes into out.
inline bool expand(Bytes& out, const ZebLZ77Pair* pairs, size_t n)
{
    for (size_t i = 0; i < n; ++i) {
        const ZebLZ77Pair p = pairs[i];
        if (p.offset == 0 && p.length < 256) {
            out.push_back((Zeb8u)p.length);
            continue;
        }
        if (p.offset == 0 || p.length < 3 || p.length > 258 || p.offset > 32767 ||
            p.offset > out.size())
            return false;
        for (int k = 0; k < p.length; ++k)
            out.push_back(out[out.size() - p.offset]);
    }
    return true;
}

// Calls a writer with byteRoom bytes at a time until it stops asking for room.
template <class Call>
inline ZebStatus drain(Stream& s, int byteRoom, Call&& call)
{
    return zebcoder::drain(s.bytes, [byteRoom] { return byteRoom; }, call, &s.ok, false);
}

inline void write_block(Encoder& enc, Stream& s, const Options& o, int mode, const Pairs& pairs,
                        const Zeb8u* raw, Zeb32s rawLen, ZebLZ77Flush flush, bool expectEnd)
{
    s.ok = s.ok && zebsEncodeLZ77SetStatus_8u(zebLZ77StatusHuffman, enc.state) == zebStsOk;
    const Zeb32s n = (Zeb32s)pairs.size();
    if (mode == kAuto && n > 0) {
        Zeb32s chosen = -1;
        s.ok = s.ok && zebsEncodeLZ77SelectHuffMode_8u(pairs.data(), n, &chosen, enc.state) ==
                           zebStsOk && (chosen == 0 || chosen == 1);
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
            st = drain(s, o.byteRoom, [&](Zeb8u** d, Zeb32s* dl) {
                return zebsEncodeLZ77StoredBlock_8u(&src, &left, d, dl,
                                                    last ? flush : zebLZ77FlushNone, enc.state);
            });
            s.ok = s.ok && left == 0;
            done += piece;
        } while (done < rawLen);
    } else {
        Pairs copy = pairs; // the writers take pairs through a pointer
        ZebLZ77Pair* src = copy.data();
        Zeb32s left = n;
        st = drain(s, o.byteRoom, [&](Zeb8u** d, Zeb32s* dl) {
            return mode == kFixed
                       ? zebsEncodeLZ77FixedHuff_8u(&src, &left, d, dl, flush, enc.state)
                       : zebsEncodeLZ77DynamicHuff_8u(&src, &left, d, dl, flush, enc.state);
        });
        s.ok = s.ok && left == 0;
    }
    s.ok = s.ok && st == (expectEnd ? zebStsStreamEnd : zebStsOk);
    if (mode != kStored && (flush == zebLZ77FlushSync || flush == zebLZ77FlushFull))
        s.ok = s.ok && s.bytes.size() >= 4 &&
               memcmp(&s.bytes[s.bytes.size() - 4], "\x00\x00\xFF\xFF", 4) == 0;
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
    Bytes history; // what the pairs since the last full flush rebuild
    size_t chunks = data.empty() ? 1 : (data.size() + o.chunk - 1) / o.chunk;
    int block = 0;
    for (size_t c = 0; c < chunks; ++c) {
        size_t begin = c * o.chunk, len = std::min(o.chunk, data.size() - begin);
        bool lastChunk = c + 1 == chunks;
        const int planned = o.plan.empty() ? 0 : o.plan[c % o.plan.size()];
        ZebLZ77Flush chunkFlush = lastChunk ? zebLZ77FlushFinal
                                  : !o.plan.empty() ? (ZebLZ77Flush)(planned % 3)
                                  : o.flushEvery && (c + 1) % o.flushEvery == 0 ? o.midFlush
                                                                               : zebLZ77FlushNone;
        const int chunkMode = o.plan.empty() ? o.mode : (planned >> 2 & 3) - 1;
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
            s.ok = s.ok && st == (srcLen == 0 ? zebStsOk : zebStsDstFull);
            const Pairs made(buf, dst);
            const size_t mark = history.size(), taken = (size_t)(src - before);
            s.ok = s.ok && expand(history, made.data(), made.size()) &&
                   history.size() - mark == taken &&
                   std::equal(history.begin() + (long)mark, history.end(), before);
            // The writers ask for a final block on every call of the last chunk: only the one
            // after which the LZ77 stage holds no input may carry BFINAL.
            ZebLZ77Flush flush = lastChunk ? zebLZ77FlushFinal
                                 : srcLen == 0 ? chunkFlush
                                               : zebLZ77FlushNone;
            const int mode = chunkMode == kRotate ? block % 3 : chunkMode;
            write_block(enc, s, o, mode, made, before, (Zeb32s)taken, flush,
                        lastChunk && srcLen == 0);
            ++block;
            if (o.ownPairs) { // the pairs made become the block: pairs length = index
                Zeb32s len2 = -1;
                zebsEncodeLZ77GetPairs_8u(&buf, &ind, &len2, enc.state);
                s.ok = s.ok && len2 == (Zeb32s)made.size();
            }
        } while (srcLen > 0 && s.ok);
        if (chunkFlush == zebLZ77FlushFull) {
            history.clear(); // nothing before a full flush may be referred to after it
            s.fullFlushEnds.push_back(s.bytes.size());
            s.fullFlushInput.push_back(begin + len);
        }
    }
    zebsEncodeLZ77SetStatus_8u(zebLZ77StatusFinal, enc.state);
    if (o.framing != kRaw)
        s.ok = s.ok && drain(s, o.byteRoom, [&](Zeb8u** d, Zeb32s* dl) {
                           return zebsEncodeLZ77Flush_8u(d, dl, enc.state);
                       }) == zebStsOk;
    return s;
}

} // namespace zebdeflate

#endif
