// Deflate encoder: arbitrary bytes through LZ77 and the block writers with a level, chunk
// sizes, pair and byte room, block kinds and flushes drawn from the input; zlib must inflate the
// zlib stream back to the bytes, and the pairs must rebuild every chunk.
#include <cstdint>
#include <cstring>
#include <vector>

#include "../tests/coder_stream.h"
#include "fuzz_support.h"

#ifdef ZEBDC_HAVE_ZLIB
#include <zlib.h>
#endif

namespace {

using zebfuzz::Bytes;
using zebfuzz::require;

struct Params {
    const uint8_t* p;
    size_t n;
    size_t at = 0;
    uint8_t next() { return n ? p[at++ % n] : 0; }
};

// Calls a writer with `room` bytes at a time until it stops asking for room.
template <class Call>
ZebStatus drain(Bytes& out, int room, Call&& call)
{
    bool ok = true;
    ZebStatus st = zebcoder::drain(out, [room] { return room; }, call, &ok, false);
    require(ok);
    return st;
}

// Rebuilds bytes from pairs on top of what the stream produced so far.
void expand(Bytes& out, const ZebLZ77Pair* pairs, Zeb32s n)
{
    for (Zeb32s i = 0; i < n; ++i) {
        ZebLZ77Pair p = pairs[i];
        if (p.offset == 0) {
            require(p.length < 256);
            out.push_back((Zeb8u)p.length);
            continue;
        }
        require(p.length >= 3 && p.length <= 258 && p.offset <= 32767 && p.offset <= out.size());
        for (int k = 0; k < p.length; ++k)
            out.push_back(out[out.size() - p.offset]);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 4)
        return 0;
    Params params{data, 4};
    int level = params.next() % 3;
    size_t chunk = 1 + params.next() * 37;
    Zeb32s pairRoom = 1 + params.next() % 64 * 100;
    int byteRoom = 1 + params.next() % 32;
    const Zeb8u* input = data + 4;
    size_t len = size - 4;
    Params choice{input, len};

    ZebLZ77EncoderState* state = nullptr;
    require(zebsEncodeLZ77InitAlloc_8u((ZebLZ77Level)level, zebLZ77ChecksumAdler32, &state) ==
            zebStsOk);
    Bytes stream = {0x78, 0x9C}, rebuilt;
    std::vector<ZebLZ77Pair> pairs((size_t)pairRoom);
    size_t chunks = len == 0 ? 1 : (len + chunk - 1) / chunk;
    for (size_t c = 0; c < chunks; ++c) {
        bool last = c + 1 == chunks;
        uint8_t pick = choice.next();
        ZebLZ77Flush flush = last ? zebLZ77FlushFinal : (ZebLZ77Flush)(pick % 3);
        size_t begin = c * chunk, n = len - begin < chunk ? len - begin : chunk;
        Zeb8u* src = const_cast<Zeb8u*>(input + begin);
        Zeb32s srcLen = (Zeb32s)n;
        do {
            zebsEncodeLZ77SetStatus_8u(zebLZ77StatusLZ77, state);
            ZebLZ77Pair* dst = pairs.data();
            Zeb32s room = pairRoom;
            Zeb8u* before = src;
            ZebStatus st = zebsEncodeLZ77_8u(&src, &srcLen, &dst, &room, flush, state);
            require(st == (srcLen == 0 ? zebStsOk : zebStsDstFull));
            Zeb32s made = (Zeb32s)(dst - pairs.data());
            size_t mark = rebuilt.size();
            expand(rebuilt, pairs.data(), made);
            size_t consumed = (size_t)(src - before);
            require(rebuilt.size() - mark == consumed &&
                    (consumed == 0 || memcmp(rebuilt.data() + mark, before, consumed) == 0));
            zebsEncodeLZ77SetStatus_8u(zebLZ77StatusHuffman, state);
            ZebLZ77Flush blockFlush = last ? zebLZ77FlushFinal
                                      : srcLen == 0 ? flush
                                                    : zebLZ77FlushNone;
            bool end = last && srcLen == 0;
            int kind = (pick >> 2) % 4; // fixed, dynamic, stored, or as SelectHuffMode says
            if (kind == 3)
                require(zebsEncodeLZ77SelectHuffMode_8u(pairs.data(), made, &kind, state) ==
                        zebStsOk);
            ZebLZ77Pair* p = pairs.data();
            Zeb32s left = made;
            Zeb32s rawLen = (Zeb32s)(src - before);
            if (kind == 2 && rawLen > 65535) // more than one stored block holds
                kind = 0;
            ZebStatus st2 = drain(stream, byteRoom, [&](Zeb8u** d, Zeb32s* dl) {
                if (kind == 2)
                    return zebsEncodeLZ77StoredBlock_8u(&before, &rawLen, d, dl,
                                                        end ? blockFlush : zebLZ77FlushNone, state);
                return kind == 0 ? zebsEncodeLZ77FixedHuff_8u(&p, &left, d, dl, blockFlush, state)
                                 : zebsEncodeLZ77DynamicHuff_8u(&p, &left, d, dl, blockFlush, state);
            });
            require(st2 == (end ? zebStsStreamEnd : zebStsOk));
        } while (srcLen > 0);
        if (flush == zebLZ77FlushFull)
            rebuilt.clear(); // nothing before a full flush may be referred to after it
    }
    zebsEncodeLZ77SetStatus_8u(zebLZ77StatusFinal, state);
    require(drain(stream, byteRoom, [&](Zeb8u** d, Zeb32s* dl) {
                return zebsEncodeLZ77Flush_8u(d, dl, state);
            }) == zebStsOk);
    zebsLZ77Free_8u(state);

#ifdef ZEBDC_HAVE_ZLIB
    Bytes out(len + 1);
    uLongf outLen = (uLongf)out.size();
    uLong srcLen = (uLong)stream.size();
    require(uncompress2(out.data(), &outLen, stream.data(), &srcLen) == Z_OK);
    require(srcLen == stream.size() && outLen == len && memcmp(out.data(), input, len) == 0);
#endif
    return 0;
}
