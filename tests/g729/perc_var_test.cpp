// Adaptive perceptual weighting: the log-area ratios, the hysteresis between the fixed and
// the adaptive factors, and gamma2 from the narrowest LSF gap.
#include "g729/perc_var.h"

#include <gtest/gtest.h>

#include <array>

#include "kestrune/g729_coder.h"

namespace {

TEST(LogAreaRatio, FourSegmentsWorkedByHand) {
  // c = |rc| >> 4; past the first segment (c * slope + offset) >> 11 keeps its low 16 bits.
  const struct {
    Word16 rc, lar;
  } cases[] = {
      {20799, 1299},    // c = 1299, taken as it is
      {-20799, -1299},  //
      {20800, 1301},    // (1300 * 4567 + 130946171) >> 11 = 66837, low bits 1301
      {29055, 2449},    // (1815 * 4567 + 130946171) >> 11 = 67985
      {29056, 2454},    // (1816 * 11776 + 117859942) >> 11 = 67990
      {31119, 3190},    // (1944 * 11776 + 117859942) >> 11 = 68726
      {31120, 3207},    // (1945 * 27443 + 87409295) >> 11 = 68743
      {-32768, -4587},  // |rc| = 32768, c = 2048: 70123
  };
  for (const auto& c : cases) EXPECT_EQ(log_area_ratio(c.rc), c.lar) << c.rc;
}

struct Weights {
  std::array<Word16, 2> gamma1, gamma2;
};

// LSFs (before perc_var doubles them) with the narrowest gap `gap` between the last two.
std::array<Word16, 10> lsfWithLastGap(Word16 gap) {
  std::array<Word16, 10> lsf;
  for (int i = 0; i < 9; ++i) lsf[i] = static_cast<Word16>(1000 * (i + 1));
  lsf[9] = static_cast<Word16>(lsf[8] + gap);
  return lsf;
}

Weights run(Word16 rc0, Word16 rc1, Word16 gapInt = 340, Word16 gapNew = 100) {
  Word16 rc[10] = {rc0, rc1};
  auto lsfInt = lsfWithLastGap(gapInt), lsfNew = lsfWithLastGap(gapNew);
  Word16 unused[3] = {};
  Weights w;
  perc_var(w.gamma1.data(), w.gamma2.data(), lsfInt.data(), lsfNew.data(), rc, unused, unused + 2);
  return w;
}

// The memory is process-wide, so each test first brings it to a known state: a frame with
// zero reflection coefficients leaves the fixed factors in force and both old ratios at 0.
void settle() {
  const Weights w = run(0, 0);
  ASSERT_EQ(w.gamma1[1], 30802);
}

constexpr std::array<Word16, 2> kFixed1{30802, 30802}, kFixed2{19661, 19661};

TEST(PercVar, DoublesTheLsfsInPlace) {
  settle();
  Word16 rc[10] = {};
  auto lsfInt = lsfWithLastGap(7), lsfNew = lsfWithLastGap(-3);
  Word16 gamma1[2], gamma2[2], unused[3] = {};
  perc_var(gamma1, gamma2, lsfInt.data(), lsfNew.data(), rc, unused, unused + 2);
  EXPECT_EQ(lsfInt[0], 2000);
  EXPECT_EQ(lsfInt[9], 18014);
  EXPECT_EQ(lsfNew[9], 17994);
}

TEST(PercVar, TurnsAdaptiveOnlyPastBothThresholds) {
  // -31552 gives Lar -3568 (<= -3563), -31551 gives -3555; 21056 gives 1337 (>= 1337), 21055
  // gives 1334. Subframe 1 sees the ratios halved (averaged with the old zeros) and stays fixed.
  settle();
  Weights w = run(-31551, 21056);
  EXPECT_EQ(w.gamma1, kFixed1);
  settle();
  w = run(-31552, 21055);
  EXPECT_EQ(w.gamma1, kFixed1);
  settle();
  w = run(-31552, 21056);
  EXPECT_EQ(w.gamma1[0], 30802);
  EXPECT_EQ(w.gamma2[0], 19661);
  EXPECT_EQ(w.gamma1[1], 32113);
  // Narrowest doubled gap 200: x = (200 * 38604) >> 16 = 117, (1024 - 117) << 21 is above
  // 0.7 in Q31, so gamma2 = 0.7.
  EXPECT_EQ(w.gamma2[1], 22938);
}

TEST(PercVar, AdaptiveGamma2FollowsTheNarrowestGap) {
  settle();
  run(-31552, 21056);
  // Now adaptive with old ratios -3568 and 1337: both subframes stay adaptive.
  // Subframe 1, doubled gap 680: x = 26250720 >> 16 = 400, gamma2 = (1024 - 400) * 32 = 19968.
  // Subframe 2, doubled gap 2000: x = 1178, (1024 - 1178) * 32 is negative: the floor 0.4.
  Weights w = run(-31552, 21056, 340, 1000);
  EXPECT_EQ(w.gamma1, (std::array<Word16, 2>{32113, 32113}));
  EXPECT_EQ(w.gamma2, (std::array<Word16, 2>{19968, 13107}));
  // A doubled gap below 2 gives x = 0: (1024 << 21) wraps negative in 32 bits and (1024 << 5)
  // wraps to -32768 in 16, so the floor 0.4 applies rather than the ceiling.
  w = run(-31552, 21056, 0, 0);
  EXPECT_EQ(w.gamma2, (std::array<Word16, 2>{13107, 13107}));
}

TEST(PercVar, FallsBackAboveTheLowerThreshold) {
  settle();
  run(-31552, 21056);
  // -30896 gives Lar -3116, which is not above -3116: still adaptive in both subframes.
  Weights w = run(-30896, 21056);
  EXPECT_EQ(w.gamma1, (std::array<Word16, 2>{32113, 32113}));
  // -30895 gives -3110; averaged with -3116 it is -3113, above -3116: fixed from subframe 1.
  w = run(-30895, 21056);
  EXPECT_EQ(w.gamma1, kFixed1);
  EXPECT_EQ(w.gamma2, kFixed2);
}

}  // namespace
