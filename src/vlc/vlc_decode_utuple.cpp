// Unsigned-tuple VLC decoder: one code stands for tupleSize magnitudes of elementBits bits each,
// packed most significant element first in the leaf. Every non-zero magnitude is followed in the
// stream, after the code, by one sign bit (1 = negative), in element order.
//
// The table, its levels and the bit reading are those of the plain decoder; only the leaf payload
// and the sign bits differ. The block loop refills its reservoir before a code, and again before
// the sign bits when the code left fewer than tupleSize bits.
#include "vlc/vlc_internal.h"

namespace {

VLCUTupleStateHeader* header_of(const ZebVLCDecodeUTupleState_32s* state)
{
    return (VLCUTupleStateHeader*)vlc_align_state(state);
}

ZebStatus plan_decoder(const ZebVLCCodeEntry* records, int count, const Zeb32s* sizes, int numSizes,
                       int tupleSize, int elementBits, VLCTablePlan* plan)
{
    ZEB_CHECK(count >= 1, zebStsVLCError);
    ZEB_CHECK(tupleSize >= 1 && elementBits >= 1, zebStsTupleError);
    ZebStatus status = ownzebVLCPlanTable(records, count, sizes, numSizes, plan);
    if (status != zebStsOk)
        return status;
    int64_t tupleWidth = (int64_t)tupleSize * elementBits;
    ZEB_CHECK(tupleWidth <= kVLCMaxCodeLength, zebStsTupleError);
    ownzebVLCChooseWidth(plan, (int)tupleWidth, kVLCUTupleSizeExtra);
    ZEB_CHECK(plan->neededBits <= 32, zebStsTupleError);
    ZEB_CHECK(plan->size > 0, zebStsVLCBadParams);
    return zebStsOk;
}

ZebStatus build_decoder(const ZebVLCCodeEntry* records, int count, const Zeb32s* sizes,
                        int numSizes, int tupleSize, int elementBits, void* block, Zeb32s isOwned)
{
    VLCTablePlan plan;
    ZebStatus status = plan_decoder(records, count, sizes, numSizes, tupleSize, elementBits, &plan);
    if (status != zebStsOk)
        return status;
    VLCUTupleStateHeader* header = (VLCUTupleStateHeader*)vlc_align_state(block);
    void* table = (Zeb8u*)header + vlc_table_offset(sizeof *header);
    int tupleWidth = tupleSize * elementBits;
    status = ownzebVLCDecodeBuild(&header->base, table, plan, records, count,
                                  vlc_low_mask(tupleWidth), isOwned);
    if (status != zebStsOk)
        return status;
    header->tupleSize = tupleSize;
    header->elementBits = elementBits;
    header->tupleWidth = tupleWidth;
    header->elements = (uint32_t)plan.elements;
    memcpy(header->base.tag, kVLCDecodeTag, sizeof header->base.tag);
    return zebStsOk;
}

template <class T> struct TupleDecoder {
    const T* table;
    uint32_t elements;
    unsigned firstWidth;
    unsigned lengthMask;
    unsigned payloadShift;
    uint32_t tupleMask;
    int tupleSize;
    int elementBits;
    uint32_t elementMask;
    int maxLength;

    explicit TupleDecoder(const VLCUTupleStateHeader* header)
        : table((const T*)header->base.table), elements(header->elements),
          firstWidth((unsigned)table[0]), lengthMask((1u << header->base.lengthBits) - 1),
          payloadShift((unsigned)header->base.lengthBits + 1),
          tupleMask(vlc_low_mask(header->tupleWidth)), tupleSize(header->tupleSize),
          elementBits(header->elementBits), elementMask(vlc_low_mask(header->elementBits)),
          maxLength(header->base.maxLength)
    {
    }
    // Walks to the leaf of the code at the top of `bits`: its packed magnitudes and length.
    bool magnitudes(uint64_t bits, uint32_t* packed, unsigned* consumed) const
    {
        int32_t leaf;
        if (!vlc_walk(table, elements, firstWidth, bits, lengthMask, &leaf, consumed))
            return false;
        *packed = ((uint32_t)leaf >> payloadShift) & tupleMask;
        return true;
    }
    uint32_t magnitude(uint32_t packed, int element) const
    {
        return (packed >> ((tupleSize - 1 - element) * elementBits)) & elementMask;
    }
    int sign_bits(uint32_t packed) const
    {
        int count = 0;
        for (int e = 0; e < tupleSize; ++e)
            count += magnitude(packed, e) != 0;
        return count;
    }
    // Stores the tuple, taking the sign bits from the top of `signs`; returns how many it took.
    unsigned store(uint32_t packed, uint64_t signs, Zeb16s* out) const
    {
        unsigned taken = 0;
        for (int e = 0; e < tupleSize; ++e) {
            uint32_t m = magnitude(packed, e);
            uint32_t negative = m != 0 ? (uint32_t)((signs << taken) >> 63) : 0;
            taken += m != 0;
            out[e] = (Zeb16s)(negative ? 0u - m : m);
        }
        return taken;
    }
};

template <class T>
ZebStatus decode_tuples(const VLCUTupleStateHeader* header, Zeb8u** ppBitStream, int* pBitOffset,
                        Zeb16s* pDst, int count)
{
    const TupleDecoder<T> decoder(header);
    const Zeb8u* p = *ppBitStream;
    unsigned offset = (unsigned)*pBitOffset;
    uint32_t packed;
    unsigned consumed;
    int i = 0;
    if (count > kVLCFastMargin) {
        const int fastEnd = count - kVLCFastMargin;
        const unsigned peek = (unsigned)(decoder.maxLength + decoder.tupleSize);
        VLCBitReservoir reservoir = {p, 0, 0};
        reservoir.refill();
        reservoir.consume(offset);
        while (i < fastEnd) {
            reservoir.refill();
            do {
                ZEB_CHECK(decoder.magnitudes(reservoir.bits, &packed, &consumed), zebStsVLCError);
                reservoir.consume(consumed);
                if (reservoir.avail < (unsigned)decoder.tupleSize)
                    reservoir.refill(); // a peek beyond 56 bits
                Zeb16s* out = pDst + (size_t)i * (size_t)decoder.tupleSize;
                reservoir.consume(decoder.store(packed, reservoir.bits, out));
                ++i;
            } while (reservoir.avail >= peek && i < fastEnd);
        }
        size_t position = (size_t)(reservoir.next - p) * 8 - reservoir.avail;
        p += position >> 3;
        offset = (unsigned)(position & 7);
    }
    for (; i < count; ++i) {
        uint64_t bits = vlc_peek_exact(p, (int)offset, decoder.maxLength);
        ZEB_CHECK(decoder.magnitudes(bits, &packed, &consumed), zebStsVLCError);
        offset += consumed;
        p += offset >> 3;
        offset &= 7;
        int signCount = decoder.sign_bits(packed);
        uint64_t signs = signCount ? vlc_peek_exact(p, (int)offset, signCount) : 0;
        offset += decoder.store(packed, signs, pDst + (size_t)i * (size_t)decoder.tupleSize);
        p += offset >> 3;
        offset &= 7;
    }
    *ppBitStream = (Zeb8u*)p;
    *pBitOffset = (int)offset;
    return zebStsOk;
}

ZebStatus decode(const ZebVLCDecodeUTupleState_32s* pState, Zeb8u** ppBitStream, int* pBitOffset,
                 Zeb16s* pDst, int count)
{
    const VLCUTupleStateHeader* header = header_of(pState);
    ZEB_CHECK(vlc_has_tag(header->base.tag, kVLCDecodeTag), zebStsVLCError);
    switch (header->base.elementWidth) {
    case 8:
        return decode_tuples<int8_t>(header, ppBitStream, pBitOffset, pDst, count);
    case 16:
        return decode_tuples<int16_t>(header, ppBitStream, pBitOffset, pDst, count);
    default:
        return decode_tuples<int32_t>(header, ppBitStream, pBitOffset, pDst, count);
    }
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsVLCDecodeUTupleGetSize_32s(const ZebVLCCodeEntry* pInputTable,
                                                           int inputTableSize,
                                                           const Zeb32s* pSubTablesSizes,
                                                           int numSubTables, int tupleSize,
                                                           int elementBits, int* pSize)
{
    ZEB_CHECK(pInputTable != nullptr && pSubTablesSizes != nullptr && pSize != nullptr,
              zebStsNullPtr);
    VLCTablePlan plan;
    ZebStatus status = plan_decoder(pInputTable, inputTableSize, pSubTablesSizes, numSubTables,
                                    tupleSize, elementBits, &plan);
    if (status == zebStsOk)
        *pSize = plan.size;
    return status;
}

extern "C" ZEBAPI ZebStatus zebsVLCDecodeUTupleInit_32s(
    const ZebVLCCodeEntry* pInputTable, int inputTableSize, const Zeb32s* pSubTablesSizes,
    int numSubTables, int tupleSize, int elementBits, ZebVLCDecodeUTupleState_32s* pState)
{
    ZEB_CHECK(pInputTable != nullptr && pSubTablesSizes != nullptr && pState != nullptr,
              zebStsNullPtr);
    return build_decoder(pInputTable, inputTableSize, pSubTablesSizes, numSubTables, tupleSize,
                         elementBits, pState, 0);
}

extern "C" ZEBAPI ZebStatus zebsVLCDecodeUTupleInitAlloc_32s(
    const ZebVLCCodeEntry* pInputTable, int inputTableSize, const Zeb32s* pSubTablesSizes,
    int numSubTables, int tupleSize, int elementBits, ZebVLCDecodeUTupleState_32s** ppState)
{
    ZEB_CHECK(pInputTable != nullptr && pSubTablesSizes != nullptr && ppState != nullptr,
              zebStsNullPtr);
    VLCTablePlan plan;
    ZebStatus status = plan_decoder(pInputTable, inputTableSize, pSubTablesSizes, numSubTables,
                                    tupleSize, elementBits, &plan);
    if (status != zebStsOk)
        return status;
    *ppState = (ZebVLCDecodeUTupleState_32s*)zebsMalloc_8u(plan.size);
    ZEB_CHECK(*ppState != nullptr, zebStsNullPtr);
    status = build_decoder(pInputTable, inputTableSize, pSubTablesSizes, numSubTables, tupleSize,
                           elementBits, *ppState, 1);
    if (status != zebStsOk) {
        zebsFree(*ppState);
        *ppState = nullptr;
    }
    return status;
}

extern "C" ZEBAPI void zebsVLCDecodeUTupleFree_32s(ZebVLCDecodeUTupleState_32s* pState)
{
    if (pState == nullptr)
        return;
    VLCDecodeHeader* header = &header_of(pState)->base;
    vlc_release(pState, header->tag, kVLCDecodeTag, header->isOwned);
}

extern "C" ZEBAPI ZebStatus zebsVLCDecodeUTupleOne_1u16s(Zeb8u** ppBitStream, int* pBitOffset,
                                                         Zeb16s* pDst,
                                                         const ZebVLCDecodeUTupleState_32s* pState)
{
    ZEB_CHECK(ppBitStream != nullptr && *ppBitStream != nullptr && pBitOffset != nullptr &&
                  pDst != nullptr && pState != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(*pBitOffset >= 0 && *pBitOffset <= 7, zebStsVLCError);
    return decode(pState, ppBitStream, pBitOffset, pDst, 1);
}

extern "C" ZEBAPI ZebStatus
zebsVLCDecodeUTupleBlock_1u16s(Zeb8u** ppBitStream, int* pBitOffset, Zeb16s* pDst, int dstLen,
                               const ZebVLCDecodeUTupleState_32s* pState)
{
    ZEB_CHECK(ppBitStream != nullptr && *ppBitStream != nullptr && pBitOffset != nullptr &&
                  pDst != nullptr && pState != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(dstLen >= 1 && *pBitOffset >= 0 && *pBitOffset <= 7, zebStsVLCError);
    return decode(pState, ppBitStream, pBitOffset, pDst, dstLen);
}
