// Internal interface of the deflate encoder family: the encoder state, the LZ77 match finder
// (shared with the LZSS coder), the bit sink of the block writers and the code builders.
#ifndef ZEB_DEFLATE_INTERNAL_H
#define ZEB_DEFLATE_INTERNAL_H

#include "core/zeb_common.h"
#include "deflate/deflate_tables.h"

// ---------------------------------------------------------------------------------------------
// LZ77 match finder
//
// Positions count input bytes from the start of the history. The byte of a position q below the
// first position of the current call (P) lies in the window at window[q - windowStart]; from P
// on it lies in the call's source at src[q - P]. On entry the first min(n, 258) source bytes are
// also copied into the window behind the history, so a comparison that starts in the history
// runs on into the new bytes in one buffer.
//
// Hash chains: head[h] is the latest position whose three bytes hash to h, prev[p & 0x7FFF] the
// position that held p's hash before p. Both hold kLZ77Empty when nothing is known; chains are
// followed only while a candidate is usable, so stale or empty links end a walk.
// ---------------------------------------------------------------------------------------------

enum {
    kLZ77WindowSize = 65536,     // bytes of the window region
    kLZ77HashSize = 32768,       // entries of the head table (15-bit hashes)
    kLZ77LinkSize = 32768,       // entries of the previous-link table
    kLZ77LinkMask = 0x7FFF,      // position -> previous-link index
    kLZ77MaxDistance = 32767,    // farthest candidate the finder offers
    kLZ77MinMatch = 3,
    kLZ77MaxMatch = 258,
    kLZ77SlidePoint = 65278,     // the window slides before its fill would pass this
    kLZ77Empty = -32768,         // value of an empty hash-table entry
};

// The match finder's view of a history and of the current call's source.
struct OwnLZ77Finder {
    Zeb32s* prev;          // kLZ77LinkSize links
    Zeb32s* head;          // kLZ77HashSize heads
    const Zeb16s* randVec; // 3 x 256 15-bit values: rows for the first, second and third byte
    const Zeb8u* window;   // history: position q < position at window[q - windowStart]
    Zeb32s windowStart;    // position held at window[0]
    Zeb32s position;       // P, the position of src[0]
    const Zeb8u* src;      // the current call's source
    Zeb32s lowest;         // the oldest position a candidate may have
};

// Bytes from position q on (q >= lowest of the finder, or q >= position).
static inline const Zeb8u* ownLZ77Bytes(const OwnLZ77Finder& f, Zeb32s q)
{
    return q < f.position ? f.window + (q - f.windowStart) : f.src + (q - f.position);
}

// The 15-bit hash of the three bytes at b through a randomisation table.
static inline Zeb32u ownLZ77Hash(const Zeb16s* table, const Zeb8u* b)
{
    return (Zeb32u)(table[b[0]] ^ table[256 + b[1]] ^ table[512 + b[2]]);
}

// Links position p (p >= f.position, three bytes available) into its hash chain and returns
// the chain's previous head, the first candidate for p.
static inline Zeb32s ownLZ77Insert(const OwnLZ77Finder& f, Zeb32s p)
{
    Zeb32u h = ownLZ77Hash(f.randVec, f.src + (p - f.position));
    Zeb32s first = f.head[h];
    f.prev[p & kLZ77LinkMask] = first;
    f.head[h] = p;
    return first;
}

// Inserts positions from .. to - 1 in ascending order (the bytes of a match just taken).
static inline void ownLZ77InsertRange(const OwnLZ77Finder& f, Zeb32s from, Zeb32s to)
{
    for (Zeb32s q = from; q < to; ++q)
        ownLZ77Insert(f, q);
}

// A candidate c for position p lies before p, within kLZ77MaxDistance, and in the history.
static inline bool ownLZ77Usable(const OwnLZ77Finder& f, Zeb32s p, Zeb32s c)
{
    return c >= f.lowest && c < p && p - c <= kLZ77MaxDistance;
}

// Usable candidates for p lie 1 .. reach positions back.
static inline Zeb32u ownLZ77Reach(const OwnLZ77Finder& f, Zeb32s p)
{
    Zeb32s back = p > f.lowest ? p - f.lowest : 0;
    return (Zeb32u)(back < kLZ77MaxDistance ? back : kLZ77MaxDistance);
}

// Moves *pC along p's chain past the candidates whose first three bytes differ from p's (which
// cannot give a match), counting them against *pProbesLeft, without the set-up of a full walk:
// where matches are rare, most searches end here. @return false when no candidate is left.
static inline bool ownLZ77PassOver(const OwnLZ77Finder& f, Zeb32s p, Zeb32s* pC,
                                   Zeb32s* pProbesLeft)
{
    Zeb32u head3 = zeb_load32(f.src + (p - f.position)) & 0xFFFFFFu;
    Zeb32u reach = ownLZ77Reach(f, p);
    Zeb32s c = *pC;
    while ((zeb_load32(ownLZ77Bytes(f, c)) & 0xFFFFFFu) != head3) {
        if (--*pProbesLeft == 0)
            return false;
        c = f.prev[c & kLZ77LinkMask];
        if ((Zeb32u)(p - c - 1) >= reach)
            return false;
    }
    *pC = c;
    return true;
}

// Length of the common prefix of a and b, at most maxLen.
Zeb32s ownLZ77MatchLength(const Zeb8u* a, const Zeb8u* b, Zeb32s maxLen);

// Walks the chain of position p from the usable candidate c, looking at most maxProbes
// candidates, for the longest match of at most maxLen bytes (maxLen >= 3, and bytes up to
// p + maxLen - 1 available). A candidate is counted only when its bytes at best - 1 and best
// agree with p's; a farther candidate replaces the best only when strictly longer.
// @return the best length (2 when none reaches 3), with its position in *pBestPos.
Zeb32s ownLZ77LongestMatch(const OwnLZ77Finder& f, Zeb32s p, Zeb32s c, Zeb32s maxLen,
                           Zeb32s maxProbes, Zeb32s* pBestPos);

// The same walk for a match longer than `best` (2 <= best < maxLen): it finds the same longest
// match and position as ownLZ77LongestMatch whenever that match is longer than best, and
// returns best (leaving *pBestPos) otherwise; the two-byte test rejects more candidates early.
Zeb32s ownLZ77LongerMatch(const OwnLZ77Finder& f, Zeb32s p, Zeb32s c, Zeb32s maxLen,
                          Zeb32s maxProbes, Zeb32s best, Zeb32s* pBestPos);

// The greedy step of the chained finder: inserts p, then searches its chain (maxProbes
// candidates, at most min(end - 2 - p, 258) bytes). p < end - 2. passOver: the caller expects
// no match (its step before was a literal), so the chain is first passed over cheaply; the
// result is the same either way.
// @return the match length (>= 3) with its position in *pBestPos, or 2 for a literal.
static inline Zeb32s ownLZ77FindGreedy(const OwnLZ77Finder& f, Zeb32s p, Zeb32s end,
                                       Zeb32s maxProbes, Zeb32s* pBestPos, bool passOver)
{
    Zeb32s c = ownLZ77Insert(f, p);
    Zeb32s maxLen = end - 2 - p < kLZ77MaxMatch ? end - 2 - p : kLZ77MaxMatch;
    if (maxLen < kLZ77MinMatch || !ownLZ77Usable(f, p, c))
        return 2;
    if (passOver && !ownLZ77PassOver(f, p, &c, &maxProbes))
        return 2;
    return ownLZ77LongestMatch(f, p, c, maxLen, maxProbes, pBestPos);
}

// Sets every entry of a hash table (head or previous links) to kLZ77Empty.
void ownLZ77ClearTable(Zeb32s* table, Zeb32s len);

// Copies the first min(n, 258) source bytes behind the history, at window[position -
// windowStart]. The window keeps position - windowStart <= kLZ77SlidePoint, so they fit.
void ownLZ77LoadSource(Zeb8u* window, Zeb32s windowStart, Zeb32s position, const Zeb8u* src,
                       Zeb32s n);

// Keeps the history after a streaming call that consumed `consumed` source bytes (of which the
// first min(consumed, 258) were placed by ownLZ77LoadSource): the window receives the rest,
// sliding when its fill would pass kLZ77SlidePoint, and *pPosition grows by consumed.
void ownLZ77KeepHistory(Zeb8u* window, Zeb32s* pWindowStart, Zeb32s* pPosition,
                        const Zeb8u* src, Zeb32s consumed);

// Makes room for a call of n source bytes: positions stay below 2^30 + 2^29 by moving every
// stored position down by a multiple of the link size when the history grows past 2^29.
void ownLZ77Rebase(Zeb32s* prev, Zeb32s* head, Zeb32s* pWindowStart, Zeb32s* pPosition);

enum {
    kLZ77RebaseAt = 1 << 29,  // history position from which positions are moved down
    kLZ77MaxCallBytes = 1 << 30, // source bytes parsed by one call at most
};

// Where pairs go: room and count of pairs made.
struct OwnLZ77Sink {
    ZebLZ77Pair* pairs;
    Zeb32s room;
    Zeb32s made;
};

// The parser of the deflate encoder's level (0, 1 or 2): parses the source src[0 .. end -
// position) of the finder and returns the position reached (the bytes consumed end there).
Zeb32s ownLZ77Parse(const OwnLZ77Finder& f, Zeb32s level, Zeb32s end, OwnLZ77Sink& out);

// ---------------------------------------------------------------------------------------------
// Encoder state
//
// The state is one block of kLZ77StateSize bytes. Its first 8-aligned byte holds the header
// below; the regions follow at the next multiple of 8 after kLZ77HeaderSlot. The alignment
// margin (at most 7 bytes) and the header fit the documented size with the regions, so a state
// may be built at any address of caller memory.
// ---------------------------------------------------------------------------------------------

enum {
    kLZ77StateSize = 598928,
    kLZ77HeaderSlot = 664,
    kLZ77PairsLen = 65280,
    kLitLenCodes = 286, // literal/length alphabet actually coded (0..285)
    kDistCodes = 30,
    kCodeLenCodes = 19,
    kMaxCodeLen = 15,
    kMaxCodeLenCodeLen = 7,
    kDynHeaderBytes = 292, // the largest dynamic block header with 7 bits ahead of it fits
};

// Symbol and count, or symbol and code, of one entry of an alphabet table.
struct OwnHuffEntry {
    Zeb16u code; // bit-reversed code, ready for least-significant-bit-first output
    Zeb16u len;  // code length, 0 for an unused symbol
    Zeb32u count;
};

// A distance code of a dynamic block as the pair coder takes it. The extra bits of a distance
// are the low bits of distance - 1, since every code's base - 1 is a multiple of their range.
struct OwnDistanceCode {
    Zeb16u code;      // bit-reversed code
    Zeb16u extraMask; // (1 << extra bits) - 1
    Zeb8u len;        // code length, 0 when the code is unused
    Zeb8u bits;       // code length plus extra bits
};

// Codes of a dynamic block for the pair coder: each match length's code with its extra bits
// folded in above it (low 24 bits the bits to write, high 8 bits their number, 0 when the
// length code is unused), and the distance codes.
struct OwnMergedCodes {
    Zeb32u length[256];                   // match length 3 + i
    OwnDistanceCode distance[kDistCodes]; // by distance code
};

// Block-writer work areas, in the order and sizes of the state's description.
struct OwnDeflateWork {
    Zeb8u trailer[8]; // staged zlib or gzip trailer
    union {
        Zeb32u sortWeights[512]; // code-length builder: weights and depths
        OwnMergedCodes merged;   // once the dynamic codes are built
    };
    OwnHuffEntry litLen[kLitLenCodes];        // counts, then codes of the literal/length alphabet
    Zeb32u depthCount[512];                   // code-length builder: leaves per depth
    OwnHuffEntry dist[kDistCodes];            // counts, then codes of the distance alphabet
    Zeb16u order[2 * kLitLenCodes];           // symbols sorted by count; first appearances
    Zeb8u orderTail[2288 - 4 * kLitLenCodes]; // (rest of that area)
    OwnHuffEntry codeLen[kCodeLenCodes];      // the code-length code
    Zeb8u codeLenTail[240 - 8 * kCodeLenCodes];
    Zeb8u header[kDynHeaderBytes];            // staged dynamic block header
};
static_assert(sizeof(OwnDeflateWork) == 8 + 2048 + 2288 + 2048 + 240 + 2288 + 240 + 292,
              "work areas as documented");

struct OwnLZ77Regions {
    Zeb32s prev[kLZ77LinkSize];
    Zeb32s head[kLZ77HashSize];
    Zeb8u window[kLZ77WindowSize];
    ZebLZ77Pair pairs[kLZ77PairsLen];
    OwnDeflateWork work;
};

// Block-writer steps within one Huffman block.
enum OwnBlockStep {
    kStepHeader = 0,  // the block header is due
    kStepHeaderOut,   // the staged dynamic header is being delivered
    kStepPairs,       // pairs are being coded
    kStepEnd,         // the end-of-block code (and flush padding) is due
    kStepMarker,      // the 00 00 FF FF of a sync or full flush is being delivered
    kStepDone,        // everything is out but whole bytes of the bit buffer
};

// Sub-states of the block writer.
enum {
    kSubHeaderDue = 2,
    kSubInBlock = 3,
    kSubBlockDone = 4,
    kSubLastDone = 5,
};

struct ZebLZ77EncoderHeader {
    Zeb32s srcLeft;      // source bytes of the last zebsEncodeLZ77_8u call not consumed
    Zeb32s bitCount;     // bits held in bitBuf
    Zeb32s storedPhase;  // stored-block writer: 0 header due, 1 header out, 3 copying
    Zeb32u checksum;     // running Adler-32 or CRC-32 of the consumed input
    Zeb32s checksumKind; // ZebLZ77Checksum as given to Init
    Zeb32s level;        // 0, 1 or 2
    Zeb32s position;     // input bytes held as history
    Zeb32u streamBytes;  // bytes consumed since Init, Reset or a full flush (gzip ISIZE)
    Zeb32s storedLeft;   // stored-block writer: bytes of the block still to copy
    Zeb32s windowStart;  // position at window[0]
    uint64_t bitBuf;       // pending output bits, least significant first
    ZebLZ77Pair* pairs;  // pairs buffer (the state's own, or one the caller set)
    Zeb32s pairsInd;
    Zeb32s pairsLen;
    Zeb32s stage;        // ZebLZ77Status
    Zeb32s subState;     // block writer: 2 header due .. 5 last block done
    Zeb32s prevFlush;    // flush of the previous zebsEncodeLZ77_8u call
    Zeb32s blockStep;    // OwnBlockStep
    Zeb32s blockKind;    // 0 fixed, 1 dynamic: the writer of the block in progress
    Zeb32s blockFinal;   // the block in progress carries BFINAL
    Zeb32s markerLeft;   // bytes of 00 00 FF FF still to write
    Zeb32s headerLen;    // staged dynamic header bytes
    Zeb32s headerPos;    // staged dynamic header bytes delivered
    Zeb32s huffMode;     // mode chosen by zebsEncodeLZ77SelectHuffMode_8u
    Zeb32s freqCounted;  // the counts of the work areas belong to the pairs of this block
    Zeb32s trailerPos;   // trailer bytes written
    Zeb32s trailerLen;   // trailer bytes staged (0: none staged)
};
static_assert(sizeof(ZebLZ77EncoderHeader) <= kLZ77HeaderSlot, "header fits its slot");
static_assert(7 + kLZ77HeaderSlot + sizeof(OwnLZ77Regions) <= kLZ77StateSize,
              "the state fits the documented size at any alignment");
static_assert(kLZ77HeaderSlot % 8 == 0, "regions stay 8-aligned");

static inline ZebLZ77EncoderHeader* ownLZ77Header(ZebLZ77EncoderState* pState)
{
    return (ZebLZ77EncoderHeader*)(((uintptr_t)pState + 7) & ~(uintptr_t)7);
}
static inline const ZebLZ77EncoderHeader* ownLZ77Header(const ZebLZ77EncoderState* pState)
{
    return (const ZebLZ77EncoderHeader*)(((uintptr_t)pState + 7) & ~(uintptr_t)7);
}
static inline OwnLZ77Regions* ownLZ77Regions(ZebLZ77EncoderHeader* e)
{
    return (OwnLZ77Regions*)((Zeb8u*)e + kLZ77HeaderSlot);
}

// ---------------------------------------------------------------------------------------------
// Constant tables (deflate_tables.h)
// ---------------------------------------------------------------------------------------------

static inline Zeb32u ownDistCode(Zeb32u distance)
{
    Zeb32u d = distance - 1;
    return d < 256 ? dCodeTab[d] : dCodeTab[256 + (d >> 7)];
}

// A pair the writers can code: a literal 0..255, or a match of 3..258 at distance 1..32768.
static inline bool ownPairValid(ZebLZ77Pair pair)
{
    if (pair.offset == 0)
        return pair.length <= 255;
    return (Zeb32u)(pair.length - kLZ77MinMatch) <= kLZ77MaxMatch - kLZ77MinMatch &&
           pair.offset <= 32768;
}

// ---------------------------------------------------------------------------------------------
// Bit sink of the block writers: a 64-bit accumulator filled from its least significant bit
// and moved out in whole bytes while the destination has room. Every writer step starts with
// fewer than 8 bits held and adds at most 55, so the accumulator never overflows.
// ---------------------------------------------------------------------------------------------

struct OwnBitSink {
    uint64_t acc;
    Zeb32s count;
    Zeb8u* dst;
    Zeb32s room;
};

static inline void ownPutBits(OwnBitSink& s, Zeb32u bits, Zeb32s n)
{
    s.acc |= (uint64_t)bits << s.count;
    s.count += n;
}

// Moves whole bytes out while there is room.
static inline void ownDrainBits(OwnBitSink& s)
{
    ZEB_ASSERT(s.count < 64);
    if (s.room >= 8) { // one unaligned store, then advance by the whole bytes held
        zeb_store64(s.dst, s.acc);
        Zeb32s bytes = s.count >> 3;
        s.dst += bytes;
        s.room -= bytes;
        s.acc >>= 8 * bytes;
        s.count &= 7;
        return;
    }
    while (s.count >= 8 && s.room > 0) {
        *s.dst++ = (Zeb8u)s.acc;
        s.acc >>= 8;
        s.count -= 8;
        --s.room;
    }
}

static inline OwnBitSink ownLoadSink(const ZebLZ77EncoderHeader* e, Zeb8u* dst, Zeb32s room)
{
    OwnBitSink s = {e->bitBuf, e->bitCount, dst, room};
    return s;
}
static inline void ownSaveSink(ZebLZ77EncoderHeader* e, const OwnBitSink& s)
{
    e->bitBuf = s.acc;
    e->bitCount = s.count;
}

// ---------------------------------------------------------------------------------------------
// Code construction (deflate_huffman.cpp)
// ---------------------------------------------------------------------------------------------

// Code lengths of at most `limit` bits for the counts of entries[0 .. n) into their len fields
// (at least two symbols always get a code). Uses the work areas as scratch.
void ownLenCalculate(OwnHuffEntry* entries, Zeb32s n, Zeb32s limit, OwnDeflateWork* work);

// Canonical codes for the lengths of entries[0 .. n) (bit-reversed into their code fields), and
// the counts of the code-length-code symbols that code those lengths, added to clCount[19].
void ownCodeCalculate1(OwnHuffEntry* entries, Zeb32s n, Zeb32u clCount[kCodeLenCodes]);

// Visits the run-length coding of the lengths of entries[0 .. n) (RFC 1951 symbols 0..18):
// put(symbol, extraBits, extraCount) for each symbol in order.
template <class Put>
void ownRunLengths(const OwnHuffEntry* entries, Zeb32s n, Put&& put)
{
    Zeb32s previous = -1;
    for (Zeb32s i = 0; i < n;) {
        Zeb32s len = entries[i].len;
        Zeb32s run = 1;
        Zeb32s maxRun = len == 0 ? 138 : 6;
        if (len != 0 && len != previous) { // a new length is written as itself first
            put(len, 0, 0);
            previous = len;
            ++i;
            continue;
        }
        while (i + run < n && entries[i + run].len == len && run < maxRun)
            ++run;
        if (len == 0) {
            if (run < 3)
                for (Zeb32s k = 0; k < run; ++k)
                    put(0, 0, 0);
            else if (run <= 10)
                put(17, (Zeb32u)(run - 3), 3);
            else
                put(18, (Zeb32u)(run - 11), 7);
        } else if (run < 3) {
            for (Zeb32s k = 0; k < run; ++k)
                put(len, 0, 0);
        } else {
            put(16, (Zeb32u)(run - 3), 2);
        }
        previous = len;
        i += run;
    }
}

// Counts the literal/length and distance symbols of pairs into the work areas (symbol 256
// counted once). @return zebStsError at the first pair no writer can code, else zebStsOk.
ZebStatus ownCountPairs(const ZebLZ77Pair* pairs, Zeb32s n, OwnDeflateWork* work,
                        Zeb32s* pDistinct);

// Code pairs[0 .. n) into s, each step starting with fewer than 8 bits held; stop when whole
// bytes remain for lack of room. An invalid pair, or one whose symbol has no dynamic code,
// stops them with *pStatus = zebStsError. @return the pairs coded.
Zeb32s ownCodePairsFixed(OwnBitSink& s, const ZebLZ77Pair* pairs, Zeb32s n,
                         const OwnDeflateWork* work, ZebStatus* pStatus);
Zeb32s ownCodePairsDynamic(OwnBitSink& s, const ZebLZ77Pair* pairs, Zeb32s n,
                           const OwnDeflateWork* work, ZebStatus* pStatus);

// The frame of the fixed and dynamic block writers (deflate_block.cpp): header, pairs,
// end-of-block code, flush marker or final padding, each resumable after zebStsDstFull.
enum OwnBlockKind { kBlockFixed = 0, kBlockDynamic = 1 };
ZebStatus ownEncodeHuffBlock(OwnBlockKind kind, ZebLZ77Pair** ppSrc, Zeb32s* pSrcLen,
                             Zeb8u** ppDst, Zeb32s* pDstLen, ZebLZ77Flush flush,
                             ZebLZ77EncoderState* pState);

// Builds the dynamic codes of the counted pairs and stages the block header (BFINAL, BTYPE 10,
// HLIT, HDIST, HCLEN, code-length-code lengths, run-length-coded code lengths) behind the
// bits s holds (fewer than 8) in the header work area; s keeps the bits of its last partial
// byte. (deflate_dynamic.cpp)
void ownStageDynamicHeader(ZebLZ77EncoderHeader* e, OwnBitSink& s, bool final);

#endif
