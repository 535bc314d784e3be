// VLC coding of values with a realistic code: 200 values, Huffman code lengths 1..16 built from
// frequencies falling as 1/(rank+1)^2, values drawn with those frequencies. Decoding runs with
// one table level (16 bits) and two (8 + 8), beside a canonical bit-by-bit decoder (puff style).
#include <algorithm>
#include <queue>

#include "bench_support.h"

namespace {

enum { kSymbols = 200, kValues = 1 << 16 };

struct Code {
    std::vector<ZebVLCCodeEntry> table;
    std::vector<Zeb16s> values;
    std::vector<Zeb8u> stream;
    Zeb32s bits = 0;
    int count[17] = {};      // codes per length, for the canonical decoder
    Zeb16s symbol[kSymbols]; // values in canonical order
};

std::vector<int> huffman_lengths(const std::vector<double>& freq)
{
    typedef std::pair<double, int> Node;
    std::priority_queue<Node, std::vector<Node>, std::greater<Node>> heap;
    std::vector<int> parent(2 * freq.size(), -1);
    for (size_t i = 0; i < freq.size(); ++i)
        heap.push({freq[i], (int)i});
    int next = (int)freq.size();
    while (heap.size() > 1) {
        Node a = heap.top();
        heap.pop();
        Node b = heap.top();
        heap.pop();
        parent[a.second] = parent[b.second] = next;
        heap.push({a.first + b.first, next++});
    }
    std::vector<int> lengths(freq.size());
    for (size_t i = 0; i < freq.size(); ++i)
        for (int n = (int)i; parent[n] >= 0; n = parent[n])
            ++lengths[i];
    return lengths;
}

const Code& realistic_code()
{
    static Code code = [] {
        Code c;
        std::vector<double> freq(kSymbols);
        for (int i = 0; i < kSymbols; ++i)
            freq[i] = 1.0 / ((i + 1.0) * (i + 1.0));
        std::vector<int> lengths = huffman_lengths(freq);
        std::vector<int> order(kSymbols);
        for (int i = 0; i < kSymbols; ++i)
            order[i] = i;
        std::stable_sort(order.begin(), order.end(),
                         [&](int a, int b) { return lengths[a] < lengths[b]; });
        uint32_t next = 0;
        int previous = lengths[order[0]];
        for (int k = 0; k < kSymbols; ++k) { // canonical codes
            int i = order[k];
            next <<= lengths[i] - previous;
            previous = lengths[i];
            c.table.push_back({i - 100, next++, lengths[i]});
            c.count[lengths[i]]++;
            c.symbol[k] = (Zeb16s)(i - 100);
        }
        std::mt19937 rng(1);
        std::discrete_distribution<int> pick(freq.begin(), freq.end());
        for (int i = 0; i < kValues; ++i)
            c.values.push_back((Zeb16s)(pick(rng) - 100));
        ZebVLCEncodeState_32s* enc = nullptr;
        zebsVLCEncodeInitAlloc_32s(c.table.data(), kSymbols, &enc);
        zebsVLCCountBits_16s32s(c.values.data(), kValues, &c.bits, enc);
        c.stream.resize(c.bits / 8 + 8);
        Zeb8u* p = c.stream.data();
        int offset = 0;
        zebsVLCEncodeBlock_16s1u(c.values.data(), kValues, &p, &offset, enc);
        zebsVLCEncodeFree_32s(enc);
        return c;
    }();
    return code;
}

// Canonical decoding one bit at a time, as in zlib's puff.c.
void canonical_decode(const Code& c, Zeb16s* out)
{
    size_t pos = 0;
    for (int v = 0; v < kValues; ++v) {
        int code = 0, first = 0, index = 0;
        for (int len = 1; len <= 16; ++len) {
            code |= (c.stream[pos >> 3] >> (7 - (pos & 7))) & 1;
            ++pos;
            int n = c.count[len];
            if (code - n < first) {
                out[v] = c.symbol[index + (code - first)];
                break;
            }
            index += n;
            first = (first + n) << 1;
            code <<= 1;
        }
    }
}

std::function<void(benchmark::State&)> per_value(std::function<void()> fn)
{
    return [fn](benchmark::State& state) {
        for (auto _ : state)
            fn();
        state.SetItemsProcessed((int64_t)state.iterations() * kValues);
    };
}

void register_decoder(const char* label, std::vector<Zeb32s> sizes)
{
    const Code& c = realistic_code();
    ZebVLCDecodeState_32s* dec = nullptr; // kept for the whole run
    zebsVLCDecodeInitAlloc_32s(c.table.data(), kSymbols, sizes.data(), (int)sizes.size(), &dec);
    static std::vector<Zeb16s> out(kValues);
    zebbench::add("vlc_decode_block", "ours", label, per_value([&c, dec] {
                      Zeb8u* p = (Zeb8u*)c.stream.data();
                      int offset = 0;
                      zebsVLCDecodeBlock_1u16s(&p, &offset, out.data(), kValues, dec);
                      benchmark::DoNotOptimize(out.data());
                  }));
    zebbench::add("vlc_decode_block", "canonical_bitwise", label, per_value([&c] {
                      canonical_decode(c, out.data());
                      benchmark::DoNotOptimize(out.data());
                  }));
    zebbench::add("vlc_decode_one", "ours", label, per_value([&c, dec] {
                      Zeb8u* p = (Zeb8u*)c.stream.data();
                      int offset = 0;
                      for (int i = 0; i < kValues; ++i)
                          zebsVLCDecodeOne_1u16s(&p, &offset, &out[i], dec);
                      benchmark::DoNotOptimize(out.data());
                  }));
}

void register_vlc()
{
    const Code& c = realistic_code();
    ZebVLCEncodeState_32s* enc = nullptr;
    zebsVLCEncodeInitAlloc_32s(c.table.data(), kSymbols, &enc);
    static std::vector<Zeb8u> stream(c.stream.size());
    zebbench::add("vlc_encode_block", "ours", "200_codes", per_value([&c, enc] {
                      Zeb8u* p = stream.data();
                      int offset = 0;
                      zebsVLCEncodeBlock_16s1u(c.values.data(), kValues, &p, &offset, enc);
                      benchmark::DoNotOptimize(stream.data());
                  }));
    register_decoder("200_codes_1_level", {16});
    register_decoder("200_codes_2_levels", {8, 8});
}

zebbench::Registrar registrar(register_vlc);

} // namespace
