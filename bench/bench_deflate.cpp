// A whole deflate compressor from our stages (64 KiB chunks, fixed or dynamic codes as
// zebsEncodeLZ77SelectHuffMode_8u chooses per block, zlib framing) beside zlib and libdeflate on
// every corpus file. Our level 0 is paired with the peers' level 1, level 1 with 6 and level 2
// with 9 (and libdeflate's 12); ISA-L's levels 1, 2 and 3 stand beside them when installed.
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

constexpr size_t kChunk = 1 << 16;

// Writes one block of the pairs made, as the mode selection says.
void write_block(ZebLZ77EncoderState* state, ZebLZ77Pair* pairs, Zeb32s n, ZebLZ77Flush flush,
                 Zeb8u** dst, Zeb32s* room)
{
    zebsEncodeLZ77SetStatus_8u(zebLZ77StatusHuffman, state);
    Zeb32s mode = 0;
    if (n > 0)
        zebsEncodeLZ77SelectHuffMode_8u(pairs, n, &mode, state);
    if (mode == 0)
        zebsEncodeLZ77FixedHuff_8u(&pairs, &n, dst, room, flush, state);
    else
        zebsEncodeLZ77DynamicHuff_8u(&pairs, &n, dst, room, flush, state);
}

// A zlib stream of src in out (sized for the worst case); returns its length.
size_t ours_compress(ZebLZ77EncoderState* state, const Bytes& src, Bytes& out)
{
    zebsEncodeLZ77Reset_8u(state);
    out[0] = 0x78, out[1] = 0x9C;
    Zeb8u* dst = out.data() + 2;
    Zeb32s room = (Zeb32s)out.size() - 2;
    for (size_t begin = 0; begin < src.size(); begin += kChunk) {
        bool last = begin + kChunk >= src.size();
        Zeb8u* in = const_cast<Zeb8u*>(src.data() + begin);
        Zeb32s inLen = (Zeb32s)std::min(kChunk, src.size() - begin);
        while (inLen > 0) {
            zebsEncodeLZ77SetStatus_8u(zebLZ77StatusLZ77, state);
            ZebLZ77Pair* pairs;
            Zeb32s ind, len;
            zebsEncodeLZ77GetPairs_8u(&pairs, &ind, &len, state);
            ZebLZ77Pair* p = pairs;
            zebsEncodeLZ77_8u(&in, &inLen, &p, &len, zebLZ77FlushNone, state);
            write_block(state, pairs, (Zeb32s)(p - pairs),
                        last ? zebLZ77FlushFinal : zebLZ77FlushNone, &dst, &room);
        }
    }
    zebsEncodeLZ77SetStatus_8u(zebLZ77StatusFinal, state);
    zebsEncodeLZ77Flush_8u(&dst, &room, state);
    return (size_t)(dst - out.data());
}

void register_level(const std::string& file, const Bytes* data, int ours, int peer)
{
    std::string group = "deflate_L" + std::to_string(ours);
    std::string label = zebbench::base_name(file);
    size_t bound = data->size() + data->size() / 4 + 1024; // fixed codes: 9 bits a byte at worst
    zebbench::add(group, "ours", label, [=](benchmark::State& st) {
        ZebLZ77EncoderState* state = nullptr;
        zebsEncodeLZ77InitAlloc_8u((ZebLZ77Level)ours, zebLZ77ChecksumAdler32, &state);
        Bytes out(bound);
        size_t size = 0;
        for (auto _ : st)
            size = ours_compress(state, *data, out);
        zebsLZ77Free_8u(state);
        st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)data->size());
        st.counters["size"] = (double)size;
    });
#ifdef ZEBDC_HAVE_ZLIB
    zebbench::add(group, "zlib", label, [=](benchmark::State& st) {
        Bytes out(compressBound((uLong)data->size()));
        uLongf size = 0;
        for (auto _ : st) {
            size = (uLongf)out.size();
            compress2(out.data(), &size, data->data(), (uLong)data->size(), peer);
        }
        st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)data->size());
        st.counters["size"] = (double)size;
    });
#endif
#ifdef ZEBDC_HAVE_LIBDEFLATE
    for (int level : {peer, peer == 9 ? 12 : 0}) {
        if (level == 0)
            continue;
        std::string impl = level == 12 ? "libdeflate12" : "libdeflate";
        zebbench::add(group, impl, label, [=](benchmark::State& st) {
            libdeflate_compressor* c = libdeflate_alloc_compressor(level);
            Bytes out(libdeflate_zlib_compress_bound(c, data->size()));
            size_t size = 0;
            for (auto _ : st)
                size = libdeflate_zlib_compress(c, data->data(), data->size(), out.data(),
                                                out.size());
            libdeflate_free_compressor(c);
            st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)data->size());
            st.counters["size"] = (double)size;
        });
    }
#endif
#ifdef ZEBDC_HAVE_ISAL
    zebbench::add(group, "isal", label, [=](benchmark::State& st) {
        static const uint32_t kLevelBuf[3] = {ISAL_DEF_LVL1_DEFAULT, ISAL_DEF_LVL2_DEFAULT,
                                              ISAL_DEF_LVL3_DEFAULT};
        Bytes levelBuf(kLevelBuf[ours]), out(bound);
        size_t size = 0;
        for (auto _ : st) {
            isal_zstream z;
            isal_deflate_init(&z);
            z.level = (uint32_t)ours + 1;
            z.level_buf = levelBuf.data();
            z.level_buf_size = kLevelBuf[ours];
            z.gzip_flag = IGZIP_ZLIB;
            z.end_of_stream = 1;
            z.flush = NO_FLUSH;
            z.next_in = const_cast<Zeb8u*>(data->data());
            z.avail_in = (uint32_t)data->size();
            z.next_out = out.data();
            z.avail_out = (uint32_t)out.size();
            isal_deflate(&z);
            size = z.total_out;
        }
        st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)data->size());
        st.counters["size"] = (double)size;
    });
#endif
}

void register_deflate()
{
    static std::vector<Bytes> files;
    std::vector<std::string> paths = zebbench::corpus_paths();
    if (paths.empty())
        paths.push_back("generated_text");
    files.reserve(paths.size());
    for (const std::string& path : paths)
        files.push_back(path == "generated_text" ? zebbench::generated_text(1 << 20)
                                                 : zebbench::read_file(path));
    const int peers[3] = {1, 6, 9};
    for (int ours = 0; ours < 3; ++ours)
        for (size_t i = 0; i < paths.size(); ++i)
            register_level(paths[i], &files[i], ours, peers[ours]);
}

zebbench::Registrar registrar(register_deflate);

} // namespace
