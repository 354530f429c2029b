// LP analysis: the Q26 division, windowing and scaling, the recursion and its stability rule.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <random>

#include "g729/lpc_analysis.h"
#include "g729/tab_ld8k.h"
#include "g729_test_signals.h"
#include "kestrune/g729_coder.h"

using namespace g729test;

namespace {

constexpr Word32 kOneQ26 = 1 << 26;

// A record initialised by g729_coder_init, on the heap (it is several kilobytes).
std::unique_ptr<CoderState> freshState() {
  auto state = std::make_unique<CoderState>();
  g729_coder_init(state.get(), 1200);
  return state;
}

}  // namespace

TEST(LpcDiv, DocumentedQuotients) {
  EXPECT_EQ(lpc_div(100, 200), -(1 << 25));
  EXPECT_EQ(lpc_div(-100, 200), 1 << 25);
  EXPECT_EQ(lpc_div(0, 7), 0);
  EXPECT_EQ(lpc_div(5, 0), -5 * kOneQ26);  // a zero divisor counts as 1
  EXPECT_EQ(lpc_div(1, 3), -22369621);     // floor(2^26 / 3), truncated
  EXPECT_EQ(lpc_div(INT32_MIN, 1 << 30), 2 * kOneQ26);
}

TEST(LpcDiv, QuotientKeepsOnlyThirtyTwoBits) {
  // 64 * 2^26 = 2^32 leaves nothing; 63 * 2^26 wraps to -2^26 before the sign is applied.
  EXPECT_EQ(lpc_div(-64, 1), 0);
  EXPECT_EQ(lpc_div(-63, 1), -kOneQ26);
}

TEST(LpcDiv, MatchesExactDivisionWhileTheQuotientFits) {
  std::mt19937 rng(729);
  std::uniform_int_distribution<Word32> divisors(1, INT32_MAX);
  for (int n = 0; n < 20000; ++n) {
    const Word32 b = std::max<Word32>(divisors(rng) >> (rng() % 31), 1);
    const int64_t limit = std::min<int64_t>(int64_t{b} * 64 - 1, INT32_MAX);
    const Word32 a =
        static_cast<Word32>(std::uniform_int_distribution<int64_t>(-limit, limit)(rng));
    const int64_t magnitude = (std::llabs(int64_t{a}) << 26) / b;
    const int64_t expected = a >= 1 ? -magnitude : magnitude;
    ASSERT_EQ(int64_t{lpc_div(a, b)}, static_cast<Word32>(static_cast<uint32_t>(expected)))
        << a << " / " << b;
  }
}

TEST(LpAnalysis, AllZeroWindowGivesTheFlatFilter) {
  auto state = freshState();
  const std::array<Word16, 240> silence{};
  analyse(*state, silence.data());

  // R[k] = 1 before the lag window, lag_windowf[k] >> 14 after it.
  for (int k = 0; k < 13; ++k) EXPECT_EQ(state->lp_autocorr[k], lag_windowf[k] >> 14) << k;
  EXPECT_EQ(state->A_t[11], 4096);
  for (int j = 1; j <= 10; ++j) EXPECT_EQ(state->A_t[11 + j], 0) << j;
  for (int j = 0; j < 10; ++j) EXPECT_EQ(state->rc[j], 0) << j;
  EXPECT_EQ(state->lp_pred[0], kOneQ26);
}

TEST(LpAnalysis, LoudSineIsScaledDownAndMatchesDoublePrecision) {
  auto state = freshState();
  const auto sine = sineWindow(32767, 1000);
  analyse(*state, sine.data());

  // Block scaling brings the energy into [2^28, 2^30) without overflowing.
  EXPECT_GE(state->lp_autocorr[0], 1 << 28);
  EXPECT_LT(state->lp_autocorr[0], 1 << 30);

  const ReferenceLp ref = referenceLp(sine.data());
  EXPECT_EQ(state->A_t[11], 4096);
  for (int j = 1; j <= 10; ++j) EXPECT_NEAR(state->A_t[11 + j], ref.a[j] * 4096, 12) << j;
  for (int j = 0; j < 10; ++j) EXPECT_NEAR(state->rc[j], ref.rc[j] * 32768, 32) << j;
  // A 1 kHz tone: the first reflection coefficient is -cos(2 pi 1000 / 8000), nearly.
  EXPECT_NEAR(state->rc[0], -0.7071 * 32768, 200);
}

TEST(LpAnalysis, QuietSignalIsScaledUp) {
  auto state = freshState();
  const auto sine = sineWindow(200, 500);
  analyse(*state, sine.data());
  EXPECT_GE(state->lp_autocorr[0], 1 << 28);
  const ReferenceLp ref = referenceLp(sine.data());
  EXPECT_NEAR(state->rc[0], ref.rc[0] * 32768, 64);
}

TEST(LpAnalysis, SpeechMatchesDoublePrecisionAnalysis) {
  const auto speech = loadSpeech8k();
  ASSERT_GT(speech.size(), 8000u);
  auto state = freshState();
  int compared = 0;
  for (int f = 0; f < windowCount(speech); ++f) {
    const Word16* window = speech.data() + 80 * f;
    analyse(*state, window);
    ASSERT_EQ(state->A_t[11], 4096);
    // Below a few hundred the rounding of the windowed samples dominates the spectrum.
    const int peak = std::abs(*std::max_element(
        window, window + 240, [](Word16 a, Word16 b) { return std::abs(a) < std::abs(b); }));
    if (peak < 1000) continue;
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
class LpStabilityRule : public ::testing::Test {
 protected:
  void SetUp() override {
    state_ = freshState();
    const auto speech = loadSpeech8k();
    analyse(*state_, speech.data() + 80 * 100);  // a stable voiced frame
    std::copy_n(state_->A_t + 11, 11, stableFilter_);
    stableRc_[0] = state_->rc[0];
    stableRc_[1] = state_->rc[1];
    ASSERT_EQ(state_->lp_rc_saved[0], stableRc_[0]);
  }

  void runRecursion(Word32 r0, Word32 r2) {
    std::fill_n(state_->lp_autocorr, 13, 0);
    state_->lp_autocorr[0] = r0;
    state_->lp_autocorr[2] = r2;  // with r1 = 0, k2 = -r2 / r0
    lp_recursion_q26(state_.get());
  }

  std::unique_ptr<CoderState> state_;
  Word16 stableFilter_[11];
  Word16 stableRc_[2];
};

TEST_F(LpStabilityRule, CoefficientJustAboveOneKeepsThePreviousFrame) {
  runRecursion(1 << 20, -(1 << 20) - 1);  // k2 = 1 + 2^-20, i.e. 2^26 + 64

  for (int j = 0; j < 11; ++j) EXPECT_EQ(state_->A_t[11 + j], stableFilter_[j]) << j;
  EXPECT_EQ(state_->rc[0], stableRc_[0]);
  EXPECT_EQ(state_->rc[1], stableRc_[1]);
  // The predictor takes the fallback filter as it is, 4096 included.
  EXPECT_EQ(state_->lp_pred[0], 4096);
  for (int j = 1; j <= 10; ++j) EXPECT_EQ(state_->lp_pred[j], 0) << j;
}

TEST_F(LpStabilityRule, CoefficientOfExactlyOneIsAccepted) {
  runRecursion(1 << 20, -(1 << 20));  // k2 = 2^26
  EXPECT_EQ(state_->A_t[11 + 2], 4096);
  EXPECT_EQ(state_->lp_rc_saved[1], state_->rc[1]);
}

TEST_F(LpStabilityRule, CoefficientBelowMinusOneIsNotCaught) {
  runRecursion(1000, 1500);  // k2 = -1.5
  EXPECT_EQ(state_->lp_pred[2], -3 * (kOneQ26 / 2));
  EXPECT_EQ(state_->A_t[11 + 2], -6144);
  EXPECT_EQ(state_->rc[1], static_cast<Word16>(-49152));  // -1.5 in Q15 wraps in 16 bits
  EXPECT_EQ(state_->lp_rc_saved[0], 0);
  EXPECT_EQ(state_->lp_rc_saved[1], state_->rc[1]);
}
