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

} // namespace zebfuzz

#endif
