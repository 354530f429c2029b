// The double-precision routines and the table-interpolated functions, against their
// arithmetic worked out by hand.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>

#include "kestrune/g729.h"

namespace {

class DspFunc : public ::testing::Test {
 protected:
  void SetUp() override { Overflow = Carry = 0; }
};

TEST_F(DspFunc, Pow2TruncatesInsteadOfRoundingAndWrapsItsShift) {
  // Plain powers, an exact node, the last interval's top, 5792.5 (the standard rounds it up),
  // then shift counts of -1, -2, 32 and 31, taken modulo 32.
  const Word32 expected[][3] = {{30, 0, 0x40000000},
                                {0, 0, 1},
                                {14, 0, 16384},
                                {30, 1024 * 16, 23170 << 16},
                                {30, 32767, (32066 << 16) + 0xffc0 * 701},
                                {12, 16384, 5792},
                                {31, 0, 0},
                                {32, 0, 1},
                                {-2, 0, 0x40000000},
                                {-1, 0, 0}};
  for (const auto& [exponent, fraction, result] : expected) {
    EXPECT_EQ(Pow2(static_cast<Word16>(exponent), static_cast<Word16>(fraction)), result)
        << exponent << "." << fraction;
  }
}

TEST_F(DspFunc, Log2AndInvSqrtInterpolateTheirTables) {
  Word16 exponent = -1, fraction = -1;
  for (Word32 nonPositive : {0, -5}) {
    Log2(nonPositive, &exponent, &fraction);
    EXPECT_EQ(exponent | fraction, 0) << nonPositive;
    EXPECT_EQ(Inv_sqrt(nonPositive), 0x3fffffff) << nonPositive;
  }
  // The top of the last interval: index 31, all 15 interpolation bits set.
  Log2(INT32_MAX, &exponent, &fraction);
  EXPECT_EQ(exponent, 30);
  EXPECT_EQ(fraction, static_cast<Word16>(((32023 << 16) + 744 * 0x7fff * 2) >> 16));

  EXPECT_EQ(Inv_sqrt(1), 32767 << 15);  // first entry of the table, exponent 1
  EXPECT_EQ(Inv_sqrt(4), 32767 << 14);
  // An odd exponent with all interpolation bits set reaches the last entry's interval.
  EXPECT_EQ(Inv_sqrt(0x3fffffff), ((16514 << 16) - 130 * 0x7fff * 2) >> 15);

  // 100000 = 0x61a80000 >> 14: exponent 16, index 0x30 - 32, fraction bits 0x6a00 = 27136.
  Log2(100000, &exponent, &fraction);
  EXPECT_EQ(exponent, 16);
  EXPECT_EQ(fraction, ((19167 << 16) - 2 * (19167 - 20142) * 27136) >> 16);
  // Even exponent 16: mantissa 0x30d40000, index 8, fraction 13568; 3 lands on entry 32.
  EXPECT_EQ(Inv_sqrt(100000), ((26755 << 16) - 2 * (26755 - 26214) * 13568) >> 9);
  EXPECT_EQ(Inv_sqrt(3), 18919 << 15);
  EXPECT_EQ(Overflow, 0);
}

TEST_F(DspFunc, DoublePrecisionRoutines) {
  using Parts = std::array<Word16, 4>;
  const auto split = [](Word32 value, Word32 other) {
    Parts parts;
    L_Extract(value, &parts[0], &parts[1]);
    L_Extract(other, &parts[2], &parts[3]);
    return parts;
  };
  // 0x12345678 splits as 4660, 11068 and -3 as -1, 32766 (its low bit is lost).
  const Parts p = split(0x12345678, -3);
  EXPECT_EQ(p, (Parts{4660, 11068, -1, 32766}));
  EXPECT_EQ(L_Comp(p[2], p[3]), -4);
  // Times 0x7fffffff: hi * hi, both cross terms truncated, lo * lo dropped.
  EXPECT_EQ(Mpy_32(4660, 11068, 32767, 32767), 2 * 4660 * 32767 + 2 * 4659 + 2 * 11067);
  EXPECT_EQ(Mpy_32(-32768, 0, -32768, 0), INT32_MAX);
  EXPECT_EQ(Mpy_32_16(4660, 11068, 12345), 2 * 4660 * 12345 + 2 * 4169);  // 4169.75 cut
  // 0.25 / 0.5: the Newton step gives 1 / 0.5 as 2^30 - 6 (Q29), split 16383, 32765.
  EXPECT_EQ(Div_32(0x20000000, 16384, 0), 4 * (2 * 8192 * 16383 + 2 * 8191));
  EXPECT_EQ(Overflow, 0);
}

}  // namespace
