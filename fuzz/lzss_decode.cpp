// LZSS: arbitrary bytes decode with any source pieces and destination sizes to the same output
// as one call with room, inside each destination, with only the documented statuses; the same
// bytes coded into small destinations give the stream of one call with room, which decodes back.
#include <cstdint>
#include <vector>

#include "../tests/coder_stream.h"
#include "fuzz_support.h"

using zebfuzz::require;

namespace {

using zebfuzz::Bytes;

// Decodes src in pieces of at most piece bytes into destinations of cap bytes.
Bytes decode(ZebLZSSState* st, const Zeb8u* src, int size, int piece, int cap, ZebStatus* last)
{
    bool ok = true;
    Bytes out = zebcoder::lzss_decode(st, src, (size_t)size, [=] { return piece; },
                                      [=] { return cap; }, last, &ok);
    require(ok);
    return out;
}

// Codes src in one call into destinations of cap bytes, then flushes likewise.
Bytes encode(ZebLZSSState* st, const Zeb8u* src, int size, int cap)
{
    bool ok = true;
    Bytes out = zebcoder::lzss_encode(st, src, (size_t)size, [=] { return size; },
                                      [=] { return cap; }, &ok);
    require(ok);
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 3 || size > 4096)
        return 0;
    ZebLZSSState* st = nullptr;
    require(zebsDecodeLZSSInitAlloc_8u(&st) == zebStsOk);
    const int body = (int)size - 2;
    ZebStatus wholeStatus, splitStatus;
    Bytes whole = decode(st, data + 2, body, body, body * 86 + 16, &wholeStatus); // 258 per 3 bytes
    Bytes split = decode(st, data + 2, body, 1 + data[0] % 16, 1 + data[1], &splitStatus);
    require(whole == split && wholeStatus == splitStatus);

    Bytes coded = encode(st, data + 2, body, body * 2 + 16);
    require(encode(st, data + 2, body, 1 + data[1] % 8) == coded);
    Bytes back = decode(st, coded.data(), (int)coded.size(), 1 + data[0], body, &wholeStatus);
    require(wholeStatus == zebStsOk && back == Bytes(data + 2, data + size));
    zebsLZSSFree_8u(st);
    return 0;
}
