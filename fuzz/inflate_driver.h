// Drivers shared by the inflate fuzz targets and tests: a stream decoded one-stage (GetBlockType,
// then StoredBlock or the full decoders) or two-stage (block decoders to pairs, then pairs to
// bytes), with the source and the destination handed over in chunks of given sizes. Any status
// outside the documented set, or a pointer moved outside its buffer, aborts.
#ifndef ZEBDC_FUZZ_INFLATE_DRIVER_H
#define ZEBDC_FUZZ_INFLATE_DRIVER_H

#include <cstdint>
#include <vector>

#include "fuzz_support.h"

namespace inflate_fuzz {

using zebfuzz::require;

struct Result {
    ZebStatus status = zebStsOk;
    std::vector<Zeb8u> out;
    size_t end = 0; // source offset where decoding stopped
};

// A freshly initialised state in one of two slots kept across inputs: allocating 112876 bytes
// per input would cost more than most decodes. Init leaves the buffers as the previous input
// left them, which also checks that no stale history or table leaks into the output.
inline ZebLZ77DecoderState* new_state(int slot)
{
    static std::vector<Zeb8u> mem[2];
    if (mem[slot].empty()) {
        int size = 0;
        zebsDecodeLZ77GetSize_8u(&size);
        mem[slot].resize((size_t)size + 64);
    }
    Zeb8u* at = mem[slot].data() + (64 - (uintptr_t)mem[slot].data() % 64) % 64;
    ZebLZ77DecoderState* s = (ZebLZ77DecoderState*)(void*)at;
    require(zebsDecodeLZ77Init_8u(zebLZ77ChecksumNone, s) == zebStsOk);
    return s;
}

inline void check(ZebStatus st)
{
    require(st == zebStsOk || st == zebStsStreamEnd || st == zebStsSrcShort ||
            st == zebStsDstFull || st == zebStsError || st == zebStsBadSize);
}

// The chunk of source offered to the next call: a fresh copy, so that reading past it faults.
struct Source {
    const Zeb8u* data;
    size_t size, pos = 0, chunk;
    template <class F>
    ZebStatus call(F f)
    {
        size_t n = size - pos < chunk ? size - pos : chunk;
        std::vector<Zeb8u> piece(data + pos, data + pos + n);
        piece.push_back(0); // a valid pointer also when n is 0
        Zeb8u* p = piece.data();
        int len = (int)n;
        ZebStatus st = f(&p, &len);
        // Bytes given back after the final block may reach before this piece, never past it;
        // a short source is reported only when all of it was taken (else callers would spin).
        long used = (long)(p - piece.data());
        require(used <= (long)n && len == (int)n - used && (long)pos + used >= 0 &&
                (st != zebStsSrcShort || len == 0));
        pos = (size_t)((long)pos + used);
        return st;
    }
};

inline bool stop(ZebStatus st, const Source& src, size_t out, size_t maxOut)
{
    return st == zebStsStreamEnd || st < 0 || (st == zebStsSrcShort && src.pos == src.size) ||
           out >= maxOut;
}

// Decodes with the given state (a dictionary set, or a copy resumed), else a fresh one.
inline Result one_stage(const Zeb8u* data, size_t size, size_t srcChunk, size_t dstChunk, size_t maxOut,
                        ZebLZ77DecoderState* s = nullptr)
{
    s = s ? s : new_state(0);
    Source src{data, size, 0, srcChunk};
    Result r;
    std::vector<Zeb8u> dst(dstChunk);
    bool inBlock = false;
    ZebLZ77BlockType type = zebLZ77BlockFixed;
    for (size_t calls = 0; calls < 4 * (size + maxOut) + 64; ++calls) {
        ZebStatus st;
        if (!inBlock) {
            st = src.call([&](Zeb8u** p, int* n) { return zebsDecodeLZ77GetBlockType_8u(p, n, &type, s); });
            inBlock = st == zebStsOk;
        } else {
            Zeb8u* d = dst.data();
            int room = (int)dstChunk;
            st = src.call([&](Zeb8u** p, int* n) {
                if (type == zebLZ77BlockStored)
                    return zebsDecodeLZ77StoredBlock_8u(p, n, &d, &room, s);
                if (type == zebLZ77BlockFixed)
                    return zebsDecodeLZ77FixedHuffFull_8u(p, n, &d, &room, zebLZ77FlushNone, s);
                return zebsDecodeLZ77DynamicHuffFull_8u(p, n, &d, &room, zebLZ77FlushNone, s);
            });
            require(d >= dst.data() && d - dst.data() == (long)dstChunk - room);
            r.out.insert(r.out.end(), dst.data(), d);
            inBlock = st != zebStsOk;
        }
        check(st);
        r.status = st;
        if (stop(st, src, r.out.size(), maxOut))
            break;
    }
    r.end = src.pos;
    return r;
}

inline Result two_stage(const Zeb8u* data, size_t size, size_t srcChunk, size_t dstChunk,
                        size_t pairsChunk, size_t maxOut, ZebLZ77DecoderState* s = nullptr)
{
    s = s ? s : new_state(0);
    ZebLZ77DecoderState* peek = new_state(1);
    Source src{data, size, 0, srcChunk};
    Result r;
    std::vector<ZebLZ77Pair> pairs(pairsChunk);
    std::vector<Zeb8u> dst(dstChunk);
    // Pairs to bytes while the room runs out, until the pairs or the output cap are used up.
    auto to_bytes = [&](ZebLZ77Pair** ps, int* np) {
        ZebStatus st;
        do {
            Zeb8u* d = dst.data();
            int room = (int)dstChunk;
            st = zebsDecodeLZ77_8u(ps, np, &d, &room, zebLZ77FlushNone, s);
            check(st);
            r.out.insert(r.out.end(), dst.data(), d);
        } while (st == zebStsDstFull && *np > 0 && r.out.size() < maxOut);
        return st;
    };
    bool inBlock = false;
    ZebLZ77BlockType type = zebLZ77BlockFixed;
    for (size_t calls = 0; calls < 4 * (size + maxOut) + 64; ++calls) {
        if (!inBlock) {
            zebsDecodeLZ77CopyState_8u(s, peek);
            Source ahead{data, size, src.pos, size};
            ZebStatus st = ahead.call([&](Zeb8u** p, int* n) { return zebsDecodeLZ77GetBlockType_8u(p, n, &type, peek); });
            check(st);
            if (st != zebStsOk)
                break;
            inBlock = true;
        }
        ZebLZ77Pair* pd = pairs.data();
        int proom = (int)pairsChunk;
        ZebStatus st = src.call([&](Zeb8u** p, int* n) {
            if (type == zebLZ77BlockStored)
                return zebsDecodeLZ77StoredHuff_8u(p, n, &pd, &proom, s);
            if (type == zebLZ77BlockFixed)
                return zebsDecodeLZ77FixedHuff_8u(p, n, &pd, &proom, zebLZ77FlushNone, s);
            return zebsDecodeLZ77DynamicHuff_8u(p, n, &pd, &proom, zebLZ77FlushNone, s);
        });
        check(st);
        ZebLZ77Pair* ps = pairs.data();
        int np = (int)(pd - ps);
        ZebStatus st2 = to_bytes(&ps, &np);
        bool drained = np == 0; // else the output cap stopped the pairs stage
        if (st == zebStsStreamEnd && st2 >= 0 && drained && !r.out.empty()) {
            ZebLZ77Pair finish = {0, 1}; // an empty match lets a match cut by the room finish
            do {
                ps = &finish;
                np = 1;
                st2 = to_bytes(&ps, &np);
            } while (st2 == zebStsDstFull && r.out.size() < maxOut);
        }
        // Pairs or a match left over (the output cap) leave the stream unfinished.
        r.status = st2 < 0 ? st2 : !drained || st2 == zebStsDstFull ? zebStsDstFull : st;
        inBlock = st != zebStsOk;
        if (stop(r.status, src, r.out.size(), maxOut))
            break;
    }
    r.end = src.pos;
    return r;
}

} // namespace inflate_fuzz

#endif
