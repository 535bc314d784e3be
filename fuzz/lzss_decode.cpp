// LZSS: arbitrary bytes decode with any source pieces and destination sizes to the same output
// as one call with room, inside each destination, with only the documented statuses; the same
// bytes coded in source pieces drawn from the input give, in destinations of any size, the
// stream of the same pieces coded with room, which decodes back into destinations of any size.
#include <cstdint>
#include <vector>

#include "../tests/coder_stream.h"
#include "fuzz_support.h"

using zebfuzz::Bytes;
using zebfuzz::require;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 3 || size > 4096)
        return 0;
    ZebLZSSState* st = nullptr;
    require(zebsDecodeLZSSInitAlloc_8u(&st) == zebStsOk);
    const Bytes input(data + 2, data + size);
    const int body = (int)input.size();
    bool ok = true;
    ZebStatus wholeStatus, splitStatus;
    Bytes whole = zebcoder::lzss_decode(st, input.data(), body, [=] { return body; },
                                        [=] { return body * 86 + 16; }, // 258 per 3 bytes
                                        &wholeStatus, &ok);
    Bytes split = zebcoder::lzss_decode(st, input.data(), body, [=] { return 1 + data[0] % 16; },
                                        [=] { return 1 + data[1]; }, &splitStatus, &ok);
    require(ok && whole == split && wholeStatus == splitStatus);

    // The same source pieces, into destinations of sizes drawn from the input and with room.
    const zebfuzz::Sizes pieces = zebfuzz::Sizes::from(data);
    zebfuzz::Sizes rooms = {pieces.x ^ 0x5BD1E995u};
    Bytes coded = zebcoder::lzss_encode(
        st, input.data(), body, [p = pieces]() mutable { return p.next(700); },
        [&] { return rooms.next(1 + data[1] % 12); }, &ok);
    require(zebcoder::lzss_encode(
                st, input.data(), body, [p = pieces]() mutable { return p.next(700); },
                [] { return 4 * 700 + 16; }, &ok) == coded);
    zebfuzz::Sizes outRooms = {pieces.x ^ 0xC2B2AE35u}; // parts of matches left pending
    Bytes back = zebcoder::lzss_decode(st, coded.data(), coded.size(), [=] { return 1 + data[0]; },
                                       [&] { return outRooms.next(260); }, &wholeStatus, &ok);
    require(ok && wholeStatus == zebStsOk && back == input);
    zebsLZSSFree_8u(st);
    return 0;
}
