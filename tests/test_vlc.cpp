// Variable-length codes: the documented examples, random prefix-free tables through the encoder
// and both decoders at every bit offset in buffers cut to the documented reach, and refusals.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <vector>

#include "test_support.h"

namespace {

typedef std::vector<ZebVLCCodeEntry> Table;

int max_length(const Table& table)
{
    int maxLength = 0;
    for (auto& e : table)
        maxLength = std::max(maxLength, e.length);
    return maxLength;
}

// A random prefix-free code of `count` codes of at most maxLength bits (fewer when the length
// cannot hold them), with distinct values: leaves of a random binary tree, deep chains included.
Table random_table(std::mt19937& rng, int count, int maxLength)
{
    std::vector<std::pair<uint32_t, int>> leaves = {{0u, 1}, {1u, 1}};
    while ((int)leaves.size() < count) {
        size_t at = rng() % 2 ? leaves.size() - 1 : rng() % leaves.size();
        if (leaves[at].second == maxLength)
            at = rng() % leaves.size();
        if (leaves[at].second == maxLength)
            break;
        uint32_t code = leaves[at].first << 1;
        int length = leaves[at].second + 1;
        leaves[at] = {code, length};
        leaves.push_back({code | 1, length});
    }
    std::shuffle(leaves.begin(), leaves.end(), rng);
    leaves.resize(std::min<size_t>(leaves.size(), (size_t)count));
    std::set<Zeb32s> used;
    Table table;
    for (auto& leaf : leaves) {
        Zeb32s value;
        do
            value = (Zeb32s)(rng() % 65536) - 32768;
        while (!used.insert(value).second);
        uint32_t junk = leaf.second < 32 ? (uint32_t)rng() << leaf.second : 0; // above the code
        table.push_back({value, leaf.first | junk, leaf.second});
    }
    return table;
}

// Independent figure of the decoder's GetSize: table elements from a set of prefixes per level.
int expected_decode_size(const Table& table, const std::vector<Zeb32s>& sizes, int extra,
                         int payloadBits)
{
    const int maxLength = max_length(table);
    int maxLeaf = 0;
    uint32_t maxMagnitude = 0;
    for (auto& e : table)
        maxMagnitude = std::max(maxMagnitude, (uint32_t)std::abs(e.value));
    std::vector<int> widths;
    for (int sum = 0; sum < maxLength; sum += widths.back())
        widths.push_back(std::min(sizes[widths.size()], maxLength - sum));
    uint64_t elements = (1ull << widths[0]) + 1;
    for (size_t k = 1, prefix = widths[0]; k < widths.size(); prefix += widths[k++]) {
        std::set<uint64_t> prefixes;
        for (auto& e : table)
            if (e.length > (int)prefix)
                prefixes.insert((e.code & (uint32_t)((1ull << e.length) - 1)) >>
                                (e.length - prefix));
        elements += prefixes.size() * ((1ull << widths[k]) + 1);
    }
    for (auto& e : table) {
        int sum = 0, k = 0;
        while (sum + widths[k] < e.length)
            sum += widths[k++];
        maxLeaf = std::max(maxLeaf, e.length - sum);
    }
    auto bits = [](uint64_t x) { return x ? 64 - __builtin_clzll(x) : 0; };
    int lengthBits = bits(maxLeaf);
    int payload = payloadBits ? payloadBits : bits(maxMagnitude) + 1;
    int needed = std::max(payload + lengthBits + 1, bits(elements + 1) + 1);
    return (int)(elements * (needed <= 8 ? 1 : needed <= 16 ? 2 : 4)) + extra;
}

// The stream cut to what the decoders may read when the last code begins at bit lastCode: up to
// the byte holding the last peeked bit, as the header documents (zeros past the stream).
std::vector<Zeb8u> cut_to_reach(const std::vector<Zeb8u>& stream, size_t lastCode, int peek)
{
    std::vector<Zeb8u> cut((lastCode + peek - 1) / 8 + 1);
    std::copy_n(stream.begin(), std::min(cut.size(), stream.size()), cut.begin());
    return cut;
}

struct Encoder {
    ZebVLCEncodeState_32s* state = nullptr;
    explicit Encoder(const Table& t)
    {
        EXPECT_EQ(zebsVLCEncodeInitAlloc_32s(t.data(), (int)t.size(), &state), zebStsOk);
    }
    ~Encoder() { zebsVLCEncodeFree_32s(state); }
};

struct Decoder { // built in caller memory of exactly the GetSize size
    int size = 0;
    std::unique_ptr<zebtest::Block> block;
    ZebVLCDecodeState_32s* state = nullptr;
    Decoder(const Table& t, const std::vector<Zeb32s>& sizes, size_t misalign)
    {
        EXPECT_EQ(zebsVLCDecodeGetSize_32s(t.data(), (int)t.size(), sizes.data(), (int)sizes.size(),
                                           &size),
                  zebStsOk);
        EXPECT_EQ(size, expected_decode_size(t, sizes, 88, 0));
        block.reset(new zebtest::Block(size, misalign));
        state = (ZebVLCDecodeState_32s*)block->at;
        EXPECT_EQ(
            zebsVLCDecodeInit_32s(t.data(), (int)t.size(), sizes.data(), (int)sizes.size(), state),
            zebStsOk);
    }
};

std::vector<Zeb32s> random_sizes(std::mt19937& rng)
{
    std::vector<Zeb32s> sizes(1 + rng() % 5);
    for (auto& s : sizes)
        s = 1 + rng() % 10;
    sizes.push_back(32);
    return sizes;
}

// Encodes random values of the table at every bit offset into a buffer ending at the byte of the
// last code bit, compares with the MSB-first reference writer, and decodes them back with the
// block and single forms from a buffer ending at the decoders' documented reach.
void round_trip(const Table& table, const std::vector<Zeb32s>& sizes, std::mt19937& rng, int count)
{
    Encoder enc(table);
    Decoder dec(table, sizes, rng() % 32);
    std::vector<Zeb16s> values(count), back(count);
    for (auto& v : values)
        v = (Zeb16s)table[rng() % table.size()].value;
    auto code_of = [&](Zeb16s v) {
        return *std::find_if(table.begin(), table.end(),
                             [&](const ZebVLCCodeEntry& e) { return e.value == v; });
    };
    for (int offset = 0; offset < 8; ++offset) {
        zebtest::MsbBitWriter want{{0xA5}, (size_t)offset};
        size_t lastCode = 0;
        for (auto v : values) {
            lastCode = want.pos;
            want.put(code_of(v).code, code_of(v).length);
        }
        const size_t pos = want.pos;
        Zeb32s bits = 0;
        ASSERT_EQ(zebsVLCCountBits_16s32s(values.data(), count, &bits, enc.state), zebStsOk);
        ASSERT_EQ((size_t)bits, pos - offset);
        std::vector<Zeb8u> out((pos - 1) / 8 + 1, 0xA5);
        Zeb8u* p = out.data();
        int off = offset;
        ASSERT_EQ(zebsVLCEncodeBlock_16s1u(values.data(), count, &p, &off, enc.state), zebStsOk);
        ASSERT_EQ((size_t)(p - out.data()) * 8 + off, pos);
        for (size_t b = 0; b < pos; ++b) // every bit before and inside the codes
            ASSERT_EQ((out[b / 8] >> (7 - b % 8)) & 1, (want.out[b / 8] >> (7 - b % 8)) & 1)
                << "bit " << b;

        std::vector<Zeb8u> in = cut_to_reach(out, lastCode, max_length(table));
        p = in.data();
        off = offset;
        ASSERT_EQ(zebsVLCDecodeBlock_1u16s(&p, &off, back.data(), count, dec.state), zebStsOk);
        ASSERT_EQ((size_t)(p - in.data()) * 8 + off, pos);
        ASSERT_TRUE(back == values) << "offset " << offset;
        if (offset % 3 == 0) {
            p = in.data();
            off = offset;
            for (int i = 0; i < count; ++i) {
                ASSERT_EQ(zebsVLCDecodeOne_1u16s(&p, &off, &back[i], dec.state), zebStsOk);
                ASSERT_EQ(back[i], values[i]);
            }
        }
    }
}

TEST(VLC, EncoderExamples)
{
    Table t = {{-2, 0x1, 2}, {0, 0x5, 3}, {5, 0x7F, 7}};
    int size = 0;
    ASSERT_EQ(zebsVLCEncodeGetSize_32s(t.data(), 3, &size), zebStsOk);
    EXPECT_EQ(size, 160);
    zebtest::Block mem(size, 1); // exactly GetSize at the worst alignment
    auto* state = (ZebVLCEncodeState_32s*)mem.at;
    ASSERT_EQ(zebsVLCEncodeInit_32s(t.data(), 3, state), zebStsOk);
    Zeb8u buf[4] = {0x00, 0x00, 0x33, 0x33};
    Zeb8u* p = buf;
    int off = 6;
    ASSERT_EQ(zebsVLCEncodeOne_16s1u(0, &p, &off, state), zebStsOk); // 101 at bit offset 6
    EXPECT_EQ(buf[0], 0x02);
    EXPECT_EQ(buf[1] >> 7, 1);
    EXPECT_TRUE(p == buf + 1 && off == 1 && buf[2] == 0x33);
    Zeb16s values[3] = {-2, -2, 5};
    Zeb32s bits = 0;
    ASSERT_EQ(zebsVLCCountBits_16s32s(values, 3, &bits, state), zebStsOk);
    EXPECT_EQ(bits, 11);
    Zeb16s outside[3] = {1, 6, -3}; // no code, or outside the range: no bits
    ASSERT_EQ(zebsVLCCountBits_16s32s(outside, 3, &bits, state), zebStsOk);
    EXPECT_EQ(bits, 0);
    zebsVLCEncodeFree_32s(state);
    EXPECT_EQ(zebsVLCEncodeOne_16s1u(0, &p, &off, state), zebStsVLCError);
    EXPECT_EQ(zebsVLCCountBits_16s32s(values, 3, &bits, state), zebStsVLCError);
}

TEST(VLC, EncoderRulesAndRefusals)
{
    Table t = {{3, 0x3, 2},
               {3, 0x0, 1},
               {4, 0xFFFFFFFF, 32}}; // earlier record wins; 32 bits: no code bits
    Encoder enc(t);
    Zeb8u buf[6] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x5A};
    Zeb8u* p = buf;
    int off = 1;
    Zeb16s values[2] = {3, 4};
    ASSERT_EQ(zebsVLCEncodeBlock_16s1u(values, 2, &p, &off, enc.state), zebStsOk);
    EXPECT_EQ(std::vector<Zeb8u>(buf, buf + 6), (std::vector<Zeb8u>{0xE0, 0, 0, 0, 0x1F, 0x5A}));
    EXPECT_TRUE(p == buf + 4 && off == 3);
    int size;
    Table bad = {{0, 0, 0}};
    EXPECT_EQ(zebsVLCEncodeGetSize_32s(nullptr, 1, &size), zebStsNullPtr);
    EXPECT_EQ(zebsVLCEncodeGetSize_32s(t.data(), 0, &size), zebStsVLCError);
    EXPECT_EQ(zebsVLCEncodeGetSize_32s(bad.data(), 1, &size), zebStsVLCError);
    Table wide = {{INT32_MIN, 1, 1}, {INT32_MAX, 0, 1}};
    EXPECT_EQ(zebsVLCEncodeGetSize_32s(wide.data(), 2, &size), zebStsVLCError);
    off = 8;
    EXPECT_EQ(zebsVLCEncodeBlock_16s1u(values, 2, &p, &off, enc.state), zebStsVLCError);
    EXPECT_EQ(zebsVLCEncodeOne_16s1u(3, &p, &off, enc.state), zebStsVLCError);
    off = 0;
    EXPECT_EQ(zebsVLCEncodeBlock_16s1u(values, 0, &p, &off, enc.state), zebStsVLCError);
    EXPECT_EQ(zebsVLCEncodeBlock_16s1u(nullptr, 0, &p, &off, enc.state), zebStsNullPtr);
    Zeb8u* null = nullptr;
    EXPECT_EQ(zebsVLCEncodeOne_16s1u(3, &null, &off, enc.state), zebStsNullPtr);
    EXPECT_TRUE(p == buf + 4 && buf[5] == 0x5A);
}

TEST(VLC, DecoderExamplesAndElementWidths)
{
    // 0 / 10 / 11: one level of 4 entries (5 elements), or 2 + a sub-table of 2 behind "1".
    for (Zeb32s value : {1, 1000, 100000}) { // 8-, 16- and 32-bit elements
        Table t = {{-value, 0, 1}, {value, 2, 2}, {7, 3, 2}};
        int width = value == 1 ? 1 : value == 1000 ? 2 : 4;
        for (auto sizes :
             {std::vector<Zeb32s>{2}, std::vector<Zeb32s>{1, 1}, std::vector<Zeb32s>{5, 9}}) {
            Decoder dec(t, sizes, 7);
            EXPECT_EQ(dec.size, (sizes.size() == 2 && sizes[0] == 1 ? 6 : 5) * width + 88);
            // "0 11 10 0" from bit offset 7 of the byte before an aligned word: straddles it
            alignas(4) Zeb8u buf[8] = {0, 0, 0, 0x00, 0xE0, 0, 0, 0};
            Zeb8u* p = buf + 3;
            int off = 7;
            Zeb16s out[4];
            ASSERT_EQ(zebsVLCDecodeBlock_1u16s(&p, &off, out, 4, dec.state), zebStsOk);
            EXPECT_TRUE(out[0] == (Zeb16s)-value && out[1] == 7 && out[2] == (Zeb16s)value &&
                        out[3] == (Zeb16s)-value)
                << out[0] << " " << out[1] << " " << out[2] << " " << out[3];
            EXPECT_TRUE(p == buf + 4 && off == 5);
        }
    }
    Table big = {{0, 0, 7}, {1, 1, 7}}; // 129 elements need 9 bits: 16-bit elements
    std::vector<Zeb32s> seven = {7};
    Decoder dec(big, seven, 0);
    EXPECT_EQ(dec.size, 129 * 2 + 88);
}

TEST(VLC, DecoderRefusesBadTablesAndMissingCodes)
{
    std::vector<Zeb32s> s2 = {2}, s0 = {0, 2}, s1 = {1}, s32 = {32};
    Table ok = {{0, 0, 1}, {1, 2, 2}}, len0 = {{0, 0, 0}}, len32 = {{0, 0, 32}},
          len33 = {{0, 0, 33}};
    int size;
    EXPECT_EQ(zebsVLCDecodeGetSize_32s(ok.data(), 2, nullptr, 1, &size), zebStsNullPtr);
    EXPECT_EQ(zebsVLCDecodeGetSize_32s(ok.data(), 0, s2.data(), 1, &size), zebStsVLCError);
    EXPECT_EQ(zebsVLCDecodeGetSize_32s(len0.data(), 1, s2.data(), 1, &size), zebStsVLCBadParams);
    EXPECT_EQ(zebsVLCDecodeGetSize_32s(len33.data(), 1, s2.data(), 1, &size), zebStsVLCBadParams);
    EXPECT_EQ(zebsVLCDecodeGetSize_32s(ok.data(), 2, s0.data(), 2, &size), zebStsVLCBadParams);
    EXPECT_EQ(zebsVLCDecodeGetSize_32s(ok.data(), 2, s1.data(), 1, &size), zebStsVLCBadParams);
    EXPECT_EQ(zebsVLCDecodeGetSize_32s(ok.data(), 2, s2.data(), 0, &size), zebStsVLCBadParams);
    EXPECT_EQ(zebsVLCDecodeGetSize_32s(len32.data(), 1, s32.data(), 1, &size), zebStsVLCBadParams);
    for (auto sizes : {std::vector<Zeb32s>{2}, std::vector<Zeb32s>{1, 1}}) {
        // a prefix before and after the longer code, and a repeated code
        for (Table t : {Table{{0, 1, 1}, {1, 2, 2}}, Table{{1, 2, 2}, {0, 1, 1}},
                        Table{{0, 2, 2}, {1, 2, 2}}}) {
            ZebVLCDecodeState_32s* state = nullptr;
            EXPECT_EQ(
                zebsVLCDecodeInitAlloc_32s(t.data(), 2, sizes.data(), (int)sizes.size(), &state),
                zebStsVLCBadParams);
            EXPECT_EQ(state, nullptr);
        }
        Decoder dec(ok, sizes, 3);      // "11" is no code
        Zeb8u buf[4] = {0x8C, 0, 0, 0}; // 10 0 0 11
        Zeb8u* p = buf;
        int off = 0;
        Zeb16s out[4] = {9, 9, 9, 9};
        EXPECT_EQ(zebsVLCDecodeBlock_1u16s(&p, &off, out, 4, dec.state), zebStsVLCError);
        EXPECT_TRUE(p == buf && off == 0 && out[0] == 1 && out[2] == 0);
        off = 4;
        EXPECT_EQ(zebsVLCDecodeOne_1u16s(&p, &off, out, dec.state), zebStsVLCError);
        std::vector<Zeb8u> longer(80); // the same through the reservoir loop
        longer[0] = 0xC0;
        off = 0;
        p = longer.data();
        std::vector<Zeb16s> many(300);
        EXPECT_EQ(zebsVLCDecodeBlock_1u16s(&p, &off, many.data(), 300, dec.state), zebStsVLCError);
        EXPECT_TRUE(p == longer.data() && off == 0);
        p = buf;
        off = -1;
        EXPECT_EQ(zebsVLCDecodeOne_1u16s(&p, &off, out, dec.state), zebStsVLCError);
        off = 0;
        EXPECT_EQ(zebsVLCDecodeBlock_1u16s(&p, &off, out, 0, dec.state), zebStsVLCError);
        zebsVLCDecodeFree_32s(dec.state);
        EXPECT_EQ(zebsVLCDecodeOne_1u16s(&p, &off, out, dec.state), zebStsVLCError);
    }
}

TEST(VLC, RandomTablesRoundTripAtEveryOffset)
{
    std::mt19937 rng(9);
    for (int round = 0; round < 60; ++round) {
        int maxLength = 1 + round % 32;
        int count = round % 10 == 9 ? 1024 + rng() % 1977
                                    : 1 + rng() % std::min(1 << std::min(maxLength, 11), 1000);
        Table table = random_table(rng, count, maxLength);
        round_trip(table, random_sizes(rng), rng, 150 + rng() % 400);
    }
}

TEST(VLC, TupleDecoder)
{
    // (0, 3, 0, -1) in 2-bit elements: magnitudes 00 11 00 01, code "1", sign bits 0 then 1.
    Table t = {{0x31, 1, 1}, {0xFF, 0, 2}, {0x00, 1, 2}};
    std::vector<Zeb32s> sizes = {1, 1};
    int size = 0;
    ASSERT_EQ(zebsVLCDecodeUTupleGetSize_32s(t.data(), 3, sizes.data(), 2, 4, 2, &size), zebStsOk);
    EXPECT_EQ(size, expected_decode_size(t, sizes, 100, 8));
    // Tuple size 0; element bits 0 with no levels (reported before the levels' error); a leaf
    // of more than 32 bits.
    for (auto bad : {std::vector<int>{2, 0, 2}, {0, 4, 0}, {2, 4, 8}}) // levels, tuple, bits
        EXPECT_EQ(zebsVLCDecodeUTupleGetSize_32s(t.data(), 3, sizes.data(), bad[0], bad[1], bad[2],
                                                 &size),
                  zebStsTupleError);
    ZebVLCDecodeUTupleState_32s* state = nullptr;
    ASSERT_EQ(zebsVLCDecodeUTupleInitAlloc_32s(t.data(), 3, sizes.data(), 2, 4, 2, &state),
              zebStsOk);
    std::vector<Zeb8u> buf = {0x02, 0x80}; // "1" "01" from bit 6, up to the decoders' reach
    Zeb8u* p = buf.data();
    int off = 6;
    Zeb16s out[4];
    ASSERT_EQ(zebsVLCDecodeUTupleOne_1u16s(&p, &off, out, state), zebStsOk);
    EXPECT_TRUE(out[0] == 0 && out[1] == 3 && out[2] == 0 && out[3] == -1);
    EXPECT_TRUE(p == buf.data() + 1 && off == 1);
    zebsVLCDecodeUTupleFree_32s(state);
    EXPECT_EQ(zebsVLCDecodeUTupleOne_1u16s(&p, &off, out, state), zebStsVLCError);

    std::mt19937 rng(3); // random tuples through random tables, at every offset
    for (int round = 0; round < 30; ++round) {
        int tupleSize = 1 + rng() % 4, elementBits = 1 + rng() % 4, maxLength = 1 + rng() % 24;
        Table table = random_table(rng, 1 + rng() % 500, maxLength);
        auto tsizes = random_sizes(rng);
        if (round % 5 == 4) { // peeks past 56 bits: codes 1, 01, ..., 0..01, 0..00 and 28 signs
            tupleSize = 28, elementBits = 1, tsizes.assign(8, 4); // leaves of 4 bits at most
            table.clear();
            for (int k = 0; k < 32; ++k)
                table.push_back({0, (uint32_t)(k < 31), k + 1});
        }
        uint32_t all = (1u << tupleSize * elementBits) - 1;
        for (auto& e : table) // every magnitude non-zero in some tuples: the most sign bits
            e.value = (Zeb32s)(rng() % 3 ? rng() & all : all);
        ASSERT_EQ(zebsVLCDecodeUTupleInitAlloc_32s(table.data(), (int)table.size(), tsizes.data(),
                                                   (int)tsizes.size(), tupleSize, elementBits,
                                                   &state),
                  zebStsOk);
        const int count = 100 + rng() % 300;
        for (int offset = 0; offset < 8; ++offset) {
            zebtest::MsbBitWriter bits{{}, (size_t)offset};
            std::vector<Zeb16s> want, got((size_t)count * tupleSize);
            size_t lastCode = 0;
            for (int i = 0; i < count; ++i) {
                const ZebVLCCodeEntry& e = table[rng() % table.size()];
                lastCode = bits.pos;
                bits.put(e.code, e.length);
                for (int k = tupleSize - 1; k >= 0; --k) {
                    int m = (e.value >> (k * elementBits)) & ((1 << elementBits) - 1);
                    int negative = m ? (int)(rng() % 2) : 0;
                    if (m)
                        bits.put(negative, 1);
                    want.push_back((Zeb16s)(negative ? -m : m));
                }
            }
            std::vector<Zeb8u> stream =
                cut_to_reach(bits.out, lastCode, max_length(table) + tupleSize);
            p = stream.data();
            off = offset;
            ASSERT_EQ(zebsVLCDecodeUTupleBlock_1u16s(&p, &off, got.data(), count, state), zebStsOk);
            ASSERT_EQ((size_t)(p - stream.data()) * 8 + off, bits.pos);
            ASSERT_TRUE(got == want) << "round " << round << " offset " << offset;
        }
        zebsVLCDecodeUTupleFree_32s(state);
    }
}

} // namespace
