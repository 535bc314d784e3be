// Internals shared by the VLC encoder, the decoder and the unsigned-tuple decoder: the state
// headers, the level list of a decode table, its size and builders, and the bit readers.
//
// Every state is found at the first 32-byte boundary at or after the block the caller passes,
// and carries a four-character identity tag that Free clears.
//
// Decode table: a sequence of sub-tables of 8-, 16- or 32-bit signed elements. A sub-table is one
// element holding its index width w, then 2^w entries. An entry is
//   empty: -2 (all bits but bit 0 set);
//   link:  bit 0 = 0, bits above = the element index where the next sub-table starts;
//   leaf:  bit 0 = 1, bits 1..L = the code bits taken at this level, bits above = the payload
//          (the value, read with an arithmetic shift, or the packed tuple magnitudes).
// The width is chosen so that an empty entry, read as a link, points past the table: one bound
// check on links rejects both an empty entry and a link out of range.
#ifndef ZEB_VLC_INTERNAL_H
#define ZEB_VLC_INTERNAL_H

#include "core/zeb_common.h"

#include <type_traits>

enum {
    kVLCStateAlign = 32,
    kVLCMaxCodeLength = 32,
    kVLCMaxLevels = 32, // every level takes at least one bit of a code of at most 32
    kVLCDecodeSizeExtra = 88,
    kVLCUTupleSizeExtra = 100,
};

// Identity tags as stored in memory: "_AMC" and "`AMC".
static const Zeb8u kVLCEncodeTag[4] = {'_', 'A', 'M', 'C'};
static const Zeb8u kVLCDecodeTag[4] = {'`', 'A', 'M', 'C'};

// The header at the rounded start of an encoder state; the length array follows at +32 and the
// code array after it.
struct VLCEncodeHeader {
    Zeb32u* lengths;
    Zeb32s valueOffset; // minus the smallest value: value + valueOffset indexes the arrays
    Zeb32s tableBits;   // the length array has 2^tableBits entries
    Zeb32s isOwned;
    Zeb8u tag[4];
};
enum { kVLCEncodeHeaderSize = 32, kVLCEncodeSizeExtra = 64 };
static_assert(sizeof(VLCEncodeHeader) <= kVLCEncodeHeaderSize, "encoder header fits 32 bytes");

// The header of both decoder states, up to the element width and length bits.
struct VLCDecodeHeader {
    Zeb8u tag[4];
    Zeb32s isOwned;
    Zeb32s maxLength; // bits peeked per decode
    void* table;
    Zeb32s elementWidth; // 8, 16 or 32
    Zeb32s lengthBits;   // L
};

struct VLCDecodeStateHeader {
    VLCDecodeHeader base;
    Zeb32u elements; // the table's element count: links at or past it are refused
};

struct VLCUTupleStateHeader {
    VLCDecodeHeader base;
    Zeb32s tupleSize;
    Zeb32s elementBits;
    Zeb32s tupleWidth; // tupleSize * elementBits
    Zeb32u elements;
};

// The table starts right after the header, 8-byte aligned; the size reported by GetSize covers
// the worst rounding of the block (31 bytes) plus the header.
inline constexpr size_t vlc_table_offset(size_t headerSize)
{
    return (headerSize + 7) & ~size_t(7);
}
static_assert(kVLCStateAlign - 1 + vlc_table_offset(sizeof(VLCDecodeStateHeader)) <=
                  kVLCDecodeSizeExtra,
              "decoder header fits the size reserve");
static_assert(kVLCStateAlign - 1 + vlc_table_offset(sizeof(VLCUTupleStateHeader)) <=
                  kVLCUTupleSizeExtra,
              "tuple decoder header fits the size reserve");

inline void* vlc_align_state(const void* block)
{
    uintptr_t at = ((uintptr_t)block + kVLCStateAlign - 1) & ~(uintptr_t)(kVLCStateAlign - 1);
    return (void*)at;
}

inline bool vlc_has_tag(const Zeb8u* stored, const Zeb8u* tag)
{
    return memcmp(stored, tag, 4) == 0;
}

// The levels of a decode table chosen from the caller's sub-table sizes.
struct VLCLevels {
    int count;
    int width[kVLCMaxLevels]; // the last one cut so that the widths sum to maxLength
    int maxLength;
    int lengthBits; // bit length of the largest number of code bits a leaf holds
    int valueBits;  // bit length of the largest |value|, plus a sign bit
};

// The parameter check shared by GetSize, Init and InitAlloc of both decoders: every code length
// within 1..32, sub-table sizes of at least 1 whose running sum reaches the longest code.
// Fills levels and returns zebStsOk, or returns zebStsVLCBadParams.
ZebStatus ownzebVLCBadParams(const ZebVLCCodeEntry* pInputTable, int inputTableSize,
                             const Zeb32s* pSubTablesSizes, int numSubTables, VLCLevels* levels);

// The number of table elements the builder will use at most (one per distinct code prefix and
// level, plus the sub-table width elements).
uint64_t ownzebGetVLCInternalTableSize(const ZebVLCCodeEntry* pInputTable, int inputTableSize,
                                       const VLCLevels& levels);

// A decode table planned for a record list: its levels, element count, element width and the
// size of the state block holding it.
struct VLCTablePlan {
    VLCLevels levels;
    uint64_t elements;
    int neededBits; // bits an element must hold: a leaf or a link, and the empty value apart
    int elementWidth;
    int size; // -1 when the block would not fit an int
};

// The parameter check and the element count: zebStsVLCError for fewer than one record, else as
// ownzebVLCBadParams.
ZebStatus ownzebVLCPlanTable(const ZebVLCCodeEntry* pInputTable, int inputTableSize,
                             const Zeb32s* pSubTablesSizes, int numSubTables, VLCTablePlan* plan);

// Chooses the narrowest element width for leaves carrying payloadBits and sizes the state block.
void ownzebVLCChooseWidth(VLCTablePlan* plan, int payloadBits, int sizeExtra);

// Writes the shared header fields (tag cleared) and builds the table behind them. The caller
// writes its own fields and the tag when this succeeds.
ZebStatus ownzebVLCDecodeBuild(VLCDecodeHeader* header, void* table, const VLCTablePlan& plan,
                               const ZebVLCCodeEntry* pInputTable, int inputTableSize,
                               uint32_t payloadMask, Zeb32s isOwned);

// The low `bits` bits set (all for 32 or more).
inline uint32_t vlc_low_mask(int bits)
{
    return bits >= 32 ? 0xFFFFFFFFu : (1u << bits) - 1;
}

// The bit length of x (0 for 0).
inline int vlc_bit_length(uint64_t x)
{
    return x == 0 ? 0 : 64 - __builtin_clzll(x);
}

inline int vlc_element_width(int neededBits)
{
    return neededBits <= 8 ? 8 : neededBits <= 16 ? 16 : 32;
}

// Fills a table of the given element width (and element count) and builds the records into it.
// A leaf holds (record value & payloadMask) above its length field. Returns zebStsVLCBadParams
// when one code is a prefix of another (or equal to it).
ZebStatus ownzebVLCInternalTableInit(void* table, int elementWidth, uint32_t elements,
                                     const ZebVLCCodeEntry* pInputTable, int inputTableSize,
                                     const VLCLevels& levels, uint32_t payloadMask);

// ---- Bit reading -------------------------------------------------------------------------------

inline uint64_t vlc_load_be64(const Zeb8u* p)
{
    return __builtin_bswap64(zeb_load64(p));
}

// The bits at (p, offset) at the top of a 64-bit word, reading exactly the bytes that hold the
// next `count` bits (offset + count <= 64): nothing past them is touched.
inline uint64_t vlc_peek_exact(const Zeb8u* p, int offset, int count)
{
    int bytes = (offset + count + 7) >> 3;
    uint64_t word = 0;
    for (int i = 0; i < bytes; ++i)
        word |= (uint64_t)p[i] << (56 - 8 * i);
    return word << offset;
}

// A 64-bit reservoir for the block loops: `avail` stream bits at the top of `bits`, `next` the
// first byte not yet loaded. A refill loads 8 bytes at `next` and leaves 56..63 bits available;
// the loop only runs while the remaining codes are known to cover those bytes.
struct VLCBitReservoir {
    const Zeb8u* next;
    uint64_t bits;
    unsigned avail;

    void refill()
    {
        bits |= vlc_load_be64(next) >> avail;
        next += (63 - avail) >> 3;
        avail |= 56;
    }
    void consume(unsigned count)
    {
        bits <<= count;
        avail -= count;
    }
};

// Enough codes left for a refill to stay inside the stream: each code takes at least one bit and
// a refill loads at most 126 bits past the current position (the tuple decoder may refill again
// after a code, before its sign bits).
enum { kVLCFastMargin = 136 };

// Walks the levels of a table for the code at the top of `bits` (firstWidth = table[0]). On
// success returns true with the leaf element in *leaf and the code's length in *consumed; returns
// false for an empty entry or a link out of range.
template <class T>
inline bool vlc_walk(const T* table, uint32_t elements, unsigned firstWidth, uint64_t bits,
                     unsigned lengthMask, int32_t* leaf, unsigned* consumed)
{
    typedef std::make_unsigned_t<T> UT;
    int32_t entry = table[1 + (bits >> (64 - firstWidth))];
    unsigned width = firstWidth;
    unsigned used = 0;
    while (ZEB_UNLIKELY(!(entry & 1))) {
        uint32_t link = (uint32_t)(UT)entry >> 1;
        if (ZEB_UNLIKELY(link >= elements))
            return false;
        used += width;
        width = (unsigned)table[link];
        entry = table[link + 1 + (uint32_t)((bits << used) >> (64 - width))];
    }
    *leaf = entry;
    *consumed = used + (((uint32_t)entry >> 1) & lengthMask);
    return true;
}

// Releases a decoder or encoder state: clears its tag and frees the block if InitAlloc made it.
// A block without the tag (not a state, or released already) is left alone.
inline void vlc_release(void* block, Zeb8u* tag, const Zeb8u* expectedTag, Zeb32s isOwned)
{
    if (!vlc_has_tag(tag, expectedTag))
        return;
    memset(tag, 0, 4);
    if (isOwned == 1)
        zebsFree(block);
}

#endif // ZEB_VLC_INTERNAL_H
