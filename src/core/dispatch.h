// The one dispatch point of the library: CPU feature detection and the table of kernels that
// have CPU-specific variants (the checksums and the bodies of the bulk memory kernels). Every
// kernel is resolved once, on its first call; no stage asks the CPU itself.
#ifndef ZEB_DISPATCH_H
#define ZEB_DISPATCH_H

#include "core/zeb_common.h"

#include <stddef.h>

enum ZebCpuFeature : Zeb32u {
    zebCpuSsse3 = 1u << 0,
    zebCpuSse41 = 1u << 1,
    zebCpuPclmul = 1u << 2,
    zebCpuAvx = 1u << 3,     // AVX with the YMM state enabled by the OS (xgetbv)
    zebCpuAvx2 = 1u << 4,
    zebCpuAvx512 = 1u << 5,  // AVX-512 F, BW and VL with the ZMM state enabled by the OS
    zebCpuVpclmul = 1u << 6,
};

// The features of this CPU, detected once. In builds with ZEBDC_TEST_CPU_MASK the environment
// variable ZEBDC_DISABLE_CPU_FEATURES ("all" or a comma list of ssse3, sse4.1, pclmul, avx,
// avx2, avx512, vpclmul) removes features, so that tests reach the portable kernels.
Zeb32u zebCpuFeatures();

// The dispatched checksum kernels; each takes and returns the running value as stored by the
// caller (finished CRC, or Adler-32 with s2 in the high half).
Zeb32u zebKernelCRC32(const Zeb8u* src, size_t len, Zeb32u crc);
Zeb32u zebKernelCRC32BZ2(const Zeb8u* src, size_t len, Zeb32u crc);
Zeb32u zebKernelAdler32(const Zeb8u* src, size_t len, Zeb32u adler);

// The dispatched bodies of the bulk memory kernels (see core/core_internal.h): forward copy and
// two-byte pattern fill, with cached or non-temporal stores. The NT bodies issue no fence.
void zebKernelCopy(const Zeb8u* src, Zeb8u* dst, size_t len);
void zebKernelCopyNT(const Zeb8u* src, Zeb8u* dst, size_t len);
void zebKernelFill(Zeb8u* dst, size_t len, Zeb16u pattern);
void zebKernelFillNT(Zeb8u* dst, size_t len, Zeb16u pattern);

#endif
