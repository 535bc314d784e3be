// The general-purpose coders on arbitrary bytes, each call with its own source piece and
// destination size drawn from the first input byte: run-length units decode back call by call;
// LZSS gives the stream of the same source pieces coded with room (any destination sizes) and
// decodes back in other pieces; the byte Huffman stream does not depend on the source pieces
// and decodes back in pieces.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "../tests/coder_stream.h"
#include "fuzz_support.h"

namespace {

using zebfuzz::Bytes;
using zebfuzz::require;

// A small generator for the sizes of the calls (xorshift32).
struct Sizes {
    Zeb32u x;
    int next(int most) // 1 .. most
    {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        return 1 + (int)(x % (Zeb32u)most);
    }
};

void rle_round_trip(const Bytes& data, Sizes sizes)
{
    Bytes back;
    const Zeb8u* src = data.data();
    int srcLen = (int)data.size();
    bool ok = true;
    for (ZebStatus st = zebStsDstFull; st == zebStsDstFull;) {
        const int cap = sizes.next(300);
        Bytes unit(cap);
        int unitLen = cap;
        st = zebsEncodeRLE_8u(&src, &srcLen, unit.data(), &unitLen);
        require((st == zebStsOk || st == zebStsDstFull) && unitLen >= 1 && unitLen <= cap);
        Bytes piece = zebcoder::rle_decode_unit(
            unit.data(), unitLen, [&] { return 257 + sizes.next(300); }, &ok); // holds any run
        back.insert(back.end(), piece.begin(), piece.end());
    }
    require(ok && back == data);
}

// The same source pieces coded into destinations of any size and with room give one stream.
void lzss_round_trip(const Bytes& data, Sizes sizes)
{
    ZebLZSSState* st = nullptr;
    require(zebsEncodeLZSSInitAlloc_8u(&st) == zebStsOk);
    Sizes pieces = sizes, samePieces = sizes, rooms = {sizes.x ^ 0x5BD1E995u};
    bool ok = true;
    const Bytes coded = zebcoder::lzss_encode(
        st, data.data(), data.size(), [&] { return pieces.next(700); },
        [&] { return rooms.next(12); }, &ok);
    require(coded == zebcoder::lzss_encode(
                         st, data.data(), data.size(), [&] { return samePieces.next(700); },
                         [] { return 4 * 700 + 16; }, &ok));
    ZebStatus last;
    Bytes back = zebcoder::lzss_decode(
        st, coded.data(), coded.size(), [&] { return sizes.next(40); },
        [&] { return sizes.next(300); }, &last, &ok);
    require(ok && last == zebStsOk && back == data);
    zebsLZSSFree_8u(st);
}

void huffman_round_trip(const Bytes& data, Sizes sizes)
{
    Zeb32s freq[256] = {0}, len[256];
    for (Zeb8u b : data)
        ++freq[b];
    ZebHuffState* enc = nullptr;
    require(zebsEncodeHuffInitAlloc_8u(freq, &enc) == zebStsOk);
    zebsHuffGetLenCodeTable_8u(len, enc);
    bool ok = true;
    auto piece = [&] { return sizes.next(5000); };
    Bytes whole = zebcoder::huff_encode(enc, data.data(), data.size(), [&] { return data.size(); },
                                        &ok);
    require(zebsEncodeHuffInit_8u(freq, enc) == zebStsOk);
    require(zebcoder::huff_encode(enc, data.data(), data.size(), piece, &ok) == whole);
    require(zebcoder::huff_decode(len, whole, data.size(), piece, &ok) == data && ok);
    zebsHuffFree_8u(enc);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2 || size > (1 << 18))
        return 0;
    const Bytes body(data + 1, data + size);
    const Sizes sizes = {0x9E3779B9u ^ data[0] * 0x01000193u};
    rle_round_trip(body, sizes);
    lzss_round_trip(body, sizes);
    huffman_round_trip(body, sizes);
    return 0;
}
