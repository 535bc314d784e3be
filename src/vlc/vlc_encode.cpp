// VLC encoder: signed 16-bit values to the codes of a caller's table, most significant bit first.
//
// The state is indexed directly by value: at 32 bytes from its rounded start come a length array
// of 2^tableBits entries and a code array of (largest - smallest + 1) entries, both indexed by
// value + valueOffset. Init clears both arrays, so a value that no record names (or one outside
// the table's range) has length 0 and writes nothing.
//
// Writing keeps up to 63 pending bits in a 64-bit accumulator and stores them four bytes at a
// time. Only bytes from the starting byte to the byte holding the last code bit are touched: the
// starting byte is read for its used bits, and the bits after the last code bit in its byte are
// set to 1.
#include "vlc/vlc_internal.h"

namespace {

VLCEncodeHeader* header_of(const ZebVLCEncodeState_32s* state)
{
    return (VLCEncodeHeader*)vlc_align_state(state);
}

inline const Zeb32u* codes_of(const VLCEncodeHeader* header)
{
    return header->lengths + ((size_t)1 << header->tableBits);
}

struct EncodeLayout {
    Zeb32s smallest;
    int tableBits;
    uint32_t range; // largest - smallest
    int size;
};

// Checks the records (at least one, code lengths 1..32) and sizes the state.
ZebStatus plan_encoder(const ZebVLCCodeEntry* records, int count, EncodeLayout* layout)
{
    ZEB_CHECK(count >= 1, zebStsVLCError);
    Zeb32s smallest = records[0].value, largest = records[0].value;
    for (int i = 0; i < count; ++i) {
        ZEB_CHECK(records[i].length >= 1 && records[i].length <= kVLCMaxCodeLength, zebStsVLCError);
        smallest = records[i].value < smallest ? records[i].value : smallest;
        largest = records[i].value > largest ? records[i].value : largest;
    }
    uint64_t range = (uint64_t)((int64_t)largest - smallest);
    int tableBits = vlc_bit_length(range + 1);
    uint64_t size = kVLCEncodeSizeExtra + 4 * (((uint64_t)1 << tableBits) + range + 1);
    ZEB_CHECK(size <= INT32_MAX, zebStsVLCError);
    layout->smallest = smallest;
    layout->tableBits = tableBits;
    layout->range = (uint32_t)range;
    layout->size = (int)size;
    return zebStsOk;
}

ZebStatus build_encoder(const ZebVLCCodeEntry* records, int count, void* block, Zeb32s isOwned)
{
    EncodeLayout layout;
    ZebStatus status = plan_encoder(records, count, &layout);
    if (status != zebStsOk)
        return status;
    VLCEncodeHeader* header = (VLCEncodeHeader*)vlc_align_state(block);
    memset(header->tag, 0, sizeof header->tag);
    header->lengths = (Zeb32u*)((Zeb8u*)header + kVLCEncodeHeaderSize);
    header->valueOffset = (Zeb32s)(0u - (uint32_t)layout.smallest);
    header->tableBits = layout.tableBits;
    header->isOwned = isOwned;
    Zeb32u* lengths = header->lengths;
    Zeb32u* codes = lengths + ((size_t)1 << layout.tableBits);
    memset(lengths, 0, (((size_t)1 << layout.tableBits) + layout.range + 1) * sizeof(Zeb32u));
    for (int i = count - 1; i >= 0; --i) { // the earlier record wins
        uint32_t index = (uint32_t)records[i].value + (uint32_t)header->valueOffset;
        uint32_t length = (uint32_t)records[i].length;
        lengths[index] = length;
        codes[index] = records[i].code & ((1u << (length & 31)) - 1); // 32 bits: no code bits
    }
    memcpy(header->tag, kVLCEncodeTag, sizeof header->tag);
    return zebStsOk;
}

// Pending bits right-aligned in `acc`; `count` of them (0..31 between codes) not yet stored.
struct BitWriter {
    Zeb8u* next;
    uint64_t acc;
    unsigned count;

    BitWriter(Zeb8u* p, unsigned offset)
        : next(p), acc(offset ? (uint64_t)(p[0] >> (8 - offset)) : 0), count(offset)
    {
    }
    void put(uint32_t code, unsigned length)
    {
        acc = acc << length | code;
        count += length;
        if (count >= 32) {
            count -= 32;
            uint32_t word = __builtin_bswap32((uint32_t)(acc >> count));
            zeb_store32(next, word);
            next += 4;
        }
    }
    // Stores the remaining whole bytes and the last partial one, padded with 1 bits.
    void finish(Zeb8u** ppBitStream, int* pBitOffset)
    {
        if (next == *ppBitStream && count == (unsigned)*pBitOffset)
            return; // no code bits: nothing to store
        for (; count >= 8; count -= 8)
            *next++ = (Zeb8u)(acc >> (count - 8));
        if (count)
            *next = (Zeb8u)(acc << (8 - count) | (0xFFu >> count));
        *ppBitStream = next;
        *pBitOffset = (int)count;
    }
};

struct CodeLookup {
    const Zeb32u* lengths;
    const Zeb32u* codes;
    uint32_t valueOffset;
    int tableBits;

    explicit CodeLookup(const VLCEncodeHeader* header)
        : lengths(header->lengths), codes(codes_of(header)),
          valueOffset((uint32_t)header->valueOffset), tableBits(header->tableBits)
    {
    }
    // The code's length, 0 for a value without a code.
    uint32_t length(Zeb16s value, uint32_t* index) const
    {
        *index = (uint32_t)(int32_t)value + valueOffset;
        return (*index >> tableBits) == 0 ? lengths[*index] : 0;
    }
};

ZebStatus encode(const Zeb16s* pSrc, int srcLen, Zeb8u** ppBitStream, int* pBitOffset,
                 const VLCEncodeHeader* header)
{
    CodeLookup lookup(header);
    BitWriter writer(*ppBitStream, (unsigned)*pBitOffset);
    for (int i = 0; i < srcLen; ++i) {
        uint32_t index;
        uint32_t length = lookup.length(pSrc[i], &index);
        if (length != 0)
            writer.put(lookup.codes[index], length);
    }
    writer.finish(ppBitStream, pBitOffset);
    return zebStsOk;
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsVLCEncodeGetSize_32s(const ZebVLCCodeEntry* pInputTable,
                                                     int inputTableSize, int* pSize)
{
    ZEB_CHECK(pInputTable != nullptr && pSize != nullptr, zebStsNullPtr);
    EncodeLayout layout;
    ZebStatus status = plan_encoder(pInputTable, inputTableSize, &layout);
    if (status == zebStsOk)
        *pSize = layout.size;
    return status;
}

extern "C" ZEBAPI ZebStatus zebsVLCEncodeInit_32s(const ZebVLCCodeEntry* pInputTable,
                                                  int inputTableSize, ZebVLCEncodeState_32s* pState)
{
    ZEB_CHECK(pInputTable != nullptr && pState != nullptr, zebStsNullPtr);
    return build_encoder(pInputTable, inputTableSize, pState, 0);
}

extern "C" ZEBAPI ZebStatus zebsVLCEncodeInitAlloc_32s(const ZebVLCCodeEntry* pInputTable,
                                                       int inputTableSize,
                                                       ZebVLCEncodeState_32s** ppState)
{
    ZEB_CHECK(pInputTable != nullptr && ppState != nullptr, zebStsNullPtr);
    EncodeLayout layout;
    ZebStatus status = plan_encoder(pInputTable, inputTableSize, &layout);
    if (status != zebStsOk)
        return status;
    *ppState = (ZebVLCEncodeState_32s*)zebsMalloc_8u(layout.size);
    ZEB_CHECK(*ppState != nullptr, zebStsNullPtr);
    return build_encoder(pInputTable, inputTableSize, *ppState, 1);
}

extern "C" ZEBAPI void zebsVLCEncodeFree_32s(ZebVLCEncodeState_32s* pState)
{
    if (pState == nullptr)
        return;
    VLCEncodeHeader* header = header_of(pState);
    vlc_release(pState, header->tag, kVLCEncodeTag, header->isOwned);
}

extern "C" ZEBAPI ZebStatus zebsVLCEncodeBlock_16s1u(const Zeb16s* pSrc, int srcLen,
                                                     Zeb8u** ppBitStream, int* pBitOffset,
                                                     const ZebVLCEncodeState_32s* pState)
{
    ZEB_CHECK(pSrc != nullptr && ppBitStream != nullptr && *ppBitStream != nullptr &&
                  pBitOffset != nullptr && pState != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(srcLen >= 1 && *pBitOffset >= 0 && *pBitOffset <= 7, zebStsVLCError);
    const VLCEncodeHeader* header = header_of(pState);
    ZEB_CHECK(vlc_has_tag(header->tag, kVLCEncodeTag), zebStsVLCError);
    return encode(pSrc, srcLen, ppBitStream, pBitOffset, header);
}

extern "C" ZEBAPI ZebStatus zebsVLCEncodeOne_16s1u(Zeb16s value, Zeb8u** ppBitStream,
                                                   int* pBitOffset,
                                                   const ZebVLCEncodeState_32s* pState)
{
    ZEB_CHECK(ppBitStream != nullptr && *ppBitStream != nullptr && pBitOffset != nullptr &&
                  pState != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(*pBitOffset >= 0 && *pBitOffset <= 7, zebStsVLCError);
    const VLCEncodeHeader* header = header_of(pState);
    ZEB_CHECK(vlc_has_tag(header->tag, kVLCEncodeTag), zebStsVLCError);
    return encode(&value, 1, ppBitStream, pBitOffset, header);
}

extern "C" ZEBAPI ZebStatus zebsVLCCountBits_16s32s(const Zeb16s* pSrc, int srcLen,
                                                    Zeb32s* pCountBits,
                                                    const ZebVLCEncodeState_32s* pState)
{
    ZEB_CHECK(pSrc != nullptr && pCountBits != nullptr && pState != nullptr, zebStsNullPtr);
    ZEB_CHECK(srcLen >= 1, zebStsVLCError);
    const VLCEncodeHeader* header = header_of(pState);
    ZEB_CHECK(vlc_has_tag(header->tag, kVLCEncodeTag), zebStsVLCError);
    CodeLookup lookup(header);
    uint64_t bits = 0;
    for (int i = 0; i < srcLen; ++i) {
        uint32_t index;
        bits += lookup.length(pSrc[i], &index);
    }
    ZEB_CHECK(bits <= INT32_MAX, zebStsVLCError);
    *pCountBits = (Zeb32s)bits;
    return zebStsOk;
}
