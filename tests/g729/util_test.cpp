// Vector helpers and the random generator.
#include <gtest/gtest.h>

#include <array>

#include "kestrune/g729_coder.h"

namespace {

TEST(Random, LinearCongruenceWrapsAt16Bits) {
  // 21845 * 31821 + 13849 = 695143594 = 10607 * 65536 + 3242;
  // 3242 * 31821 + 13849 = 103177531 = 1574 * 65536 + 23867;
  // 23867 * 31821 + 13849 = 759485656 = 11588 * 65536 + 54488, which is -11048 in 16 bits.
  Word16 seed = 21845;
  EXPECT_EQ(Random(&seed), 3242);
  EXPECT_EQ(Random(&seed), 23867);
  EXPECT_EQ(Random(&seed), -11048);
  EXPECT_EQ(seed, -11048);
}

TEST(Copy, ShiftsTowardsTheStartInPlaceAndIgnoresEmptyLengths) {
  std::array<Word16, 6> v{1, 2, 3, 4, 5, 6};
  Copy(v.data() + 2, v.data(), 4);
  EXPECT_EQ(v, (std::array<Word16, 6>{3, 4, 5, 6, 5, 6}));
  Copy(v.data() + 2, v.data(), -1);
  Set_zero(v.data(), 0);
  EXPECT_EQ(v, (std::array<Word16, 6>{3, 4, 5, 6, 5, 6}));
  Set_zero(v.data() + 1, 2);
  EXPECT_EQ(v, (std::array<Word16, 6>{3, 0, 0, 6, 5, 6}));
}

}  // namespace
