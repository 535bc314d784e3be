/*
 * zeb_common.h - the first include of every source file of the library.
 *
 * It makes ZEBAPI export a function (everything else is hidden by -fvisibility=hidden) and, on
 * i386, realign the stack on entry: callers built elsewhere may enter with the 4-byte alignment
 * of the old i386 ABI, while the SSE2 code of the library assumes 16. It then includes the
 * public header, so it must come before it.
 */
#ifndef ZEB_COMMON_H
#define ZEB_COMMON_H

#ifdef ZEBDC_H
#error "include core/zeb_common.h before zebdc.h"
#endif

#if defined(__i386__)
#define ZEBAPI __attribute__((visibility("default"), force_align_arg_pointer))
#else
#define ZEBAPI __attribute__((visibility("default")))
#endif
#define ZEB_EXPORT_DATA __attribute__((visibility("default")))

#include "zebdc.h"

#include <stdint.h>
#include <string.h>

/* Every refusal of an argument or of corrupt input goes through this macro: when cond does not
 * hold, the operation returns status at once, having written nothing. */
#define ZEB_CHECK(cond, status)                  \
    do {                                         \
        if (__builtin_expect(!(cond), 0))        \
            return (status);                     \
    } while (0)

/* Internal consistency checks; compiled only into debug builds. */
#ifdef ZEBDC_DEBUG
#define ZEB_ASSERT(cond) ((cond) ? (void)0 : __builtin_trap())
#else
#define ZEB_ASSERT(cond) ((void)0)
#endif

#define ZEB_ALWAYS_INLINE inline __attribute__((always_inline))
#define ZEB_LIKELY(x) __builtin_expect(!!(x), 1)
#define ZEB_UNLIKELY(x) __builtin_expect(!!(x), 0)

/* The instruction sets of the CPU-specific kernels, which core/dispatch.cpp picks at run time. */
#define ZEB_TARGET_SSSE3 __attribute__((target("ssse3")))
#define ZEB_TARGET_PCLMUL __attribute__((target("pclmul,ssse3,sse4.1")))
#define ZEB_TARGET_AVX2 __attribute__((target("avx2")))
#define ZEB_TARGET_VPCLMUL \
    __attribute__((target("pclmul,ssse3,sse4.1,avx2,avx512f,avx512bw,avx512vl,vpclmulqdq")))

/* Unaligned loads and stores of native-endian words (x86 is little-endian). */
static inline uint32_t zeb_load32(const void* p)
{
    uint32_t v;
    memcpy(&v, p, sizeof v);
    return v;
}
static inline uint64_t zeb_load64(const void* p)
{
    uint64_t v;
    memcpy(&v, p, sizeof v);
    return v;
}
// Length of the common prefix of a and b, at most n bytes; eight bytes at a time, the lowest set
// byte of the XOR of two little-endian words being the first that differs.
static inline int zeb_common_prefix(const Zeb8u* a, const Zeb8u* b, int n)
{
    int k = 0;
    for (; k + 8 <= n; k += 8) {
        uint64_t diff = zeb_load64(a + k) ^ zeb_load64(b + k);
        if (diff != 0)
            return k + (int)(__builtin_ctzll(diff) >> 3);
    }
    while (k < n && a[k] == b[k])
        ++k;
    return k;
}
static inline void zeb_store32(void* p, uint32_t v) { memcpy(p, &v, sizeof v); }
static inline void zeb_store64(void* p, uint64_t v) { memcpy(p, &v, sizeof v); }

#endif /* ZEB_COMMON_H */
