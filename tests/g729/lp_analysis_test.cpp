// LP analysis: the Q26 division, windowing and scaling, the recursion and its stability rule.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>

#include "g729/lpc_analysis.h"
#include "g729_test_signals.h"

using namespace g729test;

namespace {

constexpr Word32 kOneQ26 = 1 << 26;

TEST(LpcDiv, RestoringDivisionForEveryDivisor) {
  // 26 restoring steps on |a|, negated for a > 0, b = 0 as 1, all in wrapping 32 bits.
  auto restoring = [](Word32 a, Word32 b) {
    const uint32_t d = b == 0 ? 1u : static_cast<uint32_t>(b);
    const uint32_t m = a < 0 ? 0u - static_cast<uint32_t>(a) : static_cast<uint32_t>(a);
    uint32_t q = m / d, r = m % d;
    for (int step = 0; step < 26; ++step) {
      r <<= 1;
      q <<= 1;
      if (r >= d) {
        q |= 1u;
        r -= d;
      }
    }
    return a >= 1 ? static_cast<Word32>(0u - q) : static_cast<Word32>(q);
  };
  EXPECT_EQ(restoring(1, 3), -22369621);  // the model itself, worked by hand
  EXPECT_EQ(restoring(-63, 1), -kOneQ26);
  const Word32 edges[][2] = {{100, 200}, {-100, 200}, {0, 7},  {INT32_MIN, 1 << 30},
                             {5, 0},     {-64, 1},    {-63, 1}};
  for (const auto& [a, b] : edges) EXPECT_EQ(lpc_div(a, b), restoring(a, b)) << a << "/" << b;
  std::mt19937 rng{729};
  std::uniform_int_distribution<Word32> any(INT32_MIN, INT32_MAX);
  std::uniform_int_distribution<int> shift(0, 31);
  for (int trial = 0; trial < 20000; ++trial) {
    const Word32 a = any(rng) >> shift(rng);
    const Word32 b = trial % 4 == 0 ? INT32_MIN + trial : any(rng) >> shift(rng);
    ASSERT_EQ(lpc_div(a, b), restoring(a, b)) << a << "/" << b;
  }
}

TEST(LpAnalysis, ImpulsesAreWindowedScaledAndCorrelated) {
  // Silence; a 1 at the window's peak, doubled 14 times; a pair there, halved: rc 0.49938.
  const struct {
    Word16 x199, x200;
    Word32 r0, r1;
    Word16 rc0;
  } cases[] = {{0, 0, 1, 0, 0},
               {1, 0, (1 << 28) + 1, 0, 0},
               {32767, -32768, 1 + 16383 * 16383 + 16384 * 16384,
                static_cast<Word32>((16364 * (1 - 16383 * int64_t{16384})) >> 14), 16363}};
  for (const auto& c : cases) {
    auto state = freshState();
    std::fill_n(state->p_window, 240, Word16{0});
    state->p_window[199] = c.x199;
    state->p_window[200] = c.x200;
    Forwad_linearPrediction(state.get());
    EXPECT_EQ(state->lp_autocorr[0], c.r0);
    EXPECT_EQ(state->lp_autocorr[1], c.r1);
    EXPECT_TRUE(std::all_of(state->lp_autocorr + 2, state->lp_autocorr + 13,
                            [](Word32 r) { return r == 0; }));
    EXPECT_EQ(state->rc[0], c.rc0);
    const Word16 flat[11] = {4096};
    EXPECT_EQ(std::equal(flat, flat + 11, state->A_t + 11), c.r1 == 0);
  }
}

// No window yields a reflection coefficient above +1, so the recursion is driven directly.
TEST(LpAnalysis, RecursionSolvesAThirdOrderModelAndTestsOnlyTheUpperSide) {
  // The autocorrelation of 1 - 3/8 z^-2 - 1/2 z^-3 (reflection coefficients -1/2), exact in Q26.
  auto state = freshState();
  double rho[11] = {1, 0.5, 0.625, 0.6875};
  for (int k = 4; k <= 10; ++k) rho[k] = 0.375 * rho[k - 2] + 0.5 * rho[k - 3];
  for (int k = 0; k <= 10; ++k) state->lp_autocorr[k] = static_cast<Word32>(rho[k] * (1 << 24));
  lp_recursion_q26(state.get());
  const Word32 pred[11] = {kOneQ26, 0, -3 * kOneQ26 / 8, -kOneQ26 / 2};
  EXPECT_TRUE(std::equal(pred, pred + 11, state->lp_pred));
  const Word16 filter[11] = {4096, 0, -1536, -2048}, rc[10] = {-16384, -16384, -16384};
  EXPECT_TRUE(std::equal(filter, filter + 11, state->A_t + 11));
  EXPECT_TRUE(std::equal(rc, rc + 10, state->rc));

  const auto runRecursion = [&](Word32 r0, Word32 r2) {
    std::fill_n(state->lp_autocorr, 13, 0);
    state->lp_autocorr[0] = r0;
    state->lp_autocorr[2] = r2;  // with r1 = 0, k2 = -r2 / r0
    lp_recursion_q26(state.get());
  };
  // k2 = 1 + 2^-20: the previous filter and pair stay; the predictor takes 4096, 0, ....
  runRecursion(1 << 20, -(1 << 20) - 1);
  EXPECT_TRUE(std::equal(filter, filter + 11, state->A_t + 11));
  EXPECT_TRUE(std::equal(rc, rc + 2, state->rc));
  const Word32 fallback[11] = {4096};
  EXPECT_TRUE(std::equal(fallback, fallback + 11, state->lp_pred));

  runRecursion(1 << 20, -(1 << 20));  // exactly one is accepted
  EXPECT_EQ(state->A_t[11 + 2], 4096);
  EXPECT_EQ(state->lp_rc_saved[1], state->rc[1]);

  runRecursion(6827, -1);  // k2 = 2^26 / 6827 = 9829, 0.6 in Q12, rounds to 1
  EXPECT_EQ(state->A_t[11 + 2], 1);
  runRecursion(1000, 1500);  // k2 = -1.5 is not caught
  EXPECT_EQ(state->lp_pred[2], -3 * (kOneQ26 / 2));
  EXPECT_EQ(state->A_t[11 + 2], -6144);
  EXPECT_EQ(state->rc[1], static_cast<Word16>(-49152));  // -1.5 in Q15 wraps in 16 bits
  EXPECT_EQ(state->lp_rc_saved[0], 0);
  EXPECT_EQ(state->lp_rc_saved[1], state->rc[1]);
}

}  // namespace
