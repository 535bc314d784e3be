// The checksums beside their peers: CRC-32 against zlib, libdeflate and ISA-L; the bzip2 CRC
// against a plain table loop; Adler-32 against zlib and libdeflate. Each at 64 KiB (in cache)
// and 16 MiB, over the same corpus block.
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

struct BzipTable {
    uint32_t t[256];
    BzipTable()
    {
        for (uint32_t n = 0; n < 256; ++n) {
            uint32_t c = n << 24;
            for (int bit = 0; bit < 8; ++bit)
                c = (c & 0x80000000u) ? (c << 1) ^ 0x04C11DB7u : c << 1;
            t[n] = c;
        }
    }
};

uint32_t table_loop_bzip2(const Zeb8u* p, size_t n, uint32_t crc)
{
    static const BzipTable table;
    uint32_t c = ~crc;
    for (size_t i = 0; i < n; ++i)
        c = (c << 8) ^ table.t[(c >> 24) ^ p[i]];
    return ~c;
}

template <class Fn>
void add_sizes(const char* group, const char* impl, Fn fn)
{
    static std::vector<Zeb8u> block = zebbench::corpus_block(16 << 20);
    for (size_t len : {(size_t)64 << 10, (size_t)16 << 20}) {
        std::string label = len < (1 << 20) ? "64KiB" : "16MiB";
        zebbench::add(group, impl, label, zebbench::throughput(len, [fn, len] {
                          uint32_t value = fn(block.data(), len);
                          benchmark::DoNotOptimize(value);
                      }));
    }
}

void register_checksums()
{
    add_sizes("crc32", "ours", [](const Zeb8u* p, size_t n) {
        Zeb32u crc = 0;
        zebsCRC32_8u(p, (int)n, &crc);
        return crc;
    });
#ifdef ZEBDC_HAVE_ZLIB
    add_sizes("crc32", "zlib", [](const Zeb8u* p, size_t n) {
        return (uint32_t)crc32(0, p, (uInt)n);
    });
#endif
#ifdef ZEBDC_HAVE_LIBDEFLATE
    add_sizes("crc32", "libdeflate", [](const Zeb8u* p, size_t n) {
        return libdeflate_crc32(0, p, n);
    });
#endif
#ifdef ZEBDC_HAVE_ISAL
    add_sizes("crc32", "isal", [](const Zeb8u* p, size_t n) {
        return crc32_gzip_refl(0, p, n);
    });
#endif

    add_sizes("crc32_bzip2", "ours", [](const Zeb8u* p, size_t n) {
        Zeb32u crc = 0;
        zebsCRC32_BZ2_8u(p, (int)n, &crc);
        return crc;
    });
    add_sizes("crc32_bzip2", "table_loop",
              [](const Zeb8u* p, size_t n) { return table_loop_bzip2(p, n, 0); });

    add_sizes("adler32", "ours", [](const Zeb8u* p, size_t n) {
        Zeb32u adler = 1;
        zebsAdler32_8u(p, (int)n, &adler);
        return adler;
    });
#ifdef ZEBDC_HAVE_ZLIB
    add_sizes("adler32", "zlib", [](const Zeb8u* p, size_t n) {
        return (uint32_t)adler32(1, p, (uInt)n);
    });
#endif
#ifdef ZEBDC_HAVE_LIBDEFLATE
    add_sizes("adler32", "libdeflate", [](const Zeb8u* p, size_t n) {
        return libdeflate_adler32(1, p, n);
    });
#endif
}

zebbench::Registrar registrar(register_checksums);

} // namespace
