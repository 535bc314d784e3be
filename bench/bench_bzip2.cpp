// The whole bzip2 chain (run-length stage, transform, move-to-front, zero runs, Huffman, with the
// framing of tests/bzip2_stream.h) beside libbz2 at level 9, on the same 900000-byte blocks of
// the corpus: speed both ways and compressed size.
#include "../tests/bzip2_stream.h"
#include "bench_support.h"

#ifdef ZEBDC_HAVE_BZIP2
#include <bzlib.h>
#endif

namespace {

const size_t kBlocks = 3, kBlock = 900000;

void register_bzip2()
{
    static const zebbz2::Bytes data = zebbench::corpus_block(kBlocks * kBlock);
    static const zebbz2::Bytes ours = zebbz2::bz2_compress(data, 9, 65536);
    const std::string label = "corpus_3x900000";
    zebbench::add("bzip2_compress", "ours", label, [](benchmark::State& state) {
        size_t size = 0;
        for (auto _ : state)
            size = zebbz2::bz2_compress(data, 9, 65536).size();
        state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)data.size());
        state.counters["size"] = (double)size;
    });
    zebbench::add("bzip2_decompress", "ours", label, zebbench::throughput(data.size(), [] {
                      static zebbz2::Bytes back; // reused like the peer's output buffer
                      back.clear();
                      back.reserve(data.size());
                      if (!zebbz2::bz2_decompress(ours, &back) || back != data)
                          std::abort();
                  }));
#ifdef ZEBDC_HAVE_BZIP2
    static zebbz2::Bytes peer(data.size() + data.size() / 50 + 700);
    static unsigned peerLen = 0;
    auto compress = [] {
        peerLen = (unsigned)peer.size();
        BZ2_bzBuffToBuffCompress((char*)peer.data(), &peerLen, (char*)data.data(),
                                 (unsigned)data.size(), 9, 0, 30);
    };
    compress();
    zebbench::add("bzip2_compress", "libbz2", label, [compress](benchmark::State& state) {
        for (auto _ : state)
            compress();
        state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)data.size());
        state.counters["size"] = (double)peerLen;
    });
    zebbench::add("bzip2_decompress", "libbz2", label, zebbench::throughput(data.size(), [] {
                      static zebbz2::Bytes back(data.size());
                      unsigned len = (unsigned)back.size();
                      if (BZ2_bzBuffToBuffDecompress((char*)back.data(), &len, (char*)peer.data(),
                                                     peerLen, 0, 0) != BZ_OK)
                          std::abort();
                  }));
#endif
}

zebbench::Registrar registrar(register_bzip2);

} // namespace
