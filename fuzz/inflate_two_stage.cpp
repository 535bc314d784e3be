// Inflate, two-stage: arbitrary bytes through the block decoders to pairs (StoredHuff, FixedHuff,
// DynamicHuff) and the pairs stage, with source, pairs and destination chunk sizes drawn from the
// first bytes. A stream that ends gives the bytes of the one-stage decoders.
#include "inflate_driver.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 4)
        return 0;
    size_t srcChunk = 1 + data[0] % 16, dstChunk = 1 + (size_t)data[1] * 5, pairsChunk = 1 + data[2];
    // Every call moves the 32 KiB history, so tiny rooms get a smaller output cap.
    const size_t maxOut = dstChunk * 64 < 4096 ? dstChunk * 64 : 4096;
    inflate_fuzz::Result two =
        inflate_fuzz::two_stage(data + 3, size - 3, srcChunk, dstChunk, pairsChunk, maxOut);
    inflate_fuzz::Result one = inflate_fuzz::one_stage(data + 3, size - 3, size, maxOut, maxOut);
    zebfuzz::require(two.status != zebStsStreamEnd || one.status != zebStsStreamEnd ||
                     two.out == one.out);
    return 0;
}
