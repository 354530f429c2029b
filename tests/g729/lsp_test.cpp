// LSP conversion and quantization: tables, Az_lsp, the LSP/LSF conversions and the quantizer.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>

#include "g729_test_signals.h"
#include "kestrune/g729_basic_op.h"

using namespace g729test;

namespace {

using Vector = std::array<Word16, 10>;

// LSPs of the filter a[0..10], through A_t[11..21].
Vector lspOf(CoderState& state, const Word16 a[11]) {
  std::copy_n(a, 11, state.A_t + 11);
  Az_lsp(&state);
  return std::to_array(state.lsp_new);
}

TEST(AzLsp, KnownFiltersGiveTheirLsps) {
  // A(z) = 1: roots at pi k / 11, approached by interpolation between grid points.
  auto state = freshState();
  const Word16 flat[11] = {4096};
  const Vector lsp = lspOf(*state, flat);
  EXPECT_EQ(state->az_f1[0], 2048);  // 1.0 in Q11: no overflow
  for (int i = 0; i < 10; ++i) EXPECT_NEAR(lsp[i], 32768 * std::cos(M_PI * (i + 1) / 11), 2) << i;

  // A valid filter whose sum polynomial needs coefficients beyond 16: found in Q10, not Q11.
  const Word16 wide[10] = {26619, 10588, 7901, 299, -7725, -13382, -16013, -18924, -22541, -31530};
  Word16 a[11];
  Lsp_Az(wide, a);
  const Vector found = lspOf(*state, a);
  EXPECT_EQ(state->az_f1[0], 1024);  // 1.0 in Q10
  for (int i = 0; i < 10; ++i) EXPECT_NEAR(found[i], wide[i], 64) << i;
}

TEST(AzLsp, MissingRootsFallBackToThePreviousLsps) {
  // 1 + 7.8 z^-10 has its zeros outside the unit circle: F1 and F2 lose roots on it.
  auto state = freshState();
  const Word16 a[11] = {4096, 0, 0, 0, 0, 0, 0, 0, 0, 0, 32000};
  for (int i = 0; i < 10; ++i) state->lsp_old[i] = static_cast<Word16>(31000 - 6000 * i);
  const Vector lsp = lspOf(*state, a);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(lsp[i], 31000 - 6000 * i) << i;
}

TEST(LspAz, FilterIsTheRoundedHalfSumOfTheLspPolynomials) {
  // LSPs on multiples of 1/32 (an exact Q24 expansion); A = (F1 + F2) / 2, rounded to Q12.
  const Word16 lsp[10] = {27648, 23552, 20480, 17408, 5120, 0, -15360, -23552, -24576, -27648};
  double f[2][12] = {{1}, {1}};
  for (int i = 0; i < 10; ++i) {
    double* p = f[i % 2];
    for (int j = 11; j >= 1; --j) p[j] += -2.0 * lsp[i] / 32768 * p[j - 1] + (j > 1 ? p[j - 2] : 0);
  }
  for (int j = 11; j >= 1; --j) f[0][j] += f[0][j - 1], f[1][j] -= f[1][j - 1];
  Word16 a[11];
  Lsp_Az(lsp, a);
  for (int j = 0; j <= 10; ++j) EXPECT_EQ(a[j], std::floor((f[0][j] + f[1][j]) * 2048 + 0.5)) << j;
}

TEST(LspLsf, ConversionsInterpolateTheirTables) {
  // 4196 = 16 * 256 + 100: 23170 + floor(-1164 * 100 / 256); back: 16 * 256 + round(100.53).
  using Pair = std::array<Word16, 2>;
  const Pair lsf{4196, 15260}, lsp{22713, -32000};
  Pair out;
  Lsf_lsp(lsf.data(), out.data(), 2);
  EXPECT_EQ(out, (Pair{22715, -32001}));
  Lsp_lsf(lsp.data(), out.data(), 2);
  EXPECT_EQ(out, (Pair{4197, 15260}));
  // Q13 radians: 8192 * 20861 >> 15 = 20 * 256 + 95: 18205 + floor(-21741 * 95 / 4096).
  const Pair radians{8192, 18247}, cosines{17700, -20002};
  Lsf_lsp2(radians.data(), out.data(), 2);
  EXPECT_EQ(out, (Pair{17700, -19996}));
  Lsp_lsf2(cosines.data(), out.data(), 2);
  EXPECT_EQ(out, (Pair{8191, 18247}));
  const Word16 pi = 25736;  // past the last entry: clamped to it
  Lsf_lsp2(&pi, out.data(), 1);
  EXPECT_EQ(out[0], -32729);
}

TEST(GetWegt, WeightsCrowdedNeighboursAndTheMiddlePair) {
  // Sixth: d = -5192, d^2 = 3290 (Q13), 10 d^2 = 8225 (Q11), (8225 + 2048) * 1.2, doubled.
  const Word16 lsf[10] = {1500, 2500, 6000, 11000, 12500, 13500, 15500, 17500, 20000, 22000};
  Vector weights;
  Get_wegt(lsf, weights.data());
  EXPECT_EQ(weights, (Vector{31666, 12410, 4096, 5840, 28638, 24654, 14820, 12410, 12410, 16536}));
}

TEST(LspExpand, PushesApartPairsCloserThanTheGap) {
  // Half the shortfall below 10 each way, in order: (100, 104) to (97, 107), then (105, 114).
  const Vector buf{100, 104, 112, 300, 400, 402, 500, 600, 700, 707};
  Vector lower = buf, upper = buf, both = buf;
  Lsp_expand_1(lower.data(), 10);
  Lsp_expand_2(upper.data(), 10);
  Lsp_expand_1_2(both.data(), 10);
  EXPECT_EQ(lower, (Vector{97, 105, 114, 300, 400, 402, 500, 600, 700, 707}));
  EXPECT_EQ(upper, (Vector{100, 104, 112, 300, 396, 406, 500, 600, 699, 708}));
  EXPECT_EQ(both, (Vector{97, 105, 114, 300, 396, 406, 500, 600, 699, 708}));
}

// The LSF quantizer from its definition, in double precision, both MA predictors tried.
struct Quantized {
  Word16 code[2];
  Vector lsf;     // composed through the predictor, truncated to Q13
  Vector vector;  // codebook sum after rearrangement: the predictor's next input
};

Quantized quantizeByDefinition(const Vector& lsf, const Word16 memory[4][10]) {
  const auto square = [](double x) { return x * x; };
  double w[10];
  for (int i = 0; i < 10; ++i) {
    const double below = i == 0 ? 0.04 * M_PI : lsf[i - 1] / 8192.0;
    const double above = i == 9 ? 0.92 * M_PI : lsf[i + 1] / 8192.0;
    const double d = above - below - 1;
    w[i] = (d > 0 ? 1 : 10 * d * d + 1) * (i == 4 || i == 5 ? 1.2 : 1);
  }
  Quantized best{};
  double bestError = INFINITY;
  for (int mode = 0; mode < 2; ++mode) {
    double target[10];
    for (int j = 0; j < 10; ++j) {
      double predicted = 0;
      for (int k = 0; k < 4; ++k) predicted += fg[mode][k][j] / 32768.0 * memory[k][j];
      target[j] = (lsf[j] - predicted) / (fg_sum[mode][j] / 32768.0);
    }
    // The entry of book nearest to target - base over elements [from, to).
    const auto search = [&](const Word16(*book)[10], int entries, const Word16* base, bool weighted,
                            int from, int to) {
      int index = 0;
      double least = INFINITY;
      for (int i = 0; i < entries; ++i) {
        double d = 0;
        for (int j = from; j < to; ++j) {
          d += (weighted ? w[j] : 1) * square(target[j] - base[j] - book[i][j]);
        }
        if (d < least) least = d, index = i;
      }
      return index;
    };
    const Word16 zero[10] = {};
    const int first = search(lspcb1, 128, zero, false, 0, 10);
    const int lower = search(lspcb2, 32, lspcb1[first], true, 0, 5);
    const int upper = search(lspcb2, 32, lspcb1[first], true, 5, 10);
    Vector q;
    for (int j = 0; j < 10; ++j) q[j] = lspcb1[first][j] + lspcb2[j < 5 ? lower : upper][j];
    for (int gap : {10, 5}) {
      for (int j = 1; j < 10; ++j) {
        const int shortfall = q[j - 1] + gap - q[j];
        if (shortfall > 0) q[j - 1] -= shortfall / 2, q[j] += shortfall / 2;
      }
    }
    double error = 0;
    for (int j = 0; j < 10; ++j)
      error += w[j] * square(fg_sum[mode][j] / 32768.0 * (q[j] - target[j]));
    if (error >= bestError) continue;  // a tie keeps the first predictor
    bestError = error;
    best = {
        {static_cast<Word16>(mode << 7 | first), static_cast<Word16>(lower << 5 | upper)}, {}, q};
    for (int j = 0; j < 10; ++j) {
      int sum = q[j] * fg_sum[mode][j];
      for (int k = 0; k < 4; ++k) sum += memory[k][j] * fg[mode][k][j];
      best.lsf[j] = static_cast<Word16>(sum >> 15);
    }
  }
  return best;
}

TEST(QuaLsp, IndicesAndVectorsFollowTheDefinitionOverTwoFrames) {
  // Two speech frames, every decision clear by 9%; the second (9178, 9432) is rearranged.
  const Vector frames[2] = {{2389, 4768, 7059, 9557, 11253, 14306, 16421, 18518, 21137, 22980},
                            {2404, 3297, 4702, 9178, 9432, 13373, 15079, 18325, 21260, 22398}};
  Word16 memory[4][10], expectedMemory[4][10];
  for (int k = 0; k < 4; ++k) std::copy_n(freq_prev_reset, 10, memory[k]);
  std::copy_n(&memory[0][0], 40, &expectedMemory[0][0]);
  for (const Vector& input : frames) {
    Vector lsp, lsf, lspQ, expectedLspQ;
    Lsf_lsp2(input.data(), lsp.data(), 10);
    Lsp_lsf2(lsp.data(), lsf.data(), 10);  // what the quantizer sees
    const Quantized expected = quantizeByDefinition(lsf, expectedMemory);
    Word16 ana[2];
    Qua_lsp(lsp.data(), lspQ.data(), ana, memory);
    EXPECT_EQ(ana[0], expected.code[0]);
    EXPECT_EQ(ana[1], expected.code[1]);
    Lsf_lsp2(expected.lsf.data(), expectedLspQ.data(), 10);
    EXPECT_EQ(lspQ, expectedLspQ);
    std::copy_backward(expectedMemory[0], expectedMemory[3], expectedMemory[0] + 40);
    std::copy_n(expected.vector.data(), 10, expectedMemory[0]);
    EXPECT_TRUE(std::equal(memory[0], memory[0] + 40, expectedMemory[0]));
  }
}

// The standard's Chebyshev evaluation, step by step on the operators.
Word16 chebpsByOperators(Word16 x, const Word16 f[6], int q) {
  Word16 b2_h = static_cast<Word16>(1 << (q - 3)), b2_l = 0, b1_h, b1_l;
  L_Extract(L_mac(L_mult(x, static_cast<Word16>(1 << (q - 2))), f[1], 4096), &b1_h, &b1_l);
  for (int i = 2; i < 5; ++i) {
    Word32 t0 = L_shl(Mpy_32_16(b1_h, b1_l, x), 1);
    t0 = L_mac(L_msu(L_mac(t0, b2_h, -32768), b2_l, 1), f[i], 4096);
    b2_h = b1_h;
    b2_l = b1_l;
    L_Extract(t0, &b1_h, &b1_l);
  }
  Word32 t0 = L_msu(L_mac(Mpy_32_16(b1_h, b1_l, x), b2_h, -32768), b2_l, 1);
  t0 = L_mac(t0, f[5], 2048);
  return extract_h(L_shl(t0, static_cast<Word16>(30 - (q + 13))));
}

TEST(Chebps, MatchesTheOperatorsAndTheirFlagUpToClippingSums) {
  // Coefficients of speech filters, then ones whose sums clip in the recursion.
  std::mt19937 rng{729};
  std::uniform_int_distribution<int> point(-32768, 32767);
  for (const int scale : {3000, 12000, 32767}) {
    std::uniform_int_distribution<int> coefficient(-scale, scale);
    for (int trial = 0; trial < 3000; ++trial) {
      Word16 f[6] = {2048};
      for (int i = 1; i < 6; ++i) f[i] = static_cast<Word16>(coefficient(rng));
      const auto x = static_cast<Word16>(point(rng));
      for (const int q : {11, 10}) {
        Overflow = 0;
        const Word16 expected = chebpsByOperators(x, f, q);
        const Flag expectedOverflow = Overflow;
        Overflow = 0;
        ASSERT_EQ((q == 11 ? Chebps_11 : Chebps_10)(x, f, 5), expected) << scale << ":" << trial;
        ASSERT_EQ(Overflow, expectedOverflow) << scale << ":" << trial;
      }
    }
  }
}

TEST(LspStability, RepairsOrderSpacingAndEndsWithWarnings) {
  Vector buf{20, 2400, 1900, 4000, 4100, 8000, 10000, 14000, 20000, 26000};
  ::testing::internal::CaptureStdout();
  Lsp_stability(buf.data());
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "lsp_stability warning Low\nlsp_stability warning High\n");
  // Ends clamped, the swapped pair reordered, 4100 pushed to the gap of 321 above 4000.
  const Vector repaired{40, 1900, 2400, 4000, 4321, 8000, 10000, 14000, 20000, 25681};
  EXPECT_EQ(buf, repaired);
  // Ends and gap exactly at their limits pass a second time unchanged, silently.
  ::testing::internal::CaptureStdout();
  Lsp_stability(buf.data());
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(buf, repaired);
}

}  // namespace
