// Burrows-Wheeler transforms beside divsufsort: the general forward transform on 900000-byte
// blocks of the corpus and on five adversarial blocks, the small-block transform on 32 KiB
// blocks, and the inverse.
#include "bench_support.h"

#ifdef ZEBDC_HAVE_DIVSUFSORT
#include <divsufsort.h>
#endif

namespace {

using Bytes = std::vector<Zeb8u>;
const size_t kBlock = 900000, kSmallBlock = 32768, kSmallBlocks = 8;

// Runs 'a' z^m 'y' with m falling from the top: B* substrings whose shared prefixes end one
// after another, the longest first.
Bytes staircase(size_t len)
{
    size_t top = 1;
    while (top * (top + 5) / 2 < len)
        ++top;
    Bytes s;
    for (size_t m = top; m >= 1; --m) {
        s.push_back('a');
        s.insert(s.end(), m, 'z');
        s.push_back('y');
    }
    s.resize(len);
    return s;
}

std::vector<std::pair<std::string, Bytes>> forward_cases()
{
    std::vector<std::pair<std::string, Bytes>> cases;
    Bytes corpus = zebbench::corpus_block(3 * kBlock);
    for (size_t b = 0; b < 3; ++b)
        cases.emplace_back("corpus" + std::to_string(b),
                           Bytes(corpus.begin() + (long)(b * kBlock),
                                 corpus.begin() + (long)((b + 1) * kBlock)));
    cases.emplace_back("one_byte", Bytes(kBlock, 'a'));
    Bytes ab(kBlock);
    for (size_t i = 0; i < kBlock; ++i)
        ab[i] = "ab"[i % 2];
    cases.emplace_back("ab_repeated", ab);
    cases.emplace_back("fibonacci", zebtest::fibonacci_word(kBlock));
    Bytes half = zebtest::random_bytes(kBlock / 2, 256, 5);
    Bytes halves = half;
    halves.insert(halves.end(), half.begin(), half.end());
    cases.emplace_back("equal_halves", halves);
    cases.emplace_back("staircase", staircase(kBlock));
    return cases;
}

void register_forward()
{
    static const auto cases = forward_cases();
    for (const auto& c : cases) {
        const Bytes* block = &c.second;
        zebbench::add("bwt_forward", "ours", c.first, zebbench::throughput(block->size(), [block] {
                          static Bytes out, scratch;
                          int n = (int)block->size(), size = 0, index = 0;
                          zebsBWTFwdGetSize_8u(n, &size);
                          out.resize(block->size());
                          scratch.resize((size_t)size);
                          zebsBWTFwd_8u(block->data(), out.data(), n, &index, scratch.data());
                          benchmark::DoNotOptimize(index);
                      }));
#ifdef ZEBDC_HAVE_DIVSUFSORT
        zebbench::add("bwt_forward", "divsufsort", c.first,
                      zebbench::throughput(block->size(), [block] {
                          static Bytes out;
                          static std::vector<saidx_t> work;
                          out.resize(block->size());
                          work.resize(block->size());
                          benchmark::DoNotOptimize(
                              divbwt(block->data(), out.data(), work.data(), (saidx_t)block->size()));
                      }));
#endif
    }
}

void register_small_block()
{
    static const Bytes corpus = zebbench::corpus_block(kSmallBlocks * kSmallBlock);
    const size_t total = corpus.size();
    zebbench::add("bwt_small_block", "ours", "corpus_32KiB", zebbench::throughput(total, [] {
                      static Bytes out(kSmallBlock), scratch(4 * kSmallBlock + 2080);
                      for (size_t at = 0; at < corpus.size(); at += kSmallBlock) {
                          int index = 0;
                          zebsBWTFwd_SmallBlock_8u(corpus.data() + at, out.data(), (int)kSmallBlock,
                                                   &index, scratch.data());
                          benchmark::DoNotOptimize(index);
                      }
                  }));
#ifdef ZEBDC_HAVE_DIVSUFSORT
    zebbench::add("bwt_small_block", "divsufsort", "corpus_32KiB", zebbench::throughput(total, [] {
                      static Bytes out(kSmallBlock);
                      static std::vector<saidx_t> work(kSmallBlock);
                      for (size_t at = 0; at < corpus.size(); at += kSmallBlock)
                          benchmark::DoNotOptimize(divbwt(corpus.data() + at, out.data(),
                                                          work.data(), (saidx_t)kSmallBlock));
                  }));
#endif
}

// Each library inverts its own transform of the same block.
void register_inverse()
{
    static const Bytes block = zebbench::corpus_block(kBlock);
    static Bytes ours(kBlock);
    static int ourIndex = 0;
    int size = 0;
    zebsBWTFwdGetSize_8u((int)kBlock, &size);
    Bytes scratch((size_t)size);
    zebsBWTFwd_8u(block.data(), ours.data(), (int)kBlock, &ourIndex, scratch.data());
    zebbench::add("bwt_inverse", "ours", "corpus", zebbench::throughput(kBlock, [] {
                      static Bytes out(kBlock), work(4 * kBlock + 1024);
                      zebsBWTInv_8u(ours.data(), out.data(), (int)kBlock, ourIndex, work.data());
                      benchmark::DoNotOptimize(out.data());
                  }));
#ifdef ZEBDC_HAVE_DIVSUFSORT
    static Bytes theirs(kBlock);
    static std::vector<saidx_t> work(kBlock);
    static saidx_t theirIndex =
        divbwt(block.data(), theirs.data(), work.data(), (saidx_t)kBlock);
    zebbench::add("bwt_inverse", "divsufsort", "corpus", zebbench::throughput(kBlock, [] {
                      static Bytes out(kBlock);
                      inverse_bw_transform(theirs.data(), out.data(), work.data(), (saidx_t)kBlock,
                                           theirIndex);
                      benchmark::DoNotOptimize(out.data());
                  }));
#endif
}

void register_bwt()
{
    register_forward();
    register_small_block();
    register_inverse();
}

zebbench::Registrar registrar(register_bwt);

} // namespace
