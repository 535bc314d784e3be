// Generic run-length coder: arbitrary bytes decode inside the destination, to the same bytes
// with any destination that holds a run; arbitrary data coded into destinations of a size drawn
// from the input decodes back call by call.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "../tests/coder_stream.h"
#include "fuzz_support.h"

using zebfuzz::require;

namespace {

using zebfuzz::Bytes;

// Decodes one unit with destinations of cap bytes, each followed by a guard byte.
Bytes decode(const Zeb8u* unit, int len, int cap)
{
    bool ok = true;
    Bytes out = zebcoder::rle_decode_unit(unit, len, [=] { return cap; }, &ok);
    require(ok);
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 3)
        return 0;
    int decodeCap = 257 + data[0] * 3, encodeCap = 1 + data[1];
    const Zeb8u* body = data + 2;
    int len = (int)(size - 2);
    if (decode(body, len, decodeCap) != decode(body, len, len * 86 + 2)) // 3 bytes: at most 257
        abort();

    Bytes back;
    const Zeb8u* src = body;
    int srcLen = len;
    ZebStatus st = zebStsDstFull;
    while (st == zebStsDstFull) {
        Bytes unit(encodeCap);
        int unitLen = encodeCap;
        st = zebsEncodeRLE_8u(&src, &srcLen, unit.data(), &unitLen);
        require(unitLen >= 1 && unitLen <= encodeCap);
        Bytes piece = decode(unit.data(), unitLen, decodeCap);
        back.insert(back.end(), piece.begin(), piece.end());
    }
    require(st == zebStsOk && back == Bytes(body, body + len));
    return 0;
}
