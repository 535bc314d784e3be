// A .bz2 stream around the library's stages, in the chain's calling order: the framing (stream
// header, block magic, CRCs, randomised bit, origPtr, used-byte bitmap, end-of-stream magic)
// lives here, shared by the tests, the fuzz targets and the benchmarks.
#ifndef ZEBDC_BZIP2_STREAM_H
#define ZEBDC_BZIP2_STREAM_H

#include <algorithm>
#include <cstddef>
#include <memory>
#include <vector>

#include "zebdc.h"

namespace zebbz2
{

using Bytes = std::vector<Zeb8u>;
using Symbols = std::vector<Zeb16u>;

// Zero-run symbols of a block over `dict` values and their counts, with the end-of-block symbol.
struct Block {
    Symbols syms;
    std::vector<Zeb32u> freq = std::vector<Zeb32u>(258, 0);
    int alphabet;
    void add(Zeb16u sym)
    {
        syms.push_back(sym);
        ++freq[sym];
    }
};

inline Block make_block(const Zeb8u* mtf, int len, int dict)
{
    Block b;
    b.alphabet = dict + 2;
    b.syms.resize((size_t)len + 1);
    Zeb8u* in = (Zeb8u*)mtf;
    int srcLen = len, dstLen = len;
    zebsEncodeZ1Z2_BZ2_8u16u(&in, &srcLen, b.syms.data(), &dstLen, b.freq.data());
    b.syms.resize(dstLen);
    b.add((Zeb16u)(dict + 1));
    return b;
}

// A writer on the library's accumulator convention, so that the stages write into it directly.
struct StreamWriter {
    Bytes out;
    Zeb32u code = 0;
    int bits = 0;
    void put(Zeb32u v, int n) // n <= 24
    {
        for (; bits >= 8; bits -= 8, code <<= 8)
            out.push_back((Zeb8u)(code >> 24));
        code |= v << (32 - bits - n);
        bits += n;
    }
    template <class Stage> bool stage(size_t room, Stage call)
    {
        size_t at = out.size();
        out.resize(at + room);
        int len = (int)room;
        ZebStatus status = call(&out[at], &len);
        out.resize(at + len);
        return status == zebStsOk;
    }
    Bytes finish(int tail = 0, Zeb8u fill = 0) // the last byte padded with zeros, then a tail
    {
        for (; bits > 0; bits -= 8, code <<= 8)
            out.push_back((Zeb8u)(code >> 24));
        out.insert(out.end(), tail, fill);
        return out;
    }
};

// A reader on the same convention, so that the stages read from it directly; zero bits past
// the end of the source.
struct StreamReader {
    Zeb32u code = 0;
    int bits = 0, left;
    Zeb8u* src;
    StreamReader(const Zeb8u* data, size_t len) : left((int)len), src((Zeb8u*)data) {}
    Zeb32u get(int n) // n <= 24
    {
        for (; bits < n; bits += 8, ++src) {
            code |= (Zeb32u)(left > 0 ? *src : 0) << (24 - bits);
            left -= left > 0 ? 1 : 0;
        }
        Zeb32u v = code >> (32 - n);
        code <<= n, bits -= n;
        return v;
    }
    // Unpack, then DecodeHuff into syms (*symLen: room in, symbols before end-of-block out),
    // `piece` source bytes per call while a stage asks for more. Returns the last status and
    // leaves Unpack's in *unpacked.
    ZebStatus huffman(ZebDecodeHuffState_BZ2* st, size_t piece, Zeb16u* syms, int* symLen,
                      ZebStatus* unpacked)
    {
        *unpacked = feed(zebStsSrcShort, piece, [&](int* srcLen) {
            return zebsUnpackHuffContext_BZ2_8u16u(&code, &bits, &src, srcLen, st);
        });
        const int room = *symLen;
        return feed(*unpacked == zebStsOk ? zebStsSrcShort : *unpacked, piece, [&](int* srcLen) {
            *symLen = room;
            return zebsDecodeHuff_BZ2_8u16u(&code, &bits, &src, srcLen, syms, symLen, st);
        });
    }
    template <class Stage> ZebStatus feed(ZebStatus s, size_t piece, Stage call)
    {
        while (s == zebStsSrcShort && left > 0) {
            int srcLen = (int)std::min<size_t>(piece, (size_t)left), before = srcLen;
            s = call(&srcLen);
            left -= before - srcLen;
        }
        return s;
    }
};

// The coding-table header and the codes of a block through the writer's accumulator.
inline bool put_huffman(StreamWriter& w, const Block& b, ZebEncodeHuffState_BZ2* st)
{
    Zeb16u* syms = (Zeb16u*)b.syms.data();
    int symLen = (int)b.syms.size();
    auto header = [&](Zeb8u* dst, int* len) {
        return zebsPackHuffContext_BZ2_16u8u(&w.code, &w.bits, dst, len, st);
    };
    auto codes = [&](Zeb8u* dst, int* len) {
        return zebsEncodeHuff_BZ2_16u8u(&w.code, &w.bits, &syms, &symLen, dst, len, st);
    };
    return w.stage(20000, header) && w.stage(b.syms.size() * 3 + 16, codes) && symLen == 0;
}

// A .bz2 stream in the chain's calling order; `piece` input bytes per run-length call. Returns
// nothing if a stage fails.
inline Bytes bz2_compress(const Bytes& data, int level, size_t piece)
{
    StreamWriter w;
    w.put(0x425A68, 24), w.put('0' + level, 8);
    // Blocks of the level's size, buffers only as large as this input needs (the run-length
    // stage makes at most 5 bytes of 4).
    const int maxBlock = (int)std::min<size_t>(100000 * level - 19, data.size() / 4 * 5 + 16);
    Bytes rleMem(264), block(maxBlock), scratch, huffMem;
    auto* rle = (ZebEncodeRLEState_BZ2*)(void*)rleMem.data();
    int size = 0;
    zebsEncodeHuffGetSize_BZ2_16u8u(maxBlock + 1, &size);
    huffMem.resize(size);
    auto* huff = (ZebEncodeHuffState_BZ2*)(void*)huffMem.data();
    Zeb32u combined = 0;
    for (size_t pos = 0; pos < data.size();) {
        zebsEncodeRLEInit_BZ2_8u(rle);
        int n = 0;
        const size_t start = pos;
        for (ZebStatus s = zebStsOk; s == zebStsOk && pos < data.size() && n < maxBlock - 1;) {
            Zeb8u* src = (Zeb8u*)data.data() + pos;
            int srcLen = (int)std::min(piece, data.size() - pos), dstLen = maxBlock - 1 - n;
            s = zebsEncodeRLE_BZ2_8u(&src, &srcLen, &block[n], &dstLen, rle);
            pos = src - data.data(), n += dstLen;
        }
        int one = 1;
        zebsEncodeRLEFlush_BZ2_8u(&block[n], &one, rle);
        n += one;
        Zeb32u crc = 0;
        zebsCRC32_BZ2_8u(data.data() + start, (int)(pos - start), &crc);
        combined = (combined << 1 | combined >> 31) ^ crc;
        Zeb8u inUse[256];
        int dict = 0, origPtr = 0;
        zebsRLEGetInUseTable_8u(inUse, rle);
        zebsReduceDictionary_8u_I(inUse, block.data(), n, &dict);
        zebsBWTFwdGetSize_8u(n, &size);
        scratch.resize(size);
        Bytes bwt(n), mtf(256);
        if (zebsBWTFwd_8u(block.data(), bwt.data(), n, &origPtr, scratch.data()) != 0)
            return {};
        zebsMTFInit_8u((ZebMTFState_8u*)(void*)mtf.data());
        zebsMTFFwd_8u(bwt.data(), bwt.data(), n, (ZebMTFState_8u*)(void*)mtf.data());
        Block b = make_block(bwt.data(), n, dict);
        if (zebsEncodeHuffInit_BZ2_16u8u(b.alphabet, b.freq.data(), b.syms.data(),
                                         (int)b.syms.size(), huff) != zebStsOk)
            return {};
        w.put(0x314159, 24), w.put(0x265359, 24), w.put(crc >> 16, 16), w.put(crc & 0xFFFF, 16);
        w.put(0, 1), w.put(origPtr, 24);
        int used = 0, rows[16] = {};
        for (int i = 0; i < 256; ++i)
            rows[i / 16] |= inUse[i] << (15 - i % 16);
        for (int i = 0; i < 16; ++i)
            used |= (rows[i] != 0) << (15 - i);
        w.put(used, 16);
        for (int row : rows)
            if (row != 0)
                w.put(row, 16);
        if (!put_huffman(w, b, huff))
            return {};
    }
    w.put(0x177245, 24), w.put(0x385090, 24), w.put(combined >> 16, 16);
    w.put(combined & 0xFFFF, 16);
    return w.finish();
}

// Reads a .bz2 stream with the stages (the framing here); false on anything unexpected.
inline bool bz2_decompress(const Bytes& in, Bytes* out)
{
    StreamReader stream(in.data(), in.size());
    Zeb32u level = stream.get(24) == 0x425A68 ? stream.get(8) - '0' : 0;
    if (level - 1 > 8u)
        return false;
    // Buffers for blocks of the level's size, left uninitialised (the stages write before they
    // read): clearing megabytes per stream would dominate short streams.
    const int maxBlock = 100000 * (int)level;
    int size = 0;
    zebsDecodeHuffGetSize_BZ2_8u16u(900000, &size); // a state in caller memory holds any block
    std::unique_ptr<Zeb8u[]> huffMem(new Zeb8u[size]), block(new Zeb8u[maxBlock]),
        scratch(new Zeb8u[4 * (size_t)maxBlock + 1024]);
    std::unique_ptr<Zeb16u[]> syms(new Zeb16u[maxBlock + 2]);
    // Room for the largest expansion (a run of 255 from every 5 bytes): only the pages written
    // are ever touched, and every block of the stream reuses them.
    std::unique_ptr<Zeb8u[]> unsorted(new Zeb8u[maxBlock]),
        runs(new Zeb8u[(size_t)maxBlock * 52 + 8]);
    Bytes mtf(256);
    auto* huff = (ZebDecodeHuffState_BZ2*)(void*)huffMem.get();
    Zeb32u combined = 0;
    for (;;) {
        Zeb32u magic = stream.get(24), magic2 = stream.get(24), crc = stream.get(16) << 16;
        crc |= stream.get(16);
        if (magic == 0x177245 && magic2 == 0x385090)
            return crc == combined;
        if (magic != 0x314159 || magic2 != 0x265359 || stream.get(1) != 0)
            return false;
        int origPtr = (int)stream.get(24), used = (int)stream.get(16), dict = 0;
        Zeb8u inUse[256] = {};
        for (int i = 0; i < 16; ++i)
            if (used >> (15 - i) & 1)
                for (Zeb32u bits16 = stream.get(16), j = 0; j < 16; ++j)
                    dict += inUse[i * 16 + j] = bits16 >> (15 - j) & 1;
        int symLen = maxBlock + 2;
        ZebStatus unpacked;
        if (zebsDecodeHuffInit_BZ2_8u16u(dict + 2, huff) != 0 ||
            stream.huffman(huff, in.size(), syms.get(), &symLen, &unpacked) != 0)
            return false;
        Zeb16u* s = syms.get();
        int n = maxBlock;
        if (symLen < 1 || zebsDecodeZ1Z2_BZ2_16u8u(&s, &symLen, block.get(), &n) != 0 ||
            origPtr >= n)
            return false;
        zebsMTFInit_8u((ZebMTFState_8u*)(void*)mtf.data());
        zebsMTFInv_8u(block.get(), block.get(), n, (ZebMTFState_8u*)(void*)mtf.data());
        zebsBWTInv_8u(block.get(), unsorted.get(), n, origPtr, scratch.get());
        zebsExpandDictionary_8u_I(inUse, unsorted.get(), n, dict);
        Zeb8u* r = unsorted.get();
        int rLen = n, outLen = n * 52 + 8;
        if (zebsDecodeRLE_BZ2_8u(&r, &rLen, runs.get(), &outLen) != 0)
            return false;
        out->insert(out->end(), runs.get(), runs.get() + outLen);
        Zeb32u check = 0;
        zebsCRC32_BZ2_8u(runs.get(), outLen, &check);
        if (check != crc)
            return false;
        combined = (combined << 1 | combined >> 31) ^ crc;
    }
}

} // namespace zebbz2

#endif
