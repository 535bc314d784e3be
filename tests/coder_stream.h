// The general-purpose coders (run-length, LZSS, byte Huffman) called as a streaming caller calls
// them: sources in pieces and destinations of a size drawn per call (by the caller's
// generators). Every call is checked for the statuses its coder may give, for counts that agree
// with the moved pointers and for nothing written past a guard byte; a failed check clears *ok.
// Shared by the tests and the fuzz targets, which also drain the deflate writers through it.
#ifndef ZEBDC_CODER_STREAM_H
#define ZEBDC_CODER_STREAM_H

#include <algorithm>
#include <vector>

#include "zebdc.h"

namespace zebcoder
{

using Bytes = std::vector<Zeb8u>;

const Zeb8u kGuard = 0xA5;

// True when dst, of cap bytes and a guard byte, holds the guard from `used` on.
inline bool unwritten_from(const Bytes& dst, int used, int cap)
{
    return used >= 0 && used <= cap &&
           std::count(dst.begin() + used, dst.end(), kGuard) == (long)(cap + 1 - used);
}

// Calls a writer (an encoder, a flush, a block writer) with destinations of room() bytes until
// it stops asking for room, appending what it wrote to out; returns its last status. The coders
// leave the room past what they report untouched; the deflate writers may write there (exact
// false), but never past the room.
template <class Room, class Call>
ZebStatus drain(Bytes& out, Room&& room, Call&& call, bool* ok, bool exact = true)
{
    ZebStatus st;
    do {
        const int cap = room();
        Bytes dst(cap + 1, kGuard);
        Zeb8u* d = dst.data();
        Zeb32s left = cap;
        st = call(&d, &left);
        *ok = *ok && d - dst.data() == cap - left &&
              unwritten_from(dst, exact ? cap - left : cap, cap);
        out.insert(out.end(), dst.data(), d);
    } while (st == zebStsDstFull);
    return st;
}

// A byte Huffman state in memory of its own, of the size zebsHuffGetSize_8u gives.
struct HuffState {
    alignas(8) Zeb8u bytes[2596];
    ZebHuffState* get() { return (ZebHuffState*)(void*)bytes; }
};

// Decodes one run-length encoder call's output into destinations of room() bytes; a call that
// ends with zebStsDstFull must have written something, so room() holds the longest run (257).
template <class Room>
Bytes rle_decode_unit(const Zeb8u* unit, int len, Room&& room, bool* ok)
{
    Bytes out;
    for (ZebStatus st = zebStsDstFull; st == zebStsDstFull;) {
        const int cap = room();
        Bytes dst(cap + 1, kGuard);
        int dstLen = cap;
        st = zebsDecodeRLE_8u(&unit, &len, dst.data(), &dstLen);
        if ((st != zebStsOk && st != zebStsDstFull) || !unwritten_from(dst, dstLen, cap) ||
            (st == zebStsDstFull && dstLen == 0)) {
            *ok = false;
            break;
        }
        out.insert(out.end(), dst.begin(), dst.begin() + dstLen);
    }
    return out;
}

// Codes data with the run-length encoder into destinations of cap() bytes and decodes each
// call's output on its own into destinations of room() bytes; returns the bytes decoded.
template <class Cap, class Room>
Bytes rle_round_trip(const Bytes& data, Cap&& cap, Room&& room, bool* ok)
{
    Bytes back;
    const Zeb8u* src = data.data();
    int srcLen = (int)data.size();
    for (ZebStatus st = zebStsDstFull; st == zebStsDstFull && *ok;) {
        const int size = cap();
        Bytes unit(size); // exact size: the sanitizers see any write past it
        int unitLen = size;
        st = zebsEncodeRLE_8u(&src, &srcLen, unit.data(), &unitLen);
        *ok = (st == zebStsOk || st == zebStsDstFull) && unitLen >= 1 && unitLen <= size;
        const Bytes piece = rle_decode_unit(unit.data(), unitLen, room, ok);
        back.insert(back.end(), piece.begin(), piece.end());
    }
    return back;
}

// Codes size bytes with LZSS in source pieces of piece() bytes into destinations of room()
// bytes, then flushes likewise.
template <class Piece, class Room>
Bytes lzss_encode(ZebLZSSState* st, const Zeb8u* data, size_t size, Piece&& piece, Room&& room,
                  bool* ok)
{
    zebsEncodeLZSSInit_8u(st);
    Bytes out;
    for (size_t at = 0, n; at < size; at += n) {
        n = std::min((size_t)piece(), size - at);
        Zeb8u* src = const_cast<Zeb8u*>(data) + at;
        Zeb32s left = (Zeb32s)n;
        auto code = [&](Zeb8u** d, Zeb32s* r) { return zebsEncodeLZSS_8u(&src, &left, d, r, st); };
        ZebStatus last = drain(out, room, code, ok);
        *ok = *ok && last == zebStsOk && left == 0;
    }
    auto flush = [&](Zeb8u** d, Zeb32s* r) { return zebsEncodeLZSSFlush_8u(d, r, st); };
    ZebStatus last = drain(out, room, flush, ok);
    *ok = *ok && last == zebStsOk;
    return out;
}

// Decodes LZSS in source pieces of piece() bytes into destinations of room() bytes until the
// source is used up or the decoder reports an error; *last gets the last call's status.
template <class Piece, class Room>
Bytes lzss_decode(ZebLZSSState* st, const Zeb8u* src, size_t size, Piece&& piece, Room&& room,
                  ZebStatus* last, bool* ok)
{
    zebsDecodeLZSSInit_8u(st);
    Bytes out;
    size_t at = 0;
    do {
        const int cap = room();
        const Zeb32s n = (Zeb32s)std::min((size_t)piece(), size - at);
        Bytes dst(cap + 1, kGuard);
        Zeb8u* in = const_cast<Zeb8u*>(src) + at;
        Zeb8u* d = dst.data();
        Zeb32s left = n, roomLeft = cap;
        *last = zebsDecodeLZSS_8u(&in, &left, &d, &roomLeft, st);
        *ok = *ok && (*last == zebStsOk || *last == zebStsDstFull || *last == zebStsError) &&
              d - dst.data() == cap - roomLeft && unwritten_from(dst, cap - roomLeft, cap) &&
              left >= 0 && left <= n && in - src == (long)(at + n - left);
        out.insert(out.end(), dst.data(), d);
        at += n - left;
    } while (*ok && (*last == zebStsDstFull || (*last == zebStsOk && at < size)));
    return out;
}

// Codes size bytes with the byte Huffman state in source pieces of piece() bytes and finishes
// the stream; each call writes whole 32-bit words, and the stream fits GetDstBuffSize.
template <class Piece>
Bytes huff_encode(ZebHuffState* st, const Zeb8u* data, size_t size, Piece&& piece, bool* ok)
{
    Zeb32s len[256], bound = 0;
    *ok = *ok && zebsHuffGetLenCodeTable_8u(len, st) == zebStsOk &&
          zebsHuffGetDstBuffSize_8u(len, (Zeb32s)size, &bound, nullptr) == zebStsOk;
    Bytes out((size_t)bound + 4);
    size_t used = 0;
    for (size_t at = 0, n; at < size && *ok; at += n) {
        n = std::min((size_t)piece(), size - at);
        Zeb32s written = -1;
        *ok = zebsEncodeHuff_8u(data + at, (Zeb32s)n, &out[used], &written, st) == zebStsOk &&
              written % 4 == 0;
        used += (size_t)written;
    }
    Zeb32s tail = -1;
    *ok = *ok && zebsEncodeHuffFinal_8u(&out[used], &tail, st) == zebStsOk &&
          used + tail <= (size_t)bound;
    out.resize(*ok ? used + tail : 0);
    return out;
}

// Decodes at most count symbols with a fresh state for the code lengths, from source pieces of
// piece() bytes.
template <class Piece>
Bytes huff_decode(const Zeb32s len[256], const Bytes& src, size_t count, Piece&& piece, bool* ok)
{
    HuffState mem;
    ZebHuffState* st = mem.get();
    *ok = *ok && zebsDecodeHuffInit_8u(len, st) == zebStsOk;
    Bytes out(count);
    size_t made = 0;
    for (size_t at = 0, n; at < src.size() && made < count && *ok; at += n) {
        n = std::min((size_t)piece(), src.size() - at);
        Zeb32s room = (Zeb32s)(count - made);
        *ok = zebsDecodeHuff_8u(&src[at], (Zeb32s)n, &out[made], &room, st) == zebStsOk &&
              room >= 0 && (size_t)room <= count - made;
        made += *ok ? room : 0;
    }
    out.resize(made);
    return out;
}

} // namespace zebcoder

#endif
