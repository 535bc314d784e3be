// Deflate encoder: the constant tables against the codes of RFC 1951.
#include <gtest/gtest.h>

#include "deflate/deflate_tables.h"

namespace {

TEST(Deflate, ConstantTablesHoldTheRfcCodes)
{
    EXPECT_TRUE(cTable[0].code == 12 && cTable[0].len == 8);
    EXPECT_TRUE(cTable[144].code == 19 && cTable[144].len == 9);
    EXPECT_TRUE(lTable[0].code == 64 && lTable[0].len == 7);
    EXPECT_TRUE(lTable[8].code == 72 && lTable[8].len == 8);
    EXPECT_TRUE(lTable[254].code == 7715 && lTable[254].len == 13);
    EXPECT_TRUE(lTable[255].code == 163 && lTable[255].len == 8);
    EXPECT_TRUE(oTableL[0].code == 0 && oTableL[0].len == 5);
    EXPECT_TRUE(oTableL[4].code == 4 && oTableL[4].len == 6);
    EXPECT_TRUE(oTableL[255].code == 2046 && oTableL[255].len == 11);
    EXPECT_TRUE(oTableH[0].base == 257 && oTableH[0].code == 1 && oTableH[0].extra == 7);
    EXPECT_TRUE(oTableH[1].base == 385 && oTableH[1].code == 17 && oTableH[1].extra == 7);
    EXPECT_TRUE(oTableH[2].base == 513 && oTableH[2].code == 9 && oTableH[2].extra == 8);
    EXPECT_EQ(lCodeTab[0], 0);
    EXPECT_EQ(lCodeTab[255], 28);
    EXPECT_EQ(lCodeTab[254], 27);
    EXPECT_EQ(dCodeTab[0], 0);
    EXPECT_EQ(dCodeTab[256 + (32767 >> 7)], 29);
    EXPECT_EQ(revCodeTable[1], 128);
    EXPECT_EQ(sTreeOrder[0], 16);
    EXPECT_EQ(sTreeOrder[18], 15);
    EXPECT_TRUE(randVec[0] == 18845 && randVec[1] == 15810 && randVec[2] == 11527 &&
                randVec[3] == 28763 && randVec[256] == 23403 && randVec[257] == 25964 &&
                randVec[512] == 23616 && randVec[513] == 7640);
    for (size_t i = 0; i < randVec.size(); ++i)
        ASSERT_GE(randVec[i], 0); // 15-bit
}

} // namespace
