// The bulk memory kernels beside the C library: zebsCopy_8u against memcpy, zebsSet_8u,
// zebsSet_16s and zebsZero_8u against memset, at 4 KiB, 64 KiB, 1 MiB and 64 MiB (where the
// streaming kernels take over).
#include <cstring>

#include "bench_support.h"

namespace {

const size_t kSizes[] = {(size_t)4 << 10, (size_t)64 << 10, (size_t)1 << 20, (size_t)64 << 20};

std::string label(size_t len)
{
    return len >= (1 << 20) ? std::to_string(len >> 20) + "MiB" : std::to_string(len >> 10) + "KiB";
}

// Buffers are shared by all the benchmarks and aligned as zebsMalloc_8u aligns (32 bytes).
Zeb8u* buffer(int which)
{
    static Zeb8u* bufs[2] = {zebsMalloc_8u((int)(kSizes[3])), zebsMalloc_8u((int)(kSizes[3]))};
    return bufs[which];
}

void register_core()
{
    std::memset(buffer(0), 0x5A, kSizes[3]);
    for (size_t len : kSizes) {
        int n = (int)len;
        zebbench::add("copy", "ours", label(len), zebbench::throughput(len, [n] {
                          zebsCopy_8u(buffer(0), buffer(1), n);
                          benchmark::ClobberMemory();
                      }));
        zebbench::add("copy", "memcpy", label(len), zebbench::throughput(len, [len] {
                          std::memcpy(buffer(1), buffer(0), len);
                          benchmark::ClobberMemory();
                      }));
        zebbench::add("set_8u", "ours", label(len), zebbench::throughput(len, [n] {
                          zebsSet_8u(0x5A, buffer(1), n);
                          benchmark::ClobberMemory();
                      }));
        zebbench::add("set_8u", "memset", label(len), zebbench::throughput(len, [len] {
                          std::memset(buffer(1), 0x5A, len);
                          benchmark::ClobberMemory();
                      }));
        // 0x0505 in every 16-bit element is the byte 5 everywhere, which memset can write.
        zebbench::add("set_16s", "ours", label(len), zebbench::throughput(len, [n] {
                          zebsSet_16s(0x0505, (Zeb16s*)(void*)buffer(1), n / 2);
                          benchmark::ClobberMemory();
                      }));
        zebbench::add("set_16s", "memset", label(len), zebbench::throughput(len, [len] {
                          std::memset(buffer(1), 5, len);
                          benchmark::ClobberMemory();
                      }));
        zebbench::add("zero_8u", "ours", label(len), zebbench::throughput(len, [n] {
                          zebsZero_8u(buffer(1), n);
                          benchmark::ClobberMemory();
                      }));
        zebbench::add("zero_8u", "memset", label(len), zebbench::throughput(len, [len] {
                          std::memset(buffer(1), 0, len);
                          benchmark::ClobberMemory();
                      }));
    }
}

zebbench::Registrar registrar(register_core);

} // namespace
