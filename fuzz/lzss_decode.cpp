// LZSS: arbitrary bytes decode with any source pieces and destination sizes to the same output
// as one call with room, inside each destination, with only the documented statuses; the same
// bytes coded in source pieces drawn from the input give, in destinations of any size, the
// stream of the same pieces coded with room, which decodes back.
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

// Codes data in source pieces from `pieces` into destinations of room() bytes.
template <class Room>
Bytes encode(ZebLZSSState* st, const Bytes& data, zebfuzz::Sizes pieces, Room&& room)
{
    bool ok = true;
    Bytes out = zebcoder::lzss_encode(
        st, data.data(), data.size(), [&] { return pieces.next(700); }, room, &ok);
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

    const Bytes input(data + 2, data + size);
    const zebfuzz::Sizes pieces = zebfuzz::Sizes::from(data);
    zebfuzz::Sizes rooms = {pieces.x ^ 0x5BD1E995u};
    Bytes coded = encode(st, input, pieces, [&] { return rooms.next(1 + data[1] % 12); });
    require(encode(st, input, pieces, [] { return 4 * 700 + 16; }) == coded);
    Bytes back = decode(st, coded.data(), (int)coded.size(), 1 + data[0], body, &wholeStatus);
    require(wholeStatus == zebStsOk && back == input);
    zebsLZSSFree_8u(st);
    return 0;
}
