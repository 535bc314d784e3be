// Runs a fuzz target without libFuzzer: every file of the seed folders given as arguments, then
// ZEBDC_FUZZ_RUNS (default 2000) inputs made by mutating the seeds with a fixed-seed generator:
// bit flips, byte overwrites, insertions, deletions, truncations and splices. Under the
// sanitizer leg of the tests this is a short, repeatable fuzzing run.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <vector>

#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

std::vector<std::vector<uint8_t>> read_seeds(int argc, char** argv)
{
    std::vector<std::vector<uint8_t>> seeds;
    for (int i = 1; i < argc; ++i) {
        std::error_code absent; // a missing folder holds no seeds
        for (const auto& entry : std::filesystem::directory_iterator(argv[i], absent))
            seeds.push_back(zebfuzz::read_file(entry.path()));
    }
    return seeds;
}

std::vector<uint8_t> mutate(const std::vector<std::vector<uint8_t>>& seeds, std::mt19937& rng)
{
    std::vector<uint8_t> data = seeds[rng() % seeds.size()];
    int steps = 1 + (int)(rng() % 8);
    for (int s = 0; s < steps; ++s) {
        size_t pos = data.empty() ? 0 : rng() % data.size();
        switch (rng() % 6) {
        case 0: if (!data.empty()) data[pos] ^= (uint8_t)(1u << (rng() % 8)); break;
        case 1: if (!data.empty()) data[pos] = (uint8_t)rng(); break;
        case 2: data.insert(data.begin() + (long)pos, (size_t)(1 + rng() % 16), (uint8_t)rng()); break;
        case 3: if (!data.empty()) data.erase(data.begin() + (long)pos, data.begin() + (long)std::min(data.size(), pos + 1 + rng() % 16)); break;
        case 4: data.resize(pos); break;
        default: {
            const auto& other = seeds[rng() % seeds.size()];
            if (!other.empty()) {
                size_t from = rng() % other.size();
                data.insert(data.begin() + (long)pos, other.begin() + (long)from, other.end());
            }
        }
        }
    }
    return data;
}

} // namespace

int main(int argc, char** argv)
{
    auto seeds = read_seeds(argc, argv);
    for (const auto& seed : seeds)
        LLVMFuzzerTestOneInput(seed.data(), seed.size());
    if (seeds.empty())
        seeds.push_back({});
    const char* env = std::getenv("ZEBDC_FUZZ_RUNS");
    long runs = env ? std::strtol(env, nullptr, 10) : 2000;
    std::mt19937 rng(12345);
    for (long i = 0; i < runs; ++i) {
        std::vector<uint8_t> data = mutate(seeds, rng);
        LLVMFuzzerTestOneInput(data.data(), data.size());
    }
    std::printf("%zu seeds and %ld mutated inputs ran\n", seeds.size(), runs);
    return 0;
}
