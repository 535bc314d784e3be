// Checksum tables and kernels shared inside the checksum family.
#ifndef ZEB_CHECKSUM_INTERNAL_H
#define ZEB_CHECKSUM_INTERNAL_H

#include "core/zeb_common.h"

#include <emmintrin.h>
#include <stddef.h>

// Byte tables of the reflected CRC-32: crc_table_il8_o(32 + 8k) is the effect of a byte
// followed by k zero bytes.
extern const Zeb32u (&crc_table_il8_o32)[256];
extern const Zeb32u (&crc_table_il8_o40)[256];
extern const Zeb32u (&crc_table_il8_o48)[256];
extern const Zeb32u (&crc_table_il8_o56)[256];
extern const Zeb32u (&crc_table_il8_o64)[256];
extern const Zeb32u (&crc_table_il8_o72)[256];
extern const Zeb32u (&crc_table_il8_o80)[256];
extern const Zeb32u (&crc_table_il8_o88)[256];

// Byte table of the bzip2 CRC-32 (most significant bit first).
extern const Zeb32u (&crcTab)[256];

// The kernels take and return the running value as the caller stores it. The portable ones
// are named own*_8u; CPU-specific variants add the instruction set (_pclmul, _ssse3, _avx2) and
// are chosen by core/dispatch.cpp.

// The reflected CRC-32 of crc's data followed by src[0..len).
Zeb32u ownsCRC32_8u(const Zeb8u* src, size_t len, Zeb32u crc);

// The bzip2 CRC-32 of crc's data followed by src[0..len).
Zeb32u ownsCRC32BZ2_8u(const Zeb8u* src, size_t len, Zeb32u crc);

// The Adler-32 of adler's data followed by src[0..len), in blocks of kAdlerBlock bytes.
Zeb32u ownsAdler32_8u(const Zeb8u* src, size_t len, Zeb32u adler);

// CPU-specific variants (identical results; see core/dispatch.cpp for their requirements).
Zeb32u ownsCRC32_8u_pclmul(const Zeb8u* src, size_t len, Zeb32u crc);
Zeb32u ownsCRC32BZ2_8u_pclmul(const Zeb8u* src, size_t len, Zeb32u crc);
Zeb32u ownsCRC32_8u_vpclmul(const Zeb8u* src, size_t len, Zeb32u crc);
Zeb32u ownsCRC32BZ2_8u_vpclmul(const Zeb8u* src, size_t len, Zeb32u crc);
Zeb32u ownsAdler32_8u_ssse3(const Zeb8u* src, size_t len, Zeb32u adler);
Zeb32u ownsAdler32_8u_avx2(const Zeb8u* src, size_t len, Zeb32u adler);

// The end of the PCLMULQDQ kernels, from four 128-bit accumulators holding 64 consecutive
// bytes (the first carrying the running register) up to src[len]: the CRC as stored. Only to be
// called where the CPU has PCLMULQDQ, SSSE3 and SSE4.1.
Zeb32u ownsCRC32_8u_pclmul_tail(__m128i x0, __m128i x1, __m128i x2, __m128i x3,
                                const Zeb8u* src, size_t len);
Zeb32u ownsCRC32BZ2_8u_pclmul_tail(__m128i x0, __m128i x1, __m128i x2, __m128i x3,
                                   const Zeb8u* src, size_t len);

constexpr Zeb32u kAdlerBase = 65521;
constexpr size_t kAdlerBlock = 5552;

// s modulo 65521 without division: 65521 * 2^k is subtracted for k = 16 down to 0 wherever it
// fits (any 32-bit value comes out below 65521).
inline Zeb32u zebAdlerReduce(Zeb32u value)
{
    for (int k = 16; k >= 0; --k) {
        Zeb32u multiple = kAdlerBase << k;
        if (value >= multiple)
            value -= multiple;
    }
    return value;
}

#endif
