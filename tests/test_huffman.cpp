// Byte Huffman coder: the documented small tables, code shape, round trips in pieces, the
// packed length table, the argument checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "coder_stream.h"
#include "test_support.h"

namespace {

typedef std::vector<Zeb8u> Bytes;
typedef std::vector<Zeb32s> Table;

typedef zebcoder::HuffState State;

Table lengths_of(ZebHuffState* st)
{
    Table len(256);
    EXPECT_EQ(zebsHuffGetLenCodeTable_8u(len.data(), st), zebStsOk);
    return len;
}

Table frequencies(const Bytes& data)
{
    Table freq(256, 0);
    for (Zeb8u b : data)
        ++freq[b];
    return freq;
}

// Codes data in pieces of the given size and finishes the stream.
Bytes encode(ZebHuffState* st, const Bytes& data, size_t piece)
{
    bool ok = true;
    Bytes out = zebcoder::huff_encode(st, data.data(), data.size(), [=] { return piece; }, &ok);
    EXPECT_TRUE(ok);
    return out;
}

// Decodes at most count symbols, feeding the source in a first piece of the given size, then
// pieces of that size again or, given most, of random sizes up to most.
Bytes decode(const Table& len, const Bytes& coded, size_t count, size_t first, size_t most = 0)
{
    std::mt19937 rng((uint32_t)(first ^ most));
    size_t next = first;
    bool ok = true;
    Bytes out = zebcoder::huff_decode(len.data(), coded, count, [&] {
        size_t piece = next;
        next = most ? 1 + rng() % most : first;
        return piece;
    }, &ok);
    EXPECT_TRUE(ok);
    return out;
}

TEST(ByteHuffman, DocumentedSmallTables)
{
    State st;
    Table freq(256, 0);
    freq['x'] = 5; // one symbol: a 1-bit code 0
    ASSERT_EQ(zebsEncodeHuffInit_8u(freq.data(), st.get()), zebStsOk);
    Table want(256, 0);
    want['x'] = 1;
    EXPECT_EQ(lengths_of(st.get()), want);
    Bytes coded = encode(st.get(), Bytes(9, 'x'), 9);
    EXPECT_EQ(coded, (Bytes{0, 0}));
    EXPECT_EQ(decode(want, coded, 9, 1), Bytes(9, 'x'));

    freq['a'] = 5; // two equal frequencies: 1 bit each, the larger byte gets code 0
    ASSERT_EQ(zebsEncodeHuffInit_8u(freq.data(), st.get()), zebStsOk);
    want['a'] = 1;
    EXPECT_EQ(lengths_of(st.get()), want);
    EXPECT_EQ(encode(st.get(), Bytes{'x', 'a', 'a', 'x'}, 4), (Bytes{0x60}));

    // Fewer than 32 bits stay in the state until the final call.
    ASSERT_EQ(zebsEncodeHuffInit_8u(freq.data(), st.get()), zebStsOk);
    Bytes dst(8, 0xEE), src(31, 'a');
    Zeb32s written = -1;
    ASSERT_EQ(zebsEncodeHuff_8u(src.data(), 31, dst.data(), &written, st.get()), zebStsOk);
    EXPECT_EQ(written, 0);
    ASSERT_EQ(zebsEncodeHuffFinal_8u(dst.data(), &written, st.get()), zebStsOk);
    EXPECT_EQ(written, 4);
    EXPECT_EQ(dst, (Bytes{0xFF, 0xFF, 0xFF, 0xFE, 0xEE, 0xEE, 0xEE, 0xEE}));
}

// Fibonacci frequencies make a comb: 33 symbols give lengths 1..32 (codes of 31 zeros and a
// one), 34 symbols a tree 33 deep, refused. Other tables give complete codes.
TEST(ByteHuffman, DeepTreesAndCompleteCodes)
{
    State st;
    Table freq(256, 0);
    Zeb32s a = 1, b = 1;
    for (int sym = 0; sym < 34; ++sym) {
        freq[sym * 7] = a;
        Zeb32s next = a + b;
        a = b;
        b = next;
        if (sym == 32) {
            ASSERT_EQ(zebsEncodeHuffInit_8u(freq.data(), st.get()), zebStsOk);
            Table len = lengths_of(st.get());
            EXPECT_EQ(len[0], 32);
            EXPECT_EQ(len[7], 32);
            EXPECT_EQ(len[32 * 7], 1);
            Bytes data = zebtest::random_bytes(6000, 33, 4);
            for (Zeb8u& v : data)
                v = (Zeb8u)((v < 20 ? v / 10 : v - 18) * 7); // rich in the 32-bit codes
            Bytes coded = encode(st.get(), data, 1000);
            EXPECT_EQ(decode(len, coded, data.size(), 3), data);
            EXPECT_EQ(decode(len, coded, data.size(), coded.size()), data);
        }
    }
    Bytes before(st.bytes, st.bytes + sizeof st.bytes);
    EXPECT_EQ(zebsEncodeHuffInit_8u(freq.data(), st.get()), zebStsCodeTooLong);
    EXPECT_EQ(Bytes(st.bytes, st.bytes + sizeof st.bytes), before);

    std::mt19937 rng(3);
    for (int round = 0; round < 50; ++round) {
        for (Zeb32s& f : freq)
            f = rng() % 3 == 0 ? 0 : (Zeb32s)(rng() % (1u << (rng() % 20)));
        freq[round] = 1;
        ASSERT_EQ(zebsEncodeHuffInit_8u(freq.data(), st.get()), zebStsOk);
        double kraft = 0;
        for (Zeb32s len : lengths_of(st.get()))
            kraft += len ? std::ldexp(1.0, -len) : 0;
        EXPECT_EQ(kraft, 1.0) << round;
    }
    freq.assign(256, 0);
    EXPECT_EQ(zebsEncodeHuffInit_8u(freq.data(), st.get()), zebStsFreqTableError);
    freq[1] = INT32_MAX;
    freq[2] = 1; // the total overflows
    EXPECT_EQ(zebsEncodeHuffInit_8u(freq.data(), st.get()), zebStsFreqTableError);
    freq[2] = -1;
    EXPECT_EQ(zebsEncodeHuffInit_8u(freq.data(), st.get()), zebStsFreqTableError);
}

TEST(ByteHuffman, RoundTripsInPieces)
{
    std::vector<Bytes> inputs = {zebtest::random_bytes(40000), zebtest::random_bytes(40000, 5, 2)};
    for (const auto& path : zebtest::corpus_files())
        inputs.push_back(zebtest::read_file(path));
    if (zebtest::kScale > 1)
        inputs.resize(3);
    for (const Bytes& data : inputs) {
        ZebHuffState* enc = nullptr;
        ASSERT_EQ(zebsEncodeHuffInitAlloc_8u(frequencies(data).data(), &enc), zebStsOk);
        Table len = lengths_of(enc);
        Bytes whole = encode(enc, data, data.size());
        ASSERT_EQ(zebsEncodeHuffInit_8u(frequencies(data).data(), enc), zebStsOk);
        ASSERT_EQ(encode(enc, data, 333), whole);
        ASSERT_EQ(decode(len, whole, data.size(), whole.size()), data);
        ASSERT_EQ(decode(len, whole, data.size(), 7), data);
        ASSERT_EQ(decode(len, whole, data.size(), 5000), data); // tables, state across calls

        // One symbol at a time at every bit offset gives the same bits.
        Bytes ones(whole.size() + 8, 0);
        Zeb32s bit = 0;
        ZebHuffState* dec = nullptr;
        ASSERT_EQ(zebsDecodeHuffInitAlloc_8u(len.data(), &dec), zebStsOk);
        for (size_t i = 0; i < std::min<size_t>(data.size(), 2000); ++i) {
            ASSERT_EQ(zebsEncodeHuffOne_8u(data[i], &ones[bit >> 3], bit & 7, enc), zebStsOk);
            Zeb8u sym = 0;
            ASSERT_EQ(zebsDecodeHuffOne_8u(&whole[bit >> 3], bit & 7, &sym, dec), zebStsOk);
            ASSERT_EQ(sym, data[i]);
            bit += len[data[i]];
        }
        EXPECT_EQ(0, memcmp(ones.data(), whole.data(), (size_t)bit >> 3));
        zebsHuffFree_8u(enc);
        zebsHuffFree_8u(dec);
    }
}

TEST(ByteHuffman, PackedLengthTable)
{
    Table zeros(256, 0), back(256, -1);
    Bytes packed(64, 0xEE);
    Zeb32s n = 64;
    ASSERT_EQ(zebsHuffLenCodeTablePack_8u(zeros.data(), packed.data(), &n), zebStsOk);
    // 0 0 [26+6], then six times [bank 0] 0 0 [bank 26] 6, then [bank 0] 0 0 [bank 13] 3.
    EXPECT_EQ(n, 20);
    EXPECT_EQ(Bytes(packed.begin(), packed.begin() + 5), (Bytes{0x00, 0xF6, 0xD0, 0x0F, 0x6D}));
    EXPECT_EQ(Bytes(packed.begin() + 17, packed.begin() + 21), (Bytes{0xD0, 0x0E, 0x30, 0xEE}));
    Zeb32s used = 64;
    ASSERT_EQ(zebsHuffLenCodeTableUnpack_8u(packed.data(), &used, back.data()), zebStsOk);
    EXPECT_EQ(used, 20);
    EXPECT_EQ(back, zeros);

    std::mt19937 rng(9);
    for (int round = 0; round < 100; ++round) {
        Table len(256);
        int spread = 1 + round % 33;
        for (size_t i = 0; i < 256; ++i) // runs of every length, values up to 32
            len[i] = rng() % 3 == 0 && i > 0 ? len[i - 1] : (Zeb32s)(rng() % spread);
        packed.assign(300, 0);
        n = 300;
        ASSERT_EQ(zebsHuffLenCodeTablePack_8u(len.data(), packed.data(), &n), zebStsOk);
        used = n + 5;
        ASSERT_EQ(zebsHuffLenCodeTableUnpack_8u(packed.data(), &used, back.data()), zebStsOk);
        ASSERT_EQ(used, n);
        ASSERT_EQ(back, len) << round;
        used = n - 1; // cut short: refused, the table untouched
        back[0] = -7;
        EXPECT_EQ(zebsHuffLenCodeTableUnpack_8u(packed.data(), &used, back.data()), zebStsBadSize);
        EXPECT_EQ(back[0], -7);
        Zeb32s small = n - 1; // no room for all: what fits is written
        Bytes part(small);
        EXPECT_EQ(zebsHuffLenCodeTablePack_8u(len.data(), part.data(), &small), zebStsBadSize);
        EXPECT_EQ(small, n - 1);
        EXPECT_EQ(0, memcmp(part.data(), packed.data(), (size_t)small));
    }
    zeros[3] = 33;
    n = 64;
    EXPECT_EQ(zebsHuffLenCodeTablePack_8u(zeros.data(), packed.data(), &n), zebStsCodeLenTableError);
}

// Calls of 4 KiB or more decode through a table and an 8-byte window, shorter ones by the code
// search alone; both must read the same symbols from any bits, and the state the first leaves
// must go on as the other's. Codes from skewed frequencies (lengths up to 24) over bits that
// are sparse or rich in zero bytes exercise every hand-over between the two: a zero byte, a
// long code, the source's last bytes, the destination's last symbol.
TEST(ByteHuffman, TableAndCodeSearchAgreeOnArbitraryBits)
{
    std::mt19937 rng(21);
    for (int round = 0; round < 60; ++round) {
        Table freq(256, 0);
        for (int sym = 0; sym < 256; ++sym)
            if (rng() % 4 != 0)
                freq[sym] = 1 + (Zeb32s)(rng() % (1u << (rng() % (round % 3 == 0 ? 4 : 22))));
        freq[round] = 1;
        State enc;
        ASSERT_EQ(zebsEncodeHuffInit_8u(freq.data(), enc.get()), zebStsOk);
        Table len = lengths_of(enc.get());
        Bytes bits = zebtest::random_bytes(6000 + rng() % 3000, 256, round);
        for (Zeb8u& b : bits) // zero bytes now and then, or often
            b = rng() % (round % 2 ? 4 : 64) == 0 ? 0 : b;
        const size_t count = round % 4 ? bits.size() * 8 : 1 + rng() % (bits.size() * 2);
        Bytes table = decode(len, bits, count, 4096 + rng() % 1000, 4000);
        ASSERT_TRUE(table == decode(len, bits, count, 1 + rng() % 4000, 4000)) << round;
    }
}

TEST(ByteHuffman, SizesAndArgumentChecks)
{
    Zeb32s size = 0, enc = 0, dec = 0;
    ASSERT_EQ(zebsHuffGetSize_8u(&size), zebStsOk);
    EXPECT_EQ(size, 2596);
    Table len(256, 0);
    ASSERT_EQ(zebsHuffGetDstBuffSize_8u(len.data(), 10, &enc, &dec), zebStsOk);
    EXPECT_TRUE(enc == 2 && dec == 20); // no lengths: maxLen 1, minLen 32
    len[1] = 3;
    len[2] = 12;
    ASSERT_EQ(zebsHuffGetDstBuffSize_8u(len.data(), 1000, &enc, &dec), zebStsOk);
    EXPECT_TRUE(enc == (1000 * 12 + 12 + 7) / 8 && dec == 1000 * 64 / 3);
    len[0] = -1;
    EXPECT_EQ(zebsHuffGetDstBuffSize_8u(len.data(), 10, &enc, nullptr), zebStsCodeLenTableError);
    EXPECT_EQ(zebsHuffGetDstBuffSize_8u(len.data(), 0, &enc, nullptr), zebStsBadSize);
    EXPECT_EQ(zebsDecodeHuffInit_8u(len.data(), nullptr), zebStsNullPtr);
    State st;
    EXPECT_EQ(zebsDecodeHuffInit_8u(len.data(), st.get()), zebStsCodeLenTableError);
    // A table without codes decodes nothing from any bits, through the table path too (other
    // tables and arbitrary bits: fuzz/huffman_decode.cpp).
    Table empty(256, 0);
    ASSERT_EQ(zebsDecodeHuffInit_8u(empty.data(), st.get()), zebStsOk);
    Bytes bits = zebtest::random_bytes(5000), out(100, 0xA5);
    Zeb32s room = 100;
    EXPECT_EQ(zebsDecodeHuff_8u(bits.data(), 5000, out.data(), &room, st.get()), zebStsOk);
    EXPECT_TRUE(room == 0 && out == Bytes(100, 0xA5));
    EXPECT_EQ(zebsDecodeHuffOne_8u(bits.data(), 3, out.data(), st.get()), zebStsBadSize);
    len[0] = 33;
    EXPECT_EQ(zebsDecodeHuffInit_8u(len.data(), st.get()), zebStsCodeLenTableError);

    Table freq(256, 0);
    freq[4] = 1;
    ASSERT_EQ(zebsEncodeHuffInit_8u(freq.data(), st.get()), zebStsOk);
    Zeb8u b[8] = {0};
    Zeb32s n = 8, zero = 0;
    EXPECT_EQ(zebsEncodeHuffInit_8u(nullptr, st.get()), zebStsNullPtr);
    EXPECT_EQ(zebsEncodeHuff_8u(b, 0, b, nullptr, st.get()), zebStsNullPtr);
    EXPECT_EQ(zebsEncodeHuff_8u(b, 0, b, &n, st.get()), zebStsBadSize);
    EXPECT_EQ(zebsEncodeHuffOne_8u(4, b, 8, st.get()), zebStsBadSize);
    EXPECT_EQ(zebsEncodeHuffOne_8u(5, b, 0, st.get()), zebStsCodeLenTableError);
    EXPECT_EQ(zebsDecodeHuff_8u(b, 1, b, &zero, st.get()), zebStsBadSize);
    EXPECT_EQ(zebsDecodeHuffOne_8u(b, -1, b, st.get()), zebStsBadSize);
    EXPECT_EQ(zebsHuffLenCodeTablePack_8u(len.data(), b, &zero), zebStsBadSize);
    EXPECT_EQ(zebsHuffLenCodeTableUnpack_8u(b, &zero, len.data()), zebStsBadSize);
    EXPECT_EQ(0, memcmp(b, "\0\0\0\0\0\0\0\0", 8));

    zebtest::HookSwap swap(zebtest::failing_malloc, free);
    ZebHuffState* none = (ZebHuffState*)(void*)&size;
    EXPECT_EQ(zebsDecodeHuffInitAlloc_8u(len.data(), &none), zebStsNullPtr);
    EXPECT_EQ(none, nullptr);
    none = (ZebHuffState*)(void*)&size;
    EXPECT_EQ(zebsEncodeHuffInitAlloc_8u(freq.data(), &none), zebStsNullPtr);
    EXPECT_EQ(none, nullptr);
}

} // namespace
