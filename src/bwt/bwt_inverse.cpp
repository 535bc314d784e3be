// Inverse Burrows-Wheeler transform (bzip2 convention: last column and primary index in, block
// out), with 32-bit counters and transformation vector in the caller's scratch.
//
// The walk over the vector is one dependent load per output byte, a cache miss on large blocks.
// Blocks below 2^24 bytes keep the byte of each step in the low 8 bits of its vector entry (the
// position above it), so that each step touches one entry instead of an entry and a source byte.
//
// Large blocks below 2^23 bytes are walked as kChains pieces at once, so that their cache
// misses overlap: pieces start at the primary index and at evenly spaced rows, whose entries are
// flagged in the free top bit; a piece ends where it reaches the start of another. A first
// pass measures the pieces and how they follow each other along the walk from the primary index,
// the second writes each piece at its place. (The walk from the primary index may close before
// len steps on a vector that is not one cycle; the output then repeats that cycle.)
#include "core/zeb_common.h"

namespace {

enum {
    kPackedLimit = 1 << 24,  // positions that fit above the byte in a 32-bit entry
    kFlaggedLimit = 1 << 23, // and leave the top bit free for the piece starts
    kChains = 32,            // pieces walked at once
    kChainedMin = 1 << 16    // smaller blocks stay in cache: one walk
};
constexpr Zeb32u kPieceStart = 1u << 31; // flags the entry at which a piece starts

// Counts the bytes of src and turns the counts into the start of each byte's bucket.
void bucket_starts(const Zeb8u* src, int len, Zeb32u* start)
{
    memset(start, 0, 256 * sizeof start[0]);
    for (int i = 0; i < len; ++i)
        ++start[src[i]];
    Zeb32u sum = 0;
    for (int v = 0; v < 256; ++v) {
        Zeb32u n = start[v];
        start[v] = sum;
        sum += n;
    }
}

// Entry j of the vector: the position p it leads to, shifted up by 8, with src[p] below it.
void walk_packed(const Zeb8u* src, Zeb8u* dst, int len, int index, Zeb32u* start, Zeb8u* vector)
{
    for (int i = 0; i < len; ++i)
        zeb_store32(vector + 4 * (size_t)start[src[i]]++, (Zeb32u)i << 8 | src[i]);
    Zeb32u p = (Zeb32u)index;
    for (int k = 0; k < len; ++k) {
        Zeb32u entry = zeb_load32(vector + 4 * (size_t)p);
        dst[k] = (Zeb8u)entry;
        p = entry >> 8;
    }
}

struct Pieces {
    Zeb32u start[kChains]; // row of each piece's first entry; piece 0 starts at the index
    Zeb32u entry[kChains]; // entry to be output next
    int length[kChains];
    int next[kChains]; // piece that follows along the walk
    int offset[kChains];
    int count;

    int piece_at(Zeb32u row) const
    {
        int c = 0;
        while (start[c] != row)
            ++c;
        return c;
    }
};

// Walks the active pieces in turn until each reaches a flagged entry; with dst, writes each
// piece's bytes from its offset, else measures the pieces and links them.
void walk_pieces(Pieces& pc, const Zeb8u* vector, Zeb8u* dst, const int* active, int activeCount)
{
    int live[kChains], steps[kChains] = {};
    Zeb32u entry[kChains];
    for (int i = 0; i < activeCount; ++i) {
        live[i] = active[i];
        entry[i] = pc.entry[active[i]];
    }
    while (activeCount > 0) {
        for (int i = 0; i < activeCount;) {
            const int c = live[i];
            if (dst != nullptr)
                dst[pc.offset[c] + steps[i]] = (Zeb8u)entry[i];
            ++steps[i];
            Zeb32u row = (entry[i] & ~kPieceStart) >> 8;
            entry[i] = zeb_load32(vector + 4 * (size_t)row);
            if (ZEB_LIKELY((entry[i] & kPieceStart) == 0)) {
                ++i;
                continue;
            }
            pc.length[c] = steps[i];
            pc.next[c] = pc.piece_at(row);
            --activeCount; // the last live piece takes this one's place
            live[i] = live[activeCount];
            entry[i] = entry[activeCount];
            steps[i] = steps[activeCount];
        }
    }
}

void walk_chained(const Zeb8u* src, Zeb8u* dst, int len, int index, Zeb32u* start, Zeb8u* vector)
{
    for (int i = 0; i < len; ++i)
        zeb_store32(vector + 4 * (size_t)start[src[i]]++, (Zeb32u)i << 8 | src[i]);
    Pieces pc;
    pc.count = 0;
    pc.start[pc.count++] = (Zeb32u)index;
    for (int c = 1; c < kChains; ++c) {
        Zeb32u row = (Zeb32u)((int64_t)c * len / kChains);
        if (row != (Zeb32u)index)
            pc.start[pc.count++] = row;
    }
    int all[kChains];
    for (int c = 0; c < pc.count; ++c) {
        Zeb8u* at = vector + 4 * (size_t)pc.start[c];
        pc.entry[c] = zeb_load32(at);
        zeb_store32(at, pc.entry[c] | kPieceStart);
        all[c] = c;
    }
    walk_pieces(pc, vector, nullptr, all, pc.count);
    int cycle[kChains], inCycle = 0, total = 0; // the pieces along the walk from the index
    int c = 0;
    do {
        pc.offset[c] = total;
        total += pc.length[c];
        cycle[inCycle++] = c;
        c = pc.next[c];
    } while (c != 0);
    walk_pieces(pc, vector, dst, cycle, inCycle);
    for (int k = total; k < len; k += total) // a walk that closed early repeats
        memcpy(dst + k, dst, (size_t)(len - k < total ? len - k : total));
}

void walk_plain(const Zeb8u* src, Zeb8u* dst, int len, int index, Zeb32u* start, Zeb8u* vector)
{
    for (int i = 0; i < len; ++i)
        zeb_store32(vector + 4 * (size_t)start[src[i]]++, (Zeb32u)i);
    Zeb32u p = (Zeb32u)index;
    for (int k = 0; k < len; ++k) {
        p = zeb_load32(vector + 4 * (size_t)p);
        dst[k] = src[p];
    }
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsBWTInvGetSize_8u(int len, int* pSize)
{
    ZEB_CHECK(pSize != nullptr, zebStsNullPtr);
    *pSize = 4 * len + 1024;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsBWTInv_8u(const Zeb8u* pSrc, Zeb8u* pDst, int len, int index,
                                          Zeb8u* pBuffer)
{
    if (len < 2)
        return zebsCopy_8u(pSrc, pDst, len);
    ZEB_CHECK(pSrc != nullptr && pDst != nullptr && pBuffer != nullptr, zebStsNullPtr);
    ZEB_CHECK(index >= 0 && index < len, zebStsBadSize);
    Zeb8u* vector = pBuffer + 1024; // len 32-bit entries after the 256 counters
    Zeb32u start[256];              // counted locally: the scratch need not be aligned
    bucket_starts(pSrc, len, start);
    memcpy(pBuffer, start, sizeof start);
    if (len >= kChainedMin && len < kFlaggedLimit)
        walk_chained(pSrc, pDst, len, index, start, vector);
    else if (len < kPackedLimit)
        walk_packed(pSrc, pDst, len, index, start, vector);
    else
        walk_plain(pSrc, pDst, len, index, start, vector);
    return zebStsOk;
}
