// The general-purpose coders on arbitrary bytes, each call with its own source piece and
// destination size drawn from the first input byte: run-length units decode back call by call;
// LZSS gives the stream of the same source pieces coded with room (any destination sizes) and
// decodes back in other pieces; the byte Huffman stream does not depend on the source pieces
// and decodes back in pieces.
#include <algorithm>
#include <cstdint>
#include <vector>

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
    for (ZebStatus st = zebStsDstFull; st == zebStsDstFull;) {
        const int cap = sizes.next(300);
        Bytes unit(cap);
        int unitLen = cap;
        st = zebsEncodeRLE_8u(&src, &srcLen, unit.data(), &unitLen);
        require((st == zebStsOk || st == zebStsDstFull) && unitLen >= 1 && unitLen <= cap);
        const Zeb8u* in = unit.data();
        for (ZebStatus dst = zebStsDstFull; dst == zebStsDstFull;) {
            const int room = 257 + sizes.next(300); // holds any run
            Bytes out(room + 1, 0xA5);
            int outLen = room;
            dst = zebsDecodeRLE_8u(&in, &unitLen, out.data(), &outLen);
            require((dst == zebStsOk || dst == zebStsDstFull) && outLen >= 1 && out[room] == 0xA5);
            back.insert(back.end(), out.begin(), out.begin() + outLen);
        }
    }
    require(back == data);
}

// Codes data in the given source pieces; destination sizes from sizes, or room when none.
Bytes lzss_encode(ZebLZSSState* st, const Bytes& data, const std::vector<int>& pieces,
                  Sizes* sizes)
{
    zebsEncodeLZSSInit_8u(st);
    Bytes out;
    size_t at = 0;
    for (size_t i = 0; i <= pieces.size(); ++i) {
        const bool flush = i == pieces.size();
        Zeb8u* src = const_cast<Zeb8u*>(data.data()) + at;
        Zeb32s left = flush ? 0 : pieces[i];
        for (ZebStatus s = zebStsDstFull; s == zebStsDstFull;) {
            const int cap = sizes ? sizes->next(12) : 4 * left + 16;
            Bytes dst(cap);
            Zeb8u* d = dst.data();
            Zeb32s room = cap;
            s = flush ? zebsEncodeLZSSFlush_8u(&d, &room, st)
                      : zebsEncodeLZSS_8u(&src, &left, &d, &room, st);
            require((s == zebStsOk || s == zebStsDstFull) && d - dst.data() == cap - room);
            out.insert(out.end(), dst.data(), d);
        }
        require(left == 0);
        at += flush ? 0 : pieces[i];
    }
    return out;
}

void lzss_round_trip(const Bytes& data, Sizes sizes)
{
    ZebLZSSState* st = nullptr;
    require(zebsEncodeLZSSInitAlloc_8u(&st) == zebStsOk);
    std::vector<int> pieces;
    for (size_t at = 0; at < data.size(); at += pieces.back())
        pieces.push_back(std::min(sizes.next(700), (int)(data.size() - at)));
    const Bytes coded = lzss_encode(st, data, pieces, &sizes);
    require(coded == lzss_encode(st, data, pieces, nullptr));

    zebsDecodeLZSSInit_8u(st);
    Bytes back;
    size_t at = 0;
    for (ZebStatus s = zebStsDstFull; s == zebStsDstFull || at < coded.size();) {
        const int piece = std::min(sizes.next(40), (int)(coded.size() - at));
        const int cap = sizes.next(300);
        Bytes dst(cap);
        Zeb8u* in = const_cast<Zeb8u*>(coded.data()) + at;
        Zeb8u* d = dst.data();
        Zeb32s left = piece, room = cap;
        s = zebsDecodeLZSS_8u(&in, &left, &d, &room, st);
        require((s == zebStsOk || s == zebStsDstFull) && d - dst.data() == cap - room);
        back.insert(back.end(), dst.data(), d);
        at += piece - left;
    }
    require(back == data);
    zebsLZSSFree_8u(st);
}

void huffman_round_trip(const Bytes& data, Sizes sizes)
{
    Zeb32s freq[256] = {0}, len[256];
    for (Zeb8u b : data)
        ++freq[b];
    ZebHuffState *enc = nullptr, *dec = nullptr;
    require(zebsEncodeHuffInitAlloc_8u(freq, &enc) == zebStsOk);
    zebsHuffGetLenCodeTable_8u(len, enc);
    Zeb32s bound = 0;
    require(zebsHuffGetDstBuffSize_8u(len, (Zeb32s)data.size(), &bound, nullptr) == zebStsOk);
    Bytes whole(bound), split(bound);
    Zeb32s wholeLen = 0, tail = 0, splitLen = 0;
    zebsEncodeHuff_8u(data.data(), (Zeb32s)data.size(), whole.data(), &wholeLen, enc);
    zebsEncodeHuffFinal_8u(whole.data() + wholeLen, &tail, enc);
    whole.resize(wholeLen + tail);
    require(zebsEncodeHuffInit_8u(freq, enc) == zebStsOk);
    for (size_t at = 0, piece; at < data.size(); at += piece) {
        piece = std::min((size_t)sizes.next(5000), data.size() - at);
        Zeb32s written = 0;
        zebsEncodeHuff_8u(&data[at], (Zeb32s)piece, split.data() + splitLen, &written, enc);
        require(written % 4 == 0);
        splitLen += written;
    }
    zebsEncodeHuffFinal_8u(split.data() + splitLen, &tail, enc);
    split.resize(splitLen + tail);
    require(split == whole);

    require(zebsDecodeHuffInitAlloc_8u(len, &dec) == zebStsOk);
    Bytes back(data.size());
    size_t made = 0;
    for (size_t at = 0, piece; at < whole.size() && made < back.size(); at += piece) {
        piece = std::min((size_t)sizes.next(5000), whole.size() - at);
        Zeb32s room = (Zeb32s)(back.size() - made);
        require(zebsDecodeHuff_8u(&whole[at], (Zeb32s)piece, &back[made], &room, dec) == zebStsOk);
        made += room;
    }
    require(made == back.size() && back == data);
    zebsHuffFree_8u(enc);
    zebsHuffFree_8u(dec);
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
