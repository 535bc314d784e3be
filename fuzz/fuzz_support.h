// Helpers shared by the fuzz targets.
#ifndef ZEBDC_FUZZ_SUPPORT_H
#define ZEBDC_FUZZ_SUPPORT_H

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "zebdc.h"

namespace zebfuzz {

typedef std::vector<Zeb8u> Bytes;

inline Bytes read_file(const std::string& path)
{
    Bytes data;
    if (FILE* f = std::fopen(path.c_str(), "rb")) {
        Zeb8u buf[65536];
        size_t got;
        while ((got = std::fread(buf, 1, sizeof buf, f)) > 0)
            data.insert(data.end(), buf, buf + got);
        std::fclose(f);
    }
    return data;
}

// A property that fails is a finding: the run stops with the input that broke it.
inline void require(bool ok)
{
    if (!ok)
        abort();
}

// The sizes of the calls, drawn from a seed made of two input bytes (xorshift32).
struct Sizes {
    Zeb32u x;
    static Sizes from(const Zeb8u* two)
    {
        return {0x9E3779B9u ^ (Zeb32u)(two[0] << 8 | two[1]) * 0x01000193u};
    }
    int next(int most) // 1 .. most
    {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        return 1 + (int)(x % (Zeb32u)most);
    }
};

} // namespace zebfuzz

#endif
