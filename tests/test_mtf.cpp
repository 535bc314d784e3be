// Move-to-front: the documented example, piecewise and in-place coding, the life cycle.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "test_support.h"

namespace {

struct AlignedState {
    alignas(64) Zeb8u bytes[256 + 64];
    ZebMTFState_8u* at(size_t offset) { return (ZebMTFState_8u*)(void*)(bytes + offset); }
};

TEST(MTF, CodesTheDocumentedExample)
{
    int size = 0;
    ASSERT_EQ(zebsMTFGetSize_8u(&size), zebStsOk);
    EXPECT_EQ(size, 256);
    AlignedState mem;
    for (size_t offset = 0; offset < 8; ++offset) { // any alignment
        ZebMTFState_8u* state = mem.at(offset);
        memset(mem.bytes, 0xEE, sizeof mem.bytes);
        ASSERT_EQ(zebsMTFInit_8u(state), zebStsOk);
        for (int i = 0; i < 256; ++i)
            ASSERT_EQ(mem.bytes[offset + i], i);
        EXPECT_EQ(mem.bytes[offset + 256], 0xEE);
        const Zeb8u src[5] = {0, 0, 1, 1, 0};
        const Zeb8u want[5] = {0, 0, 1, 0, 1};
        Zeb8u dst[5];
        ASSERT_EQ(zebsMTFFwd_8u(src, dst, 5, state), zebStsOk);
        EXPECT_EQ(0, memcmp(dst, want, 5));
    }
}

// Codes data in pieces of random sizes with one state, and decodes in other random pieces,
// in place; both must equal one-call results.
TEST(MTF, PiecewiseAndInPlaceRoundTrips)
{
    std::mt19937 rng(5);
    for (unsigned alphabet : {1u, 2u, 17u, 256u}) {
        auto data = zebtest::random_bytes(50000, alphabet, alphabet);
        for (size_t i = 0; i < data.size(); i += 97) // some long runs as after a BWT
            data[i] = data[i / 2];
        ZebMTFState_8u* whole = nullptr;
        ASSERT_EQ(zebsMTFInitAlloc_8u(&whole), zebStsOk);
        std::vector<Zeb8u> once(data.size());
        ASSERT_EQ(zebsMTFFwd_8u(data.data(), once.data(), (int)data.size(), whole), zebStsOk);

        std::vector<Zeb8u> pieces = data;
        auto in_pieces = [&](decltype(&zebsMTFFwd_8u) stage, ZebMTFState_8u* st, size_t most) {
            for (size_t pos = 0; pos < pieces.size();) {
                size_t n = std::min<size_t>(1 + rng() % most, pieces.size() - pos);
                ASSERT_EQ(stage(&pieces[pos], &pieces[pos], (int)n, st), zebStsOk);
                pos += n;
            }
        };
        AlignedState mem;
        zebsMTFInit_8u(mem.at(3));
        in_pieces(zebsMTFFwd_8u, mem.at(3), 700);
        ASSERT_TRUE(pieces == once) << "alphabet " << alphabet;
        zebsMTFInit_8u(whole);
        in_pieces(zebsMTFInv_8u, whole, 3000);
        ASSERT_TRUE(pieces == data) << "alphabet " << alphabet;
        zebsMTFFree_8u(whole);
    }
}

// Position 255 repeatedly: the last list entry moves to the front every time.
TEST(MTF, WorstCaseShifts)
{
    AlignedState dec;
    std::vector<Zeb8u> worst(4096, 255), out(4096);
    zebsMTFInit_8u(dec.at(0));
    ASSERT_EQ(zebsMTFInv_8u(worst.data(), out.data(), 4096, dec.at(0)), zebStsOk);
    for (int i = 0; i < 4096; ++i)
        ASSERT_EQ(out[i], (Zeb8u)(255 - i % 256)) << i;
}

TEST(MTF, ArgumentChecksComeFirstAndWriteNothingAndNoMemoryIsReported)
{
    AlignedState mem;
    ZebMTFState_8u* state = mem.at(0);
    zebsMTFInit_8u(state);
    Zeb8u src[4] = {9, 9, 9, 9}, dst[4] = {1, 2, 3, 4};
    EXPECT_EQ(zebsMTFGetSize_8u(nullptr), zebStsNullPtr);
    EXPECT_EQ(zebsMTFInit_8u(nullptr), zebStsNullPtr);
    EXPECT_EQ(zebsMTFInitAlloc_8u(nullptr), zebStsNullPtr);
    EXPECT_EQ(zebsMTFFwd_8u(src, dst, 0, nullptr), zebStsNullPtr);
    EXPECT_EQ(zebsMTFFwd_8u(nullptr, dst, 4, state), zebStsNullPtr);
    EXPECT_EQ(zebsMTFInv_8u(src, nullptr, 4, state), zebStsNullPtr);
    EXPECT_EQ(zebsMTFFwd_8u(src, dst, 0, state), zebStsBadSize);
    EXPECT_EQ(zebsMTFInv_8u(src, dst, -1, state), zebStsBadSize);
    const Zeb8u untouched[4] = {1, 2, 3, 4};
    EXPECT_EQ(0, memcmp(dst, untouched, 4));
    for (int i = 0; i < 256; ++i)
        ASSERT_EQ(mem.bytes[i], i);
    zebsMTFFree_8u(nullptr);

    zebtest::HookSwap swap(zebtest::failing_malloc, free);
    EXPECT_EQ(zebsMTFInitAlloc_8u(&state), zebStsNoMemory);
    EXPECT_EQ(state, nullptr);
}

} // namespace
