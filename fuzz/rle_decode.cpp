// Generic run-length coder: arbitrary bytes decode inside the destination, to the same bytes
// with any destination that holds a run; arbitrary data coded into destinations of sizes drawn
// from the input decodes back call by call.
#include <cstdint>
#include <vector>

#include "../tests/coder_stream.h"
#include "fuzz_support.h"

using zebfuzz::Bytes;
using zebfuzz::require;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 3)
        return 0;
    const Bytes body(data + 2, data + size);
    const int len = (int)body.size();
    bool ok = true;
    auto decode = [&](int cap) {
        return zebcoder::rle_decode_unit(body.data(), len, [=] { return cap; }, &ok);
    };
    // Destinations that hold a run (3 bytes make at most 257), and one that holds everything.
    require(decode(257 + data[0] * 3) == decode(len * 86 + 2) && ok);

    zebfuzz::Sizes sizes = zebfuzz::Sizes::from(data);
    auto codeRoom = [&] { return sizes.next(1 + data[1]); };
    auto decodeRoom = [&] { return 257 + sizes.next(300); }; // holds any run
    require(zebcoder::rle_round_trip(body, codeRoom, decodeRoom, &ok) == body && ok);
    return 0;
}
