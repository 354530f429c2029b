// LP analysis: the Q26 division, windowing and scaling, the recursion and its stability rule.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <random>

#include "g729/lpc_analysis.h"
#include "g729_test_signals.h"

using namespace g729test;

namespace {

constexpr Word32 kOneQ26 = 1 << 26;

TEST(LpcDiv, QuotientsAtTheEdges) {
  const Word32 cases[][3] = {
      // Signs, truncated quotients and a zero divisor, which counts as 1.
      {100, 200, -(1 << 25)},
      {-100, 200, 1 << 25},
      {0, 7, 0},
      {1, 3, -22369621},
      {1234567891, 98765432, -838860793},
      {INT32_MIN, 1 << 30, 2 * kOneQ26},
      {5, 0, -5 * kOneQ26},
      // The quotient keeps 32 bits: 64 * 2^26 = 2^32 leaves nothing, 63 * 2^26 wraps to
      // -2^26 before the sign is applied.
      {-64, 1, 0},
      {-63, 1, -kOneQ26}};
  for (const auto& [a, b, quotient] : cases) EXPECT_EQ(lpc_div(a, b), quotient) << a << "/" << b;
}

TEST(LpcDiv, RestoringDivisionForEveryDivisor) {
  // The 26 steps of the restoring division; a divisor above 2^31 (a negative b) lets the
  // remainder's doubling wrap in 32 bits.
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
  std::mt19937 rng{729};
  std::uniform_int_distribution<Word32> any(INT32_MIN, INT32_MAX);
  std::uniform_int_distribution<int> shift(0, 31);
  for (int trial = 0; trial < 20000; ++trial) {
    const Word32 a = any(rng) >> shift(rng);
    const Word32 b = trial % 4 == 0 ? INT32_MIN + trial : any(rng) >> shift(rng);
    ASSERT_EQ(lpc_div(a, b), restoring(a, b)) << a << "/" << b;
  }
}

TEST(LpAnalysis, AllZeroWindowGivesTheFlatFilter) {
  auto state = freshState();
  const std::array<Word16, 240> silence{};
  analyse(*state, silence.data());
  // R[k] = 1 before the lag window, lag_windowf[k] >> 14 after it.
  for (int k = 0; k < 13; ++k) EXPECT_EQ(state->lp_autocorr[k], lag_windowf[k] >> 14) << k;
  const Word16 flat[11] = {4096};
  EXPECT_TRUE(std::equal(flat, flat + 11, state->A_t + 11));
  EXPECT_TRUE(std::all_of(state->rc, state->rc + 10, [](Word16 k) { return k == 0; }));
  EXPECT_EQ(state->lp_pred[0], kOneQ26);
}

TEST(LpAnalysis, SinesAreScaledIntoRangeAndMatchDoublePrecision) {
  // A loud tone is scaled down and a quiet one up, bringing the energy to [2^28, 2^30).
  const struct { double amplitude, hz; } tones[] = {{32767, 1000}, {200, 500}};
  for (const auto& tone : tones) {
    SCOPED_TRACE(tone.amplitude);
    auto state = freshState();
    std::array<Word16, 240> sine;
    for (int i = 0; i < 240; ++i) {
      sine[i] = static_cast<Word16>(
          std::lround(tone.amplitude * std::sin(2 * M_PI * tone.hz * i / 8000)));
    }
    analyse(*state, sine.data());
    EXPECT_GE(state->lp_autocorr[0], 1 << 28);
    EXPECT_LT(state->lp_autocorr[0], 1 << 30);
    const ReferenceLp ref = referenceLp(sine.data());
    EXPECT_EQ(state->A_t[11], 4096);
    for (int j = 1; j <= 10; ++j) EXPECT_NEAR(state->A_t[11 + j], ref.a[j] * 4096, 12) << j;
    for (int j = 0; j < 10; ++j) EXPECT_NEAR(state->rc[j], ref.rc[j] * 32768, 32) << j;
    // The first reflection coefficient of a tone is -cos(2 pi f / 8000), nearly.
    EXPECT_NEAR(state->rc[0], -std::cos(2 * M_PI * tone.hz / 8000) * 32768, 200);
  }
}

TEST(LpAnalysis, SpeechMatchesDoublePrecisionAnalysis) {
  const auto speech = loadSpeech8k();
  auto state = freshState();
  int compared = 0;
  for (size_t f = 0; 80 * f + 240 <= speech.size(); ++f) {
    const Word16* window = speech.data() + 80 * f;
    analyse(*state, window);
    ASSERT_EQ(state->A_t[11], 4096);
    // Below a few hundred the rounding of the windowed samples dominates the spectrum.
    const auto [low, high] = std::minmax_element(window, window + 240);
    if (std::max(-*low, int{*high}) < 1000) continue;
    const ReferenceLp ref = referenceLp(window);
    for (int j = 1; j <= 10; ++j) {
      ASSERT_NEAR(state->A_t[11 + j], ref.a[j] * 4096, 40) << "frame " << f << " a" << j;
    }
    ASSERT_NEAR(state->rc[0], ref.rc[0] * 32768, 40) << "frame " << f;
    ++compared;
  }
  EXPECT_GT(compared, 500);
}

// No 240-sample window yields a reflection coefficient above +1 (the lag-windowed
// autocorrelations stay positive definite up to order 9, and order 10 only overshoots on the
// negative side), so the stability rule is driven through the recursion on chosen lags.
TEST(LpAnalysis, StabilityRuleTestsOnlyTheUpperSide) {
  auto state = freshState();
  const auto speech = loadSpeech8k();
  analyse(*state, speech.data() + 80 * 100);  // a stable voiced frame
  Word16 stableFilter[11], stableRc[2];
  std::copy_n(state->A_t + 11, 11, stableFilter);
  std::copy_n(state->rc, 2, stableRc);
  ASSERT_EQ(state->lp_rc_saved[0], stableRc[0]);
  const auto runRecursion = [&](Word32 r0, Word32 r2) {
    std::fill_n(state->lp_autocorr, 13, 0);
    state->lp_autocorr[0] = r0;
    state->lp_autocorr[2] = r2;  // with r1 = 0, k2 = -r2 / r0
    lp_recursion_q26(state.get());
  };

  // Just above one, k2 = 1 + 2^-20 (2^26 + 64): the previous frame's filter and pair stay, and
  // the predictor takes the fallback filter as it is, 4096 included.
  runRecursion(1 << 20, -(1 << 20) - 1);
  EXPECT_TRUE(std::equal(stableFilter, stableFilter + 11, state->A_t + 11));
  EXPECT_TRUE(std::equal(stableRc, stableRc + 2, state->rc));
  const Word32 fallback[11] = {4096};
  EXPECT_TRUE(std::equal(fallback, fallback + 11, state->lp_pred));

  runRecursion(1 << 20, -(1 << 20));  // exactly one is accepted
  EXPECT_EQ(state->A_t[11 + 2], 4096);
  EXPECT_EQ(state->lp_rc_saved[1], state->rc[1]);

  runRecursion(1000, 1500);  // k2 = -1.5 is not caught
  EXPECT_EQ(state->lp_pred[2], -3 * (kOneQ26 / 2));
  EXPECT_EQ(state->A_t[11 + 2], -6144);
  EXPECT_EQ(state->rc[1], static_cast<Word16>(-49152));  // -1.5 in Q15 wraps in 16 bits
  EXPECT_EQ(state->lp_rc_saved[0], 0);
  EXPECT_EQ(state->lp_rc_saved[1], state->rc[1]);
}

}  // namespace
