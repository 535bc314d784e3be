// Byte Huffman: an arbitrary packed length table and arbitrary bits decode inside the
// destination, with any source pieces; data coded with the table of its own frequencies in
// any source pieces, packed and unpacked, decodes back in any pieces. (The table path against
// the code search: tests/test_huffman.cpp.)
#include <cstdint>
#include <cstring>
#include <vector>

#include "../tests/coder_stream.h"
#include "fuzz_support.h"

using zebfuzz::require;

namespace {

using zebfuzz::Bytes;

typedef zebcoder::HuffState State;

// Decodes with the packed table at the start of data; nothing is written past the reported count.
void decode_arbitrary(const Zeb8u* data, int size, int piece, int cap)
{
    using zebcoder::unwritten_from;
    Zeb32s tableLen = size, len[256];
    if (zebsHuffLenCodeTableUnpack_8u(data, &tableLen, len) != zebStsOk)
        return;
    require(tableLen >= 1 && tableLen <= size);
    State st;
    if (zebsDecodeHuffInit_8u(len, st.get()) != zebStsOk)
        return;
    for (int at = tableLen; at < size; at += piece) {
        Bytes dst(cap + 1, zebcoder::kGuard);
        Zeb32s room = cap, n = size - at < piece ? size - at : piece;
        require(zebsDecodeHuff_8u(data + at, n, dst.data(), &room, st.get()) == zebStsOk &&
                unwritten_from(dst, room, cap));
        if (size - at < 5)
            continue;
        Zeb8u one;
        ZebStatus s1 = zebsDecodeHuffOne_8u(data + at, at & 7, &one, st.get());
        require(s1 == zebStsOk || s1 == zebStsBadSize);
    }
    // The same bits repeated past 4 KiB go through the table path in one call.
    Bytes bits;
    while (bits.size() < 4096 && size > tableLen)
        bits.insert(bits.end(), data + tableLen, data + size);
    if (bits.empty())
        return;
    const int wide = cap * 64;
    Bytes dst(wide + 1, zebcoder::kGuard);
    Zeb32s room = wide;
    ZebStatus s = zebsDecodeHuff_8u(bits.data(), (Zeb32s)bits.size(), dst.data(), &room, st.get());
    require(s == zebStsOk && unwritten_from(dst, room, wide));
}

// Codes data with the code of its own frequencies.
void round_trip(const Zeb8u* data, int size, zebfuzz::Sizes sizes)
{
    Zeb32s freq[256] = {0}, len[256], back[256];
    for (int i = 0; i < size; ++i)
        ++freq[data[i]];
    State enc;
    // A tree 33 deep needs some 9 million bytes.
    require(zebsEncodeHuffInit_8u(freq, enc.get()) == zebStsOk);
    zebsHuffGetLenCodeTable_8u(len, enc.get());
    Zeb8u packed[300];
    Zeb32s packedLen = sizeof packed, used;
    require(zebsHuffLenCodeTablePack_8u(len, packed, &packedLen) == zebStsOk);
    used = packedLen;
    require(zebsHuffLenCodeTableUnpack_8u(packed, &used, back) == zebStsOk && used == packedLen &&
            memcmp(len, back, sizeof back) == 0);
    // The stream does not depend on the source pieces; it decodes back in other pieces.
    bool ok = true;
    auto piece = [&] { return sizes.next(5000); };
    Bytes coded = zebcoder::huff_encode(enc.get(), data, size, [=] { return size; }, &ok);
    require(zebsEncodeHuffInit_8u(freq, enc.get()) == zebStsOk);
    require(zebcoder::huff_encode(enc.get(), data, size, piece, &ok) == coded);
    Bytes out = zebcoder::huff_decode(back, coded, size, piece, &ok);
    require(ok && out == Bytes(data, data + size));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 3 || size > (1 << 20))
        return 0;
    decode_arbitrary(data + 2, (int)size - 2, 1 + data[0], 1 + data[1] * 5);
    round_trip(data, (int)size, zebfuzz::Sizes::from(data));
    return 0;
}
