// Helpers shared by the fuzz targets.
#ifndef ZEBDC_FUZZ_SUPPORT_H
#define ZEBDC_FUZZ_SUPPORT_H

#include <cstdlib>
#include <vector>

#include "zebdc.h"

namespace zebfuzz {

typedef std::vector<Zeb8u> Bytes;

// A property that fails is a finding: the run stops with the input that broke it.
inline void require(bool ok)
{
    if (!ok)
        abort();
}

} // namespace zebfuzz

#endif
