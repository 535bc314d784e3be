// The general-purpose coders: run-length coding beside memcpy of the same bytes, byte Huffman
// throughput on the corpus files, LZSS beside our deflate encoder and zlib at level 1.
#include <cstring>

#include "bench_support.h"
#ifdef ZEBDC_HAVE_ZLIB
#include <zlib.h>
#endif

namespace {

typedef std::vector<Zeb8u> Bytes;

Bytes run_heavy(size_t len)
{
    std::mt19937 rng(1);
    Bytes data;
    while (data.size() < len) {
        size_t run = rng() % 8 == 0 ? 1 + rng() % 4 : 16 + rng() % 400;
        data.insert(data.end(), run, (Zeb8u)rng());
    }
    data.resize(len);
    return data;
}

Bytes rle_encode(const Bytes& data)
{
    Bytes coded(data.size() * 2);
    const Zeb8u* src = data.data();
    int srcLen = (int)data.size(), dstLen = (int)coded.size();
    zebsEncodeRLE_8u(&src, &srcLen, coded.data(), &dstLen);
    coded.resize(dstLen);
    return coded;
}

void register_rle(const std::string& label, const Bytes& data)
{
    // The buffers live as long as the program that runs the benchmarks.
    Bytes* plain = new Bytes(data);
    Bytes* coded = new Bytes(rle_encode(data));
    Bytes* out = new Bytes(data.size() * 2);
    zebbench::add("rle_encode", "ours", label, zebbench::throughput(plain->size(), [=] {
                      const Zeb8u* src = plain->data();
                      int srcLen = (int)plain->size(), dstLen = (int)out->size();
                      zebsEncodeRLE_8u(&src, &srcLen, out->data(), &dstLen);
                      benchmark::DoNotOptimize(out->data());
                  }));
    zebbench::add("rle_decode", "ours", label, zebbench::throughput(plain->size(), [=] {
                      const Zeb8u* src = coded->data();
                      int srcLen = (int)coded->size(), dstLen = (int)out->size();
                      zebsDecodeRLE_8u(&src, &srcLen, out->data(), &dstLen);
                      benchmark::DoNotOptimize(out->data());
                  }));
    for (const char* group : {"rle_encode", "rle_decode"})
        zebbench::add(group, "memcpy", label, zebbench::throughput(plain->size(), [=] {
                          std::memcpy(out->data(), plain->data(), plain->size());
                          benchmark::DoNotOptimize(out->data());
                      }));
}

struct HuffData {
    Bytes plain, coded, out;
    Zeb32s len[256];
    alignas(8) Zeb8u state[2596];
    ZebHuffState* st() { return (ZebHuffState*)(void*)state; }
};

void register_huffman(const std::string& label, const Bytes& data)
{
    HuffData* h = new HuffData;
    h->plain = data;
    Zeb32s freq[256] = {0}, room = 0, body = 0, tail = 0;
    for (Zeb8u b : data)
        ++freq[b];
    if (zebsEncodeHuffInit_8u(freq, h->st()) != zebStsOk)
        return;
    zebsHuffGetLenCodeTable_8u(h->len, h->st());
    zebsHuffGetDstBuffSize_8u(h->len, (Zeb32s)data.size(), &room, nullptr);
    h->coded.resize(room);
    zebsEncodeHuff_8u(data.data(), (Zeb32s)data.size(), h->coded.data(), &body, h->st());
    zebsEncodeHuffFinal_8u(h->coded.data() + body, &tail, h->st());
    h->coded.resize(body + tail);
    h->out.resize(room > (Zeb32s)data.size() ? room : data.size());
    zebbench::add("huffman_encode", "ours", label, zebbench::throughput(data.size(), [h] {
                      Zeb32s written;
                      zebsEncodeHuff_8u(h->plain.data(), (Zeb32s)h->plain.size(), h->out.data(),
                                        &written, h->st());
                      benchmark::DoNotOptimize(h->out.data());
                  }));
    zebbench::add("huffman_decode", "ours", label, zebbench::throughput(data.size(), [h] {
                      alignas(8) Zeb8u dec[2596];
                      ZebHuffState* st = (ZebHuffState*)(void*)dec;
                      zebsDecodeHuffInit_8u(h->len, st);
                      Zeb32s count = (Zeb32s)h->plain.size();
                      zebsDecodeHuff_8u(h->coded.data(), (Zeb32s)h->coded.size(), h->out.data(),
                                        &count, st);
                      benchmark::DoNotOptimize(h->out.data());
                  }));
}

// Raw deflate at level 1 through our LZ77 encoder and dynamic block writer, one block per pairs
// buffer. Returns the compressed size.
size_t deflate_level1(ZebLZ77EncoderState* st, const Bytes& data, Bytes& out)
{
    zebsEncodeLZ77Reset_8u(st);
    Zeb8u* src = const_cast<Zeb8u*>(data.data());
    Zeb32s srcLen = (Zeb32s)data.size();
    Zeb8u* dst = out.data();
    Zeb32s room = (Zeb32s)out.size();
    do {
        zebsEncodeLZ77SetStatus_8u(zebLZ77StatusLZ77, st);
        ZebLZ77Pair *pairs, *p;
        Zeb32s ind, len;
        zebsEncodeLZ77GetPairs_8u(&pairs, &ind, &len, st);
        p = pairs;
        zebsEncodeLZ77_8u(&src, &srcLen, &p, &len, zebLZ77FlushNone, st);
        zebsEncodeLZ77SetStatus_8u(zebLZ77StatusHuffman, st);
        Zeb32s n = (Zeb32s)(p - pairs);
        zebsEncodeLZ77DynamicHuff_8u(&pairs, &n, &dst, &room,
                                     srcLen == 0 ? zebLZ77FlushFinal : zebLZ77FlushNone, st);
    } while (srcLen > 0);
    return (size_t)(dst - out.data());
}

struct LZSSData {
    Bytes plain, coded, out;
    ZebLZSSState* st = nullptr;
    ZebLZ77EncoderState* deflate = nullptr;
};

size_t lzss_encode(LZSSData* z)
{
    zebsEncodeLZSSInit_8u(z->st);
    Zeb8u* src = z->plain.data();
    Zeb8u* dst = z->out.data();
    Zeb32s srcLen = (Zeb32s)z->plain.size(), room = (Zeb32s)z->out.size();
    zebsEncodeLZSS_8u(&src, &srcLen, &dst, &room, z->st);
    zebsEncodeLZSSFlush_8u(&dst, &room, z->st);
    return (size_t)(dst - z->out.data());
}

void register_lzss(const std::string& label, const Bytes& data)
{
    LZSSData* z = new LZSSData; // lives as long as the program
    z->plain = data;
    z->out.resize(data.size() * 2 + 1024);
    zebsEncodeLZSSInitAlloc_8u(&z->st);
    zebsEncodeLZ77InitAlloc_8u(zebLZ77LevelAverage, zebLZ77ChecksumNone, &z->deflate);
    z->coded.assign(z->out.begin(), z->out.begin() + (long)lzss_encode(z));
    zebbench::add("lzss_encode", "ours", label, [z](benchmark::State& state) {
        size_t size = 0;
        for (auto _ : state)
            size = lzss_encode(z);
        state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)z->plain.size());
        state.counters["size"] = (double)size;
    });
    zebbench::add("lzss_encode", "ours_deflate1", label, [z](benchmark::State& state) {
        size_t size = 0;
        for (auto _ : state)
            size = deflate_level1(z->deflate, z->plain, z->out);
        state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)z->plain.size());
        state.counters["size"] = (double)size;
    });
#ifdef ZEBDC_HAVE_ZLIB
    zebbench::add("lzss_encode", "zlib1", label, [z](benchmark::State& state) {
        uLongf size = 0;
        for (auto _ : state) {
            size = (uLongf)z->out.size();
            compress2(z->out.data(), &size, z->plain.data(), (uLong)z->plain.size(), 1);
        }
        state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)z->plain.size());
        state.counters["size"] = (double)size;
    });
#endif
    zebbench::add("lzss_decode", "ours", label, zebbench::throughput(data.size(), [z] {
                      ZebLZSSState* st = z->st;
                      zebsDecodeLZSSInit_8u(st);
                      Zeb8u* src = z->coded.data();
                      Zeb8u* dst = z->out.data();
                      Zeb32s srcLen = (Zeb32s)z->coded.size(), room = (Zeb32s)z->out.size();
                      zebsDecodeLZSS_8u(&src, &srcLen, &dst, &room, st);
                      benchmark::DoNotOptimize(z->out.data());
                  }));
}

void register_coders()
{
    register_rle("run_heavy_4MiB", run_heavy(4 << 20));
    register_rle("corpus_1MiB", zebbench::corpus_block(1 << 20));
    for (const auto& path : zebbench::corpus_paths())
        register_huffman(zebbench::base_name(path), zebbench::read_file(path));
    for (const auto& path : zebbench::corpus_paths())
        register_lzss(zebbench::base_name(path), zebbench::read_file(path));
    if (zebbench::corpus_paths().empty()) {
        register_huffman("text_1MiB", zebbench::generated_text(1 << 20));
        register_lzss("text_1MiB", zebbench::generated_text(1 << 20));
    }
}

zebbench::Registrar registrar(register_coders);

} // namespace
