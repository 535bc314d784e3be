// Length-limited Huffman code lengths and canonical codes for the dynamic block writer.
//
// ownLenCalculate sorts the used symbols by count, computes optimal code lengths in place over
// the sorted weights (Moffat and Katajainen's method: no tree nodes, one array), turns them into
// a histogram per depth, pushes leaves deeper than the limit up while keeping the Kraft sum at
// exactly 1, and hands the lengths back in count order, shortest to the most frequent.
// ownCodeCalculate1 assigns the canonical codes of RFC 1951 3.2.2, bit-reversed for output.
#include "deflate/deflate_internal.h"

namespace {

enum { kSmallPartition = 9 };

// Order of the sort: larger count first, then smaller symbol.
inline bool before(const OwnHuffEntry* entries, Zeb16u a, Zeb16u b)
{
    return entries[a].count != entries[b].count ? entries[a].count > entries[b].count : a < b;
}

inline void swap16(Zeb16u* a, Zeb16u* b)
{
    Zeb16u t = *a;
    *a = *b;
    *b = t;
}

// Small partitions: repeatedly move the first in order to the front.
void sort_by_selection(const OwnHuffEntry* entries, Zeb16u* sym, Zeb32s n)
{
    for (Zeb32s i = 0; i + 1 < n; ++i) {
        Zeb32s top = i;
        for (Zeb32s j = i + 1; j < n; ++j)
            if (before(entries, sym[j], sym[top]))
                top = j;
        swap16(&sym[i], &sym[top]);
    }
}

// Quicksort with the median of three as pivot; recursion goes into the smaller side only.
void sort_by_count(const OwnHuffEntry* entries, Zeb16u* sym, Zeb32s n)
{
    while (n > kSmallPartition) {
        Zeb32s mid = n / 2;
        if (before(entries, sym[mid], sym[0]))
            swap16(&sym[mid], &sym[0]);
        if (before(entries, sym[n - 1], sym[0]))
            swap16(&sym[n - 1], &sym[0]);
        if (before(entries, sym[n - 1], sym[mid]))
            swap16(&sym[n - 1], &sym[mid]);
        Zeb16u pivot = sym[mid];
        Zeb32s i = 0, j = n - 1;
        while (i <= j) {
            while (before(entries, sym[i], pivot))
                ++i;
            while (before(entries, pivot, sym[j]))
                --j;
            if (i <= j)
                swap16(&sym[i++], &sym[j--]);
        }
        if (j + 1 < n - i) {
            sort_by_count(entries, sym, j + 1);
            sym += i;
            n -= i;
        } else {
            sort_by_count(entries, sym + i, n - i);
            n = j + 1;
        }
    }
    sort_by_selection(entries, sym, n);
}

// Replaces the ascending weights a[0 .. n) (n >= 2) by optimal code lengths, longest first.
void minimum_redundancy_lengths(Zeb32u* a, Zeb32s n)
{
    // Phase 1: combine, leaving parent pointers.
    Zeb32s leaf = 0, root = 0;
    for (Zeb32s next = 0; next < n - 1; ++next) {
        if (leaf >= n || (root < next && a[root] < a[leaf])) {
            a[next] = a[root];
            a[root++] = (Zeb32u)next;
        } else {
            a[next] = a[leaf++];
        }
        if (leaf >= n || (root < next && a[root] < a[leaf])) {
            a[next] += a[root];
            a[root++] = (Zeb32u)next;
        } else {
            a[next] += a[leaf++];
        }
    }
    // Phase 2: depths of the internal nodes.
    a[n - 2] = 0;
    for (Zeb32s next = n - 3; next >= 0; --next)
        a[next] = a[a[next]] + 1;
    // Phase 3: depths of the leaves.
    Zeb32s available = 1, used = 0, depth = 0, next = n - 1;
    root = n - 2;
    while (available > 0) {
        while (root >= 0 && a[root] == (Zeb32u)depth) {
            ++used;
            --root;
        }
        while (available > used) {
            a[next--] = (Zeb32u)depth;
            --available;
        }
        available = 2 * used;
        ++depth;
        used = 0;
    }
}

// Moves leaves deeper than limit up, two at a time: the pair's parent becomes a leaf, and the
// deepest leaf above the limit makes room for the other by splitting into two one level down.
void limit_depths(Zeb32u* leavesAt, Zeb32s deepest, Zeb32s limit)
{
    for (Zeb32s depth = deepest; depth > limit; --depth) {
        while (leavesAt[depth] > 0) {
            Zeb32s j = limit - 1;
            while (j > 1 && leavesAt[j] == 0)
                --j;
            leavesAt[depth] -= 2;
            leavesAt[depth - 1] += 1;
            leavesAt[j] -= 1;
            leavesAt[j + 1] += 2;
        }
    }
}

} // namespace

void ownLenCalculate(OwnHuffEntry* entries, Zeb32s n, Zeb32s limit, OwnDeflateWork* work)
{
    Zeb16u* sym = work->order;
    Zeb32s used = 0;
    for (Zeb32s i = 0; i < n; ++i) {
        entries[i].len = 0;
        if (entries[i].count != 0)
            sym[used++] = (Zeb16u)i;
    }
    if (used < 2) { // RFC 1951 decoders want a complete code: give two symbols one bit each
        Zeb16u first = used == 1 ? sym[0] : 0;
        entries[first].len = 1;
        entries[first == 0 ? 1 : 0].len = 1;
        return;
    }
    sort_by_count(entries, sym, used);

    Zeb32u* weights = work->sortWeights;
    for (Zeb32s i = 0; i < used; ++i)
        weights[i] = entries[sym[used - 1 - i]].count;
    minimum_redundancy_lengths(weights, used);

    Zeb32u* leavesAt = work->depthCount;
    Zeb32s deepest = (Zeb32s)weights[0];
    for (Zeb32s d = 0; d <= deepest; ++d)
        leavesAt[d] = 0;
    for (Zeb32s i = 0; i < used; ++i)
        ++leavesAt[weights[i]];
    limit_depths(leavesAt, deepest, limit);

    Zeb32s k = 0;
    for (Zeb32s d = 1; d <= limit && d <= deepest; ++d)
        for (Zeb32u c = 0; c < leavesAt[d]; ++c)
            entries[sym[k++]].len = (Zeb16u)d;
}

void ownCodeCalculate1(OwnHuffEntry* entries, Zeb32s n, Zeb32u clCount[kCodeLenCodes])
{
    Zeb32u lengthCount[kMaxCodeLen + 1] = {0};
    for (Zeb32s i = 0; i < n; ++i)
        ++lengthCount[entries[i].len];
    Zeb32u next[kMaxCodeLen + 1] = {0};
    for (Zeb32s len = 2; len <= kMaxCodeLen; ++len)
        next[len] = (next[len - 1] + lengthCount[len - 1]) << 1;
    for (Zeb32s i = 0; i < n; ++i) {
        Zeb32s len = entries[i].len;
        if (len == 0)
            continue;
        Zeb32u code = next[len]++;
        Zeb32u reversed = (Zeb32u)revCodeTable[code & 0xFF] << 8 | revCodeTable[(code >> 8) & 0xFF];
        entries[i].code = (Zeb16u)(reversed >> (16 - len));
    }
    ownRunLengths(entries, n, [clCount](Zeb32s symbol, Zeb32u, Zeb32s) { ++clCount[symbol]; });
}
