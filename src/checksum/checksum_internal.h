// Checksum tables and kernels shared inside the checksum family.
#ifndef ZEB_CHECKSUM_INTERNAL_H
#define ZEB_CHECKSUM_INTERNAL_H

#include "core/zeb_common.h"

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

// The reflected CRC-32 of crc's data followed by src[0..len).
Zeb32u ownsCRC32_8u(const Zeb8u* src, size_t len, Zeb32u crc);

#endif
