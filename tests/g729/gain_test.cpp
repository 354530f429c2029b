// Gain prediction, the predictor memory updates, the gain quantizer and the
// silence-description energy quantizer.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "kestrune/g729_gain.h"

namespace {

using Memory = std::array<Word16, 4>;

struct Prediction {
  Word16 gcode0, exp;
  bool operator==(const Prediction&) const = default;
};

Prediction predict(const Memory& memory, const std::array<Word16, 40>& code) {
  Prediction p{};
  Gain_predict(memory.data(), code.data(), 40, &p.gcode0, &p.exp);
  return p;
}

TEST(GainPredict, MeanLessAQuarterOfTheCodeEnergyPlusTheMemory) {
  std::array<Word16, 40> loud;
  loud.fill(-8192);
  const struct {
    Memory memory;
    std::array<Word16, 40> code;
    Prediction expected;
  } cases[] = {
      // Zero code: Log2 gives 0 and 0, so t = 0x3FA60000 = 32588 << 15 (Q8 gain 32588);
      // 32588 * 5439 >> 7 = 1384735 = 21 * 2^16 + 2 * 4239; Pow2(14, 4239) = 17921.
      {{0, 0, 0, 0}, {}, {17921, 14 - 21}},
      // t = 1067843584 - 14663 * 14336 = 857634816 (26172); 26172 * 5439 >> 7 = 16 * 2^16 +
      // 2 * 31764; Pow2(14, 31764) = 32079.
      {{-14336, -14336, -14336, -14336}, {}, {32079, 14 - 16}},
      // 40 * 8192^2 = 0xA0000000 wraps negative; shifted logically it is 0x50000000: log2 30,
      // fraction tablog[8] = 10549; t = 0x3FA60000 + ((30 * -49320 + (10549 * -24660 >> 14))
      // << 9) = 302158848 (9221); 9221 * 5439 >> 7 = 5 * 2^16 + 2 * 32070; Pow2(14, 32070) =
      // 32289.
      {{0, 0, 0, 0}, loud, {32289, 14 - 5}},
  };
  for (const auto& c : cases) EXPECT_EQ(predict(c.memory, c.code), c.expected);
}

TEST(GainUpdate, StoresTwentyLog10OfTheCodebookGain) {
  // 20 log10(L / 8192) in Q10 through ((L_Comp(exp - 13, frac) << 13) >> 16) * 24660 >> 15.
  const struct {
    Word32 L_gbk12;
    Word16 energy;
  } cases[] = {
      {8192, 0},      // 1.0: log2 exactly 13
      {16384, 6165},  // 2.0: 8192 * 24660 >> 15
      {4096, -6165},  // 0.5
      {12288, 3605},  // 1.5: fraction 19167, (38334 >> 3) * 24660 >> 15
  };
  for (const auto& c : cases) {
    Memory memory = {100, 200, 300, 400};
    Gain_update(memory.data(), c.L_gbk12);
    EXPECT_EQ(memory, (Memory{c.energy, 100, 200, 300})) << c.L_gbk12;
  }
}

TEST(GainUpdate, ErasureStoresTheAverageLessFourDbAboveMinus14) {
  const struct {
    Memory before, after;
  } cases[] = {
      {{4096, 2048, 0, -2048}, {-3072, 4096, 2048, 0}},                      // 1024 - 4096
      {{-12288, -12288, -12288, -12288}, {-14336, -12288, -12288, -12288}},  // -16384 limited
  };
  for (const auto& c : cases) {
    Memory memory = c.before;
    Gain_update_erasure(memory.data());
    EXPECT_EQ(memory, c.after);
  }
}

// The five correlations from real values: <y1,y1>, <x,y1>, <y2,y2>, <x,y2>, <y1,y2>.
struct Correlations {
  Word16 g[5], e[5];
};

Correlations correlations(double yy, double xy, double y2y2, double xy2, double y1y2) {
  Correlations c{};
  const double value[5] = {yy, -2 * xy, y2y2, -2 * xy2, 2 * y1y2};
  for (int i = 0; i < 5; ++i) {
    int exponent;
    const double fraction = std::frexp(value[i], &exponent);
    c.g[i] = static_cast<Word16>(std::clamp<long>(std::lround(fraction * 32768), -32768, 32767));
    c.e[i] = static_cast<Word16>(15 - exponent);
  }
  return c;
}

constexpr std::array<Word16, 40> kCode = [] {
  std::array<Word16, 40> c{};
  c[5] = 8191, c[11] = -8192, c[22] = 8191, c[39] = -8192;
  return c;
}();

Word16 quantize(const Correlations& c, Word16 tameflag, Word16* index = nullptr) {
  Word16 gain_pit, gain_cod,
      i = Qua_gain(kCode.data(), c.g, c.e, 40, &gain_pit, &gain_cod, tameflag);
  if (index) *index = i;
  return gain_pit;
}

// The decoder's synthesis matching the encoder's checks the index, gains and memory; here, taming.
TEST(QuaGain, TamingLimitsThePitchGainAndTheOptimumItSearchesAround) {
  // A target asking for a pitch gain of 1.2 gets more than 1.0 unless tamed.
  const Correlations periodic = correlations(1e6, 1.2e6, 40, 1, 0);
  EXPECT_GT(quantize(periodic, 0), 16382);
  EXPECT_LE(quantize(periodic, 1), 16382);
  // Tamed, any optimum pitch gain above 0.94 is searched from 0.94: asking 2 or 10 is alike.
  Word16 index[2];
  for (int k = 0; k < 2; ++k) {
    // Four subframes asking for no gain choose one pair: the process-wide memory is then known.
    for (int n = 0; n < 4; ++n) quantize(correlations(1e6, 0, 1e6, 0, 0), 0);
    quantize(correlations(1e6, k ? 10e6 : 2e6, 40, 640 * 40, 0), 1, &index[k]);
  }
  EXPECT_EQ(index[0], index[1]);
}

TEST(QuaSidgain, EnergyToIndexOnBothScales) {
  // 16384 * 2^-sh scaled by fact: with one energy 16384 * 2^16 * 26 / 2^15 = 851968 at sh1 16,
  // log2 = 19 + 22951 / 2^15, so t = 3 * 1024 + mult_r(22951, 1024) = 3789 before the scale.
  const struct {
    Word16 nb_ener;
    Word16 ener[2], sh_ener[2];
    Word16 idx, enerq;
  } cases[] = {
      {0, {0, 0}, {0, 0}, 2, 0},           // t = 0: mult(3401, 24) = 2, 4 * 2 - 8
      {1, {16384, 0}, {0, 0}, 5, 12},      // t = 3789: mult(7190, 24) = 5
      {2, {16384, 16384}, {0, 0}, 5, 12},  // the average of two equal energies
      {1, {16384, 0}, {-8, 0}, 16, 36},    // t = 11981: (mult(11641, 193) >> 2) - 1 = 16
      {1, {16384, 0}, {-20, 0}, 31, 66},   // t = 24269, above 22111
  };
  for (const auto& c : cases) {
    Word16 enerq = 0, idx = 0;
    Qua_Sidgain(c.ener, c.sh_ener, c.nb_ener, &enerq, &idx);
    EXPECT_EQ(idx, c.idx) << c.nb_ener << "," << c.sh_ener[0];
    EXPECT_EQ(enerq, c.enerq) << c.nb_ener << "," << c.sh_ener[0];
  }
}

}  // namespace
