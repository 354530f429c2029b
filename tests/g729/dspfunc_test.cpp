// The double-precision routines and the table-interpolated functions, against the exact
// mathematics and at the edges of their tables.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>

#include "g729/tab_ld8k.h"
#include "kestrune/g729.h"

namespace {

class DspFunc : public ::testing::Test {
 protected:
  void SetUp() override { Overflow = Carry = 0; }
  std::mt19937 rng{8000};
};

TEST_F(DspFunc, Pow2TruncatesInsteadOfRoundingAndWrapsItsShift) {
  const Word32 expected[][3] = {
      // Plain powers, an exact node, the top of the last interval, 5792.5 (which the standard
      // rounds up), then shift counts of -1, -2, 32 and 31, taken modulo 32.
      {30, 0, 0x40000000},
      {0, 0, 1},
      {14, 0, 16384},
      {30, 1024 * 16, tabpow[16] << 16},
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

TEST_F(DspFunc, Log2AndInvSqrtAtTheTableEdges) {
  Word16 exponent = -1, fraction = -1;
  for (Word32 nonPositive : {0, -5}) {
    Log2(nonPositive, &exponent, &fraction);
    EXPECT_EQ(exponent | fraction, 0) << nonPositive;
    EXPECT_EQ(Inv_sqrt(nonPositive), 0x3fffffff) << nonPositive;
  }
  for (int k = 0; k <= 30; ++k) {
    Log2(Word32{1} << k, &exponent, &fraction);
    EXPECT_TRUE(exponent == k && fraction == 0) << k << ": " << exponent << "." << fraction;
  }
  // The top of the last interval: index 31, all 15 interpolation bits set.
  Log2(INT32_MAX, &exponent, &fraction);
  EXPECT_EQ(exponent, 30);
  EXPECT_EQ(fraction, static_cast<Word16>(((32023 << 16) + 744 * 0x7fff * 2) >> 16));

  EXPECT_EQ(Inv_sqrt(1), 32767 << 15);  // first entry of the table, exponent 1
  EXPECT_EQ(Inv_sqrt(4), 32767 << 14);
  // An odd exponent with all interpolation bits set reaches the last entry's interval.
  EXPECT_EQ(Inv_sqrt(0x3fffffff), ((16514 << 16) - 130 * 0x7fff * 2) >> 15);
}

TEST_F(DspFunc, FunctionsFollowTheMathematicsOnRandomInputs) {
  for (int i = 0; i < 5000; ++i) {
    // Pow2 to the precision of its table, and Log2 and Inv_sqrt likewise.
    const auto exponent = static_cast<Word16>(rng() % 31);
    const auto fraction = static_cast<Word16>(rng() & 0x7fff);
    const Word32 power = Pow2(exponent, fraction);
    const double exact = std::pow(2.0, exponent + fraction / 32768.0);
    ASSERT_NEAR(power, exact, exact * 2e-4 + 1.0) << exponent << "." << fraction;

    const Word32 value = static_cast<Word32>(rng() >> (rng() % 31 + 1)) | 1;
    Word16 logExponent, logFraction;
    Log2(value, &logExponent, &logFraction);
    ASSERT_NEAR(logExponent + logFraction / 32768.0, std::log2(double(value)), 2e-4) << value;
    const double inverseRoot = 1073741824.0 / std::sqrt(double(value));
    ASSERT_NEAR(Inv_sqrt(value), inverseRoot, inverseRoot * 1e-3) << value;
  }
  EXPECT_EQ(Overflow, 0);
}

TEST_F(DspFunc, DoublePrecisionRoutines) {
  for (int i = 0; i < 10000; ++i) {
    const Word32 value = static_cast<Word32>(rng()), other = static_cast<Word32>(rng());
    Word16 hi, lo, hi2, lo2;
    L_Extract(value, &hi, &lo);
    ASSERT_TRUE(hi == value >> 16 && lo >= 0 && L_Comp(hi, lo) == (value & ~1)) << value;

    L_Extract(other, &hi2, &lo2);
    ASSERT_NEAR(Mpy_32(hi, lo, hi2, lo2), double(value) * double(other) / 2147483648.0, 8.0);
    const Word16 n = static_cast<Word16>(rng());
    ASSERT_NEAR(Mpy_32_16(hi, lo, n), double(value) * n / 32768.0, 3.0);

    // Div_32: L_num / L_denom in Q31 for a normalised denominator above the numerator.
    const Word32 denom = static_cast<Word32>(0x40000000u | (rng() & 0x3fffffffu));
    const Word32 num = static_cast<Word32>(rng() % static_cast<uint32_t>(denom)) + 1;
    L_Extract(denom, &hi, &lo);
    const double quotient = double(num) / double(denom) * 2147483648.0;
    ASSERT_NEAR(Div_32(num, hi, lo), quotient, quotient * 1e-6 + 64.0) << num << "/" << denom;
  }
  EXPECT_EQ(Overflow, 0);
}

}  // namespace
