// Multi-level decode tables: the parameter check, the table size and the builders for 8-, 16-
// and 32-bit elements (one template).
//
// The caller lists sub-table sizes s0, s1, ...; the levels used are the shortest prefix of the
// list whose sum reaches the longest code, the last one cut so that the sum is exactly the
// longest code length. The first level is one sub-table of 2^s0 entries; level k holds one
// sub-table of 2^sk entries for each distinct prefix of length s0 + ... + s(k-1) of a longer code.
#include "vlc/vlc_internal.h"

namespace {

enum { kSortedCountLimit = 1024 };

inline uint32_t code_bits(const ZebVLCCodeEntry& entry)
{
    return entry.code & vlc_low_mask(entry.length);
}

// The first `prefix` bits of the record's code (prefix < length).
inline Zeb32s code_prefix(const ZebVLCCodeEntry& entry, int prefix)
{
    return (Zeb32s)(code_bits(entry) >> (entry.length - prefix));
}

// Sum of the widths of the levels before `level`.
inline int bits_before(const VLCLevels& levels, int level)
{
    int sum = 0;
    for (int k = 0; k < level; ++k)
        sum += levels.width[k];
    return sum;
}

// Number of code bits a record's leaf holds: the bits left after the levels it passes through.
int leaf_bits(const VLCLevels& levels, int length)
{
    int sum = 0;
    for (int k = 0;; ++k) {
        if (sum + levels.width[k] >= length)
            return length - sum;
        sum += levels.width[k];
    }
}

// Distinct `prefix`-bit prefixes of codes longer than `prefix`, by sorting them (few records).
uint32_t count_prefixes_sorted(const ZebVLCCodeEntry* records, int count, int prefix)
{
    Zeb32s prefixes[kSortedCountLimit];
    int n = 0;
    for (int i = 0; i < count; ++i)
        if (records[i].length > prefix)
            prefixes[n++] = code_prefix(records[i], prefix);
    if (n == 0)
        return 0;
    zebsSortAscend_32s_I(prefixes, n);
    uint32_t distinct = 1;
    for (int i = 1; i < n; ++i)
        distinct += prefixes[i] != prefixes[i - 1];
    return distinct;
}

// The same count without scratch memory: a prefix counts at its first occurrence.
uint32_t count_prefixes_pairwise(const ZebVLCCodeEntry* records, int count, int prefix)
{
    uint32_t distinct = 0;
    for (int i = 0; i < count; ++i) {
        if (records[i].length <= prefix)
            continue;
        Zeb32s own = code_prefix(records[i], prefix);
        bool seen = false;
        for (int j = 0; j < i && !seen; ++j)
            seen = records[j].length > prefix && code_prefix(records[j], prefix) == own;
        distinct += !seen;
    }
    return distinct;
}

template <class T> class TableBuilder {
  public:
    TableBuilder(T* table, uint32_t elements, const VLCLevels& levels, uint32_t payloadMask)
        : table_(table), elements_(elements), levels_(levels), payloadMask_(payloadMask)
    {
    }

    bool build(const ZebVLCCodeEntry* records, int count)
    {
        for (uint32_t i = 0; i < elements_; ++i)
            table_[i] = (T)-2;
        table_[0] = (T)levels_.width[0];
        nextFree_ = (1u << levels_.width[0]) + 1;
        for (int i = 0; i < count; ++i)
            if (!add(records[i]))
                return false;
        return true;
    }

  private:
    static constexpr T kEmpty = (T)-2;

    // Walks the record's code down the levels, making sub-tables on the way, and writes its
    // leaf into every entry whose index starts with the code's last bits.
    bool add(const ZebVLCCodeEntry& record)
    {
        const int length = record.length;
        const uint32_t code = code_bits(record);
        uint32_t base = 0;
        int sum = 0;
        for (int k = 0;; ++k) {
            const int width = levels_.width[k];
            sum += width;
            if (sum >= length)
                return put_leaf(base, record.value, code & vlc_low_mask(length - (sum - width)),
                                length - (sum - width), sum - length);
            T* slot = &table_[base + 1 + ((code >> (length - sum)) & vlc_low_mask(width))];
            if (*slot == kEmpty && !open_sub_table(slot, levels_.width[k + 1]))
                return false;
            if (*slot & 1)
                return false; // a shorter code is a prefix of this one
            base = (uint32_t)(std::make_unsigned_t<T>)*slot >> 1;
        }
    }

    bool open_sub_table(T* slot, int width)
    {
        uint32_t span = (1u << width) + 1;
        if (span > elements_ - nextFree_)
            return false;
        *slot = (T)(nextFree_ << 1);
        table_[nextFree_] = (T)width;
        nextFree_ += span;
        return true;
    }

    bool put_leaf(uint32_t base, Zeb32s value, uint32_t bits, int bitsHere, int spare)
    {
        uint32_t payload = ((uint32_t)value & payloadMask_) << (levels_.lengthBits + 1);
        T leaf = (T)(payload | (uint32_t)bitsHere << 1 | 1u);
        T* first = &table_[base + 1 + (bits << spare)];
        for (uint32_t j = 0; j < (1u << spare); ++j) {
            if (first[j] != kEmpty)
                return false; // this code is a prefix of another one, or equal to it
            first[j] = leaf;
        }
        return true;
    }

    T* table_;
    uint32_t elements_;
    const VLCLevels& levels_;
    uint32_t payloadMask_;
    uint32_t nextFree_ = 0;
};

template <class T>
ZebStatus build_table(void* table, uint32_t elements, const ZebVLCCodeEntry* records, int count,
                      const VLCLevels& levels, uint32_t payloadMask)
{
    TableBuilder<T> builder((T*)table, elements, levels, payloadMask);
    ZEB_CHECK(builder.build(records, count), zebStsVLCBadParams);
    return zebStsOk;
}

} // namespace

ZebStatus ownzebVLCBadParams(const ZebVLCCodeEntry* pInputTable, int inputTableSize,
                             const Zeb32s* pSubTablesSizes, int numSubTables, VLCLevels* levels)
{
    int maxLength = 0;
    uint32_t maxMagnitude = 0;
    for (int i = 0; i < inputTableSize; ++i) {
        const ZebVLCCodeEntry& record = pInputTable[i];
        ZEB_CHECK(record.length >= 1 && record.length <= kVLCMaxCodeLength, zebStsVLCBadParams);
        if (record.length > maxLength)
            maxLength = record.length;
        uint32_t magnitude =
            record.value < 0 ? 0u - (uint32_t)record.value : (uint32_t)record.value;
        if (magnitude > maxMagnitude)
            maxMagnitude = magnitude;
    }
    int sum = 0;
    levels->count = 0;
    while (sum < maxLength) {
        ZEB_CHECK(levels->count < numSubTables, zebStsVLCBadParams);
        Zeb32s size = pSubTablesSizes[levels->count];
        ZEB_CHECK(size >= 1, zebStsVLCBadParams);
        int width = size < maxLength - sum ? size : maxLength - sum;
        levels->width[levels->count++] = width;
        sum += width;
    }
    levels->maxLength = maxLength;
    int maxLeafBits = 0;
    for (int i = 0; i < inputTableSize; ++i) {
        int bits = leaf_bits(*levels, pInputTable[i].length);
        if (bits > maxLeafBits)
            maxLeafBits = bits;
    }
    levels->lengthBits = vlc_bit_length((uint64_t)maxLeafBits);
    levels->valueBits = vlc_bit_length(maxMagnitude) + 1;
    return zebStsOk;
}

uint64_t ownzebGetVLCInternalTableSize(const ZebVLCCodeEntry* pInputTable, int inputTableSize,
                                       const VLCLevels& levels)
{
    uint64_t elements = ((uint64_t)1 << levels.width[0]) + 1;
    for (int k = 1; k < levels.count; ++k) {
        int prefix = bits_before(levels, k);
        uint32_t prefixes = inputTableSize < kSortedCountLimit
                                ? count_prefixes_sorted(pInputTable, inputTableSize, prefix)
                                : count_prefixes_pairwise(pInputTable, inputTableSize, prefix);
        elements += (uint64_t)prefixes * (((uint64_t)1 << levels.width[k]) + 1);
    }
    return elements;
}

ZebStatus ownzebVLCInternalTableInit(void* table, int elementWidth, uint32_t elements,
                                     const ZebVLCCodeEntry* pInputTable, int inputTableSize,
                                     const VLCLevels& levels, uint32_t payloadMask)
{
    switch (elementWidth) {
    case 8:
        return build_table<int8_t>(table, elements, pInputTable, inputTableSize, levels,
                                   payloadMask);
    case 16:
        return build_table<int16_t>(table, elements, pInputTable, inputTableSize, levels,
                                    payloadMask);
    default:
        return build_table<int32_t>(table, elements, pInputTable, inputTableSize, levels,
                                    payloadMask);
    }
}

ZebStatus ownzebVLCPlanTable(const ZebVLCCodeEntry* pInputTable, int inputTableSize,
                             const Zeb32s* pSubTablesSizes, int numSubTables, VLCTablePlan* plan)
{
    ZEB_CHECK(inputTableSize >= 1, zebStsVLCError);
    ZebStatus status = ownzebVLCBadParams(pInputTable, inputTableSize, pSubTablesSizes,
                                          numSubTables, &plan->levels);
    if (status != zebStsOk)
        return status;
    plan->elements = ownzebGetVLCInternalTableSize(pInputTable, inputTableSize, plan->levels);
    return zebStsOk;
}

void ownzebVLCChooseWidth(VLCTablePlan* plan, int payloadBits, int sizeExtra)
{
    int leafBits = payloadBits + plan->levels.lengthBits + 1;
    int linkBits = vlc_bit_length(plan->elements + 1) + 1;
    plan->neededBits = leafBits > linkBits ? leafBits : linkBits;
    plan->elementWidth = vlc_element_width(plan->neededBits);
    uint64_t bytes = plan->elements * (uint64_t)(plan->elementWidth / 8) + (uint64_t)sizeExtra;
    plan->size = bytes <= INT32_MAX ? (int)bytes : -1;
}

ZebStatus ownzebVLCDecodeBuild(VLCDecodeHeader* header, void* table, const VLCTablePlan& plan,
                               const ZebVLCCodeEntry* pInputTable, int inputTableSize,
                               uint32_t payloadMask, Zeb32s isOwned)
{
    memset(header->tag, 0, sizeof header->tag);
    header->isOwned = isOwned;
    header->maxLength = plan.levels.maxLength;
    header->table = table;
    header->elementWidth = plan.elementWidth;
    header->lengthBits = plan.levels.lengthBits;
    return ownzebVLCInternalTableInit(table, plan.elementWidth, (uint32_t)plan.elements,
                                      pInputTable, inputTableSize, plan.levels, payloadMask);
}
