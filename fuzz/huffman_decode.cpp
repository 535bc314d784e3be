// Byte Huffman: an arbitrary packed length table and arbitrary bits decode inside the
// destination, with any source pieces; data coded with the table of its own frequencies in
// any source pieces, packed and unpacked, decodes back in any pieces; the table path and the
// code search agree.
#include <cstdint>
#include <cstring>
#include <vector>

#include "../tests/coder_stream.h"
#include "fuzz_support.h"

using zebfuzz::require;

namespace {

using zebfuzz::Bytes;

typedef zebcoder::HuffState State;

void decode_arbitrary(const Zeb8u* data, int size, int piece, int cap)
{
    Zeb32s tableLen = size, len[256];
    if (zebsHuffLenCodeTableUnpack_8u(data, &tableLen, len) != zebStsOk)
        return;
    require(tableLen >= 1 && tableLen <= size);
    State st;
    if (zebsDecodeHuffInit_8u(len, st.get()) != zebStsOk)
        return;
    for (int at = tableLen; at < size; at += piece) {
        Bytes dst(cap + 1, 0xA5);
        Zeb32s room = cap, n = size - at < piece ? size - at : piece;
        require(zebsDecodeHuff_8u(data + at, n, dst.data(), &room, st.get()) == zebStsOk);
        require(room >= 0 && room <= cap && dst[cap] == 0xA5);
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
    Bytes dst(wide + 1, 0xA5);
    Zeb32s room = wide;
    ZebStatus s = zebsDecodeHuff_8u(bits.data(), (Zeb32s)bits.size(), dst.data(), &room, st.get());
    require(s == zebStsOk && room >= 0 && room <= wide);
    for (int i = room; i <= wide; ++i) // nothing written past the reported count
        require(dst[i] == 0xA5);
}

// Codes data with the code of its own frequencies, whose lengths go to len.
void round_trip(const Zeb8u* data, int size, zebfuzz::Sizes sizes, Zeb32s len[256])
{
    Zeb32s freq[256] = {0}, back[256];
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

// Decodes src with a fresh state for the lengths: a first piece of the given size, then pieces
// of the other size, all into at most cap symbols.
Bytes decode_in_pieces(const Zeb32s len[256], const Bytes& src, size_t first, size_t piece,
                       size_t cap)
{
    bool ok = true;
    Bytes out = zebcoder::huff_decode(len, src, cap, [&, next = first]() mutable {
        size_t n = next;
        next = piece;
        return n;
    }, &ok);
    require(ok);
    return out;
}

// Calls of 4 KiB or more take the table path, shorter ones the code search: with a complete
// code (from the frequencies of the input) both read the same symbols from the input repeated
// past 4 KiB, and the state the table path leaves goes on as the other's in a last call.
void table_and_search_agree(const Zeb8u* data, int size, const Zeb32s len[256], size_t piece,
                            bool roomForAll)
{
    Bytes bits;
    while (bits.size() < 4096 + 64)
        bits.insert(bits.end(), data, data + size);
    const size_t cap = roomForAll ? bits.size() * 8 : 1 + bits.size() / 2;
    require(decode_in_pieces(len, bits, bits.size() - 64, 64, cap) ==
            decode_in_pieces(len, bits, piece, piece, cap));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 3 || size > (1 << 20))
        return 0;
    decode_arbitrary(data + 2, (int)size - 2, 1 + data[0], 1 + data[1] * 5);
    Zeb32s len[256];
    round_trip(data, (int)size, zebfuzz::Sizes::from(data), len);
    table_and_search_agree(data, (int)size, len, 1 + data[0] * 15u, (data[1] & 1) != 0);
    return 0;
}
