// The codec's random generator.
#include <gtest/gtest.h>

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

}  // namespace
