// Move-to-front: arbitrary positions decode with any piece sizes to the same bytes, and coding
// those bytes again gives the positions back.
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz_support.h"

using zebfuzz::require;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    size_t piece = 1 + data[0];
    const Zeb8u* positions = data + 1;
    size_t len = size - 1;
    Zeb8u whole[256], split[256], forward[256];
    zebsMTFInit_8u((ZebMTFState_8u*)(void*)whole);
    zebsMTFInit_8u((ZebMTFState_8u*)(void*)split);
    zebsMTFInit_8u((ZebMTFState_8u*)(void*)forward);
    std::vector<Zeb8u> once(len), pieces(positions, positions + len), again(len);
    require(zebsMTFInv_8u(positions, once.data(), (int)len, (ZebMTFState_8u*)(void*)whole) ==
            zebStsOk);
    for (size_t at = 0; at < len; at += piece) {
        int n = (int)(len - at < piece ? len - at : piece);
        zebsMTFInv_8u(&pieces[at], &pieces[at], n, (ZebMTFState_8u*)(void*)split);
    }
    require(pieces == once);
    zebsMTFFwd_8u(once.data(), again.data(), (int)len, (ZebMTFState_8u*)(void*)forward);
    require(std::memcmp(again.data(), positions, len) == 0);
    return 0;
}
