// Pitch analysis: the delay searches and their tie rules, the delay index, the
// adaptive-codebook vector against a direct computation, the pitch gain and the parity bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "g729/tab_pitch.h"
#include "kestrune/g729.h"

namespace {

// Weighted speech: 143 past samples and an 80-sample frame.
struct WeightedSpeech {
  std::array<Word16, 223> samples{};
  Word16* frame() { return samples.data() + 143; }
};

// A voiced-like signal: one decaying 800 Hz burst every `period` samples.
WeightedSpeech pulseTrain(int period, double amplitude) {
  WeightedSpeech speech;
  for (int n = 0; n < 223; ++n) {
    const int k = n % period;
    speech.samples[n] =
        static_cast<Word16>(std::lround(amplitude * std::exp(-k / 8.0) * std::cos(0.2 * M_PI * k)));
  }
  return speech;
}

TEST(PitchOl, FindsThePeriodAtEveryScaleNotItsMultiple) {
  // Loud, ordinary and quiet (rescaled) voicing; 2 x 57 in the first section loses to 57.
  for (const double amplitude : {30000.0, 1000.0, 30.0}) {
    auto speech = pulseTrain(57, amplitude);
    EXPECT_EQ(Pitch_ol(speech.frame(), 20, 143, 80), 57) << amplitude;
  }
  auto speech = pulseTrain(31, 8000);  // third section against 62 and 93 (or 124)
  EXPECT_EQ(Pitch_ol(speech.frame(), 20, 143, 80), 31);
  WeightedSpeech silence;  // ties to the smallest delay of the first section
  EXPECT_EQ(Pitch_ol(silence.frame(), 20, 143, 80), 80);
}

// Excitation buffer: 154 past samples, then the subframe.
struct Excitation {
  std::array<Word16, 194> samples{};
  Word16* subframe() { return samples.data() + 154; }
};

Excitation randomExcitation(unsigned seed) {
  Excitation exc;
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> value(-3000, 3000);
  for (auto& s : exc.samples) s = static_cast<Word16>(value(rng));
  return exc;
}

TEST(PitchFr3, TiesGoToTheLargerDelayThenToFractionMinusTwo) {
  auto exc = randomExcitation(1);
  std::array<Word16, 40> impulse{4096}, silence{};
  Word16 frac = 9;
  // Zero correlations: the largest delay, with no fraction in the first subframe above 84 ...
  EXPECT_EQ(Pitch_fr3(exc.subframe(), silence.data(), impulse.data(), 40, 90, 96, 0, &frac), 96);
  EXPECT_EQ(frac, 0);
  // ... and otherwise no fraction beats -2/3, which is coded as 95 + 1/3.
  EXPECT_EQ(Pitch_fr3(exc.subframe(), silence.data(), impulse.data(), 40, 90, 96, 40, &frac), 95);
  EXPECT_EQ(frac, 1);
  EXPECT_EQ(Pitch_fr3(exc.subframe(), silence.data(), impulse.data(), 40, 30, 36, 0, &frac), 35);
  EXPECT_EQ(frac, 1);
}

TEST(PitchFr3, RecoversTheDelayOfAnAdaptiveCodebookTarget) {
  // Band-limited excitation (three low sines), in which a third of a sample is resolvable.
  Excitation exc;
  for (int n = 0; n < 194; ++n) {
    exc.samples[n] = static_cast<Word16>(3000 * std::sin(0.31 * n) + 2000 * std::sin(0.77 * n + 1) +
                                         1000 * std::sin(1.3 * n + 2));
  }
  std::array<Word16, 40> impulse{4096};
  const struct {
    Word16 t0, frac, t0_min, i_subfr;
  } cases[] = {{50, 0, 47, 40},  {50, -1, 47, 40}, {50, 1, 47, 40},
               {77, -1, 74, 40}, {33, 1, 30, 0},   {100, 0, 97, 0}};
  for (const auto& c : cases) {
    Excitation predicted = exc;
    Pred_lt_3(predicted.subframe(), c.t0, c.frac, 40);
    Word16 frac = 9;
    const Word16 t0 = Pitch_fr3(exc.subframe(), predicted.subframe(), impulse.data(), 40, c.t0_min,
                                static_cast<Word16>(c.t0_min + 6), c.i_subfr, &frac);
    EXPECT_EQ(t0, c.t0) << c.t0 << " " << c.frac;
    EXPECT_EQ(frac, c.frac) << c.t0 << " " << c.frac;
  }
}

TEST(EncLag3, IndexAndSecondSubframeRangeAtTheBoundaries) {
  const struct {
    Word16 T0, frac, i_subfr, index, t0_min, t0_max;  // the range is left alone in subframe 2
  } cases[] = {{85, 0, 0, 197, 80, 89}, {19, 1, 0, 0, 20, 29},      {21, -1, 0, 4, 20, 29},
               {86, 0, 0, 198, 81, 90}, {140, 0, 0, 252, 134, 143}, {136, -1, 40, 7, 134, 143}};
  for (const auto& c : cases) {
    Word16 t0_min = 0, t0_max = 0;
    if (c.i_subfr) t0_min = c.t0_min, t0_max = c.t0_max;
    EXPECT_EQ(Enc_lag3(c.T0, c.frac, &t0_min, &t0_max, 20, 143, c.i_subfr), c.index) << c.T0;
    EXPECT_EQ(t0_min, c.t0_min) << c.T0;
    EXPECT_EQ(t0_max, c.t0_max) << c.T0;
  }
}

// Pred_lt_3 as a plain interpolation: each output weighs exc[j - T0 + m] by the table entry
// for distance m + frac/3, written into the buffer before the next output is computed.
std::vector<Word16> directPrediction(const Excitation& exc, int t0, int frac) {
  std::vector<Word16> buffer(exc.samples.begin(), exc.samples.end());
  Word16* x = buffer.data() + 154;
  for (int j = 0; j < 40; ++j) {
    int64_t sum = 0;
    for (int m = -10; m <= 10; ++m) {
      const int index = 30 + 3 * m + frac;
      if (index >= 0 && index <= 60) sum += int64_t{x[j - t0 + m]} * inter32_fir_tab[index];
    }
    x[j] = static_cast<Word16>(std::clamp<int64_t>(sum >> 24, -32768, 32767));
  }
  return buffer;
}

TEST(PredLt3, MatchesTheDirectInterpolationReadingBackShortDelaysOwnOutputs) {
  auto exc = randomExcitation(4);
  exc.samples[154 - 25] = 32767;  // enough gain near full scale to clip
  exc.samples[154 - 24] = 32767;
  exc.samples[154 - 23] = 32767;
  exc.samples[154 - 60] = -32768;
  for (const Word16 t0 : {20, 25, 39, 60}) {
    for (const Word16 frac : {-1, 0, 1}) {
      Excitation actual = exc;
      Pred_lt_3(actual.subframe(), t0, frac, 40);
      const auto expected = directPrediction(exc, t0, frac);
      EXPECT_TRUE(std::equal(expected.begin(), expected.end(), actual.samples.begin()))
          << t0 << " " << frac;
    }
  }
}

TEST(GPitch, GainAndCorrelationTermsAndTheWrappedEnergyFallback) {
  std::mt19937 rng(5);
  std::uniform_int_distribution<int> value(-4000, 4000);
  std::array<Word16, 40> y1, half, twice, opposite;
  double energy = 1;
  for (int i = 0; i < 40; ++i) {
    y1[i] = static_cast<Word16>(value(rng));
    half[i] = static_cast<Word16>(y1[i] / 2);
    twice[i] = static_cast<Word16>(2 * y1[i]);
    opposite[i] = static_cast<Word16>(-y1[i]);
    energy += static_cast<double>(y1[i]) * y1[i];
  }
  Word16 g[4];
  EXPECT_NEAR(G_pitch(half.data(), y1.data(), g, 40), 8192, 4);  // 0.5 in Q14
  // Mantissa and exponent describe the energy: g[0] * 2^(g[1] + 1).
  EXPECT_NEAR(std::ldexp(g[0], g[1] + 1) / energy, 1, 1e-4);
  EXPECT_EQ(G_pitch(twice.data(), y1.data(), g, 40), 19661);  // limited to 1.2
  EXPECT_EQ(G_pitch(opposite.data(), y1.data(), g, 40), 0);
  EXPECT_EQ(g[3], -15);

  // 40 * 32767^2 + 1 wraps negative: the energy is taken from 327640, 0x4FFD8000 rounded.
  y1.fill(32767);
  half.fill(0);
  EXPECT_EQ(G_pitch(half.data(), y1.data(), g, 40), 0);
  EXPECT_EQ(g[0], 20478);
  EXPECT_EQ(g[1], 15 - 8);
}

TEST(Parity, SixMostSignificantBitsOfTheIndex) {
  for (int index = 0; index < 256; ++index) {
    const Word16 parity = static_cast<Word16>((1 + std::popcount(unsigned(index) >> 2)) & 1);
    EXPECT_EQ(Parity_Pitch(static_cast<Word16>(index)), parity) << index;
    EXPECT_EQ(Check_Parity_Pitch(static_cast<Word16>(index), parity), 0) << index;
    EXPECT_EQ(Check_Parity_Pitch(static_cast<Word16>(index), static_cast<Word16>(1 - parity)), 1);
  }
}

}  // namespace
