// bzip2 decoding path: arbitrary bytes as a Huffman header and block, fed in pieces, then the
// zero-run, move-to-front, inverse transform, dictionary and run-length decoders, as a
// decompressor calls them. Every status must be one the stage documents, every reported length
// within the capacity given; the sanitizers catch any access outside.
#include <cstdint>
#include <vector>

#include "../tests/bzip2_stream.h"
#include "fuzz_support.h"

using zebfuzz::require;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 5)
        return 0;
    const int alphabet = 3 + data[0] % 256;
    const size_t piece = 1 + data[1] % 64;
    const int maxBlockLen = 1 + data[2] * 200, originSeed = data[3];
    ZebDecodeHuffState_BZ2* st = nullptr;
    require(zebsDecodeHuffInitAlloc_BZ2_8u16u(maxBlockLen, alphabet, &st) == zebStsOk);
    zebbz2::StreamReader source(data + 4, size - 4);
    zebbz2::Symbols syms(4096);
    int symLen = (int)syms.size();
    ZebStatus unpacked, s = source.huffman(st, piece, syms.data(), &symLen, &unpacked);
    require(unpacked == zebStsOk || unpacked == zebStsSrcShort || unpacked == zebStsBadContext);
    require(s == zebStsOk || s == zebStsSrcShort || s == zebStsDstFull || s == zebStsBadContext);
    zebsDecodeHuffFree_BZ2_8u16u(st);
    if (s != zebStsOk || symLen == 0)
        return 0;
    require(symLen < (int)syms.size() && syms[symLen] == alphabet - 1);

    zebbz2::Bytes block(20000), mtf(256);
    Zeb16u* symSrc = syms.data();
    int n = (int)block.size();
    s = zebsDecodeZ1Z2_BZ2_16u8u(&symSrc, &symLen, block.data(), &n);
    require((s == zebStsOk || s == zebStsDstFull) && n >= 0 && n <= (int)block.size());
    if (n == 0)
        return 0;
    zebsMTFInit_8u((ZebMTFState_8u*)(void*)mtf.data());
    zebsMTFInv_8u(block.data(), block.data(), n, (ZebMTFState_8u*)(void*)mtf.data());
    zebbz2::Bytes unsorted(block.begin(), block.begin() + n), scratch(4 * (size_t)n + 1024);
    require(zebsBWTInv_8u(block.data(), unsorted.data(), n, originSeed % n, scratch.data()) ==
            zebStsOk);
    Zeb8u inUse[256];
    for (int v = 0; v < 256; ++v)
        inUse[v] = (Zeb8u)(data[4 + v % (size - 4)] & 1);
    require(zebsExpandDictionary_8u_I(inUse, unsorted.data(), n,
                                      alphabet - 2 > 0 ? alphabet - 2 : 1) == 0);
    zebbz2::Bytes out(60000);
    Zeb8u* r = unsorted.data();
    int rLen = n, outLen = (int)out.size();
    s = zebsDecodeRLE_BZ2_8u(&r, &rLen, out.data(), &outLen);
    require((s == zebStsOk || s == zebStsDstFull) && outLen <= (int)out.size());
    return 0;
}
