// Internals shared by the bzip2 stages: the MSB-first bit accumulator of the Huffman writers and
// the seal with which an InitAlloc-made state remembers the block size it was allocated for.
#ifndef ZEB_BZIP2_INTERNAL_H
#define ZEB_BZIP2_INTERNAL_H

#include "core/zeb_common.h"

namespace zeb_bzip2
{

enum {
    kMaxAlphabet = 258,     // 256 values + RUNA/RUNB, less the unused 0, plus end-of-block
    kMaxTables = 6,         // bzip2 codes a block with 2..6 tables
    kGroupSize = 50,        // symbols coded with one table before the next selector
    kMaxCodeLen = 17,       // longest code the encoder writes
    kMaxDecodeLen = 20,     // longest code the decoder accepts
    kMaxBlockGroups = 18000 // groups of the largest bzip2 block (900000 symbols)
};

// The caller's 32-bit accumulator: pending bits at the top, `bits` of them. Writers flush whole
// bytes before appending once 8 or more bits are pending; more than 32 pending bits means the
// destination filled and bits were lost (the count sticks at 33 or more).
struct BitWriter {
    Zeb32u code;
    int bits;
    Zeb8u* dst;
    int pos;
    int cap;

    void flush()
    {
        while (bits >= 8 && bits <= 32 && pos < cap) {
            dst[pos++] = (Zeb8u)(code >> 24);
            code <<= 8;
            bits -= 8;
        }
    }
    void put(Zeb32u value, int len)
    {
        if (bits >= 8)
            flush();
        if (ZEB_UNLIKELY(bits + len > 32)) {
            bits = 33; // no room left: the output is unusable
            return;
        }
        code |= value << (32 - bits - len);
        bits += len;
    }
    bool lost() const { return bits > 32; }
};

// An InitAlloc-made state records its capacity next to a seal tied to its address, so that a
// later Init on the same state keeps the capacity; caller memory almost never carries a valid
// seal and is treated as the documented default.
inline Zeb32u capacity_seal(const void* state, Zeb32u capacity)
{
    return (Zeb32u)(uintptr_t)state ^ (capacity * 0x9E3779B1u) ^ 0x425A6839u;
}

} // namespace zeb_bzip2

#endif
