// Taming: which past subframes a pitch delay reaches, the threshold, and the update of the
// excitation error estimates.
#include <gtest/gtest.h>

#include <array>

#include "kestrune/g729_coder.h"

namespace {

using Estimates = std::array<Word32, 4>;

constexpr Word32 kLimit = 983040000;  // 60000.0 in Q14

TEST(TestErr, LooksAtTheSubframesTheDelayReachesAgainstAStrictThreshold) {
  // t1 = T0 (+1 for a positive fraction) reaches subframes tab_zone[t1 - 50] to [t1 + 8].
  const struct {
    int subframe;
    Word32 value;
    Word16 T0, frac, flag;
  } cases[] = {
      {0, kLimit, 20, 0, 0},      {0, kLimit + 1, 20, 0, 1},   {1, kLimit + 1, 20, 0, 0},
      {0, kLimit + 1, 89, 0, 1},  {0, kLimit + 1, 90, 0, 0},   {0, kLimit + 1, 89, 1, 0},
      {3, kLimit + 1, 111, 0, 0}, {3, kLimit + 1, 111, -1, 0}, {3, kLimit + 1, 111, 1, 1},
      {3, kLimit + 1, 112, 0, 1}, {2, kLimit + 1, 143, 1, 1},  {1, kLimit + 1, 143, 1, 0},
  };
  for (const auto& c : cases) {
    Estimates e{16384, 16384, 16384, 16384};
    e[c.subframe] = c.value;
    EXPECT_EQ(test_err(c.T0, c.frac, e.data()), c.flag)
        << "subframe " << c.subframe << " T0 " << c.T0 << " frac " << c.frac;
  }
}

TEST(UpdateExcErr, ShortDelayGrowsTheNewestEstimateTwice) {
  // gain 1.0: 1 + 1 * 1 = 2, then 1 + 1 * 2 = 3 (Q14).
  Estimates e{16384, 100, 200, 300};
  update_exc_err(16384, 30, e.data());
  EXPECT_EQ(e, (Estimates{49152, 16384, 100, 200}));
}

TEST(UpdateExcErr, LongDelayTakesTheWorstOfTheSubframesItReaches) {
  // gain 0.5: each reached estimate e (a multiple of 8) becomes 16384 + e / 2 exactly.
  const Estimates start{800000, 80000, 160000, 8000000};
  const struct {
    Word16 T0;
    Word32 worst;
  } cases[] = {
      {40, 16384 + 400000},    // positions 0..39: subframe 0 only
      {100, 16384 + 80000},    // positions 60..99: subframes 1 and 2
      {121, 16384 + 4000000},  // positions 81..120: subframes 2 and 3
  };
  for (const auto& c : cases) {
    Estimates e = start;
    update_exc_err(8192, c.T0, e.data());
    EXPECT_EQ(e, (Estimates{c.worst, 800000, 80000, 160000})) << c.T0;
  }
}

}  // namespace
