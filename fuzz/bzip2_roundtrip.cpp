// The whole bzip2 chain on arbitrary bytes: a .bz2 stream written by the stages must read back
// through the stages to the same bytes (run-length pieces drawn from the first byte).
#include <cstdint>

#include "../tests/bzip2_stream.h"
#include "fuzz_support.h"

using zebfuzz::require;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    const size_t piece = 1 + data[0] * 7;
    const int level = 1 + data[1] % 9;
    zebbz2::Bytes in(data + 2, data + size), back;
    zebbz2::Bytes stream = zebbz2::bz2_compress(in, level, piece);
    require(!stream.empty() && zebbz2::bz2_decompress(stream, &back) && back == in);
    return 0;
}
