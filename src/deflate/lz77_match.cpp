// LZ77 match search: the chained-hash finder (shared with the LZSS coder), the window upkeep,
// and the three parsers of the deflate encoder.
//
// Level 0 keeps only the head table, hashed by a rolling hash of the next three bytes, and
// probes one candidate. Levels 1 and 2 hash triples through a randomisation table and follow
// the previous-link chains, 16 and 512 candidates deep; level 2 parses lazily one step ahead and
// drops 3-byte matches farther than 4096 bytes, which cost more bits than three literals.
#include "deflate/deflate_internal.h"

namespace {

enum {
    kFastHashMask = 0x7FFF,
    kAverageProbes = 16,
    kBestProbes = 512,
    kFarThreeByteMatch = 4096, // level 2 takes a 3-byte match only this close
};

inline Zeb32s min32(Zeb32s a, Zeb32s b) { return a < b ? a : b; }

inline bool emit(OwnLZ77Sink& out, Zeb32u length, Zeb32u offset)
{
    if (out.made == out.room)
        return false;
    out.pairs[out.made].length = (Zeb16u)length;
    out.pairs[out.made].offset = (Zeb16u)offset;
    ++out.made;
    return true;
}

// The last bytes that no parser step covers go out as literals while there is room.
Zeb32s emit_tail(const OwnLZ77Finder& f, Zeb32s p, Zeb32s end, OwnLZ77Sink& out)
{
    while (p < end && emit(out, f.src[p - f.position], 0))
        ++p;
    return p;
}

} // namespace

Zeb32s ownLZ77MatchLength(const Zeb8u* a, const Zeb8u* b, Zeb32s maxLen)
{
    return zeb_common_prefix(a, b, maxLen);
}

namespace {

// One chain walk in progress.
struct ChainWalk {
    const Zeb8u* cur;          // the bytes of p
    Zeb32s p, c;               // the position searched and the candidate in hand
    Zeb32s maxLen, probesLeft;
    Zeb32u reach;              // usable candidates lie 1 .. reach positions back
    Zeb32s best, bestPos;      // the longest match so far (2: none)
    // A candidate can beat best only when its bytes 0 .. best agree with p's: the four bytes
    // ending at best (the first three while best is 2) are tested before the prefix is counted.
    Zeb32s tailAt;
    Zeb32u tailMask, tail;
};

// Starts a walk at p from the usable candidate c for a match longer than best. Bytes p .. p + 3
// always exist, since maxLen >= 3 leaves two more bytes before the end.
inline ChainWalk start_walk(const OwnLZ77Finder& f, Zeb32s p, Zeb32s c, Zeb32s maxLen,
                            Zeb32s maxProbes, Zeb32s best, Zeb32s bestPos)
{
    ChainWalk w;
    w.cur = f.src + (p - f.position);
    w.p = p;
    w.c = c;
    w.maxLen = maxLen;
    w.probesLeft = maxProbes;
    w.reach = ownLZ77Reach(f, p);
    w.best = best;
    w.bestPos = bestPos;
    w.tailAt = best - 3 > 0 ? best - 3 : 0;
    w.tailMask = best >= 3 ? 0xFFFFFFFFu : 0x00FFFFFFu;
    w.tail = zeb_load32(w.cur + w.tailAt) & w.tailMask;
    return w;
}

// Looks at the candidate in hand and moves to the next link. @return false when the walk ends.
inline bool walk_step(const OwnLZ77Finder& f, ChainWalk& w)
{
    const Zeb8u* cand = ownLZ77Bytes(f, w.c);
    if (((zeb_load32(cand + w.tailAt) & w.tailMask) ^ w.tail) == 0) {
        Zeb32s len = ownLZ77MatchLength(cand, w.cur, w.maxLen);
        if (len > w.best) {
            w.best = len;
            w.bestPos = w.c;
            if (len >= w.maxLen)
                return false;
            w.tailAt = len - 3;
            w.tailMask = 0xFFFFFFFFu;
            w.tail = zeb_load32(w.cur + w.tailAt);
        }
    }
    if (--w.probesLeft == 0)
        return false;
    w.c = f.prev[w.c & kLZ77LinkMask];
    return (Zeb32u)(w.p - w.c - 1) < w.reach;
}

// Runs two independent walks in turn, so that the link loads of one overlap those of the other.
inline void walk_both(const OwnLZ77Finder& f, ChainWalk& a, ChainWalk& b)
{
    bool moreA = true, moreB = true;
    while (moreA && moreB) {
        moreA = walk_step(f, a);
        moreB = walk_step(f, b);
    }
    while (moreA && walk_step(f, a)) {
    }
    while (moreB && walk_step(f, b)) {
    }
}

} // namespace

Zeb32s ownLZ77LongestMatch(const OwnLZ77Finder& f, Zeb32s p, Zeb32s c, Zeb32s maxLen,
                           Zeb32s maxProbes, Zeb32s* pBestPos)
{
    return ownLZ77LongerMatch(f, p, c, maxLen, maxProbes, 2, pBestPos);
}

Zeb32s ownLZ77LongerMatch(const OwnLZ77Finder& f, Zeb32s p, Zeb32s c, Zeb32s maxLen,
                          Zeb32s maxProbes, Zeb32s best, Zeb32s* pBestPos)
{
    ChainWalk w = start_walk(f, p, c, maxLen, maxProbes, best, *pBestPos);
    while (walk_step(f, w)) {
    }
    *pBestPos = w.bestPos;
    return w.best;
}

void ownLZ77ClearTable(Zeb32s* table, Zeb32s len)
{
    for (Zeb32s i = 0; i < len; ++i)
        table[i] = kLZ77Empty;
}

void ownLZ77LoadSource(Zeb8u* window, Zeb32s windowStart, Zeb32s position, const Zeb8u* src,
                       Zeb32s n)
{
    memcpy(window + (position - windowStart), src, (size_t)min32(n, kLZ77MaxMatch));
}

void ownLZ77KeepHistory(Zeb8u* window, Zeb32s* pWindowStart, Zeb32s* pPosition,
                        const Zeb8u* src, Zeb32s consumed)
{
    Zeb32s position = *pPosition, windowStart = *pWindowStart;
    Zeb32s newEnd = position + consumed;
    if (consumed >= kLZ77LinkSize) {
        memcpy(window, src + consumed - kLZ77LinkSize, kLZ77LinkSize);
        windowStart = newEnd - kLZ77LinkSize;
    } else {
        Zeb32s placed = min32(consumed, kLZ77MaxMatch);
        if (newEnd - windowStart > kLZ77SlidePoint) {
            // Keep the last 32 KiB: positions newEnd - 32768 .. position + placed - 1 are in
            // the window already; the rest of the call's bytes follow below.
            Zeb32s keepFrom = newEnd - kLZ77LinkSize;
            memmove(window, window + (keepFrom - windowStart),
                    (size_t)(position + placed - keepFrom));
            windowStart = keepFrom;
        }
        memcpy(window + (position + placed - windowStart), src + placed,
               (size_t)(consumed - placed));
    }
    *pWindowStart = windowStart;
    *pPosition = newEnd;
}

void ownLZ77Rebase(Zeb32s* prev, Zeb32s* head, Zeb32s* pWindowStart, Zeb32s* pPosition)
{
    // A multiple of the link size keeps every prev index; positions more than 64 KiB back are
    // beyond any window and become empty.
    Zeb32s shift = ((*pPosition - kLZ77WindowSize) / kLZ77LinkSize) * kLZ77LinkSize;
    for (Zeb32s i = 0; i < kLZ77LinkSize; ++i)
        prev[i] = prev[i] >= shift ? prev[i] - shift : kLZ77Empty;
    for (Zeb32s i = 0; i < kLZ77HashSize; ++i)
        head[i] = head[i] >= shift ? head[i] - shift : kLZ77Empty;
    *pWindowStart -= shift;
    *pPosition -= shift;
}

namespace {

ZEB_ALWAYS_INLINE Zeb32s parse_fast(const OwnLZ77Finder& f, Zeb32s end, OwnLZ77Sink& out)
{
    const Zeb8u* src = f.src;
    Zeb32s base = f.position, p = base;
    if (end - base >= kLZ77MinMatch) {
        Zeb32u h = ((Zeb32u)src[0] << 5) ^ src[1];
        while (p < end - 2) {
            if (out.made == out.room)
                return p;
            h = ((h << 5) ^ src[p + 2 - base]) & kFastHashMask;
            Zeb32s c = f.head[h];
            f.head[h] = p;
            Zeb32s maxLen = min32(end - p - 2, kLZ77MaxMatch);
            Zeb32s len = 0;
            if (ownLZ77Usable(f, p, c)) {
                const Zeb8u* cand = ownLZ77Bytes(f, c);
                if (cand[0] == src[p - base])
                    len = ownLZ77MatchLength(cand, src + (p - base), maxLen);
            }
            if (len >= kLZ77MinMatch) {
                emit(out, (Zeb32u)len, (Zeb32u)(p - c));
                for (Zeb32s q = p + 1; q < p + len; ++q) {
                    h = ((h << 5) ^ src[q + 2 - base]) & kFastHashMask;
                    f.head[h] = q;
                }
                p += len;
            } else {
                emit(out, src[p - base], 0);
                ++p;
            }
        }
    }
    return emit_tail(f, p, end, out);
}

ZEB_ALWAYS_INLINE Zeb32s parse_average(const OwnLZ77Finder& f, Zeb32s end, OwnLZ77Sink& out)
{
    Zeb32s p = f.position;
    bool literal = false;
    while (p < end - 2) {
        if (out.made == out.room)
            return p;
        Zeb32s bestPos = 0;
        Zeb32s best = ownLZ77FindGreedy(f, p, end, kAverageProbes, &bestPos, literal);
        literal = best < kLZ77MinMatch;
        if (!literal) {
            emit(out, (Zeb32u)best, (Zeb32u)(p - bestPos));
            ownLZ77InsertRange(f, p + 1, p + best);
            p += best;
        } else {
            emit(out, f.src[p - f.position], 0);
            ++p;
        }
    }
    return emit_tail(f, p, end, out);
}

// Level 2 search at p from the candidate c for a match longer than `shorter` (2: any match):
// `shorter` when there is none, or when c is unusable or no longer match fits before the end.
inline Zeb32s search_best(const OwnLZ77Finder& f, Zeb32s p, Zeb32s c, Zeb32s end, Zeb32s shorter,
                          Zeb32s* pBestPos)
{
    Zeb32s maxLen = min32(end - 3 - p, kLZ77MaxMatch);
    if (maxLen < kLZ77MinMatch || maxLen <= shorter || !ownLZ77Usable(f, p, c))
        return shorter;
    // With no match to beat (mostly after a literal), the candidates that differ in their first
    // three bytes are passed over first: where matches are rare, most searches end there.
    Zeb32s probes = kBestProbes;
    if (shorter == 2 && !ownLZ77PassOver(f, p, &c, &probes))
        return shorter;
    return ownLZ77LongerMatch(f, p, c, maxLen, probes, shorter, pBestPos);
}

// Whether level 2 takes a match found at p rather than look further.
inline bool acceptable(Zeb32s len, Zeb32s distance)
{
    return len > kLZ77MinMatch || (len == kLZ77MinMatch && distance <= kFarThreeByteMatch);
}

// The level 2 searches for any match at p (from c) and at p + 1 (from c1), as search_best
// makes them; when both have a chain to walk, the two walks go together.
inline void search_pair(const OwnLZ77Finder& f, Zeb32s p, Zeb32s c, Zeb32s c1, Zeb32s end,
                        Zeb32s* pBest, Zeb32s* pBestPos, Zeb32s* pBest1, Zeb32s* pBestPos1)
{
    Zeb32s maxLen1 = min32(end - 4 - p, kLZ77MaxMatch);
    if (maxLen1 < kLZ77MinMatch || !ownLZ77Usable(f, p, c) || !ownLZ77Usable(f, p + 1, c1)) {
        *pBest = search_best(f, p, c, end, 2, pBestPos);
        *pBest1 = search_best(f, p + 1, c1, end, 2, pBestPos1);
        return;
    }
    ChainWalk here = start_walk(f, p, c, min32(end - 3 - p, kLZ77MaxMatch), kBestProbes, 2, 0);
    ChainWalk next = start_walk(f, p + 1, c1, maxLen1, kBestProbes, 2, 0);
    walk_both(f, here, next);
    *pBest = here.best;
    *pBestPos = here.bestPos;
    *pBest1 = next.best;
    *pBestPos1 = next.bestPos;
}

ZEB_ALWAYS_INLINE Zeb32s parse_best(const OwnLZ77Finder& f, Zeb32s end, OwnLZ77Sink& out)
{
    Zeb32s p = f.position;
    bool searchHere = true;
    Zeb32s best1 = 2, bestPos1 = 0;
    while (p < end - 3) {
        if (out.made == out.room)
            return p;
        Zeb32s c = ownLZ77Insert(f, p);
        // Look one position ahead without linking it. When the match at p is one to take, only
        // a longer match at p + 1 matters, and the search may reject anything not longer; the
        // search made together with p's finds any match, which decides the same.
        Zeb32s c2 = f.head[ownLZ77Hash(f.randVec, f.src + (p + 1 - f.position))];
        Zeb32s best2 = 2, bestPos2 = 0;
        if (searchHere) {
            search_pair(f, p, c, c2, end, &best1, &bestPos1, &best2, &bestPos2);
            searchHere = false;
        } else {
            Zeb32s shorter = acceptable(best1, p - bestPos1) ? best1 : 2;
            best2 = search_best(f, p + 1, c2, end, shorter, &bestPos2);
        }
        Zeb32s distance = p - bestPos1;
        if (acceptable(best1, distance) && best1 >= best2) {
            emit(out, (Zeb32u)best1, (Zeb32u)distance);
            ownLZ77InsertRange(f, p + 1, p + best1);
            p += best1;
            searchHere = true;
        } else {
            emit(out, f.src[p - f.position], 0);
            ++p;
            best1 = best2;
            bestPos1 = bestPos2;
        }
    }
    return emit_tail(f, p, end, out);
}

// Runs a parser on local copies of the finder and the sink, which no store to the tables can
// touch, so that their fields stay in registers; one such function per parser.
template <Zeb32s (*kParse)(const OwnLZ77Finder&, Zeb32s, OwnLZ77Sink&)>
__attribute__((noinline)) Zeb32s parse_on_copies(const OwnLZ77Finder& finder, Zeb32s end,
                                                 OwnLZ77Sink& sink)
{
    const OwnLZ77Finder f = finder;
    OwnLZ77Sink out = sink;
    Zeb32s p = kParse(f, end, out);
    sink.made = out.made;
    return p;
}

} // namespace

Zeb32s ownLZ77Parse(const OwnLZ77Finder& f, Zeb32s level, Zeb32s end, OwnLZ77Sink& out)
{
    if (level == zebLZ77LevelFast)
        return parse_on_copies<parse_fast>(f, end, out);
    if (level == zebLZ77LevelBest)
        return parse_on_copies<parse_best>(f, end, out);
    return parse_on_copies<parse_average>(f, end, out);
}
