// CPU feature detection (cpuid, xgetbv) and the kernel table.
//
// Each slot starts at a resolver; the first call picks the best kernel for the features of the
// CPU, stores it in the slot (a relaxed atomic store: every thread that races to resolve picks
// the same kernel) and runs it. Later calls go straight to the kernel.
#include "core/dispatch.h"

#include "checksum/checksum_internal.h"
#include "core/core_internal.h"

#include <cpuid.h>
#include <stdlib.h>

namespace {

constexpr Zeb32u kFeaturesKnown = 1u << 31;
Zeb32u g_features = 0;

uint64_t read_xcr0()
{
    Zeb32u lo, hi;
    __asm__ volatile("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
    return ((uint64_t)hi << 32) | lo;
}

Zeb32u detect_features()
{
    unsigned a, b, c, d;
    if (!__get_cpuid(1, &a, &b, &c, &d))
        return 0;
    Zeb32u f = 0;
    if (c & bit_SSSE3)
        f |= zebCpuSsse3;
    if (c & bit_SSE4_1)
        f |= zebCpuSse41;
    if (c & bit_PCLMUL)
        f |= zebCpuPclmul;
    bool osxsave = (c & bit_OSXSAVE) != 0;
    uint64_t xcr0 = osxsave ? read_xcr0() : 0;
    bool ymm = (xcr0 & 0x6) == 0x6;       // SSE and AVX state
    bool zmm = (xcr0 & 0xE6) == 0xE6;     // and the opmask and ZMM state
    if (ymm && (c & bit_AVX))
        f |= zebCpuAvx;
    if (__get_cpuid_max(0, nullptr) >= 7) {
        __cpuid_count(7, 0, a, b, c, d);
        if ((f & zebCpuAvx) && (b & bit_AVX2))
            f |= zebCpuAvx2;
        const unsigned avx512 = bit_AVX512F | bit_AVX512BW | bit_AVX512VL;
        if (zmm && (f & zebCpuAvx2) && (b & avx512) == avx512)
            f |= zebCpuAvx512;
        if ((f & zebCpuAvx2) && (c & bit_VPCLMULQDQ))
            f |= zebCpuVpclmul;
    }
    return f;
}

#ifdef ZEBDC_TEST_CPU_MASK
// The features named in ZEBDC_DISABLE_CPU_FEATURES (test builds only).
Zeb32u masked_features()
{
    const char* list = getenv("ZEBDC_DISABLE_CPU_FEATURES");
    if (list == nullptr)
        return 0;
    static const struct {
        const char* name;
        Zeb32u bits;
    } kNames[] = {{"all", ~0u}, {"ssse3", zebCpuSsse3}, {"sse4.1", zebCpuSse41},
                  {"pclmul", zebCpuPclmul}, {"avx", zebCpuAvx}, {"avx2", zebCpuAvx2},
                  {"avx512", zebCpuAvx512}, {"vpclmul", zebCpuVpclmul}};
    Zeb32u masked = 0;
    while (*list != '\0') {
        size_t n = strcspn(list, ",");
        for (const auto& entry : kNames)
            if (strlen(entry.name) == n && memcmp(entry.name, list, n) == 0)
                masked |= entry.bits;
        list += n;
        if (*list == ',')
            ++list;
    }
    return masked;
}
#endif

typedef Zeb32u (*ChecksumKernel)(const Zeb8u*, size_t, Zeb32u);

// VPCLMULQDQ on 512-bit vectors needs the AVX-512 state and byte shuffles (BW).
constexpr Zeb32u kVectorClmul = zebCpuVpclmul | zebCpuAvx512;

ChecksumKernel pick_crc32(Zeb32u f)
{
    const Zeb32u clmul = zebCpuPclmul | zebCpuSse41;
    if ((f & kVectorClmul) == kVectorClmul && (f & clmul) == clmul)
        return ownsCRC32_8u_vpclmul;
    if ((f & clmul) == clmul)
        return ownsCRC32_8u_pclmul;
    return ownsCRC32_8u;
}

ChecksumKernel pick_crc32_bzip2(Zeb32u f)
{
    const Zeb32u need = zebCpuPclmul | zebCpuSsse3 | zebCpuSse41;
    if ((f & need) == need && (f & kVectorClmul) == kVectorClmul)
        return ownsCRC32BZ2_8u_vpclmul;
    if ((f & need) == need)
        return ownsCRC32BZ2_8u_pclmul;
    return ownsCRC32BZ2_8u;
}

ChecksumKernel pick_adler32(Zeb32u f)
{
    if (f & zebCpuAvx2)
        return ownsAdler32_8u_avx2;
    if (f & zebCpuSsse3)
        return ownsAdler32_8u_ssse3;
    return ownsAdler32_8u;
}

typedef void (*CopyKernel)(const Zeb8u*, Zeb8u*, size_t);
typedef void (*FillKernel)(Zeb8u*, size_t, Zeb16u);

CopyKernel pick_copy(Zeb32u f)
{
    return (f & zebCpuAvx2) ? ownsCopyBody_8u_avx2 : ownsCopyBody_8u_sse2;
}

CopyKernel pick_copy_nt(Zeb32u f)
{
    return (f & zebCpuAvx2) ? ownsCopyBodyNT_8u_avx2 : ownsCopyBodyNT_8u_sse2;
}

FillKernel pick_fill(Zeb32u f)
{
    return (f & zebCpuAvx2) ? ownsFillBody_8u_avx2 : ownsFillBody_8u_sse2;
}

FillKernel pick_fill_nt(Zeb32u f)
{
    return (f & zebCpuAvx2) ? ownsFillBodyNT_8u_avx2 : ownsFillBodyNT_8u_sse2;
}

Zeb32u resolve_crc32(const Zeb8u* src, size_t len, Zeb32u value);
Zeb32u resolve_crc32_bzip2(const Zeb8u* src, size_t len, Zeb32u value);
Zeb32u resolve_adler32(const Zeb8u* src, size_t len, Zeb32u value);

ChecksumKernel g_crc32 = resolve_crc32;
ChecksumKernel g_crc32_bzip2 = resolve_crc32_bzip2;
ChecksumKernel g_adler32 = resolve_adler32;

void resolve_copy(const Zeb8u* src, Zeb8u* dst, size_t len);
void resolve_copy_nt(const Zeb8u* src, Zeb8u* dst, size_t len);
void resolve_fill(Zeb8u* dst, size_t len, Zeb16u pattern);
void resolve_fill_nt(Zeb8u* dst, size_t len, Zeb16u pattern);

CopyKernel g_copy = resolve_copy;
CopyKernel g_copy_nt = resolve_copy_nt;
FillKernel g_fill = resolve_fill;
FillKernel g_fill_nt = resolve_fill_nt;

Zeb32u resolve_crc32(const Zeb8u* src, size_t len, Zeb32u value)
{
    ChecksumKernel kernel = pick_crc32(zebCpuFeatures());
    __atomic_store_n(&g_crc32, kernel, __ATOMIC_RELAXED);
    return kernel(src, len, value);
}

Zeb32u resolve_crc32_bzip2(const Zeb8u* src, size_t len, Zeb32u value)
{
    ChecksumKernel kernel = pick_crc32_bzip2(zebCpuFeatures());
    __atomic_store_n(&g_crc32_bzip2, kernel, __ATOMIC_RELAXED);
    return kernel(src, len, value);
}

Zeb32u resolve_adler32(const Zeb8u* src, size_t len, Zeb32u value)
{
    ChecksumKernel kernel = pick_adler32(zebCpuFeatures());
    __atomic_store_n(&g_adler32, kernel, __ATOMIC_RELAXED);
    return kernel(src, len, value);
}

void resolve_copy(const Zeb8u* src, Zeb8u* dst, size_t len)
{
    CopyKernel kernel = pick_copy(zebCpuFeatures());
    __atomic_store_n(&g_copy, kernel, __ATOMIC_RELAXED);
    kernel(src, dst, len);
}

void resolve_copy_nt(const Zeb8u* src, Zeb8u* dst, size_t len)
{
    CopyKernel kernel = pick_copy_nt(zebCpuFeatures());
    __atomic_store_n(&g_copy_nt, kernel, __ATOMIC_RELAXED);
    kernel(src, dst, len);
}

void resolve_fill(Zeb8u* dst, size_t len, Zeb16u pattern)
{
    FillKernel kernel = pick_fill(zebCpuFeatures());
    __atomic_store_n(&g_fill, kernel, __ATOMIC_RELAXED);
    kernel(dst, len, pattern);
}

void resolve_fill_nt(Zeb8u* dst, size_t len, Zeb16u pattern)
{
    FillKernel kernel = pick_fill_nt(zebCpuFeatures());
    __atomic_store_n(&g_fill_nt, kernel, __ATOMIC_RELAXED);
    kernel(dst, len, pattern);
}

} // namespace

Zeb32u zebCpuFeatures()
{
    Zeb32u f = __atomic_load_n(&g_features, __ATOMIC_RELAXED);
    if (f & kFeaturesKnown)
        return f & ~kFeaturesKnown;
    f = detect_features();
#ifdef ZEBDC_TEST_CPU_MASK
    f &= ~masked_features();
#endif
    f &= ~kFeaturesKnown;
    __atomic_store_n(&g_features, f | kFeaturesKnown, __ATOMIC_RELAXED);
    return f;
}

Zeb32u zebKernelCRC32(const Zeb8u* src, size_t len, Zeb32u crc)
{
    return __atomic_load_n(&g_crc32, __ATOMIC_RELAXED)(src, len, crc);
}

Zeb32u zebKernelCRC32BZ2(const Zeb8u* src, size_t len, Zeb32u crc)
{
    return __atomic_load_n(&g_crc32_bzip2, __ATOMIC_RELAXED)(src, len, crc);
}

Zeb32u zebKernelAdler32(const Zeb8u* src, size_t len, Zeb32u adler)
{
    return __atomic_load_n(&g_adler32, __ATOMIC_RELAXED)(src, len, adler);
}

void zebKernelCopy(const Zeb8u* src, Zeb8u* dst, size_t len)
{
    __atomic_load_n(&g_copy, __ATOMIC_RELAXED)(src, dst, len);
}

void zebKernelCopyNT(const Zeb8u* src, Zeb8u* dst, size_t len)
{
    __atomic_load_n(&g_copy_nt, __ATOMIC_RELAXED)(src, dst, len);
}

void zebKernelFill(Zeb8u* dst, size_t len, Zeb16u pattern)
{
    __atomic_load_n(&g_fill, __ATOMIC_RELAXED)(dst, len, pattern);
}

void zebKernelFillNT(Zeb8u* dst, size_t len, Zeb16u pattern)
{
    __atomic_load_n(&g_fill_nt, __ATOMIC_RELAXED)(dst, len, pattern);
}
