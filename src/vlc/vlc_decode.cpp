// VLC decoder: codes, most significant bit first, back to signed 16-bit values through a
// multi-level table (see vlc_internal.h for its layout).
//
// A decode peeks the longest code length of bits at the position and walks the levels with them.
// The block loop keeps the stream in a 64-bit reservoir refilled by 8-byte loads while more than
// kVLCFastMargin codes remain (those codes cover every byte a refill loads), and decodes from it
// until fewer bits than the longest code are left; the last codes, and the single decode, read
// exactly the bytes that hold the peeked bits.
#include "vlc/vlc_internal.h"

namespace {

VLCDecodeStateHeader* header_of(const ZebVLCDecodeState_32s* state)
{
    return (VLCDecodeStateHeader*)vlc_align_state(state);
}

ZebStatus plan_decoder(const ZebVLCCodeEntry* records, int count, const Zeb32s* sizes, int numSizes,
                       VLCTablePlan* plan)
{
    ZebStatus status = ownzebVLCPlanTable(records, count, sizes, numSizes, plan);
    if (status != zebStsOk)
        return status;
    ownzebVLCChooseWidth(plan, plan->levels.valueBits, kVLCDecodeSizeExtra);
    ZEB_CHECK(plan->size > 0, zebStsVLCBadParams);
    return zebStsOk;
}

ZebStatus build_decoder(const ZebVLCCodeEntry* records, int count, const Zeb32s* sizes,
                        int numSizes, void* block, Zeb32s isOwned)
{
    VLCTablePlan plan;
    ZebStatus status = plan_decoder(records, count, sizes, numSizes, &plan);
    if (status != zebStsOk)
        return status;
    VLCDecodeStateHeader* header = (VLCDecodeStateHeader*)vlc_align_state(block);
    void* table = (Zeb8u*)header + vlc_table_offset(sizeof *header);
    status = ownzebVLCDecodeBuild(&header->base, table, plan, records, count, 0xFFFFFFFFu, isOwned);
    if (status != zebStsOk)
        return status;
    header->elements = (uint32_t)plan.elements;
    memcpy(header->base.tag, kVLCDecodeTag, sizeof header->base.tag);
    return zebStsOk;
}

template <class T> struct ValueDecoder {
    const T* table;
    uint32_t elements;
    unsigned firstWidth;
    unsigned lengthMask;
    unsigned valueShift;
    int maxLength;

    explicit ValueDecoder(const VLCDecodeStateHeader* header)
        : table((const T*)header->base.table), elements(header->elements),
          firstWidth((unsigned)table[0]), lengthMask((1u << header->base.lengthBits) - 1),
          valueShift((unsigned)header->base.lengthBits + 1), maxLength(header->base.maxLength)
    {
    }
    // Decodes the code at the top of `bits`; false when the table has no such code.
    bool decode(uint64_t bits, Zeb16s* value, unsigned* consumed) const
    {
        int32_t leaf;
        if (!vlc_walk(table, elements, firstWidth, bits, lengthMask, &leaf, consumed))
            return false;
        *value = (Zeb16s)(leaf >> valueShift);
        return true;
    }
};

template <class T>
ZebStatus decode_values(const VLCDecodeStateHeader* header, Zeb8u** ppBitStream, int* pBitOffset,
                        Zeb16s* pDst, int count)
{
    const ValueDecoder<T> decoder(header);
    const Zeb8u* p = *ppBitStream;
    unsigned offset = (unsigned)*pBitOffset;
    unsigned consumed;
    int i = 0;
    if (count > kVLCFastMargin) {
        const int fastEnd = count - kVLCFastMargin;
        const unsigned peek = (unsigned)decoder.maxLength;
        VLCBitReservoir reservoir = {p, 0, 0};
        reservoir.refill();
        reservoir.consume(offset);
        while (i < fastEnd) {
            reservoir.refill();
            do { // as many codes as the reservoir surely holds
                ZEB_CHECK(decoder.decode(reservoir.bits, &pDst[i], &consumed), zebStsVLCError);
                reservoir.consume(consumed);
                ++i;
            } while (reservoir.avail >= peek && i < fastEnd);
        }
        size_t position = (size_t)(reservoir.next - p) * 8 - reservoir.avail;
        p += position >> 3;
        offset = (unsigned)(position & 7);
    }
    for (; i < count; ++i) {
        uint64_t bits = vlc_peek_exact(p, (int)offset, decoder.maxLength);
        ZEB_CHECK(decoder.decode(bits, &pDst[i], &consumed), zebStsVLCError);
        offset += consumed;
        p += offset >> 3;
        offset &= 7;
    }
    *ppBitStream = (Zeb8u*)p;
    *pBitOffset = (int)offset;
    return zebStsOk;
}

ZebStatus decode(const ZebVLCDecodeState_32s* pState, Zeb8u** ppBitStream, int* pBitOffset,
                 Zeb16s* pDst, int count)
{
    const VLCDecodeStateHeader* header = header_of(pState);
    ZEB_CHECK(vlc_has_tag(header->base.tag, kVLCDecodeTag), zebStsVLCError);
    switch (header->base.elementWidth) {
    case 8:
        return decode_values<int8_t>(header, ppBitStream, pBitOffset, pDst, count);
    case 16:
        return decode_values<int16_t>(header, ppBitStream, pBitOffset, pDst, count);
    default:
        return decode_values<int32_t>(header, ppBitStream, pBitOffset, pDst, count);
    }
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsVLCDecodeGetSize_32s(const ZebVLCCodeEntry* pInputTable,
                                                     int inputTableSize,
                                                     const Zeb32s* pSubTablesSizes,
                                                     int numSubTables, int* pSize)
{
    ZEB_CHECK(pInputTable != nullptr && pSubTablesSizes != nullptr && pSize != nullptr,
              zebStsNullPtr);
    VLCTablePlan plan;
    ZebStatus status =
        plan_decoder(pInputTable, inputTableSize, pSubTablesSizes, numSubTables, &plan);
    if (status == zebStsOk)
        *pSize = plan.size;
    return status;
}

extern "C" ZEBAPI ZebStatus zebsVLCDecodeInit_32s(const ZebVLCCodeEntry* pInputTable,
                                                  int inputTableSize, const Zeb32s* pSubTablesSizes,
                                                  int numSubTables, ZebVLCDecodeState_32s* pState)
{
    ZEB_CHECK(pInputTable != nullptr && pSubTablesSizes != nullptr && pState != nullptr,
              zebStsNullPtr);
    return build_decoder(pInputTable, inputTableSize, pSubTablesSizes, numSubTables, pState, 0);
}

extern "C" ZEBAPI ZebStatus zebsVLCDecodeInitAlloc_32s(const ZebVLCCodeEntry* pInputTable,
                                                       int inputTableSize,
                                                       const Zeb32s* pSubTablesSizes,
                                                       int numSubTables,
                                                       ZebVLCDecodeState_32s** ppState)
{
    ZEB_CHECK(pInputTable != nullptr && pSubTablesSizes != nullptr && ppState != nullptr,
              zebStsNullPtr);
    VLCTablePlan plan;
    ZebStatus status =
        plan_decoder(pInputTable, inputTableSize, pSubTablesSizes, numSubTables, &plan);
    if (status != zebStsOk)
        return status;
    *ppState = (ZebVLCDecodeState_32s*)zebsMalloc_8u(plan.size);
    ZEB_CHECK(*ppState != nullptr, zebStsNullPtr);
    status = build_decoder(pInputTable, inputTableSize, pSubTablesSizes, numSubTables, *ppState, 1);
    if (status != zebStsOk) {
        zebsFree(*ppState);
        *ppState = nullptr;
    }
    return status;
}

extern "C" ZEBAPI void zebsVLCDecodeFree_32s(ZebVLCDecodeState_32s* pState)
{
    if (pState == nullptr)
        return;
    VLCDecodeHeader* header = &header_of(pState)->base;
    vlc_release(pState, header->tag, kVLCDecodeTag, header->isOwned);
}

extern "C" ZEBAPI ZebStatus zebsVLCDecodeOne_1u16s(Zeb8u** ppBitStream, int* pBitOffset,
                                                   Zeb16s* pDst,
                                                   const ZebVLCDecodeState_32s* pState)
{
    ZEB_CHECK(ppBitStream != nullptr && *ppBitStream != nullptr && pBitOffset != nullptr &&
                  pDst != nullptr && pState != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(*pBitOffset >= 0 && *pBitOffset <= 7, zebStsVLCError);
    return decode(pState, ppBitStream, pBitOffset, pDst, 1);
}

extern "C" ZEBAPI ZebStatus zebsVLCDecodeBlock_1u16s(Zeb8u** ppBitStream, int* pBitOffset,
                                                     Zeb16s* pDst, int dstLen,
                                                     const ZebVLCDecodeState_32s* pState)
{
    ZEB_CHECK(ppBitStream != nullptr && *ppBitStream != nullptr && pBitOffset != nullptr &&
                  pDst != nullptr && pState != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(dstLen >= 1 && *pBitOffset >= 0 && *pBitOffset <= 7, zebStsVLCError);
    return decode(pState, ppBitStream, pBitOffset, pDst, dstLen);
}
