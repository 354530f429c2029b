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
      {20799, 1299},   {-20799, -1299},  // c itself
      {20800, 1301},                     // (1300 * 4567 + 130946171) >> 11 = 66837
      {29055, 2449},                     // (1815 * 4567 + 130946171) >> 11 = 67985
      {29056, 2454},                     // (1816 * 11776 + 117859942) >> 11 = 67990
      {31119, 3190},                     // (1944 * 11776 + 117859942) >> 11 = 68726
      {31120, 3207},                     // (1945 * 27443 + 87409295) >> 11 = 68743
      {-32768, -4587},                   // |rc| = 32768, c = 2048: 70123
  };
  for (const auto& c : cases) EXPECT_EQ(log_area_ratio(c.rc), c.lar) << c.rc;
}

using Pair = std::array<Word16, 2>;
constexpr Pair kFixed1{30802, 30802}, kFixed2{19661, 19661};

TEST(PercVar, HysteresisAndGamma2FromTheNarrowestGap) {
  // LSFs 1000, ..., 9000, 9000 + gap; ratios (Q11) -31552: -3568, -31551: -3555, -30896:
  // -3116, -30895: -3110, 21056: 1337, 21055: 1334; subframe 1 averages with the last frame.
  const struct {
    Word16 rc0, rc1, gapInt, gapNew;
    Pair gamma1, gamma2;
  } frames[] = {
      // Zero ratios: fixed factors whatever came before, old ratios 0.
      {0, 0, 100, 100, {0, 30802}, {0, 19661}},
      // Adaptive needs ratio 0 <= -3563 and ratio 1 >= 1337.
      {-31551, 21056, 100, 100, kFixed1, kFixed2},
      {0, 0, 100, 100, kFixed1, kFixed2},
      {-31552, 21055, 100, 100, kFixed1, kFixed2},
      {0, 0, 100, 100, kFixed1, kFixed2},
      // Subframe 1 averages to -1784; gap 200: x = 200 * 38604 >> 16 = 117, gamma2 capped 0.7.
      {-31552, 21056, 100, 100, {30802, 32113}, {19661, 22938}},
      // Gap 680: x = 400, (1024 - 400) * 32; gap 2000: x = 1178, negative, the floor 0.4.
      {-31552, 21056, 340, 1000, {32113, 32113}, {19968, 13107}},
      // Gap 0: 1024 << 21 wraps negative, so the floor applies rather than the ceiling.
      {-31552, 21056, 0, 0, {32113, 32113}, {13107, 13107}},
      // Back to fixed only above -3116: -3116 stays, -3110 (averaged -3113) falls.
      {-30896, 21056, 100, 100, {32113, 32113}, {22938, 22938}},
      {-30895, 21056, 100, 100, kFixed1, kFixed2},
  };
  for (size_t f = 0; f < std::size(frames); ++f) {
    const auto& frame = frames[f];
    Word16 rc[10] = {frame.rc0, frame.rc1};
    std::array<Word16, 10> lsf[2];
    for (int k = 0; k < 2; ++k) {
      for (int i = 0; i < 9; ++i) lsf[k][i] = static_cast<Word16>(1000 * (i + 1));
      lsf[k][9] = static_cast<Word16>(9000 + (k == 0 ? frame.gapInt : frame.gapNew));
    }
    Pair gamma1, gamma2;
    Word16 unused[3] = {};
    perc_var(gamma1.data(), gamma2.data(), lsf[0].data(), lsf[1].data(), rc, unused, unused + 2);
    EXPECT_EQ(lsf[1][9], 2 * (9000 + frame.gapNew)) << "LSFs are doubled in place";
    if (f == 0) {  // the first subframe depends on what ran before this test
      EXPECT_EQ(gamma1[1], frame.gamma1[1]);
      EXPECT_EQ(gamma2[1], frame.gamma2[1]);
      continue;
    }
    EXPECT_EQ(gamma1, frame.gamma1) << "frame " << f;
    EXPECT_EQ(gamma2, frame.gamma2) << "frame " << f;
  }
}

}  // namespace
