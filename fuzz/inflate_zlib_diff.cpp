// Inflate against zlib: whenever zlib's raw inflate accepts the bytes as a complete stream, both
// of our ways decode it, in chunks drawn from the first byte, to zlib's output.
#include "inflate_driver.h"

#ifdef ZEBDC_HAVE_ZLIB
#include <zlib.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    const size_t maxOut = 1 << 13;
    std::vector<Zeb8u> want(maxOut);
    z_stream z{};
    zebfuzz::require(inflateInit2(&z, -15) == Z_OK);
    z.next_in = (Bytef*)data + 1;
    z.avail_in = (uInt)(size - 1);
    z.next_out = want.data();
    z.avail_out = (uInt)maxOut;
    int zst = inflate(&z, Z_FINISH);
    want.resize(z.total_out);
    inflateEnd(&z);
    if (zst != Z_STREAM_END)
        return 0;
    // One byte more room than zlib had: a stream whose output fills maxOut exactly still needs a
    // call with room left to read its end-of-block code.
    const size_t ourMax = maxOut + 1;
    size_t chunk = 1 + data[0] % 32;
    inflate_fuzz::Result one = inflate_fuzz::one_stage(data + 1, size - 1, chunk, 1 + chunk * 7, ourMax);
    inflate_fuzz::Result two = inflate_fuzz::two_stage(data + 1, size - 1, size, ourMax, 4096, ourMax);
    zebfuzz::require(one.status == zebStsStreamEnd && one.out == want &&
                     two.status == zebStsStreamEnd && two.out == want);
    return 0;
}
#else
extern "C" int LLVMFuzzerTestOneInput(const uint8_t*, size_t) { return 0; }
#endif
