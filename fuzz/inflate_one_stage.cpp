// Inflate, one-stage: arbitrary bytes through GetBlockType, StoredBlock and the full decoders with
// source and destination chunk sizes drawn from the first two bytes. Whatever the bytes, nothing
// is read or written outside the buffers; a stream that ends decodes to the same bytes whole.
#include "inflate_driver.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 3)
        return 0;
    size_t srcChunk = 1 + data[0] % 16, dstChunk = 1 + (size_t)data[1] * 5;
    // Every call moves the 32 KiB history, so tiny rooms get a smaller output cap.
    const size_t maxOut = dstChunk * 64 < 4096 ? dstChunk * 64 : 4096;
    inflate_fuzz::Result split = inflate_fuzz::one_stage(data + 2, size - 2, srcChunk, dstChunk, maxOut);
    inflate_fuzz::Result whole = inflate_fuzz::one_stage(data + 2, size - 2, size, maxOut, maxOut);
    zebfuzz::require(split.status != zebStsStreamEnd || whole.status != zebStsStreamEnd ||
                     split.out == whole.out);
    return 0;
}
