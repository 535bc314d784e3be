// VLC decoders: an arbitrary code table (prefix-free or not, any lengths and sub-table sizes) and
// arbitrary bits. The stream buffer ends exactly where the documented reach of dstLen codes of
// the longest length ends, so any read past it faults under ASan. The block form must agree with
// single decodes. (Encoder and decoders against a reference writer: tests/test_vlc.cpp.)
//
// Input: [records n-1] [levels] [sizes...] [tuple] [offset] n * {value:2 code:4 length:1} bits...
#include <cstdint>
#include <vector>

#include "fuzz_support.h"

using zebfuzz::require;

namespace {

enum { kMaxStateSize = 1 << 16 };

struct Input {
    const uint8_t* data;
    size_t size;
    uint8_t byte() { return size ? (--size, *data++) : 0; }
    uint32_t word()
    {
        uint32_t w = 0;
        for (int i = 0; i < 4; ++i)
            w = w << 8 | byte();
        return w;
    }
};

// Decodes dstLen codes (of `width` values each) with the block form and one by one: both must
// end with the same status, and on success with the same values and position.
template <class State>
void block_and_single(ZebStatus (*decodeBlock)(Zeb8u**, int*, Zeb16s*, int, const State*),
                      ZebStatus (*decodeOne)(Zeb8u**, int*, Zeb16s*, const State*),
                      const State* state, std::vector<Zeb8u>& stream, int offset, int dstLen,
                      size_t width)
{
    std::vector<Zeb16s> block((size_t)dstLen * width), single(block.size());
    Zeb8u* p = stream.data();
    int off = offset;
    ZebStatus status = decodeBlock(&p, &off, block.data(), dstLen, state);
    Zeb8u* q = stream.data();
    int qOff = offset;
    ZebStatus one = zebStsOk;
    for (int i = 0; i < dstLen && one == zebStsOk; ++i)
        one = decodeOne(&q, &qOff, &single[(size_t)i * width], state);
    require(status == one);
    require(status != zebStsOk || (block == single && p == q && off == qOff));
    require(status == zebStsOk || status == zebStsVLCError);
}

// Whether the decoder was built from a table its GetSize accepted: only codes that are prefixes
// of one another, found while building, may still be refused.
bool built(ZebStatus status)
{
    require(status == zebStsOk || status == zebStsVLCBadParams);
    return status == zebStsOk;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Input in = {data, size};
    int count = 1 + in.byte() % 64;
    std::vector<Zeb32s> sizes(in.byte() % 5);
    for (auto& s : sizes)
        s = in.byte() % 11; // 0 is refused
    uint8_t tuple = in.byte();
    int tupleSize = tuple & 7, elementBits = tuple >> 3 & 7; // tupleSize 0: plain decoder
    int offset = in.byte() % 8;
    std::vector<ZebVLCCodeEntry> table(count);
    int maxLength = 0;
    for (auto& e : table) {
        e.value = (Zeb16s)(in.byte() << 8 | in.byte());
        e.code = in.word();
        e.length = in.byte() % 34; // 0 and 33 are refused
        maxLength = e.length > maxLength ? e.length : maxLength;
    }
    if (sizes.empty())
        sizes.push_back(32);
    int peek = maxLength + tupleSize;
    size_t bytes = in.size;
    int dstLen = bytes > 0 && peek > 0 ? (int)((bytes * 8 - offset) / peek) : 0;
    if (dstLen < 1)
        return 0;
    std::vector<Zeb8u> stream(in.data, in.data + bytes);
    const int levels = (int)sizes.size();
    int stateSize = 0;
    const ZebStatus status =
        tupleSize ? zebsVLCDecodeUTupleGetSize_32s(table.data(), count, sizes.data(), levels,
                                                   tupleSize, elementBits, &stateSize)
                  : zebsVLCDecodeGetSize_32s(table.data(), count, sizes.data(), levels, &stateSize);
    require(status == zebStsOk || status == zebStsVLCBadParams ||
            (tupleSize && status == zebStsTupleError));
    if (status != zebStsOk || stateSize > kMaxStateSize)
        return 0; // refused; large tables only slow the search down
    if (tupleSize == 0) {
        ZebVLCDecodeState_32s* state = nullptr;
        if (!built(zebsVLCDecodeInitAlloc_32s(table.data(), count, sizes.data(), levels, &state)))
            return 0;
        block_and_single(zebsVLCDecodeBlock_1u16s, zebsVLCDecodeOne_1u16s, state, stream, offset,
                         dstLen, 1);
        zebsVLCDecodeFree_32s(state);
    } else {
        ZebVLCDecodeUTupleState_32s* state = nullptr;
        if (!built(zebsVLCDecodeUTupleInitAlloc_32s(table.data(), count, sizes.data(), levels,
                                                    tupleSize, elementBits, &state)))
            return 0;
        block_and_single(zebsVLCDecodeUTupleBlock_1u16s, zebsVLCDecodeUTupleOne_1u16s, state,
                         stream, offset, dstLen, (size_t)tupleSize);
        zebsVLCDecodeUTupleFree_32s(state);
    }
    return 0;
}
