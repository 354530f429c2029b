// Fixed-codebook search: pulses on their tracks, index and sign word, the filtered vector,
// pitch sharpening and recovery of a planted codebook vector.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#include "kestrune/g729_acelp.h"

namespace {

using Vector = std::array<Word16, 40>;

struct Pulse {
  int position;
  bool positive;
};
using Pulses = std::array<Pulse, 4>;

// The four pulses as the index and sign word describe them.
Pulses decode(Word16 index, Word16 sign) {
  const int j = (index >> 9) & 15;
  return {{{(index & 7) * 5, (sign & 1) != 0},
           {((index >> 3) & 7) * 5 + 1, (sign & 2) != 0},
           {((index >> 6) & 7) * 5 + 2, (sign & 4) != 0},
           {(j >> 1) * 5 + 3 + (j & 1), (sign & 8) != 0}}};
}

// A decaying resonance in Q12, shaped like a weighted synthesis filter's impulse response.
Vector resonance(double peak, double pole, double frequency) {
  Vector h{};
  for (int n = 0; n < 40; ++n) {
    h[n] = static_cast<Word16>(std::lround(peak * std::pow(pole, n) * std::cos(frequency * n)));
  }
  return h;
}

Vector noise(int amplitude, uint32_t seed) {
  Vector x{};
  for (auto& v : x) {
    seed = seed * 1664525u + 1013904223u;
    v = static_cast<Word16>(static_cast<int>(seed >> 16) % (2 * amplitude + 1) - amplitude);
  }
  return x;
}

// Sum of +-h shifted to each pulse, in plain 16-bit arithmetic.
Vector filtered(const Pulses& pulses, const Vector& h) {
  Vector y{};
  for (const Pulse& p : pulses) {
    for (int n = p.position; n < 40; ++n) {
      y[n] = static_cast<Word16>(y[n] + (p.positive ? h[n - p.position] : -h[n - p.position]));
    }
  }
  return y;
}

Vector pulseVector(const Pulses& pulses) {
  Vector c{};
  for (const Pulse& p : pulses) c[p.position] = p.positive ? 8191 : -8192;
  return c;
}

struct Search {
  Word16 index, sign;
  Vector h, code, y;
};

Search searchCodebook(const Vector& x, Vector h, Word16 T0, Word16 pitch_sharp, Word16 i_subfr) {
  Search s{0, 0, h, {}, {}};
  s.index = ACELP_Codebook(x.data(), s.h.data(), T0, pitch_sharp, i_subfr, s.code.data(),
                           s.y.data(), &s.sign);
  return s;
}

// With a lag below 40: x[i] += x[i - T0] * sharp >> 15 from i = T0, sharp = 2 * 13017 = 26034
// (0.8 in Q15).
Vector sharpened(Vector x, int T0) {
  for (int i = T0; i < 40; ++i) x[i] = static_cast<Word16>(x[i] + ((x[i - T0] * 26034) >> 15));
  return x;
}

TEST(AcelpCodebook, PulsesOnTheirTracksMatchIndexSignsAndFilteredVector) {
  // The sharpened response and code; the filtered vector is the pulses through that response.
  const Vector h = resonance(4096, 0.85, 0.7);
  for (const Word16 T0 : {40, 25}) {
    for (int amplitude : {50, 2000, 32767}) {
      for (Word16 i_subfr : {0, 40}) {
        const Search s =
            searchCodebook(noise(amplitude, amplitude + i_subfr), h, T0, 13017, i_subfr);
        ASSERT_LT(s.index, 1 << 13);
        ASSERT_LT(s.sign, 16);
        const Pulses pulses = decode(s.index, s.sign);
        EXPECT_EQ(s.h, sharpened(h, T0));
        EXPECT_EQ(s.code, sharpened(pulseVector(pulses), T0));
        EXPECT_EQ(s.y, filtered(pulses, sharpened(h, T0)));
      }
    }
  }
}

TEST(AcelpCodebook, RecoversAPlantedCodebookVector) {
  const Vector h = resonance(4096, 0.8, 1.1);
  const Pulses planted[] = {{{{10, true}, {26, false}, {7, true}, {34, false}}},
                            {{{0, false}, {1, false}, {37, true}, {3, true}}}};
  Word16 i_subfr = 0;
  for (const Pulses& pulses : planted) {
    const Vector target = filtered(pulses, h);  // Q12 pulses of amplitude 1: a quarter in Q0
    Vector x{};
    for (int n = 0; n < 40; ++n) x[n] = static_cast<Word16>(target[n] / 4);
    const Search s = searchCodebook(x, h, 60, 3277, i_subfr);
    EXPECT_EQ(s.code, pulseVector(pulses));
    i_subfr = 40;
  }
}

TEST(AcelpCodebook, TiesGoToTheFirstCombinationSearched) {
  // Equal targets on each track's first two positions (3 and 4 for pulse 3): earliest wins.
  Vector h{}, x{};
  h[0] = 4096;
  for (int n : {0, 5, 1, 6, 2, 7, 3, 4}) x[n] = 1000;
  const Search s = searchCodebook(x, h, 60, 3277, 0);
  EXPECT_EQ(s.code, pulseVector({{{0, true}, {1, true}, {2, true}, {3, true}}}));
}

}  // namespace
