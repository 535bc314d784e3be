// Inflate: the zlib level 6 and level 1 streams of every corpus file (generated text without the
// corpus), decoded in one pass over all of them by our full-block decoders, by our two-stage path
// (pairs, then bytes) and by the peers. Throughput is in bytes of output.
#include <cstring>

#include "bench_support.h"

#ifdef ZEBDC_HAVE_ZLIB
#include <zlib.h>
#endif
#ifdef ZEBDC_HAVE_LIBDEFLATE
#include <libdeflate.h>
#endif
#ifdef ZEBDC_HAVE_ISAL
#include <isa-l.h>
#endif

namespace {

using Bytes = std::vector<Zeb8u>;

struct Stream {
    Bytes raw;     // raw deflate
    size_t outLen; // bytes it decodes to
};

struct Decoder {
    Bytes mem;
    ZebLZ77DecoderState* state;
    std::vector<ZebLZ77Pair> pairs;
    Decoder() : pairs(8192)
    {
        int size = 0;
        zebsDecodeLZ77GetSize_8u(&size);
        mem.resize((size_t)size + 64);
        state = (ZebLZ77DecoderState*)(void*)(mem.data() + (64 - (uintptr_t)mem.data() % 64) % 64);
        zebsDecodeLZ77Init_8u(zebLZ77ChecksumNone, state);
    }
};

// One-stage: whole buffers, block after block.
size_t decode_full(Decoder& dec, const Stream& s, Zeb8u* out)
{
    zebsDecodeLZ77Reset_8u(dec.state);
    Zeb8u* src = (Zeb8u*)s.raw.data();
    int srcLen = (int)s.raw.size();
    Zeb8u* dst = out;
    int room = (int)s.outLen + 1;
    ZebStatus st = zebStsOk;
    while (st == zebStsOk) {
        ZebLZ77BlockType type;
        if (zebsDecodeLZ77GetBlockType_8u(&src, &srcLen, &type, dec.state) != zebStsOk)
            break;
        if (type == zebLZ77BlockStored)
            st = zebsDecodeLZ77StoredBlock_8u(&src, &srcLen, &dst, &room, dec.state);
        else if (type == zebLZ77BlockFixed)
            st = zebsDecodeLZ77FixedHuffFull_8u(&src, &srcLen, &dst, &room, zebLZ77FlushNone, dec.state);
        else
            st = zebsDecodeLZ77DynamicHuffFull_8u(&src, &srcLen, &dst, &room, zebLZ77FlushNone, dec.state);
    }
    return (size_t)(dst - out);
}

// Two-stage: pairs in the 8192-record buffer, then bytes. StoredHuff reads its own header, so
// the block type is peeked on a copy of the state.
size_t decode_two_stage(Decoder& dec, const Stream& s, Zeb8u* out)
{
    static Decoder peek;
    zebsDecodeLZ77Reset_8u(dec.state);
    Zeb8u* src = (Zeb8u*)s.raw.data();
    int srcLen = (int)s.raw.size();
    Zeb8u* dst = out;
    int room = (int)s.outLen + 1;
    for (;;) {
        ZebLZ77BlockType type = zebLZ77BlockStored;
        zebsDecodeLZ77CopyState_8u(dec.state, peek.state);
        Zeb8u* at = src;
        int left = srcLen;
        if (zebsDecodeLZ77GetBlockType_8u(&at, &left, &type, peek.state) != zebStsOk)
            break;
        ZebStatus st;
        do {
            ZebLZ77Pair* pd = dec.pairs.data();
            int np = (int)dec.pairs.size();
            if (type == zebLZ77BlockStored)
                st = zebsDecodeLZ77StoredHuff_8u(&src, &srcLen, &pd, &np, dec.state);
            else if (type == zebLZ77BlockFixed)
                st = zebsDecodeLZ77FixedHuff_8u(&src, &srcLen, &pd, &np, zebLZ77FlushNone, dec.state);
            else
                st = zebsDecodeLZ77DynamicHuff_8u(&src, &srcLen, &pd, &np, zebLZ77FlushNone, dec.state);
            ZebLZ77Pair* ps = dec.pairs.data();
            int n = (int)(pd - ps);
            zebsDecodeLZ77_8u(&ps, &n, &dst, &room, zebLZ77FlushNone, dec.state);
        } while (st == zebStsDstFull);
        if (st != zebStsOk)
            break;
    }
    return (size_t)(dst - out);
}

void register_inflate()
{
    static std::vector<Bytes> files;
    for (const auto& path : zebbench::corpus_paths())
        files.push_back(zebbench::read_file(path));
    if (files.empty())
        files.push_back(zebbench::generated_text(1 << 20));
    for (int level : {6, 1}) {
        auto* streams = new std::vector<Stream>;
        size_t total = 0, largest = 0;
        for (const Bytes& f : files) {
#ifdef ZEBDC_HAVE_ZLIB
            z_stream z{};
            deflateInit2(&z, level, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
            Bytes raw(deflateBound(&z, (uLong)f.size()));
            z.next_in = (Bytef*)f.data();
            z.avail_in = (uInt)f.size();
            z.next_out = raw.data();
            z.avail_out = (uInt)raw.size();
            deflate(&z, Z_FINISH);
            raw.resize(z.total_out);
            deflateEnd(&z);
            streams->push_back(Stream{raw, f.size()});
#endif
            total += f.size();
            largest = std::max(largest, f.size());
        }
        if (streams->empty())
            return;
        static std::vector<Bytes*> outs;
        Bytes* out = new Bytes(largest + 1);
        outs.push_back(out);
        std::string label = "corpus_L" + std::to_string(level);
        auto run = [streams, out](size_t (*fn)(Decoder&, const Stream&, Zeb8u*)) {
            return [streams, out, fn] {
                static Decoder dec;
                for (const Stream& s : *streams)
                    benchmark::DoNotOptimize(fn(dec, s, out->data()));
            };
        };
        zebbench::add("inflate", "ours", label, zebbench::throughput(total, run(decode_full)));
        zebbench::add("inflate_two_stage", "ours", label, zebbench::throughput(total, run(decode_two_stage)));
#ifdef ZEBDC_HAVE_ZLIB
        auto zlib_run = [streams, out] {
            for (const Stream& s : *streams) {
                z_stream z{};
                inflateInit2(&z, -15);
                z.next_in = (Bytef*)s.raw.data();
                z.avail_in = (uInt)s.raw.size();
                z.next_out = out->data();
                z.avail_out = (uInt)out->size();
                inflate(&z, Z_FINISH);
                inflateEnd(&z);
            }
        };
        zebbench::add("inflate", "zlib", label, zebbench::throughput(total, zlib_run));
        zebbench::add("inflate_two_stage", "zlib", label, zebbench::throughput(total, zlib_run));
#endif
#ifdef ZEBDC_HAVE_LIBDEFLATE
        zebbench::add("inflate", "libdeflate", label, zebbench::throughput(total, [streams, out] {
            static libdeflate_decompressor* d = libdeflate_alloc_decompressor();
            for (const Stream& s : *streams) {
                size_t got = 0;
                libdeflate_deflate_decompress(d, s.raw.data(), s.raw.size(), out->data(), out->size(), &got);
            }
        }));
#endif
#ifdef ZEBDC_HAVE_ISAL
        zebbench::add("inflate", "isal", label, zebbench::throughput(total, [streams, out] {
            for (const Stream& s : *streams) {
                static inflate_state st;
                isal_inflate_init(&st);
                st.next_in = (uint8_t*)s.raw.data();
                st.avail_in = (uint32_t)s.raw.size();
                st.next_out = out->data();
                st.avail_out = (uint32_t)out->size();
                isal_inflate_stateless(&st);
            }
        }));
#endif
    }
}

zebbench::Registrar registrar(register_inflate);

} // namespace
