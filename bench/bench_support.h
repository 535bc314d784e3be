// Shared pieces of the benchmarks: naming, data and the size counter.
//
// Every benchmark is named "<group>/<implementation>/<case>", with "ours" for this library and
// the peer's name otherwise (zlib, libdeflate, divsufsort, isal, libbz2, memcpy...). After the
// run, bench_main.cpp prints for every group and case the ratio ours/peer of throughput
// (bytes_per_second, else items_per_second), and of the "size" counter where one is set.
#ifndef ZEBDC_BENCH_SUPPORT_H
#define ZEBDC_BENCH_SUPPORT_H

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "zebdc.h"

namespace zebbench {

inline void add(const std::string& group, const std::string& impl, const std::string& label,
                std::function<void(benchmark::State&)> body)
{
    benchmark::RegisterBenchmark((group + "/" + impl + "/" + label).c_str(),
                                 [body](benchmark::State& state) { body(state); });
}

// Runs fn once per iteration and reports `bytes` processed per iteration.
template <class Fn>
std::function<void(benchmark::State&)> throughput(size_t bytes, Fn fn)
{
    return [bytes, fn](benchmark::State& state) {
        for (auto _ : state)
            fn();
        state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)bytes);
    };
}

inline std::vector<std::string> corpus_paths()
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

inline std::vector<Zeb8u> read_file(const std::string& path)
{
    std::vector<Zeb8u> data;
    if (FILE* f = std::fopen(path.c_str(), "rb")) {
        Zeb8u buf[65536];
        size_t got;
        while ((got = std::fread(buf, 1, sizeof buf, f)) > 0)
            data.insert(data.end(), buf, buf + got);
        std::fclose(f);
    }
    return data;
}

inline std::string base_name(const std::string& path)
{
    size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// Text-like filler for machines without the corpus: words of a small vocabulary.
inline std::vector<Zeb8u> generated_text(size_t len, uint32_t seed = 1)
{
    static const char* const kWords[] = {"the ", "of ", "and ", "compression ", "block ",
                                         "stream ", "zebra ", "a ", "to ", "in ", "data ",
                                         "window\n", "match ", "literal ", "Huffman, "};
    std::mt19937 rng(seed);
    std::vector<Zeb8u> out;
    while (out.size() < len) {
        const char* w = kWords[rng() % (sizeof kWords / sizeof kWords[0])];
        out.insert(out.end(), w, w + std::char_traits<char>::length(w));
    }
    out.resize(len);
    return out;
}

// The corpus files concatenated and repeated until len bytes (generated text without corpus).
inline std::vector<Zeb8u> corpus_block(size_t len)
{
    std::vector<Zeb8u> all;
    for (const auto& path : corpus_paths()) {
        auto file = read_file(path);
        all.insert(all.end(), file.begin(), file.end());
    }
    if (all.empty())
        return generated_text(len);
    std::vector<Zeb8u> out;
    while (out.size() < len)
        out.insert(out.end(), all.begin(), all.begin() + (long)std::min(all.size(), len - out.size()));
    return out;
}

// Registers the benchmarks of one file at start-up: `static Registrar r(function);`.
struct Registrar {
    explicit Registrar(void (*fn)()) { fn(); }
};

} // namespace zebbench

#endif
