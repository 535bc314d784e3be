// Helpers shared by the test files: deterministic data, corpus files and hook replacement.
#ifndef ZEBDC_TEST_SUPPORT_H
#define ZEBDC_TEST_SUPPORT_H

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "../fuzz/fuzz_support.h"
#include "zebdc.h"

namespace zebtest {

// qemu (i386) and the sanitizers run the same cases on data this many times smaller.
#if defined(__i386__) || defined(__SANITIZE_ADDRESS__)
constexpr size_t kScale = 4;
#else
constexpr size_t kScale = 1;
#endif

// Bytes drawn uniformly from an alphabet of the given size (1..256), from a fixed seed.
inline std::vector<Zeb8u> random_bytes(size_t len, unsigned alphabet = 256, uint32_t seed = 1)
{
    std::mt19937 rng(seed);
    std::vector<Zeb8u> out(len);
    for (auto& b : out)
        b = (Zeb8u)(rng() % alphabet);
    return out;
}

// Text-like bytes: words of a small vocabulary in a random order.
inline std::vector<Zeb8u> text_like(size_t len, uint32_t seed = 1)
{
    static const char* const kWords[] = {"the ", "compression ", "of ", "data ", "and ",
                                         "window ", "match ", "a ", "literal ", "deflate\n"};
    std::mt19937 rng(seed);
    std::vector<Zeb8u> out;
    while (out.size() < len)
        for (const char* c = kWords[rng() % 10]; *c && out.size() < len; ++c)
            out.push_back((Zeb8u)*c);
    return out;
}

// Runs of 1 to 300 equal bytes of a 4-letter alphabet.
inline std::vector<Zeb8u> runs(size_t len, uint32_t seed = 1)
{
    std::mt19937 rng(seed);
    std::vector<Zeb8u> out;
    while (out.size() < len)
        out.insert(out.end(), std::min<size_t>(1 + rng() % 300, len - out.size()),
                   (Zeb8u)(rng() % 4));
    return out;
}

// The Fibonacci word ("abaababaab..."): highly repetitive, the worst case of naive suffix sorts.
inline std::vector<Zeb8u> fibonacci_word(size_t len)
{
    std::string a = "a", b = "ab";
    while (b.size() < len) {
        std::string c = b + a;
        a = b;
        b = c;
    }
    return std::vector<Zeb8u>(b.begin(), b.begin() + (long)len);
}

// The names of the files of the shared corpus, or nothing when it is absent.
inline std::vector<std::string> corpus_files()
{
    static const char* const kNames[] = {"alice29.txt", "asyoulik.txt", "fireworks.jpeg",
                                         "geo.protodata", "html", "html_x_4", "kppkn.gtb",
                                         "lcet10.txt", "paper-100k.pdf", "plrabn12.txt",
                                         "urls.10K"};
    std::vector<std::string> found;
    for (const char* name : kNames) {
        std::string path = std::string(ZEBDC_CORPUS_DIR) + "/" + name;
        if (FILE* f = std::fopen(path.c_str(), "rb")) {
            std::fclose(f);
            found.push_back(path);
        }
    }
    return found;
}

using zebfuzz::read_file;

// Writes bits most significant first from bit `pos` on, as LZSS tokens and VLC codes are laid
// out: bits already in `out` are overwritten, bytes added as needed.
struct MsbBitWriter {
    std::vector<Zeb8u> out;
    size_t pos = 0;
    void put(uint32_t value, int n)
    {
        for (int i = n - 1; i >= 0; --i, ++pos) {
            if (out.size() <= pos / 8)
                out.push_back(0);
            const Zeb8u mask = (Zeb8u)(0x80 >> pos % 8);
            out[pos / 8] = (Zeb8u)((value >> i & 1) ? out[pos / 8] | mask : out[pos / 8] & ~mask);
        }
    }
};

// `size` bytes at `misalign` bytes past a 32-byte boundary, ending where the heap block ends.
struct Block {
    Zeb8u* base = nullptr;
    Zeb8u* at = nullptr;
    Block(size_t size, size_t misalign)
    {
        if (posix_memalign((void**)&base, 32, misalign + size) != 0)
            abort();
        at = base + misalign;
    }
    ~Block() { free(base); }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
};

// Replaces the allocator hooks for the lifetime of the object.
class HookSwap {
public:
    HookSwap(void* (*m)(size_t), void (*f)(void*)) : oldMalloc_(i_malloc), oldFree_(i_free)
    {
        i_malloc = m;
        i_free = f;
    }
    ~HookSwap()
    {
        i_malloc = oldMalloc_;
        i_free = oldFree_;
    }
    HookSwap(const HookSwap&) = delete;
    HookSwap& operator=(const HookSwap&) = delete;

private:
    void* (*oldMalloc_)(size_t);
    void (*oldFree_)(void*);
};

inline void* failing_malloc(size_t) { return nullptr; }

} // namespace zebtest

#endif
