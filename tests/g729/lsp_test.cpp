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

// LSPs of the filter a[0..10], through A_t[11..21].
void lspOf(CoderState& state, const Word16 a[11], Word16 lsp[10]) {
  std::copy_n(a, 11, state.A_t + 11);
  Az_lsp(&state);
  std::copy_n(state.lsp_new, 10, lsp);
}

bool strictlyDecreasing(const Word16* v) {
  return std::adjacent_find(v, v + 10, std::less_equal<Word16>()) == v + 10;
}

TEST(LspTables, StandardRelationsHold) {
  for (int mode = 0; mode < 2; ++mode) {
    for (int j = 0; j < 10; ++j) {
      int sum = fg_sum[mode][j];
      for (int k = 0; k < 4; ++k) sum += fg[mode][k][j];
      EXPECT_NEAR(sum, 32766.5, 1.5) << mode << "," << j;  // 1.0 in Q15, less the truncations
      EXPECT_NEAR(fg_sum_inv[mode][j], 4096.0 * 32768.0 / fg_sum[mode][j], 3) << mode << "," << j;
    }
  }
  for (const auto& row : lspcb1) EXPECT_TRUE(std::is_sorted(std::begin(row), std::end(row)));
  for (int i = 0; i < 65; ++i) EXPECT_NEAR(table[i], 32768 * std::cos(M_PI * i / 64), 1) << i;
  EXPECT_TRUE(std::equal(table, table + 64, table2));
  for (int i = 1; i < 60; ++i) EXPECT_NEAR(grid[i], 32768 * std::cos(M_PI * i / 60), 1) << i;
  for (int i = 0; i < 10; ++i) EXPECT_NEAR(freq_prev_reset[i], 8192 * M_PI * (i + 1) / 11, 1);
  // The analysis window: a Hamming half over 200 samples, then a quarter cosine.
  for (int n = 0; n < 240; ++n) {
    const double w =
        n < 200 ? 0.54 - 0.46 * std::cos(2 * M_PI * n / 399) : std::cos(2 * M_PI * (n - 200) / 159);
    EXPECT_NEAR(hamwindow[n], std::min(32767.0, 32768 * w), 1.5) << n;
  }
}

TEST(AzLsp, KnownFiltersGiveTheirLsps) {
  // A(z) = 1: F1 = 1 + z^-11 and F2 = 1 - z^-11, whose roots sit at pi k / 11.
  auto state = freshState();
  const Word16 flat[11] = {4096};
  Word16 lsp[10], lsf[10], back[11];
  lspOf(*state, flat, lsp);
  EXPECT_EQ(state->az_f1[0], 2048);  // 1.0 in Q11: no overflow
  for (int i = 0; i < 10; ++i) EXPECT_NEAR(lsp[i], 32768 * std::cos(M_PI * (i + 1) / 11), 2) << i;
  // In the quantizer's domain these are the predictor's reset vector.
  Lsp_lsf2(lsp, lsf, 10);
  for (int i = 0; i < 10; ++i) EXPECT_NEAR(lsf[i], freq_prev_reset[i], 8) << i;
  Lsp_Az(lsp, back);
  for (int j = 0; j < 11; ++j) EXPECT_NEAR(back[j], flat[j], 1) << j;

  // The initial LSPs survive the round trip through their filter.
  Lsp_Az(lsp_old_tab, back);
  EXPECT_EQ(back[0], 4096);
  lspOf(*state, back, lsp);
  for (int i = 0; i < 10; ++i) EXPECT_NEAR(lsp[i], lsp_old_tab[i], 8) << i;

  // A valid filter (every coefficient below 8) whose sum polynomial has coefficients beyond
  // 16, which Q11 cannot hold; the roots are still found in Q10.
  const Word16 wide[10] = {26619, 10588, 7901, 299, -7725, -13382, -16013, -18924, -22541, -31530};
  Lsp_Az(wide, back);
  lspOf(*state, back, lsp);
  EXPECT_EQ(state->az_f1[0], 1024);  // 1.0 in Q10
  for (int i = 0; i < 10; ++i) EXPECT_NEAR(lsp[i], wide[i], 64) << i;
}

TEST(AzLsp, MissingRootsFallBackToThePreviousLsps) {
  // 1 + 7.8 z^-10 has its zeros outside the unit circle: F1 and F2 lose roots on it.
  auto state = freshState();
  const Word16 a[11] = {4096, 0, 0, 0, 0, 0, 0, 0, 0, 0, 32000};
  for (int i = 0; i < 10; ++i) state->lsp_old[i] = static_cast<Word16>(31000 - 6000 * i);
  Word16 lsp[10];
  lspOf(*state, a, lsp);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(lsp[i], 31000 - 6000 * i) << i;
}

TEST(LspLsf, ConversionsFollowCosineAndArccosine) {
  // Away from the ends, where acos is steep and the table coarse.
  for (double w = 0.3; w < M_PI - 0.3; w += 0.05) {
    const Word16 lsp[1] = {static_cast<Word16>(std::lround(32768 * std::cos(w)))};
    Word16 lsf[1], back[1];
    Lsp_lsf(lsp, lsf, 1);  // normalised frequency w / (2 pi), Q15
    EXPECT_NEAR(lsf[0], 32768 * w / (2 * M_PI), 8) << w;
    Lsf_lsp(lsf, back, 1);
    EXPECT_NEAR(back[0], lsp[0], 8) << w;
  }
}

TEST(QuaLsp, SpeechConvertsBackAndQuantizesCloseOrderedAndInRange) {
  const auto speech = loadSpeech8k();
  auto state = freshState();
  double totalError = 0;
  int count = 0;
  for (size_t f = 0; 80 * f + 240 <= speech.size(); ++f) {
    analyse(*state, speech.data() + 80 * f);
    Az_lsp(state.get());
    ASSERT_TRUE(strictlyDecreasing(state->lsp_new)) << "frame " << f;
    Word16 back[11];  // the LSPs give back the filter
    Lsp_Az(state->lsp_new, back);
    for (int j = 0; j < 11; ++j) ASSERT_NEAR(back[j], state->A_t[11 + j], 4) << f << "," << j;

    Word16 before[4][10], ana[2];
    std::copy_n(&state->freq_prev[0][0], 40, &before[0][0]);
    Qua_lsp(state->lsp_new, state->lsp_new_q, ana, state->freq_prev);
    ASSERT_TRUE(std::equal(before[0], before[0] + 30, state->freq_prev[1]));  // memory shifted
    ASSERT_TRUE(ana[0] >= 0 && ana[0] < 256 && ana[1] >= 0 && ana[1] < 1024)
        << ana[0] << "," << ana[1];
    ASSERT_TRUE(strictlyDecreasing(state->lsp_new_q)) << "frame " << f;

    // The indices alone rebuild the same vector from the previous predictor memory.
    Word16 lsfQ[10], rebuilt[10];
    const int mode = ana[0] >> 7;
    Lsp_get_quant(lspcb1, lspcb2, ana[0] & 127, ana[1] >> 5, ana[1] & 31, fg[mode], before, lsfQ,
                  fg_sum[mode]);
    Lsf_lsp2(lsfQ, rebuilt, 10);
    ASSERT_TRUE(std::equal(rebuilt, rebuilt + 10, state->lsp_new_q)) << "frame " << f;
    ASSERT_TRUE(std::equal(&before[0][0], &before[0][0] + 40, &state->freq_prev[0][0]));

    Word16 lsf[10], lsfQuantized[10];
    Lsp_lsf2(state->lsp_new, lsf, 10);
    Lsp_lsf2(state->lsp_new_q, lsfQuantized, 10);
    for (int i = 0; i < 10; ++i) totalError += std::abs(lsf[i] - lsfQuantized[i]);
    count += 10;
    std::copy_n(state->lsp_new, 10, state->lsp_old);
  }
  // About 0.03 rad on average (Q13), a few tens of hertz.
  EXPECT_LT(totalError / count, 300);
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

TEST(LspPreSelect, MatchesTheOperatorsAndTheirFlag) {
  // Targets near the codebook, and far below it, where sub() clips.
  std::mt19937 rng{729};
  for (const int low : {0, -32768}) {
    std::uniform_int_distribution<int> target(low, 26000);
    for (int trial = 0; trial < 500; ++trial) {
      Word16 rbuf[10];
      for (auto& v : rbuf) v = static_cast<Word16>(target(rng));
      Overflow = 0;
      Word16 expected = 0;
      Word32 dmin = INT32_MAX;
      for (Word16 i = 0; i < 128; ++i) {
        Word32 dist = 0;
        for (int j = 0; j < 10; ++j) {
          const Word16 tmp = sub(rbuf[j], lspcb1[i][j]);
          dist = L_mac(dist, tmp, tmp);
        }
        if (L_sub(dist, dmin) < 0) {
          dmin = dist;
          expected = i;
        }
      }
      const Flag expectedOverflow = Overflow;
      Overflow = 0;
      Word16 cand;
      Lsp_pre_select(rbuf, lspcb1, &cand);
      ASSERT_EQ(cand, expected) << low << ":" << trial;
      ASSERT_EQ(Overflow, expectedOverflow) << low << ":" << trial;
    }
  }
}

TEST(LspStability, RepairsOrderSpacingAndEndsWithWarnings) {
  Word16 buf[10] = {20, 2400, 1900, 4000, 4100, 8000, 10000, 14000, 20000, 26000};
  ::testing::internal::CaptureStdout();
  Lsp_stability(buf);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "lsp_stability warning Low\nlsp_stability warning High\n");
  // The ends are clamped, the swapped pair put back in order, and 4100, closer than the
  // minimum gap of 321 to 4000, pushed up.
  EXPECT_EQ(std::to_array(buf),
            (std::array<Word16, 10>{40, 1900, 2400, 4000, 4321, 8000, 10000, 14000, 20000, 25681}));

  // A well-spaced vector is left alone, silently.
  const Word16 spaced[10] = {1000, 3000, 5000, 7000, 9000, 11000, 13000, 15000, 17000, 19000};
  std::copy_n(spaced, 10, buf);
  ::testing::internal::CaptureStdout();
  Lsp_stability(buf);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(std::to_array(buf), std::to_array(spaced));
}

}  // namespace
