// Burrows-Wheeler forward transform of a block of any length (bzip2 convention: the byte before
// each cyclic rotation in sorted order, and the row of rotation 0).
//
// Scratch (6 * len + 70145 bytes), from the first 32-byte boundary: the type-A, type-B* and
// type-B count arrays (256 words each), the saved bucket ends, the radix sort stack (40 ranges),
// a merge area of 16384 entries, the rotation array (len words), then the block twice in a row
// followed by its first byte, so that reading up to len + 1 bytes past any start never wraps.
//
// Types, cyclically: rotation i is A when s[i] > s[i + 1], or s[i] == s[i + 1] and i + 1 is A;
// B otherwise; B* when it is B and i + 1 is A. Only the B* rotations are sorted by comparison:
//  1. the B* substrings (from a B* start through the byte after the next B* start) by their
//     first two bytes (one counter per pair, kept in the rotation array between the entries and
//     the starts when there is room), then a three-way radix quicksort whose keys are gathered
//     into the merge area once per depth, which costs at most their total length, about 2 * len;
//  2. equal substrings by prefix doubling on the ranks of the cyclic sequence of substrings
//     (Larsson-Sadakane), O(m log m) for m substrings whatever the block; a group whose keys
//     are all equal is left as it is;
//  3. the other B rotations are induced right to left from the B* ones and merged with them per
//     bucket by their second byte; the A rotations are induced left to right from all B ones.
// A periodic block is transformed through one period, and each output byte repeated.
#include "core/zeb_common.h"

#include <algorithm>

namespace {

enum {
    kAlphabet = 256,
    kStackRanges = 40,
    kMergeEntries = 16384,
    kFixedBytes = 4 * kAlphabet * 4 + 3 * kStackRanges * 4 + kMergeEntries * 4, // 70112
    kInsertionRange = 12,
    kPairs = kAlphabet * kAlphabet,
    kGatheredKeys = (kMergeEntries - kAlphabet) * 4, // merge area bytes past the flag sort's ends
};

struct Range {
    Zeb32s lo, hi, depth; // inclusive bounds
};

struct Scratch {
    Zeb32s* countA;     // A rotations per first byte, then the end of each A area
    Zeb32s* countBStar; // B* rotations per first byte
    Zeb32s* countB;     // other B rotations per first byte, then the end of each bucket
    Zeb32s* next;       // insertion pointers per byte
    Range* stack;
    Zeb32s* merge;
    Zeb32s* sa;
    Zeb8u* text;

    Scratch(Zeb8u* buffer, int len)
    {
        Zeb8u* base = buffer + ((32 - (uintptr_t)buffer % 32) % 32);
        countA = (Zeb32s*)(void*)base;
        countBStar = countA + kAlphabet;
        countB = countBStar + kAlphabet;
        next = countB + kAlphabet;
        stack = (Range*)(void*)(next + kAlphabet);
        merge = (Zeb32s*)(void*)(stack + kStackRanges);
        sa = merge + kMergeEntries;
        text = (Zeb8u*)(void*)(sa + len);
    }
};

// ---------------------------------------------------------------------------------------------
// Classification

// Type of rotation 0: decided by the first pair of unequal neighbours from position 0.
bool first_is_a(const Zeb8u* t, int len)
{
    int k = 0;
    while (k < len && t[k] == t[k + 1])
        ++k;
    return t[k] > t[k + 1];
}

// Counts the rotations of each type per first byte and stores the B* starts in increasing order
// at the top of the rotation array. Returns the number of B* rotations.
int classify(const Scratch& s, int len)
{
    const Zeb8u* t = s.text;
    memset(s.countA, 0, 3 * kAlphabet * sizeof(Zeb32s));
    bool nextA = first_is_a(t, len);
    int stars = 0;
    for (int i = len - 1; i >= 0; --i) {
        int c = t[i], d = t[i + 1];
        bool isA = c > d || (c == d && nextA);
        if (isA)
            ++s.countA[c];
        else if (nextA) {
            ++s.countBStar[c];
            s.sa[len - 1 - stars++] = i;
        } else
            ++s.countB[c];
        nextA = isA;
    }
    return stars;
}

// Visits the B* starts in decreasing order.
template <class Visit> void for_each_star_backward(const Zeb8u* t, int len, Visit visit)
{
    bool nextA = first_is_a(t, len);
    for (int i = len - 1; i >= 0; --i) {
        int c = t[i], d = t[i + 1];
        bool isA = c > d || (c == d && nextA);
        if (!isA && nextA)
            visit(i);
        nextA = isA;
    }
}

// ---------------------------------------------------------------------------------------------
// Step 1: radix quicksort of the B* substrings. Entries are indices k into the B* starts pos[];
// substring k runs from pos[k] through the byte after the next start. Keys are read without
// looking for the end: the bytes past it are block bytes all the same (doubled copy). Instead,
// a range whose entries share their first depth bytes first sets apart those that end there
// (equal, and before the longer ones: a substring that is a prefix of another sorts first, as
// the suffixes behind them do).

struct StarSubstrings {
    const Zeb8u* t;
    const Zeb32s* pos;
    int stars, len;

    int end(int k) const { return (k + 1 < stars ? pos[k + 1] : pos[0] + len) + 2; }
    int length(int k) const { return end(k) - pos[k]; }
    int key(int k, int depth) const { return t[pos[k] + depth]; }
    // A substring ends after a B* byte and the greater byte behind it; the first depth bytes,
    // shared by a range, tell whether any substring of the range can end at depth.
    bool may_end(int k, int depth) const
    {
        const Zeb8u* at = t + pos[k] + depth;
        return at[-2] < at[-1];
    }
    // The first depth from depth on, below limit, at which substrings a and b differ; limit
    // when none.
    int mismatch(int a, int b, int depth, int limit) const
    {
        return depth + zeb_common_prefix(t + pos[a] + depth, t + pos[b] + depth, limit - depth);
    }
    // <0, 0 or >0 as substring a sorts before, equal to or after substring b (first depth bytes
    // known equal).
    int compare(int a, int b, int depth) const
    {
        int lengthA = length(a), lengthB = length(b);
        int shared = std::min(lengthA, lengthB);
        int at = mismatch(a, b, depth, shared);
        return at < shared ? t[pos[a] + at] - t[pos[b] + at] : lengthA - lengthB;
    }
};

// An entry equal to the one after it is stored complemented (negative); the last of a group
// of equal substrings stays as it is.
void mark_equal_group(Zeb32s* sa, int lo, int hi)
{
    for (int i = lo; i < hi; ++i)
        sa[i] = ~sa[i];
}

// Moves the substrings of r that end at r.depth to its front as a group of equal ones; returns
// the rest.
Range set_apart_ended(Zeb32s* sa, const StarSubstrings ss, Range r)
{
    if (r.hi <= r.lo || !ss.may_end(sa[r.lo], r.depth))
        return r;
    int front = r.lo;
    for (int i = r.lo; i <= r.hi; ++i)
        if (ss.length(sa[i]) == r.depth)
            std::swap(sa[front++], sa[i]);
    mark_equal_group(sa, r.lo, front - 1);
    return Range{front, r.hi, r.depth};
}

// The depth up to which all substrings of r are equal, at most the length of the shortest. All
// are compared with the first 8 bytes at a time, in step, so that the work is bounded by the
// depth gained.
int shared_depth(const Zeb32s* sa, const StarSubstrings ss, Range r)
{
    int first = sa[r.lo], limit = ss.length(first);
    for (int i = r.lo + 1; i <= r.hi; ++i)
        limit = std::min(limit, ss.length(sa[i]));
    for (int depth = r.depth; depth < limit; depth += 8) {
        int until = std::min(depth + 8, limit), reached = until;
        for (int i = r.lo + 1; i <= r.hi; ++i)
            reached = std::min(reached, ss.mismatch(first, sa[i], depth, until));
        if (reached < until)
            return reached;
    }
    return limit;
}

// Meanwhile an entry equal to the one before it is kept complemented: later insertions never
// come between equal entries, nor put an equal one before an entry that was not.
void insertion_sort(Zeb32s* sa, const StarSubstrings ss, Range r)
{
    auto plain = [](Zeb32s v) { return v < 0 ? ~v : v; };
    for (int i = r.lo + 1; i <= r.hi; ++i) {
        Zeb32s v = sa[i];
        int j = i, order = 1;
        for (; j > r.lo && (order = ss.compare(plain(sa[j - 1]), v, r.depth)) > 0; --j)
            sa[j] = sa[j - 1];
        sa[j] = order == 0 ? ~v : v;
    }
    for (int i = r.lo; i < r.hi; ++i)
        sa[i] = sa[i + 1] < 0 ? ~plain(sa[i]) : plain(sa[i]);
    sa[r.hi] = plain(sa[r.hi]);
}

int median_of_three(int a, int b, int c)
{
    if (a > b)
        std::swap(a, b);
    return c < a ? a : (c > b ? b : c);
}

// Keys of a large range, read one by one as the partition reaches them.
struct DirectKeys {
    Zeb32s* sa;
    StarSubstrings ss;

    void gather(Range) const {}
    int at(int i, int depth) const { return ss.key(sa[i], depth); }
    void swap(int i, int j) const { std::swap(sa[i], sa[j]); }
};

// Keys of the ranges of one bucket that fits the key area: read for a whole range at each new
// depth, in a loop whose loads do not wait for one another, and moved along with the entries,
// so that the parts of a partition keep theirs.
struct GatheredKeys {
    Zeb32s* sa;
    StarSubstrings ss;
    Zeb8u* key; // key[i - base] for entry i
    int base;

    void gather(Range r) const
    {
        const Zeb32s* entry = sa; // locals: the byte stores below could alias the members
        const Zeb32s* start = ss.pos;
        const Zeb8u* at = ss.t + r.depth;
        Zeb8u* out = key;
        for (int i = r.lo, first = base; i <= r.hi; ++i)
            out[i - first] = at[start[entry[i]]];
    }
    int at(int i, int) const { return key[i - base]; }
    void swap(int i, int j) const
    {
        std::swap(sa[i], sa[j]);
        std::swap(key[i - base], key[j - base]);
    }
};

// Whether all keys of r are equal: all are read, none waits for a comparison.
template <class Keys> bool all_equal(const Keys keys, Range r)
{
    bool same = true;
    for (int i = r.lo + 1; i <= r.hi; ++i)
        same &= keys.at(i, r.depth) == keys.at(r.lo, r.depth);
    return same;
}

// Moves the entries of [lo, hi] whose key satisfies holds() to the front, without a branch on
// the key; returns the end of those.
template <class Keys, class Holds>
int move_to_front(const Keys keys, int lo, int hi, int depth, Holds holds)
{
    int front = lo;
    for (int i = lo; i <= hi; ++i) {
        int k = keys.at(i, depth);
        keys.swap(i, front);
        front += holds(k);
    }
    return front;
}

// Three-way partition by the key at r.depth (the median of three as pivot): the keys below it,
// then equal to it, then above it; returns the equal part, whose entries share one more byte.
template <class Keys> Range partition(const Keys keys, Range r)
{
    int pivot = median_of_three(keys.at(r.lo, r.depth), keys.at((r.lo + r.hi) >> 1, r.depth),
                                keys.at(r.hi, r.depth));
    int less = move_to_front(keys, r.lo, r.hi, r.depth, [=](int k) { return k < pivot; });
    int equal = move_to_front(keys, less, r.hi, r.depth, [=](int k) { return k == pivot; });
    return Range{less, equal - 1, r.depth + 1};
}

// Readies a range to be partitioned at a new depth: its keys are gathered, and while they are
// all equal, the bytes that all its substrings share are skipped and those that end there set
// apart. Each such skip costs no more than partitioning byte by byte would have.
template <class Keys> Range enter_depth(const Keys keys, const StarSubstrings ss, Range r)
{
    while (r.hi - r.lo >= kInsertionRange) {
        keys.gather(r);
        if (!all_equal(keys, r))
            break;
        r = set_apart_ended(keys.sa, ss, Range{r.lo, r.hi, shared_depth(keys.sa, ss, r)});
    }
    return r;
}

// Sorts a range whose entries share their first whole.depth bytes and none of which ends there.
// The parts of a partition at one depth keep their gathered keys; the equal part enters the
// next depth.
template <class Keys>
void sort_star_substrings(Range* stack, const Keys keys, const StarSubstrings ss, Range whole)
{
    int top = 0;
    stack[top++] = enter_depth(keys, ss, whole);
    while (top > 0) {
        Range r = stack[--top];
        for (;;) {
            if (r.hi - r.lo < kInsertionRange || top + 2 > kStackRanges) {
                insertion_sort(keys.sa, ss, r);
                break;
            }
            Range eq = partition(keys, r);
            Range parts[3] = {{r.lo, eq.lo - 1, r.depth},
                              enter_depth(keys, ss, set_apart_ended(keys.sa, ss, eq)),
                              {eq.hi + 1, r.hi, r.depth}};
            // Go on with the smallest part with two entries or more and stack the others, so
            // that the stack holds at most two ranges per third of the size.
            std::sort(parts, parts + 3,
                      [](const Range& x, const Range& y) { return x.hi - x.lo < y.hi - y.lo; });
            for (int i = 2; i >= 1; --i)
                if (parts[i].hi > parts[i].lo)
                    stack[top++] = parts[i];
            if (parts[0].hi <= parts[0].lo)
                break;
            r = parts[0];
        }
    }
}

// Sorts the range of one bucket from depth 2, through the key area when it fits there.
void sort_star_range(Zeb32s* sa, Range* stack, Zeb8u* keyArea, const StarSubstrings& ss, Range r)
{
    if (r.hi - r.lo < kGatheredKeys)
        sort_star_substrings(stack, GatheredKeys{sa, ss, keyArea, r.lo}, ss, r);
    else
        sort_star_substrings(stack, DirectKeys{sa, ss}, ss, r);
}

// ---------------------------------------------------------------------------------------------
// Step 2: prefix doubling (Larsson-Sadakane) on the cyclic sequence of substring ranks. group[]
// holds the entries in sorted order (a negative run length stands for sorted singletons), rank[]
// the number of each entry's group: the index of the group's last entry.

struct Doubling {
    Zeb32s* group;
    Zeb32s* rank;
    Zeb32s* keyArea; // kMergeEntries keys
    int n, h;

    int key(Zeb32s k) const
    {
        int at = k + h;
        return rank[at >= n ? at - n : at];
    }

    // Keys of a group too large for the key area, read as the sort reaches them.
    struct DirectRanks {
        const Doubling* d;

        int at(int i, int) const { return d->key(d->group[i]); }
        void swap(int i, int j) const { std::swap(d->group[i], d->group[j]); }
    };

    // Keys of a group read all at once into the key area and moved along with the entries.
    struct GatheredRanks {
        Zeb32s* group;
        Zeb32s* key; // key[i - base] for entry i
        int base;

        int at(int i, int) const { return key[i - base]; }
        void swap(int i, int j) const
        {
            std::swap(group[i], group[j]);
            std::swap(key[i - base], key[j - base]);
        }
    };

    // Sorts group[lo..hi] by key. No rank changes meanwhile, so every key stays what it was
    // when the pass reached the group (ranks changed while splitting would mix refined and
    // stale group numbers).
    template <class Keys> void sort_by_key(const Keys keys, int lo, int hi) const
    {
        while (hi - lo >= kInsertionRange) {
            Range eq = partition(keys, Range{lo, hi, 0});
            if (eq.lo - lo < hi - eq.hi) { // the smaller side by recursion, the larger by iteration
                sort_by_key(keys, lo, eq.lo - 1);
                lo = eq.hi + 1;
            } else {
                sort_by_key(keys, eq.hi + 1, hi);
                hi = eq.lo - 1;
            }
        }
        for (int i = lo + 1; i <= hi; ++i)
            for (int j = i; j > lo && keys.at(j - 1, 0) > keys.at(j, 0); --j)
                keys.swap(j - 1, j);
    }

    // Splits the group [lo, hi] into runs of equal keys, found before any rank changes, then
    // numbers the runs; a run of one is sorted. A group whose keys are all equal stays whole,
    // its ranks as they are.
    template <class Keys> void split_by(const Keys keys, int lo, int hi) const
    {
        if (all_equal(keys, Range{lo, hi, 0}))
            return;
        sort_by_key(keys, lo, hi);
        for (int i = hi; i > lo; --i)
            if (keys.at(i, 0) == keys.at(i - 1, 0))
                group[i] = ~group[i];
        for (int i = lo; i <= hi;) {
            int end = i;
            while (end < hi && group[end + 1] < 0)
                ++end;
            for (int m = i; m <= end; ++m) {
                Zeb32s k = group[m] < 0 ? ~group[m] : group[m];
                group[m] = k;
                rank[k] = end;
            }
            if (i == end)
                group[i] = -1;
            i = end + 1;
        }
    }

    // The keys of a group that fits the key area are read all at once, in a loop whose loads do
    // not wait for one another.
    void split(int lo, int hi) const
    {
        if (hi - lo >= kMergeEntries)
            return split_by(DirectRanks{this}, lo, hi);
        for (int i = lo; i <= hi; ++i)
            keyArea[i - lo] = key(group[i]);
        split_by(GatheredRanks{group, keyArea, lo}, lo, hi);
    }

    // One pass over the unsorted groups with the key at distance h; sorted runs are joined.
    void pass()
    {
        int i = 0, sortedRun = 0;
        while (i < n) {
            Zeb32s k = group[i];
            if (k < 0) {
                i -= k;
                sortedRun -= k;
                continue;
            }
            if (sortedRun > 0) {
                group[i - sortedRun] = -sortedRun;
                sortedRun = 0;
            }
            int end = rank[k];
            split(i, end);
            i = end + 1;
        }
        if (sortedRun > 0)
            group[i - sortedRun] = -sortedRun;
    }

    // Sorts, then leaves in rank[k] the row of entry k.
    void run()
    {
        for (h = 1; group[0] != -n && h < n; h *= 2)
            pass();
        // Entries still tied after n substrings are equal rotations of a periodic sequence: any
        // order among them will do.
        for (int i = 0; i < n;) {
            Zeb32s k = group[i];
            if (k < 0) {
                i -= k;
                continue;
            }
            int end = rank[k];
            for (; i <= end; ++i)
                rank[group[i]] = i;
        }
    }
};

// Ranks from the marked sorted order: every entry gets the index of its group's last entry, and
// an entry alone in its group is sorted (-1 in the group array).
void rank_substrings(Zeb32s* sa, Zeb32s* rank, int stars)
{
    int groupEnd = stars - 1;
    for (int i = stars - 1; i >= 0; --i) {
        Zeb32s k = sa[i];
        bool last = k >= 0;
        if (last)
            groupEnd = i;
        else
            k = ~k;
        rank[k] = groupEnd;
        sa[i] = last && (i == 0 || sa[i - 1] >= 0) ? -1 : k;
    }
}

// Sorts the entries sa[lo, hi) of one first byte by their second byte, which every B* substring
// has (it is at least three bytes long), in place (American flag sort); then each run of equal
// second bytes by radix quicksort from depth 2. starts and ends take 256 words each; the key
// area follows ends.
void sort_star_bucket(Zeb32s* sa, Range* stack, const StarSubstrings& ss, int lo, int hi,
                      Zeb32s* starts, Zeb32s* ends)
{
    auto second = [&](Zeb32s k) { return ss.t[ss.pos[k] + 1]; };
    memset(ends, 0, kAlphabet * sizeof(Zeb32s));
    for (int i = lo; i < hi; ++i)
        ++ends[second(sa[i])];
    for (int c = 0, sum = lo; c < kAlphabet; ++c) {
        starts[c] = sum;
        sum += ends[c];
        ends[c] = sum;
    }
    for (int c = 0; c < kAlphabet; ++c)
        while (starts[c] < ends[c]) { // carry entries to their runs until one belongs here
            Zeb32s v = sa[starts[c]];
            for (int d = second(v); d != c; d = second(v))
                std::swap(v, sa[starts[d]++]);
            sa[starts[c]++] = v;
        }
    for (int c = 0, from = lo; c < kAlphabet; from = ends[c++])
        if (ends[c] - from >= 2)
            sort_star_range(sa, stack, (Zeb8u*)(void*)(ends + kAlphabet), ss,
                            Range{from, ends[c] - 1, 2});
}

// Sorts the B* entries sa[0, stars) by their first two bytes with one counter per pair, pairs[],
// reading the starts in text order; then each pair's run by radix quicksort from depth 2, with
// the key area keys.
void sort_star_pairs(Zeb32s* sa, Zeb32s* pairs, Range* stack, Zeb8u* keys, const StarSubstrings& ss)
{
    auto pair = [&](int k) {
        const Zeb8u* at = ss.t + ss.pos[k];
        return at[0] << 8 | at[1];
    };
    memset(pairs, 0, kPairs * sizeof(Zeb32s));
    for (int k = 0; k < ss.stars; ++k)
        ++pairs[pair(k)];
    for (int p = 0, sum = 0; p < kPairs; ++p) {
        sum += pairs[p];
        pairs[p] = sum;
    }
    for (int k = ss.stars - 1; k >= 0; --k)
        sa[--pairs[pair(k)]] = k;
    for (int p = 0; p < kPairs; ++p) {
        int end = p + 1 < kPairs ? pairs[p + 1] : ss.stars;
        if (end - pairs[p] >= 2)
            sort_star_range(sa, stack, keys, ss, Range{pairs[p], end - 1, 2});
    }
}

// Entries by first byte, then each byte's range by its second byte and radix quicksort.
void sort_star_buckets(const Scratch& s, const StarSubstrings& ss)
{
    int sum = 0;
    for (int c = 0; c < kAlphabet; ++c) {
        s.next[c] = sum;
        sum += s.countBStar[c];
    }
    for (int k = 0; k < ss.stars; ++k)
        s.sa[s.next[s.text[ss.pos[k]]]++] = k;
    for (int c = 0, lo = 0; c < kAlphabet; lo += s.countBStar[c++])
        if (s.countBStar[c] >= 2)
            sort_star_bucket(s.sa, s.stack, ss, lo, lo + s.countBStar[c], s.next, s.merge);
}

// Sorts the B* rotations: afterwards sa[0..stars) holds their starts in rotation order.
void sort_star_rotations(const Scratch& s, int len, int stars)
{
    Zeb32s* sa = s.sa;
    const Zeb32s* pos = s.sa + len - stars;
    StarSubstrings ss{s.text, pos, stars, len};
    if (len - 2 * stars >= kPairs) // the pair counters fit between the entries and pos[]
        sort_star_pairs(sa, sa + stars, s.stack, (Zeb8u*)(void*)(s.merge + kAlphabet), ss);
    else
        sort_star_buckets(s, ss);
    Zeb32s* rank = sa + stars; // overwrites pos[] when more than a third of the rotations are B*
    rank_substrings(sa, rank, stars);
    Doubling{sa, rank, s.merge, stars, 1}.run();
    if (3 * stars <= len) {
        for (int k = 0; k < stars; ++k)
            sa[rank[k]] = pos[k];
    } else {
        int k = stars;
        for_each_star_backward(s.text, len, [&](int i) { sa[rank[--k]] = i; });
    }
}

// ---------------------------------------------------------------------------------------------
// Step 3: induction.

// Merges the induced run [lo, mid) and the B* run [mid, hi) of one bucket, each sorted, by the
// byte after the first; a B* rotation goes first among equal bytes (the rotation after it is A).
struct BucketMerge {
    Zeb32s* sa;
    Zeb32s* buffer;
    const Zeb8u* t;

    int key(Zeb32s j) const { return t[j + 1]; }

    void from_back(int lo, int mid, int hi) const // the B* run fits the buffer
    {
        int y = hi - mid;
        memcpy(buffer, sa + mid, (size_t)y * sizeof(Zeb32s));
        int x = mid - 1, out = hi - 1;
        while (y > 0)
            sa[out--] = x >= lo && key(sa[x]) >= key(buffer[y - 1]) ? sa[x--] : buffer[--y];
    }

    void from_front(int lo, int mid, int hi) const // the induced run fits the buffer
    {
        int xn = mid - lo, x = 0, y = mid, out = lo;
        memcpy(buffer, sa + lo, (size_t)xn * sizeof(Zeb32s));
        while (x < xn)
            sa[out++] = y < hi && key(sa[y]) <= key(buffer[x]) ? sa[y++] : buffer[x++];
    }

    // Larger runs: split the longer run in the middle, find the cut in the other, exchange the
    // two middle pieces and merge each side.
    void merge(int lo, int mid, int hi) const
    {
        if (lo == mid || mid == hi)
            return;
        if (hi - mid <= kMergeEntries)
            return from_back(lo, mid, hi);
        if (mid - lo <= kMergeEntries)
            return from_front(lo, mid, hi);
        int xCut, yCut;
        if (mid - lo >= hi - mid) {
            xCut = lo + (mid - lo) / 2;
            int k = key(sa[xCut]);
            yCut = (int)(std::upper_bound(sa + mid, sa + hi, k,
                                          [&](int v, Zeb32s j) { return v < key(j); }) -
                         sa);
        } else {
            yCut = mid + (hi - mid) / 2;
            int k = key(sa[yCut]);
            xCut = (int)(std::lower_bound(sa + lo, sa + mid, k,
                                          [&](Zeb32s j, int v) { return key(j) < v; }) -
                         sa);
        }
        std::rotate(sa + xCut, sa + mid, sa + yCut);
        int newMid = xCut + (yCut - mid);
        merge(lo, xCut, newMid);
        merge(newMid, yCut, hi);
    }
};

// Places the sorted B* rotations at the ends of their buckets and induces the other B rotations
// right to left. Bucket ends in countB, A-area ends in countA.
void induce_b(const Scratch& s, int len, int stars)
{
    const Zeb8u* t = s.text;
    Zeb32s* sa = s.sa;
    int sum = 0;
    for (int c = 0; c < kAlphabet; ++c) {
        sum += s.countA[c];
        s.countA[c] = sum;
        sum += s.countBStar[c] + s.countB[c];
        s.countB[c] = sum;
        s.next[c] = sum - s.countBStar[c];
    }
    for (int c = kAlphabet - 1, i = stars - 1; c >= 0; --c) // never overtakes an unmoved entry
        for (int at = s.countB[c] - 1; at >= s.next[c]; --at)
            sa[at] = sa[i--];
    BucketMerge merger{sa, s.merge, t};
    for (int c = kAlphabet - 1; c >= 0; --c) {
        int end = s.countB[c];
        merger.merge(s.next[c], end - s.countBStar[c], end);
        for (int i = end - 1; i >= s.countA[c]; --i) {
            Zeb32s j = sa[i];
            int p = t[len + j - 1];
            if (p <= c)
                sa[--s.next[p]] = j == 0 ? len - 1 : j - 1;
        }
    }
}

// Induces the A rotations left to right and writes the output.
int induce_a_and_output(const Scratch& s, int len, Zeb8u* dst)
{
    const Zeb8u* t = s.text;
    Zeb32s* sa = s.sa;
    int sum = 0;
    for (int c = 0; c < kAlphabet; ++c) {
        s.next[c] = sum;
        sum = s.countB[c];
    }
    int index = 0;
    for (int i = 0; i < len; ++i) {
        Zeb32s j = sa[i];
        Zeb32s before = j == 0 ? len - 1 : j - 1; // t[j] and t[before] mostly share a line
        int c = t[j], p = t[before];
        dst[i] = (Zeb8u)p;
        if (j == 0)
            index = i;
        if (p > c || (p == c && i < s.countA[c]))
            sa[s.next[p]++] = before;
    }
    return index;
}

// Transform of a block whose rotations are distinct and not all equal.
int transform_primitive(const Scratch& s, const Zeb8u* src, int len, Zeb8u* dst)
{
    memcpy(s.text, src, (size_t)len);
    memcpy(s.text + len, src, (size_t)len);
    s.text[2 * len] = src[0];
    int stars = classify(s, len);
    sort_star_rotations(s, len, stars);
    induce_b(s, len, stars);
    return induce_a_and_output(s, len, dst);
}

bool has_period(const Zeb8u* src, int len, int period)
{
    return memcmp(src, src + period, (size_t)(len - period)) == 0;
}

// Length of the shortest period of the block that divides its length (len when none). A block
// of length n made of copies of its root has the period n / q, for a prime q dividing n, exactly
// when the root divides n / q; so the root is left after dividing by each prime factor for as
// long as the remaining prefix keeps that period.
int primitive_root_length(const Zeb8u* src, int len)
{
    int root = len;
    for (int rest = len, q = 2; rest > 1; ++q) { // rest: the factors of len not yet tried
        if (q > rest / q)
            q = rest; // rest is prime
        if (rest % q != 0)
            continue;
        while (rest % q == 0)
            rest /= q;
        while (root % q == 0 && has_period(src, root, root / q))
            root /= q;
    }
    return root;
}

bool one_repeated_byte(const Zeb8u* src, int len)
{
    for (int i = 1; i < len; ++i)
        if (src[i] != src[0])
            return false;
    return true;
}

} // namespace

extern "C" ZEBAPI ZebStatus zebsBWTFwdGetSize_8u(int len, int* pSize)
{
    ZEB_CHECK(pSize != nullptr, zebStsNullPtr);
    ZEB_CHECK(len >= 1 && len <= (0x7FFFFFFF - kFixedBytes - 33) / 6, zebStsBadSize);
    *pSize = 6 * len + kFixedBytes + 33;
    return zebStsOk;
}

extern "C" ZEBAPI ZebStatus zebsBWTFwd_8u(const Zeb8u* pSrc, Zeb8u* pDst, int len, int* pIndex,
                                          Zeb8u* pBuffer)
{
    ZEB_CHECK(pSrc != nullptr && pDst != nullptr && pIndex != nullptr && pBuffer != nullptr,
              zebStsNullPtr);
    ZEB_CHECK(len >= 1, zebStsBadSize);
    if (one_repeated_byte(pSrc, len)) {
        memmove(pDst, pSrc, (size_t)len);
        *pIndex = 0;
        return zebStsOk;
    }
    Scratch s(pBuffer, len);
    int root = primitive_root_length(pSrc, len);
    int index = transform_primitive(s, pSrc, root, pDst);
    int repeats = len / root;
    for (int r = root - 1; r >= 0 && repeats > 1; --r) // each row of the period, repeats times
        memset(pDst + (size_t)r * repeats, pDst[r], (size_t)repeats);
    *pIndex = index * repeats;
    return zebStsOk;
}
