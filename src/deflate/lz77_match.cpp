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
    Zeb32s len = 0;
    while (len + 8 <= maxLen) {
        uint64_t diff = zeb_load64(a + len) ^ zeb_load64(b + len);
        if (diff != 0)
            return len + (Zeb32s)(__builtin_ctzll(diff) >> 3);
        len += 8;
    }
    while (len < maxLen && a[len] == b[len])
        ++len;
    return len;
}

Zeb32s ownLZ77LongestMatch(const OwnLZ77Finder& f, Zeb32s p, Zeb32s c, Zeb32s maxLen,
                           Zeb32s maxProbes, Zeb32s* pBestPos)
{
    const Zeb8u* cur = f.src + (p - f.position);
    Zeb32s best = 2;
    for (Zeb32s probes = 0;;) {
        const Zeb8u* cand = ownLZ77Bytes(f, c);
        // Reject on the two bytes that would have to match for a longer match than best.
        if (cand[best - 1] == cur[best - 1] && cand[best] == cur[best]) {
            Zeb32s len = ownLZ77MatchLength(cand, cur, maxLen);
            if (len > best) {
                best = len;
                *pBestPos = c;
            }
        }
        if (++probes == maxProbes || best >= maxLen)
            break;
        c = f.prev[c & kLZ77LinkMask];
        if (!ownLZ77Usable(f, p, c))
            break;
    }
    return best;
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

Zeb32s ownLZ77ParseFast(const OwnLZ77Finder& f, Zeb32s end, OwnLZ77Sink& out)
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

Zeb32s ownLZ77ParseAverage(const OwnLZ77Finder& f, Zeb32s end, OwnLZ77Sink& out)
{
    Zeb32s p = f.position;
    while (p < end - 2) {
        if (out.made == out.room)
            return p;
        Zeb32s bestPos = 0;
        Zeb32s best = ownLZ77FindGreedy(f, p, end, kAverageProbes, &bestPos);
        if (best >= kLZ77MinMatch) {
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

namespace {

// Level 2 search at p from the candidate c: 2 when c is unusable or fewer than 3 bytes may match.
inline Zeb32s search_best(const OwnLZ77Finder& f, Zeb32s p, Zeb32s c, Zeb32s end,
                          Zeb32s* pBestPos)
{
    Zeb32s maxLen = min32(end - 3 - p, kLZ77MaxMatch);
    if (maxLen < kLZ77MinMatch || !ownLZ77Usable(f, p, c))
        return 2;
    return ownLZ77LongestMatch(f, p, c, maxLen, kBestProbes, pBestPos);
}

} // namespace

Zeb32s ownLZ77ParseBest(const OwnLZ77Finder& f, Zeb32s end, OwnLZ77Sink& out)
{
    Zeb32s p = f.position;
    bool searchHere = true;
    Zeb32s best1 = 2, bestPos1 = 0;
    while (p < end - 3) {
        if (out.made == out.room)
            return p;
        Zeb32s c = ownLZ77Insert(f, p);
        if (searchHere) {
            best1 = search_best(f, p, c, end, &bestPos1);
            searchHere = false;
        }
        // Look one position ahead without linking it.
        Zeb32s bestPos2 = 0;
        Zeb32s c2 = f.head[ownLZ77Hash(f.randVec, f.src + (p + 1 - f.position))];
        Zeb32s best2 = search_best(f, p + 1, c2, end, &bestPos2);
        Zeb32s distance = p - bestPos1;
        if (best1 >= best2 &&
            (best1 > kLZ77MinMatch || (best1 == kLZ77MinMatch && distance <= kFarThreeByteMatch))) {
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
