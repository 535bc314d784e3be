// Deflate encoder: arbitrary bytes through LZ77 and the block writers (tests/deflate_stream.h)
// with a level, chunk sizes, pair and byte room drawn from the first bytes and the block kind
// and flush of every chunk from the data; every call's status, room and pairs are checked there,
// and zlib must inflate the zlib stream back to the bytes.
#include <cstdint>

#include "../tests/deflate_stream.h"
#include "fuzz_support.h"

#ifdef ZEBDC_HAVE_ZLIB
#include <zlib.h>
#endif

using zebfuzz::require;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 4)
        return 0;
    zebdeflate::Options o;
    o.level = data[0] % 3;
    o.chunk = 1 + data[1] * 37;
    o.pairRoom = 1 + data[2] % 64 * 100;
    o.ownPairs = data[2] >> 6 & 1;
    o.byteRoom = 1 + data[3] % 32;
    const zebdeflate::Bytes input(data + 4, data + size);
    o.plan = input;
    const zebdeflate::Stream s = zebdeflate::compress(input, o);
    require(s.ok);
#ifdef ZEBDC_HAVE_ZLIB
    zebdeflate::Bytes out(input.size() + 1);
    uLongf outLen = (uLongf)out.size();
    uLong srcLen = (uLong)s.bytes.size();
    require(uncompress2(out.data(), &outLen, s.bytes.data(), &srcLen) == Z_OK);
    out.resize(outLen);
    require(srcLen == s.bytes.size() && out == input);
#endif
    return 0;
}
