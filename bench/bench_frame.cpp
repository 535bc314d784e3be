// The move-to-front coder beside a plain byte loop over a recency list: both code the same
// corpus block.
#include <cstring>

#include "bench_support.h"

namespace {

void plain_mtf(const Zeb8u* src, Zeb8u* dst, size_t len)
{
    Zeb8u list[256];
    for (int i = 0; i < 256; ++i)
        list[i] = (Zeb8u)i;
    for (size_t k = 0; k < len; ++k) {
        Zeb8u value = src[k];
        int position = 0;
        while (list[position] != value)
            ++position;
        std::memmove(list + 1, list, (size_t)position);
        list[0] = value;
        dst[k] = (Zeb8u)position;
    }
}

void register_mtf()
{
    static std::vector<Zeb8u> block = zebbench::corpus_block(1 << 20);
    static std::vector<Zeb8u> out(block.size());
    zebbench::add("mtf_forward", "ours", "corpus_1MiB",
                  zebbench::throughput(block.size(), [] {
                      Zeb8u state[256];
                      zebsMTFInit_8u((ZebMTFState_8u*)(void*)state);
                      zebsMTFFwd_8u(block.data(), out.data(), (int)block.size(),
                                    (ZebMTFState_8u*)(void*)state);
                      benchmark::DoNotOptimize(out.data());
                  }));
    zebbench::add("mtf_forward", "byte_loop", "corpus_1MiB",
                  zebbench::throughput(block.size(), [] {
                      plain_mtf(block.data(), out.data(), block.size());
                      benchmark::DoNotOptimize(out.data());
                  }));
}

zebbench::Registrar registrar(register_mtf);

} // namespace
