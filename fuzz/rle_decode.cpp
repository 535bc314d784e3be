// Generic run-length coder: arbitrary bytes decode inside the destination, to the same bytes
// with any destination that holds a run; arbitrary data coded into destinations of sizes drawn
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
    const Bytes body(data + 2, data + size);
    const int len = (int)body.size();
    if (decode(body.data(), len, 257 + data[0] * 3) != decode(body.data(), len, len * 86 + 2))
        abort(); // 3 bytes: at most 257

    zebfuzz::Sizes sizes = zebfuzz::Sizes::from(data);
    auto codeRoom = [&] { return sizes.next(1 + data[1]); };
    auto decodeRoom = [&] { return 257 + sizes.next(300); }; // holds any run
    bool ok = true;
    require(zebcoder::rle_round_trip(body, codeRoom, decodeRoom, &ok) == body && ok);
    return 0;
}
